// The data of a scan without restart markers, decoded in pieces side by side.
//
// Nobody can tell where a block begins in the middle of such data. But a decoder that begins anywhere falls into step
// after some blocks of nonsense: then it stands where one that comes from the beginning of the scan does, and only its
// DC predictors are others. So each piece is decoded from a guess, and counts from the first MCU on at which the
// decoder of the piece before it would stand in the same place with the same bits in hand.
#pragma once

#include <functional>

#include "common/aligned.h"
#include "jpeg/scan_reader.h"

namespace jpeg {

// How many MCUs are decoded at a time: a few rows, since the planes of a row that two threads work on go from cache to
// cache; but their coefficients should not go far from it until they are transformed.
int mcusOfPiece(const Scan& scan);

class ScanAhead {
 public:
  // What is to be done with the next MCUs: in their order, on one thread at a time. False gives the work up.
  using Take = std::function<bool(int64_t mcu, int64_t count, const Block* blocks, int thread)>;

  // The source stands at the beginning of the scan.
  ScanAhead(img::ByteSource& source, const Scan& scan, const TablesOfScan& tables, int threads);

  // Goes through the scan up to an MCU that is not whole, for a marker or damage is none of its business. Also ends
  // where decoders do not fall into step, as in a picture of one colour.
  Error run(const Take& take);

  // Where it has ended: before this MCU, at a place in the visible bytes of the source.
  int64_t mcu() const { return mcu_; }
  const Place& place() const { return place_; }

 private:
  struct Piece {
    Zel32s begin = 0, end = 0; // the guess, and where the next piece has its own
    Zel32s length = 0;         // of the bytes that may be looked at
    std::vector<Place> places; // in front of each MCU, and behind the last
    img::AlignedArray<Block> blocks;
  };

  Error read(int64_t item, Piece& piece);
  bool decodeMcu(const Piece& piece, Place& place, Block* blocks) const;
  void guess(Piece& piece) const;
  bool join(Piece& piece, int thread);
  bool takeGuessed(Piece& piece, size_t first, int thread);

  img::ByteSource& source_;
  const std::vector<BlockCoder> coders_;
  const int threads_;
  const int64_t mcuCount_;
  const int mcusOfPiece_;
  Zel32s bytesOfPiece_;
  const Zel8u* bytes_ = nullptr;    // of the window
  Zel32s firstGuess_ = 0;           // in it
  int64_t mcu_ = 0, unguessed_ = 0; // MCUs that no guess has brought
  Place place_;
  Take take_;
};

} // namespace jpeg
