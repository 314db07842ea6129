#include "files/image_file.h"

#include "files/input.h"
#include "files/output.h"

namespace files {

img::Error readImage(const std::string& path, img::Image& image, const formats::Settings& settings) {
  const formats::Formats formats = formats::allFormats();
  FileInput input;
  img::ByteSource source(input);
  std::unique_ptr<img::RowReader> reader;
  Error error = input.open(path);
  if (!error) error = source.fill(formats::kHeadBytes);
  if (!error) {
    formats::Format* format = formatOfContent(formats, source.visible());
    error = format ? format->open(source, settings, reader) : fail("no format has files like this");
    if (!error) {
      img::Picture wanted = reader->picture();
      wanted.layout = img::Layout::usual;
      error = readAll(*converted(std::move(reader), wanted), image);
    }
  }
  return error ? Error{path + ": " + error.message, true} : error;
}

img::Error writeImage(const std::string& path, const img::Image& image) {
  const formats::Formats formats = formats::allFormats();
  const std::string extension = formats::extensionOf(path);
  formats::Format* format = formatOfExtension(formats, extension);
  if (!format) return {path + ": no format has this extension", true};
  const img::Picture wanted = format->nearest(image, extension);
  std::unique_ptr<img::RowReader> rows = converted(std::make_unique<img::ImageReader>(image), wanted);
  img::Image changed;
  FileOutput output;
  std::unique_ptr<img::RowWriter> writer;
  Error error = output.open(path);
  if (!error) error = format->create(output, wanted, {}, writer);
  if (!error) error = readAll(*rows, changed);
  if (!error) error = writeAll(changed, *writer);
  if (!error) error = output.commit();
  return error ? Error{path + ": " + error.message, true} : error;
}

} // namespace files
