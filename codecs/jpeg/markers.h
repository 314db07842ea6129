// Marker segments of a file, read and checked (T.81 Annex B).
#pragma once

#include <optional>
#include <string>

#include "jpeg/frame.h"
#include "jpeg/huffman.h"
#include "jpeg/jpeg.h"
#include "jpeg/tables.h"

namespace jpeg {

class Damage;

// What the marker segments in front of a scan have told.
struct Header {
  int process = 0; // the SOF marker, 0 before it
  Frame frame;
  int restartInterval = 0;
  std::optional<int> adobeTransform; // of the APP14 segment: 0 means that components are not converted
  bool jfif = false;
  std::vector<Bytes> applications;  // other application segments and comments, from their markers on
  uint16_t quantTables[4][64] = {}; // in natural order
  bool quantDefined[4] = {}, quantIs16Bit[4] = {};
  DecodeSpec dc[4], ac[4];
};

// The components of a scan with their tables.
struct ScanHeader {
  std::vector<int> components;          // in the frame
  int dcTable[4] = {}, acTable[4] = {}; // by component in the frame
  // The band and the bits that a progressive scan codes; the predictor (Ss) and the point transform (Al) of a lossless
  // one.
  int Ss = 0, Se = 63, Ah = 0, Al = 0;
};

// Walks through the markers of a file.
class MarkerReader {
 public:
  explicit MarkerReader(img::ByteSource& source) : source_(source) {}

  // The next marker, wherever it is: 0 at the end of the file. `skipped` tells how many bytes were passed over.
  Error next(int& marker, uint64_t& skipped);

  // The body of the marker segment that begins here; it stays in memory until the source is used again.
  Error segment(ByteSpan& body);

 private:
  img::ByteSource& source_;
};

Error readQuantTables(ByteSpan segment, Header& header);
Error readHuffmanTables(ByteSpan segment, Header& header);
Error readRestartInterval(ByteSpan segment, Header& header);
Error readFrame(int process, ByteSpan segment, Header& header);
Error readScan(ByteSpan segment, const Header& header, ScanHeader& scan);
void readApplication(int marker, ByteSpan segment, Header& header);

// Where a file has no table for a scan, as those of cameras that send one picture after the other, it means the typical
// tables.
Error useTypicalTables(Header& header);

// The name of the coding process of a SOF marker, null for other markers.
const char* processName(int marker);

// The metadata among the application segments.
img::Metadata metadataOf(const Header& header);

// Whether the three components are Y, Cb, Cr rather than R, G, B.
bool isYCbCr(const Header& header);

// Whether the second and third component of three or four are Cb and Cr.
bool hasChroma(const Header& header);

// Goes behind the marker that begins a file.
Error readStart(img::ByteSource& source);

// Goes through marker segments up to the next scan. `scan` stays empty at the end of the image and of the file.
Error readToScan(MarkerReader& reader, Header& header, ScanHeader& scan, Damage& damage);

// A block takes two bits at least, in a progressive file one. So a short file cannot hold a large image. Of a file that
// was cut off, a part may be asked for.
Error checkPlausible(const Header& header, const img::ByteSource& source, bool keepGoing);

} // namespace jpeg
