#include "jpeg/coefficient_reader.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <functional>

#include "common/workers.h"

namespace jpeg {
namespace {

// Which bits of a coefficient have come: the lowest one, or none.
constexpr int kNothing = 16;

// A scan with all that it needs.
struct ScanJob {
  ScanHeader header;
  bool progressive;
  Scan scan;
  int interval;
  DecodeSpec dc[4], ac[4]; // by component
  ByteSpan data;           // from its first byte on, to the end of the file

  ScanJob(ByteSpan bytes, const Header& file, const ScanHeader& scanHeader)
      : header(scanHeader),
        progressive(file.process == kSof2),
        scan(layOutScan(file.frame, scanHeader.components)),
        interval(file.restartInterval),
        data(bytes) {
    for (const int c : header.components) {
      dc[c] = file.dc[header.dcTable[c]];
      ac[c] = file.ac[header.acTable[c]];
    }
  }
};

// Reads a scan of blocks in memory.
class BlockReader {
 public:
  BlockReader(const ScanJob& job, const CoefficientImage& image, Damage& damage)
      : data_(job.data),
        length_(static_cast<Zel32s>(std::min<size_t>(job.data.size(), INT32_MAX))),
        progressive_(job.progressive),
        header_(job.header),
        scan_(job.scan),
        interval_(job.interval),
        image_(image),
        damage_(damage) {
    for (const int c : header_.components) {
      dc_[c] = job.dc[c].get();
      ac_[c] = job.ac[c].get();
    }
    state_.init();
  }

  // Called in front of each row of MCUs and behind the last, with its number; false gives up.
  using OnRow = std::function<bool(int row)>;

  // Reads the scan, and tells how many bytes it takes.
  Error read(size_t& taken, const OnRow& onRow = {}) {
    int64_t mcu = 0;
    for (int y = 0; y < scan_.mcusHigh; ++y) {
      if (onRow && !onRow(y)) return {};
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
    if (onRow) onRow(scan_.mcusHigh);
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
  const Scan& scan_;
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

// What a scan takes of the header: the tables that hold for its components' coefficients.
class StepsOfScans {
 public:
  explicit StepsOfScans(uint16_t steps[4][64]) : steps_(steps) {
    for (int c = 0; c < 4; ++c) std::fill_n(steps[c], 64, uint16_t{1}); // of a component without a scan
  }
  void add(const Header& header, const ScanHeader& scan) {
    for (const int c : scan.components) {
      if (known_[c]) continue;
      known_[c] = true;
      std::copy_n(header.quantTables[header.frame.components[static_cast<size_t>(c)].quantTable], 64, steps_[c]);
    }
  }

 private:
  uint16_t (*steps_)[64];
  bool known_[4] = {};
};

// The bytes of a scan: up to the marker behind it, which is no restart.
size_t lengthOfScan(ByteSpan data) {
  for (size_t at = 0; at + 1 < data.size();) {
    const void* found = std::memchr(data.data() + at, 0xFF, data.size() - at - 1);
    if (!found) break;
    at = static_cast<size_t>(static_cast<const uint8_t*>(found) - data.data());
    const int code = data[at + 1];
    if (code != 0 && code != 0xFF && !isRestart(code)) return at;
    at += code == 0xFF ? 1 : 2;
  }
  return data.size();
}

// Reads scans side by side. A scan may read a row of blocks when the one before it of the same component is through
// with it, and with it all others. False: something is wrong, which is left to reading one by one.
bool readSideBySide(const std::vector<ScanJob>& jobs, const std::vector<size_t>& lengths, const Frame& frame,
                    int threads, const CoefficientImage& image) {
  constexpr int kAll = INT32_MAX;
  Damage damage(false);
  std::vector<std::atomic<int>> rowsDone(jobs.size()); // of MCUs
  struct Before {
    int job = -1, down = 1;
  };
  std::vector<std::array<Before, 4>> before(jobs.size());
  std::array<Before, 4> last{};
  const auto downOf = [&](const ScanJob& job, int c) {
    return job.header.components.size() == 1 ? 1 : frame.components[static_cast<size_t>(c)].v;
  };
  for (size_t i = 0; i < jobs.size(); ++i) {
    before[i] = last;
    for (const int c : jobs[i].header.components) {
      last[static_cast<size_t>(c)] = {static_cast<int>(i), downOf(jobs[i], c)};
    }
  }
  img::sideBySide(jobs.size(), threads, [&](size_t, size_t i) {
    const ScanJob& job = jobs[i];
    struct Done { // however it ends: others wait for it
      std::atomic<int>& rows;
      ~Done() {
        rows.store(kAll, std::memory_order_release);
        rows.notify_all();
      }
    } const done{rowsDone[i]};
    const auto onRow = [&](int row) {
      rowsDone[i].store(row, std::memory_order_release);
      rowsDone[i].notify_all();
      for (const int c : job.header.components) {
        const Before& other = before[i][static_cast<size_t>(c)];
        if (other.job < 0 || row == job.scan.mcusHigh) continue;
        std::atomic<int>& rows = rowsDone[static_cast<size_t>(other.job)];
        const int64_t needed =
            std::min<int64_t>(int64_t{row + 1} * downOf(job, c), frame.components[static_cast<size_t>(c)].blocksHigh);
        for (int now; (now = rows.load(std::memory_order_acquire)) != kAll && int64_t{now} * other.down < needed;) {
          rows.wait(now);
        }
      }
      return !damage.found();
    };
    size_t taken = 0;
    const Error error = BlockReader(job, image, damage).read(taken, onRow);
    if (error || taken != lengths[i]) damage.note("a scan that is not as it should be");
  });
  return !damage.found();
}

// Goes through all headers first. False, with nothing changed but the coefficients: as above.
bool tryThreads(img::ByteSource& source, Header& header, const ScanHeader& first, int scans, int threads,
                Damage& damage, CoefficientImage& image, uint16_t steps[4][64]) {
  Header headerThen = header;
  img::ByteSource ahead(source.visible());
  Damage strict(false);
  ScanOrder order(headerThen, strict);
  StepsOfScans stepsThen(steps);
  MarkerReader markers(ahead);
  std::vector<ScanJob> jobs;
  std::vector<size_t> lengths;
  for (ScanHeader scan = first; !scan.components.empty();) {
    if (order.add(scan) || checkTables(headerThen, scan)) return false;
    stepsThen.add(headerThen, scan);
    jobs.emplace_back(ahead.visible(), headerThen, scan);
    lengths.push_back(lengthOfScan(ahead.visible()));
    ahead.skip(lengths.back());
    if (static_cast<int>(jobs.size()) == scans) break;
    scan = {};
    if (readToScan(markers, headerThen, scan, strict)) return false;
  }
  order.giveCorners(headerThen.frame, image);
  if (static_cast<int>(jobs.size()) != scans) order.finish(headerThen.frame);
  if (strict.found() || jobs.size() < 2 || !readSideBySide(jobs, lengths, headerThen.frame, threads, image))
    return false;
  for (const std::string& remark : strict.remarks()) damage.remark(remark);
  source.skip(ahead.position());
  header = std::move(headerThen);
  return true;
}

} // namespace

Error readCoefficients(img::ByteSource& source, Header& header, const ScanHeader& first, int scans, int threads,
                       Damage& damage, std::unique_ptr<CoefficientImage>& image, uint16_t steps[4][64]) {
  if (Error error = source.loadAll()) return error;
  const Frame& frame = header.frame;
  image = std::make_unique<CoefficientImage>(frame);
  if (threads > 1 && header.process == kSof2) {
    if (tryThreads(source, header, first, scans, threads, damage, *image, steps)) return {};
    image = std::make_unique<CoefficientImage>(frame);
  }
  ScanOrder order(header, damage);
  MarkerReader markers(source);
  StepsOfScans stepsOfScans(steps);
  ScanHeader scan = first;
  for (int n = 1; !scan.components.empty(); ++n) {
    Error error = order.add(scan);
    if (!error) error = checkTables(header, scan);
    if (!error) {
      stepsOfScans.add(header, scan);
      const ScanJob job(source.visible(), header, scan);
      size_t taken = 0;
      error = BlockReader(job, *image, damage).read(taken);
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
