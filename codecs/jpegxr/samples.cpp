#include "jpegxr/samples.h"

#include <algorithm>
#include <cstring>

namespace jpegxr {
namespace {

// Fraction bits that lossy pictures carry, and what samples lie around.
int fractionBits(const Header& header) {
  return header.scaled ? 3 : 0;
}
Zel32s biasOf(const Header& header) {
  return (header.bits == 8 ? 128 : 32768 >> header.shift) << fractionBits(header);
}

template <class Sample>
void putSamples(const Header& header, const Sample* from, Zel32s* y, Zel32s* u, Zel32s* v) {
  const int fraction = fractionBits(header), shift = header.shift, width = header.width;
  const Zel32s bias = biasOf(header);
  const auto sample = [=](Sample s) { return Zel32s{s} >> shift << fraction; };
  if (!header.isRgb) {
    for (int x = 0; x < width; ++x) y[x] = sample(from[x]) - bias;
    return;
  }
  for (int x = 0; x < width; ++x, from += 3) {
    const Zel32s r = sample(from[0]), g = sample(from[1]), b = sample(from[2]);
    const Zel32s blue = b - r, t = r - g + ((blue + 1) >> 1);
    y[x] = g + (t >> 1) - bias;
    u[x] = -t;
    v[x] = blue;
  }
}

template <class Sample>
void getSamples(const Header& header, const Zel32s* y, const Zel32s* u, const Zel32s* v, Sample* to) {
  constexpr Zel32s kFull = static_cast<Sample>(-1);
  const int fraction = fractionBits(header), shift = header.shift, width = header.width;
  const Zel32s offset = biasOf(header) + (fraction == 0 ? 0 : header.bits == 8 ? 3 : 4);
  const auto sample = [=](Zel32s value) {
    return static_cast<Sample>(std::clamp((value >> fraction) << shift, 0, kFull));
  };
  if (!header.isRgb) {
    for (int x = 0; x < width; ++x) to[x] = sample(y[x] + offset);
  } else if (!u) {
    for (int x = 0; x < width; ++x) to[3 * x] = to[3 * x + 1] = to[3 * x + 2] = sample(y[x] + offset);
  } else {
    for (int x = 0; x < width; ++x) {
      const Zel32s t = -u[x], g = y[x] + offset - (t >> 1), r = t - ((v[x] + 1) >> 1) + g;
      to[3 * x] = sample(r);
      to[3 * x + 1] = sample(g);
      to[3 * x + 2] = sample(v[x] + r);
    }
  }
}

// Fills what lies right of and below the picture with its last column and row.
void pad(const Plane& plane, int width, int height) {
  for (int y = 0; y < height; ++y) std::fill(plane.at(width, y), plane.at(0, y) + plane.width, *plane.at(width - 1, y));
  for (int y = height; y < plane.height; ++y) std::memcpy(plane.at(0, y), plane.at(0, height - 1), plane.step());
}

// Weights of 1, 4, 6, 4, 1 across, then down, around the even places; mirrored at the first and the last value.
void halve(const Plane& full, const Plane& half) {
  const auto weighted = [](Zel32s a, Zel32s b, Zel32s c, Zel32s d, Zel32s e) {
    return (a + 4 * b + 6 * c + 4 * d + e + 8) >> 4;
  };
  const auto mirrored = [](int i, int n) { return i < 0 ? -i : i >= n ? 2 * n - 2 - i : i; };
  for (int y = 0; y < full.height; ++y) {
    Zel32s* row = full.at(0, y);
    // In place: what is behind is still needed.
    Zel32s before[2] = {row[2], row[1]};
    for (int x = 0; x < full.width; x += 2) {
      const Zel32s here = row[x], next = row[x + 1];
      const Zel32s value = weighted(before[0], before[1], here, next, row[mirrored(x + 2, full.width)]);
      before[0] = here, before[1] = next;
      row[x / 2] = value;
    }
  }
  for (int y = 0; y < half.height; ++y) {
    const Zel32s* rows[5];
    for (int i = 0; i < 5; ++i) rows[i] = full.at(0, mirrored(2 * y + i - 2, full.height));
    for (int x = 0; x < half.width; ++x)
      *half.at(x, y) = weighted(rows[0][x], rows[1][x], rows[2][x], rows[3][x], rows[4][x]);
  }
}

// Row y of a halved plane at full size: between two values is their mean.
void doubleRow(const Plane& half, int y, Zel32s* to) {
  const int above = y / 2, below = std::min(above + y % 2, half.height - 1);
  const Zel32s *a = half.at(0, above), *b = half.at(0, below);
  Zel32s last = (a[0] + b[0] + 1) >> 1;
  for (int x = 0; x < half.width; ++x) {
    const int next = std::min(x + 1, half.width - 1);
    const Zel32s right = (a[next] + b[next] + 1) >> 1;
    to[2 * x] = last;
    to[2 * x + 1] = (last + right + 1) >> 1;
    last = right;
  }
}

} // namespace

void putRow(const Header& header, const uint8_t* row, int y, Planes& planes, FullChroma& chroma) {
  const bool halved = header.inner == Inner::yuv420;
  Zel32s* u = !header.isRgb ? nullptr : halved ? chroma.u.at(0, y) : planes.component[1].plane.at(0, y);
  Zel32s* v = !header.isRgb ? nullptr : halved ? chroma.v.at(0, y) : planes.component[2].plane.at(0, y);
  Zel32s* luma = planes.component[0].plane.at(0, y);
  if (header.bits == 8) {
    putSamples(header, row, luma, u, v);
  } else {
    putSamples(header, reinterpret_cast<const uint16_t*>(row), luma, u, v);
  }
}

void finishPlanes(const Header& header, Planes& planes, FullChroma& chroma) {
  const bool halved = header.inner == Inner::yuv420;
  pad(planes.component[0].plane, header.width, header.height);
  if (header.inner == Inner::yOnly) return;
  for (int c = 1; c <= 2; ++c) {
    Plane& full = halved ? (c == 1 ? chroma.u : chroma.v) : planes.component[c].plane;
    pad(full, header.width, header.height);
    if (halved) halve(full, planes.component[c].plane);
  }
}

void getRow(const Header& header, const Planes& planes, int y, Zel32s* line, uint8_t* row) {
  const Component* c = planes.component;
  const Zel32s *u = nullptr, *v = nullptr;
  if (header.inner == Inner::yuv420) {
    doubleRow(c[1].plane, y, line);
    doubleRow(c[2].plane, y, line + c[0].plane.width);
    u = line, v = line + c[0].plane.width;
  } else if (header.inner == Inner::yuv444) {
    u = c[1].plane.at(0, y), v = c[2].plane.at(0, y);
  }
  if (header.bits == 8) {
    getSamples(header, c[0].plane.at(0, y), u, v, row);
  } else {
    getSamples(header, c[0].plane.at(0, y), u, v, reinterpret_cast<uint16_t*>(row));
  }
}

} // namespace jpegxr
