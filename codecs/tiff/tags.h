// Numbers of TIFF 6.0.
#pragma once

#include <cstdint>

namespace tiff {

enum Tag : uint16_t {
  kImageWidth = 256,
  kImageLength = 257,
  kBitsPerSample = 258,
  kCompression = 259,
  kPhotometric = 262,
  kFillOrder = 266,
  kStripOffsets = 273,
  kOrientation = 274,
  kSamplesPerPixel = 277,
  kRowsPerStrip = 278,
  kStripByteCounts = 279,
  kXResolution = 282,
  kYResolution = 283,
  kPlanarConfiguration = 284,
  kResolutionUnit = 296,
  kPredictor = 317,
  kColorMap = 320,
  kTileWidth = 322,
  kExtraSamples = 338,
  kSampleFormat = 339,
  kIccProfile = 34675,
};

enum Type : uint16_t { kByte = 1, kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kUndefined = 7 };

enum Scheme : uint32_t { kNone = 1, kPackBits = 32773, kPackBitsPlanes = 61453 }; // the last one is our own

enum Colours : uint32_t { kWhiteIsZero = 0, kBlackIsZero = 1, kRgb = 2, kPalette = 3, kSeparated = 5 };

enum Extra : uint32_t { kUnspecified = 0, kAssociatedAlpha = 1, kUnassociatedAlpha = 2 };

} // namespace tiff
