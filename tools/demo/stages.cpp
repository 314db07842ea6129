// The road of a baseline JPEG image in its plainest form: every stage is one loop over the whole image. (The codec in
// codecs/jpeg goes the same road a few MCUs at a time, which keeps the data in the cache.)
#include "demo/stages.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "common/aligned.h"
#include "jpeg/frame.h"
#include "jpeg/huffman.h"
#include "zelj.h"

namespace demo {

using jpeg::Block;

double leastTime(void (*f)(void*), void* argument) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  };
  double least = 1e9;
  const double begin = now();
  for (int run = 0; run < 3 || (run < 50 && now() - begin < 0.2); ++run) {
    const double start = now();
    f(argument);
    least = std::min(least, now() - start);
  }
  return least;
}

namespace {

struct Plane {
  int width, height;
  img::AlignedArray<Zel8u> samples;
  img::AlignedArray<Block> blocks;

  Plane(int w, int h)
      : width(w),
        height(h),
        samples(static_cast<size_t>(w) * static_cast<size_t>(h)),
        blocks(static_cast<size_t>(w) * static_cast<size_t>(h) / 64) {}
  Zel8u* row(int y) const { return samples.data() + static_cast<ptrdiff_t>(y) * width; }
  Block& block(int x, int y) const {
    return blocks[static_cast<size_t>(y) * static_cast<size_t>(width / 8) + static_cast<size_t>(x)];
  }
};

template <class F>
void forBlocks(const Plane& plane, F f) {
  for (int y = 0; y < plane.height / 8; ++y) {
    for (int x = 0; x < plane.width / 8; ++x) f(plane.block(x, y), plane.row(8 * y) + 8 * x);
  }
}

// The blocks of luminance and chrominance in the order of 4:2:0 MCUs: component, block.
template <class F>
void forMcuBlocks(const Plane& luma, const Plane (&chroma)[2], F f) {
  for (int y = 0; y < luma.height / 16; ++y) {
    for (int x = 0; x < luma.width / 16; ++x) {
      for (int i = 0; i < 4; ++i) f(0, luma.block(2 * x + i % 2, 2 * y + i / 2));
      f(1, chroma[0].block(x, y));
      f(2, chroma[1].block(x, y));
    }
  }
}

} // namespace

std::vector<Stage> timeStages(const img::Image& image, int quality) {
  // Whole MCUs only: this is about time.
  const int width = image.width / 16 * 16, height = image.height / 16 * 16;
  if (width == 0 || height == 0) return {};
  const Plane full[3] = {{width, height}, {width, height}, {width, height}};
  const Plane chroma[2] = {{width / 2, height / 2}, {width / 2, height / 2}};
  std::vector<Zel8u> pixels(3 * static_cast<size_t>(width));
  std::vector<Stage> stages;
  const auto time = [&](const char* name, auto f) { stages.push_back({name, leastTime(f)}); };

  Zel16u forward[2][64], inverse[2][64];
  jpeg::EncodeSpecRecord encodeDc[2], encodeAc[2];
  jpeg::DecodeSpecRecord decodeDc[2], decodeAc[2];
  for (int i = 0; i < 2; ++i) {
    Zel8u raw[64];
    std::memcpy(raw, jpeg::kQuantTables[i], 64);
    zeliQuantFwdRawTableInit_JPEG_8u(raw, quality);
    zeliQuantFwdTableInit_JPEG_8u16u(raw, forward[i]);
    zeliQuantInvTableInit_JPEG_8u16u(raw, inverse[i]);
    encodeDc[i].init(jpeg::kDcLists[i]);
    encodeAc[i].init(jpeg::kAcLists[i]);
    decodeDc[i].init(jpeg::kDcLists[i]);
    decodeAc[i].init(jpeg::kAcLists[i]);
  }

  time("R, G, B to Y, Cb, Cr", [&] {
    for (int y = 0; y < height; ++y) {
      Zel8u* const rows[3] = {full[0].row(y), full[1].row(y), full[2].row(y)};
      zeliRGBToYCbCr_JPEG_8u_C3P3R(image.row<Zel8u>(y), 3 * width, rows, width, {width, 1});
    }
  });
  time("halving of chroma", [&] {
    for (int c = 0; c < 2; ++c) {
      for (int y = 0; y < height / 2; ++y) {
        zeliSampleDownRowH2V2_Box_JPEG_8u_C1(full[c + 1].row(2 * y), full[c + 1].row(2 * y + 1), width,
                                             chroma[c].row(y));
      }
    }
  });
  const auto transform = [&](const Plane& plane, const Zel16u* table) {
    forBlocks(plane, [&](Block& block, Zel8u* samples) {
      zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, plane.width, block.coefficients, table);
    });
  };
  time("forward transform, quantisation", [&] {
    transform(full[0], forward[0]);
    for (const Plane& plane : chroma) transform(plane, forward[1]);
  });

  std::vector<Zel8u> segment(static_cast<size_t>(width) * static_cast<size_t>(height) * 8 + 4096);
  const auto length = static_cast<Zel32s>(segment.size());
  Zel32s size = 0;
  jpeg::EncodeStateRecord encodeState;
  time("Huffman coding", [&] {
    Zel16s lastDc[3] = {};
    size = 0;
    encodeState.init();
    forMcuBlocks(full[0], chroma, [&](int c, Block& block) {
      const int table = c ? 1 : 0;
      zeliEncodeHuffman8x8_JPEG_16s1u_C1(block.coefficients, segment.data(), length, &size, &lastDc[c],
                                         encodeDc[table].get(), encodeAc[table].get(), encodeState.get(), 0);
    });
    zeliEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, segment.data(), length, &size, nullptr, nullptr, nullptr,
                                       encodeState.get(), 1);
  });

  jpeg::DecodeStateRecord decodeState;
  time("Huffman decoding", [&] {
    Zel16s lastDc[3] = {};
    Zel32s position = 0, marker = 0;
    decodeState.init();
    forMcuBlocks(full[0], chroma, [&](int c, Block& block) {
      const int table = c ? 1 : 0;
      zeliDecodeHuffman8x8_JPEG_1u16s_C1(segment.data(), size, &position, block.coefficients, &lastDc[c], &marker,
                                         decodeDc[table].get(), decodeAc[table].get(), decodeState.get());
    });
  });
  const auto transformBack = [&](const Plane& plane, const Zel16u* table) {
    forBlocks(plane, [&](Block& block, Zel8u* samples) {
      zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(block.coefficients, samples, plane.width, table);
    });
  };
  time("inverse transform", [&] {
    transformBack(full[0], inverse[0]);
    for (const Plane& plane : chroma) transformBack(plane, inverse[1]);
  });
  time("doubling of chroma", [&] {
    for (int c = 0; c < 2; ++c) {
      for (int y = 0; y < height; ++y) {
        const int far = std::clamp(y % 2 ? y / 2 + 1 : y / 2 - 1, 0, height / 2 - 1);
        zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(chroma[c].row(y / 2), chroma[c].row(far), width / 2,
                                                full[c + 1].row(y));
      }
    }
  });
  time("Y, Cb, Cr to R, G, B", [&] {
    for (int y = 0; y < height; ++y) {
      const Zel8u* const rows[3] = {full[0].row(y), full[1].row(y), full[2].row(y)};
      zeliYCbCrToRGB_JPEG_8u_P3C3R(rows, width, pixels.data(), 3 * width, {width, 1});
    }
  });
  return stages;
}

} // namespace demo
