// The decoder: run by run entropy decoding, then dequantisation and inverse transform into planes, and, as soon as the
// neighbours of a row of pixels are there, doubling of chroma and colour conversion.
#include <atomic>
#include <cstring>
#include <mutex>

#include "common/workers.h"
#include "jpeg/frame.h"
#include "jpeg/huffman.h"
#include "jpeg/jpeg.h"
#include "jpeg/planes.h"
#include "jpeg/reader.h"
#include "jpeg/samples.h"

namespace jpeg {
namespace {

using img::AlignedArray;

// What is wrong with the entropy-coded data. Threads report here.
class Damage {
 public:
  explicit Damage(bool keepGoing) : keepGoing_(keepGoing) {}

  void note(const std::string& message) {
    const std::lock_guard lock(mutex_);
    if (first_.empty()) first_ = message;
    found_.store(true, std::memory_order_relaxed);
  }
  bool stops() const { return !keepGoing_ && found_.load(std::memory_order_relaxed); }
  const std::string& first() const { return first_; }

 private:
  const bool keepGoing_;
  std::atomic<bool> found_{false};
  std::mutex mutex_;
  std::string first_;
};

// Goes through marker segments up to the next scan. `scan` stays empty at the end of the image, and at the end of the
// data, which is damage.
Error readToScan(MarkerReader& reader, Header& header, ScanHeader& scan, Damage& damage) {
  for (;;) {
    size_t skipped = 0;
    const int marker = reader.next(skipped);
    if (skipped) damage.note("bytes that belong to no segment or block");
    if (marker == 0) damage.note("the file ends too early");
    if (marker == 0 || marker == kEoi) return {};
    if (isRestart(marker) || marker == kTem || marker == kSoi) {
      damage.note("a marker out of place");
      continue;
    }
    bool ok = false;
    const ByteSpan segment = reader.segment(ok);
    if (!ok) return fail("a marker segment leads out of the file");
    Error error;
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

Error checkSupported(int process, int bits, size_t components) {
  if (process != kSof0 && process != kSof1) return fail("%s files are not supported yet", processName(process));
  if (components == 4) return fail("files of four components (CMYK) are not supported yet");
  if (components == 2) return fail("files of two components are not supported");
  if (bits != 8 && !(bits == 12 && process == kSof1)) return fail("%d bits a sample are not supported", bits);
  return {};
}

// A block takes two bits at least. So a short file cannot hold a large image, and a header alone makes nobody allocate
// memory. Of a file that was cut off, a part may be asked for.
Error checkPlausible(const Frame& frame, size_t bytesLeft, bool keepGoing) {
  int64_t blocks = 0;
  for (const Component& c : frame.components) blocks += int64_t{c.blocksWide} * c.blocksHigh;
  const int64_t possible = static_cast<int64_t>(bytesLeft) * 4;
  if (blocks <= possible || (keepGoing && blocks <= std::max<int64_t>(64 * possible, 65536))) return {};
  return fail("the file is too short for %d x %d pixels", frame.width, frame.height);
}

// The bytes of one restart interval. A lost interval has none.
struct Interval {
  size_t begin = 0, end = 0;
};

// The Huffman tables of a scan, by component.
struct TablesOfScan {
  const ZeliDecodeHuffmanSpec* dc[4];
  const ZeliDecodeHuffmanSpec* ac[4];
};

// Reads blocks of an entropy-coded segment. Blocks behind damage come out as zeros, that is grey.
class BlockReader {
 public:
  explicit BlockReader(ByteSpan file) : file_(file) {
    ZeliDecodeHuffmanState* state = nullptr;
    failed_ = zeliDecodeHuffmanStateInitAlloc_JPEG_8u(&state) != zelStatusOk;
    state_.reset(state);
  }

  // Each restart interval has a new state, no marker met and predictors of zero.
  void begin(const Interval& interval) {
    position_ = static_cast<Zel32s>(interval.begin);
    marker_ = 0;
    std::fill(lastDc_, lastDc_ + 4, Zel16s{0});
    failed_ = !state_ || interval.begin == interval.end;
    if (state_) zeliDecodeHuffmanStateInit_JPEG_8u(state_.get());
  }

  // Reads the blocks of some MCUs.
  void read(const std::vector<ScanBlock>& mcu, int count, const TablesOfScan& tables, Block* block) {
    struct Coder {
      Zel16s* lastDc;
      const ZeliDecodeHuffmanSpec *dc, *ac;
    } coders[10];
    for (size_t i = 0; i < mcu.size(); ++i) {
      const int c = mcu[i].component;
      coders[i] = {&lastDc_[c], tables.dc[c], tables.ac[c]};
    }
    const Zel8u* const bytes = file_.data();
    const auto length = static_cast<Zel32s>(file_.size());
    ZeliDecodeHuffmanState* const state = state_.get();
    Block* const end = block + static_cast<size_t>(count) * mcu.size();
    while (block != end && !failed_) {
      for (size_t i = 0; i < mcu.size() && !failed_; ++i) {
        const ZelStatus status =
            zeliDecodeHuffman8x8_JPEG_1u16s_C1(bytes, length, &position_, block->coefficients, coders[i].lastDc,
                                               &marker_, coders[i].dc, coders[i].ac, state);
        failed_ = status != zelStatusOk;
        if (!failed_) ++block;
      }
    }
    std::fill(block, end, Block{});
  }

  bool failed() const { return failed_; }

  // Where the data end: in front of the marker if that was met.
  size_t end() const { return static_cast<size_t>(position_) - (marker_ ? 2 : 0); }

 private:
  ByteSpan file_;
  DecodeState state_;
  Zel32s position_ = 0, marker_ = 0;
  Zel16s lastDc_[4] = {};
  bool failed_ = false;
};

void makeInverseTable(const uint16_t* steps, Zel16u* table) {
  std::copy_n(steps, 64, table);
}

void makeInverseTable(const uint16_t* steps, Zel32f* table) {
  std::copy_n(steps, 64, table);
}

// Rows of the components at the width of the image, one of each for one thread.
template <class Sample>
struct RowScratch {
  AlignedArray<Sample> rows[3];
};

template <class Sample>
RowScratch<Sample> makeScratch(const Image& image) {
  RowScratch<Sample> scratch;
  for (int c = 0; c < image.channels(); ++c) {
    scratch.rows[c] = AlignedArray<Sample>(static_cast<size_t>(image.width) + 64); // doubled rows may be longer
  }
  return scratch;
}

// Everything that the scans of an image share.
template <class Sample>
struct Decoding {
  ByteSpan file;
  const Header* header = nullptr;
  DecodeOptions options;
  Image* image = nullptr;
  Damage* damage = nullptr;
  bool rolling = false; // rows are put out while the one scan goes on, and the planes keep a few rows only
  int rowsOfMcuRow = 0; // rows of the image
  int rowsDone = 0;     // already put out
  std::vector<Plane<Sample>> planes;
  std::vector<Upsampler<Sample>> upsamplers;
  bool looksAround = false;
  RowScratch<Sample> scratch;
};

// One scan and the tables that hold for it.
template <class Sample>
struct ScanDecoding {
  Scan scan;
  alignas(64) typename TransformTable<Sample>::Entry inverse[4][64]; // by component
  TablesOfScan tables;
};

// How many samples a block gives on a side. A component with fewer samples than others is reduced less if that saves
// doubling it again.
int blockSizeOf(const Frame& frame, const Component& c, int size) {
  int own = size;
  while (own < 8 && frame.hMax * size % (2 * own * c.h) == 0 && frame.vMax * size % (2 * own * c.v) == 0) own *= 2;
  return own;
}

template <class Sample>
void makePlanes(Decoding<Sample>& d, bool oneScan) {
  const Frame& frame = d.header->frame;
  const int size = 8 / d.options.scale; // of a block at full resolution
  shape(*d.image, divideUp(int64_t{frame.width} * size, 8), divideUp(int64_t{frame.height} * size, 8),
        static_cast<int>(frame.components.size()), frame.bits);
  d.planes.resize(frame.components.size());
  d.upsamplers.reserve(frame.components.size());
  for (size_t i = 0; i < frame.components.size(); ++i) {
    const Component& c = frame.components[i];
    Plane<Sample>& plane = d.planes[i];
    plane.blockSize = blockSizeOf(frame, c, size);
    plane.width = divideUp(int64_t{frame.width} * c.h * plane.blockSize, int64_t{8} * frame.hMax);
    plane.height = divideUp(int64_t{frame.height} * c.v * plane.blockSize, int64_t{8} * frame.vMax);
    d.upsamplers.emplace_back(plane, frame.hMax * size, c.h * plane.blockSize, frame.vMax * size, c.v * plane.blockSize,
                              size == 1 ? Upsampling::plain : d.options.upsampling, d.image->width);
    d.looksAround |= d.upsamplers.back().looksAround();
  }
  d.scratch = makeScratch<Sample>(*d.image);
  // With neighbours a row of MCUs is put out when the next is there, and needs the last row of the one before.
  d.rolling = oneScan && d.options.threads == 1;
  const bool interleaved = frame.components.size() > 1;
  d.rowsOfMcuRow = size * (interleaved ? frame.vMax : 1);
  const int mcuRowsKept = !d.rolling ? frame.mcusHigh * (interleaved ? 1 : frame.vMax) : d.looksAround ? 3 : 1;
  for (size_t i = 0; i < frame.components.size(); ++i) {
    const Component& c = frame.components[i];
    Plane<Sample>& plane = d.planes[i];
    // Rows a power of two apart would fall on the same few lines of the cache.
    plane.step = (frame.mcusWide * c.h * plane.blockSize + 63) / 64 * 64 + 64;
    plane.rowsKept = mcuRowsKept * plane.blockSize * (interleaved ? c.v : 1);
    plane.samples = AlignedArray<Sample>(static_cast<size_t>(plane.step) * static_cast<size_t>(plane.rowsKept));
  }
}

// Components without a scan, in a damaged file, are grey.
template <class Sample>
void clearPlane(const Plane<Sample>& plane, int bits) {
  std::fill_n(plane.samples.data(), plane.samples.size(), static_cast<Sample>(1 << (bits - 1)));
}

// Planes to pixels, rows y0..y1-1.
template <class Sample>
void putOutRows(const Decoding<Sample>& d, const RowScratch<Sample>& scratch, int y0, int y1) {
  const bool convert = d.planes.size() == 3 && isYCbCr(*d.header);
  for (int y = y0; y < y1; ++y) {
    const Sample* rows[3] = {};
    for (size_t c = 0; c < d.planes.size(); ++c) rows[c] = d.upsamplers[c].row(y, scratch.rows[c].data());
    Sample* pixels = d.image->template row<Sample>(y);
    if (convert) {
      convertInverse(rows, pixels, d.image->width);
    } else {
      const size_t channels = d.planes.size();
      for (size_t c = 0; c < channels; ++c) {
        for (size_t x = 0; x < static_cast<size_t>(d.image->width); ++x) pixels[x * channels + c] = rows[c][x];
      }
    }
  }
}

// Puts out what MCU rows 0..mcuRow make possible.
template <class Sample>
void mcuRowFinished(Decoding<Sample>& d, int mcuRow, bool last) {
  const int64_t ready = int64_t{d.rowsOfMcuRow} * (mcuRow + (d.looksAround ? 0 : 1));
  const int end = last ? d.image->height : static_cast<int>(std::min<int64_t>(ready, d.image->height));
  putOutRows(d, d.scratch, d.rowsDone, end);
  d.rowsDone = end;
}

// Puts out the whole image from whole planes.
template <class Sample>
void putOutImage(const Decoding<Sample>& d) {
  constexpr int kRows = 16;
  std::vector<RowScratch<Sample>> scratch;
  for (int i = 0; i < d.options.threads; ++i) scratch.push_back(makeScratch<Sample>(*d.image));
  img::Workers(d.options.threads).run(divideUp(d.image->height, kRows), [&](int thread, int64_t item, img::Turns&) {
    const int y = static_cast<int>(item) * kRows;
    putOutRows(d, scratch[static_cast<size_t>(thread)], y, std::min(y + kRows, d.image->height));
    return true;
  });
}

// Starts to load the memory of the pixels that will be put out when the run's MCU row is complete: stores to memory
// that is far away would wait. (Inline, since compilers take a function that only prefetches for one without effect,
// and drop its calls.)
template <class Sample>
[[gnu::always_inline]] inline void fetchAhead(const Decoding<Sample>& d, const Scan& scan, const Run& run, int m) {
  if (!d.rolling) return;
  const int begin = (run.y - (d.looksAround ? 1 : 0)) * d.rowsOfMcuRow;
  const int end = std::min(begin + d.rowsOfMcuRow, d.image->height);
  const size_t offset = d.image->rowBytes() * static_cast<size_t>(run.x + m) / static_cast<size_t>(scan.mcusWide);
  for (int y = std::max(begin, 0); y < end; ++y) __builtin_prefetch(d.image->template row<uint8_t>(y) + offset, 1);
}

template <class Sample>
void transformRun(const Decoding<Sample>& d, const ScanDecoding<Sample>& s, const Run& run, const Block* block) {
  for (int m = 0; m < run.count; ++m) {
    fetchAhead(d, s.scan, run, m);
    for (const ScanBlock& b : s.scan.mcu) {
      const Plane<Sample>& plane = d.planes[static_cast<size_t>(b.component)];
      const int column = (run.x + m) * b.across + b.x, row = run.y * b.down + b.y;
      transformInverse(block++->coefficients, plane.row(row * plane.blockSize) + column * plane.blockSize,
                       plane.step * static_cast<int>(sizeof(Sample)), s.inverse[b.component], plane.blockSize);
    }
  }
}

// Makes samples of a run's blocks, and pixels when an MCU row is complete.
template <class Sample>
void finishRun(Decoding<Sample>& d, const ScanDecoding<Sample>& s, const Run& run, const Block* blocks) {
  transformRun(d, s, run, blocks);
  if (d.rolling && run.x + run.count == s.scan.mcusWide) mcuRowFinished(d, run.y, run.y + 1 == s.scan.mcusHigh);
}

const char* const kDamagedData = "damaged or missing data in a scan";

// A scan without restarts: one thread at a time reads blocks, and the transforms run side by side. Returns where the
// data end.
template <class Sample>
size_t decodeInOnePiece(Decoding<Sample>& d, const ScanDecoding<Sample>& s, size_t begin,
                        const std::vector<AlignedArray<Block>>& blocks) {
  const Scan& scan = s.scan;
  const int runsOfRow = divideUp(scan.mcusWide, mcusOfRun(scan));
  BlockReader reader(d.file);
  reader.begin({begin, d.file.size()});
  img::Workers(d.options.threads)
      .run(int64_t{runsOfRow} * scan.mcusHigh, [&](int thread, int64_t item, img::Turns& turns) {
        const int64_t row = item / runsOfRow;
        const Run run =
            runAt(scan, row * scan.mcusWide + item % runsOfRow * mcusOfRun(scan), (row + 1) * scan.mcusWide);
        Block* runBlocks = blocks[static_cast<size_t>(thread)].data();
        if (!turns.await(item)) return false;
        reader.read(s.scan.mcu, run.count, s.tables, runBlocks);
        if (reader.failed()) d.damage->note(kDamagedData);
        turns.pass();
        finishRun(d, s, run, runBlocks);
        return !d.damage->stops();
      });
  return reader.end();
}

// Finds the restart intervals of a scan by their markers. `end` becomes the position of the marker that ends the scan.
std::vector<Interval> findIntervals(ByteSpan file, size_t begin, int64_t count, size_t& end, Damage& damage) {
  std::vector<Interval> intervals(static_cast<size_t>(count));
  int64_t index = 0;
  size_t position = begin;
  for (;;) {
    const void* found = std::memchr(file.data() + position, 0xFF, file.size() - position);
    size_t at = found ? static_cast<size_t>(static_cast<const uint8_t*>(found) - file.data()) : file.size();
    size_t code = at + 1;
    while (code < file.size() && file[code] == 0xFF) ++code; // fill bytes
    position = code + 1;
    const int marker = code < file.size() ? int{file[code]} : int{kEoi};
    if (marker == 0) continue;
    if (index < count)
      intervals[static_cast<size_t>(index)] = {begin, at};
    else
      damage.note("more restart intervals than the image has");
    if (!isRestart(marker)) {
      if (index + 1 < count) damage.note("restart intervals are missing");
      end = at;
      return intervals;
    }
    // One or two markers may be lost; a number that is further off is taken for a wrong number.
    const int lost = (marker - kRst0 - static_cast<int>(index % 8)) & 7;
    if (lost) damage.note("restart markers out of order");
    index += lost <= 2 ? 1 + lost : 1;
    begin = position;
  }
}

// A scan with restarts: the intervals are independent and decoded side by side.
template <class Sample>
size_t decodeIntervals(Decoding<Sample>& d, const ScanDecoding<Sample>& s, size_t begin,
                       const std::vector<AlignedArray<Block>>& blocks) {
  const int64_t mcus = s.scan.mcuCount(), length = d.header->restartInterval;
  size_t end = begin;
  const std::vector<Interval> intervals = findIntervals(d.file, begin, (mcus + length - 1) / length, end, *d.damage);
  if (d.damage->stops()) return end;
  std::vector<BlockReader> readers;
  for (int i = 0; i < d.options.threads; ++i) readers.emplace_back(d.file);
  img::Workers(d.options.threads)
      .run(static_cast<int64_t>(intervals.size()), [&](int thread, int64_t item, img::Turns&) {
        BlockReader& reader = readers[static_cast<size_t>(thread)];
        Block* runBlocks = blocks[static_cast<size_t>(thread)].data();
        const Interval& interval = intervals[static_cast<size_t>(item)];
        reader.begin(interval);
        const int64_t last = std::min((item + 1) * length, mcus);
        for (int64_t mcu = item * length; mcu < last;) {
          const Run run = runAt(s.scan, mcu, last);
          reader.read(s.scan.mcu, run.count, s.tables, runBlocks);
          finishRun(d, s, run, runBlocks);
          mcu += run.count;
        }
        if (reader.failed())
          d.damage->note(kDamagedData);
        else if (reader.end() < interval.end)
          d.damage->note("bytes that belong to no segment or block");
        return !d.damage->stops();
      });
  return end;
}

template <class Sample>
ScanDecoding<Sample> prepareScan(const Header& header, const ScanHeader& scanHeader) {
  ScanDecoding<Sample> s;
  s.scan = layOutScan(header.frame, scanHeader.components);
  for (const int c : scanHeader.components) {
    makeInverseTable(header.quantTables[header.frame.components[static_cast<size_t>(c)].quantTable], s.inverse[c]);
    s.tables.dc[c] = header.dc[scanHeader.dcTable[c]].get();
    s.tables.ac[c] = header.ac[scanHeader.acTable[c]].get();
  }
  return s;
}

// All scans, the first of which has just been read.
template <class Sample>
Error decodeScans(MarkerReader& reader, Header& header, ScanHeader scanHeader, Decoding<Sample>& d) {
  makePlanes(d, scanHeader.components.size() == header.frame.components.size());
  std::vector<AlignedArray<Block>> blocks;
  for (int i = 0; i < d.options.threads; ++i) blocks.emplace_back(static_cast<size_t>(kBlocksOfRun));
  std::vector<bool> done(header.frame.components.size());

  while (!scanHeader.components.empty()) {
    for (const int c : scanHeader.components) {
      if (done[static_cast<size_t>(c)]) return fail("a component has a second scan");
      done[static_cast<size_t>(c)] = true;
    }
    const ScanDecoding<Sample> scan = prepareScan<Sample>(header, scanHeader);
    const auto decode = header.restartInterval ? decodeIntervals<Sample> : decodeInOnePiece<Sample>;
    reader.moveTo(decode(d, scan, reader.position(), blocks));
    if (d.damage->stops()) return {};
    scanHeader = {};
    if (std::find(done.begin(), done.end(), false) == done.end()) break;
    if (Error error = readToScan(reader, header, scanHeader, *d.damage)) return error;
  }
  for (size_t c = 0; c < done.size(); ++c) {
    if (done[c]) continue;
    d.damage->note("a component has no scan");
    clearPlane(d.planes[c], header.frame.bits);
  }
  if (!d.rolling) putOutImage(d);
  return {};
}

// Behind the last scan nothing but the end of the image, and perhaps segments of no use, should follow.
void checkEnd(MarkerReader& reader, Damage& damage) {
  size_t skipped = 0;
  if (reader.next(skipped) == 0)
    damage.note("the file ends too early");
  else if (skipped)
    damage.note("bytes that belong to no segment or block");
}

template <class Sample>
Error decodeSamples(ByteSpan file, MarkerReader& reader, Header& header, const ScanHeader& scan,
                    const DecodeOptions& options, Image& image, Damage& damage) {
  Decoding<Sample> d;
  d.file = file;
  d.header = &header;
  d.options = options;
  d.options.threads = std::clamp(options.threads, 1, 64);
  d.image = &image;
  d.damage = &damage;
  if (Error error = decodeScans(reader, header, scan, d)) return error;
  if (!damage.stops()) checkEnd(reader, damage);
  return {};
}

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

Error checkStart(ByteSpan file) {
  if (file.size() < 2 || file[0] != 0xFF || file[1] != kSoi) return fail("not a JPEG file");
  if (file.size() > INT32_MAX) return fail("files of 2 GB and more are not supported");
  return {};
}

} // namespace

Error decode(ByteSpan file, const DecodeOptions& options, Image& image, std::string& damageText) {
  damageText.clear();
  if (Error error = checkStart(file)) return error;
  Header header;
  ScanHeader scan;
  Damage damage(options.keepGoing);
  MarkerReader reader(file);
  reader.moveTo(2);
  Error error = readToScan(reader, header, scan, damage);
  if (header.process) {
    // A file that is not for this decoder says so, whatever is odd about the rest of it.
    const Frame& frame = header.frame;
    if (Error bad = checkSupported(header.process, frame.bits, frame.components.size())) return bad;
  }
  if (error) return error;
  if (scan.components.empty()) return fail("the file holds no image");
  if (damage.stops()) return {damage.first()};
  const Frame& frame = header.frame;
  if (Error bad = img::checkSize(frame.width, frame.height, options.maxPixels)) return bad;
  if (Error bad = checkPlausible(frame, file.size() - reader.position(), options.keepGoing)) return bad;
  error = frame.bits == 8 ? decodeSamples<Zel8u>(file, reader, header, scan, options, image, damage)
                          : decodeSamples<Zel16u>(file, reader, header, scan, options, image, damage);
  if (error) return error;
  if (damage.stops()) return {damage.first()};
  damageText = damage.first();
  return {};
}

Error describe(img::ByteSource& source, std::string& text) {
  if (Error error = source.loadAll()) return error;
  const ByteSpan file = source.visible();
  if (Error error = checkStart(file)) return error;
  Header header;
  ScanHeader scan;
  Damage damage(true);
  MarkerReader reader(file);
  reader.moveTo(2);
  const Error error = readToScan(reader, header, scan, damage);
  if (!header.process) return error ? error : fail("the file holds no image");
  const Frame& frame = header.frame;
  const size_t count = frame.components.size();
  append(text, "JPEG, %s, %d x %d, %d bits\n", processName(header.process), frame.width, frame.height, frame.bits);
  append(text, "components: %zu%s, sampling %s\n", count,
         count != 3        ? ""
         : isYCbCr(header) ? " (Y, Cb, Cr)"
                           : " (R, G, B)",
         samplingName(frame).c_str());
  const int quality = qualityOf(header.quantTables[frame.components[0].quantTable]);
  if (quality) append(text, "quantisation: as by quality %d\n", quality);
  if (header.restartInterval) append(text, "restart interval: %d MCUs\n", header.restartInterval);
  if (!scan.components.empty()) append(text, "scans: %s\n", scan.components.size() == count ? "one" : "several");
  return {};
}

} // namespace jpeg
