/* The blocks of one component of a JPEG XR macroblock: transform, symbols and fixed-length codes, and back, with the
 * library alone. What a codec adds is in codecs/jpegxr/: overlap filters, the second stage, prediction, headers. */
#include <stdio.h>
#include <string.h>
#include <zelj.h>

enum { kSide = 16, kStep = kSide * sizeof(Zel32s), kModelBits = 2 }; /* low bits that get no symbols */

/* The caller's cells of a bit stream, and its own record of what the symbols adapt. */
struct Coder {
  Zel8u* at;
  Zel32u bits, count;
  Zel64u state[2208 / 8];
};

static ZeliVLCState_JPEGXR* begin(struct Coder* c, Zel8u* stream) {
  ZeliVLCState_JPEGXR* state = (ZeliVLCState_JPEGXR*)c->state;
  memset(c, 0, sizeof *c);
  c->at = stream;
  zeliVLCInit_JPEGXR(state);
  for (Zel32s which = 0; which < 3; ++which) zeliVLCScanReset_JPEGXR(state, which);
  zeliVLCScanSet_JPEGXR(state, 1); /* the usual scan of high-pass blocks */
  return state;
}

int main(void) {
  Zel32s samples[kSide * kSide], coefficients[kSide * kSide], decoded[kSide * kSide];
  for (int i = 0; i < kSide * kSide; ++i) samples[i] = (i % kSide * 11 + i / kSide * 7 + i * i % 29) % 256 - 128;
  memcpy(coefficients, samples, sizeof samples);
  zeliPCTFwd16x16_JPEGXR_32s_C1IR(coefficients, kStep);

  /* A block takes a few hundred bits at most; readers fetch up to four bytes ahead. */
  static Zel8u stream[16 * 256 + 4];
  Zel8u coded[16]; /* which blocks have symbols: a codec tells its decoder of it */
  struct Coder c;
  ZeliVLCState_JPEGXR* state = begin(&c, stream);
  for (int b = 0; b < 16; ++b) {
    const Zel32s* block = coefficients + b / 4 * 4 * kSide + b % 4 * 4;
    Zel32u residual[16], pairs;
    zeliVLCEncode4x4Flex_JPEGXR_32s1u_C1R(block, kStep, 0, kModelBits, 0, residual, &c.at, &c.bits, &c.count, &pairs,
                                          state);
    coded[b] = pairs > 0;
    zeliFLCEncode4x4_JPEGXR_32s1u_C1R(block, kStep, residual, &c.at, &c.bits, &c.count, kModelBits, 0, 1);
  }
  zeliVLCAdapt_JPEGXR(state, 1); /* both sides at the same places */
  for (; c.count > 0; c.count -= c.count < 8 ? c.count : 8, c.bits <<= 8) *c.at++ = (Zel8u)(c.bits >> 24);
  const long bytes = (long)(c.at - stream);

  state = begin(&c, stream);
  for (int b = 0; b < 16; ++b) {
    Zel32s* block = decoded + b / 4 * 4 * kSide + b % 4 * 4;
    Zel32u pairs;
    for (int y = 0; y < 4; ++y) memset(block + y * kSide, 0, 4 * sizeof *block);
    block[0] = coefficients[block - decoded]; /* the DC goes another way */
    if (coded[b]) {
      zeliVLCDecode4x4_JPEGXR_1u32s_C1R(&c.at, &c.bits, &c.count, 1u << kModelBits, block, kStep, 0, &pairs, state);
    }
    zeliFLCDecode4x4_JPEGXR_1u32s_C1IR(&c.at, &c.bits, &c.count, block, kStep, kModelBits, 1, 1);
  }
  zeliPCTInv16x16_JPEGXR_32s_C1IR(decoded, kStep);
  const int same = memcmp(samples, decoded, sizeof samples) == 0;
  printf("16 blocks in %ld bytes, %s\n", bytes, same ? "and back" : "but not back");
  return same ? 0 : 1;
}
