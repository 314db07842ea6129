// Any bytes as a JPEG file that is coded anew: what comes of it must hold the same coefficients, and give the same
// picture by every road.
#include <cstdint>
#include <cstdlib>

#include "jpeg/jpeg.h"

namespace {

constexpr int64_t kMaxPixels = 1 << 16;

bool decodes(jpeg::ByteSpan file, jpeg::Road road, img::Layout layout, jpeg::Image& image) {
  jpeg::DecodeOptions options;
  options.keepGoing = true;
  options.maxPixels = kMaxPixels;
  options.road = road;
  options.layout = layout;
  std::string damage;
  return !jpeg::decode(file, options, image, damage) && damage.empty();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The last byte chooses, so that a file without it is a file.
  const unsigned choice = data[size - 1];
  const jpeg::ByteSpan file(data, size - 1);
  jpeg::RecodeOptions options;
  options.process = static_cast<jpeg::RecodeOptions::Process>((choice & 3) % 3);
  options.optimize = (choice & 4) != 0;
  options.restartInterval = (choice & 8) != 0 ? 1 + (choice >> 6) : 0;
  options.restartInRows = (choice & 16) != 0;
  options.keepGoing = (choice & 32) != 0;
  options.threads = (choice & 192) == 192 ? 2 : 1;
  options.maxPixels = kMaxPixels;
  jpeg::Bytes made, again;
  std::string damage;
  img::ByteSource source(file);
  img::MemorySink sink(made);
  if (jpeg::recode(source, sink, options, damage)) return 0;

  // The new file is sound, and coded anew it is itself.
  options.keepGoing = false;
  img::ByteSource madeSource(made);
  img::MemorySink againSink(again);
  if (jpeg::recode(madeSource, againSink, options, damage) || made != again) std::abort();

  jpeg::Image usual, other;
  if (!decodes(made, jpeg::Road::runs, img::Layout::usual, usual)) return 0; // of two components, for one
  if (!decodes(made, jpeg::Road::planes, img::Layout::usual, other) || other.bytes != usual.bytes) std::abort();
  if (!decodes(made, jpeg::Road::mcu, static_cast<img::Layout>(choice % 11), other)) std::abort();
  return 0;
}
