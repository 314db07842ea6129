// Component transforms and wavelets beside OpenJPEG's own. Planes go forth and back in turn, so that values stay as
// they are. The irreversible one level is by the float row and column filters as a codec calls them, on a plane that
// has room for the extension around it; five levels are by tiles of 32-bit integers, which are floats inside.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "support/measure.h"
#include "support/openjpeg.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

// Samples whose first lies at a multiple of 64 bytes, as codecs have them.
template <class T>
struct Aligned {
  using value_type = T;
  T* allocate(size_t n) { return static_cast<T*>(operator new (n * sizeof(T), std::align_val_t{64})); }
  void deallocate(T* p, size_t) { operator delete (p, std::align_val_t{64}); }
  bool operator==(const Aligned&) const { return true; }
};
template <class T>
using Samples = std::vector<T, Aligned<T>>;

template <class T>
struct Plane {
  static constexpr int kMargin = 16;
  explicit Plane(int n)
      : size(n), wide(n + 2 * kMargin), samples(static_cast<size_t>(wide) * static_cast<size_t>(wide)) {
    for (int y = 0; y < n; ++y) {
      for (int x = 0; x < n; ++x)
        at(x, y) = static_cast<T>(((x * x + 3 * y * y) >> 6) % 251 - 125 + (x * 7 + y * 13) % 5);
    }
  }
  T& at(int x, int y) { return samples[static_cast<size_t>((y + kMargin) * wide + kMargin + x)]; }
  T* data() { return &at(0, 0); }
  int step() const { return wide * static_cast<int>(sizeof(T)); }

  int size, wide;
  Samples<T> samples;
};

// Copies four rows beyond each edge, symmetrically.
void extendRows(Plane<Zel32f>& p, int height) {
  for (int i = 1; i <= 4; ++i) {
    std::copy_n(&p.at(0, i), p.size, &p.at(0, -i));
    std::copy_n(&p.at(0, height - 1 - i), p.size, &p.at(0, height - 1 + i));
  }
}
void extendColumns(Plane<Zel32f>& p, int width) {
  for (int y = 0; y < p.size; ++y) {
    for (int i = 1; i <= 4; ++i) {
      p.at(-i, y) = p.at(i, y);
      p.at(width - 1 + i, y) = p.at(width - 1 - i, y);
    }
  }
}

// One level of the float filters: columns to low and high rows of another plane, rows of that back to two halves of the
// first; and the other way round. The bands' own borders are taken as they are: they change values, not the work.
struct FloatLevel {
  explicit FloatLevel(int n) : plane(n), between(n) {}
  void forward() {
    const int half = plane.size / 2, n = plane.size;
    extendRows(plane, n);
    zeliWTFwdCol_D97_JPEG2K_32f_C1R(plane.data(), plane.step(), between.data(), between.step(), &between.at(0, half),
                                    between.step(), {n, half}, 0);
    extendColumns(between, n);
    zeliWTFwdRow_D97_JPEG2K_32f_C1R(between.data(), between.step(), plane.data(), plane.step(), &plane.at(half, 0),
                                    plane.step(), {half, n}, 0);
  }
  void inverse() {
    const int half = plane.size / 2, n = plane.size;
    extendColumns(plane, n);
    zeliWTInvRow_D97_JPEG2K_32f_C1R(plane.data(), plane.step(), &plane.at(half, 0), plane.step(), {half, n},
                                    between.data(), between.step(), 0);
    extendRows(between, n);
    zeliWTInvCol_D97_JPEG2K_32f_C1R(between.data(), between.step(), &between.at(0, half), between.step(), {n, half},
                                    plane.data(), plane.step(), 0);
  }
  Plane<Zel32f> plane, between;
};

// Levels of a tile in place, forth or back.
template <bool kReversible>
void tile(Zel32s* data, int size, int levels, bool forward) {
  static std::vector<Zel8u> buffer(4 * 2048 + 64);
  const int step = size * 4;
  for (int i = 0; i < levels; ++i) {
    const int n = size >> (forward ? i : levels - 1 - i);
    const ZeliRect rect = {0, 0, n, n};
    if (forward) {
      (kReversible ? zeliWTFwd_B53_JPEG2K_32s_C1IR : zeliWTFwd_D97_JPEG2K_32s_C1IR)(data, step, &rect, buffer.data());
    } else {
      (kReversible ? zeliWTInv_B53_JPEG2K_32s_C1IR : zeliWTInv_D97_JPEG2K_32s_C1IR)(data, step, &rect, buffer.data());
    }
  }
}

Samples<Zel32s> plane(int size) {
  Samples<Zel32s> samples(static_cast<size_t>(size) * static_cast<size_t>(size));
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<Zel32s>((i * i >> 7) % 251) - 125;
  return samples;
}

// A peer that does something else would not be worth a comparison.
void requireEqual(const Samples<Zel32s>& a, const Samples<Zel32s>& b, const char* work) {
  if (a == b) return;
  std::fprintf(stderr, "%s: the peer's result differs\n", work);
  std::exit(1);
}

constexpr const char *kUs = "zelj", *kPeer = "openjpeg";

void add(const std::string& work, const char* who, double samples, auto f) {
  measure("jpeg2k/" + work, who, "pixels", samples, f);
}

void registerReversible(int size, int levels, const std::string& name) {
  auto* ours = new Samples<Zel32s>(plane(size));
  auto* theirs = new Samples<Zel32s>(*ours);
  auto* peer = new PeerTile(theirs->data(), size, levels);
  tile<true>(ours->data(), size, levels, true);
  peer->encode();
  requireEqual(*ours, *theirs, name.c_str());
  tile<true>(ours->data(), size, levels, false);
  peer->decode();
  requireEqual(*ours, *theirs, name.c_str());
  const double samples = static_cast<double>(size) * size;
  // The filter's gain is 1 at most, so that values do not run away by going forward again and again.
  add("5-3 forward, " + name, kUs, samples, [=] { tile<true>(ours->data(), size, levels, true); });
  add("5-3 forward, " + name, kPeer, samples, [=] { peer->encode(); });
  add("5-3 inverse, " + name, kUs, samples, [=] { tile<true>(ours->data(), size, levels, false); });
  add("5-3 inverse, " + name, kPeer, samples, [=] { peer->decode(); });
}

// Of zeros, which stay what they are however often they go forward.
void registerIrreversible(int size, int levels, const std::string& name) {
  const auto count = static_cast<size_t>(size) * static_cast<size_t>(size);
  auto *ours = new Samples<Zel32s>(count), *theirs = new Samples<Zel32s>(count);
  auto* peer = new PeerTile(theirs->data(), size, levels);
  const double samples = static_cast<double>(size) * size;
  add("9-7 forward, " + name, kUs, samples, [=] { tile<false>(ours->data(), size, levels, true); });
  add("9-7 forward, " + name, kPeer, samples, [=] { peer->encodeReal(); });
  add("9-7 inverse, " + name, kUs, samples, [=] { tile<false>(ours->data(), size, levels, false); });
  add("9-7 inverse, " + name, kPeer, samples, [=] { peer->decodeReal(); });
}

void registerFloatFilters(int size) {
  auto* ours = new FloatLevel(size);
  ours->plane.samples.assign(ours->plane.samples.size(), 0);
  auto* theirs = new Samples<Zel32s>(static_cast<size_t>(size) * static_cast<size_t>(size));
  auto* peer = new PeerTile(theirs->data(), size, 1);
  const double samples = static_cast<double>(size) * size;
  add("9-7 forward, float rows and columns", kUs, samples, [=] { ours->forward(); });
  add("9-7 forward, float rows and columns", kPeer, samples, [=] { peer->encodeReal(); });
  add("9-7 inverse, float rows and columns", kUs, samples, [=] { ours->inverse(); });
  add("9-7 inverse, float rows and columns", kPeer, samples, [=] { peer->decodeReal(); });
}

template <class T>
struct Colours {
  static constexpr int kPixels = 1024; // three rows fit the first-level cache
  alignas(64) T c[3][kPixels] = {};
  T* planes[3] = {c[0], c[1], c[2]};
};

void registerColours() {
  static Colours<Zel32s> ints;
  static Colours<Zel32f> floats;
  constexpr int n = Colours<Zel32s>::kPixels;
  const ZeliSize size = {n, 1};
  add("rct forward", kUs, n, [=] { zeliRCTFwd_JPEG2K_32s_P3IR(ints.planes, 4 * n, size); });
  add("rct forward", kPeer, n, [=] { opj_mct_encode(ints.c[0], ints.c[1], ints.c[2], n); });
  add("rct inverse", kUs, n, [=] { zeliRCTInv_JPEG2K_32s_P3IR(ints.planes, 4 * n, size); });
  add("rct inverse", kPeer, n, [=] { opj_mct_decode(ints.c[0], ints.c[1], ints.c[2], n); });
  add("ict forward", kUs, n, [=] { zeliICTFwd_JPEG2K_32f_P3IR(floats.planes, 4 * n, size); });
  add("ict forward", kPeer, n, [=] { opj_mct_encode_real(floats.c[0], floats.c[1], floats.c[2], n); });
  add("ict inverse", kUs, n, [=] { zeliICTInv_JPEG2K_32f_P3IR(floats.planes, 4 * n, size); });
  add("ict inverse", kPeer, n, [=] { opj_mct_decode_real(floats.c[0], floats.c[1], floats.c[2], n); });
}

[[maybe_unused]] const bool registered = [] {
  registerReversible(256, 1, "one level of 256x256");
  registerFloatFilters(256);
  registerIrreversible(256, 1, "one level of 256x256");
  registerReversible(2048, 5, "five levels of 2048x2048");
  registerIrreversible(2048, 5, "five levels of 2048x2048");
  registerColours();
  return true;
}();

} // namespace
} // namespace zelj::bench
