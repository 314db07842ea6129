// A codec for texture files, DDS and KTX2 without supercompression, on top of zelj: block formats BC1 to BC7 and plain
// texels. It reads any level of a mip chain, any face of a cube map and any layer of an array, and writes pictures with
// mip chains that it makes. It owns the files, the choice among BC7's modes and the threads; every block goes through
// the library.
#pragma once

#include <optional>

#include "common/rows.h"
#include "common/sink.h"
#include "common/source.h"

namespace texture {

using img::Bytes;
using img::ByteSpan;
using img::Error;
using img::fail;

enum class Container { dds, ktx2 };

// What pictures can be coded to. yCoCg is BC3 with luma as alpha and scaled chroma as red and green.
enum class Target { bc1, bc2, bc3, bc4, bc5, bc7, yCoCg, rgba8 };

enum class Effort { fast, normal, best };

struct EncodeOptions {
  Target target = Target::bc7;
  bool mips = false;   // all levels down to one texel
  bool linear = false; // the samples are no sRGB colours: said in the file where it can be, and averaged as they are
  std::optional<Effort> effort; // of the search for BC7; normal
  unsigned modes = 0;           // of BC7, a bit for each; 0: those of the effort
  bool report = false;          // measure the difference from the picture
  int threads = 1;
};

struct DecodeOptions {
  int level = 0, face = 0, layer = 0;
  bool yCoCg = false; // the file holds YCoCg in BC3 without saying so
  int64_t maxPixels = img::kDefaultMaxPixels;
  bool keepGoing = false; // texels that a file lacks are left empty
};

Error openReader(img::ByteSource& source, Container container, const DecodeOptions& options,
                 std::unique_ptr<img::RowReader>& reader);

// Begins a file of a picture that `nearest` has given.
img::Picture nearest(const img::Picture& picture, Target target);
Error openWriter(img::ByteSink& sink, Container container, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer);

// What a file holds, for people to read, also of files that cannot be decoded.
Error describe(img::ByteSource& source, Container container, std::string& text);

} // namespace texture
