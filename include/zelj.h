/**
 * @file zelj.h
 * @brief zelj: the inner loops of image codecs as flat C functions.
 *
 * Every export works on memory that the caller owns: it keeps nothing between calls except in state records that the
 * caller holds, allocates only if its name says `Alloc`, and reads and writes no byte outside its operands. Results are
 * exact: the same bytes on every processor, at every alignment, with any number of threads.
 *
 * Conventions that hold for all exports:
 *  - A step is the distance between the starts of two rows, in bytes, whatever the element type.
 *  - Planes come as an array of pointers. One step holds for all planes of an operand.
 *  - Rows and blocks may begin at any address, also at odd addresses of 16-bit elements.
 *  - Operands do not overlap unless the name ends in `I` or `IR` (in place).
 *  - An export checks its arguments first, in the order that its comment gives; the first failure is returned and no
 *    operand has been touched. A negative status is a failure; a positive one is a warning and the work has been done.
 *  - All exports may be called from any number of threads at once on different memory.
 */
#ifndef ZELJ_H
#define ZELJ_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What the library shows to others. */
#if defined(__GNUC__)
#define ZELJ_API __attribute__((visibility("default")))
#else
#define ZELJ_API
#endif

/** @defgroup types Types and status codes
 *  @{ */

typedef uint8_t Zel8u;   /**< unsigned 8-bit sample; also the bytes of a bit stream (tag `8u`, `1u`) */
typedef int8_t Zel8s;    /**< signed 8-bit */
typedef uint16_t Zel16u; /**< unsigned 16-bit sample, or a packed 5-5-5 or 5-6-5 pixel (tag `16u`) */
typedef int16_t Zel16s;  /**< signed 16-bit sample or coefficient (tag `16s`) */
typedef uint32_t Zel32u; /**< unsigned 32-bit */
typedef int32_t Zel32s;  /**< signed 32-bit sample or coefficient (tag `32s`) */
typedef float Zel32f;    /**< IEEE 754 single precision (tag `32f`) */
typedef int64_t Zel64s;  /**< signed 64-bit */
typedef uint64_t Zel64u; /**< unsigned 64-bit */

/** Size of a region in pixels, by value. */
typedef struct {
  Zel32s width;  /**< pixels in a row */
  Zel32s height; /**< rows */
} ZeliSize;

/** Rectangle of a tile-component on one resolution level, by pointer. */
typedef struct {
  Zel32s x;      /**< left edge: only its lowest bit, the phase of the horizontal filter, is ever read */
  Zel32s y;      /**< upper edge: likewise of the vertical filter */
  Zel32s width;  /**< samples in a row */
  Zel32s height; /**< rows */
} ZeliRect;

/** Result of every export but zeljGetLibVersion: 0, a negative failure or a positive warning. */
typedef Zel32s ZelStatus;

/** The values of a ZelStatus. */
enum {
  zelStatusOddSize = 35,           /**< warning: a width or height that should be even is odd */
  zelStatusJpegMarkerPending = 10, /**< note: the block was finished from bits in hand while a marker was pending */
  zelStatusDivideByZero = 6,       /**< warning: a table of divisors held a zero; the entry is now 65535 */
  zelStatusOk = 0,                 /**< success */
  zelStatusJpegRunOverflow = -2,   /**< a run of zeros leads out of the block */
  zelStatusOutOfRange = -5,        /**< an argument lies outside its allowed range */
  zelStatusBadSize = -6,           /**< a width, height or length is not positive, or not what the operation needs */
  zelStatusBadArgument = -7,       /**< an argument has a wrong value */
  zelStatusNullPointer = -8,      /**< a required pointer is null; in the Huffman `InitAlloc` exports also: no memory */
  zelStatusNoMemory = -9,         /**< allocation failed in a JPEG 2000 `InitAlloc` export */
  zelStatusBadStep = -14,         /**< a row step is below the limit of its family */
  zelStatusContextMismatch = -17, /**< a state record is not what the export wants */
  zelStatusJpegBufferEnd = -62,   /**< JPEG bit stream: the destination is full, or the source has ended */
  zelStatusJpegCoefficientRange = -63, /**< no such category, no code within 16 bits, or no bits left before a marker */
  zelStatusJpegHuffmanTable = -64,     /**< a Huffman table is bad or has no code for a symbol */
  zelStatusJpeg2kStreamError = -112,   /**< a segmentation symbol or termination check failed */
  zelStatusBadPassNumber = -113,       /**< a pass or segment number lies outside the loaded code-block */
  zelStatusPackBitsData = -124,        /**< PackBits input or output overrun */
  zelStatusJpeg2kNotAttached = -180,   /**< no code-block is attached to the decoder state */
  zelStatusBadMode = -9999             /**< no such BC7 mode */
};
/** @} */

/** @defgroup version Version
 *  @{ */

/** What zeljGetLibVersion tells. */
typedef struct {
  Zel32s versionMajor;     /**< 7 */
  Zel32s versionMinor;     /**< 0 */
  Zel32s buildMajor;       /**< 205 */
  Zel32s buildNumber;      /**< a count of its own, not the second number of versionText */
  char targetTag[8];       /**< tag of the target, padded with zeros; one for all instruction-set levels */
  const char* libraryName; /**< name of the library's file at its origin */
  const char* versionText; /**< for people */
  const char* buildDate;   /**< month, day, year */
} ZelLibVersion;

/** The library's version record: constant, the same pointer at every call, not to be freed. */
ZELJ_API const ZelLibVersion* zeljGetLibVersion(void);
/** @} */

/** @defgroup levelshift Level shift
 *  Between unsigned samples and samples centred on zero (ITU T.81 A.3.1). Rows run in parallel from 8193 pixels up.
 *
 *  Checks: pSrc null (-8), srcStep below 1 (-14), pDst null (-8), dstStep below 1 (-14), width or height below 1 (-6).
 *  @{ */

/** `pDst = pSrc - 128` for each sample of the region; results lie in -128..127. */
ZELJ_API ZelStatus zeliSub128_JPEG_8u16s_C1R(const Zel8u* pSrc, int srcStep, Zel16s* pDst, int dstStep,
                                             ZeliSize roiSize);
/** `pDst = clamp(pSrc + 128, 0, 255)` for each sample of the region, for the full range of the source. */
ZELJ_API ZelStatus zeliAdd128_JPEG_16s8u_C1R(const Zel16s* pSrc, int srcStep, Zel8u* pDst, int dstStep,
                                             ZeliSize roiSize);
/** @} */

/** @defgroup colour Colour conversion at full resolution
 *  RGB, BGR, packed and CMYK pixels to and from YCbCr, luminance and YCCK (the JFIF matrix: ITU-R BT.601, full range).
 *
 *  The library holds several fixed-point forms of the one matrix, and which form a pixel gets depends on the export and
 *  on its column only; docs/exactness.md lists them. They differ by at most one grey level or so, and are exact each.
 *
 *  Packed pixels: RGB555 holds R in bits 0..4, G in 5..9, B in 10..14 (bit 15 ignored, written 0); RGB565 holds R in
 *  0..4, G in 5..10, B in 11..15; BGR has R and B exchanged. Reading widens a field with zero bits, writing drops the
 *  low bits.
 *
 *  Checks, unless an export says otherwise: a null pointer argument, then each null plane pointer in order, source
 * planes first (-8); a step below 1 (-14); width, then height below 1 (-6). The exports between four-byte pixels and
 * three planes (`C4P3R`, `P3C4R`) do not test steps: zero and negative steps are taken as they come.
 *
 *  Rows run in parallel from 8193 pixels up, except in the packed and the `C4P3R` and `P3C4R` exports.
 *  @{ */

/** R, G, B bytes to planes Y, Cb, Cr. */
ZELJ_API ZelStatus zeliRGBToYCbCr_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                                ZeliSize roiSize);
/** B, G, R bytes to planes Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGRToYCbCr_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                                ZeliSize roiSize);
/** Planes R, G, B to planes Y, Cb, Cr. */
ZELJ_API ZelStatus zeliRGBToYCbCr_JPEG_8u_P3R(const Zel8u* const pSrc[3], int srcStep, Zel8u* const pDst[3],
                                              int dstStep, ZeliSize roiSize);
/** R, G, B and an ignored fourth byte to planes Y, Cb, Cr. Steps are not tested. */
ZELJ_API ZelStatus zeliRGBToYCbCr_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                                ZeliSize roiSize);
/** B, G, R and an ignored fourth byte to planes Y, Cb, Cr. Steps are not tested. */
ZELJ_API ZelStatus zeliBGRToYCbCr_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                                ZeliSize roiSize);
/** R, G, B bytes to luminance. */
ZELJ_API ZelStatus zeliRGBToY_JPEG_8u_C3C1R(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roiSize);
/** B, G, R bytes to luminance. */
ZELJ_API ZelStatus zeliBGRToY_JPEG_8u_C3C1R(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roiSize);
/** Planes R, G, B to luminance. Checks: pSrc and its three planes, then pDst null (-8), then as the others. */
ZELJ_API ZelStatus zeliRGBToY_JPEG_8u_P3C1R(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep,
                                            ZeliSize roiSize);
/** RGB555 pixels to planes Y, Cb, Cr. */
ZELJ_API ZelStatus zeliRGB555ToYCbCr_JPEG_16u8u_C3P3R(const Zel16u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                      int dstStep, ZeliSize roiSize);
/** BGR555 pixels to planes Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGR555ToYCbCr_JPEG_16u8u_C3P3R(const Zel16u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                      int dstStep, ZeliSize roiSize);
/** RGB565 pixels to planes Y, Cb, Cr. */
ZELJ_API ZelStatus zeliRGB565ToYCbCr_JPEG_16u8u_C3P3R(const Zel16u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                      int dstStep, ZeliSize roiSize);
/** BGR565 pixels to planes Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGR565ToYCbCr_JPEG_16u8u_C3P3R(const Zel16u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                      int dstStep, ZeliSize roiSize);
/** C, M, Y, K bytes to planes Y, Cb, Cr, K: the YCbCr of (255 - C, 255 - M, 255 - Y), and K unchanged. */
ZELJ_API ZelStatus zeliCMYKToYCCK_JPEG_8u_C4P4R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[4], int dstStep,
                                                ZeliSize roiSize);
/** Planes C, M, Y, K to planes Y, Cb, Cr, K: the YCbCr of (255 - C, 255 - M, 255 - Y), and K unchanged. */
ZELJ_API ZelStatus zeliCMYKToYCCK_JPEG_8u_P4R(const Zel8u* const pSrc[4], int srcStep, Zel8u* const pDst[4],
                                              int dstStep, ZeliSize roiSize);
/** Planes Y, Cb, Cr to R, G, B bytes. */
ZELJ_API ZelStatus zeliYCbCrToRGB_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep,
                                                ZeliSize roiSize);
/** Planes Y, Cb, Cr to B, G, R bytes. */
ZELJ_API ZelStatus zeliYCbCrToBGR_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep,
                                                ZeliSize roiSize);
/** Planes Y, Cb, Cr to planes R, G, B. */
ZELJ_API ZelStatus zeliYCbCrToRGB_JPEG_8u_P3R(const Zel8u* const pSrc[3], int srcStep, Zel8u* const pDst[3],
                                              int dstStep, ZeliSize roiSize);
/** Planes Y, Cb, Cr to R, G, B, alpha bytes; every fourth byte is `alpha`. Steps are not tested. */
ZELJ_API ZelStatus zeliYCbCrToRGB_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep,
                                                ZeliSize roiSize, Zel8u alpha);
/** Planes Y, Cb, Cr to B, G, R, alpha bytes; every fourth byte is `alpha`. Steps are not tested. */
ZELJ_API ZelStatus zeliYCbCrToBGR_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep,
                                                ZeliSize roiSize, Zel8u alpha);
/** Planes Y, Cb, Cr to RGB555 pixels. */
ZELJ_API ZelStatus zeliYCbCrToRGB555_JPEG_8u16u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel16u* pDst,
                                                      int dstStep, ZeliSize roiSize);
/** Planes Y, Cb, Cr to BGR555 pixels. */
ZELJ_API ZelStatus zeliYCbCrToBGR555_JPEG_8u16u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel16u* pDst,
                                                      int dstStep, ZeliSize roiSize);
/** Planes Y, Cb, Cr to RGB565 pixels. */
ZELJ_API ZelStatus zeliYCbCrToRGB565_JPEG_8u16u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel16u* pDst,
                                                      int dstStep, ZeliSize roiSize);
/** Planes Y, Cb, Cr to BGR565 pixels. */
ZELJ_API ZelStatus zeliYCbCrToBGR565_JPEG_8u16u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel16u* pDst,
                                                      int dstStep, ZeliSize roiSize);
/** Planes Y, Cb, Cr, K to C, M, Y, K bytes: C = 255 - R and so on, K unchanged. */
ZELJ_API ZelStatus zeliYCCKToCMYK_JPEG_8u_P4C4R(const Zel8u* const pSrc[4], int srcStep, Zel8u* pDst, int dstStep,
                                                ZeliSize roiSize);
/** Planes Y, Cb, Cr, K to planes C, M, Y, K: C = 255 - R and so on, K unchanged. */
ZELJ_API ZelStatus zeliYCCKToCMYK_JPEG_8u_P4R(const Zel8u* const pSrc[4], int srcStep, Zel8u* const pDst[4],
                                              int dstStep, ZeliSize roiSize);
/** @} */

/** @defgroup halvedcolour Colour conversion with halved chroma
 *  Pixels to and from YCbCr planes whose chroma is halved, in one pass: `422` has one sample of Cb and Cr for a
 *  horizontal pair of pixels, `411` one for two by two. Going in, chroma is that of the mean colour of its pixels;
 * going out, all pixels of a group take its chroma sample unfiltered. docs/exactness.md lists the forms of the matrix.
 *
 *  Each plane has a step of its own: steps of planes are arrays of three. They are not tested: zero and negative steps
 *  are taken as they come. A region is worked off in whole groups: where the width is odd (with `411` also the height)
 *  the last column (row) stays as it is and 35, zelStatusOddSize, is returned.
 *
 *  Checks: a null pointer argument or plane pointer (-8); width below 2 or height below 2 (`411`) or 1 (`422`) (-6).
 *  @{ */

/** R, G, B bytes to planes Y, Cb, Cr with chroma halved both ways. */
ZELJ_API ZelStatus zeliRGBToYCbCr411_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                   const int dstStep[3], ZeliSize roiSize);
/** B, G, R bytes to planes Y, Cb, Cr with chroma halved both ways. */
ZELJ_API ZelStatus zeliBGRToYCbCr411_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                   const int dstStep[3], ZeliSize roiSize);
/** R, G, B and an ignored fourth bytes to planes Y, Cb, Cr with chroma halved both ways. */
ZELJ_API ZelStatus zeliRGBToYCbCr411_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                   const int dstStep[3], ZeliSize roiSize);
/** B, G, R and an ignored fourth bytes to planes Y, Cb, Cr with chroma halved both ways. */
ZELJ_API ZelStatus zeliBGRToYCbCr411_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                   const int dstStep[3], ZeliSize roiSize);
/** R, G, B bytes to planes Y, Cb, Cr with chroma halved in rows. */
ZELJ_API ZelStatus zeliRGBToYCbCr422_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                   const int dstStep[3], ZeliSize roiSize);
/** B, G, R bytes to planes Y, Cb, Cr with chroma halved in rows. */
ZELJ_API ZelStatus zeliBGRToYCbCr422_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                   const int dstStep[3], ZeliSize roiSize);
/** R, G, B and an ignored fourth bytes to planes Y, Cb, Cr with chroma halved in rows. */
ZELJ_API ZelStatus zeliRGBToYCbCr422_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                   const int dstStep[3], ZeliSize roiSize);
/** B, G, R and an ignored fourth bytes to planes Y, Cb, Cr with chroma halved in rows. */
ZELJ_API ZelStatus zeliBGRToYCbCr422_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3],
                                                   const int dstStep[3], ZeliSize roiSize);
/** Planes Y, Cb, Cr with chroma halved both ways to R, G, B bytes. */
ZELJ_API ZelStatus zeliYCbCr411ToRGB_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst,
                                                   int dstStep, ZeliSize roiSize);
/** Planes Y, Cb, Cr with chroma halved both ways to B, G, R bytes. */
ZELJ_API ZelStatus zeliYCbCr411ToBGR_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst,
                                                   int dstStep, ZeliSize roiSize);
/** Planes Y, Cb, Cr with chroma halved both ways to R, G, B, alpha bytes; every fourth byte is `alpha`. */
ZELJ_API ZelStatus zeliYCbCr411ToRGB_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst,
                                                   int dstStep, ZeliSize roiSize, Zel8u alpha);
/** Planes Y, Cb, Cr with chroma halved both ways to B, G, R, alpha bytes; every fourth byte is `alpha`. */
ZELJ_API ZelStatus zeliYCbCr411ToBGR_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst,
                                                   int dstStep, ZeliSize roiSize, Zel8u alpha);
/** Planes Y, Cb, Cr with chroma halved in rows to R, G, B bytes. */
ZELJ_API ZelStatus zeliYCbCr422ToRGB_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst,
                                                   int dstStep, ZeliSize roiSize);
/** Planes Y, Cb, Cr with chroma halved in rows to B, G, R bytes. */
ZELJ_API ZelStatus zeliYCbCr422ToBGR_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst,
                                                   int dstStep, ZeliSize roiSize);
/** Planes Y, Cb, Cr with chroma halved in rows to R, G, B, alpha bytes; every fourth byte is `alpha`. */
ZELJ_API ZelStatus zeliYCbCr422ToRGB_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst,
                                                   int dstStep, ZeliSize roiSize, Zel8u alpha);
/** Planes Y, Cb, Cr with chroma halved in rows to B, G, R, alpha bytes; every fourth byte is `alpha`. */
ZELJ_API ZelStatus zeliYCbCr422ToBGR_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst,
                                                   int dstStep, ZeliSize roiSize, Zel8u alpha);
/** Pairs of pixels as bytes Y0, Cb, Y1, Cr to R, G, B bytes. Any width and height from 1 up; an odd width ends on a
 * whole pair, so rows must allow for one pixel more. Rows run in parallel from 8193 pixels up. */
ZELJ_API ZelStatus zeliYCbCr422ToRGB_JPEG_8u_C2C3R(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep,
                                                   ZeliSize roiSize);
/** @} */

/** @defgroup mcucolour Colour conversion of one MCU
 *  Between pixels and the level-shifted blocks (sample less 128, in 16 bits) of one minimum coded unit, as the
 * transforms take them. A plane holds blocks of 64 elements one behind the other, 8 rows of 8:
 *
 *  | shape | pixels  | plane 0 (and K, plane 3)              | planes 1 and 2                            |
 *  |-------|---------|---------------------------------------|-------------------------------------------|
 *  | `444` | 8 x 8   | one block                             | one block, a sample for each pixel        |
 *  | `422` | 16 x 8  | left, right                           | one block, a sample for a horizontal pair |
 *  | `411` | 16 x 16 | top left, top right, bottom left, bottom right | one block, a sample for 2 x 2 pixels |
 *
 *  Going in, chroma is the mean over its pixels. Going out, all pixels of a group take its sample unfiltered, and
 * results are limited to 0..255 for all 16-bit values of the samples.
 *
 *  Some exports have two forms of the matrix and choose by the alignment of the planes, as their comments say: whoever
 *  wants one result keeps planes on multiples of 16 bytes. docs/exactness.md lists the forms.
 *
 *  Packed pixels are those of the exports at full resolution, in the BGR order (B in the low bits).
 *
 *  Checks of pixels to blocks: pSrc or pDst null (-8), srcStep below 1 (-14), a null plane pointer (-8). Checks of
 * blocks to pixels: pSrc, pDst or a plane pointer null (-8), dstStep below 1 (-14).
 *  @{ */

/** 8 x 8 pixels of R, G, B bytes to blocks Y, Cb, Cr. */
ZELJ_API ZelStatus zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 16 x 8 pixels of R, G, B bytes to blocks Y, Cb, Cr. */
ZELJ_API ZelStatus zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 16 x 16 pixels of R, G, B bytes to blocks Y, Cb, Cr. Planes whose first one is not on a multiple of 16 bytes take
 * the truncating form. */
ZELJ_API ZelStatus zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 8 x 8 pixels of B, G, R bytes to blocks Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGRToYCbCr444LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 16 x 8 pixels of B, G, R bytes to blocks Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGRToYCbCr422LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 16 x 16 pixels of B, G, R bytes to blocks Y, Cb, Cr. Planes whose first one is not on a multiple of 16 bytes take
 * the truncating form. */
ZELJ_API ZelStatus zeliBGRToYCbCr411LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 8 x 8 pixels of BGR555 pixels to blocks Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 16 x 8 pixels of BGR555 pixels to blocks Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 16 x 16 pixels of BGR555 pixels to blocks Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 8 x 8 pixels of BGR565 pixels to blocks Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 16 x 8 pixels of BGR565 pixels to blocks Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 16 x 16 pixels of BGR565 pixels to blocks Y, Cb, Cr. */
ZELJ_API ZelStatus zeliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 8 x 8 pixels of C, M, Y, K bytes to blocks Y, Cb, Cr (of the complements of C, M, Y) and K. The truncating form is
 * taken where any plane is not on a multiple of 16 bytes. */
ZELJ_API ZelStatus zeliCMYKToYCCK444LS_MCU_8u16s_C4P4R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[4]);
/** 16 x 8 pixels of C, M, Y, K bytes to blocks Y, Cb, Cr (of the complements of C, M, Y) and K. The truncating form is
 * taken where plane 0 or 3 is not on a multiple of 16 bytes. */
ZELJ_API ZelStatus zeliCMYKToYCCK422LS_MCU_8u16s_C4P4R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[4]);
/** 16 x 16 pixels of C, M, Y, K bytes to blocks Y, Cb, Cr (of the complements of C, M, Y) and K. The truncating form is
 * taken where plane 0 or 3 is not on a multiple of 16 bytes. */
ZELJ_API ZelStatus zeliCMYKToYCCK411LS_MCU_8u16s_C4P4R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[4]);
/** Blocks Y, Cb, Cr to 8 x 8 pixels of R, G, B bytes. The truncating form is taken where any plane is not on a multiple
 * of 16 bytes. */
ZELJ_API ZelStatus zeliYCbCr444ToRGBLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 16 x 8 pixels of R, G, B bytes. The truncating form is taken where any plane is not on a
 * multiple of 16 bytes. */
ZELJ_API ZelStatus zeliYCbCr422ToRGBLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 16 x 16 pixels of R, G, B bytes. The truncating form is taken where any plane is not on a
 * multiple of 16 bytes. */
ZELJ_API ZelStatus zeliYCbCr411ToRGBLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 8 x 8 pixels of B, G, R bytes. The truncating form is taken where any plane is not on a multiple
 * of 16 bytes. */
ZELJ_API ZelStatus zeliYCbCr444ToBGRLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 16 x 8 pixels of B, G, R bytes. The truncating form is taken where any plane is not on a
 * multiple of 16 bytes. */
ZELJ_API ZelStatus zeliYCbCr422ToBGRLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 16 x 16 pixels of B, G, R bytes. The truncating form is taken where any plane is not on a
 * multiple of 16 bytes. */
ZELJ_API ZelStatus zeliYCbCr411ToBGRLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 8 x 8 pixels of BGR555 pixels. */
ZELJ_API ZelStatus zeliYCbCr444ToBGR555LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 16 x 8 pixels of BGR555 pixels. */
ZELJ_API ZelStatus zeliYCbCr422ToBGR555LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 16 x 16 pixels of BGR555 pixels. */
ZELJ_API ZelStatus zeliYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 8 x 8 pixels of BGR565 pixels. */
ZELJ_API ZelStatus zeliYCbCr444ToBGR565LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 16 x 8 pixels of BGR565 pixels. */
ZELJ_API ZelStatus zeliYCbCr422ToBGR565LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep);
/** Blocks Y, Cb, Cr to 16 x 16 pixels of BGR565 pixels. */
ZELJ_API ZelStatus zeliYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep);
/** Blocks Y, Cb, Cr, K to 8 x 8 pixels of C, M, Y, K bytes: C = 255 - R and so on, K as it is. The truncating form is
 * taken where any plane is not on a multiple of 16 bytes. */
ZELJ_API ZelStatus zeliYCCK444ToCMYKLS_MCU_16s8u_P4C4R(const Zel16s* const pSrc[4], Zel8u* pDst, int dstStep);
/** Blocks Y, Cb, Cr, K to 16 x 8 pixels of C, M, Y, K bytes: C = 255 - R and so on, K as it is. The truncating form is
 * taken where any plane is not on a multiple of 16 bytes. */
ZELJ_API ZelStatus zeliYCCK422ToCMYKLS_MCU_16s8u_P4C4R(const Zel16s* const pSrc[4], Zel8u* pDst, int dstStep);
/** Blocks Y, Cb, Cr, K to 16 x 16 pixels of C, M, Y, K bytes: C = 255 - R and so on, K as it is. The truncating form is
 * taken where any plane is not on a multiple of 16 bytes. */
ZELJ_API ZelStatus zeliYCCK411ToCMYKLS_MCU_16s8u_P4C4R(const Zel16s* const pSrc[4], Zel8u* pDst, int dstStep);
/** @} */

/** @defgroup sampling Halving and doubling of planes and rows
 *  The plane exports take regions, have no handling of edges and read the margins that their formulas name. The row
 *  exports treat the ends of a row themselves. The two families round differently: neither replaces the other.
 *
 *  The plane exports work from dstRoiSize alone; srcRoiSize is only tested. Their checks: pSrc null (-8), srcStep below
 * 1
 *  (-14), a source size below 1 (-6), then the same for the destination. Checks of the row exports: a null pointer
 * (-8), then srcWidth below 1 (-6).
 *
 *  Except for zeliSampleUpH2V1_JPEG_8u_C1R, rows of the plane exports run in parallel from 8193 destination pixels up.
 *  @{ */

/** `d[i] = (s[2i] + s[2i+1] + 1) >> 1`, row by row. */
ZELJ_API ZelStatus zeliSampleDownH2V1_JPEG_8u_C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst,
                                                  int dstStep, ZeliSize dstRoiSize);
/** `d[i] = (a[2i] + a[2i+1] + b[2i] + b[2i+1] + 3) >> 2` with a and b the source rows 2y and 2y + 1. */
ZELJ_API ZelStatus zeliSampleDownH2V2_JPEG_8u_C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst,
                                                  int dstStep, ZeliSize dstRoiSize);
/** `d[2i] = (s[i-1] + 3 s[i] + 1) >> 2`, `d[2i+1] = (3 s[i] + s[i+1] + 2) >> 2`. Reads one sample left of each row and,
 *  at an even destination width, one right of it. */
ZELJ_API ZelStatus zeliSampleUpH2V1_JPEG_8u_C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst,
                                                int dstStep, ZeliSize dstRoiSize);
/** With `c[i] = 3 n[i] + f[i]`, n the near source row `y >> 1` and f the far row above it (y even) or below it (y odd):
 *  `d[2i] = (c[i-1] + 3 c[i] + 8) >> 4`, `d[2i+1] = (3 c[i] + c[i+1] + 7) >> 4`. Reads one row above and below the
 * plane, and margins at the sides as zeliSampleUpH2V1_JPEG_8u_C1R. */
ZELJ_API ZelStatus zeliSampleUpH2V2_JPEG_8u_C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst,
                                                int dstStep, ZeliSize dstRoiSize);
/** `d[i] = (s[2i] + s[2i+1] + (i & 1)) >> 1`: srcWidth samples give srcWidth / 2. */
ZELJ_API ZelStatus zeliSampleDownRowH2V1_Box_JPEG_8u_C1(const Zel8u* pSrc, int srcWidth, Zel8u* pDst);
/** `d[i] = (a[2i] + a[2i+1] + b[2i] + b[2i+1] + 1 + (i & 1)) >> 2` from the rows a = pSrc1 and b = pSrc2. */
ZELJ_API ZelStatus zeliSampleDownRowH2V2_Box_JPEG_8u_C1(const Zel8u* pSrc1, const Zel8u* pSrc2, int srcWidth,
                                                        Zel8u* pDst);
/** A row of n = srcWidth samples, 2 at least, to 2n: inside as zeliSampleUpH2V1_JPEG_8u_C1R; the first and the last
 * pixel equal the ends of the source. */
ZELJ_API ZelStatus zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(const Zel8u* pSrc, int srcWidth, Zel8u* pDst);
/** A near row pSrc1 and a far row pSrc2 of n = srcWidth samples, 2 at least, to a row of 2n: inside as
 *  zeliSampleUpH2V2_JPEG_8u_C1R; `d[0] = (4 c[0] + 8) >> 4` and `d[2n-1] = (4 c[n-1] + 7) >> 4`. */
ZELJ_API ZelStatus zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(const Zel8u* pSrc1, const Zel8u* pSrc2, int srcWidth,
                                                           Zel8u* pDst);
/** @} */

/** @defgroup mcusampling Sampling of one MCU
 *  Between pixels whose samples are YCbCr (or another model of three components) already and the level-shifted blocks
 * of one minimum coded unit, in the shapes of the colour conversions of one MCU. Going in, samples that share a chroma
 *  sample are averaged and rounded down; going out, chroma is repeated and all are limited to 0..255. Results do not
 *  depend on any alignment.
 *
 *  Checks of pixels to blocks: pSrc or pDst null (-8), srcStep below 1 (-14), a null plane pointer (-8). Checks of
 * blocks to pixels: pSrc, pDst or a plane pointer null (-8), dstStep below 1 (-14).
 *  @{ */

/** 8 x 8 pixels of three bytes to blocks. */
ZELJ_API ZelStatus zeliSampleDown444LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 16 x 8 pixels of three bytes to blocks, means of chroma. */
ZELJ_API ZelStatus zeliSampleDown422LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** 16 x 16 pixels of three bytes to blocks, means of chroma. */
ZELJ_API ZelStatus zeliSampleDown411LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** Blocks to 8 x 8 pixels of three bytes. */
ZELJ_API ZelStatus zeliSampleUp444LS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep);
/** Blocks to 16 x 8 pixels of three bytes. */
ZELJ_API ZelStatus zeliSampleUp422LS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep);
/** Blocks to 16 x 16 pixels of three bytes. */
ZELJ_API ZelStatus zeliSampleUp411LS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep);
/** 8 rows of 16 pixels as pairs of bytes Y0, Cb, Y1, Cr to blocks. */
ZELJ_API ZelStatus zeliSplit422LS_MCU_8u16s_C2P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]);
/** Blocks to 8 rows of 16 pixels as pairs of bytes Y0, Cb, Y1, Cr. */
ZELJ_API ZelStatus zeliJoin422LS_MCU_16s8u_P3C2R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep);
/** @} */

/** @defgroup quantisation Quantisation tables and blocks
 *  Raw tables are 64 bytes in zig-zag order (ITU T.81 Figure A.6), as a DQT segment has them. Forward and inverse
 * tables are 64 entries in natural order, row by row. A block is 64 coefficients in natural order, F(v, u) at index 8 v
 * + u.
 *
 *  Checks: null pointers (-8).
 *  @{ */

/** Scales a raw table in place by a quality factor: 50 leaves it as it is, 100 and above make every entry 1; entries
 * stay in 1..255 (the rule of the Independent JPEG Group's software). A quality below 1 gives -5. */
ZELJ_API ZelStatus zeliQuantFwdRawTableInit_JPEG_8u(Zel8u* pQuantRawTable, int qualityFactor);
/** Forward table of a raw one: the reciprocals round(32768 / q). A step of 0 gives 65535 and the warning 6. */
ZELJ_API ZelStatus zeliQuantFwdTableInit_JPEG_8u16u(const Zel8u* pQuantRawTable, Zel16u* pQuantFwdTable);
/** Inverse table of a raw one: the steps, widened and in natural order. */
ZELJ_API ZelStatus zeliQuantInvTableInit_JPEG_8u16u(const Zel8u* pQuantRawTable, Zel16u* pQuantInvTable);
/** Quantises a block in place by multiplication alone: exact to about half a step for coefficients below 4096 in
 *  magnitude, halves rounded up, larger ones wrap. Not the quantiser of the fused zeliDCTQuantFwd exports. */
ZELJ_API ZelStatus zeliQuantFwd8x8_JPEG_16s_C1I(Zel16s* pSrcDst, const Zel16u* pQuantFwdTable);
/** Multiplies each coefficient by its step; products keep their low 16 bits. */
ZELJ_API ZelStatus zeliQuantInv8x8_JPEG_16s_C1I(Zel16s* pSrcDst, const Zel16u* pQuantInvTable);
/** @} */

/** @defgroup fdct Forward DCT and quantisation of a block
 *  8x8 samples to 64 quantised coefficients in natural order, at the scale of ITU T.81 A.3.3 (the DC term is 8 times
 * the mean). The fixed-point transform lies within about half a unit of the ideal one. Quotients are rounded to the
 * nearest integer, ties to even, and limited to 16 bits.
 *
 *  Checks: pSrc, then pDst null (-8), srcStep below 1 (-14), table null (-8).
 *  @{ */

/** 64 level-shifted samples to coefficients. */
ZELJ_API ZelStatus zeliDCTQuantFwd8x8_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, const Zel16u* pQuantFwdTable);
/** 64 level-shifted samples to coefficients, in place. */
ZELJ_API ZelStatus zeliDCTQuantFwd8x8_JPEG_16s_C1I(Zel16s* pSrcDst, const Zel16u* pQuantFwdTable);
/** 8 rows of 8 samples 0..255, less 128, to coefficients. */
ZELJ_API ZelStatus zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const Zel8u* pSrc, int srcStep, Zel16s* pDst,
                                                       const Zel16u* pQuantFwdTable);
/** 8 rows of 8 samples of 12 bits, less 2048, to coefficients, in single precision. The table holds 64 multipliers in
 *  natural order that the caller makes, 1 / q for a step q. */
ZELJ_API ZelStatus zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const Zel16u* pSrc, int srcStep, Zel16s* pDst,
                                                        const Zel32f* pQuantFwdTable);
/** @} */

/** @defgroup idct Dequantisation and inverse DCT of a block
 *  64 quantised coefficients in natural order to samples. No export looks at the data for a short cut: a decoder that
 *  knows a block to be sparse calls a sparse member. Dequantised coefficients keep their low 16 bits. In the 8-bit
 * members 128 is added and the sum limited to 0..255.
 *
 *  Checks: pSrc, then pDst null (-8), dstStep below 1 (-14), table null (-8).
 *  @{ */

/** A block to 64 samples, without level shift and clamp. */
ZELJ_API ZelStatus zeliDCTQuantInv8x8_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, const Zel16u* pQuantInvTable);
/** A block to 64 samples in place, without level shift and clamp. */
ZELJ_API ZelStatus zeliDCTQuantInv8x8_JPEG_16s_C1I(Zel16s* pSrcDst, const Zel16u* pQuantInvTable);
/** A block to 8 rows of 8 samples. */
ZELJ_API ZelStatus zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                       const Zel16u* pQuantInvTable);
/** A block of which only the DC term counts, to 8 rows of 8 equal samples: `clamp((F(0,0) q >> 3) + 128)`, with the sum
 *  kept to 16 bits. Truncates where the full transform rounds. */
ZELJ_API ZelStatus zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                           const Zel16u* pQuantInvTable);
/** A block of which only the top left 2x2 coefficients count, to 8 rows of 8 samples; equal to the full transform of a
 *  block with the others cleared. */
ZELJ_API ZelStatus zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                           const Zel16u* pQuantInvTable);
/** A block of which only the top left 4x4 coefficients count, to 8 rows of 8 samples; equal to the full transform of a
 *  block with the others cleared. */
ZELJ_API ZelStatus zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                           const Zel16u* pQuantInvTable);
/** A block to 2 rows of 2 samples: about the means of the quadrants of the full result. */
ZELJ_API ZelStatus zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                            const Zel16u* pQuantInvTable);
/** A block to 4 rows of 4 samples: about the means of the 2x2 groups of the full result. */
ZELJ_API ZelStatus zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                            const Zel16u* pQuantInvTable);
/** A block to 8 rows of 8 samples of 12 bits, in single precision: 2048 is added, the sum truncated and limited to
 *  0..4095. The table holds 64 multipliers in natural order that the caller makes: the steps. */
ZELJ_API ZelStatus zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(const Zel16s* pSrc, Zel16u* pDst, int dstStep,
                                                        const Zel32f* pQuantInvTable);
/** @} */

/** @defgroup huffmantables Huffman tables and coder states
 *  Spec records hold a code table, are read-only once built and may be shared by threads. State records carry the bit
 *  accumulator from one call to the next and belong to one thread at a time. The caller gives memory of the size that
 *  `GetBufSize` tells, aligned to 8 bytes, or lets `InitAlloc` allocate and releases with `Free`.
 *
 *  `pListBits` is 16 bytes, the number of codes of each length 1..16; `pListVals` the symbols in code order, as many as
 *  the sum of pListBits: BITS and HUFFVAL of a DHT segment (ITU T.81 Annex C).
 *
 *  Checks: null pointers in the order of the arguments (-8). `InitAlloc` answers -8 when there is no memory, too. More
 *  than 256 codes give -64, and so does a list with more codes than a length can hold: the encoder's tests every
 * length, the decoder's only what does not fit its table of 8-bit look-ups. A record in caller memory is not to be used
 * after a failure; after a failure of a `SpecInitAlloc` the pointer is not written.
 *  @{ */

typedef struct ZeliDecodeHuffmanSpec ZeliDecodeHuffmanSpec;   /**< decoding table of one Huffman code, 1644 bytes */
typedef struct ZeliEncodeHuffmanSpec ZeliEncodeHuffmanSpec;   /**< encoding table of one Huffman code, 1024 bytes */
typedef struct ZeliDecodeHuffmanState ZeliDecodeHuffmanState; /**< reader of an entropy-coded segment, 24 bytes */
typedef struct ZeliEncodeHuffmanState ZeliEncodeHuffmanState; /**< writer of an entropy-coded segment, 1048 bytes */

/** `*pSize` = 1644. */
ZELJ_API ZelStatus zeliDecodeHuffmanSpecGetBufSize_JPEG_8u(Zel32s* pSize);
/** Builds a decoding table in caller memory. */
ZELJ_API ZelStatus zeliDecodeHuffmanSpecInit_JPEG_8u(const Zel8u* pListBits, const Zel8u* pListVals,
                                                     ZeliDecodeHuffmanSpec* pSpec);
/** Allocates and builds a decoding table. */
ZELJ_API ZelStatus zeliDecodeHuffmanSpecInitAlloc_JPEG_8u(const Zel8u* pListBits, const Zel8u* pListVals,
                                                          ZeliDecodeHuffmanSpec** ppSpec);
/** Releases what zeliDecodeHuffmanSpecInitAlloc_JPEG_8u made. */
ZELJ_API ZelStatus zeliDecodeHuffmanSpecFree_JPEG_8u(ZeliDecodeHuffmanSpec* pSpec);
/** `*pSize` = 1024. */
ZELJ_API ZelStatus zeliEncodeHuffmanSpecGetBufSize_JPEG_8u(Zel32s* pSize);
/** Builds an encoding table in caller memory. */
ZELJ_API ZelStatus zeliEncodeHuffmanSpecInit_JPEG_8u(const Zel8u* pListBits, const Zel8u* pListVals,
                                                     ZeliEncodeHuffmanSpec* pSpec);
/** Allocates and builds an encoding table. */
ZELJ_API ZelStatus zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(const Zel8u* pListBits, const Zel8u* pListVals,
                                                          ZeliEncodeHuffmanSpec** ppSpec);
/** Releases what zeliEncodeHuffmanSpecInitAlloc_JPEG_8u made. */
ZELJ_API ZelStatus zeliEncodeHuffmanSpecFree_JPEG_8u(ZeliEncodeHuffmanSpec* pSpec);
/** `*pSize` = 24. */
ZELJ_API ZelStatus zeliDecodeHuffmanStateGetBufSize_JPEG_8u(Zel32s* pSize);
/** Readies a reader: at the start of a scan and after each restart marker. */
ZELJ_API ZelStatus zeliDecodeHuffmanStateInit_JPEG_8u(ZeliDecodeHuffmanState* pState);
/** Allocates and readies a reader. */
ZELJ_API ZelStatus zeliDecodeHuffmanStateInitAlloc_JPEG_8u(ZeliDecodeHuffmanState** ppState);
/** Releases what zeliDecodeHuffmanStateInitAlloc_JPEG_8u made. */
ZELJ_API ZelStatus zeliDecodeHuffmanStateFree_JPEG_8u(ZeliDecodeHuffmanState* pState);
/** `*pSize` = 1048. */
ZELJ_API ZelStatus zeliEncodeHuffmanStateGetBufSize_JPEG_8u(Zel32s* pSize);
/** Readies a writer. A flush leaves it in this state, too. */
ZELJ_API ZelStatus zeliEncodeHuffmanStateInit_JPEG_8u(ZeliEncodeHuffmanState* pState);
/** Allocates and readies a writer. */
ZELJ_API ZelStatus zeliEncodeHuffmanStateInitAlloc_JPEG_8u(ZeliEncodeHuffmanState** ppState);
/** Releases what zeliEncodeHuffmanStateInitAlloc_JPEG_8u made. */
ZELJ_API ZelStatus zeliEncodeHuffmanStateFree_JPEG_8u(ZeliEncodeHuffmanState* pState);
/** @} */

/** @defgroup huffmansequential Sequential Huffman coding
 *  Blocks of 64 quantised coefficients in natural order to and from the entropy-coded segment of a baseline or extended
 *  sequential scan (ITU T.81 F.1.2 and F.2.2), with stuffing of zero bytes and detection of markers. The caller owns
 * the loop over MCUs, the DC predictors, restarts and markers.
 *
 *  `pSrcCurrPos` and `pDstCurrPos` are byte positions in the buffer, in and out. `*pMarker` becomes the second byte of
 * a marker when one is met; the call that meets it succeeds if its bits are there, the next that needs more bits fails
 *  with -63. The caller clears it.
 *  @{ */

/** Appends a block to a segment. `*pLastDC` is the DC term of the last block of the component, in and out.
 *
 *  With `bFlushState` the last byte is padded with ones, the state is made new, and pSrc, pLastDC and the tables are
 * not looked at.
 *
 *  Checks: pDst null (-8), dstLenBytes below 1 (-6), pDstCurrPos, pState, pSrc, pLastDC, pDcTable, pAcTable null (-8).
 *  While coding: -64 for a symbol without a code, -62 when the destination is full; the scan is then lost. */
ZELJ_API ZelStatus zeliEncodeHuffman8x8_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes,
                                                      Zel32s* pDstCurrPos, Zel16s* pLastDC,
                                                      const ZeliEncodeHuffmanSpec* pDcTable,
                                                      const ZeliEncodeHuffmanSpec* pAcTable,
                                                      ZeliEncodeHuffmanState* pState, Zel32s bFlushState);
/** Decodes the next block of a segment.
 *
 *  Checks: pSrc null (-8), srcLenBytes below 0 (-5), any other pointer null (-8). While decoding: -62 at the end of the
 *  source, -63 when bits are missing before a marker or no code fits, -2 when a run leads past position 71; what was
 *  decoded so far stands in pDst. */
ZELJ_API ZelStatus zeliDecodeHuffman8x8_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos,
                                                      Zel16s* pDst, Zel16s* pLastDC, Zel32s* pMarker,
                                                      const ZeliDecodeHuffmanSpec* pDcTable,
                                                      const ZeliDecodeHuffmanSpec* pAcTable,
                                                      ZeliDecodeHuffmanState* pState);
/** Appends a block at a position in bits, without a state record, a length and a flush: the bits in front of
 *  `*pDstBitsLen` in its byte are kept, and the last bits written stand at the top of the byte at the new position. The
 *  caller sees to room: up to 514 bytes a block. A symbol without a code is left out. Checks: null pointers (-8). */
ZELJ_API ZelStatus zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32u* pDstBitsLen,
                                                             Zel16s* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                                             const ZeliEncodeHuffmanSpec* pAcTable);
/** Decodes the next block without a state record and a length: the source must end in a marker, and up to the end of
 * the 16-byte line that holds it may be read. `*pSrcBitsLen` is the position in bits, a multiple of 8; bits read ahead
 * stand in `*pPrefetchedBits`. A block that the marker cuts off ends with status 0.
 *
 *  Checks: pSrc, pSrcBitsLen null (-8), `*pSrcBitsLen` below 0 (-5), pDst, pLastDC, pMarker, pPrefetchedBits,
 *  pNumValidPrefetchedBits null (-8), `*pNumValidPrefetchedBits` below 0 (-5), tables null (-8). While decoding: -63
 * for no code within 16 bits, -62 for missing additional bits, -2 when a run leads past position 71. */
ZELJ_API ZelStatus zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s* pSrcBitsLen, Zel16s* pDst,
                                                             Zel16s* pLastDC, Zel32s* pMarker, Zel32u* pPrefetchedBits,
                                                             Zel32s* pNumValidPrefetchedBits,
                                                             const ZeliDecodeHuffmanSpec* pDcTable,
                                                             const ZeliDecodeHuffmanSpec* pAcTable);
/** Appends one difference: its category's code, then the additional bits; -32768 is its code alone. Flush, checks and
 *  statuses as zeliEncodeHuffman8x8_JPEG_16s1u_C1. */
ZELJ_API ZelStatus zeliEncodeHuffmanOne_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes,
                                                      Zel32s* pDstCurrPos, const ZeliEncodeHuffmanSpec* pTable,
                                                      ZeliEncodeHuffmanState* pState, Zel32s bFlushState);
/** Decodes one difference; categories from 16 up give -32768. On failure `*pDst` is not written. Checks: pSrc null
 * (-8), srcLenBytes below 1 (-6), any other pointer null (-8). While decoding: -62 and -63 as the block decoder. */
ZELJ_API ZelStatus zeliDecodeHuffmanOne_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos,
                                                      Zel16s* pDst, Zel32s* pMarker,
                                                      const ZeliDecodeHuffmanSpec* pTable,
                                                      ZeliDecodeHuffmanState* pState);
/** @} */

/** @defgroup huffmanprogressive Progressive Huffman coding
 *  A block for one scan of the progressive mode (ITU T.81 Annex G). The caller keeps the coefficients of the whole
 * image in natural order: each scan of an encoder codes some of their bits, each scan of a decoder adds to what the
 * earlier ones left. `Ss` and `Se` are the first and the last zig-zag position of an AC scan's band, `Al` the lowest
 * bit that the scan codes.
 *
 *  A state record serves one scan, and begins each scan and each restart interval new: AC scans keep up to 64 bits in
 *  it, a run of blocks whose band has ended, and the encoder's correction bits of that run.
 *
 *  Positions, markers and flush are as for sequential coding, but in AC scans FF FF is a marker, too, and a flush first
 *  codes the run of blocks and its correction bits.
 *
 *  Checks of the encoders: pDst null (-8), dstLenBytes below 1 (-6), pDstCurrPos, pState, in AC scans pAcTable null
 *  (-8); then the flush; then pSrc, pLastDC null (-8), Ss outside 1..63, Se outside Ss..63, Al outside 0..13 (-5),
 *  pDcTable null (-8). While coding: -64 for a symbol without a code, -62 when the destination is full, -63 for more
 *  than 11 bits; the scan is then lost.
 *
 *  Checks of the decoders: pSrc null (-8), srcLenBytes below 1 (-6), the other pointers but those named last null (-8),
 *  Ss, Se, Al as above (-5), the table and pState null (-8). While decoding: -62 at the end of the source, -63 when
 * bits are missing before a marker or no code fits; in AC scans -62 for the bits behind a code, too, where the very
 *  read of them meets the marker.
 *  @{ */

/** Appends the DC term without its `Al` lowest bits, as the difference from `*pLastDC`, which is kept without them,
 * too. */
ZELJ_API ZelStatus zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes,
                                                              Zel32s* pDstCurrPos, Zel16s* pLastDC, Zel32s Al,
                                                              const ZeliEncodeHuffmanSpec* pDcTable,
                                                              ZeliEncodeHuffmanState* pState, Zel32s bFlushState);
/** Appends bit `Al` of the DC term. */
ZELJ_API ZelStatus zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes,
                                                               Zel32s* pDstCurrPos, Zel32s Al,
                                                               ZeliEncodeHuffmanState* pState, Zel32s bFlushState);
/** Appends the coefficients of a band without their `Al` lowest bits, or counts the block to the run of blocks whose
 *  band has ended. */
ZELJ_API ZelStatus zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes,
                                                              Zel32s* pDstCurrPos, Zel32s Ss, Zel32s Se, Zel32s Al,
                                                              const ZeliEncodeHuffmanSpec* pAcTable,
                                                              ZeliEncodeHuffmanState* pState, Zel32s bFlushState);
/** Appends bit `Al` of the coefficients of a band: the positions of those that it makes significant, and correction
 *  bits for the others. */
ZELJ_API ZelStatus zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes,
                                                               Zel32s* pDstCurrPos, Zel32s Ss, Zel32s Se, Zel32s Al,
                                                               const ZeliEncodeHuffmanSpec* pAcTable,
                                                               ZeliEncodeHuffmanState* pState, Zel32s bFlushState);
/** Sets the DC term, and nothing else in the block. */
ZELJ_API ZelStatus zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes,
                                                              Zel32s* pSrcCurrPos, Zel16s* pDst, Zel16s* pLastDC,
                                                              Zel32s* pMarker, Zel32s Al,
                                                              const ZeliDecodeHuffmanSpec* pDcTable,
                                                              ZeliDecodeHuffmanState* pState);
/** Sets bit `Al` of the DC term, or leaves it. */
ZELJ_API ZelStatus zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes,
                                                               Zel32s* pSrcCurrPos, Zel16s* pDst, Zel32s* pMarker,
                                                               Zel32s Al, ZeliDecodeHuffmanState* pState);
/** Sets the coefficients of a band that are not zero, and leaves the others. A run behind the band ends on the last
 *  coefficient of the block. */
ZELJ_API ZelStatus zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes,
                                                              Zel32s* pSrcCurrPos, Zel16s* pDst, Zel32s* pMarker,
                                                              Zel32s Ss, Zel32s Se, Zel32s Al,
                                                              const ZeliDecodeHuffmanSpec* pAcTable,
                                                              ZeliDecodeHuffmanState* pState);
/** Adds bit `Al` to the coefficients of a band. Status 10: done, from bits in hand while more were wanted and a marker
 *  was pending. */
ZELJ_API ZelStatus zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes,
                                                               Zel32s* pSrcCurrPos, Zel16s* pDst, Zel32s* pMarker,
                                                               Zel32s Ss, Zel32s Se, Zel32s Al,
                                                               const ZeliDecodeHuffmanSpec* pAcTable,
                                                               ZeliDecodeHuffmanState* pState);
/** @} */

/** @defgroup huffmanstatistics Huffman statistics and table generation
 *  A dry run counts the symbols that the coders would write, in 256 counters by symbol that the caller has cleared;
 *  zeliEncodeHuffmanRawTableInit_JPEG_8u makes the best table for them (ITU T.81 Annex K.2). Symbols that stand in
 * front of a failure are counted.
 *  @{ */

/** Counts the symbols of a block of a sequential scan. Checks: null pointers (-8). While counting: -63 for a DC
 *  difference of more than 15 bits or a coefficient of more than 14. */
ZELJ_API ZelStatus zeliGetHuffmanStatistics8x8_JPEG_16s_C1(const Zel16s* pSrc, Zel32u* pDcStatistics,
                                                           Zel32u* pAcStatistics, Zel16s* pLastDC);
/** Counts the category of one difference. Checks: null pointers (-8). */
ZELJ_API ZelStatus zeliGetHuffmanStatisticsOne_JPEG_16s_C1(const Zel16s* pSrc, Zel32u* pStatistics);
/** Counts the symbol of zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1. Checks: null pointers (-8), Al outside 0..13 (-5).
 *  While counting: -63 for more than 11 bits. */
ZELJ_API ZelStatus zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const Zel16s* pSrc, Zel32u* pDcStatistics,
                                                                   Zel16s* pLastDC, Zel32s Al);
/** Counts the symbols of zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1. Checks: pAcStatistics, pState null (-8); then the
 *  flush; then pSrc null (-8), Ss outside 1..63, Se outside Ss..63, Al outside 0..13 (-5). While counting: -63 for more
 *  than 11 bits. */
ZELJ_API ZelStatus zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const Zel16s* pSrc, Zel32u* pAcStatistics, Zel32s Ss,
                                                                   Zel32s Se, Zel32s Al, ZeliEncodeHuffmanState* pState,
                                                                   Zel32s bFlushState);
/** Counts the symbols of zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1. Checks as the first scan's. */
ZELJ_API ZelStatus zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const Zel16s* pSrc, Zel32u* pAcStatistics,
                                                                    Zel32s Ss, Zel32s Se, Zel32s Al,
                                                                    ZeliEncodeHuffmanState* pState, Zel32s bFlushState);
/** The best code of at most 16 bits for counted symbols: BITS (16 bytes) and HUFFVAL (as many as symbols occur). No
 * code is all ones. Counts and their sums are to stay below 1000000000. Checks: null pointers (-8). -64, and nothing is
 *  written, if a code had more than 32 bits before it is limited. */
ZELJ_API ZelStatus zeliEncodeHuffmanRawTableInit_JPEG_8u(const Zel32s* pStatistics, Zel8u* pListBits, Zel8u* pListVals);
/** @} */

/** @defgroup lossless Lossless JPEG rows
 *  Rows of the lossless process (ITU T.81 Annex H): differences of samples of 2 to 16 bits from what their neighbours
 *  foretell, modulo 65536, and their code. The caller applies the point transform `Pt`. Rows hold `width` samples.
 *  @{ */

/** Differences of the first row: from half the range, 2^(P - Pt - 1), then from the sample to the left. `P` is the
 *  precision. Checks: pointers null (-8), width below 1 (-6), P outside 2..16 or Pt below 0 (-5). */
ZELJ_API ZelStatus zeliDiffPredFirstRow_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, Zel32s width, Zel32s P,
                                                    Zel32s Pt);
/** The inverse of zeliDiffPredFirstRow_JPEG_16s_C1, also in place. */
ZELJ_API ZelStatus zeliReconstructPredFirstRow_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, Zel32s width, Zel32s P,
                                                           Zel32s Pt);
/** Differences of any other row, with one of the predictors 1 to 7 of T.81 Table H.1; the first sample's from the one
 *  above. Samples count as signed where a prediction halves. In place with predictors 2 and 3 alone. Checks: pointers
 *  null (-8), width below 1 (-6), predictor outside 1..7 (-5). */
ZELJ_API ZelStatus zeliDiffPredRow_JPEG_16s_C1(const Zel16s* pSrc, const Zel16s* pPrevRow, Zel16s* pDst, Zel32s width,
                                               Zel32s predictor);
/** The inverse of zeliDiffPredRow_JPEG_16s_C1, also in place: pPrevRow is the row of samples above. */
ZELJ_API ZelStatus zeliReconstructPredRow_JPEG_16s_C1(const Zel16s* pSrc, const Zel16s* pPrevRow, Zel16s* pDst,
                                                      Zel32s width, Zel32s predictor);
/** Appends rows of differences of up to four planes (of more the first four), the planes' samples in turn, each by its
 *  table as zeliEncodeHuffmanOne_JPEG_16s1u_C1 does.
 *
 *  Checks: pDst null (-8), dstLenBytes below 1 (-6), pDstCurrPos, pState null (-8); then the flush; then pSrc null
 * (-8), width or planes below 1 (-6), pTable, planes' rows and tables null (-8). While coding: -64 for a category
 * without a code, -62 when the destination is full. */
ZELJ_API ZelStatus zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(const Zel16s* pSrc[4], Zel32s width, Zel32s planes, Zel8u* pDst,
                                                        Zel32s dstLenBytes, Zel32s* pDstCurrPos,
                                                        const ZeliEncodeHuffmanSpec* pTable[4],
                                                        ZeliEncodeHuffmanState* pState, Zel32s bFlushState);
/** The inverse of zeliEncodeHuffmanRow_JPEG_16s1u_P4C1. Checks: pSrc null (-8), srcLenBytes below 1 (-6), pSrcCurrPos,
 *  pDst null (-8), width or planes below 1 (-6), pMarker, pTable, pState, planes' rows and tables null (-8). While
 *  decoding: -62 at the end of the source, -63 when bits are missing before a marker or no code fits; the samples up to
 *  there are written. */
ZELJ_API ZelStatus zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos,
                                                        Zel16s* pDst[4], Zel32s width, Zel32s planes, Zel32s* pMarker,
                                                        const ZeliDecodeHuffmanSpec* pTable[4],
                                                        ZeliDecodeHuffmanState* pState);
/** @} */

/** @defgroup componenttransforms JPEG 2000 component transforms
 *  The reversible (RCT) and the irreversible (ICT) transform of three components (ISO/IEC 15444-1 Annex G). Level shift
 *  and clipping stay with the caller. Forward: R, G, B to Y, the blue difference (plane 1) and the red one (plane 2).
 *
 *  RCT: `Y0 = (R + 2G + B) >> 2, Y1 = B - G, Y2 = R - G`; `G = Y0 - ((Y1 + Y2) >> 2), R = Y2 + G, B = Y1 + G`. The
 * 16-bit members sum in 32 bits and store the low 16; the 32-bit members wrap.
 *
 *  ICT: the float members round each product and sum left to right. The integer members have 14 fraction bits and
 *  differ from each other: in 32 bits everything wraps and green is rounded once, its sign included; in 16 bits results
 *  saturate, the colour differences come from Y as 9246 and 11686 times B - Y and R - Y (cut to 16 bits before), and
 *  green's term is rounded, then subtracted.
 *
 *  Only in zeliRCTInv_JPEG2K_16s_P3IR may planes share memory: pixels are done in ascending order then.
 *
 *  Checks: null pointer arguments and planes (-8), a step below 1 (-14), width or height below 1 (-6).
 *  @{ */

/** RCT of R, G, B pixels to three planes. */
ZELJ_API ZelStatus zeliRCTFwd_JPEG2K_16s_C3P3R(const Zel16s* pSrc, int srcStep, Zel16s* const pDst[3], int dstStep,
                                               ZeliSize roiSize);
/** RCT of R, G, B pixels to three planes. */
ZELJ_API ZelStatus zeliRCTFwd_JPEG2K_32s_C3P3R(const Zel32s* pSrc, int srcStep, Zel32s* const pDst[3], int dstStep,
                                               ZeliSize roiSize);
/** RCT of three planes in place. */
ZELJ_API ZelStatus zeliRCTFwd_JPEG2K_16s_P3IR(Zel16s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** RCT of three planes in place. */
ZELJ_API ZelStatus zeliRCTFwd_JPEG2K_32s_P3IR(Zel32s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** Inverse RCT of three planes to R, G, B pixels. */
ZELJ_API ZelStatus zeliRCTInv_JPEG2K_16s_P3C3R(const Zel16s* const pSrc[3], int srcStep, Zel16s* pDst, int dstStep,
                                               ZeliSize roiSize);
/** Inverse RCT of three planes to R, G, B pixels. */
ZELJ_API ZelStatus zeliRCTInv_JPEG2K_32s_P3C3R(const Zel32s* const pSrc[3], int srcStep, Zel32s* pDst, int dstStep,
                                               ZeliSize roiSize);
/** Inverse RCT of three planes in place, which may share memory. */
ZELJ_API ZelStatus zeliRCTInv_JPEG2K_16s_P3IR(Zel16s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** Inverse RCT of three planes in place. */
ZELJ_API ZelStatus zeliRCTInv_JPEG2K_32s_P3IR(Zel32s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** ICT of R, G, B pixels to three planes. */
ZELJ_API ZelStatus zeliICTFwd_JPEG2K_32f_C3P3R(const Zel32f* pSrc, int srcStep, Zel32f* const pDst[3], int dstStep,
                                               ZeliSize roiSize);
/** ICT of three planes in place. */
ZELJ_API ZelStatus zeliICTFwd_JPEG2K_32f_P3IR(Zel32f* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** ICT of three planes in place, matrix form. */
ZELJ_API ZelStatus zeliICTFwd_JPEG2K_32s_P3IR(Zel32s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** ICT of three planes in place, difference form, saturating. */
ZELJ_API ZelStatus zeliICTFwd_JPEG2K_16s_P3IR(Zel16s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** Inverse ICT of three planes to R, G, B pixels. */
ZELJ_API ZelStatus zeliICTInv_JPEG2K_32f_P3C3R(const Zel32f* const pSrc[3], int srcStep, Zel32f* pDst, int dstStep,
                                               ZeliSize roiSize);
/** Inverse ICT of three planes in place. */
ZELJ_API ZelStatus zeliICTInv_JPEG2K_32f_P3IR(Zel32f* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** Inverse ICT of three planes in place. */
ZELJ_API ZelStatus zeliICTInv_JPEG2K_32s_P3IR(Zel32s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** Inverse ICT of three planes in place, saturating. */
ZELJ_API ZelStatus zeliICTInv_JPEG2K_16s_P3IR(Zel16s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** @} */

/** @defgroup wavelet53 Reversible 5/3 wavelet
 *  The integer 5/3 filter of ISO/IEC 15444-1 Annex F, at four grains: rows and columns of rectangles, one lifting step
 *  pair on rows that the caller holds, and one decomposition level of a tile. Where lines begin at an even position:
 *
 *      high[n] = x[2n + 1] - ((x[2n] + x[2n + 2]) >> 1)    low[n] = x[2n] + ((high[n - 1] + high[n] + 2) >> 2)
 *
 *  Row and column filters make no extension: the caller fills the samples around the border. With W pairs they read
 *  x[-2] to x[2W] in phase 0 and x[-1] to x[2W + 1] otherwise; inverse ones high[-1] to high[W], and low[0] to low[W]
 * in phase 0 or low[-1] to low[W - 1] otherwise. `phase` is 0 if the first sample stands at an even position; any other
 * value tells an odd one, and the line then begins with a high-pass sample. Columns use their destination as scratch.
 *
 *  32-bit sums wrap. In 16 bits the filters and lifts form sums of neighbours in 16 bits (they wrap; results of row and
 *  column filters are fixed as long as none does); tiles sum exactly and cut each stored value.
 *
 *  Tiles extend symmetrically by themselves; lines of one sample are doubled at an odd position (and halved towards
 * zero), lines of two have their own closed form. A forward tile does columns, then rows; the inverse rows, then
 * columns. In place, a line's low run stands in front of its high run. Out of place, the bands LL, LH (low
 * horizontally), HL, HH are cut from that layout behind (width + 1) / 2 columns and (height + 1) / 2 rows whatever the
 * phases: at an odd position and an odd length the first high samples stand in the lower band. `pBuffer` has the size
 * that the `GetBufSize` export of the same layout returns for the rectangle; it is never null, even where that size is
 * 0.
 *
 *  Checks: filters: null pointers (-8), a step below 1 (-14), height or width below 1 (-6). Lifts: null pointers (-8),
 * width below 1 (-6). Tiles in place: pSrcDst null (-8), step below 1 (-14), pTileRect or pBuffer null (-8), no test of
 * the size. Tiles out of place: null arguments (-8), the single step below 1 (-14), a null band (-8), a band's step
 * below 1 (-14), width or height below 1 (-6). Buffer sizes: null pointers (-8).
 *  @{ */

/** Splits each row of 2 * dstRoiSize.width samples into a low and a high run. */
ZELJ_API ZelStatus zeliWTFwdRow_B53_JPEG2K_16s_C1R(const Zel16s* pSrc, int srcStep, Zel16s* pDstLow, int dstLowStep,
                                                   Zel16s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
/** Splits each row of 2 * dstRoiSize.width samples into a low and a high run. */
ZELJ_API ZelStatus zeliWTFwdRow_B53_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, Zel32s* pDstLow, int dstLowStep,
                                                   Zel32s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
/** Joins runs of srcRoiSize.width samples to rows of twice as many. */
ZELJ_API ZelStatus zeliWTInvRow_B53_JPEG2K_16s_C1R(const Zel16s* pSrcLow, int srcLowStep, const Zel16s* pSrcHigh,
                                                   int srcHighStep, ZeliSize srcRoiSize, Zel16s* pDst, int dstStep,
                                                   int phase);
/** Joins runs of srcRoiSize.width samples to rows of twice as many. */
ZELJ_API ZelStatus zeliWTInvRow_B53_JPEG2K_32s_C1R(const Zel32s* pSrcLow, int srcLowStep, const Zel32s* pSrcHigh,
                                                   int srcHighStep, ZeliSize srcRoiSize, Zel32s* pDst, int dstStep,
                                                   int phase);
/** Splits 2 * dstRoiSize.height rows into low and high rows. */
ZELJ_API ZelStatus zeliWTFwdCol_B53_JPEG2K_16s_C1R(const Zel16s* pSrc, int srcStep, Zel16s* pDstLow, int dstLowStep,
                                                   Zel16s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
/** Splits 2 * dstRoiSize.height rows into low and high rows. */
ZELJ_API ZelStatus zeliWTFwdCol_B53_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, Zel32s* pDstLow, int dstLowStep,
                                                   Zel32s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
/** Joins low and high rows to twice as many. */
ZELJ_API ZelStatus zeliWTInvCol_B53_JPEG2K_16s_C1R(const Zel16s* pSrcLow, int srcLowStep, const Zel16s* pSrcHigh,
                                                   int srcHighStep, ZeliSize srcRoiSize, Zel16s* pDst, int dstStep,
                                                   int phase);
/** Joins low and high rows to twice as many. */
ZELJ_API ZelStatus zeliWTInvCol_B53_JPEG2K_32s_C1R(const Zel32s* pSrcLow, int srcLowStep, const Zel32s* pSrcHigh,
                                                   int srcHighStep, ZeliSize srcRoiSize, Zel32s* pDst, int dstStep,
                                                   int phase);
/** One row pair: pDstHigh1 is the high row of pSrc1 between the even rows pSrc0 and pSrc2, pDstLow0 the low row of
 * pSrc0 between the high rows pSrcHigh0 and pDstHigh1. */
ZELJ_API ZelStatus zeliWTFwdColLift_B53_JPEG2K_16s_C1(const Zel16s* pSrc0, const Zel16s* pSrc1, const Zel16s* pSrc2,
                                                      Zel16s* pDstLow0, const Zel16s* pSrcHigh0, Zel16s* pDstHigh1,
                                                      int width);
/** One row pair: pDstHigh1 is the high row of pSrc1 between the even rows pSrc0 and pSrc2, pDstLow0 the low row of
 * pSrc0 between the high rows pSrcHigh0 and pDstHigh1. */
ZELJ_API ZelStatus zeliWTFwdColLift_B53_JPEG2K_32s_C1(const Zel32s* pSrc0, const Zel32s* pSrc1, const Zel32s* pSrc2,
                                                      Zel32s* pDstLow0, const Zel32s* pSrcHigh0, Zel32s* pDstHigh1,
                                                      int width);
/** One row pair back: pDst2 is the even row of pSrcLow0 between the high rows, pDst1 the odd row of pSrcHigh0 between
 * the even rows pSrc0 (of the call before) and pDst2. */
ZELJ_API ZelStatus zeliWTInvColLift_B53_JPEG2K_16s_C1(const Zel16s* pSrcLow0, const Zel16s* pSrcHigh0,
                                                      const Zel16s* pSrcHigh1, const Zel16s* pSrc0, Zel16s* pDst1,
                                                      Zel16s* pDst2, int width);
/** One row pair back: pDst2 is the even row of pSrcLow0 between the high rows, pDst1 the odd row of pSrcHigh0 between
 * the even rows pSrc0 (of the call before) and pDst2. */
ZELJ_API ZelStatus zeliWTInvColLift_B53_JPEG2K_32s_C1(const Zel32s* pSrcLow0, const Zel32s* pSrcHigh0,
                                                      const Zel32s* pSrcHigh1, const Zel32s* pSrc0, Zel32s* pDst1,
                                                      Zel32s* pDst2, int width);
/** One level of a tile in place. */
ZELJ_API ZelStatus zeliWTFwd_B53_JPEG2K_16s_C1IR(Zel16s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                 Zel8u* pBuffer);
/** One level of a tile in place. */
ZELJ_API ZelStatus zeliWTFwd_B53_JPEG2K_32s_C1IR(Zel32s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                 Zel8u* pBuffer);
/** One level back in place. */
ZELJ_API ZelStatus zeliWTInv_B53_JPEG2K_16s_C1IR(Zel16s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                 Zel8u* pBuffer);
/** One level back in place. */
ZELJ_API ZelStatus zeliWTInv_B53_JPEG2K_32s_C1IR(Zel32s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                 Zel8u* pBuffer);
/** One level of a tile to four bands. */
ZELJ_API ZelStatus zeliWTFwd_B53_JPEG2K_16s_C1R(const Zel16s* pSrc, int srcStep, const ZeliRect* pTileRect,
                                                Zel16s* const pDst[4], const int dstStep[4], Zel8u* pBuffer);
/** One level of a tile to four bands. */
ZELJ_API ZelStatus zeliWTFwd_B53_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, const ZeliRect* pTileRect,
                                                Zel32s* const pDst[4], const int dstStep[4], Zel8u* pBuffer);
/** One level back from four bands. */
ZELJ_API ZelStatus zeliWTInv_B53_JPEG2K_16s_C1R(const Zel16s* const pSrc[4], const int srcStep[4], Zel16s* pDst,
                                                int dstStep, const ZeliRect* pTileRect, Zel8u* pBuffer);
/** One level back from four bands. */
ZELJ_API ZelStatus zeliWTInv_B53_JPEG2K_32s_C1R(const Zel32s* const pSrc[4], const int srcStep[4], Zel32s* pDst,
                                                int dstStep, const ZeliRect* pTileRect, Zel8u* pBuffer);
/** Bytes of pBuffer in place: a line of the longer side and four samples, or 0 if no side has three samples. */
ZELJ_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize);
/** Bytes of pBuffer in place: a line of the longer side and four samples, or 0 if no side has three samples. */
ZELJ_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize);
/** Bytes of pBuffer out of place: the same and a copy of the tile with rows of whole 32 bytes. */
ZELJ_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize);
/** Bytes of pBuffer out of place: the same and a copy of the tile with rows of whole 32 bytes. */
ZELJ_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize);
/** @} */

/** @defgroup wavelet97 Irreversible 9/7 wavelet
 *  The 9/7 lifting filter of ISO/IEC 15444-1 Annex F at the grains of the 5/3 wavelet, with the same arguments, phases
 * and checks. Low samples are scaled by 1 / 1.2301741, high ones by 1.2301741. One filter in several numeric forms,
 * which a codec does not mix:
 *
 *  - `32f`: single precision, in the stated order of operations, without fused multiply-add.
 *  - `32s` rows and lifts: 16 fraction bits, 64-bit products, sums wrap.
 *  - `16s` rows and lifts: 15 fraction bits, every sum saturates. The first low, the last low and the last two high
 * samples of a forward row are formed with 16 fraction bits and exact sums instead.
 *  - `16s` tiles: 14 fraction bits, every stage wraps. `32s` tiles: single precision, results cut towards zero; above
 * 2^31 they become 0x7fffffff, at 2^31 and below -2^31 0x80000000.
 *
 *  With W pairs the filters read x[-4] to x[2W + 2] in phase 0 and x[-3] to x[2W + 3] otherwise; inverse ones lie
 * between low[-2] and low[W + 1] and between high[-2] and high[W + 1]. A line of one pair is made by the filter's taps
 * directly, each rounded by itself in `32s`.
 *
 *  Tiles in place: at an odd position the forward transform puts the high run first, and with an odd number of samples
 * its last sample overwrites the first low one while the last slot keeps its value. The inverse takes the low run first
 *  always, so that round trips are for even positions.
 *  @{ */

/** Splits each row of 2 * dstRoiSize.width samples into a low and a high run. */
ZELJ_API ZelStatus zeliWTFwdRow_D97_JPEG2K_16s_C1R(const Zel16s* pSrc, int srcStep, Zel16s* pDstLow, int dstLowStep,
                                                   Zel16s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
/** Splits each row of 2 * dstRoiSize.width samples into a low and a high run. */
ZELJ_API ZelStatus zeliWTFwdRow_D97_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, Zel32s* pDstLow, int dstLowStep,
                                                   Zel32s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
/** Splits each row of 2 * dstRoiSize.width samples into a low and a high run. */
ZELJ_API ZelStatus zeliWTFwdRow_D97_JPEG2K_32f_C1R(const Zel32f* pSrc, int srcStep, Zel32f* pDstLow, int dstLowStep,
                                                   Zel32f* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
/** Joins runs of srcRoiSize.width samples to rows of twice as many. */
ZELJ_API ZelStatus zeliWTInvRow_D97_JPEG2K_16s_C1R(const Zel16s* pSrcLow, int srcLowStep, const Zel16s* pSrcHigh,
                                                   int srcHighStep, ZeliSize srcRoiSize, Zel16s* pDst, int dstStep,
                                                   int phase);
/** Joins runs of srcRoiSize.width samples to rows of twice as many. */
ZELJ_API ZelStatus zeliWTInvRow_D97_JPEG2K_32s_C1R(const Zel32s* pSrcLow, int srcLowStep, const Zel32s* pSrcHigh,
                                                   int srcHighStep, ZeliSize srcRoiSize, Zel32s* pDst, int dstStep,
                                                   int phase);
/** Joins runs of srcRoiSize.width samples to rows of twice as many. */
ZELJ_API ZelStatus zeliWTInvRow_D97_JPEG2K_32f_C1R(const Zel32f* pSrcLow, int srcLowStep, const Zel32f* pSrcHigh,
                                                   int srcHighStep, ZeliSize srcRoiSize, Zel32f* pDst, int dstStep,
                                                   int phase);
/** Splits 2 * dstRoiSize.height rows into low and high rows. */
ZELJ_API ZelStatus zeliWTFwdCol_D97_JPEG2K_32f_C1R(const Zel32f* pSrc, int srcStep, Zel32f* pDstLow, int dstLowStep,
                                                   Zel32f* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
/** Joins low and high rows to twice as many. */
ZELJ_API ZelStatus zeliWTInvCol_D97_JPEG2K_32f_C1R(const Zel32f* pSrcLow, int srcLowStep, const Zel32f* pSrcHigh,
                                                   int srcHighStep, ZeliSize srcRoiSize, Zel32f* pDst, int dstStep,
                                                   int phase);
/** One row pair of a pipeline of four stages a to d. In: rows 2n, 2n + 1, 2n + 2 of the source, b(2n - 2), c(2n - 3),
 *  a(2n - 1). Out, in the order of the five rows that are written: low row 2n - 2, b(2n), high row 2n - 3, c(2n - 1),
 *  a(2n + 1). For the next call pDstLow1 becomes pSrcDstLow0, pSrcDstHigh1 pSrcDstHigh0, and pDstHigh2 pSrcDstHigh1. */
ZELJ_API ZelStatus zeliWTFwdColLift_D97_JPEG2K_16s_C1(const Zel16s* pSrc0, const Zel16s* pSrc1, const Zel16s* pSrc2,
                                                      Zel16s* pSrcDstLow0, Zel16s* pDstLow1, Zel16s* pSrcDstHigh0,
                                                      Zel16s* pSrcDstHigh1, Zel16s* pDstHigh2, int width);
/** One row pair of a pipeline of four stages a to d. In: rows 2n, 2n + 1, 2n + 2 of the source, b(2n - 2), c(2n - 3),
 *  a(2n - 1). Out, in the order of the five rows that are written: low row 2n - 2, b(2n), high row 2n - 3, c(2n - 1),
 *  a(2n + 1). For the next call pDstLow1 becomes pSrcDstLow0, pSrcDstHigh1 pSrcDstHigh0, and pDstHigh2 pSrcDstHigh1. */
ZELJ_API ZelStatus zeliWTFwdColLift_D97_JPEG2K_32s_C1(const Zel32s* pSrc0, const Zel32s* pSrc1, const Zel32s* pSrc2,
                                                      Zel32s* pSrcDstLow0, Zel32s* pDstLow1, Zel32s* pSrcDstHigh0,
                                                      Zel32s* pSrcDstHigh1, Zel32s* pDstHigh2, int width);
/** One row pair of a pipeline of four stages a to d. In: rows 2n, 2n + 1, 2n + 2 of the source, b(2n - 2), c(2n - 3),
 *  a(2n - 1). Out, in the order of the five rows that are written: low row 2n - 2, b(2n), high row 2n - 3, c(2n - 1),
 *  a(2n + 1). For the next call pDstLow1 becomes pSrcDstLow0, pSrcDstHigh1 pSrcDstHigh0, and pDstHigh2 pSrcDstHigh1. */
ZELJ_API ZelStatus zeliWTFwdColLift_D97_JPEG2K_32f_C1(const Zel32f* pSrc0, const Zel32f* pSrc1, const Zel32f* pSrc2,
                                                      Zel32f* pSrcDstLow0, Zel32f* pDstLow1, Zel32f* pSrcDstHigh0,
                                                      Zel32f* pSrcDstHigh1, Zel32f* pDstHigh2, int width);
/** One row pair back. In: low row 2n, high rows 2n - 1 and 2n + 1, the finished row 2n - 4, b(2n - 3), a(2n - 2). Out:
 * rows 2n - 3 and 2n - 2, b(2n - 1), a(2n). For the next call pSrcDstLow0 becomes pSrc0, pDstHigh1 pSrcDstHigh0, and
 * pDstLow1 pSrcDstLow0. */
ZELJ_API ZelStatus zeliWTInvColLift_D97_JPEG2K_16s_C1(const Zel16s* pSrcLow0, const Zel16s* pSrcHigh0,
                                                      const Zel16s* pSrcHigh1, const Zel16s* pSrc0,
                                                      Zel16s* pSrcDstHigh0, Zel16s* pSrcDstLow0, Zel16s* pDstHigh1,
                                                      Zel16s* pDstLow1, int width);
/** One row pair back. In: low row 2n, high rows 2n - 1 and 2n + 1, the finished row 2n - 4, b(2n - 3), a(2n - 2). Out:
 * rows 2n - 3 and 2n - 2, b(2n - 1), a(2n). For the next call pSrcDstLow0 becomes pSrc0, pDstHigh1 pSrcDstHigh0, and
 * pDstLow1 pSrcDstLow0. */
ZELJ_API ZelStatus zeliWTInvColLift_D97_JPEG2K_32s_C1(const Zel32s* pSrcLow0, const Zel32s* pSrcHigh0,
                                                      const Zel32s* pSrcHigh1, const Zel32s* pSrc0,
                                                      Zel32s* pSrcDstHigh0, Zel32s* pSrcDstLow0, Zel32s* pDstHigh1,
                                                      Zel32s* pDstLow1, int width);
/** One row pair back. In: low row 2n, high rows 2n - 1 and 2n + 1, the finished row 2n - 4, b(2n - 3), a(2n - 2). Out:
 * rows 2n - 3 and 2n - 2, b(2n - 1), a(2n). For the next call pSrcDstLow0 becomes pSrc0, pDstHigh1 pSrcDstHigh0, and
 * pDstLow1 pSrcDstLow0. */
ZELJ_API ZelStatus zeliWTInvColLift_D97_JPEG2K_32f_C1(const Zel32f* pSrcLow0, const Zel32f* pSrcHigh0,
                                                      const Zel32f* pSrcHigh1, const Zel32f* pSrc0,
                                                      Zel32f* pSrcDstHigh0, Zel32f* pSrcDstLow0, Zel32f* pDstHigh1,
                                                      Zel32f* pDstLow1, int width);
/** One level of a tile in place. */
ZELJ_API ZelStatus zeliWTFwd_D97_JPEG2K_16s_C1IR(Zel16s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                 Zel8u* pBuffer);
/** One level of a tile in place. */
ZELJ_API ZelStatus zeliWTFwd_D97_JPEG2K_32s_C1IR(Zel32s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                 Zel8u* pBuffer);
/** One level back in place. */
ZELJ_API ZelStatus zeliWTInv_D97_JPEG2K_16s_C1IR(Zel16s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                 Zel8u* pBuffer);
/** One level back in place. */
ZELJ_API ZelStatus zeliWTInv_D97_JPEG2K_32s_C1IR(Zel32s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                 Zel8u* pBuffer);
/** One level of a tile to four bands. */
ZELJ_API ZelStatus zeliWTFwd_D97_JPEG2K_16s_C1R(const Zel16s* pSrc, int srcStep, const ZeliRect* pTileRect,
                                                Zel16s* const pDst[4], const int dstStep[4], Zel8u* pBuffer);
/** One level of a tile to four bands. */
ZELJ_API ZelStatus zeliWTFwd_D97_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, const ZeliRect* pTileRect,
                                                Zel32s* const pDst[4], const int dstStep[4], Zel8u* pBuffer);
/** One level back from four bands. */
ZELJ_API ZelStatus zeliWTInv_D97_JPEG2K_16s_C1R(const Zel16s* const pSrc[4], const int srcStep[4], Zel16s* pDst,
                                                int dstStep, const ZeliRect* pTileRect, Zel8u* pBuffer);
/** One level back from four bands. */
ZELJ_API ZelStatus zeliWTInv_D97_JPEG2K_32s_C1R(const Zel32s* const pSrc[4], const int srcStep[4], Zel32s* pDst,
                                                int dstStep, const ZeliRect* pTileRect, Zel8u* pBuffer);
/** Bytes of pBuffer in place: a line of the longer side and eight samples, or 0 for a single sample. */
ZELJ_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize);
/** Bytes of pBuffer in place: a line of the longer side and eight samples, or 0 for a single sample. */
ZELJ_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize);
/** Bytes of pBuffer out of place: the same and a copy of the tile with rows of whole 32 bytes. */
ZELJ_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize);
/** Bytes of pBuffer out of place: the same and a copy of the tile with rows of whole 32 bytes. */
ZELJ_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize);
/** @} */

/** @defgroup jpeg2kencoder JPEG 2000 code-block encoder
 *  Tier-1 coding of one code-block of quantised wavelet coefficients (ISO/IEC 15444-1 Annexes C and D): coding passes,
 *  the MQ coder, and what a rate allocator needs of each pass. A load runs all passes and keeps their decisions; a
 * store turns them into bytes, in pieces of any size.
 *
 *  Samples are 32-bit words of sign and magnitude, not two's complement: bit 31 is the sign, bit 30 the top bit plane
 * of the sub-band. The lowest plane coded is bit `31 - magnBits`; bits below it are not coded but count in distortions.
 *  `subband` is 0 for LL, 1 for LH, 2 for HL and 3 for HH; others act like 0.
 *
 *  `styleFlags` is a sum of: 1 stripe-causal contexts; 2 bypass: the significance and refinement passes below the top
 *  four planes are raw; 4 terminate on each pass; 8 reset contexts behind each pass; 16 segmentation symbols; 32
 *  distortions of the lowest plane are exact, as in a reversible path. `termMode` is 1 for the shortest termination, 2
 *  for a predictable one; others flush.
 *
 *  For each block: zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R, zeliEncodeStoreBits_JPEG2K_1u until nothing is left, once;
 *  then rates and lengths are final. Distortions are known behind the load. A state belongs to one thread at a time.
 *  @{ */

/** Holds a block and where its coding stands. */
typedef struct ZeliEncodeState_JPEG2K ZeliEncodeState_JPEG2K;

/** Makes a state for blocks up to codeBlockMaxSize, and for others that take no more pieces of 16 columns by 4 rows.
 *  Checks: ppState null (-8), width or height below 1 (-6); -9 with `*ppState` null: no memory. */
ZELJ_API ZelStatus zeliEncodeInitAlloc_JPEG2K(ZeliEncodeState_JPEG2K** ppState, ZeliSize codeBlockMaxSize);
/** Releases what zeliEncodeInitAlloc_JPEG2K made. Checks: pState null (-8). */
ZELJ_API ZelStatus zeliEncodeFree_JPEG2K(ZeliEncodeState_JPEG2K* pState);
/** Loads a block and runs its coding passes. `*pSfBits` is the position of the highest bit of any magnitude plus one, 0
 *  for an empty block; `*pNOfPasses` the number of passes; `*pNOfTermPasses` the number of codeword segments: with
 * style 4 the number of passes, else one more than the changes between raw and arithmetic-coded passes, and 1 for a
 * block without passes. The argument between termMode and styleFlags is not read.
 *
 *  Checks: pState null (-8), no state (-17), pSfBits, pNOfPasses, pNOfTermPasses null (-8), height or width below 1
 *  (-6), pSrc null (-8), srcStep below 1 (-14); a block for which the state has no memory (-6). */
ZELJ_API ZelStatus zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, ZeliSize codeBlockSize,
                                                          ZeliEncodeState_JPEG2K* pState, int subband, int magnBits,
                                                          int termMode, int reserved, int styleFlags, int* pSfBits,
                                                          int* pNOfPasses, int* pNOfTermPasses);
/** Writes the next bytes of the block: at most `*pDstLen`, which becomes their number. `*pIsNotFinish` is not 0 while
 *  more are to come. Checks: pState null (-8), no state (-17), pDst, pDstLen, pIsNotFinish null (-8), `*pDstLen` below
 * 1
 *  (-6). */
ZELJ_API ZelStatus zeliEncodeStoreBits_JPEG2K_1u(Zel8u* pDst, int* pDstLen, ZeliEncodeState_JPEG2K* pState,
                                                 int* pIsNotFinish);
/** How many bytes of the block a decoder needs for the passes up to passNumber, from 0: exact where the coder was
 *  terminated behind the pass, and elsewhere no less than needed. A stream cut there does not end in 0xFF. Rates do not
 *  fall from pass to pass. Checks: pState null (-8), no state (-17), pRate null (-8), no such pass (-113). */
ZELJ_API ZelStatus zeliEncodeGetRate_JPEG2K(ZeliEncodeState_JPEG2K* pState, int passNumber, int* pRate);
/** By how much the squared error falls with the passes up to passNumber, in squares of the step of the lowest coded
 *  plane. Exact sums need a distance of at most 21 between the top plane and the lowest. Checks as
 *  zeliEncodeGetRate_JPEG2K. */
ZELJ_API ZelStatus zeliEncodeGetDist_JPEG2K(ZeliEncodeState_JPEG2K* pState, int passNumber, double* pDist);
/** Bytes of a codeword segment, from 0. Checks as zeliEncodeGetRate_JPEG2K, for segments (-113). */
ZELJ_API ZelStatus zeliEncodeGetTermPassLen_JPEG2K(ZeliEncodeState_JPEG2K* pState, int termPassNumber, int* pLength);
/** @} */

/** @defgroup jpeg2kdecoder JPEG 2000 code-block decoder
 *  The way back (ISO/IEC 15444-1 Annexes C and D), to samples in the encoder's format, plane for plane. A whole block
 *  is decoded by one call of zeliDecodeCodeBlock_JPEG2K_1u32s_C1R, or step by step: attach a block, set the number of
 *  passes that may be decoded, then hand in one codeword segment at a time.
 *
 *  A sample that is known down to plane p has the bit below p set, too: the middle of what it may be. `sfBits` is
 *  what the encoder told. `styleFlags` has the encoder's flags 1, 2, 4, 8 and 16, and
 *  0x10000: after a failure zeliDecodeCodeBlock_JPEG2K_1u32s_C1R cuts samples back to the plane that it stopped at;
 *  0x20000: attaching leaves the destination as it is, else it is cleared; 0x40000:
 *  zeliDecodeCodeBlock_JPEG2K_1u32s_C1R leaves the middle bits in, else all bits below the current plane are cleared;
 *  0x80000: attaching leaves what is known of the samples, to go on from an earlier attach of that size; 0x100000: the
 *  segments were terminated predictably, which is verified.
 *
 *  Beyond a segment's length bytes read as 0xFF, so a short segment is no failure in itself. Failures (-112) are wrong
 *  segmentation symbols, wrong predictable terminations, and raw segments that do not end in their padding of zeros and
 *  ones. A failing step has decoded its passes. A state belongs to one thread at a time.
 *  @{ */

/** Holds where the decoding of a block stands. */
typedef struct ZeliDecodeCBProgrState_JPEG2K ZeliDecodeCBProgrState_JPEG2K;

/** Bytes of a state for blocks up to codeBlockMaxSize, w by h:
 *  `((4w + 8 + 31) & ~31) * ((h + 1) / 2 + 2) + 472`. Checks: width or height below 1 (-6), pStateSize null (-8). */
ZELJ_API ZelStatus zeliDecodeCBProgrGetStateSize_JPEG2K(ZeliSize codeBlockMaxSize, int* pStateSize);
/** The same, for zeliDecodeCodeBlock_JPEG2K_1u32s_C1R. */
ZELJ_API ZelStatus zeliDecodeGetBufSize_JPEG2K(ZeliSize codeBlockMaxSize, int* pSize);
/** Makes a state in the caller's memory; no block is attached. Checks: pState null (-8). */
ZELJ_API ZelStatus zeliDecodeCBProgrInit_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState);
/** Makes a state. Checks: ppState null (-8), width or height below 1 (-6); -9 with `*ppState` null: no memory. */
ZELJ_API ZelStatus zeliDecodeCBProgrInitAlloc_JPEG2K(ZeliDecodeCBProgrState_JPEG2K** ppState,
                                                     ZeliSize codeBlockMaxSize);
/** Releases what zeliDecodeCBProgrInitAlloc_JPEG2K made. Checks: pState null (-8), no state (-17). */
ZELJ_API ZelStatus zeliDecodeCBProgrFree_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState);
/** Attaches a block: its samples go to pDst, which must last as long as steps are taken. The current plane is
 *  `sfBits - 1` and no passes are left. Checks: pState null (-8), no state (-17), pDst null (-8), dstStep below 1
 * (-14), height or width below 1 (-6). */
ZELJ_API ZelStatus zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(Zel32s* pDst, int dstStep, ZeliSize codeBlockSize,
                                                          ZeliDecodeCBProgrState_JPEG2K* pState, int subband,
                                                          int sfBits, int styleFlags);
/** Sets how many passes may be decoded yet. Checks: pState null (-8), no state (-17). */
ZELJ_API ZelStatus zeliDecodeCBProgrSetPassCounter_JPEG2K(int nOfPasses, ZeliDecodeCBProgrState_JPEG2K* pState);
/** How many passes may be decoded yet. Checks: pState, pNOfPasses null (-8), no state (-17). */
ZELJ_API ZelStatus zeliDecodeCBProgrGetPassCounter_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState, int* pNOfPasses);
/** The bit plane at which decoding stands; below 0 behind the last. Checks: pState null (-8), no state (-17), pBitPlane
 *  null (-8). */
ZELJ_API ZelStatus zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState, int* pBitPlane);
/** Decodes one codeword segment: with style 4 one pass, else all passes up to the next termination, as far as passes
 *  are left. Does nothing where none are, or no planes. Checks: pSrc, pState null (-8), no state (-17), nothing
 * attached
 *  (-180). While decoding: -112. */
ZELJ_API ZelStatus zeliDecodeCBProgrStep_JPEG2K(const Zel8u* pSrc, int srcLen, ZeliDecodeCBProgrState_JPEG2K* pState);
/** Decodes a block from nOfTermPasses codeword segments of pTermPassLen bytes each, one behind the other, up to the
 *  first failure. pErrorBitPlane, which may be null, gets the current plane on failure. The state needs no Init: its
 *  memory is made new.
 *
 *  Checks: pSrc, pState null (-8), height or width below 1 (-6), pTermPassLen, pDst null (-8), dstStep below 1 (-14).
 *  While decoding: -112. */
ZELJ_API ZelStatus zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(const Zel8u* pSrc, Zel32s* pDst, int dstStep,
                                                        ZeliSize codeBlockSize, int subband, int sfBits, int nOfPasses,
                                                        const int* pTermPassLen, int nOfTermPasses, int styleFlags,
                                                        int* pErrorBitPlane, ZeliDecodeCBProgrState_JPEG2K* pState);
/** @} */

/** @defgroup jpegxrpct JPEG XR photo core transform
 *  The reversible 4x4 transform of ITU-T T.832 9.9, in place on every 4x4 block of a plane; one stage of it. A block's
 * DC is left at its top left, the AC coefficients where the transform leaves them. Whole numbers wrap in the width of
 * the sample, and the inverse restores every block whose forward steps did not wrap. Floats go through the same steps
 *  without rounding.
 *
 *  Steps are in bytes and compared as unsigned numbers. Checks: pSrcDst null (-8); of a plane: width or height below 1
 *  (-6), a step below a row (-14), width or height no multiple of 4 (-6); of a fixed size: a step below a row (-14).
 *  @{ */

/** Forward, 32-bit, a plane. */
ZELJ_API ZelStatus zeliPCTFwd_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize);
/** Forward, 32-bit, 16 x 16 samples. */
ZELJ_API ZelStatus zeliPCTFwd16x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Forward, 32-bit, 8 x 16 samples. */
ZELJ_API ZelStatus zeliPCTFwd8x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Forward, 32-bit, 8 x 8 samples. */
ZELJ_API ZelStatus zeliPCTFwd8x8_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Forward, 32-bit, a plane; another name of the `_JPEGXR_` export. */
ZELJ_API ZelStatus zeliPCTFwd_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize);
/** Forward, 32-bit, 16 x 16 samples; another name of the `_JPEGXR_` export. */
ZELJ_API ZelStatus zeliPCTFwd16x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Forward, 32-bit, 8 x 16 samples; another name of the `_JPEGXR_` export. */
ZELJ_API ZelStatus zeliPCTFwd8x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Forward, 32-bit, 8 x 8 samples; another name of the `_JPEGXR_` export. */
ZELJ_API ZelStatus zeliPCTFwd8x8_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Forward, 16-bit, a plane. */
ZELJ_API ZelStatus zeliPCTFwd_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize);
/** Forward, 16-bit, 16 x 16 samples. */
ZELJ_API ZelStatus zeliPCTFwd16x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep);
/** Forward, 16-bit, 8 x 16 samples. */
ZELJ_API ZelStatus zeliPCTFwd8x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep);
/** Forward, 16-bit, 8 x 8 samples. */
ZELJ_API ZelStatus zeliPCTFwd8x8_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep);
/** Forward, floating-point, a plane. */
ZELJ_API ZelStatus zeliPCTFwd_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize);
/** Forward, floating-point, 16 x 16 samples. */
ZELJ_API ZelStatus zeliPCTFwd16x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep);
/** Forward, floating-point, 8 x 16 samples. */
ZELJ_API ZelStatus zeliPCTFwd8x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep);
/** Forward, floating-point, 8 x 8 samples. */
ZELJ_API ZelStatus zeliPCTFwd8x8_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep);
/** Inverse, 32-bit, a plane. */
ZELJ_API ZelStatus zeliPCTInv_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize);
/** Inverse, 32-bit, 16 x 16 samples. */
ZELJ_API ZelStatus zeliPCTInv16x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Inverse, 32-bit, 8 x 16 samples. */
ZELJ_API ZelStatus zeliPCTInv8x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Inverse, 32-bit, 8 x 8 samples. */
ZELJ_API ZelStatus zeliPCTInv8x8_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Inverse, 32-bit, a plane; another name of the `_JPEGXR_` export. */
ZELJ_API ZelStatus zeliPCTInv_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize);
/** Inverse, 32-bit, 16 x 16 samples; another name of the `_JPEGXR_` export. */
ZELJ_API ZelStatus zeliPCTInv16x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Inverse, 32-bit, 8 x 16 samples; another name of the `_JPEGXR_` export. */
ZELJ_API ZelStatus zeliPCTInv8x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Inverse, 32-bit, 8 x 8 samples; another name of the `_JPEGXR_` export. */
ZELJ_API ZelStatus zeliPCTInv8x8_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep);
/** Inverse, 16-bit, a plane. */
ZELJ_API ZelStatus zeliPCTInv_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize);
/** Inverse, 16-bit, 16 x 16 samples. */
ZELJ_API ZelStatus zeliPCTInv16x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep);
/** Inverse, 16-bit, 8 x 16 samples. */
ZELJ_API ZelStatus zeliPCTInv8x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep);
/** Inverse, 16-bit, 8 x 8 samples. */
ZELJ_API ZelStatus zeliPCTInv8x8_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep);
/** Inverse, floating-point, a plane. */
ZELJ_API ZelStatus zeliPCTInv_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize);
/** Inverse, floating-point, 16 x 16 samples. */
ZELJ_API ZelStatus zeliPCTInv16x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep);
/** Inverse, floating-point, 8 x 16 samples. */
ZELJ_API ZelStatus zeliPCTInv8x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep);
/** Inverse, floating-point, 8 x 8 samples. */
ZELJ_API ZelStatus zeliPCTInv8x8_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep);
/** @} */

/** @defgroup jpegxrvlc JPEG XR adaptive state
 *  The record that run/level coding of a tile adapts (ITU-T T.832): 21 alphabets, each with the table of codes in force
 *  and the scores that decide its exchange, and three scan orders. It lies in caller memory of 2208 bytes, aligned to
 * 8, and belongs to one thread at a time.
 *
 *  A codec calls zeliVLCInit_JPEGXR once and zeliVLCScanReset_JPEGXR for each order, then codes blocks; before a block
 * of another kind it sets the scan, and where the standard says so it adapts the alphabets and restarts the counts.
 *
 *  | Slots | Symbols | Use |
 *  |---|---|---|
 *  | 0 | 5 | runs; always its first table |
 *  | 1, 2, 3, 4 | 4, 8, 7, 7 | in no export's use: never adapted, their pointers are left alone |
 *  | 5, 8 | 12 | first symbol of a low-pass block: luma, chroma |
 *  | 6, 7; 9, 10 | 6 | further symbols of a low-pass block |
 *  | 11, 12 | 7 | magnitudes in low-pass blocks |
 *  | 13, 16 | 12 | first symbol of a high-pass block: luma, chroma |
 *  | 14, 15; 17, 18 | 6 | further symbols of a high-pass block |
 *  | 19, 20 | 7 | magnitudes in high-pass blocks |
 *
 *  Fields, by offset: the scan in force 0 (a pointer); by slot, pointers to codes 8, increments 176 and 344, look-up
 *  tables 512 and 680; by slot, five integers 848 (number of symbols, table, whether adapted before, upper and lower
 *  bound); the discriminants 1268 and 1352; the scan tables 2 at 1436, 1 at 1692, 0 at 1948, of 16 entries (count,
 *  index, x, y).
 *  @{ */

typedef struct ZeliVLCState_JPEGXR ZeliVLCState_JPEGXR; /**< adaptive state of a tile, 2208 bytes */

/** `*pSize` = 2208. Checks: pSize null (-8). */
ZELJ_API ZelStatus zeliVLCGetStateSize_JPEGXR(Zel32u* pSize);
/** Every alphabet as after its first adaptation, the three scan orders of the standard, and the low-pass scan in force.
 *  The counts of the scans are left as they are: reset each scan before the first block. Checks: pState null (-8). */
ZELJ_API ZelStatus zeliVLCInit_JPEGXR(ZeliVLCState_JPEGXR* pState);
/** Adapts the slots 0 and 5 to 12 (which = 0) or 13 to 20 (which = 1): a score below -8 moves to the next lower table,
 *  one above 8 to the next higher. Checks: pState null (-8), another `which` (-7). */
ZELJ_API ZelStatus zeliVLCAdapt_JPEGXR(ZeliVLCState_JPEGXR* pState, Zel32s which);
/** Gives a scan's counts their start values, 32767 and then 32, 30 and so on to 4. The order stays as it is. Checks:
 *  pState null (-8), `which` not 0, 1 or 2 (-7). */
ZELJ_API ZelStatus zeliVLCScanReset_JPEGXR(ZeliVLCState_JPEGXR* pState, Zel32s which);
/** Puts a scan in force: 2 low-pass, 1 high-pass, 0 high-pass of blocks predicted from above. Checks: pState null (-8),
 *  another `which` (-7). */
ZELJ_API ZelStatus zeliVLCScanSet_JPEGXR(ZeliVLCState_JPEGXR* pState, Zel32s which);
/** Puts scan 2 in force and scans a low-pass block with it: 16 values in `index` order, of which the first (the DC)
 * plays no part. With m = modelBits, a value of a magnitude of at least 2^m makes a pair of run and level (the
 * magnitude >> m, with the value's sign) in pRunLevel; its place is counted and changes places with the one in front
 * when it overtakes it. `*pNumNonzero` is the number of pairs.
 *
 *  `pResidual[index]` tells the rest of each value, given m above 0: twice the low m bits of the magnitude where there
 * is a pair; else four times the magnitude, 1 more if it is not 0, 2 more if the value is negative. With m = 0 nothing
 * is stored.
 *
 *  Checks: a null pointer (-8), modelBits above 15 (-7). */
ZELJ_API ZelStatus zeliVLCScan4x4DC_JPEGXR_32s(const Zel32s* pSrc, Zel32u modelBits, Zel32u* pResidual,
                                               Zel32s* pRunLevel, Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState);
/** @} */

/** @defgroup jpegxrblocks JPEG XR block coding
 *  Blocks to and from run/level symbols through the alphabets of the state record, and to and from the fixed-length
 * codes behind them (the flexbits of ITU-T T.832). A block is 4 rows of 4 samples, a step in bytes apart; sample (0,
 * 0), the DC, is neither coded nor written.
 *
 *  The stream is three cells of the caller's: the next byte, up to 32 bits at the top of a word, and their number. Bits
 *  go most significant first, bytes two at a time. A writer leaves at most 16 bits in the word and a reader at least
 * 16; neither knows an end: the caller sees to room, and flushes the last bits. `chroma` is 0 for luma and 1 for
 * chroma.
 *  `*pNumNonzero` is the number of pairs. An encoder and its decoder leave the same state behind.
 *
 *  A damaged stream gives some values, and none outside the block.
 *
 *  Checks: a null pointer, or `*ppBitStream` null (-8); `*pNumBits` above 32, modelBits, trim or bits above 15, or too
 *  many pairs (-7).
 *  @{ */

/** Codes the coefficients of a magnitude of at least 2^modelBits, less their low bits, in the order of the scan in
 * force, and counts their places as zeliVLCScan4x4DC_JPEGXR_32s does. Writes no bit if there are none. */
ZELJ_API ZelStatus zeliVLCEncode4x4_JPEGXR_16s1u_C1R(const Zel16s* pSrc, Zel32u srcStep, Zel32u chroma,
                                                     Zel32u modelBits, Zel8u** ppBitStream, Zel32u* pBitBuf,
                                                     Zel32u* pNumBits, Zel32u* pNumNonzero,
                                                     ZeliVLCState_JPEGXR* pState);
/** The same of 32-bit samples. */
ZELJ_API ZelStatus zeliVLCEncode4x4_JPEGXR_32s1u_C1R(const Zel32s* pSrc, Zel32u srcStep, Zel32u chroma,
                                                     Zel32u modelBits, Zel8u** ppBitStream, Zel32u* pBitBuf,
                                                     Zel32u* pNumBits, Zel32u* pNumNonzero,
                                                     ZeliVLCState_JPEGXR* pState);
/** zeliVLCEncode4x4_JPEGXR_16s1u_C1R, and `pResidual[index]` for each coefficient but the DC: twice the low modelBits
 *  bits of the magnitude, less the lowest `trim`, where there is a pair; else, of the value without its lowest trim
 * bits, four times the magnitude, 1 more if it is not 0, 2 more if it is negative. */
ZELJ_API ZelStatus zeliVLCEncode4x4Flex_JPEGXR_16s1u_C1R(const Zel16s* pSrc, Zel32u srcStep, Zel32u chroma,
                                                         Zel32u modelBits, Zel32u trim, Zel32u* pResidual,
                                                         Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits,
                                                         Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState);
/** The same of 32-bit samples. */
ZELJ_API ZelStatus zeliVLCEncode4x4Flex_JPEGXR_32s1u_C1R(const Zel32s* pSrc, Zel32u srcStep, Zel32u chroma,
                                                         Zel32u modelBits, Zel32u trim, Zel32u* pResidual,
                                                         Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits,
                                                         Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState);
/** Clears the block but for its DC, and stores level times multiplier for each pair; counts places as the encoder. */
ZELJ_API ZelStatus zeliVLCDecode4x4_JPEGXR_1u16s_C1R(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits,
                                                     Zel32u multiplier, Zel16s* pDst, Zel32u dstStep, Zel32s chroma,
                                                     Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState);
/** The same of 32-bit samples. */
ZELJ_API ZelStatus zeliVLCDecode4x4_JPEGXR_1u32s_C1R(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits,
                                                     Zel32u multiplier, Zel32s* pDst, Zel32u dstStep, Zel32s chroma,
                                                     Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState);
/** Codes the pairs of a low-pass block as zeliVLCScan4x4DC_JPEGXR_32s gives them, 1 to 16. */
ZELJ_API ZelStatus zeliVLCEncodeDC444_JPEGXR_32s1u(const Zel32s* pRunLevel, Zel32s count, Zel32u chroma,
                                                   Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits,
                                                   ZeliVLCState_JPEGXR* pState);
/** The same for the interleaved chroma of a 4:2:2 macroblock: 1 to 14 pairs on 14 places. */
ZELJ_API ZelStatus zeliVLCEncodeDC422_JPEGXR_32s1u(const Zel32s* pRunLevel, Zel32u count, Zel8u** ppBitStream,
                                                   Zel32u* pBitBuf, Zel32u* pNumBits, ZeliVLCState_JPEGXR* pState);
/** The same for the interleaved chroma of a 4:2:0 macroblock: 1 to 6 pairs on 6 places. */
ZELJ_API ZelStatus zeliVLCEncodeDC420_JPEGXR_32s1u(const Zel32s* pRunLevel, Zel32u count, Zel8u** ppBitStream,
                                                   Zel32u* pBitBuf, Zel32u* pNumBits, ZeliVLCState_JPEGXR* pState);
/** Stores the levels of a low-pass block at `pDst[index]` by the scan in force, whose places it counts. Values without
 * a pair are left as they are: clear the 16 of them. */
ZELJ_API ZelStatus zeliVLCDecodeDC444_JPEGXR_1u32s(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32s* pDst,
                                                   Zel32u chroma, Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState);
/** The same for the interleaved chroma of a 4:2:2 macroblock. */
ZELJ_API ZelStatus zeliVLCDecodeDC422_JPEGXR_1u32s(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32s* pDst,
                                                   Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState);
/** The same for the interleaved chroma of a 4:2:0 macroblock. */
ZELJ_API ZelStatus zeliVLCDecodeDC420_JPEGXR_1u32s(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32s* pDst,
                                                   Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState);
/** Writes a field for each of the 15 coefficients, in the fixed order of the standard. With bUseResidual: r =
 *  `pResidual[index]`, r >> 1 in bits + (r & 1) bits. Without: a = magnitude >> trim, its low bits, and behind them a
 * sign bit (1: negative) if a is not 0. Both pointers are tested in any case. */
ZELJ_API ZelStatus zeliFLCEncode4x4_JPEGXR_16s1u_C1R(const Zel16s* pSrc, Zel32u srcStep, const Zel32u* pResidual,
                                                     Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits,
                                                     Zel32u bits, Zel32u trim, Zel32s bUseResidual);
/** The same of 32-bit samples. */
ZELJ_API ZelStatus zeliFLCEncode4x4_JPEGXR_32s1u_C1R(const Zel32s* pSrc, Zel32u srcStep, const Zel32u* pResidual,
                                                     Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits,
                                                     Zel32u bits, Zel32u trim, Zel32s bUseResidual);
/** Adds the fields to a block's coefficients. With bRefine, a field times multiplier moves a coefficient away from
 * zero, or makes it if it is 0; only then a sign bit follows a field that is not 0. Without, a field that is not 0 has
 * a sign bit and replaces the coefficient. */
ZELJ_API ZelStatus zeliFLCDecode4x4_JPEGXR_1u16s_C1IR(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits,
                                                      Zel16s* pSrcDst, Zel32u srcDstStep, Zel32u bits,
                                                      Zel16s multiplier, Zel32s bRefine);
/** The same of 32-bit samples. */
ZELJ_API ZelStatus zeliFLCDecode4x4_JPEGXR_1u32s_C1IR(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits,
                                                      Zel32s* pSrcDst, Zel32u srcDstStep, Zel32u bits,
                                                      Zel16s multiplier, Zel32s bRefine);
/** @} */

/** @defgroup tiff TIFF rows
 *  PackBits (TIFF 6.0 section 9) and rows of 16-bit samples as two rows of bytes. A call handles one row.
 *
 *  A packet is a header byte n and what it is followed by: n of 0 to 127 are n + 1 bytes as they are, n of -127 to -1 a
 *  byte that stands for 1 - n of it; -128 stands for nothing.
 *  @{ */

/** Packs a row, writing from `pDst[*pDstCurrPos]` on; dstLenBytes is the length of the whole buffer. The stream is
 *  determined: two equal bytes where a packet begins are a run, of up to 128 bytes; otherwise a literal goes on to the
 *  next three equal bytes, to 128 bytes, or to the end of the row. At most `srcLenBytes + (srcLenBytes + 127) / 128`
 *  bytes are written.
 *
 *  Checks: pSrc, pDstCurrPos, pDst null (-8); srcLenBytes, dstLenBytes below 1 (-6). -124: the destination is full;
 *  `*pDstCurrPos` is then behind the last whole packet, and bytes behind it may have been written. */
ZELJ_API ZelStatus zeliPackBitsRow_TIFF_8u_C1(const Zel8u* pSrc, Zel32s srcLenBytes, Zel8u* pDst, Zel32s* pDstCurrPos,
                                              Zel32s dstLenBytes);
/** Unpacks a row of dstLenBytes bytes, reading from `pSrc[*pSrcCurrPos]` on; srcLenBytes is the length of the whole
 *  buffer. A run whose header is the last byte of the source takes its byte from just behind it.
 *
 *  Checks: pSrc, pSrcCurrPos, pDst null (-8); srcLenBytes, dstLenBytes below 1 (-6). -124: the source ended before the
 *  row did, or a packet goes on beyond the source or beyond the row; `*pSrcCurrPos` is then where the next packet would
 *  begin, or behind the header of the one refused, and the rest of the destination may have been written. */
ZELJ_API ZelStatus zeliUnpackBitsRow_TIFF_8u_C1(const Zel8u* pSrc, Zel32s* pSrcCurrPos, Zel32s srcLenBytes, Zel8u* pDst,
                                                Zel32s dstLenBytes);
/** `pDst[0]` takes the high bytes of len samples, `pDst[1]` the low ones. Checks: pSrc, pDst null (-8); len below 1
 *  (-14). */
ZELJ_API ZelStatus zeliSplitRow_TIFF_16u8u_C1(const Zel16u* pSrc, Zel8u* pDst[2], Zel32s len);
/** Undoes zeliSplitRow_TIFF_16u8u_C1. Checks: pSrc, pDst null (-8); len below 1 (-14). */
ZELJ_API ZelStatus zeliJoinRow_TIFF_8u16u_C1(Zel8u* pSrc[2], Zel16u* pDst, Zel32s len);
/** @} */

/** @defgroup textures Block textures
 *  Whole images to and from dense streams of 4x4 blocks of the public formats: DXT1, DXT3, DXT5 (BC1, BC2, BC3), BC4
 * and BC5 (unsigned), BC6 and BC7.
 *
 *  A stream has no row step: blocks of 8 bytes (DXT1, BC4) or 16 (the others) lie in raster order, `(width + 3) / 4` in
 *  a row of blocks and `(height + 3) / 4` rows, all of which the caller must provide. Sizes are those of the image in
 *  pixels. Decoders store the pixels inside the image alone; encoders complete blocks at the edges with copies of the
 *  last column and row. A step may be negative: the image is then upside down.
 *
 *  Checks of the exports for whole images: null pointers (-8), a step of 0 (-14), width, then height below 1 (-6).
 *  @{ */

/** DXT1 to R, G, B, A. 5-6-5 end points are widened by repeating their upper bits, interpolated colours rounded down.
 *  Where the first end point is not greater than the second, index 3 is opaque white; alpha is always 255. */
ZELJ_API ZelStatus zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(const Zel8u* pSrc, Zel8u* pDst, int dstStep,
                                                              ZeliSize dstRoiSize);
/** DXT3 to R, G, B, A: four colours whatever the order of the end points; alpha is 16 times the 4-bit value. */
ZELJ_API ZelStatus zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(const Zel8u* pSrc, Zel8u* pDst, int dstStep,
                                                              ZeliSize dstRoiSize);
/** DXT5 to R, G, B, A: four colours whatever the order of the end points; alpha interpolated in sevenths, or in fifths
 *  with 0 and 255 where the first end point is not greater than the second, and rounded. */
ZELJ_API ZelStatus zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(const Zel8u* pSrc, Zel8u* pDst, int dstStep,
                                                              ZeliSize dstRoiSize);
/** BC4 to one byte a pixel, as alpha in DXT5. */
ZELJ_API ZelStatus zeliTextureDecodeBlock_BC4_8u_C1R(const Zel8u* pSrc, Zel8u* pDst, int dstStep, ZeliSize dstRoiSize);
/** BC5 to R, G: the first half of a block is R, the second G, each as BC4. */
ZELJ_API ZelStatus zeliTextureDecodeBlockToRG_BC5_8u_C1C2R(const Zel8u* pSrc, Zel8u* pDst, int dstStep,
                                                           ZeliSize dstRoiSize);
/** BC7 blocks of 16 bytes to R, G, B, A. Modes without alpha give 255. Pixels of a reserved block (first byte 0) are 0;
 *  nothing reports it. */
ZELJ_API ZelStatus zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(const Zel8u* pSrc, Zel8u* pDst, int dstStep,
                                                             ZeliSize dstRoiSize);

/** BC6 of the signed form to half floats R, G, B: a sign bit and 15 bits of magnitude in each sample. Negative zeros
 *  come out as 0; blocks of a reserved mode as zeros.
 *
 *  Blocks that reach over the right or the lower edge do not give the pixels of a whole block: the four rows of 24 bytes
 *  are laid 16 bytes apart, each over the end of the one before, and row r of the image takes its bytes from the place
 *  6 n r + 8 r on for n < 4 columns, else from 32 r. Images whose sides are multiples of 4 are free of this. */
ZELJ_API ZelStatus zeliTextureDecodeBlockToRGB_BC6_16s_C1C3R(const Zel8u* pSrc, Zel16s* pDst, int dstStep,
                                                             ZeliSize dstRoiSize);
/** The same for the unsigned form: half floats up to 0x7BFF. The sum of an end point and a difference that is below 0
 *  is kept as a negative number, so that the low 16 bits of what it leads to are the samples. */
ZELJ_API ZelStatus zeliTextureDecodeBlockToRGB_BC6_16u_C1C3R(const Zel8u* pSrc, Zel16u* pDst, int dstStep,
                                                             ZeliSize dstRoiSize);

/** R, G, B, A to DXT1 in one pass: the end points are the corners of the block's bounding box, moved inside by a
 *  sixteenth of its sides; each pixel takes the nearest of the four colours by the sum of absolute differences. Alpha
 *  plays no part. */
ZELJ_API ZelStatus zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize,
                                                                Zel8u* pDst);
/** The same to DXT3, with the upper four bits of alpha. */
ZELJ_API ZelStatus zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize,
                                                                Zel8u* pDst);
/** The same to DXT5, with the range of alpha moved inside by a sixteenth and split into eight values. */
ZELJ_API ZelStatus zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize,
                                                                Zel8u* pDst);
/** Y, Co, Cg (chroma around 128) to DXT5: Y as alpha, from its least to its greatest value; Co and Cg as red and green,
 *  magnified around 128 by 1, 2 or 4 as the block allows, the factor less 1 in the blue field. The diagonal of the
 *  chroma box follows the sign of its correlation. */
ZELJ_API ZelStatus zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize,
                                                                 Zel8u* pDst);
/** One byte a pixel to BC4: the range moved inside by a sixteenth at either end and split into eight values. */
ZELJ_API ZelStatus zeliTextureEncodeBlock_BC4_8u_C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst);
/** R, G to BC5: two BC4 halves, R first. */
ZELJ_API ZelStatus zeliTextureEncodeBlockFromRG_BC5_8u_C2C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize,
                                                             Zel8u* pDst);

/** One block of 4x4 pixels R, G, B, A to one BC7 block of 16 bytes in one mode, 0 to 7, and its squared error, summed
 *  over the pixels and channels. Who wants the best block calls this for each mode and keeps the one with the least error.
 *  Every partition gets a rough fit, the best quarter of them is refined, and the block with the least error remains; an
 *  error of 0 ends the search. In modes 0 to 3, which hold no alpha, the error counts alpha as 255. Lowest bits that end
 *  points share are settled by vote when the block is written, and the error is that before the vote.
 *
 *  Checks: pSrc, pDst, pError null (-8); srcStep 0 (-14); mode above 7 (-9999). */
ZELJ_API ZelStatus zeliTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(const Zel8u* pSrc, int srcStep, Zel8u* pDst,
                                                                  Zel32u* pError, Zel32u mode);
/** @} */

/** @defgroup entrytable Entry table
 *  One slot for each `zeli` export, in alphabetical order of the names (capitals before the underscore before small
 *  letters): the address of the implementation. Constant; an export is a jump through its slot.
 *  @{ */
#define ZELJ_ENTRY_COUNT 307 /**< slots of the entry table: the exports but zeljGetLibVersion */
/** The slots. */
ZELJ_API extern void (*const zeljEntryTable[ZELJ_ENTRY_COUNT])(void);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
