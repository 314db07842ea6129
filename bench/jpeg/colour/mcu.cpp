// A row of MCUs between pixels and level-shifted blocks, MCU by MCU. The peer does the same work in three steps over
// the row: colour conversion, downsampling and level shift into blocks; the other way it has its colour conversion or
// merged upsampling, from bytes.
#include <memory>
#include <string>

#include "support/measure.h"
#include "support/plane.h"
#include "support/turbo.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kWidth = 1024;

template <int kAcross, int kDown, int kBytes>
struct McuRow {
  static constexpr int kHeight = 8 * kDown, kUnits = kWidth / (8 * kAcross), kLuma = 64 * kAcross * kDown;
  static constexpr double kPixels = kWidth * kHeight;

  Plane pixels{kWidth * kBytes, kHeight};
  Plane y{kWidth, kHeight}, wideCb{kWidth, kHeight}, wideCr{kWidth, kHeight};
  Plane cb{kWidth / kAcross, 8}, cr{kWidth / kAcross, 8};
  Plane blocks{kUnits * (2 * kLuma + 128) * 2, 1};

  McuRow() { // blocks of samples -128..127
    for (int i = 0; i < kUnits * (2 * kLuma + 128); ++i) block(0, 0)[i] = static_cast<Zel16s>(i * 37 % 256 - 128);
  }
  // Plane 0 (and 3) of all units, then 1, then 2.
  Zel16s* block(int unit, int plane) const {
    auto* all = reinterpret_cast<Zel16s*>(blocks.data.get());
    switch (plane) {
      case 0:
        return all + unit * kLuma;
      case 3:
        return all + (kUnits + unit) * kLuma;
      default:
        return all + 2 * kUnits * kLuma + (unit * 2 + plane - 1) * 64;
    }
  }
};

template <int kAcross, int kDown, int kBytes, int kPlanes, class T, class Forward>
auto ourForward(std::shared_ptr<McuRow<kAcross, kDown, kBytes>> o, Forward forward) {
  return [=] {
    for (int unit = 0; unit < o->kUnits; ++unit) {
      Zel16s* dst[kPlanes];
      for (int i = 0; i < kPlanes; ++i) dst[i] = o->block(unit, i);
      forward(reinterpret_cast<const T*>(o->pixels.data.get() + unit * 8 * kAcross * kBytes), o->pixels.step, dst);
    }
  };
}
template <int kAcross, int kDown, int kBytes, int kPlanes, class T, class Inverse>
auto ourInverse(std::shared_ptr<McuRow<kAcross, kDown, kBytes>> o, Inverse inverse) {
  return [=] {
    for (int unit = 0; unit < o->kUnits; ++unit) {
      const Zel16s* src[kPlanes];
      for (int i = 0; i < kPlanes; ++i) src[i] = o->block(unit, i);
      inverse(src, reinterpret_cast<T*>(o->pixels.data.get() + unit * 8 * kAcross * kBytes), o->pixels.step);
    }
  };
}

template <int kAcross, int kDown, class Forward, class Inverse, class ToRgb>
void addBytes(const char* shape, Forward forward, Inverse inverse, ToRgb toRgb) {
  using Row = McuRow<kAcross, kDown, 3>;
  const auto o = std::make_shared<Row>();
  const std::string name = std::string("mcu/") + shape;
  measure(name + " pixels to blocks", "zelj", "pixels", Row::kPixels,
          ourForward<kAcross, kDown, 3, 3, Zel8u>(o, forward));
  measure(name + " pixels to blocks", "libjpeg-turbo", "pixels", Row::kPixels, [=] {
    for (int y = 0; y < 8 * kDown; y += kDown) {
      Rows group[3] = {o->y.rows.data() + y, o->wideCb.rows.data() + y, o->wideCr.rows.data() + y};
      turbo_rgb_ycc_convert()(kWidth, o->pixels.rows.data() + y, group, 0, kDown);
    }
    Rows chroma[2] = {o->wideCb.rows.data(), o->wideCr.rows.data()};
    if constexpr (kAcross == 2) {
      Rows halved[2] = {o->cb.rows.data(), o->cr.rows.data()};
      const auto downsample = kDown == 2 ? turbo_h2v2_downsample() : turbo_h2v1_downsample();
      for (int i = 0; i < 2; ++i) {
        for (int y = 0; y < 8; ++y) {
          downsample(kWidth, kDown, 1, kWidth / 16, chroma[i] + y * kDown, halved[i] + y);
        }
        chroma[i] = halved[i];
      }
    }
    for (int unit = 0; unit < Row::kUnits; ++unit) {
      for (int i = 0; i < kAcross * kDown; ++i) {
        turbo_convsamp()(o->y.rows.data() + i / kAcross * 8, static_cast<unsigned>((unit * kAcross + i % kAcross) * 8),
                         o->block(unit, 0) + 64 * i);
      }
      for (int i = 0; i < 2; ++i) turbo_convsamp()(chroma[i], static_cast<unsigned>(unit * 8), o->block(unit, 1 + i));
    }
  });
  const auto out = std::make_shared<Row>();
  measure(name + " blocks to pixels", "zelj", "pixels", Row::kPixels,
          ourInverse<kAcross, kDown, 3, 3, Zel8u>(out, inverse));
  measure(name + " blocks to pixels", "libjpeg-turbo", "pixels", Row::kPixels, [=] { toRgb(*out); });
}

// Exports without a peer.
template <int kAcross, int kDown, int kBytes, int kPlanes, class T, class Forward, class Inverse>
void addAlone(const char* name, Forward forward, Inverse inverse) {
  using Row = McuRow<kAcross, kDown, kBytes>;
  const auto in = std::make_shared<Row>(), out = std::make_shared<Row>();
  measure(std::string("mcu/") + name + " to blocks", "zelj", "pixels", Row::kPixels,
          ourForward<kAcross, kDown, kBytes, kPlanes, T>(in, forward));
  measure(std::string("mcu/") + name + " from blocks", "zelj", "pixels", Row::kPixels,
          ourInverse<kAcross, kDown, kBytes, kPlanes, T>(out, inverse));
}

void registerAll() {
  const auto merged = [](auto kernel) {
    return [=](auto& o) {
      Rows planes[3] = {o.y.rows.data(), o.cb.rows.data(), o.cr.rows.data()};
      for (unsigned y = 0; y < 8; ++y) kernel(kWidth, planes, y, o.pixels.rows.data() + y * (o.kHeight / 8));
    };
  };
  addBytes<1, 1>("444", zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R, zeliYCbCr444ToRGBLS_MCU_16s8u_P3C3R, [](auto& o) {
    Rows planes[3] = {o.y.rows.data(), o.wideCb.rows.data(), o.wideCr.rows.data()};
    turbo_ycc_rgb_convert()(kWidth, planes, 0, o.pixels.rows.data(), 8);
  });
  addBytes<2, 1>("422", zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R, zeliYCbCr422ToRGBLS_MCU_16s8u_P3C3R,
                 merged(turbo_h2v1_merged_upsample()));
  addBytes<2, 2>("411", zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R, zeliYCbCr411ToRGBLS_MCU_16s8u_P3C3R,
                 merged(turbo_h2v2_merged_upsample()));
  addAlone<2, 2, 2, 3, Zel16u>("BGR565 411", zeliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R,
                               zeliYCbCr411ToBGR565LS_MCU_16s16u_P3C3R);
  addAlone<1, 1, 4, 4, Zel8u>("CMYK 444", zeliCMYKToYCCK444LS_MCU_8u16s_C4P4R, zeliYCCK444ToCMYKLS_MCU_16s8u_P4C4R);
  addAlone<2, 2, 4, 4, Zel8u>("CMYK 411", zeliCMYKToYCCK411LS_MCU_8u16s_C4P4R, zeliYCCK411ToCMYKLS_MCU_16s8u_P4C4R);
  addAlone<1, 1, 3, 3, Zel8u>("sampling 444", zeliSampleDown444LS_MCU_8u16s_C3P3R, zeliSampleUp444LS_MCU_16s8u_P3C3R);
  addAlone<2, 1, 3, 3, Zel8u>("sampling 422", zeliSampleDown422LS_MCU_8u16s_C3P3R, zeliSampleUp422LS_MCU_16s8u_P3C3R);
  addAlone<2, 2, 3, 3, Zel8u>("sampling 411", zeliSampleDown411LS_MCU_8u16s_C3P3R, zeliSampleUp411LS_MCU_16s8u_P3C3R);
  addAlone<2, 1, 2, 3, Zel8u>("pairs 422", zeliSplit422LS_MCU_8u16s_C2P3R, zeliJoin422LS_MCU_16s8u_P3C2R);
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
