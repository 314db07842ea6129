// Colour conversion at full resolution, beside the peer's kernels where it has one and beside copying as many bytes.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/measure.h"
#include "support/turbo.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

// A region that fits the second-level cache together with its counterpart. The peer writes over the end of rows.
constexpr int kWidth = 1024, kHeight = 32;
constexpr double kPixels = kWidth * kHeight;
constexpr ZeliSize kSize{kWidth, kHeight};

// Planes of random bytes, with rows as the peer wants them.
struct Operand {
  Operand(int planeCount, int pixelBytes) : step(kWidth * pixelBytes + 64), planes(static_cast<size_t>(planeCount)) {
    for (size_t i = 0; i < planes.size(); ++i) {
      const size_t bytes = static_cast<size_t>(step) * kHeight + 64;
      planes[i] = static_cast<Zel8u*>(std::aligned_alloc(64, (bytes + 63) / 64 * 64));
      for (size_t b = 0; b < bytes; ++b) planes[i][b] = static_cast<Zel8u>(b * 2654435761u >> 13);
      rows.emplace_back();
      for (int y = 0; y < kHeight; ++y) rows[i].push_back(planes[i] + y * step);
    }
    for (auto& r : rows) rowsOfPlanes.push_back(r.data());
  }

  int step;
  std::vector<Zel8u*> planes;
  std::vector<std::vector<Zel8u*>> rows;
  std::vector<Zel8u**> rowsOfPlanes;
};

template <class T>
T argument(const Operand& operand) {
  if constexpr (std::is_pointer_v<std::remove_pointer_t<T>>) {
    return operand.planes.data();
  } else {
    return reinterpret_cast<T>(operand.planes[0]);
  }
}

// An export between operands of the given planes and bytes a pixel, and a copy of as many bytes as it reads or writes,
// whichever is more.
template <class S, class D, class... More>
void add(const char* name, ZelStatus (*f)(S, int, D, int, ZeliSize, More...), int srcPlanes, int srcBytes,
         int dstPlanes, int dstBytes, More... more) {
  const std::string work = std::string("colour/") + name;
  const auto src = std::make_shared<Operand>(srcPlanes, srcBytes), dst = std::make_shared<Operand>(dstPlanes, dstBytes);
  measure(work, "zelj", "pixels", kPixels,
          [=] { f(argument<S>(*src), src->step, argument<D>(*dst), dst->step, kSize, more...); });
  const bool read = srcPlanes * srcBytes > dstPlanes * dstBytes;
  const size_t bytes = static_cast<size_t>((read ? srcPlanes * srcBytes : dstPlanes * dstBytes) * kWidth * kHeight);
  const auto from = std::make_shared<std::vector<Zel8u>>(bytes), to = std::make_shared<std::vector<Zel8u>>(bytes);
  measure(work, "memcpy of as many bytes", "pixels", kPixels, [=] { std::memcpy(to->data(), from->data(), bytes); });
}

// The peer's kernel for pixels to planes, and for planes to pixels.
void addPeer(const char* name, void (*f)(unsigned, Rows, Planes, unsigned, int), int srcBytes, int dstPlanes) {
  const auto src = std::make_shared<Operand>(1, srcBytes), dst = std::make_shared<Operand>(dstPlanes, 1);
  measure(std::string("colour/") + name, "libjpeg-turbo", "pixels", kPixels,
          [=] { f(kWidth, src->rows[0].data(), dst->rowsOfPlanes.data(), 0, kHeight); });
}
void addPeer(const char* name, void (*f)(unsigned, Planes, unsigned, Rows, int), int dstBytes) {
  const auto src = std::make_shared<Operand>(3, 1), dst = std::make_shared<Operand>(1, dstBytes);
  measure(std::string("colour/") + name, "libjpeg-turbo", "pixels", kPixels,
          [=] { f(kWidth, src->rowsOfPlanes.data(), 0, dst->rows[0].data(), kHeight); });
}

void registerAll() {
#define ADD(op, ...) add(#op, zeli##op, __VA_ARGS__)
  ADD(RGBToYCbCr_JPEG_8u_C3P3R, 1, 3, 3, 1);
  addPeer("RGBToYCbCr_JPEG_8u_C3P3R", turbo_rgb_ycc_convert(), 3, 3);
  ADD(BGRToYCbCr_JPEG_8u_C3P3R, 1, 3, 3, 1);
  addPeer("BGRToYCbCr_JPEG_8u_C3P3R", turbo_extbgr_ycc_convert(), 3, 3);
  ADD(RGBToYCbCr_JPEG_8u_C4P3R, 1, 4, 3, 1);
  addPeer("RGBToYCbCr_JPEG_8u_C4P3R", turbo_extrgbx_ycc_convert(), 4, 3);
  ADD(BGRToYCbCr_JPEG_8u_C4P3R, 1, 4, 3, 1);
  addPeer("BGRToYCbCr_JPEG_8u_C4P3R", turbo_extbgrx_ycc_convert(), 4, 3);
  ADD(RGBToYCbCr_JPEG_8u_P3R, 3, 1, 3, 1);
  ADD(RGBToY_JPEG_8u_C3C1R, 1, 3, 1, 1);
  addPeer("RGBToY_JPEG_8u_C3C1R", turbo_rgb_gray_convert(), 3, 1);
  ADD(BGRToY_JPEG_8u_C3C1R, 1, 3, 1, 1);
  addPeer("BGRToY_JPEG_8u_C3C1R", turbo_extbgr_gray_convert(), 3, 1);
  ADD(RGBToY_JPEG_8u_P3C1R, 3, 1, 1, 1);
  ADD(RGB555ToYCbCr_JPEG_16u8u_C3P3R, 1, 2, 3, 1);
  ADD(BGR565ToYCbCr_JPEG_16u8u_C3P3R, 1, 2, 3, 1);
  ADD(CMYKToYCCK_JPEG_8u_C4P4R, 1, 4, 4, 1);
  ADD(CMYKToYCCK_JPEG_8u_P4R, 4, 1, 4, 1);
  ADD(YCbCrToRGB_JPEG_8u_P3C3R, 3, 1, 1, 3);
  addPeer("YCbCrToRGB_JPEG_8u_P3C3R", turbo_ycc_rgb_convert(), 3);
  ADD(YCbCrToBGR_JPEG_8u_P3C3R, 3, 1, 1, 3);
  addPeer("YCbCrToBGR_JPEG_8u_P3C3R", turbo_ycc_extbgr_convert(), 3);
  ADD(YCbCrToRGB_JPEG_8u_P3R, 3, 1, 3, 1);
  ADD(YCbCrToRGB_JPEG_8u_P3C4R, 3, 1, 1, 4, Zel8u{255});
  addPeer("YCbCrToRGB_JPEG_8u_P3C4R", turbo_ycc_extrgbx_convert(), 4);
  ADD(YCbCrToBGR_JPEG_8u_P3C4R, 3, 1, 1, 4, Zel8u{255});
  addPeer("YCbCrToBGR_JPEG_8u_P3C4R", turbo_ycc_extbgrx_convert(), 4);
  ADD(YCbCrToRGB555_JPEG_8u16u_P3C3R, 3, 1, 1, 2);
  ADD(YCbCrToBGR565_JPEG_8u16u_P3C3R, 3, 1, 1, 2);
  ADD(YCCKToCMYK_JPEG_8u_P4C4R, 4, 1, 1, 4);
  ADD(YCCKToCMYK_JPEG_8u_P4R, 4, 1, 4, 1);
#undef ADD
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
