// Coefficients from one file to another.
#include <algorithm>

#include "jpeg/coefficient_reader.h"
#include "jpeg/scan_writer.h"
#include "jpeg/writer.h"

namespace jpeg {
namespace {

// Makes steps as coarse as those of a quality, where they are finer, and the coefficients of a component with them.
// Steps of more than a byte stay.
void requantise(const Frame& frame, size_t c, int quality, CoefficientImage& image, uint16_t steps[64]) {
  uint8_t raw[64];
  uint16_t wanted[64], forward[64];
  if (*std::max_element(steps, steps + 64) > 255) return;
  std::copy_n(kQuantTables[frame.components[c].quantTable != frame.components[0].quantTable], 64, raw);
  zeliQuantFwdRawTableInit_JPEG_8u(raw, quality);
  for (int k = 0; k < 64; ++k) raw[k] = std::max(raw[k], static_cast<uint8_t>(steps[kNaturalOrder[k]]));
  zeliQuantInvTableInit_JPEG_8u16u(raw, wanted);
  zeliQuantFwdTableInit_JPEG_8u16u(raw, forward);
  for (int y = 0; y < image.rows(static_cast<int>(c)); ++y) {
    Block* const row = image.row(static_cast<int>(c), y);
    for (int x = 0; x < image.blocksWide(static_cast<int>(c)); ++x) {
      zeliQuantInv8x8_JPEG_16s_C1I(row[x].coefficients, steps);
      zeliQuantFwd8x8_JPEG_16s_C1I(row[x].coefficients, forward);
    }
  }
  std::copy_n(wanted, 64, steps);
}

} // namespace

Error recode(img::ByteSource& source, img::ByteSink& sink, const RecodeOptions& options, std::string& damageText) {
  damageText.clear();
  if (Error error = readStart(source)) return error;
  Header header;
  ScanHeader first;
  Damage damage(options.keepGoing);
  MarkerReader markers(source);
  if (Error error = readToScan(markers, header, first, damage)) return error;
  if (first.components.empty()) return fail("the file holds no image");
  Frame& frame = header.frame;
  if (header.process > kSof2) return fail("%s files cannot be recoded", processName(header.process));
  if (frame.bits != 8 && frame.bits != 12) return fail("%d bits a sample are not supported", frame.bits);
  if (Error error = img::checkSize(frame.width, frame.height, options.maxPixels)) return error;
  if (Error error = checkPlausible(header, source, options.keepGoing)) return error;

  if (hasChroma(header)) frame.components[1].isChroma = frame.components[2].isChroma = true;
  const bool wasProgressive = header.process == kSof2;
  std::unique_ptr<CoefficientImage> image;
  uint16_t steps[4][64];
  if (Error error = readCoefficients(source, header, first, 0, options.threads, damage, image, steps)) return error;

  if (options.quality && frame.bits != 8) return fail("steps of 12-bit files cannot be made coarser");
  for (size_t c = 0; c < frame.components.size() && options.quality; ++c) {
    requantise(frame, c, options.quality, *image, steps[c]);
  }

  const bool same = options.process == RecodeOptions::Process::same;
  const bool progressive = same ? wasProgressive : options.process == RecodeOptions::Process::progressive;
  std::vector<ScanSpec> script = options.script;
  if (script.empty()) script = progressive ? usualProgression(frame) : oneScan(frame);

  Bytes start;
  SegmentWriter segments(start);
  segments.marker(kSoi);
  for (const Bytes& application : header.applications) {
    // What tells how colours are to be understood stays.
    const int marker = application[1];
    if (!options.strip || marker == kApp0 || marker == kApp14) segments.bytes(application);
  }
  bool wide = false;
  for (int id = 0; id < 4; ++id) {
    const auto uses = [=](const Component& c) { return c.quantTable == id; };
    const auto component = std::find_if(frame.components.begin(), frame.components.end(), uses);
    if (component == frame.components.end()) continue;
    const uint16_t* table = steps[component - frame.components.begin()];
    for (size_t c = 0; c < frame.components.size(); ++c) {
      if (uses(frame.components[c]) && !std::equal(table, table + 64, steps[c])) {
        return fail("a file whose quantisation tables change between scans cannot be recoded");
      }
    }
    const bool large = *std::max_element(table, table + 64) > 255;
    wide |= large;
    segments.quantTable(id, table, large);
  }
  const int sequentialProcess = frame.bits == 8 && !wide ? kSof0 : kSof1;
  segments.frame(isSequential(script) ? sequentialProcess : kSof2, frame);
  if (Error error = sink.write(start)) return error;
  const ScanOptions scanOptions{options.optimize || frame.bits != 8 || !isSequential(script), options.restartInterval,
                                options.restartInRows, options.threads};
  if (Error error = writeScans(sink, frame, {image.get(), nullptr}, script, scanOptions)) return error;
  Bytes end;
  SegmentWriter(end).marker(kEoi);
  if (damage.found()) damageText = damage.first();
  return sink.write(end);
}

} // namespace jpeg
