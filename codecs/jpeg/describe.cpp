// What a file holds, for people to read.
#include <algorithm>

#include "jpeg/damage.h"
#include "jpeg/jpeg.h"
#include "jpeg/markers.h"

namespace jpeg {
namespace {

void append(std::string& text, const char* line, auto... arguments) {
  text += img::format(line, arguments...);
}

std::string samplingName(const Frame& frame) {
  std::string factors;
  for (const Component& c : frame.components) append(factors, factors.empty() ? "%dx%d" : ",%dx%d", c.h, c.v);
  if (factors == "1x1,1x1,1x1") factors += " (4:4:4)";
  if (factors == "2x1,1x1,1x1") factors += " (4:2:2)";
  if (factors == "2x2,1x1,1x1") factors += " (4:2:0)";
  return factors;
}

const char* componentNames(const Header& header) {
  switch (header.frame.components.size()) {
    case 3:
      return isYCbCr(header) ? " (Y, Cb, Cr)" : " (R, G, B)";
    case 4:
      return header.adobeTransform == 2 ? " (Y, Cb, Cr, K)" : " (C, M, Y, K)";
    default:
      return "";
  }
}

// The quality whose scaling of the typical luminance table gives this table, 0 if there is none.
int qualityOf(const uint16_t* table) {
  for (int quality = 1; quality <= 100; ++quality) {
    uint8_t raw[64];
    uint16_t natural[64];
    std::copy_n(kQuantTables[0], 64, raw);
    zeliQuantFwdRawTableInit_JPEG_8u(raw, quality);
    zeliQuantInvTableInit_JPEG_8u16u(raw, natural);
    if (std::equal(natural, natural + 64, table)) return quality;
  }
  return 0;
}

} // namespace

Error describe(img::ByteSource& source, std::string& text) {
  if (Error error = readStart(source)) return error;
  Header header;
  ScanHeader scan;
  Damage damage(true);
  MarkerReader markers(source);
  const Error error = readToScan(markers, header, scan, damage);
  if (!header.process) return error ? error : fail("the file holds no image");
  const Frame& frame = header.frame;
  const size_t count = frame.components.size();
  append(text, "JPEG, %s, %d x %d, %d bits\n", processName(header.process), frame.width, frame.height, frame.bits);
  append(text, "components: %zu%s, sampling %s\n", count, componentNames(header), samplingName(frame).c_str());
  const int quality = qualityOf(header.quantTables[frame.components[0].quantTable]);
  if (quality) append(text, "quantisation: as by quality %d\n", quality);
  if (header.restartInterval) append(text, "restart interval: %d MCUs\n", header.restartInterval);
  if (!scan.components.empty()) {
    const bool one = scan.components.size() == count && header.process != kSof2;
    append(text, "scans: %s\n", one ? "one" : "several");
  }
  if (header.jfif) text += "marked as JFIF\n";
  if (header.adobeTransform) append(text, "marked by Adobe, transform %d\n", *header.adobeTransform);
  text += img::describe(metadataOf(header));
  return {};
}

} // namespace jpeg
