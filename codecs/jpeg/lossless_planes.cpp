#include "jpeg/lossless_planes.h"

#include "jpeg/huffman.h"
#include "jpeg/lossless_joiner.h"

namespace jpeg {
namespace {

// All samples are in memory. Where an MCU has several samples of a component it is read sample by sample.
class PlanesReader : public DamageReader {
 public:
  PlanesReader(img::ByteSource& source, const DecodeOptions& options, Header&& header, const ScanHeader& scan,
               const Damage& damageOfHeader)
      : DamageReader(options.keepGoing), source_(source), header_(std::move(header)), scan_(scan), joiner_(header_) {
    for (const std::string& remark : damageOfHeader.remarks()) damage_.remark(remark);
    picture_ = joiner_.picture();
  }

  Error read(const img::Rows& rows) override {
    if (planes_.empty()) {
      if (Error error = readScans()) return error;
    }
    for (int y = 0; y < rows.count; ++y) putOut(row_++, rows, y);
    return {};
  }

 private:
  // A component's samples, as many as its scan codes.
  struct Plane {
    int width = 0, height = 0, pointTransform = 0;
    int down = 1; // rows in a row of MCUs
    std::vector<Zel16s> samples, wide;

    Zel16s* row(int y) { return samples.data() + static_cast<size_t>(y) * static_cast<size_t>(width); }
  };

  Plane& plane(int c) { return planes_[static_cast<size_t>(c)]; }
  const Component& component(int c) const { return header_.frame.components[static_cast<size_t>(c)]; }

  Error readScans() {
    if (Error error = source_.loadAll()) return error;
    planes_.resize(header_.frame.components.size());
    MarkerReader markers(source_);
    for (size_t left = planes_.size(); left > 0;) {
      if (scan_.Ss < 1 || scan_.Ss > 7 || scan_.Al >= header_.frame.bits) return fail("bad scan header");
      for (const int c : scan_.components) {
        if (plane(c).width) return fail("a component has a second scan");
        if (!header_.dc[scan_.dcTable[c]]) return fail("a Huffman table is missing");
        layOutPlane(c, scan_.components.size() == 1, scan_.Al);
      }
      left -= scan_.components.size();
      if (Error error = readScan()) return error;
      scan_ = {};
      if (left == 0) break;
      if (Error error = readToScan(markers, header_, scan_, damage_)) return error;
      if (scan_.components.empty()) break;
    }
    for (size_t c = 0; c < planes_.size(); ++c) {
      if (planes_[c].width) continue;
      damage_.note("a component has no scan");
      layOutPlane(static_cast<int>(c), true, 0);
    }
    return damage_.stops() ? damage_.error() : Error{};
  }

  // A scan of one component holds its samples, a scan of several whole MCUs (T.81 A.2).
  void layOutPlane(int c, bool alone, int pointTransform) {
    const Frame& frame = header_.frame;
    Plane& own = plane(c);
    own.pointTransform = pointTransform;
    own.down = alone ? 1 : component(c).v;
    own.width = alone ? component(c).width : divideUp(frame.width, frame.hMax) * component(c).h;
    own.height = alone ? component(c).height : divideUp(frame.height, frame.vMax) * component(c).v;
    const int middle = 1 << (frame.bits - pointTransform - 1);
    own.samples.assign(static_cast<size_t>(own.width) * static_cast<size_t>(own.height), static_cast<Zel16s>(middle));
    own.wide.resize(static_cast<size_t>(frame.width));
  }

  Error readScan() {
    const Plane& first = plane(scan_.components[0]);
    const bool alone = scan_.components.size() == 1;
    const int mcusWide = first.width / (alone ? 1 : component(scan_.components[0]).h);
    const int mcusHigh = first.height / first.down;
    if (header_.restartInterval % mcusWide) return fail("a restart interval that is no number of rows");
    const int interval = header_.restartInterval / mcusWide;
    position_ = marker_ = 0;
    state_.init();
    int begin = 0; // of the restart interval
    for (int y = 0; y < mcusHigh; ++y) {
      const bool restarts = interval && y > 0 && y % interval == 0;
      if (restarts) begin = y;
      if ((restarts && !restart(kRst0 + (y / interval - 1) % 8)) || !readMcus(y, mcusWide)) {
        damage_.note(img::format("damaged or missing data in row %d of %d", y + 1, mcusHigh));
        if (damage_.stops()) return damage_.error();
        repeatRows(y);
        break;
      }
      for (const int c : scan_.components) {
        Plane& own = plane(c);
        for (int i = 0; i < own.down; ++i) reconstruct(own, y * own.down + i, y == begin && i == 0);
      }
    }
    source_.skip(std::min(static_cast<size_t>(position_ - (marker_ ? 2 : 0)), source_.visible().size()));
    return {};
  }

  // The differences of a row of MCUs, in the place of the samples.
  bool readMcus(int y, int mcusWide) {
    const ByteSpan data = source_.visible();
    if (data.empty()) return false;
    const auto length = static_cast<Zel32s>(std::min<size_t>(data.size(), INT32_MAX));
    if (scan_.components.size() == 1) {
      const int c = scan_.components[0];
      Zel16s* rows[4] = {plane(c).row(y)};
      const ZeliDecodeHuffmanSpec* tables[4] = {header_.dc[scan_.dcTable[c]].get()};
      return zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(data.data(), length, &position_, rows, mcusWide, 1, &marker_, tables,
                                                  state_.get()) == zelStatusOk;
    }
    for (int x = 0; x < mcusWide; ++x) {
      for (const int c : scan_.components) {
        const int across = component(c).h, down = component(c).v;
        const ZeliDecodeHuffmanSpec* table = header_.dc[scan_.dcTable[c]].get();
        for (int i = 0; i < across * down; ++i) {
          Zel16s* const to = plane(c).row(y * down + i / across) + x * across + i % across;
          if (zeliDecodeHuffmanOne_JPEG_1u16s_C1(data.data(), length, &position_, to, &marker_, table, state_.get()) !=
              zelStatusOk) {
            return false;
          }
        }
      }
    }
    return true;
  }

  void reconstruct(Plane& own, int y, bool first) {
    Zel16s* const row = own.row(y);
    differences_.assign(row, row + own.width);
    if (first) {
      zeliReconstructPredFirstRow_JPEG_16s_C1(differences_.data(), row, own.width, picture_.bits, own.pointTransform);
    } else {
      zeliReconstructPredRow_JPEG_16s_C1(differences_.data(), own.row(y - 1), row, own.width, scan_.Ss);
    }
  }

  // From a row of MCUs on the row above goes on.
  void repeatRows(int mcuRow) {
    for (const int c : scan_.components) {
      Plane& own = plane(c);
      const int middle = 1 << (picture_.bits - own.pointTransform - 1);
      for (int y = mcuRow * own.down; y < own.height; ++y) {
        if (y == 0)
          std::fill_n(own.row(0), own.width, static_cast<Zel16s>(middle));
        else
          std::copy_n(own.row(y - 1), own.width, own.row(y));
      }
    }
  }

  // Behind the restart marker that is expected.
  bool restart(int expected) {
    const ByteSpan data = source_.visible();
    if (!marker_) {
      auto at = static_cast<size_t>(position_);
      while (at + 1 < data.size() && (data[at] != 0xFF || data[at + 1] == 0 || data[at + 1] == 0xFF)) ++at;
      marker_ = at + 1 < data.size() ? data[at + 1] : 0;
      position_ = static_cast<Zel32s>(std::min(at + 2, data.size()));
    }
    const bool sound = (marker_ & 0xFF) == expected;
    marker_ = 0;
    state_.init();
    return sound;
  }

  // Components of fewer samples are widened plainly.
  void putOut(int y, const img::Rows& rows, int to) {
    const Frame& frame = header_.frame;
    const Zel16s* from[4] = {};
    int shifts[4] = {};
    for (size_t c = 0; c < planes_.size(); ++c) {
      const Component& own = frame.components[c];
      Plane& samples = planes_[c];
      from[c] = samples.row(std::min(y * own.v / frame.vMax, samples.height - 1));
      shifts[c] = samples.pointTransform;
      if (own.h == frame.hMax) continue;
      for (int x = 0; x < frame.width; ++x) samples.wide[static_cast<size_t>(x)] = from[c][x * own.h / frame.hMax];
      from[c] = samples.wide.data();
    }
    joiner_.join(from, shifts, rows, to);
  }

  img::ByteSource& source_;
  Header header_;
  ScanHeader scan_;
  LosslessJoiner joiner_;
  std::vector<Plane> planes_;
  std::vector<Zel16s> differences_;
  DecodeStateRecord state_;
  Zel32s position_ = 0, marker_ = 0;
  int row_ = 0;
};

} // namespace

std::unique_ptr<img::RowReader> openLosslessPlanes(img::ByteSource& source, const DecodeOptions& options,
                                                   Header&& header, const ScanHeader& scan,
                                                   const Damage& damageOfHeader) {
  return std::make_unique<PlanesReader>(source, options, std::move(header), scan, damageOfHeader);
}

} // namespace jpeg
