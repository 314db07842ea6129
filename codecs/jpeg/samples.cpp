#include "jpeg/samples.h"

#include <cmath>

namespace jpeg {
namespace {

constexpr int kMiddle12 = 2048, kMax12 = 4095;

Zel16u clamp12(float value) {
  return static_cast<Zel16u>(std::clamp(std::lrint(value), 0l, long{kMax12}));
}

// A block of a DC term alone. The library's member cuts an eighth of the product off: half of its divisor goes in
// first.
void transformDc(const Zel16s* block, Zel8u* samples, int step, const Zel16u* table) {
  static constexpr Zel16u kOne[64] = {1};
  Zel16s rounded[64]; // of which the first counts
  rounded[0] = static_cast<Zel16s>(std::clamp(block[0] * table[0] + 4, -32768, 32767));
  zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(rounded, samples, step, kOne);
}

} // namespace

void transformForward(const Zel8u* samples, int step, Zel16s* block, const Zel32f* fineTable) {
  Zel16u fine[64];
  for (int y = 0; y < 8; ++y, samples += step) {
    for (int x = 0; x < 8; ++x) fine[8 * y + x] = static_cast<Zel16u>(samples[x] * kFineScale);
  }
  zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(fine, 8 * sizeof(Zel16u), block, fineTable);
}

void transformInverse(const Zel16s* block, Zel8u* samples, int step, const Zel16u* table, int size, int corner) {
  if (size == 8 && corner == 8) [[likely]] {
    zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, samples, step, table);
  } else if (size == 8 && corner == 4) {
    zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(block, samples, step, table);
  } else if (size == 8 && corner == 2) {
    zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(block, samples, step, table);
  } else if (size == 8) {
    transformDc(block, samples, step, table);
  } else if (size == 4) {
    zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(block, samples, step, table);
  } else if (size == 2) {
    zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(block, samples, step, table);
  } else {
    Zel8u flat[64];
    transformDc(block, flat, 8, table);
    *samples = flat[0];
  }
}

// There is no reduced member for 12 bits: the samples of the full transform are averaged.
void transformInverse(const Zel16s* block, Zel16u* samples, int step, const Zel32f* table, int size, int) {
  if (size == 8) {
    zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, samples, step, table);
    return;
  }
  Zel16u full[64];
  zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, full, 16, table);
  const int group = 8 / size;
  for (int y = 0; y < size; ++y) {
    for (int x = 0; x < size; ++x) {
      int sum = group * group / 2;
      for (int i = 0; i < group * group; ++i) sum += full[8 * (y * group + i / group) + x * group + i % group];
      samples[y * step / 2 + x] = static_cast<Zel16u>(sum / (group * group));
    }
  }
}

void convertForward(const Zel8u* rgb, int rgbStep, Zel8u* const planes[3], int planeStep, ZeliSize size) {
  zeliRGBToYCbCr_JPEG_8u_C3P3R(rgb, rgbStep, planes, planeStep, size);
}

void convertForward(const Zel16u* rgb, int rgbStep, Zel16u* const planes[3], int planeStep, ZeliSize size) {
  for (int row = 0; row < size.height; ++row) {
    const Zel16u* pixel = rgb + static_cast<ptrdiff_t>(row) * rgbStep / 2;
    const ptrdiff_t begin = static_cast<ptrdiff_t>(row) * planeStep / 2;
    for (int x = 0; x < size.width; ++x, pixel += 3) {
      const float r = pixel[0], g = pixel[1], b = pixel[2];
      const float y = 0.299f * r + 0.587f * g + 0.114f * b;
      planes[0][begin + x] = clamp12(y);
      planes[1][begin + x] = clamp12((b - y) / 1.772f + kMiddle12);
      planes[2][begin + x] = clamp12((r - y) / 1.402f + kMiddle12);
    }
  }
}

void convertInverse(const Zel8u* const rows[3], Zel8u* rgb, int width) {
  for (int x = 0; x < width; x += kPixelsOfOneThread) {
    const int count = std::min(width - x, kPixelsOfOneThread);
    const Zel8u* const planes[3] = {rows[0] + x, rows[1] + x, rows[2] + x};
    zeliYCbCrToRGB_JPEG_8u_P3C3R(planes, count, rgb + 3 * x, 3 * count, {count, 1});
  }
}

void convertInverse(const Zel16u* const rows[3], Zel16u* rgb, int width) {
  for (int x = 0; x < width; ++x, rgb += 3) {
    const float y = rows[0][x];
    const auto cb = static_cast<float>(rows[1][x] - kMiddle12), cr = static_cast<float>(rows[2][x] - kMiddle12);
    rgb[0] = clamp12(y + 1.402f * cr);
    rgb[1] = clamp12(y - 0.344136f * cb - 0.714136f * cr);
    rgb[2] = clamp12(y + 1.772f * cb);
  }
}

void halve2x1(const Zel8u* row, int width, Zel8u* half) {
  zeliSampleDownRowH2V1_Box_JPEG_8u_C1(row, width, half);
}

void halve2x1(const Zel16u* row, int width, Zel16u* half) {
  for (int i = 0; i < width / 2; ++i) half[i] = static_cast<Zel16u>((row[2 * i] + row[2 * i + 1] + (i & 1)) >> 1);
}

void halve2x2(const Zel8u* row1, const Zel8u* row2, int width, Zel8u* half) {
  zeliSampleDownRowH2V2_Box_JPEG_8u_C1(row1, row2, width, half);
}

void halve2x2(const Zel16u* row1, const Zel16u* row2, int width, Zel16u* half) {
  for (int i = 0; i < width / 2; ++i) {
    const int sum = row1[2 * i] + row1[2 * i + 1] + row2[2 * i] + row2[2 * i + 1];
    half[i] = static_cast<Zel16u>((sum + 1 + (i & 1)) >> 2);
  }
}

void double2x1(const Zel8u* row, int width, Zel8u* wide) {
  zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(row, width, wide);
}

void double2x1(const Zel16u* row, int width, Zel16u* wide) {
  double2x2(row, row, width, wide);
}

void double2x2(const Zel8u* near, const Zel8u* far, int width, Zel8u* wide) {
  zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(near, far, width, wide);
}

void double2x2(const Zel16u* near, const Zel16u* far, int width, Zel16u* wide) {
  const auto column = [=](int i) {
    i = std::clamp(i, 0, width - 1);
    return 3 * near[i] + far[i];
  };
  for (int i = 0; i < width; ++i) {
    wide[2 * i] = static_cast<Zel16u>((column(i - 1) + 3 * column(i) + 8) >> 4);
    wide[2 * i + 1] = static_cast<Zel16u>((3 * column(i) + column(i + 1) + 7) >> 4);
  }
}

} // namespace jpeg
