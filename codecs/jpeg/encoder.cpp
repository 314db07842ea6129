// The encoder: tables, then run by run colour conversion, halving of chroma, transform with quantisation, and entropy
// coding. The samples and coefficients of a run stay in the first-level cache on their way through these steps.
#include <atomic>
#include <cstring>
#include <type_traits>

#include "common/aligned.h"
#include "common/workers.h"
#include "jpeg/frame.h"
#include "jpeg/huffman.h"
#include "jpeg/jpeg.h"
#include "jpeg/samples.h"
#include "jpeg/tables.h"
#include "jpeg/writer.h"

namespace jpeg {
namespace {

using img::AlignedArray;

// No block takes more: 64 coefficients of at most 16 + 16 bits, twice as many bytes if each is 0xFF, rounded up.
constexpr int kBytesOfBlock = 576;

// Step 1: what does not change during a scan. Index 0 is for luminance, 1 for chrominance.
template <class Sample>
struct Tables {
  uint8_t raw[2][64];
  alignas(64) typename TransformTable<Sample>::Entry forward[2][64];
  bool fine = false; // 8-bit samples are transformed by the finer tables
  alignas(64) Zel32f fineForward[2][64];
  HuffmanList dcList[2], acList[2];
  EncodeSpec dc[2], ac[2];
};

// From this quality on many steps are 2.
constexpr int kFineQuality = 91;

void makeForwardTable(const uint8_t* raw, Zel16u* table) {
  zeliQuantFwdTableInit_JPEG_8u16u(raw, table);
}

void makeForwardTable(const uint8_t* raw, Zel32f* table, int scale = 1) {
  for (int k = 0; k < 64; ++k) table[kNaturalOrder[k]] = 1.0f / static_cast<float>(raw[k] * scale);
}

template <class Sample>
Error makeQuantTables(int quality, Tables<Sample>& tables) {
  tables.fine = std::is_same_v<Sample, Zel8u> && quality >= kFineQuality;
  for (int i = 0; i < 2; ++i) {
    std::memcpy(tables.raw[i], kQuantTables[i], 64);
    if (zeliQuantFwdRawTableInit_JPEG_8u(tables.raw[i], quality) < 0) return fail("the quality must be 1 to 100");
    makeForwardTable(tables.raw[i], tables.forward[i]);
    makeForwardTable(tables.raw[i], tables.fineForward[i], kFineScale);
  }
  return {};
}

template <class Sample>
Error makeHuffmanTables(const HuffmanList dcLists[2], const HuffmanList acLists[2], Tables<Sample>& tables) {
  const auto build = [](const HuffmanList& list, EncodeSpec& owner) {
    ZeliEncodeHuffmanSpec* spec = nullptr;
    const ZelStatus status = zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(list.bits, list.values, &spec);
    owner.reset(spec);
    return status == zelStatusOk;
  };
  for (int i = 0; i < 2; ++i) {
    tables.dcList[i] = dcLists[i];
    tables.acList[i] = acLists[i];
    if (!build(dcLists[i], tables.dc[i]) || !build(acLists[i], tables.ac[i])) return fail("cannot make Huffman tables");
  }
  return {};
}

// The pixels of a run, the part of it that lies in the image, and scratch memory for one thread.
template <class Sample>
struct Strip {
  int width = 0, height = 0;             // of the run, in pixels
  int imageX = 0, imageY = 0;            // where it begins in the image
  int insideWidth = 0, insideHeight = 0; // what of it lies in the image
  int step = 0;                          // of the planes, in samples
  AlignedArray<Sample> full[3], half[3]; // planes at full size; chroma halved
  AlignedArray<Block> blocks;
  int blockCount = 0;

  Sample* row(int c, int y) const { return full[c].data() + y * step; }
};

template <class Sample>
Strip<Sample> makeStrip(const Frame& frame, const Scan& scan) {
  Strip<Sample> strip;
  // Rows a power of two apart would fall on the same few lines of the cache.
  strip.step = mcusOfRun(scan) * 8 * frame.hMax + 64;
  const size_t samples = static_cast<size_t>(strip.step) * 8 * static_cast<size_t>(frame.vMax);
  for (size_t c = 0; c < frame.components.size(); ++c) strip.full[c] = AlignedArray<Sample>(samples);
  for (size_t c = 1; c < frame.components.size(); ++c) strip.half[c] = AlignedArray<Sample>(samples);
  strip.blocks = AlignedArray<Block>(kBlocksOfRun);
  return strip;
}

template <class Sample>
void placeStrip(const Frame& frame, const Run& run, Strip<Sample>& strip) {
  strip.width = run.count * 8 * frame.hMax;
  strip.height = 8 * frame.vMax;
  strip.imageX = run.x * 8 * frame.hMax;
  strip.imageY = run.y * strip.height;
  strip.insideWidth = std::min(strip.width, frame.width - strip.imageX);
  strip.insideHeight = std::min(strip.height, frame.height - strip.imageY);
}

// Step 2, first half: pixels to planes. Outside the image the last column and the last row go on.
template <class Sample>
void convertColour(const Image& image, const Strip<Sample>& strip) {
  const Sample* pixels = image.row<Sample>(strip.imageY) + static_cast<ptrdiff_t>(strip.imageX) * image.channels();
  if (image.channels() == 3) {
    Sample* const planes[3] = {strip.row(0, 0), strip.row(1, 0), strip.row(2, 0)};
    convertForward(pixels, static_cast<int>(image.rowBytes()), planes, strip.step * static_cast<int>(sizeof(Sample)),
                   {strip.insideWidth, strip.insideHeight});
  } else {
    for (int y = 0; y < strip.insideHeight; ++y) {
      std::copy_n(pixels + static_cast<ptrdiff_t>(y) * image.width, strip.insideWidth, strip.row(0, y));
    }
  }
  for (int c = 0; c < image.channels(); ++c) {
    for (int y = 0; y < strip.insideHeight; ++y) {
      Sample* row = strip.row(c, y);
      std::fill(row + strip.insideWidth, row + strip.width, row[strip.insideWidth - 1]);
    }
    for (int y = strip.insideHeight; y < strip.height; ++y) {
      std::memcpy(strip.row(c, y), strip.row(c, strip.insideHeight - 1),
                  static_cast<size_t>(strip.width) * sizeof(Sample));
    }
  }
}

// Step 2, second half: chroma planes at the size of their components.
template <class Sample>
void halveChroma(const Frame& frame, const Strip<Sample>& strip) {
  if (frame.hMax == 1) return;
  for (size_t c = 1; c < frame.components.size(); ++c) {
    for (int y = 0; y < 8; ++y) {
      Sample* half = strip.half[c].data() + y * strip.step;
      if (frame.vMax == 1)
        halve2x1(strip.row(static_cast<int>(c), y), strip.width, half);
      else
        halve2x2(strip.row(static_cast<int>(c), 2 * y), strip.row(static_cast<int>(c), 2 * y + 1), strip.width, half);
    }
  }
}

// Starts to load the pixels that MCU m of the next run will need: the rows of a run are too short for the processor to
// see them coming, and memory is far. (Inline, since compilers take a function that only prefetches for one without
// effect, and drop its calls.)
template <class Sample>
[[gnu::always_inline]] inline void fetchAhead(const Image& image, const Frame& frame, const Strip<Sample>& strip,
                                              int m) {
  int x = strip.imageX + strip.width + m * 8 * frame.hMax, y = strip.imageY;
  if (x >= image.width) {
    x = m * 8 * frame.hMax;
    y += strip.height;
  }
  const int end = std::min(y + strip.height, image.height);
  for (; y < end && x < image.width; ++y) {
    __builtin_prefetch(image.row<Sample>(y) + static_cast<ptrdiff_t>(x) * image.channels());
  }
}

// Step 3: samples to quantised coefficients, in coding order. A block that lies wholly outside the image costs the
// fewest bits if it repeats the DC term of its component's block before.
template <class Sample>
void transformBlocks(const Image& image, const Frame& frame, const Scan& scan, const Run& run,
                     const Tables<Sample>& tables, Strip<Sample>& strip) {
  Block* block = strip.blocks.data();
  for (int m = 0; m < run.count; ++m) {
    fetchAhead(image, frame, strip, m);
    for (const ScanBlock& b : scan.mcu) {
      const Component& component = frame.components[static_cast<size_t>(b.component)];
      const int column = m * b.across + b.x;
      if (run.x * b.across + column < component.blocksWide && run.y * b.down + b.y < component.blocksHigh) {
        const bool halved = component.h < frame.hMax;
        const Sample* plane = (halved ? strip.half : strip.full)[b.component].data();
        const Sample* samples = plane + 8 * b.y * strip.step + 8 * column;
        const int step = strip.step * static_cast<int>(sizeof(Sample)), table = component.quantTable;
        if (tables.fine)
          transformForward(samples, step, block->coefficients, tables.fineForward[table]);
        else
          transformForward(samples, step, block->coefficients, tables.forward[table]);
      } else {
        *block = Block{{block[-1].coefficients[0]}};
      }
      ++block;
    }
  }
  strip.blockCount = static_cast<int>(block - strip.blocks.data());
}

// Steps 2 and 3.
template <class Sample>
void transformRun(const Image& image, const Frame& frame, const Scan& scan, const Run& run,
                  const Tables<Sample>& tables, Strip<Sample>& strip) {
  placeStrip(frame, run, strip);
  convertColour(image, strip);
  halveChroma(frame, strip);
  transformBlocks(image, frame, scan, run, tables, strip);
}

// An entropy-coded segment that is being written: the bytes so far, and what the coder carries from block to block.
struct Segment {
  Bytes* bytes = nullptr;
  Zel32s position = 0;
  Zel16s lastDc[3] = {};
  EncodeState state;
};

Error beginSegment(Bytes& bytes, size_t position, Segment& segment) {
  segment.bytes = &bytes;
  segment.position = static_cast<Zel32s>(position);
  std::fill(segment.lastDc, segment.lastDc + 3, Zel16s{0});
  if (segment.state) return {}; // a flush has made it new
  ZeliEncodeHuffmanState* state = nullptr;
  if (zeliEncodeHuffmanStateInitAlloc_JPEG_8u(&state) != zelStatusOk) return fail("out of memory");
  segment.state.reset(state);
  return {};
}

Error makeRoom(Segment& segment, int blocks) {
  const size_t needed = static_cast<size_t>(segment.position) + static_cast<size_t>(blocks) * kBytesOfBlock;
  if (needed > INT32_MAX) return fail("the file becomes larger than 2 GB");
  if (needed > segment.bytes->size()) segment.bytes->resize(std::min<size_t>(2 * needed, INT32_MAX));
  return {};
}

// Step 4: the blocks of a run to the entropy-coded segment.
template <class Sample>
Error codeBlocks(const Frame& frame, const Scan& scan, const Tables<Sample>& tables, const Strip<Sample>& strip,
                 Segment& segment) {
  if (Error error = makeRoom(segment, strip.blockCount)) return error;
  struct Coder {
    Zel16s* lastDc;
    const ZeliEncodeHuffmanSpec *dc, *ac;
  } coders[10];
  const size_t blocksOfMcu = scan.mcu.size();
  for (size_t i = 0; i < blocksOfMcu; ++i) {
    const int component = scan.mcu[i].component;
    const int table = frame.components[static_cast<size_t>(component)].quantTable;
    coders[i] = {&segment.lastDc[component], tables.dc[table].get(), tables.ac[table].get()};
  }
  Zel8u* const bytes = segment.bytes->data();
  const auto length = static_cast<Zel32s>(segment.bytes->size());
  ZeliEncodeHuffmanState* const state = segment.state.get();
  Zel32s position = segment.position;
  const Block* block = strip.blocks.data();
  const Block* const end = block + strip.blockCount;
  while (block != end) {
    for (size_t i = 0; i < blocksOfMcu; ++i, ++block) {
      const Coder& c = coders[i];
      const ZelStatus status = zeliEncodeHuffman8x8_JPEG_16s1u_C1(block->coefficients, bytes, length, &position,
                                                                  c.lastDc, c.dc, c.ac, state, 0);
      if (status != zelStatusOk) return fail("the entropy coder failed (status %d)", status);
    }
  }
  segment.position = position;
  return {};
}

// Pads the last byte of the segment.
Error flush(Segment& segment) {
  if (Error error = makeRoom(segment, 1)) return error;
  const ZelStatus status =
      zeliEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, segment.bytes->data(), static_cast<Zel32s>(segment.bytes->size()),
                                         &segment.position, nullptr, nullptr, nullptr, segment.state.get(), 1);
  return status == zelStatusOk ? Error{} : fail("the entropy coder failed (status %d)", status);
}

// A scan without restarts: runs are transformed side by side, and coded one after the other.
template <class Sample>
Error encodeInOnePiece(const Image& image, const Frame& frame, const Scan& scan, const Tables<Sample>& tables,
                       std::vector<Strip<Sample>>& strips, Bytes& file) {
  const int runsOfRow = divideUp(scan.mcusWide, mcusOfRun(scan));
  Segment segment;
  Error error = beginSegment(file, file.size(), segment);
  if (error) return error;
  img::Workers workers(static_cast<int>(strips.size()));
  workers.run(int64_t{runsOfRow} * scan.mcusHigh, [&](int thread, int64_t item, img::Turns& turns) {
    const int64_t row = item / runsOfRow;
    const Run run = runAt(scan, row * scan.mcusWide + item % runsOfRow * mcusOfRun(scan), (row + 1) * scan.mcusWide);
    Strip<Sample>& strip = strips[static_cast<size_t>(thread)];
    transformRun(image, frame, scan, run, tables, strip);
    if (!turns.await(item)) return false;
    if (!error) error = codeBlocks(frame, scan, tables, strip, segment);
    turns.pass();
    return true;
  });
  if (!error) error = flush(segment);
  file.resize(static_cast<size_t>(segment.position));
  return error;
}

// A scan with restarts: intervals are independent, so each thread makes whole ones, which join the file in order.
template <class Sample>
Error encodeIntervals(const Image& image, const Frame& frame, const Scan& scan, const Tables<Sample>& tables,
                      int interval, std::vector<Strip<Sample>>& strips, Bytes& file) {
  const int64_t intervals = (scan.mcuCount() + interval - 1) / interval;
  Error error;
  std::vector<Bytes> parts(strips.size());
  std::vector<Segment> segments(strips.size());
  const auto encodeInterval = [&](int64_t item, Strip<Sample>& strip, Bytes& part, Segment& segment) -> Error {
    if (Error bad = beginSegment(part, 0, segment)) return bad;
    const int64_t end = std::min((item + 1) * interval, scan.mcuCount());
    for (int64_t mcu = item * interval; mcu < end;) {
      const Run run = runAt(scan, mcu, end);
      transformRun(image, frame, scan, run, tables, strip);
      if (Error bad = codeBlocks(frame, scan, tables, strip, segment)) return bad;
      mcu += run.count;
    }
    return flush(segment);
  };
  img::Workers(static_cast<int>(strips.size())).run(intervals, [&](int thread, int64_t item, img::Turns& turns) {
    const auto t = static_cast<size_t>(thread);
    const Error bad = encodeInterval(item, strips[t], parts[t], segments[t]);
    if (!turns.await(item)) return false;
    if (bad && !error) error = bad;
    if (!error) {
      if (item > 0) SegmentWriter(file).marker(kRst0 + static_cast<int>((item - 1) % 8));
      file.insert(file.end(), parts[t].begin(), parts[t].begin() + segments[t].position);
    }
    turns.pass();
    return true;
  });
  return error;
}

// For 12 bits the tables of Annex K have no codes for the highest categories: a pass over the image counts the symbols,
// restarts included, and tables are made of the counts.
template <class Sample>
Error measureHuffmanTables(const Image& image, const Frame& frame, const Scan& scan, int interval, Strip<Sample>& strip,
                           Tables<Sample>& tables) {
  SymbolCounts dc[2], ac[2];
  Zel16s lastDc[3] = {};
  int64_t end = interval ? interval : scan.mcuCount();
  for (int64_t mcu = 0; mcu < scan.mcuCount();) {
    const Run run = runAt(scan, mcu, std::min(end, scan.mcuCount()));
    transformRun(image, frame, scan, run, tables, strip);
    for (int i = 0; i < strip.blockCount; ++i) {
      const int c = scan.mcu[static_cast<size_t>(i) % scan.mcu.size()].component;
      const int table = frame.components[static_cast<size_t>(c)].quantTable;
      lastDc[c] = countSymbols(strip.blocks[static_cast<size_t>(i)].coefficients, lastDc[c], dc[table], ac[table]);
    }
    mcu += run.count;
    if (mcu == end) {
      end += interval;
      std::fill(lastDc, lastDc + 3, Zel16s{0});
    }
  }
  const HuffmanList dcLists[2] = {optimalList(dc[0]), optimalList(dc[1])};
  const HuffmanList acLists[2] = {optimalList(ac[0]), optimalList(ac[1])};
  return makeHuffmanTables(dcLists, acLists, tables);
}

Frame makeFrame(const Image& image, Sampling sampling) {
  Frame frame;
  frame.bits = image.bits;
  frame.width = image.width;
  frame.height = image.height;
  const int h = sampling == Sampling::s444 || image.channels() == 1 ? 1 : 2;
  const int v = sampling == Sampling::s420 && image.channels() == 3 ? 2 : 1;
  for (int c = 0; c < image.channels(); ++c) {
    Component component;
    component.id = c + 1;
    component.h = c == 0 ? h : 1;
    component.v = c == 0 ? v : 1;
    component.quantTable = c == 0 ? 0 : 1;
    frame.components.push_back(component);
  }
  layOut(frame);
  return frame;
}

template <class Sample>
void writeHeaders(const Frame& frame, const Tables<Sample>& tables, int restartInterval, Bytes& file) {
  SegmentWriter writer(file);
  const int tableCount = frame.components.size() == 1 ? 1 : 2;
  writer.marker(kSoi);
  writer.jfif();
  for (int i = 0; i < tableCount; ++i) writer.quantTable(i, tables.raw[i]);
  writer.frame(frame.bits == 8 ? kSof0 : kSof1, frame);
  for (int i = 0; i < tableCount; ++i) {
    writer.huffmanTable(0, i, tables.dcList[i]);
    writer.huffmanTable(1, i, tables.acList[i]);
  }
  if (restartInterval) writer.restartInterval(restartInterval);
  writer.scan(frame);
}

template <class Sample>
Error encodeSamples(const Image& image, const EncodeOptions& options, Bytes& file) {
  const Frame frame = makeFrame(image, options.sampling);
  const Scan scan = image.channels() == 1 ? layOutScan(frame, {0}) : layOutScan(frame, {0, 1, 2});
  const int threads = static_cast<int>(std::clamp<int64_t>(options.threads, 1, 64));
  std::vector<Strip<Sample>> strips;
  for (int i = 0; i < threads; ++i) strips.push_back(makeStrip<Sample>(frame, scan));

  Tables<Sample> tables;
  Error error = makeQuantTables(options.quality, tables);
  if (error) return error;
  if (image.bits == 8)
    error = makeHuffmanTables(kDcLists, kAcLists, tables);
  else
    error = measureHuffmanTables(image, frame, scan, options.restartInterval, strips[0], tables);
  if (error) return error;

  writeHeaders(frame, tables, options.restartInterval, file);
  if (options.restartInterval)
    error = encodeIntervals(image, frame, scan, tables, options.restartInterval, strips, file);
  else
    error = encodeInOnePiece(image, frame, scan, tables, strips, file);
  SegmentWriter(file).marker(kEoi);
  return error;
}

} // namespace

Error encode(const Image& image, const EncodeOptions& options, Bytes& file) {
  file.clear();
  if (image.width > 65535 || image.height > 65535) return fail("a JPEG file holds 65535 x 65535 pixels at most");
  if (options.restartInterval < 0 || options.restartInterval > 65535)
    return fail("the restart interval must be 0 to 65535");
  if (image.bits == 8) return encodeSamples<Zel8u>(image, options, file);
  if (image.bits == 12) return encodeSamples<Zel16u>(image, options, file);
  return fail("a JPEG file holds samples of 8 or 12 bits, not %d", image.bits);
}

} // namespace jpeg
