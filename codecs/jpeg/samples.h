// What the codec does with samples and blocks, in one overload for 8 bits and one for 12. The 8-bit ones are the
// library's functions; for 12 bits the library has the transforms, and the rest is plain code. The transforms, colour
// conversions and sampling functions fail by wrong arguments only, so their statuses are not looked at.
#pragma once

#include <algorithm>
#include <cstdint>

#include "jpeg/jpeg.h"
#include "zelj.h"

namespace jpeg {

// Entries of the tables that the forward and the inverse transform take.
template <class Sample>
struct TransformTable;
template <>
struct TransformTable<Zel8u> {
  using Entry = Zel16u;
};
template <>
struct TransformTable<Zel16u> {
  using Entry = Zel32f;
};

// Forward transform of 8 rows of 8 samples.
inline void transformForward(const Zel8u* samples, int step, Zel16s* block, const Zel16u* table) {
  zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, step, block, table);
}
inline void transformForward(const Zel16u* samples, int step, Zel16s* block, const Zel32f* table) {
  zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(samples, step, block, table);
}

// The transform for 8 bits rounds its coefficients to integers before it divides them, which shows at steps of 2. Where
// that counts, the one for 12 bits does the work on samples that are scaled up, with a table that is scaled down.
constexpr int kFineScale = 16;
void transformForward(const Zel8u* samples, int step, Zel16s* block, const Zel32f* fineTable);

// Inverse transform to size x size samples, size 8, 4, 2 or 1. Outside of `corner` rows and columns all coefficients
// are zero, corner 8, 4, 2 or 1.
void transformInverse(const Zel16s* block, Zel8u* samples, int step, const Zel16u* table, int size, int corner = 8);
void transformInverse(const Zel16s* block, Zel16u* samples, int step, const Zel32f* table, int size, int corner = 8);

// The library spreads the rows of a call over threads if it has more pixels than this. The codec has threads of its own
// and makes smaller calls.
constexpr int kPixelsOfOneThread = 8192;

// A region of R, G, B of at most kPixelsOfOneThread pixels to planes Y, Cb, Cr. Steps are in bytes.
void convertForward(const Zel8u* rgb, int rgbStep, Zel8u* const planes[3], int planeStep, ZeliSize size);
void convertForward(const Zel16u* rgb, int rgbStep, Zel16u* const planes[3], int planeStep, ZeliSize size);

// Rows of Y, Cb, Cr to a row of R, G, B.
void convertInverse(const Zel8u* const rows[3], Zel8u* rgb, int width);
void convertInverse(const Zel16u* const rows[3], Zel16u* rgb, int width);

// Rows of `width` samples, an even number, to half the width. Two rows give one in halve2x2.
void halve2x1(const Zel8u* row, int width, Zel8u* half);
void halve2x1(const Zel16u* row, int width, Zel16u* half);
void halve2x2(const Zel8u* row1, const Zel8u* row2, int width, Zel8u* half);
void halve2x2(const Zel16u* row1, const Zel16u* row2, int width, Zel16u* half);

// `count` rounded means of kAcross x kDown samples each, whose rows are `step` samples apart.
template <int kAcross, int kDown, class Sample>
void average(const Sample* rows, int step, int count, Sample* means) {
  for (int x = 0; x < count; ++x) {
    int sum = kAcross * kDown / 2;
    for (int i = 0; i < kAcross * kDown; ++i) sum += rows[i / kAcross * step + x * kAcross + i % kAcross];
    means[x] = static_cast<Sample>(sum / (kAcross * kDown));
  }
}

// Rows of `width` samples, 2 at least, to twice the width by the triangle filter; double2x2 is given the row that the
// result lies nearer to and the row on its other side, double1x2 too, which keeps the width.
void double2x1(const Zel8u* row, int width, Zel8u* wide);
void double2x1(const Zel16u* row, int width, Zel16u* wide);
void double2x2(const Zel8u* near, const Zel8u* far, int width, Zel8u* wide);
void double2x2(const Zel16u* near, const Zel16u* far, int width, Zel16u* wide);
template <class Sample>
void double1x2(const Sample* near, const Sample* far, int width, bool farIsAbove, Sample* row) {
  const unsigned bias = farIsAbove ? 1 : 2;
  for (int x = 0; x < width; ++x) row[x] = static_cast<Sample>((3u * near[x] + far[x] + bias) >> 2);
}

} // namespace jpeg
