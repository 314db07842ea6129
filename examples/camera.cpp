// Rows that come one by one, from a camera for instance, to a JPEG stream: camera > out.jpg. Neither the picture nor
// the file is ever in memory as a whole.
#include <cstdio>
#include <vector>

#include "jpeg/jpeg.h"

// Where the encoded bytes go: standard output, a socket, ...
class Stream : public img::ByteSink {
 public:
  img::Error write(img::ByteSpan bytes) override {
    return std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() ? img::Error{}
                                                                              : img::fail("cannot write");
  }
  img::Error patch(uint64_t, img::ByteSpan) override { return img::fail("a stream cannot go back"); }
};

int main() {
  img::Picture picture;
  picture.width = 1280;
  picture.height = 720;
  picture.colour = img::Colour::rgb;

  jpeg::EncodeOptions options;
  options.quality = 85;
  Stream stream;
  std::unique_ptr<img::RowWriter> writer;
  img::Error error = jpeg::openWriter(stream, picture, options, writer);

  std::vector<uint8_t> row(picture.rowBytes());
  for (int y = 0; y < picture.height && !error; ++y) {
    for (int i = 0; i < 3 * picture.width; ++i) { // the camera
      row[static_cast<size_t>(i)] = static_cast<uint8_t>(i % 3 == 0 ? y / 3 : i / 15);
    }
    error = writer->write({row.data(), static_cast<ptrdiff_t>(row.size()), 1});
  }
  if (!error) error = writer->finish();
  if (error) std::fprintf(stderr, "camera: %s\n", error.message.c_str());
  return error ? 1 : 0;
}
