// The coefficients of a large picture in a tenth of their memory: each row of MCUs is entropy-coded by a table of its
// own kind until it is wanted. It is for what goes through all rows in their order, and twice.
#pragma once

#include "jpeg/frame.h"
#include "jpeg/huffman.h"
#include "jpeg/jpeg.h"

namespace jpeg {

class PackedBlocks {
 public:
  explicit PackedBlocks(const Scan& scan);

  size_t blocksOfRow() const { return scan_.mcu.size() * static_cast<size_t>(scan_.mcusWide); }

  // The blocks of a row in coding order. Several threads may keep rows at a time.
  void keep(int mcuRow, const Block* blocks);
  void restore(int mcuRow, Block* blocks) const;

 private:
  const Scan scan_;
  EncodeSpecRecord encodeDc_, encodeAc_;
  DecodeSpecRecord decodeDc_, decodeAc_;
  std::vector<Bytes> rows_;
};

} // namespace jpeg
