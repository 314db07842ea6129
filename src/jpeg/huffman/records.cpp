// Building and lifecycle of the records: code tables from the two lists of a DHT segment (ITU T.81 Annex C), and
// states.
#include "jpeg/huffman/records.h"

#include <cstring>

#include "frame/alloc.h"
#include "frame/checks.h"
#include "frame/implementations.h"

namespace zelj {
namespace {

constexpr int kMaxCodes = 256, kMaxLength = 16, kFastBits = 8;

// The codes of a list in code order. An over-subscribed list gives codes that do not fit their lengths.
struct CodeList {
  int count;
  Zel8u length[kMaxCodes];
  Zel32u code[kMaxCodes];
};

// False if the list has more than 256 codes.
bool makeCodes(const Zel8u* listBits, CodeList& list) {
  list.count = 0;
  Zel32u code = 0;
  for (int length = 1; length <= kMaxLength; ++length, code <<= 1) {
    if (list.count + listBits[length - 1] > kMaxCodes) return false;
    for (int i = 0; i < listBits[length - 1]; ++i) {
      list.length[list.count] = static_cast<Zel8u>(length);
      list.code[list.count++] = code++;
    }
  }
  return true;
}

ZelStatus build(const Zel8u* listBits, const Zel8u* listVals, ZeliDecodeHuffmanSpec& spec) {
  std::memset(&spec, 0, sizeof spec);
  CodeList list;
  if (!makeCodes(listBits, list)) return zelStatusJpegHuffmanTable;
  int p = 0;
  for (int length = 1; length <= kMaxLength; ++length) {
    const int codes = listBits[length - 1];
    spec.maxCode[length] = kNoCode;
    if (codes == 0) continue;
    spec.valueOffset[length] = static_cast<Zel16u>(p);
    spec.minCode[length] = static_cast<Zel16u>(list.code[p]);
    for (int i = 0; i < codes; ++i, ++p) spec.huffValues[p] = listVals[p];
    spec.maxCode[length] = static_cast<Zel16u>(list.code[p - 1]);
  }
  spec.maxCode[kMaxLength + 1] = kNoCode;

  for (int i = 0; i < list.count && list.length[i] <= kFastBits; ++i) {
    const int spare = kFastBits - list.length[i];
    const Zel32u first = list.code[i] << spare, end = first + (1u << spare);
    if (end > 256) return zelStatusJpegHuffmanTable;
    const Zel32u entry = static_cast<Zel32u>(list.length[i]) << 16 | spec.huffValues[i];
    for (Zel32u index = first; index < end; ++index) spec.fastLookup[index] = entry;
  }
  return zelStatusOk;
}

ZelStatus build(const Zel8u* listBits, const Zel8u* listVals, ZeliEncodeHuffmanSpec& spec) {
  std::memset(&spec, 0, sizeof spec);
  CodeList list;
  if (!makeCodes(listBits, list)) return zelStatusJpegHuffmanTable;
  // Neither a code beyond its length nor one of all ones, which must stay free as a prefix of longer codes.
  for (int i = 0; i < list.count; ++i) {
    if (list.code[i] + 1 >= 1u << list.length[i]) return zelStatusJpegHuffmanTable;
  }
  // A symbol that is listed twice keeps its last code.
  for (int i = 0; i < list.count; ++i) {
    spec.entries[listVals[i]] = static_cast<Zel32u>(list.length[i]) << 16 | list.code[i];
  }
  return zelStatusOk;
}

template <class Spec>
ZelStatus init(const Zel8u* listBits, const Zel8u* listVals, Spec* spec) {
  return present(listBits, listVals, spec) ? build(listBits, listVals, *spec) : ZelStatus{zelStatusNullPointer};
}

// A block whose table is rejected is not released: the pointer to it is not the caller's yet, and is left unwritten.
template <class Spec>
ZelStatus initAlloc(const Zel8u* listBits, const Zel8u* listVals, Spec** spec) {
  if (!present(listBits, listVals, spec)) return zelStatusNullPointer;
  auto* made = static_cast<Spec*>(ownAlloc(sizeof(Spec)));
  if (!made) return zelStatusNullPointer;
  if (ZelStatus bad = build(listBits, listVals, *made)) return bad;
  *spec = made;
  return zelStatusOk;
}

template <class Record>
ZelStatus getBufSize(Zel32s* size) {
  if (!size) return zelStatusNullPointer;
  *size = sizeof(Record);
  return zelStatusOk;
}

template <class Record>
ZelStatus release(Record* record) {
  if (!record) return zelStatusNullPointer;
  ownFree(record);
  return zelStatusOk;
}

template <class State>
ZelStatus initState(State* state) {
  if (!state) return zelStatusNullPointer;
  std::memset(state, 0, sizeof *state);
  return zelStatusOk;
}

template <class State>
ZelStatus initAllocState(State** state) {
  if (!state) return zelStatusNullPointer;
  auto* made = static_cast<State*>(ownAlloc(sizeof(State)));
  if (ZelStatus bad = initState(made)) return bad;
  *state = made;
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDecodeHuffmanSpecGetBufSize_JPEG_8u(Zel32s* pSize) {
  return getBufSize<ZeliDecodeHuffmanSpec>(pSize);
}
ZelStatus ownDecodeHuffmanSpecInit_JPEG_8u(const Zel8u* pListBits, const Zel8u* pListVals,
                                           ZeliDecodeHuffmanSpec* pSpec) {
  return init(pListBits, pListVals, pSpec);
}
ZelStatus ownDecodeHuffmanSpecInitAlloc_JPEG_8u(const Zel8u* pListBits, const Zel8u* pListVals,
                                                ZeliDecodeHuffmanSpec** ppSpec) {
  return initAlloc(pListBits, pListVals, ppSpec);
}
ZelStatus ownDecodeHuffmanSpecFree_JPEG_8u(ZeliDecodeHuffmanSpec* pSpec) {
  return release(pSpec);
}

ZelStatus ownEncodeHuffmanSpecGetBufSize_JPEG_8u(Zel32s* pSize) {
  return getBufSize<ZeliEncodeHuffmanSpec>(pSize);
}
ZelStatus ownEncodeHuffmanSpecInit_JPEG_8u(const Zel8u* pListBits, const Zel8u* pListVals,
                                           ZeliEncodeHuffmanSpec* pSpec) {
  return init(pListBits, pListVals, pSpec);
}
ZelStatus ownEncodeHuffmanSpecInitAlloc_JPEG_8u(const Zel8u* pListBits, const Zel8u* pListVals,
                                                ZeliEncodeHuffmanSpec** ppSpec) {
  return initAlloc(pListBits, pListVals, ppSpec);
}
ZelStatus ownEncodeHuffmanSpecFree_JPEG_8u(ZeliEncodeHuffmanSpec* pSpec) {
  return release(pSpec);
}

ZelStatus ownDecodeHuffmanStateGetBufSize_JPEG_8u(Zel32s* pSize) {
  return getBufSize<ZeliDecodeHuffmanState>(pSize);
}
ZelStatus ownDecodeHuffmanStateInit_JPEG_8u(ZeliDecodeHuffmanState* pState) {
  return initState(pState);
}
ZelStatus ownDecodeHuffmanStateInitAlloc_JPEG_8u(ZeliDecodeHuffmanState** ppState) {
  return initAllocState(ppState);
}
ZelStatus ownDecodeHuffmanStateFree_JPEG_8u(ZeliDecodeHuffmanState* pState) {
  return release(pState);
}

ZelStatus ownEncodeHuffmanStateGetBufSize_JPEG_8u(Zel32s* pSize) {
  return getBufSize<ZeliEncodeHuffmanState>(pSize);
}
ZelStatus ownEncodeHuffmanStateInit_JPEG_8u(ZeliEncodeHuffmanState* pState) {
  return initState(pState);
}
ZelStatus ownEncodeHuffmanStateInitAlloc_JPEG_8u(ZeliEncodeHuffmanState** ppState) {
  return initAllocState(ppState);
}
ZelStatus ownEncodeHuffmanStateFree_JPEG_8u(ZeliEncodeHuffmanState* pState) {
  return release(pState);
}
