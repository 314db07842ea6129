// From pixels of any layout to quantised blocks, by planes or MCU by MCU, for 8 bits.
#pragma once

#include "common/aligned.h"
#include "common/layout.h"
#include "common/rows.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/layouts.h"

namespace jpeg {

// The tables of a component: where `fine` is not null, it is for samples that are scaled up.
struct ForwardTable {
  const Zel16u* steps;
  const Zel32f* fine;
};

// What one thread needs.
class EncoderRoad {
 public:
  // `tables`: of each component.
  EncoderRoad(const Frame& frame, const Scan& scan, const img::Picture& picture, const EncodeOptions& options,
              const std::vector<ForwardTable>& tables);

  // The blocks of a run, in coding order. `rows`: from the first of its row of MCUs on, as far as the picture goes.
  void transform(const img::ConstRows& rows, const Run& run, Block* blocks);

 private:
  SourcePixels gather(const img::ConstRows& rows, const Run& run);
  void makePlanes(const SourcePixels& pixels, ZeliSize size);
  void halve(size_t component, ZeliSize size);
  void transformPlanes(const Run& run, Block* block) const;
  void transformMcus(const SourcePixels& pixels, const Run& run, Block* block) const;
  bool isInside(const ScanBlock& b, const Run& run, int mcu) const;

  const Frame& frame_;
  const Scan& scan_;
  const img::Picture picture_;
  const Road road_;
  const std::vector<ForwardTable>& tables_;
  const Shape shape_;
  const bool fromPairs_; // pairs of pixels go through R, G, B to a file of other chroma
  const Members& members_;
  const bool converts_, inverts_; // inverts_: files of Adobe's count inks from the other end
  const int pixelBytes_;
  const int step_; // of planes and of gathered pixels
  img::AlignedArray<Zel8u> gathered_, full_[4], halved_[4];
};

} // namespace jpeg
