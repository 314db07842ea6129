// Colour conversion with halved chroma in one pass: beside the peer's conversion followed by its downsampling, row
// group by row group as its encoder does it, and beside its merged upsampling.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/measure.h"
#include "support/plane.h"
#include "support/turbo.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kWidth = 1024, kHeight = 32; // in the second-level cache
constexpr double kPixels = kWidth * kHeight;
constexpr ZeliSize kSize{kWidth, kHeight};

// Pixels of kBytes bytes, Y, and chroma halved in rows, and for kDown = 2 in columns too.
template <int kBytes, int kDown>
struct Operands {
  Plane pixels{kWidth * kBytes, kHeight}, y{kWidth, kHeight};
  Plane cb{kWidth / 2, kHeight / kDown}, cr{kWidth / 2, kHeight / kDown};
  Plane wideCb{kWidth, kDown}, wideCr{kWidth, kDown}; // a row group at full resolution, for the peer
  Zel8u* planes[3] = {y.data.get(), cb.data.get(), cr.data.get()};
  int steps[3] = {y.step, cb.step, cr.step};
};

template <int kBytes, int kDown, class Forward, class Convert, class Downsample>
void addForward(const char* name, Forward forward, Convert convert, Downsample downsample) {
  const std::string work = std::string("halved/") + name;
  const auto o = std::make_shared<Operands<kBytes, kDown>>();
  measure(work, "zelj", "pixels", kPixels,
          [=] { forward(o->pixels.data.get(), o->pixels.step, o->planes, o->steps, kSize); });
  measure(work, "libjpeg-turbo", "pixels", kPixels, [=] {
    for (int y = 0; y < kHeight; y += kDown) {
      Rows group[3] = {o->y.rows.data() + y, o->wideCb.rows.data(), o->wideCr.rows.data()};
      convert(kWidth, o->pixels.rows.data() + y, group, 0, kDown);
      downsample(kWidth, kDown, 1, kWidth / 16, o->wideCb.rows.data(), o->cb.rows.data() + y / kDown);
      downsample(kWidth, kDown, 1, kWidth / 16, o->wideCr.rows.data(), o->cr.rows.data() + y / kDown);
    }
  });
}

template <int kBytes, int kDown, class Inverse, class Merged, class... Alpha>
void addInverse(const char* name, Inverse inverse, Merged merged, Alpha... alpha) {
  const std::string work = std::string("halved/") + name;
  const auto o = std::make_shared<Operands<kBytes, kDown>>();
  measure(work, "zelj", "pixels", kPixels,
          [=] { inverse(o->planes, o->steps, o->pixels.data.get(), o->pixels.step, kSize, alpha...); });
  measure(work, "libjpeg-turbo", "pixels", kPixels, [=] {
    Rows planes[3] = {o->y.rows.data(), o->cb.rows.data(), o->cr.rows.data()};
    for (int y = 0; y < kHeight / kDown; ++y) {
      merged(kWidth, planes, static_cast<unsigned>(y), o->pixels.rows.data() + y * kDown);
    }
  });
}

void registerAll() {
  addForward<3, 1>("RGBToYCbCr422_C3P3R", zeliRGBToYCbCr422_JPEG_8u_C3P3R, turbo_rgb_ycc_convert(),
                   turbo_h2v1_downsample());
  addForward<4, 1>("RGBToYCbCr422_C4P3R", zeliRGBToYCbCr422_JPEG_8u_C4P3R, turbo_extrgbx_ycc_convert(),
                   turbo_h2v1_downsample());
  addForward<3, 2>("RGBToYCbCr411_C3P3R", zeliRGBToYCbCr411_JPEG_8u_C3P3R, turbo_rgb_ycc_convert(),
                   turbo_h2v2_downsample());
  addForward<4, 2>("RGBToYCbCr411_C4P3R", zeliRGBToYCbCr411_JPEG_8u_C4P3R, turbo_extrgbx_ycc_convert(),
                   turbo_h2v2_downsample());
  addInverse<3, 1>("YCbCr422ToRGB_P3C3R", zeliYCbCr422ToRGB_JPEG_8u_P3C3R, turbo_h2v1_merged_upsample());
  addInverse<4, 1>("YCbCr422ToRGB_P3C4R", zeliYCbCr422ToRGB_JPEG_8u_P3C4R, turbo_h2v1_extrgbx_merged_upsample(),
                   Zel8u{255});
  addInverse<3, 2>("YCbCr411ToRGB_P3C3R", zeliYCbCr411ToRGB_JPEG_8u_P3C3R, turbo_h2v2_merged_upsample());
  addInverse<4, 2>("YCbCr411ToRGB_P3C4R", zeliYCbCr411ToRGB_JPEG_8u_P3C4R, turbo_h2v2_extrgbx_merged_upsample(),
                   Zel8u{255});
  const auto pairs = std::make_shared<Plane>(2 * kWidth, kHeight), rgb = std::make_shared<Plane>(3 * kWidth, kHeight);
  measure("halved/YCbCr422ToRGB_C2C3R", "zelj", "pixels", kPixels,
          [=] { zeliYCbCr422ToRGB_JPEG_8u_C2C3R(pairs->data.get(), pairs->step, rgb->data.get(), rgb->step, kSize); });
  measure("halved/YCbCr422ToRGB_C2C3R", "memcpy of as many bytes", "pixels", kPixels, [=] {
    for (int y = 0; y < kHeight; ++y)
      std::copy_n(rgb->rows[static_cast<size_t>(y)], 2 * kWidth, pairs->rows[static_cast<size_t>(y)]);
  });
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
