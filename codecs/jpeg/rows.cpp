// Readers and writers on top of the codec for whole images.
#include <algorithm>

#include "jpeg/jpeg.h"

namespace jpeg {
namespace {

class Reader : public img::RowReader {
 public:
  Error open(img::ByteSource& source, const DecodeOptions& options) {
    if (Error error = source.loadAll()) return error;
    std::string damage;
    if (Error error = decode(source.visible(), options, image_, damage)) return error;
    picture_ = image_;
    damaged_ = !damage.empty();
    if (damaged_) remarks_.push_back(damage);
    return {};
  }
  Error read(const img::Rows& rows) override { return rows_.read(rows); }

 private:
  Image image_;
  img::ImageReader rows_{image_};
};

class Writer : public img::RowWriter {
 public:
  Writer(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options)
      : sink_(sink), options_(options) {
    shape(image_, picture);
  }
  Error write(const img::ConstRows& rows) override {
    for (int y = 0; y < rows.count; ++y) {
      std::copy_n(rows.row<uint8_t>(y), image_.rowBytes(), image_.row<uint8_t>(next_++));
    }
    return {};
  }
  Error finish() override {
    Bytes file;
    if (Error error = encode(image_, options_, file)) return error;
    return sink_.write(file);
  }

 private:
  img::ByteSink& sink_;
  const EncodeOptions options_;
  Image image_;
  int next_ = 0;
};

} // namespace

Error openReader(img::ByteSource& source, const DecodeOptions& options, std::unique_ptr<img::RowReader>& reader) {
  auto own = std::make_unique<Reader>();
  if (Error error = own->open(source, options)) return error;
  reader = std::move(own);
  return {};
}

Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer) {
  writer = std::make_unique<Writer>(sink, picture, options);
  return {};
}

} // namespace jpeg
