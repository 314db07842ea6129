#include "jpegxr/transform.h"

#include <cstring>

#include "jpegxr/lifting.h"

// Streams may hold any values: sums that leave 32 bits wrap (the whole folder is compiled so).
namespace jpegxr {
namespace {

// The compiler's own vectors: the same place of four neighbouring areas.
typedef Zel32s Four __attribute__((vector_size(16)));

inline void transpose(Four (&row)[4]) {
  const Four a = __builtin_shufflevector(row[0], row[1], 0, 4, 1, 5),
             b = __builtin_shufflevector(row[0], row[1], 2, 6, 3, 7);
  const Four c = __builtin_shufflevector(row[2], row[3], 0, 4, 1, 5),
             d = __builtin_shufflevector(row[2], row[3], 2, 6, 3, 7);
  row[0] = __builtin_shufflevector(a, c, 0, 1, 4, 5);
  row[1] = __builtin_shufflevector(a, c, 2, 3, 6, 7);
  row[2] = __builtin_shufflevector(b, d, 0, 1, 4, 5);
  row[3] = __builtin_shufflevector(b, d, 2, 3, 6, 7);
}

template <bool kForward>
void filterFourAreas(const Plane& plane, int x, int y) {
  Four v[4][4];
  for (int r = 0; r < 4; ++r) {
    std::memcpy(v[r], plane.at(x, y + r), sizeof v[r]);
    transpose(v[r]);
  }
  area<kForward>(v);
  for (int r = 0; r < 4; ++r) {
    transpose(v[r]);
    std::memcpy(plane.at(x, y + r), v[r], sizeof v[r]);
  }
}

template <bool kForward>
void filterArea(const Plane& plane, int x, int y) {
  Zel32s v[4][4];
  for (int r = 0; r < 4; ++r) std::memcpy(v[r], plane.at(x, y + r), sizeof v[r]);
  area<kForward>(v);
  for (int r = 0; r < 4; ++r) std::memcpy(plane.at(x, y + r), v[r], sizeof v[r]);
}

// The overlap filter of a plane of whole blocks.
template <bool kForward>
void filterOverlap(const Plane& plane) {
  const int w = plane.width, h = plane.height;
  for (int y = 2; y + 4 <= h; y += 4) {
    int x = 2;
    for (; x + 16 <= w; x += 16) filterFourAreas<kForward>(plane, x, y);
    for (; x + 4 <= w; x += 4) filterArea<kForward>(plane, x, y);
  }
  const auto along = [&](int x, int y, int dx, int dy) {
    four<kForward>(*plane.at(x, y), *plane.at(x + dx, y + dy), *plane.at(x + 2 * dx, y + 2 * dy),
                   *plane.at(x + 3 * dx, y + 3 * dy));
  };
  for (const int y : {0, 1, h - 2, h - 1}) {
    for (int x = 2; x + 4 <= w; x += 4) along(x, y, 1, 0);
  }
  for (const int x : {0, 1, w - 2, w - 1}) {
    for (int y = 2; y + 4 <= h; y += 4) along(x, y, 0, 1);
  }
  for (const int y : {0, h - 2}) {
    for (const int x : {0, w - 2})
      four<kForward>(*plane.at(x, y), *plane.at(x + 1, y), *plane.at(x, y + 1), *plane.at(x + 1, y + 1));
  }
}

// The overlap filter of the DCs of halved chroma.
template <bool kForward>
void filterHalvedOverlap(const Plane& plane) {
  const int w = plane.width, h = plane.height;
  const auto corners = [&](int sign) {
    for (const int y : {0, h - 1}) {
      *plane.at(0, y) += sign * *plane.at(1, y);
      *plane.at(w - 1, y) += sign * *plane.at(w - 2, y);
    }
  };
  corners(-1);
  for (const int y : {0, h - 1}) {
    for (int x = 1; x + 2 < w; x += 2) two<kForward>(*plane.at(x, y), *plane.at(x + 1, y));
  }
  for (const int x : {0, w - 1}) {
    for (int y = 1; y + 2 < h; y += 2) two<kForward>(*plane.at(x, y), *plane.at(x, y + 1));
  }
  for (int y = 1; y + 2 < h; y += 2) {
    for (int x = 1; x + 2 < w; x += 2)
      twoTimesTwo<kForward>(*plane.at(x, y), *plane.at(x + 1, y), *plane.at(x, y + 1), *plane.at(x + 1, y + 1));
  }
  corners(1);
}

void transformHalvedDc(const Plane& dc) {
  for (int y = 0; y < dc.height; y += 2) {
    for (int x = 0; x < dc.width; x += 2)
      twoByTwo(*dc.at(x, y), *dc.at(x + 1, y), *dc.at(x, y + 1), *dc.at(x + 1, y + 1));
  }
}

template <class F>
void forDcs(const Component& component, F f) {
  for (int y = 0; y < component.dc.height; ++y) {
    Zel32s *dc = component.dc.at(0, y), *value = component.plane.at(0, 4 * y);
    for (int x = 0; x < component.dc.width; ++x) f(dc[x], value[4 * x]);
  }
}

ZeliSize sizeOf(const Plane& plane) {
  return {plane.width, plane.height};
}

void doubleAll(const Plane& plane) {
  for (size_t i = 0; i < plane.values.size(); ++i) plane.values[i] *= 2;
}

} // namespace

void transformForward(const Header& header, Planes& planes) {
  for (int c = 0; c < header.components(); ++c) {
    const Component& component = planes.component[c];
    const bool halved = c > 0 && header.inner == Inner::yuv420;
    if (header.overlap >= 1) filterOverlap<true>(component.plane);
    zeliPCTFwd_JPEGXR_32s_C1IR(component.plane.values.data(), component.plane.step(), sizeOf(component.plane));
    forDcs(component, [](Zel32s& dc, Zel32s& value) { dc = value; });
    if (header.overlap == 2) halved ? filterHalvedOverlap<true>(component.dc) : filterOverlap<true>(component.dc);
    if (header.scaled && c > 0) {
      for (size_t i = 0; i < component.dc.values.size(); ++i) component.dc.values[i] >>= 1;
    }
    if (halved) {
      transformHalvedDc(component.dc);
    } else {
      zeliPCTFwd_JPEGXR_32s_C1IR(component.dc.values.data(), component.dc.step(), sizeOf(component.dc));
    }
  }
}

void transformInverse(const Header& header, Planes& planes) {
  for (int c = 0; c < header.components(); ++c) {
    const Component& component = planes.component[c];
    const bool halved = c > 0 && header.inner == Inner::yuv420;
    if (halved) {
      transformHalvedDc(component.dc);
    } else {
      zeliPCTInv_JPEGXR_32s_C1IR(component.dc.values.data(), component.dc.step(), sizeOf(component.dc));
    }
    if (header.scaled && c > 0) doubleAll(component.dc);
    if (header.overlap == 2) halved ? filterHalvedOverlap<false>(component.dc) : filterOverlap<false>(component.dc);
    forDcs(component, [](Zel32s& dc, Zel32s& value) { value = dc; });
    zeliPCTInv_JPEGXR_32s_C1IR(component.plane.values.data(), component.plane.step(), sizeOf(component.plane));
    if (header.overlap >= 1) filterOverlap<false>(component.plane);
  }
}

} // namespace jpegxr
