// The entropy-coded data of one scan: blocks in coding order, restart markers, and how to go on behind damage.
#pragma once

#include <cstring>

#include "jpeg/damage.h"
#include "jpeg/frame.h"
#include "jpeg/huffman.h"
#include "jpeg/jpeg.h"

namespace jpeg {

// The Huffman tables of a scan, by component.
struct TablesOfScan {
  const ZeliDecodeHuffmanSpec* dc[4];
  const ZeliDecodeHuffmanSpec* ac[4];
};

// A block of an MCU: its component and the tables of that.
struct BlockCoder {
  int component;
  const ZeliDecodeHuffmanSpec *dc, *ac;
};

// In the order of coding.
std::vector<BlockCoder> codersOf(const Scan& scan, const TablesOfScan& tables);

// Where a decoder stands between two MCUs of one segment, and all that it needs to go on from there.
struct Place {
  Zel32s position = 0; // of the next byte
  Zel16s lastDc[4] = {};
  alignas(8) Zel8u state[24] = {}; // plain data, whoever knows what they mean

  ZeliDecodeHuffmanState* get() { return reinterpret_cast<ZeliDecodeHuffmanState*>(state); }

  // Makes it the beginning of a segment.
  void begin() {
    *this = {};
    zeliDecodeHuffmanStateInit_JPEG_8u(get());
  }

  // Whether all that follows is the same, but for the DC terms.
  bool isAt(const Place& other) const {
    return position == other.position && std::memcmp(state, other.state, sizeof state) == 0;
  }
};

// Finds the restart intervals of a scan one after the other, before anybody has decoded them.
class IntervalFinder {
 public:
  IntervalFinder(img::ByteSource& source, int64_t count) : source_(source), count_(count) {}

  // The source stands at the beginning of this interval. From now on its bytes stay where they are, and no more than
  // about `most` of them come into memory.
  void begin(int64_t interval, size_t most);

  enum class Found { whole, notWhole, noMemory };

  // Finds both ends of the interval, which is the last one found or the next. It is not whole if the marker behind it
  // is not the one that should be there: one must go through the intervals from here on to know which is which.
  Error find(int64_t interval, Found& found);

  // Of the interval, in the visible bytes.
  size_t begin() const { return begin_; }
  size_t end() const { return end_; }

 private:
  img::ByteSource& source_;
  const int64_t count_;
  int64_t interval_ = -1;
  size_t most_ = 0, begin_ = 0, end_ = 0, next_ = 0;
};

// Reads the MCUs of a scan in their order. A block whose data are lost repeats the DC term of the one before.
//
// How it goes on behind damage: a code that does not exist ends its block only, since Huffman codes fall into step
// again by themselves. A marker that cannot be meant is passed over. A restart marker begins the interval that its
// number says if that is one of the next two and the marker behind it agrees; other numbers are taken for wrong ones.
class ScanReader {
 public:
  ScanReader(img::ByteSource& source, const Scan& scan, const TablesOfScan& tables, int restartInterval,
             Damage& damage);

  // The next `count` MCUs.
  Error read(int count, Block* block);

  // Begins with this MCU instead of the first: the source stands at the restart interval that holds it.
  Error skipTo(int64_t mcu);

  // Goes on before this MCU, at a place in the visible bytes of the source. There are no restart intervals.
  void resume(int64_t mcu, const Place& place);

  // Behind the last MCU: moves the source to the marker that ends the scan.
  Error finish();

 private:
  void readBlocks(int count, Block* block);
  void begin();
  void noteDamage();
  Error makeVisible();
  Error toNextInterval();
  bool isFalseMarker(int marker);
  int markerFrom(size_t at, size_t& behind) const;
  void settle();

  img::ByteSource& source_;
  const Scan& scan_;
  const int interval_;
  Damage& damage_;
  const std::vector<BlockCoder> coders_; // of the blocks of an MCU
  DecodeState state_;
  Zel32s position_ = 0, marker_ = 0; // position_: in the visible bytes
  Zel16s lastDc_[4] = {};
  int64_t mcu_ = 0, mcusLeft_; // mcusLeft_: of the interval
  int nextRestart_ = 0;        // the number of the restart marker that comes next
  int lost_ = 0;               // intervals that have no data
  bool ended_ = false;         // no data are left for the interval
};

} // namespace jpeg
