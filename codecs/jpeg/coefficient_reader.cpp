#include "jpeg/coefficient_reader.h"

#include <algorithm>

namespace jpeg {
namespace {

// Nobody needs as many scans; a short file of them could keep a decoder busy for hours.
constexpr int kMostScans = 500;

// Which bits of a coefficient have come: the lowest one, or none.
constexpr int kNothing = 16;

// One scan of blocks in memory.
class BlockReader {
 public:
  BlockReader(ByteSpan data, const Header& header, const ScanHeader& scan, const CoefficientImage& image,
              Damage& damage)
      : data_(data),
        length_(static_cast<Zel32s>(std::min<size_t>(data.size(), INT32_MAX))),
        progressive_(header.process == kSof2),
        header_(scan),
        scan_(layOutScan(header.frame, scan.components)),
        interval_(header.restartInterval),
        image_(image),
        damage_(damage) {
    for (const int c : scan.components) {
      dc_[c] = header.dc[scan.dcTable[c]].get();
      ac_[c] = header.ac[scan.acTable[c]].get();
    }
    state_.init();
  }

  // Reads the scan, and tells how many bytes it takes.
  Error read(size_t& taken) {
    int64_t mcu = 0;
    for (int y = 0; y < scan_.mcusHigh; ++y) {
      for (int x = 0; x < scan_.mcusWide; ++x, ++mcu) {
        if (interval_ && mcu > 0 && mcu % interval_ == 0) nextInterval(static_cast<int>(mcu / interval_ - 1) & 7, y);
        for (const ScanBlock& b : scan_.mcu) {
          Block& block = image_.block(b, x, y);
          if (ended_) {
            if (!progressive_) block.coefficients[0] = lastDc_[b.component];
            continue;
          }
          if (readBlock(b.component, block.coefficients) >= 0) continue;
          note(y);
          ended_ = true;
        }
      }
      if (damage_.stops()) return damage_.error();
    }
    toMarker();
    taken = static_cast<size_t>(position_);
    return {};
  }

 private:
  ZelStatus readBlock(int component, Zel16s* block) {
    const Zel8u* bytes = data_.data();
    const int Al = header_.Al;
    if (!progressive_) {
      return zeliDecodeHuffman8x8_JPEG_1u16s_C1(bytes, length_, &position_, block, &lastDc_[component], &marker_,
                                                dc_[component], ac_[component], state_.get());
    }
    if (header_.Ss > 0) {
      auto* read =
          header_.Ah ? zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1 : zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
      return read(bytes, length_, &position_, block, &marker_, header_.Ss, header_.Se, Al, ac_[component],
                  state_.get());
    }
    if (header_.Ah) {
      return zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(bytes, length_, &position_, block, &marker_, Al, state_.get());
    }
    return zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(bytes, length_, &position_, block, &lastDc_[component], &marker_,
                                                      Al, dc_[component], state_.get());
  }

  void note(int row) {
    damage_.note(img::format("damaged or missing data in row %d of %d rows of MCUs", row + 1, scan_.mcusHigh));
  }

  // Moves to the next marker, or to the end.
  void toMarker() {
    // A met marker is stepped back to; one of 0xFF is the fill byte in front of another.
    if (marker_) position_ -= marker_ == 0xFF ? 1 : 2;
    marker_ = 0;
    while (position_ + 1 < length_ && !(data_[static_cast<size_t>(position_)] == 0xFF && isCode(position_ + 1))) {
      ++position_;
    }
    if (position_ + 1 >= length_) position_ = length_;
  }
  bool isCode(Zel32s at) const {
    const int code = data_[static_cast<size_t>(at)];
    return code != 0 && code != 0xFF;
  }

  // Behind the restart marker of that number. Without it no data are left, unless it is found later.
  void nextInterval(int number, int row) {
    toMarker();
    const int code = position_ < length_ ? data_[static_cast<size_t>(position_ + 1)] : 0;
    const int ahead = isRestart(code) ? (code - kRst0 - number) & 7 : -1;
    ended_ = ahead != 0;
    if (ended_) note(row);
    if (ahead < 0 || (ahead > 0 && ahead < 4)) return; // the end of the scan, or the marker of a later interval
    ended_ = false;
    position_ += 2;
    std::fill(lastDc_, lastDc_ + 4, Zel16s{0});
    state_.init();
  }

  const ByteSpan data_;
  const Zel32s length_;
  const bool progressive_;
  const ScanHeader& header_;
  const Scan scan_;
  const int interval_;
  const CoefficientImage& image_;
  Damage& damage_;
  const ZeliDecodeHuffmanSpec *dc_[4] = {}, *ac_[4] = {};
  DecodeStateRecord state_;
  Zel32s position_ = 0, marker_ = 0;
  Zel16s lastDc_[4] = {};
  bool ended_ = false; // no data are left for the interval
};

// The scans of a file, and whether each can follow those before it.
class ScanOrder {
 public:
  ScanOrder(const Header& header, Damage& damage) : progressive_(header.process == kSof2), damage_(damage) {
    for (auto& component : lowestBit_) std::fill(component, component + 64, kNothing);
  }

  Error add(const ScanHeader& scan) {
    if (++count_ > kMostScans) return fail("more than %d scans", kMostScans);
    if (!progressive_) {
      for (const int c : scan.components) {
        if (lowestBit_[c][0] != kNothing) return fail("a component has a second scan");
        std::fill(lowestBit_[c], lowestBit_[c] + 64, 0);
      }
      return {};
    }
    const bool band = scan.Ss == 0 ? scan.Se == 0 : scan.Ss <= scan.Se && scan.Se <= 63 && scan.components.size() == 1;
    if (!band) return fail("a scan of bad coefficients (%d to %d)", scan.Ss, scan.Se);
    if (scan.Al > 13 || (scan.Ah && scan.Ah != scan.Al + 1)) {
      return fail("a scan of bad bits (%d, %d)", scan.Ah, scan.Al);
    }
    for (const int c : scan.components) {
      if (scan.Ss > 0 && lowestBit_[c][0] == kNothing)
        damage_.note("a scan of AC coefficients comes before their DC terms");
      for (int k = scan.Ss; k <= scan.Se; ++k) {
        if (lowestBit_[c][k] != (scan.Ah ? scan.Ah : kNothing)) {
          damage_.note(scan.Ah ? "a scan refines coefficients that have no such bits yet" : "a scan comes twice");
        }
        lowestBit_[c][k] = scan.Al;
      }
    }
    return damage_.stops() ? damage_.error() : Error{};
  }

  // How many rows and columns of the blocks' coefficients have come.
  void giveCorners(const Frame& frame, CoefficientImage& image) const {
    for (size_t c = 0; c < frame.components.size(); ++c) {
      int last = 63;
      while (last > 0 && lowestBit_[c][last] == kNothing) --last;
      image.setCorner(static_cast<int>(c), last == 0 ? 1 : last <= 2 ? 2 : last <= 9 ? 4 : 8);
    }
  }

  // What was begun and not brought to an end.
  void finish(const Frame& frame) {
    for (size_t c = 0; c < frame.components.size(); ++c) {
      if (lowestBit_[c][0] == kNothing) damage_.note("a component has no scan");
      const auto unfinished = [](int bit) { return bit != 0 && bit != kNothing; };
      if (std::any_of(lowestBit_[c], lowestBit_[c] + 64, unfinished)) damage_.remark("the last scans are missing");
    }
  }

 private:
  const bool progressive_;
  Damage& damage_;
  int count_ = 0;
  int lowestBit_[4][64];
};

// The tables that a scan needs.
Error checkTables(Header& header, const ScanHeader& scan) {
  const bool sequential = header.process != kSof2;
  for (int attempt = 0;; ++attempt) {
    bool missing = false;
    for (const int c : scan.components) {
      missing |= (sequential || (scan.Ss == 0 && scan.Ah == 0)) && !header.dc[scan.dcTable[c]];
      missing |= (sequential || scan.Ss > 0) && !header.ac[scan.acTable[c]];
    }
    if (!missing) return {};
    if (attempt) return fail("a Huffman table is missing");
    if (Error error = useTypicalTables(header)) return error;
  }
}

} // namespace

Error readCoefficients(img::ByteSource& source, Header& header, const ScanHeader& first, int scans, Damage& damage,
                       std::unique_ptr<CoefficientImage>& image, uint16_t steps[4][64]) {
  if (Error error = source.loadAll()) return error;
  const Frame& frame = header.frame;
  image = std::make_unique<CoefficientImage>(frame);
  ScanOrder order(header, damage);
  MarkerReader markers(source);
  bool known[4] = {};
  for (int c = 0; c < 4; ++c) std::fill_n(steps[c], 64, uint16_t{1}); // of a component without a scan
  ScanHeader scan = first;
  for (int n = 1; !scan.components.empty(); ++n) {
    Error error = order.add(scan);
    if (!error) error = checkTables(header, scan);
    if (!error) {
      for (const int c : scan.components) {
        if (known[c]) continue;
        known[c] = true;
        std::copy_n(header.quantTables[frame.components[static_cast<size_t>(c)].quantTable], 64, steps[c]);
      }
      size_t taken = 0;
      error = BlockReader(source.visible(), header, scan, *image, damage).read(taken);
      source.skip(taken);
      order.giveCorners(frame, *image);
      if (n == scans && !error) return {};
      scan = {};
      if (!error) error = readToScan(markers, header, scan, damage);
    }
    if (!error) continue;
    if (n == 1 || damage.stops()) return error;
    damage.note(error.message); // what the scans before have made is left
    break;
  }
  order.finish(frame);
  return damage.stops() ? damage.error() : Error{};
}

} // namespace jpeg
