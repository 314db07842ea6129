// The kernels of libjpeg-turbo by their internal names: the SSE2 ones beside the library's AVX level, the AVX2 ones
// beside the other levels. They write over the end of rows: give them buffers of their own, 32-byte aligned and padded
// to 64.
#pragma once

#include <cstdint>
#include <cstring>

#include "support/level.h"

namespace zelj::bench {

inline bool peerHasAvx2() {
  static const bool has = std::strcmp(loadedLevel(), "avx") != 0;
  return has;
}

using Rows = uint8_t**;
using Planes = uint8_t***;

#define ZELJ_PEER(name, result, arguments)                            \
  extern "C" result jsimd_##name##_sse2 arguments;                    \
  extern "C" result jsimd_##name##_avx2 arguments;                    \
  inline auto* turbo_##name() {                                       \
    return peerHasAvx2() ? jsimd_##name##_avx2 : jsimd_##name##_sse2; \
  }

ZELJ_PEER(rgb_ycc_convert, void, (unsigned width, Rows in, Planes out, unsigned outRow, int rows))
ZELJ_PEER(extbgr_ycc_convert, void, (unsigned width, Rows in, Planes out, unsigned outRow, int rows))
ZELJ_PEER(extrgbx_ycc_convert, void, (unsigned width, Rows in, Planes out, unsigned outRow, int rows))
ZELJ_PEER(extbgrx_ycc_convert, void, (unsigned width, Rows in, Planes out, unsigned outRow, int rows))
ZELJ_PEER(rgb_gray_convert, void, (unsigned width, Rows in, Planes out, unsigned outRow, int rows))
ZELJ_PEER(extbgr_gray_convert, void, (unsigned width, Rows in, Planes out, unsigned outRow, int rows))
ZELJ_PEER(ycc_rgb_convert, void, (unsigned width, Planes in, unsigned inRow, Rows out, int rows))
ZELJ_PEER(ycc_extbgr_convert, void, (unsigned width, Planes in, unsigned inRow, Rows out, int rows))
ZELJ_PEER(ycc_extrgbx_convert, void, (unsigned width, Planes in, unsigned inRow, Rows out, int rows))
ZELJ_PEER(ycc_extbgrx_convert, void, (unsigned width, Planes in, unsigned inRow, Rows out, int rows))
ZELJ_PEER(convsamp, void, (Rows rows, unsigned column, int16_t* block))
ZELJ_PEER(fdct_islow, void, (int16_t * block))
ZELJ_PEER(quantize, void, (int16_t * out, int16_t* divisors, int16_t* in))
ZELJ_PEER(idct_islow, void, (void* quantTable, int16_t* coefficients, Rows out, unsigned column))
ZELJ_PEER(h2v1_fancy_upsample, void, (int maxV, unsigned inWidth, Rows in, Planes out))
ZELJ_PEER(h2v2_fancy_upsample, void, (int maxV, unsigned inWidth, Rows in, Planes out))
ZELJ_PEER(h2v1_downsample, void, (unsigned imageWidth, int maxV, unsigned v, unsigned widthInBlocks, Rows in, Rows out))
ZELJ_PEER(h2v2_downsample, void, (unsigned imageWidth, int maxV, unsigned v, unsigned widthInBlocks, Rows in, Rows out))
ZELJ_PEER(h2v1_merged_upsample, void, (unsigned width, Planes in, unsigned inRowGroup, Rows out))
ZELJ_PEER(h2v2_merged_upsample, void, (unsigned width, Planes in, unsigned inRowGroup, Rows out))
ZELJ_PEER(h2v1_extrgbx_merged_upsample, void, (unsigned width, Planes in, unsigned inRowGroup, Rows out))
ZELJ_PEER(h2v2_extrgbx_merged_upsample, void, (unsigned width, Planes in, unsigned inRowGroup, Rows out))
#undef ZELJ_PEER

// There is one Huffman encoder and there are two reduced transforms, for all levels.
extern "C" uint8_t* jsimd_huff_encode_one_block_sse2(void* state, uint8_t* buffer, int16_t* block, int lastDc,
                                                     void* dcTable, void* acTable);
extern "C" void jsimd_idct_2x2_sse2(void* quantTable, int16_t* coefficients, Rows out, unsigned column);
extern "C" void jsimd_idct_4x4_sse2(void* quantTable, int16_t* coefficients, Rows out, unsigned column);

} // namespace zelj::bench
