// The decoder: rows of MCUs are entropy-decoded, dequantised and transformed into planes that keep a few rows, and, as
// soon as the neighbours of a row of pixels are there, chroma is doubled and the colours converted.
#include <atomic>
#include <cstring>

#include "common/join.h"
#include "common/layout.h"
#include "common/workers.h"
#include "jpeg/coefficient_reader.h"
#include "jpeg/frame.h"
#include "jpeg/huffman.h"
#include "jpeg/jpeg.h"
#include "jpeg/lossless.h"
#include "jpeg/markers.h"
#include "jpeg/planes.h"
#include "jpeg/road_reader.h"
#include "jpeg/samples.h"
#include "jpeg/scan_ahead.h"
#include "jpeg/scan_reader.h"

namespace jpeg {
namespace {

using img::AlignedArray;
using img::Rows;

Error checkSupported(int process, int bits, size_t components) {
  if (process == kSof3) return {};
  if (process > kSof3) return fail("%s files are not supported", processName(process));
  if (components == 4 && bits != 8) return fail("files of four components of %d bits are not supported", bits);
  if (components == 2) return fail("files of two components are not supported");
  if (bits != 8 && !(bits == 12 && process != kSof0)) return fail("%d bits a sample are not supported", bits);
  return {};
}

void makeInverseTable(const uint16_t* steps, Zel16u* table) {
  std::copy_n(steps, 64, table);
}

void makeInverseTable(const uint16_t* steps, Zel32f* table) {
  std::copy_n(steps, 64, table);
}

// How many samples a block gives on a side. A component with fewer samples than others is reduced less if that saves
// doubling it again.
int blockSizeOf(const Frame& frame, const Component& c, int size) {
  int own = size;
  while (own < 8 && frame.hMax * size % (2 * own * c.h) == 0 && frame.vMax * size % (2 * own * c.v) == 0) own *= 2;
  return own;
}

// Restart intervals longer than this many rows of MCUs are not decoded side by side.
constexpr int kLongestInterval = 8;

template <class Sample>
class Reader : public DamageReader {
 public:
  Reader(img::ByteSource& source, const DecodeOptions& options)
      : DamageReader(options.keepGoing), source_(source), options_(options) {}

  // The header has been read up to the first scan.
  Error open(Header&& header, const ScanHeader& scanHeader, Damage& damageOfHeader) {
    header_ = std::move(header);
    firstScan_ = scanHeader;
    for (const std::string& remark : damageOfHeader.remarks()) damage_.remark(remark);
    const Frame& frame = header_.frame;
    size_ = 8 / options_.scale;
    picture_.width = divideUp(int64_t{frame.width} * size_, 8);
    picture_.height = divideUp(int64_t{frame.height} * size_, 8);
    const size_t count = frame.components.size();
    picture_.colour = count == 1 ? img::Colour::grey : count == 3 ? img::Colour::rgb : img::Colour::cmyk;
    picture_.metadata = metadataOf(header_);
    picture_.bits = frame.bits;
    progressive_ = header_.process == kSof2;
    oneScan_ = progressive_ || scanHeader.components.size() == frame.components.size();
    convert_ = frame.components.size() == 3 && isYCbCr(header_);
    return {};
  }

  int rowsAtOnce() const override { return size_ * (header_.frame.components.size() > 1 ? header_.frame.vMax : 1); }

  Error read(const Rows& rows) override {
    if (planes_.empty()) {
      if (Error error = begin(false)) return error;
    }
    for (int y = 0; y < rows.count; ++y) {
      const int needed = std::min(rowsDone_ / rowsOfMcuRow_ + (looksAround_ ? 2 : 1), tables_.scan.mcusHigh);
      target_ = rows.part(y, rows.count - y);
      for (; oneScan_ && mcuRowsDone_ < needed; ++mcuRowsDone_) {
        if (coefficients_) {
          transformCoefficients(mcuRowsDone_);
        } else if (Error error = decodeMcuRow(mcuRowsDone_, *scanReader_, scratch_[0])) {
          return error;
        }
      }
      putOutRow(rowsDone_++, rows.template row<Sample>(y), scratch_[0]);
    }
    target_ = {};
    return {};
  }

  bool pushes() const override { return options_.threads > 1; }

  Error push(img::RowWriter& writer, const img::Progress& progress) override {
    if (Error error = begin(true)) return error;
    return scanReader_ && !readsRows_ ? pushInPieces(writer, progress) : pushByRows(writer, progress);
  }

  // Behind the last scan nothing but the end of the image, and perhaps segments of no use, should follow.
  Error finish() override {
    if (scanReader_) {
      if (Error error = scanReader_->finish()) return error;
    }
    if (!coefficients_) {
      MarkerReader markers(source_);
      uint64_t skipped = 0;
      int marker = 0;
      if (Error error = markers.next(marker, skipped)) return error;
      if (marker == 0)
        damage_.remark("the end of the image is not marked");
      else if (skipped)
        damage_.remark(kStrayBytes);
    }
    return DamageReader::finish();
  }

 private:
  // One scan and the tables that hold for it.
  struct ScanTables {
    Scan scan;
    alignas(64) typename TransformTable<Sample>::Entry inverse[4][64]; // by component
    TablesOfScan huffman;
  };

  // What one thread needs for itself.
  struct Scratch {
    AlignedArray<Sample> rows[4]; // of the components at the width of the image
    AlignedArray<Block> blocks;
  };

  // Rows of MCUs that one thread decodes.
  struct Group {
    int begin = 0, end = 0;
    // Where there are restart intervals: those of the rows, where the first of them begins, and the bytes from there to
    // the end of the last one at least.
    IntervalFinder::Found found = IntervalFinder::Found::notWhole;
    size_t data = 0;
    ByteSpan bytes;
  };

  // Restart intervals, coefficients that are all there, or data so few that reading them takes less time than the rest:
  // rows of MCUs go side by side and are written one after the other.
  Error pushByRows(img::RowWriter& writer, const img::Progress& progress) {
    const int mcuRows = divideUp(picture_.height, rowsOfMcuRow_), reach = looksAround_ ? 1 : 0;
    // Of the rows of MCUs above and below each edge, how many are still to come.
    std::vector<std::atomic<int>> awaited(static_cast<size_t>(mcuRows));
    for (std::atomic<int>& count : awaited) count = 2;
    const size_t rowBytes = picture_.rowBytes();
    std::vector<AlignedArray<uint8_t>> pixels;
    for (int i = 0; i < mcuRowsInFlight(); ++i) pixels.emplace_back(rowBytes * static_cast<size_t>(rowsOfMcuRow_));
    const auto rowsOf = [&](int row) {
      return Rows{pixels[static_cast<size_t>(row) % pixels.size()].data(), static_cast<ptrdiff_t>(rowBytes),
                  std::min(rowsOfMcuRow_, picture_.height - row * rowsOfMcuRow_)};
    };
    const auto putOut = [&](int y, int end, Scratch& scratch) {
      for (; y < end; ++y) {
        putOutRow(y, rowsOf(y / rowsOfMcuRow_).template row<Sample>(y % rowsOfMcuRow_), scratch);
      }
    };
    // A row has been transformed: rows of output that need no other are made of it while it is in the cache, those at
    // an edge when both sides of it are there.
    const auto rowDone = [&](int row, Scratch& scratch) {
      const int begin = row * rowsOfMcuRow_, end = std::min(begin + rowsOfMcuRow_, picture_.height);
      putOut(row > 0 ? begin + reach : begin, row + 1 < mcuRows ? end - reach : end, scratch);
      for (int edge = row - 1; edge <= row && reach; ++edge) {
        if (edge < 0 || edge + 1 == mcuRows) continue;
        if (awaited[static_cast<size_t>(edge)].fetch_sub(1, std::memory_order_acq_rel) != 1) continue;
        const int below = (edge + 1) * rowsOfMcuRow_;
        putOut(below - 1, below + 1, scratch);
      }
    };
    std::mutex mutex;
    Error error;
    const auto failed = [&](const Error& bad) {
      const std::lock_guard lock(mutex);
      if (bad && !error) error = bad;
      return bool(bad);
    };
    // Writes what the first rows of MCUs allow, `done` of them. The last row of that may need the next.
    int written = 0;
    const auto write = [&](int done) {
      const int end = done == mcuRows ? picture_.height : done * rowsOfMcuRow_ - reach;
      while (written < end) {
        const int first = written % rowsOfMcuRow_, count = std::min(end - written, rowsOfMcuRow_ - first);
        if (failed(writer.write(asConst(rowsOf(written / rowsOfMcuRow_).part(first, count))))) return false;
        written += count;
        if (progress) progress(written);
      }
      return true;
    };
    constexpr size_t kWindow = size_t{1} << 22;
    using Found = IntervalFinder::Found;
    int firstRow = 0;
    Group rest; // the first group whose intervals are not known
    std::vector<Group> groups(static_cast<size_t>(options_.threads * img::Pipeline::kSlotsOfThread));
    std::vector<AlignedArray<Block>> blocks(groups.size()); // of rows that are read in their order
    const int wide = tables_.scan.mcusWide;
    img::Pipeline pipeline;
    pipeline.beginsEarly = readsRows_;
    pipeline.begin = [&](int64_t item, int slot) {
      Group& group = groups[static_cast<size_t>(slot)];
      group.begin = firstRow + static_cast<int>(item) * rowsOfGroup_;
      group.end = std::min(group.begin + rowsOfGroup_, mcuRows);
      group.found = Found::notWhole;
      if (readsRows_) {
        AlignedArray<Block>& row = blocks[static_cast<size_t>(slot)];
        if (row.size() == 0) row = AlignedArray<Block>(tables_.scan.mcu.size() * static_cast<size_t>(wide));
        return !failed(scanReader_->read(wide, row.data()));
      }
      if (!finder_ || rest.end > 0) return true;
      if (failed(findGroup(group))) return false;
      if (group.found != Found::whole) rest = group;
      return true;
    };
    pipeline.work = [&](int64_t, int slot) {
      const Group& group = groups[static_cast<size_t>(slot)];
      const auto thread = static_cast<size_t>(slot / img::Pipeline::kSlotsOfThread);
      if (finder_ && group.found != Found::whole) return true;
      std::unique_ptr<img::ByteSource> source;
      std::unique_ptr<ScanReader> reader;
      if (finder_ && failed(openAt(group, source, reader))) return false;
      for (int row = group.begin; row < group.end; ++row) {
        if (coefficients_) transformCoefficients(row);
        if (readsRows_) transformRun({0, row, wide}, blocks[static_cast<size_t>(slot)].data());
        if (reader && failed(decodeMcuRow(row, *reader, scratch_[thread]))) return false;
        rowDone(row, scratch_[thread]);
      }
      return true;
    };
    pipeline.end = [&](int64_t, int slot) {
      const Group& group = groups[static_cast<size_t>(slot)];
      return (finder_ && group.found != Found::whole) || write(group.end);
    };
    for (size_t window = kWindow;;) {
      pipeline.items = divideUp(mcuRows - firstRow, rowsOfGroup_);
      if (finder_) finder_->begin(int64_t{firstRow} * wide / header_.restartInterval, window);
      rest = {};
      run(pipeline, options_.threads);
      if (error || !finder_) return error;
      source_.skip(rest.end > 0 ? rest.data : finder_->end());
      if (rest.end == 0) return {};
      if (rest.found != Found::noMemory) break;
      window = rest.begin > firstRow ? kWindow : 2 * window;
      firstRow = rest.begin;
    }
    scanReader_ = readerOf(source_);
    if (Error bad = scanReader_->skipTo(int64_t{rest.begin} * wide)) return bad;
    for (int row = rest.begin; row < mcuRows; ++row) {
      if (Error bad = decodeMcuRow(row, *scanReader_, scratch_[0])) return bad;
      rowDone(row, scratch_[0]);
      if (!write(row + 1)) return error;
    }
    return {};
  }

  // A scan whose restart intervals, if it has any, are of no help: pieces of it are decoded side by side as far as that
  // goes, and one after the other from there on. What is made of them goes in their order on one thread at a time,
  // while others decode.
  Error pushInPieces(img::RowWriter& writer, const img::Progress& progress) {
    const Scan& scan = tables_.scan;
    const int reach = looksAround_ ? 1 : 0;
    const size_t rowBytes = picture_.rowBytes();
    std::vector<AlignedArray<uint8_t>> pixels; // by thread
    for (int i = 0; i < options_.threads; ++i) pixels.emplace_back(rowBytes * static_cast<size_t>(rowsOfMcuRow_ + 1));
    int written = 0;
    Error error, readError;
    // Puts out what the first rows of MCUs allow, `done` of them. The last row of that may need the next.
    const auto write = [&](int done, int thread) {
      const int end = done == scan.mcusHigh ? picture_.height : done * rowsOfMcuRow_ - reach;
      const Rows rows{pixels[static_cast<size_t>(thread)].data(), static_cast<ptrdiff_t>(rowBytes), end - written};
      for (int i = 0; i < rows.count; ++i) {
        putOutRow(written + i, rows.template row<Sample>(i), scratch_[static_cast<size_t>(thread)]);
      }
      written = end;
      if ((error = writer.write(asConst(rows)))) return false;
      if (progress) progress(written);
      return true;
    };
    const auto take = [&](int64_t mcu, int64_t count, const Block* blocks, int thread) {
      for (const int64_t end = mcu + count; mcu < end;) {
        const int x = static_cast<int>(mcu % scan.mcusWide), y = static_cast<int>(mcu / scan.mcusWide);
        const Run run{x, y, static_cast<int>(std::min(end - mcu, int64_t{scan.mcusWide - x}))};
        transformRun(run, blocks);
        if (x + run.count == scan.mcusWide && !write(y + 1, thread)) return false;
        blocks += static_cast<size_t>(run.count) * scan.mcu.size();
        mcu += run.count;
      }
      return true;
    };
    int64_t first = 0;
    if (!header_.restartInterval) {
      ScanAhead ahead(source_, scan, tables_.huffman, options_.threads);
      readError = ahead.run(take);
      if (error || readError) return error ? error : readError;
      first = ahead.mcu();
      scanReader_->resume(first, ahead.place());
    }
    const int mcusOfPiece = jpeg::mcusOfPiece(scan);
    const auto countOf = [&](int64_t item) {
      return static_cast<int>(std::min<int64_t>(mcusOfPiece, scan.mcuCount() - first - item * mcusOfPiece));
    };
    std::vector<AlignedArray<Block>> pieces(static_cast<size_t>(options_.threads * img::Pipeline::kSlotsOfThread));
    img::Pipeline pipeline;
    pipeline.items = (scan.mcuCount() - first + mcusOfPiece - 1) / mcusOfPiece;
    pipeline.beginsEarly = true;
    pipeline.begin = [&](int64_t item, int slot) {
      AlignedArray<Block>& piece = pieces[static_cast<size_t>(slot)];
      if (piece.size() == 0) piece = AlignedArray<Block>(static_cast<size_t>(mcusOfPiece) * scan.mcu.size());
      return !(readError = scanReader_->read(countOf(item), piece.data()));
    };
    pipeline.work = [](int64_t, int) { return true; };
    pipeline.end = [&](int64_t item, int slot) {
      return take(first + item * mcusOfPiece, countOf(item), pieces[static_cast<size_t>(slot)].data(),
                  slot / img::Pipeline::kSlotsOfThread);
    };
    run(pipeline, options_.threads);
    return error ? error : readError;
  }

  // How many rows of MCUs are worked on at a time, with their neighbours.
  int mcuRowsInFlight() const { return options_.threads * img::Pipeline::kSlotsOfThread * rowsOfGroup_ + 2; }

  Error begin(bool sideBySide) {
    if (progressive_) {
      Error error = readAllScans();
      makePlanes(sideBySide);
      return error;
    }
    if (!oneScan_) {
      makePlanes(sideBySide);
      return decodeScans();
    }
    if (Error error = prepareScan(firstScan_)) return error;
    scanReader_ = readerOf(source_);
    if (sideBySide && header_.restartInterval) findParallelIntervals();
    readsRows_ = sideBySide && scanReader_ && hasFewData();
    makePlanes(!scanReader_ || readsRows_);
    return {};
  }

  void makePlanes(bool sideBySide) {
    const Frame& frame = header_.frame;
    const bool interleaved = frame.components.size() > 1;
    rowsOfMcuRow_ = size_ * (interleaved ? frame.vMax : 1);
    planes_.resize(frame.components.size());
    upsamplers_.reserve(frame.components.size());
    for (size_t i = 0; i < frame.components.size(); ++i) {
      const Component& c = frame.components[i];
      Plane<Sample>& plane = planes_[i];
      plane.blockSize = blockSizeOf(frame, c, size_);
      plane.width = divideUp(int64_t{frame.width} * c.h * plane.blockSize, int64_t{8} * frame.hMax);
      plane.height = divideUp(int64_t{frame.height} * c.v * plane.blockSize, int64_t{8} * frame.vMax);
      upsamplers_.emplace_back(plane, frame.hMax * size_, c.h * plane.blockSize, frame.vMax * size_,
                               c.v * plane.blockSize, size_ == 1 ? Upsampling::plain : options_.upsampling,
                               picture_.width);
      looksAround_ |= upsamplers_.back().looksAround();
    }
    // A row of MCUs is put out when the next is there, and needs the last row of the one before.
    const int mcuRows = frame.mcusHigh * (interleaved ? 1 : frame.vMax);
    const int kept = sideBySide ? mcuRowsInFlight() : looksAround_ ? 3 : 1;
    for (size_t i = 0; i < frame.components.size(); ++i) {
      const Component& c = frame.components[i];
      Plane<Sample>& plane = planes_[i];
      // Rows a power of two apart would fall on the same few lines of the cache.
      plane.step = (frame.mcusWide * c.h * plane.blockSize + 63) / 64 * 64 + 64;
      plane.rowsKept = (oneScan_ ? std::min(kept, mcuRows) : mcuRows) * plane.blockSize * (interleaved ? c.v : 1);
      plane.samples = AlignedArray<Sample>(static_cast<size_t>(plane.step) * static_cast<size_t>(plane.rowsKept));
    }
    scratch_.resize(static_cast<size_t>(options_.threads));
    for (Scratch& scratch : scratch_) {
      for (size_t c = 0; c < planes_.size(); ++c) {
        scratch.rows[c] = AlignedArray<Sample>(static_cast<size_t>(picture_.width) + 64); // doubled rows may be longer
      }
      scratch.blocks = AlignedArray<Block>(kBlocksOfRun);
    }
  }

  Error prepareScan(const ScanHeader& scanHeader) {
    tables_.scan = layOutScan(header_.frame, scanHeader.components);
    for (const int c : scanHeader.components) {
      makeInverseTable(header_.quantTables[header_.frame.components[static_cast<size_t>(c)].quantTable],
                       tables_.inverse[c]);
      const int dc = scanHeader.dcTable[c], ac = scanHeader.acTable[c];
      if (!header_.dc[dc] || !header_.ac[ac]) {
        if (Error error = useTypicalTables(header_)) return error;
      }
      if (!header_.dc[dc] || !header_.ac[ac]) return fail("a Huffman table is missing");
      tables_.huffman.dc[c] = header_.dc[dc].get();
      tables_.huffman.ac[c] = header_.ac[ac].get();
    }
    return {};
  }

  // All scans of a progressive file. What they make of it is transformed row by row.
  Error readAllScans() {
    uint16_t steps[4][64];
    if (Error error = readCoefficients(source_, header_, firstScan_, options_.scansRead, options_.threads, damage_,
                                       coefficients_, steps)) {
      return error;
    }
    std::vector<int> all;
    for (size_t c = 0; c < header_.frame.components.size(); ++c) {
      makeInverseTable(steps[c], tables_.inverse[c]);
      all.push_back(static_cast<int>(c));
    }
    tables_.scan = layOutScan(header_.frame, all);
    return {};
  }

  void transformCoefficients(int mcuRow) {
    const Scan& scan = tables_.scan;
    for (int x = 0; x < scan.mcusWide; ++x) {
      for (const ScanBlock& b : scan.mcu) {
        const Plane<Sample>& plane = planes_[static_cast<size_t>(b.component)];
        transformInverse(coefficients_->block(b, x, mcuRow).coefficients,
                         plane.row((mcuRow * b.down + b.y) * plane.blockSize) + (x * b.across + b.x) * plane.blockSize,
                         plane.step * static_cast<int>(sizeof(Sample)), tables_.inverse[b.component], plane.blockSize,
                         coefficients_->corner(b.component));
      }
    }
  }

  // Several scans: all of them are decoded into whole planes.
  Error decodeScans() {
    std::vector<bool> done(planes_.size());
    ScanHeader scanHeader = firstScan_;
    MarkerReader markers(source_);
    while (!scanHeader.components.empty()) {
      for (const int c : scanHeader.components) {
        if (done[static_cast<size_t>(c)]) return fail("a component has a second scan");
        done[static_cast<size_t>(c)] = true;
      }
      if (Error error = prepareScan(scanHeader)) return error;
      ScanReader reader(source_, tables_.scan, tables_.huffman, header_.restartInterval, damage_);
      for (int row = 0; row < tables_.scan.mcusHigh; ++row) {
        if (Error error = decodeMcuRow(row, reader, scratch_[0])) return error;
      }
      if (Error error = reader.finish()) return error;
      scanHeader = {};
      if (std::find(done.begin(), done.end(), false) == done.end()) break;
      if (Error error = readToScan(markers, header_, scanHeader, damage_)) return error;
    }
    for (size_t c = 0; c < done.size(); ++c) {
      if (done[c]) continue;
      damage_.note("a component has no scan");
      if (damage_.stops()) return damage_.error();
      std::fill_n(planes_[c].samples.data(), planes_[c].samples.size(), static_cast<Sample>(1 << (picture_.bits - 1)));
    }
    return {};
  }

  // Starts to load the memory of the pixels that will be put out when a row of MCUs is complete: stores to memory that
  // is far away would wait. (Inline, since compilers take a function that only prefetches for one without effect, and
  // drop its calls.)
  [[gnu::always_inline]] void fetchAhead(int mcuColumn) const {
    const size_t offset =
        picture_.rowBytes() * static_cast<size_t>(mcuColumn) / static_cast<size_t>(tables_.scan.mcusWide);
    const int rows = std::min(rowsOfMcuRow_, target_.count);
    for (int y = 0; y < rows; ++y) __builtin_prefetch(target_.template row<uint8_t>(y) + offset, 1);
  }

  void transformRun(const Run& run, const Block* block) {
    for (int m = 0; m < run.count; ++m) {
      fetchAhead(run.x + m);
      for (const ScanBlock& b : tables_.scan.mcu) {
        const Plane<Sample>& plane = planes_[static_cast<size_t>(b.component)];
        const int column = (run.x + m) * b.across + b.x, row = run.y * b.down + b.y;
        transformInverse(block++->coefficients, plane.row(row * plane.blockSize) + column * plane.blockSize,
                         plane.step * static_cast<int>(sizeof(Sample)), tables_.inverse[b.component], plane.blockSize);
      }
    }
  }

  // Reads and transforms a row of MCUs run by run.
  Error decodeMcuRow(int mcuRow, ScanReader& reader, Scratch& scratch) {
    const Scan& scan = tables_.scan;
    for (int x = 0; x < scan.mcusWide;) {
      const Run run{x, mcuRow, std::min(scan.mcusWide - x, mcusOfRun(scan))};
      if (Error error = reader.read(run.count, scratch.blocks.data())) return error;
      transformRun(run, scratch.blocks.data());
      x += run.count;
    }
    return {};
  }

  // C, M, Y, K, or Y, Cb, Cr, K. Files of Adobe's count them from the other end.
  void putOutInks(const Sample* const rows[4], Sample* pixels) const {
    if constexpr (std::is_same_v<Sample, Zel8u>) {
      const int width = picture_.width;
      if (header_.adobeTransform.value_or(0) == 2) {
        for (int x = 0; x < width; x += kPixelsOfOneThread) {
          const int count = std::min(width - x, kPixelsOfOneThread);
          const Zel8u* const planes[4] = {rows[0] + x, rows[1] + x, rows[2] + x, rows[3] + x};
          zeliYCCKToCMYK_JPEG_8u_P4C4R(planes, count, pixels + 4 * x, 4 * count, {count, 1});
        }
      } else {
        img::joinChannels(rows, 4, width, pixels);
      }
      if (!header_.adobeTransform) return;
      std::transform(pixels, pixels + 4 * width, pixels, [](Zel8u v) { return static_cast<Zel8u>(~v); });
    }
  }

  // Planes to pixels: the row y of the image.
  void putOutRow(int y, Sample* pixels, Scratch& scratch) const {
    const Sample* rows[4] = {};
    const size_t channels = planes_.size();
    for (size_t c = 0; c < channels; ++c) rows[c] = upsamplers_[c].row(y, scratch.rows[c].data());
    if (convert_) {
      convertInverse(rows, pixels, picture_.width);
    } else if (channels == 4) {
      putOutInks(rows, pixels);
    } else if (channels == 1) {
      std::memcpy(pixels, rows[0], picture_.rowBytes());
    } else {
      img::joinChannels(rows, static_cast<int>(channels), picture_.width, pixels);
    }
  }

  // Up to about nine bytes a block entropy decoding takes less time than transforms and colours.
  bool hasFewData() const {
    constexpr uint64_t kBytesOfBlock = 9;
    const std::optional<uint64_t> size = source_.size();
    const auto blocks = static_cast<uint64_t>(tables_.scan.mcuCount()) * tables_.scan.mcu.size();
    return size && *size - source_.position() < kBytesOfBlock * blocks;
  }

  // Looks whether rows of MCUs can be read side by side: they begin with restart intervals or not far behind.
  void findParallelIntervals() {
    const int64_t interval = header_.restartInterval;
    const int wide = tables_.scan.mcusWide;
    if (interval % wide == 0 && interval / wide <= kLongestInterval)
      rowsOfGroup_ = static_cast<int>(interval / wide);
    else if (wide % interval == 0 || interval * 4 <= wide)
      rowsOfGroup_ = 1;
    else
      return;
    finder_.emplace(source_, (tables_.scan.mcuCount() + interval - 1) / interval);
    scanReader_.reset();
  }

  // Looks for the restart intervals of a group, the last of which may be that of the next group, too.
  Error findGroup(Group& group) {
    const int64_t wide = tables_.scan.mcusWide, interval = header_.restartInterval;
    const int64_t first = group.begin * wide / interval, last = (group.end * wide - 1) / interval;
    for (int64_t i = first; i <= last; ++i) {
      if (Error error = finder_->find(i, group.found)) return error;
      if (i == first) group.data = finder_->begin();
      if (group.found != IntervalFinder::Found::whole) return {};
    }
    group.bytes = source_.visible().subspan(group.data);
    return {};
  }

  std::unique_ptr<ScanReader> readerOf(img::ByteSource& source) {
    return std::make_unique<ScanReader>(source, tables_.scan, tables_.huffman, header_.restartInterval, damage_);
  }

  // A reader that stands at the first MCU of a group.
  Error openAt(const Group& group, std::unique_ptr<img::ByteSource>& source, std::unique_ptr<ScanReader>& reader) {
    source = std::make_unique<img::ByteSource>(group.bytes);
    reader = readerOf(*source);
    return reader->skipTo(int64_t{group.begin} * tables_.scan.mcusWide);
  }

  img::ByteSource& source_;
  const DecodeOptions options_;
  Header header_;
  ScanHeader firstScan_;
  int size_ = 8; // of a block at full resolution
  bool oneScan_ = true, convert_ = false, looksAround_ = false, progressive_ = false;
  std::unique_ptr<CoefficientImage> coefficients_; // of a progressive file
  int rowsOfMcuRow_ = 8;                           // rows of the image
  int rowsDone_ = 0, mcuRowsDone_ = 0;             // put out; in the planes
  Rows target_;                                    // of the reading call that goes on
  std::vector<Plane<Sample>> planes_;
  std::vector<Upsampler<Sample>> upsamplers_;
  std::vector<Scratch> scratch_; // by thread
  ScanTables tables_;
  std::unique_ptr<ScanReader> scanReader_;
  std::optional<IntervalFinder> finder_; // where restart intervals are decoded side by side
  bool readsRows_ = false;               // in their order, while others are transformed side by side
  int rowsOfGroup_ = 1;                  // rows of MCUs that are decoded by one thread
};

} // namespace

Error openReader(img::ByteSource& source, const DecodeOptions& options, std::unique_ptr<img::RowReader>& reader) {
  if (Error error = readStart(source)) return error;
  Header header;
  ScanHeader scan;
  Damage damage(options.keepGoing);
  MarkerReader markers(source);
  const Error error = readToScan(markers, header, scan, damage);
  const Frame& frame = header.frame;
  if (header.process) {
    // A file that is not for this decoder says so, whatever is odd about the rest of it.
    if (Error bad = checkSupported(header.process, frame.bits, frame.components.size())) return bad;
  }
  if (error) return error;
  if (scan.components.empty()) return fail("the file holds no image");
  if (Error bad = img::checkSize(frame.width, frame.height, options.maxPixels)) return bad;
  if (header.process == kSof3) {
    return openLosslessReader(source, options, std::move(header), scan, damage, reader);
  }
  if (Error bad = checkPlausible(header, source, options.keepGoing)) return bad;
  if (takesRoad(options, header)) {
    reader = openRoadReader(source, options, std::move(header), scan, damage);
    return {};
  }
  const auto open = [&](auto own) {
    Error bad = own->open(std::move(header), scan, damage);
    if (!bad) reader = std::move(own);
    return bad;
  };
  if (frame.bits == 8) return open(std::make_unique<Reader<Zel8u>>(source, options));
  return open(std::make_unique<Reader<Zel16u>>(source, options));
}

Error decode(ByteSpan file, const DecodeOptions& options, Image& image, std::string& damageText) {
  damageText.clear();
  img::ByteSource source(file);
  std::unique_ptr<img::RowReader> reader;
  if (Error error = openReader(source, options, reader)) return error;
  if (!reader->pushes()) {
    if (Error error = readAll(*reader, image)) return error;
  } else {
    shape(image, reader->picture());
    img::ImageWriter writer(image);
    if (Error error = copyRows(*reader, writer, options.threads)) return error;
  }
  if (reader->damaged()) damageText = reader->remarks().front();
  return {};
}

} // namespace jpeg
