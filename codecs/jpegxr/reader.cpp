#include "jpegxr/samples.h"
#include "jpegxr/tile_decoder.h"
#include "jpegxr/transform.h"

namespace jpegxr {
namespace {

class Reader : public img::RowReader {
 public:
  Reader(const Header& header, const DecodeOptions& options)
      : header_(header),
        options_(options),
        planes_(header_, options.threads),
        tile_(header_, planes_),
        samples_(header_, planes_) {
    picture_.width = header_.width;
    picture_.height = header_.height;
    picture_.colour = header_.isRgb ? img::Colour::rgb : img::Colour::grey;
    picture_.bits = header_.bits;
    for (int c = 0; c < header_.components(); ++c) transforms_.emplace_back(header_, c, planes_.component[c]);
  }

  Error open(img::ByteSource& source, const std::array<Packet, 4>& packets) {
    return tile_.open(source, packets, options_.keepGoing);
  }

  Error read(const img::Rows& rows) override {
    for (int y = 0; y < rows.count; ++y) {
      for (; next_ == end_; ++decoded_) {
        if (Error error = tile_.decodeRow(decoded_)) return error;
        transformRow();
      }
      samples_.get(next_++, rows.row<uint8_t>(y));
    }
    return {};
  }

  int rowsAtOnce() const override { return 16; }

  bool pushes() const override { return options_.threads > 1; }

  // One thread decodes rows of macroblocks while the other makes pixels of those that are decoded.
  Error push(img::RowWriter& writer, const img::Progress& progress) override {
    const size_t rowBytes = picture_.rowBytes();
    const img::AlignedArray<uint8_t> pixels(rowBytes * kMostRowsOut);
    Error decodeError, writeError;
    img::Pipeline pipeline;
    pipeline.items = header_.rows();
    pipeline.beginsEarly = true;
    pipeline.begin = [&](int64_t row, int) { return !(decodeError = tile_.decodeRow(static_cast<int>(row))); };
    pipeline.work = [](int64_t, int) { return true; };
    pipeline.end = [&](int64_t, int) {
      transformRow();
      const img::Rows rows{pixels.data(), static_cast<ptrdiff_t>(rowBytes), end_ - next_};
      for (int y = 0; y < rows.count; ++y) samples_.get(next_++, rows.row<uint8_t>(y));
      writeError = writer.write(asConst(rows));
      if (progress) progress(next_);
      return !writeError;
    };
    run(pipeline, std::min(options_.threads, kMostThreads));
    return writeError ? writeError : decodeError;
  }

  Error finish() override {
    damaged_ = !tile_.damage().empty();
    if (damaged_) remarks_.push_back(tile_.damage());
    return {};
  }

 private:
  // A row of macroblocks and what was held back of the one above.
  static constexpr int kMostRowsOut = 32;

  void transformRow() {
    int ends[3] = {};
    for (size_t c = 0; c < transforms_.size(); ++c) ends[c] = transforms_[c].inverse();
    end_ = samples_.end(ends);
  }

  const Header header_;
  const DecodeOptions options_;
  Planes planes_;
  TileDecoder tile_;
  std::vector<Transform> transforms_;
  SamplesOut samples_;
  int decoded_ = 0;        // rows of macroblocks
  int next_ = 0, end_ = 0; // rows of the picture
};

} // namespace

Error openReader(img::ByteSource& source, const DecodeOptions& options, std::unique_ptr<img::RowReader>& reader) {
  Header header;
  std::array<Packet, 4> packets{};
  if (Error error = readHeader(source, options.maxPixels, header, packets)) return error;
  auto own = std::make_unique<Reader>(header, options);
  if (Error error = own->open(source, packets)) return error;
  reader = std::move(own);
  return {};
}

} // namespace jpegxr
