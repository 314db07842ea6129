// Rows of the lossless process: predictors beside a copy in the same cache, and the row coders on photographs. Nothing
// in Debian does the same work.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "jpeg/huffman/pictures.h"
#include "support/measure.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

struct Tables {
  alignas(8) Zel8u encode[1024], decode[1644];
};

// The differences of a photograph, a plane for each component, by predictor 1.
struct Coded {
  std::vector<Zel16s> planes[3], decoded[3];
  Tables tables;
  std::vector<Zel8u> code = std::vector<Zel8u>(size_t{4} << 20);
  Zel32s length = 0;

  explicit Coded(const Picture& picture) {
    Zel32u counts[256]{};
    std::vector<Zel16s> samples(kWidth);
    for (size_t c = 0; c < 3; ++c) {
      planes[c].resize(size_t{kWidth} * kHeight);
      decoded[c].resize(kWidth);
      for (size_t y = 0; y < kHeight; ++y) {
        for (size_t x = 0; x < kWidth; ++x) samples[x] = picture[(y * kWidth + x) * 3 + c];
        zeliDiffPredFirstRow_JPEG_16s_C1(samples.data(), &planes[c][y * kWidth], kWidth, 8, 0);
      }
      for (const Zel16s& v : planes[c]) zeliGetHuffmanStatisticsOne_JPEG_16s_C1(&v, counts);
    }
    Zel8u bits[16], values[256];
    zeliEncodeHuffmanRawTableInit_JPEG_8u(reinterpret_cast<const Zel32s*>(counts), bits, values);
    zeliEncodeHuffmanSpecInit_JPEG_8u(bits, values, reinterpret_cast<ZeliEncodeHuffmanSpec*>(tables.encode));
    zeliDecodeHuffmanSpecInit_JPEG_8u(bits, values, reinterpret_cast<ZeliDecodeHuffmanSpec*>(tables.decode));
  }

  void encodeAll() {
    alignas(8) static Zel8u memory[1048];
    auto* state = reinterpret_cast<ZeliEncodeHuffmanState*>(memory);
    zeliEncodeHuffmanStateInit_JPEG_8u(state);
    auto* table = reinterpret_cast<ZeliEncodeHuffmanSpec*>(tables.encode);
    const ZeliEncodeHuffmanSpec* own[4] = {table, table, table, nullptr};
    length = 0;
    for (size_t y = 0; y < kHeight; ++y) {
      const Zel16s* rows[4] = {&planes[0][y * kWidth], &planes[1][y * kWidth], &planes[2][y * kWidth], nullptr};
      if (zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, kWidth, 3, code.data(), static_cast<Zel32s>(code.size()), &length,
                                               own, state, 0) != zelStatusOk) {
        std::abort();
      }
    }
    zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, code.data(), static_cast<Zel32s>(code.size()), &length, nullptr,
                                         state, 1);
  }

  void decodeAll(bool compare) {
    alignas(8) Zel8u memory[24];
    auto* state = reinterpret_cast<ZeliDecodeHuffmanState*>(memory);
    zeliDecodeHuffmanStateInit_JPEG_8u(state);
    auto* table = reinterpret_cast<ZeliDecodeHuffmanSpec*>(tables.decode);
    const ZeliDecodeHuffmanSpec* own[4] = {table, table, table, nullptr};
    Zel16s* rows[4] = {decoded[0].data(), decoded[1].data(), decoded[2].data(), nullptr};
    Zel32s position = 0, marker = 0;
    for (size_t y = 0; y < kHeight; ++y) {
      if (zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(code.data(), static_cast<Zel32s>(code.size()), &position, rows, kWidth,
                                               3, &marker, own, state) != zelStatusOk) {
        std::abort();
      }
      for (size_t c = 0; c < 3 && compare; ++c) {
        if (!std::equal(decoded[c].begin(), decoded[c].end(), &planes[c][y * kWidth])) std::abort();
      }
    }
  }
};

[[maybe_unused]] const bool registered = [] {
  // Three rows, and the two of the copy in their place, lie in the second-level cache and not in the first.
  constexpr int kSamples = 16384, kCopied = 3 * kSamples / 2;
  auto rows = std::make_shared<std::vector<Zel16s>>(size_t{3} * kSamples);
  test::Random random(1);
  for (Zel16s& v : *rows) v = static_cast<Zel16s>(random.in(0, 4095));
  Zel16s *above = rows->data(), *row = above + kSamples, *to = row + kSamples;
  for (int predictor = 1; predictor <= 7; ++predictor) {
    const std::string work = "lossless/predictor " + std::to_string(predictor);
    measure(work + " forward", "zelj", "samples", kSamples,
            [=] { zeliDiffPredRow_JPEG_16s_C1(row, above, to, kSamples, (void(rows), predictor)); });
    measure(work + " forward", "memcpy", "samples", kCopied,
            [=] { std::memcpy(above + kCopied, above, (void(rows), kCopied * sizeof *to)); });
    measure(work + " inverse", "zelj", "samples", kSamples,
            [=] { zeliReconstructPredRow_JPEG_16s_C1(row, above, to, kSamples, (void(rows), predictor)); });
  }
  auto pictures = std::make_shared<std::vector<Coded>>();
  for (const Picture& picture : benchPictures()) {
    pictures->emplace_back(picture).encodeAll();
    pictures->back().decodeAll(true);
  }
  const double pixels = static_cast<double>(pictures->size()) * kWidth * kHeight;
  measure("lossless/encode 3 components", "zelj", "pixels", pixels, [=] {
    for (Coded& picture : *pictures) picture.encodeAll();
  });
  measure("lossless/decode 3 components", "zelj", "pixels", pixels, [=] {
    for (Coded& picture : *pictures) picture.decodeAll(false);
  });
  return true;
}();

} // namespace
} // namespace zelj::bench
