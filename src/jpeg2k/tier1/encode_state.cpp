// The life of the code-block encoder's record, and what it tells a rate allocator.
#include "jpeg2k/tier1/encode_state.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <limits>
#include <new>

#include "frame/alloc.h"
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg2k/tier1/chunks.h"

namespace zelj {
namespace {

// Decisions of a column of four samples: four zero-coding or refinement decisions in each of 31 planes and four signs.
// A run costs less, and where it ends two more. A plane may end in four decisions of a segmentation symbol.
constexpr Zel64s kLogOfColumn = 4 * kPlanes + 4 + 2;
constexpr Zel64s kLogOfBlock = 4 * kPlanes + 16; // and what a whole vector may write behind the last

// A map has an empty chunk around it on all sides. That is most for blocks of one stripe, or one column, of chunks; so
// any shape with so many chunks fits.
constexpr Zel64s mapWords(Zel64s chunks) {
  return 3 * (chunks + 2);
}
constexpr Zel64s kMaps = 35;

ZelStatus checkPass(const ZeliEncodeState_JPEG2K* state, const void* result, int number, auto count) {
  if (ZelStatus bad = checkEncoder(state)) return bad;
  if (!result) return zelStatusNullPointer;
  return number < 0 || number >= count(*state) ? zelStatusBadPassNumber : zelStatusOk;
}

int passCount(const ZeliEncodeState_JPEG2K& state) {
  return state.passCount;
}

// 2^exponent as a shift of a 32-bit one makes it: by the exponent modulo 32, and signed.
double powerOfTwo(int exponent) {
  const auto shifted = [](int by) { return static_cast<double>(static_cast<Zel32s>(1u << (by & 31))); };
  return exponent >= 1 ? shifted(exponent) : 1 / shifted(-exponent);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeInitAlloc_JPEG2K(ZeliEncodeState_JPEG2K** ppState, ZeliSize codeBlockMaxSize) {
  if (!ppState) return zelStatusNullPointer;
  if (ZelStatus bad = checkSize(codeBlockMaxSize)) return bad;
  *ppState = nullptr;
  // The record, the maps and the log in one piece.
  const Zel64s chunks = Zel64s{chunksOf(codeBlockMaxSize.width)} * stripesOf(codeBlockMaxSize.height);
  constexpr Zel64s kLogOfChunk = kChunkColumns * kLogOfColumn, kAlignment = 64;
  constexpr auto kMax = std::numeric_limits<int>::max();
  if (chunks > kMax / kLogOfChunk) return zelStatusNoMemory;
  const Zel64s maps = kMaps * mapWords(chunks) * 8, log = chunks * kLogOfChunk + kLogOfBlock;
  const Zel64s all = Zel64s{sizeof(ZeliEncodeState_JPEG2K)} + kAlignment + maps + log;
  if (all > kMax) return zelStatusNoMemory;
  auto* memory = static_cast<Zel8u*>(ownAlloc(static_cast<int>(all)));
  if (!memory) return zelStatusNoMemory;

  auto* state = new (memory) ZeliEncodeState_JPEG2K;
  state->capacity = static_cast<Zel32s>(chunks);
  state->passCount = state->segmentCount = 0;
  const auto behind = reinterpret_cast<uintptr_t>(memory) + sizeof(ZeliEncodeState_JPEG2K);
  state->maps = reinterpret_cast<Zel64u*>((behind + kAlignment - 1) / kAlignment * kAlignment);
  state->log = reinterpret_cast<Zel8u*>(state->maps) + maps;
  startStore(*state, 0, false);
  std::memcpy(state->tag, kEncodeTag, sizeof kEncodeTag);
  *ppState = state;
  return zelStatusOk;
}

ZelStatus ownEncodeFree_JPEG2K(ZeliEncodeState_JPEG2K* pState) {
  if (!pState) return zelStatusNullPointer;
  ownFree(pState);
  return zelStatusOk;
}

ZelStatus ownEncodeGetRate_JPEG2K(ZeliEncodeState_JPEG2K* pState, int passNumber, int* pRate) {
  if (ZelStatus bad = checkPass(pState, pRate, passNumber, passCount)) return bad;
  *pRate = pState->passes[passNumber].rate;
  return zelStatusOk;
}

ZelStatus ownEncodeGetDist_JPEG2K(ZeliEncodeState_JPEG2K* pState, int passNumber, double* pDist) {
  if (ZelStatus bad = checkPass(pState, pDist, passNumber, passCount)) return bad;
  double sum = 0;
  for (int i = 0; i <= passNumber; ++i) {
    const CodingPass& pass = pState->passes[i];
    sum += static_cast<Zel32s>(pass.distortion) * powerOfTwo(pass.exponent);
  }
  *pDist = sum;
  return zelStatusOk;
}

ZelStatus ownEncodeGetTermPassLen_JPEG2K(ZeliEncodeState_JPEG2K* pState, int termPassNumber, int* pLength) {
  const auto segmentCount = [](const ZeliEncodeState_JPEG2K& state) { return state.segmentCount; };
  if (ZelStatus bad = checkPass(pState, pLength, termPassNumber, segmentCount)) return bad;
  int length = 0, segment = 0;
  for (int i = 0; i < pState->passCount && segment <= termPassNumber; ++i) {
    if (segment == termPassNumber) length += pState->passes[i].bytes;
    segment += pState->passes[i].endsSegment;
  }
  *pLength = length;
  return zelStatusOk;
}
