#include "jpeg/lossless.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "common/layout.h"
#include "common/workers.h"
#include "jpeg/huffman.h"
#include "jpeg/lossless_joiner.h"
#include "jpeg/lossless_planes.h"
#include "jpeg/writer.h"

namespace jpeg {
namespace {

constexpr int kMostPlanes = 4;

// A row of 16-bit values for each component.
struct PlaneRows {
  std::vector<Zel16s> values[kMostPlanes];
  Zel16s* rows[kMostPlanes] = {};

  void resize(size_t planes, int width) {
    for (size_t c = 0; c < planes; ++c) resizeRow(c, width);
  }
  void resizeRow(size_t c, int width) {
    values[c].assign(static_cast<size_t>(width), 0);
    rows[c] = values[c].data();
  }
};

// No sample takes more bytes: 16 bits of a code and 15 behind it, twice as many if each byte is 0xFF.
constexpr size_t kBytesOfSample = 8;

size_t mostBytesOfRow(const img::Picture& picture) {
  return picture.rowSamples() * kBytesOfSample + 64;
}

// Y, Cb, Cr are kept as they are, pairs of pixels with half as much chroma; other layouts become the usual one.
class Writer : public img::RowWriter {
 public:
  Writer(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options)
      : sink_(sink),
        picture_(picture),
        options_(options),
        planes_(static_cast<size_t>(picture.channels())),
        pairs_(picture.layout == img::Layout::yuyv),
        ycc_(pairs_ || picture.layout == img::Layout::ycc),
        mcusWide_(pairs_ ? (picture.width + 1) / 2 : picture.width),
        rowsOfInterval_(options.restartInRows ? options.restartInterval : options.restartInterval / mcusWide_) {}

  Error begin() {
    const int64_t interval = int64_t{rowsOfInterval_} * mcusWide_;
    if (!options_.restartInRows && interval != options_.restartInterval) {
      return fail("a restart interval of a lossless file holds whole rows");
    }
    if (interval > 65535) return fail("a restart interval holds 65535 samples at most, not %lld", (long long)interval);
    if (options_.pointTransform >= picture_.bits) return fail("the point transform leaves no bits");
    resize(differences_);
    works_.resize(1);
    prepare(works_[0]);
    ZeliEncodeHuffmanState* state = nullptr;
    if (zeliEncodeHuffmanStateInitAlloc_JPEG_8u(&state) != zelStatusOk) throw std::bad_alloc();
    state_.reset(state);
    if (options_.optimize) {
      for (size_t c = 0; c < planes_; ++c) {
        kept_[c] = img::AlignedArray<Zel16s>(static_cast<size_t>(width(c)) * static_cast<size_t>(picture_.height));
      }
      return {};
    }
    // Differences come about half as often for each bit more or less than is usual.
    SymbolCounts counts;
    const int usual = std::max(1, (picture_.bits - options_.pointTransform) / 3);
    for (int c = 0; c <= 16; ++c) counts.count[c] = 1u << std::max(0, 24 - 2 * std::abs(c - usual));
    const HuffmanList list = optimalList(counts);
    return beginScan({list, list, list, list});
  }

  Error write(const img::ConstRows& rows) override {
    for (int y = 0; y < rows.count; ++y, ++row_) {
      Zel16s* to[kMostPlanes];
      placeFor(row_, differences_, to);
      subtract(rows.row<uint8_t>(y), row_, works_[0], to);
      if (options_.optimize) continue;
      if (Error error = codeRow(row_, to)) return error;
    }
    return {};
  }

  bool pulls() const override { return options_.threads > 1; }

  // Rows are read and coded one after the other; what lies between goes side by side.
  Error pull(img::RowReader& reader, const img::Progress& progress) override {
    constexpr int kRowsOfItem = 16;
    struct Slot {
      Bytes pixels; // behind those of the row above
      PlaneRows differences[kRowsOfItem];
    };
    const size_t rowBytes = picture_.rowBytes();
    img::Pipeline pipeline;
    pipeline.items = divideUp(picture_.height, kRowsOfItem);
    std::vector<Slot> slots(static_cast<size_t>(options_.threads * img::Pipeline::kSlotsOfThread));
    for (Slot& slot : slots) {
      slot.pixels.resize(rowBytes * (kRowsOfItem + 1));
      for (PlaneRows& rows : slot.differences) resize(rows);
    }
    works_.resize(static_cast<size_t>(options_.threads));
    for (Work& work : works_) prepare(work);
    const auto rowsOf = [&](int64_t item, Slot& slot) {
      const int y = static_cast<int>(item) * kRowsOfItem;
      return img::Rows{slot.pixels.data() + rowBytes, static_cast<ptrdiff_t>(rowBytes),
                       std::min(kRowsOfItem, picture_.height - y)};
    };
    Bytes above(rowBytes);
    Error readError, codeError;
    pipeline.begin = [&](int64_t item, int number) {
      Slot& slot = slots[static_cast<size_t>(number)];
      const img::Rows rows = rowsOf(item, slot);
      std::copy(above.begin(), above.end(), slot.pixels.begin());
      readError = reader.read(rows);
      std::copy_n(rows.row<uint8_t>(rows.count - 1), rowBytes, above.begin());
      return !readError;
    };
    pipeline.work = [&](int64_t item, int number) {
      Slot& slot = slots[static_cast<size_t>(number)];
      Work& work = works_[static_cast<size_t>(number / img::Pipeline::kSlotsOfThread)];
      const img::Rows rows = rowsOf(item, slot);
      const int first = static_cast<int>(item) * kRowsOfItem;
      if (first > 0) splitRow(slot.pixels.data(), work, work.above);
      for (int y = 0; y < rows.count; ++y) {
        Zel16s* to[kMostPlanes];
        placeFor(first + y, slot.differences[y], to);
        subtract(rows.row<uint8_t>(y), first + y, work, to);
      }
      return true;
    };
    pipeline.end = [&](int64_t item, int number) {
      Slot& slot = slots[static_cast<size_t>(number)];
      const int first = static_cast<int>(item) * kRowsOfItem, count = rowsOf(item, slot).count;
      for (int y = 0; y < count && !options_.optimize && !codeError; ++y) {
        codeError = codeRow(first + y, slot.differences[y].rows);
      }
      if (progress) progress(first + count);
      return !codeError;
    };
    run(pipeline, options_.threads);
    return codeError ? codeError : readError;
  }

  Error finish() override {
    if (options_.optimize) {
      if (Error error = writeKept()) return error;
    }
    makeRoom();
    if (Error error = code(nullptr, 1)) return error;
    bytes_.resize(static_cast<size_t>(position_));
    SegmentWriter(bytes_).marker(kEoi);
    return sink_.write(bytes_);
  }

 private:
  int width(size_t c) const { return pairs_ && c == 0 ? 2 * mcusWide_ : mcusWide_; }

  // What one thread needs.
  struct Work {
    PlaneRows own, above; // samples of the row, and of the one above
    Bytes usual;
    SymbolCounts counts[kMostPlanes]; // where tables are made to measure
  };

  void resize(PlaneRows& rows) const {
    for (size_t c = 0; c < planes_; ++c) rows.resizeRow(c, width(c));
  }
  void prepare(Work& work) const {
    resize(work.own);
    resize(work.above);
    work.usual.resize(picture_.rowSamples());
  }

  void splitRow(const uint8_t* row, Work& work, PlaneRows& to) const {
    if (pairs_) {
      splitPairs(row, to);
    } else if (picture_.sampleBytes() == 2) {
      split(reinterpret_cast<const Zel16u*>(row), to);
    } else if (ycc_ || picture_.layout == img::Layout::usual) {
      split(row, to);
    } else {
      img::toUsual(picture_.layout, row, picture_.width, work.usual.data(), picture_.channels());
      split(work.usual.data(), to);
    }
  }

  void splitPairs(const Zel8u* pair, PlaneRows& to) const {
    const int shift = options_.pointTransform;
    Zel16s* const* rows = to.rows;
    for (int x = 0; x < mcusWide_; ++x, pair += 4) {
      rows[0][2 * x] = static_cast<Zel16s>(pair[0] >> shift);
      rows[1][x] = static_cast<Zel16s>(pair[1] >> shift);
      rows[0][2 * x + 1] = static_cast<Zel16s>(pair[2] >> shift);
      rows[2][x] = static_cast<Zel16s>(pair[3] >> shift);
    }
  }

  // C, M, Y, K are inverted in files.
  template <class Sample>
  void split(const Sample* row, PlaneRows& rows) const {
    const int shift = options_.pointTransform, flip = picture_.colour == img::Colour::cmyk ? picture_.maxValue() : 0;
    for (size_t c = 0; c < planes_; ++c) {
      Zel16s* to = rows.rows[c];
      for (size_t x = 0; x < static_cast<size_t>(picture_.width); ++x) {
        to[x] = static_cast<Zel16s>((row[x * planes_ + c] ^ flip) >> shift);
      }
    }
  }

  bool beginsInterval(int y) const { return y == 0 || (rowsOfInterval_ && y % rowsOfInterval_ == 0); }

  // Where the differences of a row go: all of them are kept where tables are made to measure.
  void placeFor(int y, const PlaneRows& passing, Zel16s** to) const {
    for (size_t c = 0; c < planes_; ++c) {
      to[c] = options_.optimize ? kept_[c].data() + static_cast<ptrdiff_t>(y) * width(c) : passing.rows[c];
    }
  }

  // Row y; what stands in `work.above` is the row in front of it.
  void subtract(const uint8_t* pixels, int y, Work& work, Zel16s* const* to) const {
    splitRow(pixels, work, work.own);
    for (size_t c = 0; c < planes_; ++c) {
      const Zel16s* row = work.own.rows[c];
      if (beginsInterval(y))
        zeliDiffPredFirstRow_JPEG_16s_C1(row, to[c], width(c), picture_.bits, options_.pointTransform);
      else
        zeliDiffPredRow_JPEG_16s_C1(row, work.above.rows[c], to[c], width(c), options_.predictor);
      for (int x = 0; x < width(c) && options_.optimize; ++x) {
        zeliGetHuffmanStatisticsOne_JPEG_16s_C1(to[c] + x, work.counts[c].count);
      }
    }
    std::swap(work.own, work.above);
  }

  Error writeKept() {
    std::array<HuffmanList, kMostPlanes> lists{};
    for (size_t c = 0; c < planes_; ++c) {
      SymbolCounts all;
      for (const Work& work : works_) {
        for (int i = 0; i < 256; ++i) all.count[i] += work.counts[c].count[i];
      }
      lists[c] = optimalList(all);
    }
    if (Error error = beginScan(lists)) return error;
    for (int y = 0; y < picture_.height; ++y) {
      Zel16s* rows[kMostPlanes] = {};
      placeFor(y, differences_, rows);
      if (Error error = codeRow(y, rows)) return error;
    }
    return {};
  }

  Error codeRow(int y, Zel16s* const* rows) {
    constexpr Zel32s kPiece = 1 << 16;
    if (position_ >= kPiece) {
      if (Error error = sink_.write({bytes_.data(), static_cast<size_t>(position_)})) return error;
      position_ = 0;
    }
    makeRoom();
    if (y > 0 && beginsInterval(y)) {
      if (Error error = code(nullptr, 1)) return error;
      bytes_[static_cast<size_t>(position_++)] = 0xFF;
      bytes_[static_cast<size_t>(position_++)] = static_cast<uint8_t>(kRst0 + (y / rowsOfInterval_ - 1) % 8);
    }
    const Zel16s* from[kMostPlanes] = {rows[0], rows[1], rows[2], rows[3]};
    return pairs_ ? codePairs(from) : code(from, 0);
  }

  // Two samples of Y and one each of the others in turn.
  Error codePairs(const Zel16s** rows) {
    const auto length = static_cast<Zel32s>(bytes_.size());
    for (int x = 0; x < mcusWide_; ++x) {
      for (int i = 0; i < 4; ++i) {
        const size_t c = i < 2 ? 0 : static_cast<size_t>(i) - 1;
        const ZelStatus status =
            zeliEncodeHuffmanOne_JPEG_16s1u_C1(i < 2 ? &rows[0][2 * x + i] : &rows[c][x], bytes_.data(), length,
                                               &position_, specs_[c].get(), state_.get(), 0);
        if (status != zelStatusOk) return fail("the entropy coder failed (status %d)", status);
      }
    }
    return {};
  }

  void makeRoom() {
    const size_t needed = static_cast<size_t>(position_) + mostBytesOfRow(picture_);
    if (bytes_.size() < needed) bytes_.resize(needed);
  }

  Error code(const Zel16s** rows, int flush) {
    const ZeliEncodeHuffmanSpec* tables[kMostPlanes] = {};
    for (size_t c = 0; c < planes_; ++c) tables[c] = specs_[c].get();
    const ZelStatus status = zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, picture_.width, static_cast<Zel32s>(planes_),
                                                                  bytes_.data(), static_cast<Zel32s>(bytes_.size()),
                                                                  &position_, tables, state_.get(), flush);
    return status == zelStatusOk ? Error{} : fail("the entropy coder failed (status %d)", status);
  }

  Error beginScan(const std::array<HuffmanList, kMostPlanes>& lists) {
    Frame frame;
    frame.bits = picture_.bits;
    frame.width = picture_.width;
    frame.height = picture_.height;
    ScanSpec scan{{}, options_.predictor, 0, 0, options_.pointTransform};
    std::vector<int> tables;
    for (size_t c = 0; c < planes_; ++c) {
      Component component;
      component.id = planes_ == 3 && !ycc_ ? "RGB"[c] : static_cast<int>(c) + 1;
      if (pairs_ && c == 0) component.h = 2;
      frame.components.push_back(component);
      scan.components.push_back(static_cast<int>(c));
      tables.push_back(static_cast<int>(c) << 4);
    }
    Bytes header;
    SegmentWriter writer(header);
    writer.marker(kSoi);
    // A JFIF segment would make Y, Cb, Cr of three components.
    if (planes_ != 3 || ycc_) writer.jfif(picture_.metadata.density);
    if (planes_ > 1 && !ycc_) writer.adobe(0);
    remarks_ = writer.metadata(picture_.metadata);
    writer.frame(kSof3, frame);
    for (size_t c = 0; c < planes_; ++c) {
      ZeliEncodeHuffmanSpec* spec = nullptr;
      if (zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(lists[c].bits, lists[c].values, &spec) != zelStatusOk) {
        return fail("cannot make Huffman tables");
      }
      specs_[c].reset(spec);
      writer.huffmanTable(0, static_cast<int>(c), lists[c]);
    }
    if (rowsOfInterval_) writer.restartInterval(rowsOfInterval_ * mcusWide_);
    writer.scan(frame, scan, tables);
    return sink_.write(header);
  }

  img::ByteSink& sink_;
  const img::Picture picture_;
  const EncodeOptions options_;
  const size_t planes_;
  const bool pairs_, ycc_;
  const int mcusWide_, rowsOfInterval_;
  int row_ = 0;
  std::vector<Work> works_; // by thread
  PlaneRows differences_;
  EncodeState state_;
  EncodeSpec specs_[kMostPlanes];
  Bytes bytes_;
  Zel32s position_ = 0;
  img::AlignedArray<Zel16s> kept_[kMostPlanes]; // all differences, where tables are made to measure
};

// What no reader of this process takes, and headers that make no sense.
Error checkHeader(const Header& header, const ScanHeader& scan, const DecodeOptions& options,
                  const img::ByteSource& source) {
  const Frame& frame = header.frame;
  const size_t planes = frame.components.size();
  if (planes == 2) return fail("files of two components are not supported");
  if (frame.bits < 2 || frame.bits > 16) return fail("%d bits a sample are not supported", frame.bits);
  if (scan.Ss < 1 || scan.Ss > 7 || scan.Al >= frame.bits) return fail("bad scan header");
  if (LosslessJoiner(header).converts() && frame.bits != 8 && frame.bits != 12) {
    return fail("lossless Y, Cb, Cr of %d bits are not supported", frame.bits);
  }
  if (planes == 4 && header.adobeTransform.value_or(0) == 2) return fail("lossless YCCK files are not supported");
  if (options.scale != 1) return fail("a lossless file has no pictures of reduced size");
  // A sample takes a bit at least.
  const std::optional<uint64_t> size = source.size();
  uint64_t samples = 0;
  for (const Component& c : frame.components)
    samples += static_cast<uint64_t>(c.width) * static_cast<uint64_t>(c.height);
  if (size && !options.keepGoing && samples / 8 > *size) {
    return fail("the file is too short for %d x %d pixels", frame.width, frame.height);
  }
  return {};
}

// Whether one scan holds as many samples of each component.
bool isSimple(const Header& header, const ScanHeader& scan) {
  const Frame& frame = header.frame;
  const auto full = [&](const Component& c) { return c.h == frame.hMax && c.v == frame.vMax; };
  return scan.components.size() == frame.components.size() &&
         std::all_of(frame.components.begin(), frame.components.end(), full) &&
         (frame.components.size() == 1 || (frame.hMax == 1 && frame.vMax == 1));
}

class Reader : public DamageReader {
 public:
  Reader(img::ByteSource& source, const DecodeOptions& options, const Header& header, const ScanHeader& scan)
      : DamageReader(options.keepGoing),
        source_(source),
        joiner_(header),
        planes_(header.frame.components.size()),
        predictor_(scan.Ss),
        pointTransform_(scan.Al),
        threads_(options.threads) {
    picture_ = joiner_.picture();
    rowsOfInterval_ = header.restartInterval / picture_.width;
  }

  Error open(const Header& header, const ScanHeader& scan, const Damage& damageOfHeader) {
    for (const std::string& remark : damageOfHeader.remarks()) damage_.remark(remark);
    if (header.restartInterval % picture_.width) return fail("a restart interval that is no number of rows");
    for (size_t c = 0; c < planes_; ++c) {
      specs_[c] = header.dc[scan.dcTable[c]];
      tables_[c] = specs_[c].get();
      if (!tables_[c]) return fail("a Huffman table is missing");
    }
    samples_[0].resize(planes_, picture_.width);
    samples_[1].resize(planes_, picture_.width);
    differences_.resize(planes_, picture_.width);
    ZeliDecodeHuffmanState* state = nullptr;
    if (zeliDecodeHuffmanStateInitAlloc_JPEG_8u(&state) != zelStatusOk) throw std::bad_alloc();
    state_.reset(state);
    return {};
  }

  Error read(const img::Rows& rows) override {
    for (int y = 0; y < rows.count; ++y) {
      RowState state;
      if (Error error = readDifferences(differences_, state)) return error;
      makeRow(differences_, state, rows, y);
    }
    return {};
  }

  bool pushes() const override { return threads_ > 1; }

  // One thread reads differences, another makes pixels of them and writes these.
  Error push(img::RowWriter& writer, const img::Progress& progress) override {
    constexpr int kRowsOfItem = 16;
    struct Slot {
      PlaneRows differences[kRowsOfItem];
      RowState states[kRowsOfItem];
    };
    img::Pipeline pipeline;
    pipeline.items = divideUp(picture_.height, kRowsOfItem);
    pipeline.beginsEarly = true;
    std::vector<Slot> slots(2 * img::Pipeline::kSlotsOfThread);
    for (Slot& slot : slots) {
      for (PlaneRows& rows : slot.differences) rows.resize(planes_, picture_.width);
    }
    Bytes pixels(picture_.rowBytes() * kRowsOfItem);
    const auto rowsOf = [&](int64_t item) {
      return std::min(kRowsOfItem, picture_.height - static_cast<int>(item) * kRowsOfItem);
    };
    Error readError, writeError;
    pipeline.begin = [&](int64_t item, int slot) {
      Slot& own = slots[static_cast<size_t>(slot)];
      for (int y = 0; y < rowsOf(item) && !readError; ++y)
        readError = readDifferences(own.differences[y], own.states[y]);
      return !readError;
    };
    pipeline.work = [](int64_t, int) { return true; };
    pipeline.end = [&](int64_t item, int slot) {
      Slot& own = slots[static_cast<size_t>(slot)];
      const img::Rows rows{pixels.data(), static_cast<ptrdiff_t>(picture_.rowBytes()), rowsOf(item)};
      for (int y = 0; y < rows.count; ++y) makeRow(own.differences[y], own.states[y], rows, y);
      writeError = writer.write(asConst(rows));
      if (progress) progress(static_cast<int>(item) * kRowsOfItem + rows.count);
      return !writeError;
    };
    run(pipeline, 2);
    return writeError ? writeError : readError;
  }

  Error finish() override {
    int marker = marker_;
    if (!marker) {
      if (Error error = findMarker(marker)) return error;
    }
    if (marker == 0) damage_.remark("the end of the image is not marked");
    return DamageReader::finish();
  }

 private:
  // What is known of a row but its differences.
  struct RowState {
    bool first = false; // of a restart interval
    bool lost = false;
  };

  Error readDifferences(PlaneRows& differences, RowState& state) {
    state = {row_ == 0, false};
    if (row_ > 0 && rowsOfInterval_ && row_ % rowsOfInterval_ == 0) {
      if (Error error = restart()) return error;
      state.first = !ended_;
    }
    ++row_;
    state.lost = ended_;
    if (ended_) return {};
    if (Error error = source_.fill(mostBytesOfRow(picture_))) return error;
    const ByteSpan visible = source_.visible();
    Zel32s position = 0;
    const Zel8u nothing = 0;
    const ZelStatus status = zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(
        visible.empty() ? &nothing : visible.data(),
        static_cast<Zel32s>(std::clamp<size_t>(visible.size(), 1, INT32_MAX)), &position, differences.rows,
        picture_.width, static_cast<Zel32s>(planes_), &marker_, tables_, state_.get());
    source_.skip(std::min(static_cast<size_t>(position), visible.size()));
    if (status == zelStatusOk) return {};
    damage_.note(img::format("damaged or missing data in row %d of %d", row_, picture_.height));
    state.lost = ended_ = true;
    return damage_.stops() ? damage_.error() : Error{};
  }

  // Where a row is lost, the row above is all that is known.
  void makeRow(const PlaneRows& differences, const RowState& state, const img::Rows& rows, int y) {
    std::swap(samples_[0], samples_[1]);
    for (size_t c = 0; c < planes_; ++c) {
      const Zel16s *from = differences.rows[c], *above = samples_[1].rows[c];
      Zel16s* const to = samples_[0].rows[c];
      if (state.lost)
        std::copy_n(above, picture_.width, to);
      else if (state.first)
        zeliReconstructPredFirstRow_JPEG_16s_C1(from, to, picture_.width, picture_.bits, pointTransform_);
      else
        zeliReconstructPredRow_JPEG_16s_C1(from, above, to, picture_.width, predictor_);
    }
    const int shifts[kMostPlanes] = {pointTransform_, pointTransform_, pointTransform_, pointTransform_};
    joiner_.join(samples_[0].rows, shifts, rows, y);
  }

  // Moves behind the next marker of the source; 0: there is none.
  Error findMarker(int& marker) {
    uint64_t skipped = 0;
    return MarkerReader(source_).next(marker, skipped);
  }

  Error restart() {
    const int expected = kRst0 + (row_ / rowsOfInterval_ - 1) % 8;
    int marker = marker_ ? marker_ : pending_;
    if (!marker) {
      if (Error error = findMarker(marker)) return error;
    }
    ended_ = marker != expected;
    pending_ = ended_ ? marker : 0;
    marker_ = 0;
    if (ended_) damage_.note(img::format("a restart marker is missing in front of row %d", row_ + 1));
    zeliDecodeHuffmanStateInit_JPEG_8u(state_.get());
    return damage_.stops() ? damage_.error() : Error{};
  }

  img::ByteSource& source_;
  LosslessJoiner joiner_;
  const size_t planes_;
  const int predictor_, pointTransform_, threads_;
  int rowsOfInterval_ = 0, row_ = 0;
  PlaneRows samples_[2]; // of the row, and of the one above
  PlaneRows differences_;
  DecodeState state_;
  DecodeSpec specs_[kMostPlanes];
  const ZeliDecodeHuffmanSpec* tables_[kMostPlanes] = {};
  Zel32s marker_ = 0;
  int pending_ = 0; // a marker that may belong to a later interval
  bool ended_ = false;
};

} // namespace

Error openLosslessReader(img::ByteSource& source, const DecodeOptions& options, Header&& header, const ScanHeader& scan,
                         const Damage& damageOfHeader, std::unique_ptr<img::RowReader>& reader) {
  if (Error error = checkHeader(header, scan, options, source)) return error;
  if (!isSimple(header, scan)) {
    reader = openLosslessPlanes(source, options, std::move(header), scan, damageOfHeader);
    return {};
  }
  auto own = std::make_unique<Reader>(source, options, header, scan);
  Error error = own->open(header, scan, damageOfHeader);
  if (!error) reader = std::move(own);
  return error;
}

Error openLosslessWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                         std::unique_ptr<img::RowWriter>& writer) {
  if (picture.bits < 2 || picture.bits > 16 || picture.channels() > kMostPlanes || picture.channels() == 2) {
    return fail("a lossless JPEG file holds one, three or four components of 2 to 16 bits");
  }
  auto own = std::make_unique<Writer>(sink, picture, options);
  Error error = own->begin();
  if (!error) writer = std::move(own);
  return error;
}

} // namespace jpeg
