/* A baseline JPEG encoder in a hundred lines, on the library alone: grey_encoder QUALITY < in.pgm > out.jpg */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zelj.h"

static const unsigned char kSteps[64] = {/* ITU T.81 table K.1, in zig-zag order */
                                         16, 11, 12,  14,  12,  10, 16, 14,  13,  14,  18,  17,  16, 19,  24,  40,
                                         26, 24, 22,  22,  24,  49, 35, 37,  29,  40,  58,  51,  61, 60,  57,  51,
                                         56, 55, 64,  72,  92,  78, 64, 68,  87,  69,  55,  56,  80, 109, 81,  87,
                                         95, 98, 103, 104, 103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99};
static const unsigned char kDcBits[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1}; /* table K.3 */
static const unsigned char kDcValues[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
/* A table for the AC terms that is good enough: 6 bits for the most frequent symbols, 9 for the others. */
static unsigned char acBits[16], acValues[162];

static void makeAcTable(void) {
  int count = 0, run, size;
  acBits[5] = 44;  /* of 64 codes of 6 bits; the other 20 begin 160 codes of 9 bits, */
  acBits[8] = 118; /* of which these are used, never the one of ones only */
  for (size = 1; size <= 10; ++size) {
    for (run = 0; run < 16; ++run) acValues[count++] = (unsigned char)(run << 4 | size);
    if (size == 2) acValues[count++] = 0x00; /* the end of the block */
    if (size == 3) acValues[count++] = 0xF0; /* a run of 16 */
  }
}

static void segment(int marker, const void* begin, size_t length) {
  const size_t whole = length + 2;
  printf("\xFF%c%c%c", marker, (int)(whole >> 8), (int)(whole & 255));
  fwrite(begin, 1, length, stdout);
}

int main(int argc, char** argv) {
  int width, height, x, y;
  if (argc != 2 || scanf("P5 %d %d 255", &width, &height) != 2 || getchar() < 0 || width < 1 || height < 1) return 2;
  /* Rows of whole blocks; outside the picture its last column and row go on. */
  const int wide = (width + 7) / 8 * 8, high = (height + 7) / 8 * 8;
  Zel8u* const pixels = malloc((size_t)wide * (size_t)high);
  const size_t room = (size_t)wide * (size_t)high * 8 + 64; /* no block takes more than 512 bytes */
  Zel8u* const coded = malloc(room);
  if (!pixels || !coded || room > 0x7fffffff) return 1;
  for (y = 0; y < high; ++y) {
    Zel8u* const row = pixels + (size_t)y * (size_t)wide;
    if (y >= height)
      memcpy(row, row - wide, (size_t)wide);
    else if (fread(row, 1, (size_t)width, stdin) != (size_t)width)
      return 1;
    for (x = width; x < wide; ++x) row[x] = row[width - 1];
  }

  /* Tables: of the quantiser for this quality and its reciprocals, of the Huffman codes. */
  Zel8u raw[65] = {0};
  Zel16u forward[64];
  memcpy(raw + 1, kSteps, 64);
  zeliQuantFwdRawTableInit_JPEG_8u(raw + 1, atoi(argv[1]));
  zeliQuantFwdTableInit_JPEG_8u16u(raw + 1, forward);
  makeAcTable();
  ZeliEncodeHuffmanSpec *dc = NULL, *ac = NULL;
  ZeliEncodeHuffmanState* state = NULL;
  if (zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(kDcBits, kDcValues, &dc) < 0 ||
      zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(acBits, acValues, &ac) < 0 ||
      zeliEncodeHuffmanStateInitAlloc_JPEG_8u(&state) < 0)
    return 1;

  /* Every block: transform and quantisation, then its codes. */
  Zel32s position = 0;
  Zel16s lastDc = 0, block[64];
  ZelStatus status = zelStatusOk;
  for (y = 0; y < high; y += 8)
    for (x = 0; x < wide && status >= 0; x += 8) {
      zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(pixels + (size_t)y * (size_t)wide + x, wide, block, forward);
      status = zeliEncodeHuffman8x8_JPEG_16s1u_C1(block, coded, (Zel32s)room, &position, &lastDc, dc, ac, state, 0);
    }
  if (status >= 0)
    status = zeliEncodeHuffman8x8_JPEG_16s1u_C1(NULL, coded, (Zel32s)room, &position, NULL, NULL, NULL, state, 1);

  /* The file: the quantiser's table, the frame, the Huffman tables, the scan. */
  unsigned char dht[1 + 16 + 162];
  const unsigned char frame[9] = {8,
                                  (unsigned char)(height >> 8),
                                  (unsigned char)height,
                                  (unsigned char)(width >> 8),
                                  (unsigned char)width,
                                  1,
                                  1,
                                  0x11,
                                  0};
  const unsigned char scan[6] = {1, 1, 0x00, 0, 63, 0};
  fwrite("\xFF\xD8", 1, 2, stdout);
  segment(0xDB, raw, 65);
  segment(0xC0, frame, 9);
  dht[0] = 0x00, memcpy(dht + 1, kDcBits, 16), memcpy(dht + 17, kDcValues, 12), segment(0xC4, dht, 29);
  dht[0] = 0x10, memcpy(dht + 1, acBits, 16), memcpy(dht + 17, acValues, 162), segment(0xC4, dht, 179);
  segment(0xDA, scan, 6);
  fwrite(coded, 1, (size_t)position, stdout);
  fwrite("\xFF\xD9", 1, 2, stdout);
  zeliEncodeHuffmanSpecFree_JPEG_8u(dc), zeliEncodeHuffmanSpecFree_JPEG_8u(ac),
      zeliEncodeHuffmanStateFree_JPEG_8u(state);
  free(pixels), free(coded);
  return status < 0 || fflush(stdout) != 0;
}
