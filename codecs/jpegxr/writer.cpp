#include "jpegxr/samples.h"
#include "jpegxr/tile_encoder.h"
#include "jpegxr/transform.h"

namespace jpegxr {
namespace {

Header headerFor(const img::Picture& picture, const EncodeOptions& options) {
  Header header;
  header.width = picture.width;
  header.height = picture.height;
  header.isRgb = picture.colour == img::Colour::rgb;
  header.bits = picture.bits;
  header.frequencyOrder = options.frequencyOrder;
  header.hasTrim = options.trim > 0;
  header.inner = !header.isRgb ? Inner::yOnly : options.halvesChroma ? Inner::yuv420 : Inner::yuv444;
  header.scaled = options.quantizer > 0 || header.inner == Inner::yuv420;
  header.overlap = options.overlap;
  for (auto& set : header.index) set.fill(options.quantizer);
  return header;
}

// The packets of a file on their way to the sink. What must wait for the lengths in front of it is kept.
class PacketSink {
 public:
  PacketSink(img::ByteSink& sink, const Header& header)
      : sink_(sink), header_(header), keeps_(header.frequencyOrder || !sink.patches()) {}

  Error begin() { return keeps_ ? Error{} : sink_.write(makeFileHead(header_, sizes_)); }

  Error write(size_t packet, ByteSpan bytes) {
    sizes_[packet] += bytes.size();
    if (!keeps_) return sink_.write(bytes);
    kept_[packet].emplace_back(bytes.begin(), bytes.end());
    return {};
  }

  Error finish() {
    if (sizes_[0] + sizes_[1] + sizes_[2] + sizes_[3] > UINT32_MAX - 4096)
      return fail("the file becomes larger than 4 GB");
    const Bytes head = makeFileHead(header_, sizes_);
    if (!keeps_) return sink_.patch(0, head);
    if (Error error = sink_.write(head)) return error;
    for (const std::vector<Bytes>& packet : kept_) {
      for (const Bytes& piece : packet) {
        if (Error error = sink_.write(piece)) return error;
      }
    }
    return {};
  }

 private:
  img::ByteSink& sink_;
  const Header& header_;
  const bool keeps_;
  std::array<uint64_t, 4> sizes_{};
  std::vector<Bytes> kept_[4];
};

class Writer : public img::RowWriter {
 public:
  Writer(img::ByteSink& sink, const Header& header, const EncodeOptions& options)
      : header_(header),
        threads_(options.threads),
        planes_(header_, threads_),
        samples_(header_, planes_),
        packets_(sink, header_),
        encoder_(header_, options.trim, planes_,
                 [this](size_t packet, ByteSpan bytes) { return packets_.write(packet, bytes); }) {
    for (int c = 0; c < header_.components(); ++c) transforms_.emplace_back(header_, c, planes_.component[c]);
  }

  Error begin() { return packets_.begin(); }
  void remark(const char* text) { remarks_.push_back(text); }

  Error write(const img::ConstRows& rows) override {
    for (int y = 0; y < rows.count; ++y) {
      samples_.put(rows.row<uint8_t>(y));
      ++next_;
      if (next_ % 16 != 0 && next_ != header_.height) continue;
      if (Error error = encodeRows(transformRows())) return error;
    }
    return {};
  }

  int rowsAtOnce() const override { return 16; }

  bool pulls() const override { return threads_ > 1; }

  // One thread transforms rows of macroblocks while the other codes those that are transformed.
  Error pull(img::RowReader& reader, const img::Progress& progress) override {
    const size_t rowBytes = reader.picture().rowBytes();
    const img::AlignedArray<uint8_t> pixels(rowBytes * 16);
    int transformed[kMostThreads * img::Pipeline::kSlotsOfThread];
    Error readError, codeError;
    img::Pipeline pipeline;
    pipeline.items = header_.rows();
    pipeline.begin = [&](int64_t, int slot) {
      const img::Rows rows{pixels.data(), static_cast<ptrdiff_t>(rowBytes), std::min(16, header_.height - next_)};
      readError = reader.read(rows);
      if (readError) return false;
      for (int y = 0; y < rows.count; ++y) samples_.put(rows.row<uint8_t>(y));
      next_ += rows.count;
      transformed[slot] = transformRows();
      return true;
    };
    pipeline.work = [](int64_t, int) { return true; };
    pipeline.end = [&](int64_t row, int slot) {
      codeError = encodeRows(transformed[slot]);
      if (progress) progress(std::min(16 * static_cast<int>(row + 1), header_.height));
      return !codeError;
    };
    run(pipeline, std::min(threads_, kMostThreads));
    return codeError ? codeError : readError;
  }

  Error finish() override {
    if (Error error = encoder_.finish()) return error;
    return packets_.finish();
  }

 private:
  Error encodeRows(int end) {
    for (; coded_ < end; ++coded_) {
      if (Error error = encoder_.encodeRow(coded_)) return error;
    }
    return {};
  }

  // Returns the end of the rows of macroblocks that can be coded.
  int transformRows() {
    int end = header_.rows();
    for (int c = 0; c < header_.components(); ++c)
      end = std::min(end, transforms_[static_cast<size_t>(c)].forward(samples_.end(c)));
    return end;
  }

  const Header header_;
  const int threads_;
  Planes planes_;
  SamplesIn samples_;
  std::vector<Transform> transforms_;
  PacketSink packets_;
  TileEncoder encoder_;
  int next_ = 0, coded_ = 0; // rows of the picture, rows of macroblocks
};

} // namespace

Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer) {
  if (picture.bits != 8 && picture.bits != 16) return fail("%d bits: not supported", picture.bits);
  if (picture.colour == img::Colour::cmyk || picture.alpha) return fail("C, M, Y, K or alpha: not supported");
  Header header = headerFor(picture, options);
  const bool isTooNarrow = header.inner == Inner::yuv420 && header.columns() < 2 && header.overlap == 2;
  if (isTooNarrow) header.overlap = 1;
  auto own = std::make_unique<Writer>(sink, header, options);
  if (isTooNarrow) own->remark("overlap 1 instead of 2, which 4:2:0 chroma of at most 16 columns cannot have");
  if (Error error = own->begin()) return error;
  writer = std::move(own);
  return {};
}

} // namespace jpegxr
