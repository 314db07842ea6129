// The encoder: tables, then run by run colour conversion, halving of chroma, transform with quantisation, and entropy
// coding. The samples and coefficients of a run stay in the first-level cache on their way through these steps.
#include <cstring>
#include <mutex>
#include <new>
#include <type_traits>

#include "common/aligned.h"
#include "common/join.h"
#include "common/workers.h"
#include "jpeg/encoder_road.h"
#include "jpeg/frame.h"
#include "jpeg/huffman.h"
#include "jpeg/jpeg.h"
#include "jpeg/lossless.h"
#include "jpeg/samples.h"
#include "jpeg/scan_writer.h"
#include "jpeg/tables.h"
#include "jpeg/writer.h"

namespace jpeg {
namespace {

using img::AlignedArray;
using img::ConstRows;

// No block takes more: 64 coefficients of at most 16 + 16 bits, twice as many bytes if each is 0xFF, rounded up.
constexpr size_t kBytesOfBlock = 576;

// Coded bytes go to the sink in pieces of about this size.
constexpr Zel32s kBytesOfPiece = 1 << 16;

// Step 1: what does not change during a scan. Index 0 is for luminance, 1 for chrominance.
template <class Sample>
struct Tables {
  uint8_t raw[2][64];
  alignas(64) typename TransformTable<Sample>::Entry forward[2][64];
  bool fine[2] = {}; // 8-bit samples are transformed by the finer tables
  alignas(64) Zel32f fineForward[2][64];
  HuffmanList dcList[2], acList[2];
  EncodeSpec dc[2], ac[2];
};

void makeForwardTable(const uint8_t* raw, Zel16u* table) {
  zeliQuantFwdTableInit_JPEG_8u16u(raw, table);
}

void makeForwardTable(const uint8_t* raw, Zel32f* table, int scale = 1) {
  for (int k = 0; k < 64; ++k) table[kNaturalOrder[k]] = 1.0f / static_cast<float>(raw[k] * scale);
}

// The transform for 8 bits rounds coefficients before it divides them. Beside several steps of 2 that shows in every
// picture; beside those of medium qualities it shows in some small ones, where time does not matter.
bool needsFineSteps(const uint8_t* raw, const Frame& frame) {
  constexpr int64_t kSmallPicture = int64_t{1} << 18;
  const bool small = int64_t{frame.width} * frame.height <= kSmallPicture;
  const auto finerThan = [raw](int step) { return std::count_if(raw, raw + 64, [=](int own) { return own <= step; }); };
  return small ? finerThan(16) > 0 : finerThan(2) > 4;
}

template <class Sample>
Error makeQuantTables(int quality, const Frame& frame, Tables<Sample>& tables) {
  for (int i = 0; i < 2; ++i) {
    std::memcpy(tables.raw[i], kQuantTables[i], 64);
    if (zeliQuantFwdRawTableInit_JPEG_8u(tables.raw[i], quality) < 0) return fail("the quality must be 1 to 100");
    tables.fine[i] = std::is_same_v<Sample, Zel8u> && needsFineSteps(tables.raw[i], frame);
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

// Luminance, and with it black, has the largest factors; inks that are coded as they are have the same.
Frame makeFrame(const img::Picture& picture, const EncodeOptions& options) {
  Frame frame;
  frame.bits = picture.bits;
  frame.width = picture.width;
  frame.height = picture.height;
  constexpr int kAcross[] = {1, 2, 2, 1, 4}, kDown[] = {1, 1, 2, 2, 1}; // by Sampling
  const bool chroma = picture.colour == img::Colour::cmyk ? options.ycck : picture.colour == img::Colour::rgb;
  const auto sampling = static_cast<size_t>(options.sampling);
  for (int c = 0; c < picture.channels(); ++c) {
    const bool isChroma = chroma && (c == 1 || c == 2);
    Component component;
    component.id = c + 1;
    component.h = chroma && !isChroma ? kAcross[sampling] : 1;
    component.v = chroma && !isChroma ? kDown[sampling] : 1;
    component.quantTable = isChroma ? 1 : 0;
    component.isChroma = isChroma;
    frame.components.push_back(component);
  }
  layOut(frame);
  return frame;
}

// An entropy-coded segment that is being written: the bytes so far, and what the coder carries from block to block.
struct Segment {
  Bytes bytes;
  Zel32s position = 0;
  Zel16s lastDc[4] = {};
  EncodeState state;
};

// Threads code restart intervals side by side that are rows of MCUs, this many at most, or parts of one.
constexpr int kLongestInterval = 8;

template <class Sample>
class Writer : public img::RowWriter {
 public:
  Writer(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options)
      : sink_(sink),
        picture_(picture),
        frame_(makeFrame(picture, options)),
        scan_(layOutScan(frame_, allComponents(frame_))),
        channels_(picture.channels()),
        rowBytes_(picture.rowBytes()),
        options_(options),
        interval_(int64_t{options.restartInterval} * (options.restartInRows ? scan_.mcusWide : 1)),
        threads_(options.threads) {}

  Error begin() {
    if (interval_ > 65535) return fail("a restart interval holds 65535 MCUs at most, not %lld", (long long)interval_);
    Error error = makeQuantTables(options_.quality, frame_, tables_);
    if (error) return error;
    for (const Component& c : frame_.components) {
      if constexpr (std::is_same_v<Sample, Zel8u>) {
        const int table = c.quantTable;
        roadTables_.push_back({tables_.forward[table], tables_.fine[table] ? tables_.fineForward[table] : nullptr});
      }
    }
    strips_.resize(static_cast<size_t>(threads_));
    for (Strip& strip : strips_) makeStrip(strip);
    // For 12 bits the tables of Annex K have no codes for the highest categories: tables are made to measure, too.
    if (frame_.bits != 8 || options_.optimize || options_.progressive || !options_.script.empty()) {
      script_ = options_.script;
      if (script_.empty()) script_ = options_.progressive ? usualProgression(frame_) : oneScan(frame_);
      if (Error bad = checkScript(script_, frame_)) return bad;
      const auto bytes = static_cast<int64_t>(scan_.mcu.size() * sizeof(Block)) * scan_.mcuCount();
      const bool inOne = isSequential(script_) && script_[0].components.size() == frame_.components.size();
      if (inOne && bytes > options_.coefficientMemory)
        packed_ = std::make_unique<PackedBlocks>(scan_);
      else
        coefficients_ = std::make_unique<CoefficientImage>(frame_);
      return {};
    }
    error = makeHuffmanTables(kDcLists, kAcLists, tables_);
    return error ? error : beginScan();
  }

  int rowsAtOnce() const override { return 8 * frame_.vMax; }

  Error write(const ConstRows& rows) override {
    const int high = 8 * frame_.vMax;
    for (int done = 0; done < rows.count;) {
      const int left = rows.count - done;
      const bool last = rowsDone_ + held_ + left == frame_.height;
      int count = 0;
      if (held_ == 0) count = last ? left : left / high * high;
      if (count > 0) {
        if (Error error = encodeRows(rows.part(done, count))) return error;
      } else {
        count = std::min(left, high - held_);
        if (Error error = hold(rows.part(done, count))) return error;
      }
      done += count;
    }
    return {};
  }

  bool pulls() const override { return threads_ > 1; }

  // Rows of MCUs are read and coded one after the other, and transformed side by side. Restart intervals are
  // independent: where rows of MCUs begin with them, they are coded side by side too.
  Error pull(img::RowReader& reader, const img::Progress& progress) override {
    const bool alone = interval_ && !keepsAll() &&
                       (scan_.mcusWide % interval_ == 0 ||
                        (interval_ % scan_.mcusWide == 0 && interval_ <= kLongestInterval * scan_.mcusWide));
    const int mcuRows = alone ? static_cast<int>((interval_ + scan_.mcusWide - 1) / scan_.mcusWide) : 1;
    const int high = 8 * frame_.vMax * mcuRows;
    struct Slot {
      AlignedArray<uint8_t> pixels;
      AlignedArray<Block> blocks; // of a row of MCUs that is coded in its turn
      Segment segment;            // of one that is coded by itself
    };
    img::Pipeline pipeline;
    pipeline.items = divideUp(frame_.height, high);
    std::vector<Slot> slots(static_cast<size_t>(threads_ * img::Pipeline::kSlotsOfThread));
    for (Slot& slot : slots) {
      slot.pixels = AlignedArray<uint8_t>(rowBytes_ * static_cast<size_t>(high));
      if (!alone && !keepsAll()) slot.blocks = AlignedArray<Block>(blocksOfMcuRow());
      if (Error error = makeState(slot.segment)) return error;
    }
    const auto rowsOf = [&](int64_t item, int slot) {
      return img::Rows{slots[static_cast<size_t>(slot)].pixels.data(), static_cast<ptrdiff_t>(rowBytes_),
                       std::min(high, frame_.height - static_cast<int>(item) * high)};
    };
    const auto mcusOf = [&](int64_t item) {
      const int64_t begin = item * mcuRows * scan_.mcusWide;
      return std::pair(begin, std::min(begin + int64_t{mcuRows} * scan_.mcusWide, scan_.mcuCount()));
    };
    Error readError, codeError;
    std::mutex mutex;
    pipeline.begin = [&](int64_t item, int slot) { return !(readError = reader.read(rowsOf(item, slot))); };
    pipeline.work = [&](int64_t item, int number) {
      const Part part{asConst(rowsOf(item, number)), static_cast<int>(item) * mcuRows};
      Strip& strip = strips_[static_cast<size_t>(number / img::Pipeline::kSlotsOfThread)];
      Slot& slot = slots[static_cast<size_t>(number)];
      if (!alone) {
        if (!keepsAll())
          transformMcuRow(part, part.mcuRow, strip, slot.blocks.data());
        else
          keepCoefficients(part, strip);
        return true;
      }
      slot.segment.position = 0;
      const auto [begin, end] = mcusOf(item);
      Error error = makeRoom(slot.segment, 1, false);
      if (!error) error = encodeMcus(part, begin, end, strip, slot.segment, false);
      if (!error) error = flush(slot.segment);
      if (!error) return true;
      const std::lock_guard lock(mutex);
      codeError = error;
      return false;
    };
    pipeline.end = [&](int64_t item, int number) {
      Slot& slot = slots[static_cast<size_t>(number)];
      const auto [begin, end] = mcusOf(item);
      Error error;
      if (alone)
        error = sink_.write({slot.segment.bytes.data(), static_cast<size_t>(slot.segment.position)});
      else if (!keepsAll())
        error = codeMcus(slot.blocks.data(), begin, end, segment_);
      if (progress) progress(std::min(static_cast<int>(item + 1) * high, frame_.height));
      if (!error) return true;
      const std::lock_guard lock(mutex);
      codeError = error;
      return false;
    };
    run(pipeline, threads_);
    return codeError ? codeError : readError;
  }

  Error finish() override {
    if (held_ > 0) {
      if (Error error = encodeHeld()) return error;
    }
    if (keepsAll()) return codeCoefficients();
    if (Error error = flush(segment_)) return error;
    segment_.bytes.resize(static_cast<size_t>(segment_.position));
    SegmentWriter(segment_.bytes).marker(kEoi);
    return sink_.write(segment_.bytes);
  }

 private:
  // The pixels of a run, the part of it that lies in the image, and scratch memory for one thread.
  struct Strip {
    int width = 0, height = 0;             // of the run, in pixels
    int insideWidth = 0, insideHeight = 0; // what of it lies in the image
    int step = 0;                          // of the planes, in samples
    AlignedArray<Sample> full[3], half[3]; // planes at full size; chroma halved
    AlignedArray<Block> blocks;            // of a run
    std::unique_ptr<EncoderRoad> road;     // for what is not grey or R, G, B in the usual layout by runs

    Sample* row(int c, int y) const { return full[c].data() + y * step; }
  };

  // Rows that have been given, the first of which is the first of a row of MCUs.
  struct Part {
    ConstRows rows;
    int mcuRow;
  };

  void makeStrip(Strip& strip) const {
    strip.blocks = AlignedArray<Block>(kBlocksOfRun);
    if (sizeof(Sample) == 1 && (options_.road != Road::runs || picture_.colour == img::Colour::cmyk ||
                                picture_.layout != img::Layout::usual)) {
      strip.road = std::make_unique<EncoderRoad>(frame_, scan_, picture_, options_, roadTables_);
      return;
    }
    // Rows a power of two apart would fall on the same few lines of the cache.
    strip.step = mcusOfRun(scan_) * 8 * frame_.hMax + 64;
    const size_t samples = static_cast<size_t>(strip.step) * 8 * static_cast<size_t>(frame_.vMax);
    for (size_t c = 0; c < frame_.components.size(); ++c) strip.full[c] = AlignedArray<Sample>(samples);
    for (size_t c = 1; c < frame_.components.size(); ++c) strip.half[c] = AlignedArray<Sample>(samples);
  }

  bool keepsAll() const { return coefficients_ || packed_; }

  size_t blocksOfMcuRow() const { return scan_.mcu.size() * static_cast<size_t>(scan_.mcusWide); }

  // Rows that do not fill a row of MCUs wait for the others.
  Error hold(const ConstRows& rows) {
    if (heldRows_.empty()) heldRows_.resize(rowBytes_ * static_cast<size_t>(8 * frame_.vMax));
    for (int y = 0; y < rows.count; ++y) {
      std::memcpy(heldRows_.data() + rowBytes_ * static_cast<size_t>(held_++), rows.row<uint8_t>(y), rowBytes_);
    }
    return held_ == 8 * frame_.vMax ? encodeHeld() : Error{};
  }

  Error encodeHeld() {
    const ConstRows rows{heldRows_.data(), static_cast<ptrdiff_t>(rowBytes_), held_};
    held_ = 0;
    return encodeRows(rows);
  }

  // Whole rows of MCUs, the last of which may end with the image.
  Error encodeRows(const ConstRows& rows) {
    const Part part{rows, rowsDone_ / (8 * frame_.vMax)};
    const int mcuRows = divideUp(rows.count, 8 * frame_.vMax);
    rowsDone_ += rows.count;
    const int64_t begin = int64_t{part.mcuRow} * scan_.mcusWide, end = begin + int64_t{mcuRows} * scan_.mcusWide;
    if (!keepsAll()) return encodeMcus(part, begin, end, strips_[0], segment_, true);
    for (int row = 0; row < mcuRows; ++row) {
      const int first = row * 8 * frame_.vMax;
      const int count = std::min(8 * frame_.vMax, rows.count - first);
      keepCoefficients({rows.part(first, count), part.mcuRow + row}, strips_[0]);
    }
    return {};
  }

  // Step 2, first half: pixels to planes. Outside the image the last column and the last row go on.
  void convertColour(const Part& part, const Run& run, Strip& strip) const {
    const int x = run.x * 8 * frame_.hMax, y = (run.y - part.mcuRow) * 8 * frame_.vMax;
    strip.width = run.count * 8 * frame_.hMax;
    strip.height = 8 * frame_.vMax;
    strip.insideWidth = std::min(strip.width, frame_.width - x);
    strip.insideHeight = std::min(strip.height, part.rows.count - y);
    const Sample* pixels = part.rows.template row<Sample>(y) + static_cast<ptrdiff_t>(x) * channels_;
    if (channels_ == 3) {
      Sample* const planes[3] = {strip.row(0, 0), strip.row(1, 0), strip.row(2, 0)};
      convertForward(pixels, static_cast<int>(part.rows.step), planes, strip.step * static_cast<int>(sizeof(Sample)),
                     {strip.insideWidth, strip.insideHeight});
    } else {
      for (int i = 0; i < strip.insideHeight; ++i) {
        std::copy_n(part.rows.template row<Sample>(y + i) + x, strip.insideWidth, strip.row(0, i));
      }
    }
    for (int c = 0; c < channels_; ++c) {
      for (int i = 0; i < strip.insideHeight; ++i) {
        Sample* row = strip.row(c, i);
        std::fill(row + strip.insideWidth, row + strip.width, row[strip.insideWidth - 1]);
      }
      for (int i = strip.insideHeight; i < strip.height; ++i) {
        std::memcpy(strip.row(c, i), strip.row(c, strip.insideHeight - 1),
                    static_cast<size_t>(strip.width) * sizeof(Sample));
      }
    }
  }

  // Step 2, second half: chroma planes at the size of their components.
  void halveChroma(const Strip& strip) const {
    const int across = frame_.hMax, down = frame_.vMax;
    if (across * down == 1) return;
    for (size_t c = 1; c < frame_.components.size(); ++c) {
      for (int y = 0; y < 8; ++y) {
        Sample* half = strip.half[c].data() + y * strip.step;
        const Sample *row = strip.row(static_cast<int>(c), down * y), *next = row + (down - 1) * strip.step;
        if (across == 2 && down == 1)
          halve2x1(row, strip.width, half);
        else if (across == 2)
          halve2x2(row, next, strip.width, half);
        else if (across == 1)
          average<1, 2>(row, strip.step, strip.width, half);
        else
          average<4, 1>(row, strip.step, strip.width / 4, half);
      }
    }
  }

  // Step 3: samples to quantised coefficients, in coding order. A block that lies wholly outside the image costs the
  // fewest bits if it repeats the DC term of its component's block before.
  void transformBlocks(const Run& run, const Strip& strip, Block* block) const {
    for (int m = 0; m < run.count; ++m) {
      for (const ScanBlock& b : scan_.mcu) {
        const Component& component = frame_.components[static_cast<size_t>(b.component)];
        const int column = m * b.across + b.x;
        if (run.x * b.across + column < component.blocksWide && run.y * b.down + b.y < component.blocksHigh) {
          const bool halved = component.h < frame_.hMax || component.v < frame_.vMax;
          const Sample* plane = (halved ? strip.half : strip.full)[b.component].data();
          const Sample* samples = plane + 8 * b.y * strip.step + 8 * column;
          const int step = strip.step * static_cast<int>(sizeof(Sample)), table = component.quantTable;
          if (tables_.fine[table])
            transformForward(samples, step, block->coefficients, tables_.fineForward[table]);
          else
            transformForward(samples, step, block->coefficients, tables_.forward[table]);
        } else {
          *block = Block{{block[-1].coefficients[0]}};
        }
        ++block;
      }
    }
  }

  // Steps 2 and 3.
  void transformRun(const Part& part, const Run& run, Strip& strip, Block* blocks) const {
    if (strip.road) {
      const int y = (run.y - part.mcuRow) * 8 * frame_.vMax;
      strip.road->transform(part.rows.part(y, part.rows.count - y), run, blocks);
      return;
    }
    convertColour(part, run, strip);
    halveChroma(strip);
    transformBlocks(run, strip, blocks);
  }

  void transformMcuRow(const Part& part, int mcuRow, Strip& strip, Block* blocks) const {
    for (int x = 0; x < scan_.mcusWide;) {
      const Run run{x, mcuRow, std::min(scan_.mcusWide - x, mcusOfRun(scan_))};
      transformRun(part, run, strip, blocks + static_cast<size_t>(x) * scan_.mcu.size());
      x += run.count;
    }
  }

  static Error makeState(Segment& segment) {
    if (segment.state) return {}; // a flush has made it new
    ZeliEncodeHuffmanState* state = nullptr;
    if (zeliEncodeHuffmanStateInitAlloc_JPEG_8u(&state) != zelStatusOk) throw std::bad_alloc();
    segment.state.reset(state);
    return {};
  }

  // Makes room for blocks; full pieces of the segment that is written in order go to the sink.
  Error makeRoom(Segment& segment, size_t blocks, bool toSink) {
    if (toSink && segment.position >= kBytesOfPiece) {
      if (Error error = sink_.write({segment.bytes.data(), static_cast<size_t>(segment.position)})) return error;
      segment.position = 0;
    }
    const size_t needed = static_cast<size_t>(segment.position) + blocks * kBytesOfBlock;
    if (needed > INT32_MAX) return fail("a restart interval becomes larger than 2 GB");
    if (needed > segment.bytes.size()) segment.bytes.resize(std::min<size_t>(needed + needed / 2, INT32_MAX));
    return {};
  }

  // Step 4: the blocks of MCUs to the entropy-coded segment.
  Error codeBlocks(const Block* block, int mcus, Segment& segment, bool toSink) {
    const size_t blocksOfMcu = scan_.mcu.size();
    struct Coder {
      Zel16s* lastDc;
      const ZeliEncodeHuffmanSpec *dc, *ac;
    } coders[10];
    for (size_t i = 0; i < blocksOfMcu; ++i) {
      const int component = scan_.mcu[i].component;
      const int table = frame_.components[static_cast<size_t>(component)].quantTable;
      coders[i] = {&segment.lastDc[component], tables_.dc[table].get(), tables_.ac[table].get()};
    }
    while (mcus > 0) {
      const int count = std::min(mcus, mcusOfRun(scan_));
      if (Error error = makeRoom(segment, static_cast<size_t>(count) * blocksOfMcu, toSink)) return error;
      Zel8u* const bytes = segment.bytes.data();
      const auto length = static_cast<Zel32s>(segment.bytes.size());
      ZeliEncodeHuffmanState* const state = segment.state.get();
      Zel32s position = segment.position;
      for (const Block* const end = block + static_cast<size_t>(count) * blocksOfMcu; block != end;) {
        for (size_t i = 0; i < blocksOfMcu; ++i, ++block) {
          const Coder& c = coders[i];
          const ZelStatus status = zeliEncodeHuffman8x8_JPEG_16s1u_C1(block->coefficients, bytes, length, &position,
                                                                      c.lastDc, c.dc, c.ac, state, 0);
          if (status != zelStatusOk) return fail("the entropy coder failed (status %d)", status);
        }
      }
      segment.position = position;
      mcus -= count;
    }
    return {};
  }

  // Pads the last byte of the segment.
  Error flush(Segment& segment) {
    if (Error error = makeRoom(segment, 1, false)) return error;
    const ZelStatus status =
        zeliEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, segment.bytes.data(), static_cast<Zel32s>(segment.bytes.size()),
                                           &segment.position, nullptr, nullptr, nullptr, segment.state.get(), 1);
    return status == zelStatusOk ? Error{} : fail("the entropy coder failed (status %d)", status);
  }

  // In front of an MCU that begins a restart interval, but for the first.
  Error restart(int64_t mcu, Segment& segment) {
    if (Error error = flush(segment)) return error;
    const int64_t number = mcu / interval_ - 1;
    segment.bytes[static_cast<size_t>(segment.position++)] = 0xFF;
    segment.bytes[static_cast<size_t>(segment.position++)] = static_cast<uint8_t>(kRst0 + number % 8);
    std::fill(std::begin(segment.lastDc), std::end(segment.lastDc), Zel16s{0});
    return {};
  }

  // MCUs begin..end-1 run by run: what is transformed is coded while it is near.
  Error encodeMcus(const Part& part, int64_t begin, int64_t end, Strip& strip, Segment& segment, bool toSink) {
    for (int64_t mcu = begin; mcu < end;) {
      if (interval_ && mcu > 0 && mcu % interval_ == 0) {
        if (Error error = restart(mcu, segment)) return error;
      }
      const int64_t stop = interval_ ? std::min(end, (mcu / interval_ + 1) * interval_) : end;
      const Run run = runAt(scan_, mcu, stop);
      transformRun(part, run, strip, strip.blocks.data());
      if (Error error = codeBlocks(strip.blocks.data(), run.count, segment, toSink)) return error;
      mcu += run.count;
    }
    return {};
  }

  // The blocks of MCUs begin..end-1 with their restarts.
  Error codeMcus(const Block* blocks, int64_t begin, int64_t end, Segment& segment) {
    for (int64_t mcu = begin; mcu < end;) {
      if (interval_ && mcu > 0 && mcu % interval_ == 0) {
        if (Error error = restart(mcu, segment)) return error;
      }
      const int64_t stop = interval_ ? std::min(end, (mcu / interval_ + 1) * interval_) : end;
      const Block* first = blocks + static_cast<size_t>(mcu - begin) * scan_.mcu.size();
      if (Error error = codeBlocks(first, static_cast<int>(stop - mcu), segment, true)) return error;
      mcu = stop;
    }
    return {};
  }

  // One row of MCUs.
  void keepCoefficients(const Part& part, Strip& strip) {
    if (packed_) {
      const AlignedArray<Block> row(packed_->blocksOfRow());
      transformMcuRow(part, part.mcuRow, strip, row.data());
      packed_->keep(part.mcuRow, row.data());
      return;
    }
    for (int x = 0; x < scan_.mcusWide;) {
      const Run run{x, part.mcuRow, std::min(scan_.mcusWide - x, mcusOfRun(scan_))};
      const Block* block = strip.blocks.data();
      transformRun(part, run, strip, strip.blocks.data());
      for (const int end = x + run.count; x < end; ++x) {
        for (const ScanBlock& b : scan_.mcu) coefficients_->block(b, x, part.mcuRow) = *block++;
      }
    }
  }

  Error codeCoefficients() {
    Bytes bytes;
    SegmentWriter writer(bytes);
    beginFile(writer, !isSequential(script_) ? kSof2 : frame_.bits == 8 ? kSof0 : kSof1);
    if (Error error = sink_.write(bytes)) return error;
    const ScanOptions options{true, options_.restartInterval, options_.restartInRows, threads_};
    const CoefficientSource source{coefficients_.get(), packed_.get()};
    if (Error error = writeScans(sink_, frame_, source, script_, options)) return error;
    bytes.clear();
    writer.marker(kEoi);
    return sink_.write(bytes);
  }

  int tableCount() const { return frame_.components.size() > 1 && frame_.components[1].quantTable ? 2 : 1; }

  void beginFile(SegmentWriter& writer, int process) {
    writer.marker(kSoi);
    writer.jfif(picture_.metadata.density);
    if (picture_.colour == img::Colour::cmyk) writer.adobe(options_.ycck ? 2 : 0);
    remarks_ = writer.metadata(picture_.metadata);
    for (int i = 0; i < tableCount(); ++i) writer.quantTable(i, tables_.raw[i]);
    writer.frame(process, frame_);
  }

  // The headers, with which the first segment of bytes begins.
  Error beginScan() {
    Bytes header;
    SegmentWriter writer(header);
    beginFile(writer, kSof0);
    for (int i = 0; i < tableCount(); ++i) {
      writer.huffmanTable(0, i, tables_.dcList[i]);
      writer.huffmanTable(1, i, tables_.acList[i]);
    }
    if (interval_) writer.restartInterval(static_cast<int>(interval_));
    writer.scan(frame_);
    if (Error error = sink_.write(header)) return error;
    return makeState(segment_);
  }

  img::ByteSink& sink_;
  const img::Picture picture_;
  const Frame frame_;
  const Scan scan_;
  const int channels_;
  const size_t rowBytes_;
  const EncodeOptions options_;
  const int64_t interval_; // in MCUs, 0 for none
  const int threads_;
  Tables<Sample> tables_;
  std::vector<ForwardTable> roadTables_; // by component
  std::vector<Strip> strips_;            // by thread
  Segment segment_;
  int rowsDone_ = 0, held_ = 0;
  Bytes heldRows_;
  std::vector<ScanSpec> script_;                   // where all coefficients are needed
  std::unique_ptr<CoefficientImage> coefficients_; // before the first is coded,
  std::unique_ptr<PackedBlocks> packed_;           // or where they would take much memory
};

template <class Sample>
Error open(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
           std::unique_ptr<img::RowWriter>& writer) {
  auto own = std::make_unique<Writer<Sample>>(sink, picture, options);
  Error error = own->begin();
  if (!error) writer = std::move(own);
  return error;
}

} // namespace

Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer) {
  if (picture.width > 65535 || picture.height > 65535) return fail("a JPEG file holds 65535 x 65535 pixels at most");
  if (options.restartInterval < 0) return fail("the restart interval must be 0 to 65535");
  if (picture.alpha) return fail("a JPEG file holds no alpha channel");
  if (options.lossless) return openLosslessWriter(sink, picture, options, writer);
  if (picture.bits == 8) return open<Zel8u>(sink, picture, options, writer);
  if (picture.bits == 12 && picture.colour == img::Colour::cmyk) {
    return fail("a JPEG file of four components holds samples of 8 bits, or lossless ones");
  }
  if (picture.bits == 12) return open<Zel16u>(sink, picture, options, writer);
  return fail("a JPEG file holds samples of 8 or 12 bits, not %d", picture.bits);
}

Error encode(const Image& image, const EncodeOptions& options, Bytes& file) {
  file.clear();
  img::MemorySink sink(file);
  std::unique_ptr<img::RowWriter> writer;
  if (Error error = openWriter(sink, image, options, writer)) return error;
  if (!writer->pulls()) return writeAll(image, *writer);
  img::ImageReader reader(image);
  return copyRows(reader, *writer, options.threads);
}

} // namespace jpeg
