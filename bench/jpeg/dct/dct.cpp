// One block at a time, as codecs call: the fused forward transform beside the peer's three kernels for the same job,
// the inverse ones beside the peer's.
#include <array>

#include "support/measure.h"
#include "support/random.h"
#include "support/turbo.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kBlocks = 64; // a row of blocks: 4 KiB of samples, 8 KiB of coefficients
constexpr int kStep = 8 * kBlocks;

struct Data {
  alignas(64) uint8_t samples[8][kStep];
  alignas(64) uint8_t decoded[8][kStep];
  alignas(64) int16_t shifted[kBlocks][64];
  alignas(64) int16_t coefficients[kBlocks][64];
  alignas(64) int16_t result[kBlocks][64];
  alignas(64) uint16_t samples12[8][kStep];
  alignas(64) uint16_t forward[64], inverse[64];
  alignas(64) float floatForward[64], floatInverse[64];
  alignas(64) int16_t divisors[4 * 64];
  uint8_t *rows[8], *outRows[8];
};

Data& data() {
  static Data d;
  static const bool ready = [] {
    test::Random random(1);
    uint8_t raw[64];
    for (auto& q : raw) q = static_cast<uint8_t>(random.in(3, 60));
    zeliQuantFwdTableInit_JPEG_8u16u(raw, d.forward);
    zeliQuantInvTableInit_JPEG_8u16u(raw, d.inverse);
    for (int i = 0; i < 64; ++i) {
      d.floatInverse[i] = d.inverse[i];
      d.floatForward[i] = 1 / d.floatInverse[i];
      // The peer's form of a divisor: reciprocal, correction, scale, shift.
      const int divisor = d.inverse[i] * 8, bits = 31 - __builtin_clz(static_cast<unsigned>(divisor));
      d.divisors[i] = static_cast<int16_t>((1 << (16 + bits)) / divisor);
      d.divisors[64 + i] = static_cast<int16_t>(divisor / 2);
      d.divisors[128 + i] = static_cast<int16_t>(1 << (16 - bits));
      d.divisors[192 + i] = static_cast<int16_t>(bits);
    }
    for (int y = 0; y < 8; ++y) {
      d.rows[y] = d.samples[y];
      d.outRows[y] = d.decoded[y];
      for (int x = 0; x < kStep; ++x) {
        d.samples[y][x] = static_cast<uint8_t>(random.in(0, 255));
        d.samples12[y][x] = static_cast<uint16_t>(random.in(0, 4095));
      }
    }
    for (int b = 0; b < kBlocks; ++b) {
      for (int i = 0; i < 64; ++i) d.shifted[b][i] = static_cast<int16_t>(random.in(-128, 127));
      zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(d.samples[0] + 8 * b, kStep, d.coefficients[b], d.forward);
    }
    return true;
  }();
  static_cast<void>(ready);
  return d;
}

template <class F>
void measureBlocks(const char* work, const char* who, F f) {
  measure(work, who, "blocks", kBlocks, [f] {
    Data& d = data();
    for (int b = 0; b < kBlocks; ++b) f(d, b);
  });
}

using Inverse = ZelStatus (*)(const Zel16s*, Zel8u*, int, const Zel16u*);
void measureInverse(const char* work, Inverse inverse) {
  measureBlocks(work, "zelj",
                [inverse](Data& d, int b) { inverse(d.coefficients[b], d.decoded[0] + 8 * b, kStep, d.inverse); });
}

void registerAll() {
  measureBlocks("dct/forward 8u", "zelj", [](Data& d, int b) {
    zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(d.samples[0] + 8 * b, kStep, d.result[b], d.forward);
  });
  const auto convsamp = turbo_convsamp();
  const auto fdct = turbo_fdct_islow();
  const auto quantize = turbo_quantize();
  measureBlocks("dct/forward 8u", "libjpeg-turbo", [=](Data& d, int b) {
    alignas(64) int16_t block[64];
    convsamp(d.rows, static_cast<unsigned>(8 * b), block);
    fdct(block);
    quantize(d.result[b], d.divisors, block);
  });
  measureBlocks("dct/forward 16s", "zelj",
                [](Data& d, int b) { zeliDCTQuantFwd8x8_JPEG_16s_C1(d.shifted[b], d.result[b], d.forward); });
  measureBlocks("dct/forward 12 bits", "zelj", [](Data& d, int b) {
    zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(d.samples12[0] + 8 * b, 2 * kStep, d.result[b], d.floatForward);
  });

  measureInverse("dct/inverse 8u", zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R);
  measureBlocks("dct/inverse 8u", "libjpeg-turbo", [idct = turbo_idct_islow()](Data& d, int b) {
    idct(d.inverse, d.coefficients[b], d.outRows, static_cast<unsigned>(8 * b));
  });
  measureBlocks("dct/inverse 16s", "zelj",
                [](Data& d, int b) { zeliDCTQuantInv8x8_JPEG_16s_C1(d.coefficients[b], d.result[b], d.inverse); });
  measureInverse("dct/inverse of a 4x4 corner", zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R);
  measureInverse("dct/inverse of a 2x2 corner", zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R);
  measureInverse("dct/inverse of the DC term", zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R);
  measureInverse("dct/inverse to 4x4", zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R);
  measureBlocks("dct/inverse to 4x4", "libjpeg-turbo", [](Data& d, int b) {
    jsimd_idct_4x4_sse2(d.inverse, d.coefficients[b], d.outRows, static_cast<unsigned>(8 * b));
  });
  measureInverse("dct/inverse to 2x2", zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R);
  measureBlocks("dct/inverse to 2x2", "libjpeg-turbo", [](Data& d, int b) {
    jsimd_idct_2x2_sse2(d.inverse, d.coefficients[b], d.outRows, static_cast<unsigned>(8 * b));
  });
  measureBlocks("dct/inverse 12 bits", "zelj", [](Data& d, int b) {
    zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(d.coefficients[b], d.samples12[0] + 8 * b, 2 * kStep, d.floatInverse);
  });

  measureBlocks("dct/quantise", "zelj", [](Data& d, int b) { zeliQuantFwd8x8_JPEG_16s_C1I(d.result[b], d.forward); });
  measureBlocks("dct/dequantise", "zelj", [](Data& d, int b) { zeliQuantInv8x8_JPEG_16s_C1I(d.result[b], d.inverse); });
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
