#include "jpeg/markers.h"

#include <algorithm>
#include <cstring>

#include "jpeg/damage.h"

namespace jpeg {
namespace {

int wordAt(ByteSpan bytes, size_t i) {
  return bytes[i] << 8 | bytes[i + 1];
}

bool startsWith(ByteSpan bytes, const char* text, size_t length) {
  return bytes.size() >= length && std::memcmp(bytes.data(), text, length) == 0;
}

// Whether the codes of a list fit their lengths (T.81 Annex C), and for DC tables whether the symbols are categories.
bool isSound(const HuffmanList& list, bool dc, int maxCategory) {
  int code = 0;
  for (int length = 1; length <= 16; ++length) {
    code = 2 * code + list.bits[length - 1];
    if (code > 1 << length) return false;
  }
  return !dc || std::all_of(list.values, list.values + symbolCount(list), [=](int v) { return v <= maxCategory; });
}

} // namespace

Error MarkerReader::next(int& marker, uint64_t& skipped) {
  skipped = 0;
  marker = 0;
  for (;;) {
    if (Error error = source_.fill(2)) return error;
    const ByteSpan bytes = source_.visible();
    if (bytes.size() < 2) {
      skipped += bytes.size();
      source_.skip(bytes.size());
      return {};
    }
    const void* found = bytes[0] == 0xFF ? bytes.data() : std::memchr(bytes.data(), 0xFF, bytes.size());
    const size_t at = found ? static_cast<size_t>(static_cast<const uint8_t*>(found) - bytes.data()) : bytes.size();
    skipped += at;
    source_.skip(at);
    if (at > 0) continue; // the code may not be visible yet
    const int code = bytes[1];
    source_.skip(code == 0xFF ? 1 : 2); // a fill byte
    if (code == 0xFF) continue;
    marker = code;
    if (code != 0) return {};
    skipped += 2;
  }
}

Error MarkerReader::segment(ByteSpan& body) {
  if (Error error = source_.fill(2)) return error;
  const bool ended = source_.visible().size() < 2;
  // Less than the two bytes of the length itself is an empty segment to other decoders.
  const size_t length = ended ? 2 : static_cast<size_t>(std::max(wordAt(source_.visible(), 0), 2));
  if (Error error = source_.fill(length)) return error;
  if (source_.visible().size() < length) return fail("a marker segment leads out of the file");
  body = source_.visible().subspan(2, length - 2);
  source_.skip(length);
  return {};
}

Error readQuantTables(ByteSpan segment, Header& header) {
  while (!segment.empty()) {
    const int precision = segment[0] >> 4, id = segment[0] & 15;
    const size_t size = precision ? 128 : 64;
    if (precision > 1 || id > 3 || segment.size() < 1 + size) return fail("bad quantisation table");
    const ByteSpan steps = segment.subspan(1, size);
    if (precision == 0) {
      zeliQuantInvTableInit_JPEG_8u16u(steps.data(), header.quantTables[id]);
    } else {
      for (size_t k = 0; k < 64; ++k) {
        header.quantTables[id][kNaturalOrder[k]] = static_cast<uint16_t>(wordAt(steps, 2 * k));
      }
    }
    const uint16_t* table = header.quantTables[id];
    if (std::count(table, table + 64, 0)) return fail("a quantisation table holds a zero");
    header.quantDefined[id] = true;
    header.quantIs16Bit[id] = precision == 1;
    segment = segment.subspan(1 + size);
  }
  return {};
}

namespace {

Error makeDecodeSpec(const HuffmanList& list, bool dc, DecodeSpec& owner, int maxCategory = 15) {
  ZeliDecodeHuffmanSpec* spec = nullptr;
  if (!isSound(list, dc, maxCategory) ||
      zeliDecodeHuffmanSpecInitAlloc_JPEG_8u(list.bits, list.values, &spec) != zelStatusOk) {
    return fail("bad Huffman table");
  }
  owner.reset(spec, FreeSpec());
  return {};
}

} // namespace

Error readHuffmanTables(ByteSpan segment, Header& header) {
  while (!segment.empty()) {
    const int tableClass = segment[0] >> 4, id = segment[0] & 15;
    if (tableClass > 1 || id > 3 || segment.size() < 17) return fail("bad Huffman table");
    HuffmanList list{};
    std::copy_n(segment.begin() + 1, 16, list.bits);
    const auto count = static_cast<size_t>(symbolCount(list));
    if (count > 256 || segment.size() < 17 + count) return fail("bad Huffman table");
    std::copy_n(segment.begin() + 17, count, list.values);
    const int maxCategory = header.process == 0 || header.process == kSof3 ? 16 : 15; // a lossless file's may be 16
    if (Error error = makeDecodeSpec(list, tableClass == 0, (tableClass ? header.ac : header.dc)[id], maxCategory)) {
      return error;
    }
    segment = segment.subspan(17 + count);
  }
  return {};
}

Error useTypicalTables(Header& header) {
  for (int id = 0; id < 2; ++id) {
    Error error;
    if (!header.dc[id]) error = makeDecodeSpec(kDcLists[id], true, header.dc[id]);
    if (!error && !header.ac[id]) error = makeDecodeSpec(kAcLists[id], false, header.ac[id]);
    if (error) return error;
  }
  return {};
}

Error readRestartInterval(ByteSpan segment, Header& header) {
  if (segment.size() != 2) return fail("bad restart interval");
  header.restartInterval = wordAt(segment, 0);
  return {};
}

Error readFrame(int process, ByteSpan segment, Header& header) {
  if (header.process) return fail("a second frame; hierarchical files are not supported");
  if (segment.size() < 6) return fail("bad frame header");
  Frame& frame = header.frame;
  frame.bits = segment[0];
  frame.height = wordAt(segment, 1);
  frame.width = wordAt(segment, 3);
  const size_t count = segment[5];
  if (segment.size() != 6 + 3 * count || count == 0 || count > 4) return fail("bad frame header");
  for (size_t i = 0; i < count; ++i) {
    const ByteSpan entry = segment.subspan(6 + 3 * i, 3);
    Component c;
    c.id = entry[0];
    c.h = entry[1] >> 4;
    c.v = entry[1] & 15;
    c.quantTable = entry[2];
    if (c.h < 1 || c.h > 4 || c.v < 1 || c.v > 4 || c.quantTable > 3) return fail("bad frame header");
    frame.components.push_back(c);
  }
  header.process = process;
  if (frame.width == 0) return fail("the image is empty");
  if (frame.height == 0) return fail("the number of lines comes behind the first scan (DNL), which is not supported");
  layOut(frame);
  return {};
}

Error readScan(ByteSpan segment, const Header& header, ScanHeader& scan) {
  if (!header.process) return fail("a scan without a frame");
  const size_t count = segment.empty() ? 0 : segment[0];
  if (count < 1 || count > 4 || segment.size() != 4 + 2 * count) return fail("bad scan header");
  int blocks = 0;
  for (size_t i = 0; i < count; ++i) {
    const int id = segment[1 + 2 * i], tables = segment[2 + 2 * i];
    const auto& all = header.frame.components;
    // In the order of the frame: some files give all components one name.
    const auto begin = all.begin() + (scan.components.empty() ? 0 : scan.components.back() + 1);
    const auto found = std::find_if(begin, all.end(), [=](const Component& c) { return c.id == id; });
    if (found == all.end()) return fail("a scan of an unknown component, or of components out of order");
    const int c = static_cast<int>(found - all.begin());
    if (tables >> 4 > 3 || (tables & 15) > 3) return fail("bad scan header");
    scan.components.push_back(c);
    scan.dcTable[c] = tables >> 4;
    scan.acTable[c] = tables & 15;
    blocks += found->h * found->v;
    if (header.process != kSof3 && !header.quantDefined[found->quantTable]) {
      return fail("a quantisation table is missing");
    }
  }
  if (count > 1 && blocks > 10) return fail("more than 10 blocks in an MCU");
  const ByteSpan parameters = segment.last(3);
  scan.Ss = parameters[0];
  scan.Se = parameters[1];
  scan.Ah = parameters[2] >> 4;
  scan.Al = parameters[2] & 15;
  return {};
}

void readApplication(int marker, ByteSpan segment, Header& header) {
  if (marker == kApp0 && startsWith(segment, "JFIF", 5)) header.jfif = true;
  if (marker == kApp14 && segment.size() >= 12 && startsWith(segment, "Adobe", 5)) header.adobeTransform = segment[11];
  if (marker != kCom && (marker < kApp0 || marker >= kApp0 + 16)) return;
  const size_t length = segment.size() + 2;
  Bytes bytes = {0xFF, static_cast<uint8_t>(marker), static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)};
  bytes.insert(bytes.end(), segment.begin(), segment.end());
  header.applications.push_back(std::move(bytes));
}

img::Metadata metadataOf(const Header& header) {
  img::Metadata metadata;
  std::vector<ByteSpan> profile; // its parts by their numbers
  for (const Bytes& bytes : header.applications) {
    const int marker = bytes[1];
    const ByteSpan body = ByteSpan(bytes).subspan(4);
    if (marker == kApp0 && startsWith(body, "JFIF", 5) && body.size() >= 12) {
      using Unit = img::Density::Unit;
      const int x = wordAt(body, 8), y = wordAt(body, 10), unit = body[7];
      if (unit == 0 && x == y) continue; // square pixels of any size say nothing
      metadata.density = {double(x), double(y), unit == 1 ? Unit::inch : unit == 2 ? Unit::centimetre : Unit::none};
    } else if (marker == kApp1 && startsWith(body, "Exif\0", 6) && metadata.exif.empty()) {
      metadata.exif.assign(body.begin() + 6, body.end());
    } else if (marker == kApp2 && startsWith(body, "ICC_PROFILE", 12) && body.size() >= 14) {
      const size_t number = body[12], count = body[13];
      if (profile.empty()) profile.resize(count);
      if (number >= 1 && number <= profile.size()) profile[number - 1] = body.subspan(14);
    }
  }
  for (const ByteSpan& part : profile) {
    if (part.empty()) { // a profile that is not whole is of no use
      metadata.icc.clear();
      break;
    }
    metadata.icc.insert(metadata.icc.end(), part.begin(), part.end());
  }
  return metadata;
}

const char* processName(int marker) {
  switch (marker) {
    case 0xC0:
      return "baseline";
    case 0xC1:
      return "extended sequential";
    case 0xC2:
      return "progressive";
    case 0xC3:
      return "lossless";
    case 0xC5:
      return "differential sequential";
    case 0xC6:
      return "differential progressive";
    case 0xC7:
      return "differential lossless";
    case 0xC9:
      return "sequential arithmetic-coded";
    case 0xCA:
      return "progressive arithmetic-coded";
    case 0xCB:
      return "lossless arithmetic-coded";
    case 0xCD:
      return "differential sequential arithmetic-coded";
    case 0xCE:
      return "differential progressive arithmetic-coded";
    case 0xCF:
      return "differential lossless arithmetic-coded";
    default:
      return nullptr;
  }
}

bool isYCbCr(const Header& header) {
  if (header.jfif) return true; // whatever an Adobe segment says beside it
  if (header.adobeTransform) return *header.adobeTransform != 0;
  const auto& c = header.frame.components;
  return !(c[0].id == 'R' && c[1].id == 'G' && c[2].id == 'B');
}

bool hasChroma(const Header& header) {
  const size_t count = header.frame.components.size();
  return count == 3 ? isYCbCr(header) : count == 4 && header.adobeTransform.value_or(0) == 2;
}

Error readStart(img::ByteSource& source) {
  if (Error error = source.fill(2)) return error;
  const ByteSpan bytes = source.visible();
  if (bytes.size() < 2 || bytes[0] != 0xFF || bytes[1] != kSoi) return fail("not a JPEG file");
  source.skip(2);
  return {};
}

Error readToScan(MarkerReader& reader, Header& header, ScanHeader& scan, Damage& damage) {
  for (;;) {
    uint64_t skipped = 0;
    int marker = 0;
    if (Error error = reader.next(marker, skipped)) return error;
    if (skipped) damage.remark(kStrayBytes);
    if (marker == 0 || marker == kEoi) return {};
    if (isRestart(marker) || marker == kTem || marker == kSoi) {
      damage.remark("a marker out of place is passed over");
      continue;
    }
    ByteSpan segment;
    Error error = reader.segment(segment);
    if (error) return error;
    if (marker == kSos)
      error = readScan(segment, header, scan);
    else if (marker == kDqt)
      error = readQuantTables(segment, header);
    else if (marker == kDht)
      error = readHuffmanTables(segment, header);
    else if (marker == kDri)
      error = readRestartInterval(segment, header);
    else if (processName(marker))
      error = readFrame(marker, segment, header);
    else
      readApplication(marker, segment, header);
    if (error || marker == kSos) return error;
  }
}

Error checkPlausible(const Header& header, const img::ByteSource& source, bool keepGoing) {
  const Frame& frame = header.frame;
  const std::optional<uint64_t> size = source.size();
  if (!size) return {};
  int64_t blocks = 0;
  for (const Component& c : frame.components) blocks += int64_t{c.blocksWide} * c.blocksHigh;
  const int64_t possible = static_cast<int64_t>(*size - source.position()) * (header.process == kSof2 ? 8 : 4);
  if (blocks <= possible || (keepGoing && blocks <= std::max<int64_t>(64 * possible, 65536))) return {};
  return fail("the file is too short for %d x %d pixels", frame.width, frame.height);
}

} // namespace jpeg
