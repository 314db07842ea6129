/* What a user's program does first: the version, and one call there and back. Compiled as C and as C++. */
#include <stdio.h>
#include <zelj.h>

static int consume(void) {
  const Zel8u samples[3] = {0, 128, 255};
  Zel16s shifted[3] = {1, 1, 1};
  Zel8u back[3] = {1, 1, 1};
  const ZeliSize size = {3, 1};
  if (zeliSub128_JPEG_8u16s_C1R(samples, 3, shifted, 6, size) != zelStatusOk) return 1;
  if (shifted[0] != -128 || shifted[1] != 0 || shifted[2] != 127) return 1;
  if (zeliAdd128_JPEG_16s8u_C1R(shifted, 6, back, 3, size) != zelStatusOk) return 1;
  if (back[0] != 0 || back[1] != 128 || back[2] != 255) return 1;
  if (zeliSub128_JPEG_8u16s_C1R(0, 3, shifted, 6, size) != zelStatusNullPointer) return 1;
  printf("%s, %d entries\n", zeljGetLibVersion()->versionText, (int)(sizeof zeljEntryTable / sizeof zeljEntryTable[0]));
  return zeljEntryTable[0] == 0;
}
