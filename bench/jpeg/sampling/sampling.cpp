// Halving and doubling of chroma, row by row as a decoder or an encoder calls for it. Rows are beside libjpeg-turbo's
// kernels, which give the same values; planes are beside the same kernels, which do as much work with other rounding.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/measure.h"
#include "support/turbo.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kWidth = 1024, kHeight = 128; // of the large plane; the small one has half of it
constexpr int kStep = kWidth + 64;          // room for the peer, which works in whole vectors

// A plane with a margin around it, 64-byte aligned, by rows for the peer.
struct Plane {
  Plane() : bytes(static_cast<size_t>(kStep) * (kHeight + 3)) {
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<Zel8u>(i * i >> 3);
    data = bytes.data() + kStep + 64;
    data -= reinterpret_cast<uintptr_t>(data) % 64;
    for (int y = -1; y <= kHeight; ++y) rows.push_back(row(y));
  }
  Zel8u* row(int y) { return data + y * kStep; }
  Rows rowsFrom(int y) { return rows.data() + y + 1; }

  std::vector<Zel8u> bytes;
  Zel8u* data;
  std::vector<Zel8u*> rows;
};

// Both give the same rows, or they would not be worth comparing.
template <class F, class G>
void requireEqual(const Plane& result, F ours, G theirs) {
  ours();
  const std::vector<Zel8u> expected = result.bytes;
  theirs();
  for (int y = 0; y < kHeight; ++y) {
    const auto* e = expected.data() + (result.data - result.bytes.data()) + y * kStep;
    for (int x = 0; x < kWidth; ++x) {
      if (result.data[y * kStep + x] != e[x]) {
        std::fprintf(stderr, "sampling: %d instead of %d at x %d, y %d\n", e[x], result.data[y * kStep + x], x, y);
        std::exit(1);
      }
    }
  }
}

void registerAll() {
  static Plane small, large;
  static const ZeliSize smallSize = {kWidth / 2, kHeight / 2}, wideSize = {kWidth / 2, kHeight};
  static const ZeliSize largeSize = {kWidth, kHeight};
  constexpr double kLarge = kWidth * kHeight, kWide = kLarge / 2, kSmall = kLarge / 4;
  const auto add = [](const char* work, const char* who, double pixels, auto f) {
    measure(std::string("sampling/") + work, who, "pixels", pixels, f);
  };
  constexpr const char *us = "zelj", *peer = "libjpeg-turbo";

  const auto up1 = [] {
    for (int y = 0; y < kHeight; ++y) {
      Rows out = large.rowsFrom(y);
      turbo_h2v1_fancy_upsample()(1, kWidth / 2, small.rowsFrom(y), &out);
    }
  };
  const auto up2 = [] {
    for (int y = 0; y < kHeight / 2; ++y) {
      Rows out = large.rowsFrom(2 * y);
      turbo_h2v2_fancy_upsample()(2, kWidth / 2, small.rowsFrom(y), &out);
    }
  };
  const auto down1 = [] {
    for (int y = 0; y < kHeight; ++y) {
      turbo_h2v1_downsample()(kWidth, 1, 1, kWidth / 16, large.rowsFrom(y), small.rowsFrom(y));
    }
  };
  const auto down2 = [] {
    for (int y = 0; y < kHeight / 2; ++y) {
      turbo_h2v2_downsample()(kWidth, 2, 1, kWidth / 16, large.rowsFrom(2 * y), small.rowsFrom(y));
    }
  };

  const auto rowUp1 = [] {
    for (int y = 0; y < kHeight; ++y) zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(small.row(y), kWidth / 2, large.row(y));
  };
  const auto rowUp2 = [] {
    for (int y = 0; y < kHeight; ++y) {
      zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(small.row(y / 2), small.row(y % 2 ? y / 2 + 1 : y / 2 - 1), kWidth / 2,
                                              large.row(y));
    }
  };
  requireEqual(large, rowUp1, up1);
  requireEqual(large, rowUp2, up2);
  add("row up h2v1", us, kLarge, rowUp1);
  add("row up h2v1", peer, kLarge, up1);
  add("row up h2v2", us, kLarge, rowUp2);
  add("row up h2v2", peer, kLarge, up2);
  add("row down h2v1", us, kWide, [] {
    for (int y = 0; y < kHeight; ++y) zeliSampleDownRowH2V1_Box_JPEG_8u_C1(large.row(y), kWidth, small.row(y));
  });
  add("row down h2v1", peer, kWide, down1);
  add("row down h2v2", us, kSmall, [] {
    for (int y = 0; y < kHeight / 2; ++y) {
      zeliSampleDownRowH2V2_Box_JPEG_8u_C1(large.row(2 * y), large.row(2 * y + 1), kWidth, small.row(y));
    }
  });
  add("row down h2v2", peer, kSmall, down2);

  add("plane up h2v1", us, kLarge,
      [] { zeliSampleUpH2V1_JPEG_8u_C1R(small.data, kStep, wideSize, large.data, kStep, largeSize); });
  add("plane up h2v1", peer, kLarge, up1);
  add("plane up h2v2", us, kLarge,
      [] { zeliSampleUpH2V2_JPEG_8u_C1R(small.data, kStep, smallSize, large.data, kStep, largeSize); });
  add("plane up h2v2", peer, kLarge, up2);
  add("plane down h2v1", us, kWide,
      [] { zeliSampleDownH2V1_JPEG_8u_C1R(large.data, kStep, largeSize, small.data, kStep, wideSize); });
  add("plane down h2v1", peer, kWide, down1);
  add("plane down h2v2", us, kSmall,
      [] { zeliSampleDownH2V2_JPEG_8u_C1R(large.data, kStep, largeSize, small.data, kStep, smallSize); });
  add("plane down h2v2", peer, kSmall, down2);
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
