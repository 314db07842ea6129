// Writes coefficients scan by scan.
#pragma once

#include "jpeg/coefficients.h"
#include "jpeg/huffman.h"
#include "jpeg/jpeg.h"
#include "jpeg/packed_blocks.h"

namespace jpeg {

// The usual scans of a progressive file: ten for Y, Cb, Cr, a few more for other components.
std::vector<ScanSpec> usualProgression(const Frame& frame);

// One sequential scan of all components.
std::vector<ScanSpec> oneScan(const Frame& frame);

// Whether scans are those of a sequential file.
bool isSequential(const std::vector<ScanSpec>& script);

// Whether scans give all coefficients of a frame, each once and in an order that a decoder can follow.
Error checkScript(const std::vector<ScanSpec>& script, const Frame& frame);

struct ScanOptions {
  bool optimize = true; // else the typical tables, as far as they have all symbols
  int restartInterval = 0;
  bool restartInRows = false;
  int threads = 1; // scans are written side by side
};

// All coefficients, or, for one scan of all components, packed ones.
struct CoefficientSource {
  const CoefficientImage* image;
  const PackedBlocks* packed;
};

// The tables, the header and the data of each scan.
Error writeScans(img::ByteSink& sink, const Frame& frame, const CoefficientSource& source,
                 const std::vector<ScanSpec>& script, const ScanOptions& options);

} // namespace jpeg
