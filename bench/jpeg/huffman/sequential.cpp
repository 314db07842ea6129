// The sequential block coders on the blocks of photographs, beside libjpeg-turbo: its encoder's kernel for one block,
// and its decoder up to the coefficients.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "jpeg/huffman/pictures.h"
#include "support/measure.h"
#include "support/turbo.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kComponents = 3;

// What the peer's kernel expects of its caller: the head of its writer's state, and its table of codes.
struct PeerWriter {
  uint8_t* next;
  size_t room;
  uint64_t bits;
  int freeBits;
  int lastDc[4];
};
struct PeerTable {
  unsigned code[256];
  char length[256];
};

// A picture as a JPEG file of libjpeg-turbo's, with its blocks and code in scan order.
struct Scan {
  std::vector<uint8_t> file, code;
  std::vector<Zel16s> blocks;      // 64 for each block
  std::vector<uint8_t> components; // of each block
  struct {
    std::vector<uint8_t> bits, values, encode, decode;
    PeerTable peer{};
  } tables[2][2]; // DC and AC, of luma and chroma

  const ZeliEncodeHuffmanSpec* encodeTable(int kind, int component) const {
    return reinterpret_cast<const ZeliEncodeHuffmanSpec*>(tables[kind][component != 0].encode.data());
  }
  const ZeliDecodeHuffmanSpec* decodeTable(int kind, int component) const {
    return reinterpret_cast<const ZeliDecodeHuffmanSpec*>(tables[kind][component != 0].decode.data());
  }
};

void makeTables(jpeg_decompress_struct& jpeg, Scan& scan) {
  for (int kind = 0; kind < 2; ++kind) {
    for (int i = 0; i < 2; ++i) {
      auto& table = scan.tables[kind][i];
      const JHUFF_TBL* from = (kind == 0 ? jpeg.dc_huff_tbl_ptrs : jpeg.ac_huff_tbl_ptrs)[i];
      table.bits.assign(from->bits + 1, from->bits + 17);
      table.values.assign(from->huffval, from->huffval + 256);
      Zel32s size;
      zeliEncodeHuffmanSpecGetBufSize_JPEG_8u(&size);
      table.encode.resize(static_cast<size_t>(size));
      zeliEncodeHuffmanSpecInit_JPEG_8u(table.bits.data(), table.values.data(),
                                        reinterpret_cast<ZeliEncodeHuffmanSpec*>(table.encode.data()));
      zeliDecodeHuffmanSpecGetBufSize_JPEG_8u(&size);
      table.decode.resize(static_cast<size_t>(size));
      zeliDecodeHuffmanSpecInit_JPEG_8u(table.bits.data(), table.values.data(),
                                        reinterpret_cast<ZeliDecodeHuffmanSpec*>(table.decode.data()));
      unsigned code = 0;
      for (int length = 1, p = 0; length <= 16; ++length, code *= 2) {
        for (int n = 0; n < table.bits[static_cast<size_t>(length - 1)]; ++n, ++p) {
          table.peer.code[table.values[static_cast<size_t>(p)]] = code++;
          table.peer.length[table.values[static_cast<size_t>(p)]] = static_cast<char>(length);
        }
      }
    }
  }
}

Scan makeScan(const Picture& picture, int quality) {
  Scan scan;
  scan.file = compress(picture, quality);
  readCoefficients(scan.file, [&](jpeg_decompress_struct& jpeg, jvirt_barray_ptr* arrays) {
    makeTables(jpeg, scan);
    const JDIMENSION rows = kHeight / 16, columns = kWidth / 16;
    for (JDIMENSION y = 0; y < rows; ++y) {
      for (JDIMENSION x = 0; x < columns; ++x) {
        for (int c = 0; c < kComponents; ++c) {
          const JDIMENSION factor = c == 0 ? 2 : 1;
          for (JDIMENSION v = 0; v < factor; ++v) {
            JBLOCKARRAY row = jpeg.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&jpeg), arrays[c],
                                                           y * factor + v, 1, FALSE);
            for (JDIMENSION h = 0; h < factor; ++h) {
              const JCOEF* block = row[0][x * factor + h];
              scan.blocks.insert(scan.blocks.end(), block, block + 64);
              scan.components.push_back(static_cast<uint8_t>(c));
            }
          }
        }
      }
    }
  });
  // The scan's code lies between the header of its segment and the end-of-image marker.
  const uint8_t sos[] = {0xFF, 0xDA};
  const auto header = std::search(scan.file.begin(), scan.file.end(), sos, sos + 2);
  scan.code.assign(header + 2 + header[2] * 256 + header[3], scan.file.end());
  return scan;
}

size_t encodeScan(const Scan& scan, std::vector<uint8_t>& to) {
  alignas(8) static Zel8u memory[2048];
  auto* state = reinterpret_cast<ZeliEncodeHuffmanState*>(memory);
  zeliEncodeHuffmanStateInit_JPEG_8u(state);
  Zel16s lastDc[kComponents]{};
  Zel32s position = 0;
  const auto room = static_cast<Zel32s>(to.size());
  for (size_t i = 0; i < scan.components.size(); ++i) {
    const int c = scan.components[i];
    if (zeliEncodeHuffman8x8_JPEG_16s1u_C1(&scan.blocks[i * 64], to.data(), room, &position, &lastDc[c],
                                           scan.encodeTable(0, c), scan.encodeTable(1, c), state, 0) != zelStatusOk) {
      std::abort();
    }
  }
  zeliEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, to.data(), room, &position, nullptr, nullptr, nullptr, state, 1);
  return static_cast<size_t>(position);
}

size_t encodeScanByPeer(Scan& scan, std::vector<uint8_t>& to) {
  PeerWriter writer{to.data(), to.size(), 0, 64, {}};
  int lastDc[kComponents]{};
  uint8_t* at = to.data();
  for (size_t i = 0; i < scan.components.size(); ++i) {
    const int c = scan.components[i];
    Zel16s* block = &scan.blocks[i * 64];
    at = jsimd_huff_encode_one_block_sse2(&writer, at, block, lastDc[c], &scan.tables[0][c != 0].peer,
                                          &scan.tables[1][c != 0].peer);
    lastDc[c] = block[0];
  }
  return static_cast<size_t>(at - to.data());
}

size_t encodeScanDirectly(const Scan& scan, std::vector<uint8_t>& to) {
  Zel16s lastDc[kComponents]{};
  Zel32u bits = 0;
  for (size_t i = 0; i < scan.components.size(); ++i) {
    const int c = scan.components[i];
    zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(&scan.blocks[i * 64], to.data(), &bits, &lastDc[c],
                                              scan.encodeTable(0, c), scan.encodeTable(1, c));
  }
  return bits / 8;
}

void decodeScan(const Scan& scan, std::vector<Zel16s>& to) {
  alignas(8) Zel8u memory[64];
  auto* state = reinterpret_cast<ZeliDecodeHuffmanState*>(memory);
  zeliDecodeHuffmanStateInit_JPEG_8u(state);
  Zel16s lastDc[kComponents]{};
  Zel32s position = 0, marker = 0;
  const auto length = static_cast<Zel32s>(scan.code.size());
  for (size_t i = 0; i < scan.components.size(); ++i) {
    const int c = scan.components[i];
    if (zeliDecodeHuffman8x8_JPEG_1u16s_C1(scan.code.data(), length, &position, &to[i * 64], &lastDc[c], &marker,
                                           scan.decodeTable(0, c), scan.decodeTable(1, c), state) != zelStatusOk) {
      std::abort();
    }
  }
}

void decodeScanDirectly(const Scan& scan, std::vector<Zel16s>& to) {
  Zel16s lastDc[kComponents]{};
  Zel32s position = 0, marker = 0, held = 0;
  Zel32u ahead = 0;
  for (size_t i = 0; i < scan.components.size(); ++i) {
    const int c = scan.components[i];
    if (zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(scan.code.data(), &position, &to[i * 64], &lastDc[c], &marker, &ahead,
                                                  &held, scan.decodeTable(0, c),
                                                  scan.decodeTable(1, c)) != zelStatusOk) {
      std::abort();
    }
  }
}

void registerAll() {
  const std::vector<Picture> pictures = benchPictures();
  for (const int quality : {50, 75, 90, 95}) {
    auto scans = std::make_shared<std::vector<Scan>>();
    size_t blocks = 0, bytes = 0;
    for (const Picture& picture : pictures) {
      scans->push_back(makeScan(picture, quality));
      blocks += scans->back().components.size();
      bytes += scans->back().code.size();
    }
    auto code = std::make_shared<std::vector<uint8_t>>(size_t{1} << 20);
    auto coefficients = std::make_shared<std::vector<Zel16s>>(scans->front().blocks.size());
    // All of it is worth nothing if the two do not agree.
    for (Scan& scan : *scans) {
      const size_t length = encodeScan(scan, *code);
      if (length + 2 != scan.code.size() || !std::equal(scan.code.begin(), scan.code.end() - 2, code->begin()))
        std::abort();
      if (encodeScanDirectly(scan, *code) > length) std::abort();
      if (!std::equal(scan.code.begin(), scan.code.end() - 3, code->begin())) std::abort();
      decodeScan(scan, *coefficients);
      if (*coefficients != scan.blocks) std::abort();
      decodeScanDirectly(scan, *coefficients);
      if (*coefficients != scan.blocks) std::abort();
      const size_t peerLength = encodeScanByPeer(scan, *code);
      if (!std::equal(code->begin(), code->begin() + static_cast<ptrdiff_t>(peerLength), scan.code.begin()))
        std::abort();
    }
    const auto all = [&](const char* work, const char* who, auto one) {
      char name[64];
      std::snprintf(name, sizeof name, "huffman/%s q%d, %.1f bytes a block", work, quality,
                    static_cast<double>(bytes) / static_cast<double>(blocks));
      measure(name, who, "blocks", static_cast<double>(blocks), [=] {
        for (Scan& scan : *scans) one(scan);
      });
    };
    all("encode", "zelj", [=](Scan& scan) { encodeScan(scan, *code); });
    all("encode", "libjpeg-turbo", [=](Scan& scan) { encodeScanByPeer(scan, *code); });
    all("encode direct", "zelj", [=](Scan& scan) { encodeScanDirectly(scan, *code); });
    all("decode", "zelj", [=](Scan& scan) { decodeScan(scan, *coefficients); });
    all("decode", "libjpeg-turbo",
        [=](Scan& scan) { readCoefficients(scan.file, [](jpeg_decompress_struct&, jvirt_barray_ptr*) {}); });
    all("decode direct", "zelj", [=](Scan& scan) { decodeScanDirectly(scan, *coefficients); });
  }
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
