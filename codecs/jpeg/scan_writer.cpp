#include "jpeg/scan_writer.h"

#include <cctype>
#include <cstdlib>

#include "common/workers.h"
#include "jpeg/writer.h"

namespace jpeg {
namespace {

using img::AlignedArray;

// No block takes more, with the bits that earlier blocks have left.
constexpr size_t kBytesOfBlock = 1024;

class Writer {
 public:
  Writer(img::ByteSink& sink, const Frame& frame, const CoefficientSource& source, const ScanSpec& spec,
         bool sequential, const ScanOptions& options)
      : sink_(sink),
        frame_(frame),
        source_(source),
        spec_(spec),
        scan_(layOutScan(frame, spec.components)),
        sequential_(sequential),
        codesDc_(sequential || (spec.Ss == 0 && spec.Ah == 0)),
        codesAc_(sequential || spec.Ss > 0),
        options_(options),
        interval_(int64_t{options.restartInterval} * (options.restartInRows ? scan_.mcusWide : 1)) {}

  int64_t restartInterval() const { return interval_; }

  // `restartIntervalNow` is what the last restart interval segment has said.
  Error write(int64_t restartIntervalNow) {
    if (interval_ > 65535) return fail("a restart interval holds 65535 MCUs at most, not %lld", (long long)interval_);
    if (codesDc_ || codesAc_) {
      if (Error error = walk([&](int component, Block& block) { return count(component, block.coefficients); })) {
        return error;
      }
    }
    Bytes header;
    SegmentWriter segments(header);
    if (Error error = makeTables(segments)) return error;
    if (interval_ != restartIntervalNow) segments.restartInterval(static_cast<int>(interval_));
    std::vector<int> tables;
    for (const int c : spec_.components) {
      tables.push_back((codesDc_ ? tableOf(c) << 4 : 0) | (codesAc_ ? tableOf(c) : 0));
    }
    segments.scan(frame_, spec_, tables);
    if (Error error = sink_.write(header)) return error;
    writing_ = true;
    Error error = walk([&](int component, Block& block) { return code(component, block.coefficients); });
    return error ? error : sink_.write({bytes_.data(), static_cast<size_t>(position_)});
  }

 private:
  // Each block of the scan in turn, with the restarts between them and the flush behind them.
  template <class F>
  Error walk(F onBlock) {
    begin();
    int64_t mcu = 0;
    const AlignedArray<Block> row(source_.packed ? source_.packed->blocksOfRow() : 0);
    for (int y = 0; y < scan_.mcusHigh; ++y) {
      Block* next = row.data();
      if (source_.packed) source_.packed->restore(y, next);
      for (int x = 0; x < scan_.mcusWide; ++x, ++mcu) {
        if (interval_ && mcu > 0 && mcu % interval_ == 0) {
          if (Error error = check(flush())) return error;
          if (writing_) {
            bytes_[static_cast<size_t>(position_++)] = 0xFF;
            bytes_[static_cast<size_t>(position_++)] = static_cast<uint8_t>(kRst0 + (mcu / interval_ - 1) % 8);
          }
          begin();
        }
        if (writing_) {
          if (Error error = makeRoom()) return error;
        }
        for (const ScanBlock& b : scan_.mcu) {
          Block& block = source_.packed ? *next++ : source_.image->block(b, x, y);
          if (Error error = check(onBlock(b.component, block))) return error;
        }
      }
    }
    if (writing_) {
      if (Error error = makeRoom()) return error;
    }
    return check(flush());
  }

  int tableOf(int component) const { return frame_.components[static_cast<size_t>(component)].isChroma ? 1 : 0; }

  void begin() {
    std::fill(lastDc_, lastDc_ + 4, Zel16s{0});
    state_.init();
  }

  static Error check(ZelStatus status) {
    if (status >= 0) return {};
    if (status == zelStatusJpegCoefficientRange) return fail("a coefficient is too large for a progressive file");
    return fail("the entropy coder failed (status %d)", status);
  }

  Error makeRoom() {
    constexpr Zel32s kPiece = 1 << 16;
    if (bytes_.empty()) bytes_.resize(kPiece + 12 * kBytesOfBlock);
    if (position_ < kPiece) return {};
    const Error error = sink_.write({bytes_.data(), static_cast<size_t>(position_)});
    position_ = 0;
    return error;
  }

  ZelStatus count(int c, const Zel16s* block) {
    Zel32u *dc = dcCounts_[tableOf(c)].count, *ac = acCounts_[tableOf(c)].count;
    const int Ss = spec_.Ss, Se = spec_.Se, Al = spec_.Al;
    if (sequential_) return zeliGetHuffmanStatistics8x8_JPEG_16s_C1(block, dc, ac, &lastDc_[c]);
    if (Ss == 0) return zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, dc, &lastDc_[c], Al);
    if (spec_.Ah) return zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(block, ac, Ss, Se, Al, state_.get(), 0);
    return zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(block, ac, Ss, Se, Al, state_.get(), 0);
  }

  ZelStatus code(int c, const Zel16s* block) { return code(c, block, 0); }

  ZelStatus code(int c, const Zel16s* block, int flush) {
    const ZeliEncodeHuffmanSpec *dc = dc_[tableOf(c)].get(), *ac = ac_[tableOf(c)].get();
    Zel8u* const bytes = bytes_.data();
    const auto length = static_cast<Zel32s>(bytes_.size());
    const int Ss = spec_.Ss, Se = spec_.Se, Al = spec_.Al;
    ZeliEncodeHuffmanState* const state = state_.get();
    if (sequential_) {
      return zeliEncodeHuffman8x8_JPEG_16s1u_C1(block, bytes, length, &position_, &lastDc_[c], dc, ac, state, flush);
    }
    if (Ss > 0) {
      auto* write = spec_.Ah ? zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1 : zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
      return write(block, bytes, length, &position_, Ss, Se, Al, ac, state, flush);
    }
    if (spec_.Ah) {
      return zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, bytes, length, &position_, Al, state, flush);
    }
    return zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, bytes, length, &position_, &lastDc_[c], Al, dc, state,
                                                      flush);
  }

  ZelStatus flush() {
    const int c = spec_.components[0];
    if (writing_) return code(c, nullptr, 1);
    if (sequential_ || spec_.Ss == 0) return zelStatusOk;
    auto* count =
        spec_.Ah ? zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1 : zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
    return count(nullptr, acCounts_[tableOf(c)].count, spec_.Ss, spec_.Se, spec_.Al, state_.get(), 1);
  }

  // Whether a table has codes for all symbols that occur.
  static bool covers(const HuffmanList& list, const SymbolCounts& counts) {
    bool has[256] = {};
    for (int i = 0; i < symbolCount(list); ++i) has[list.values[i]] = true;
    for (int symbol = 0; symbol < 256; ++symbol) {
      if (counts.count[symbol] && !has[symbol]) return false;
    }
    return true;
  }

  Error makeTables(SegmentWriter& segments) {
    const auto make = [&](int kind, int id, const HuffmanList& typical, const SymbolCounts& counts,
                          EncodeSpecRecord& spec) {
      const HuffmanList list = options_.optimize || !covers(typical, counts) ? optimalList(counts) : typical;
      segments.huffmanTable(kind, id, list);
      return spec.init(list) ? Error{} : fail("cannot make Huffman tables");
    };
    bool used[2] = {};
    for (const int c : spec_.components) used[tableOf(c)] = true;
    for (int id = 0; id < 2; ++id) {
      if (!used[id]) continue;
      Error error;
      if (codesDc_) error = make(0, id, kDcLists[id], dcCounts_[id], dc_[id]);
      if (codesAc_ && !error) error = make(1, id, kAcLists[id], acCounts_[id], ac_[id]);
      if (error) return error;
    }
    return {};
  }

  img::ByteSink& sink_;
  const Frame& frame_;
  const CoefficientSource source_;
  const ScanSpec& spec_;
  const Scan scan_;
  const bool sequential_, codesDc_, codesAc_;
  const ScanOptions& options_;
  const int64_t interval_;
  bool writing_ = false;
  EncodeStateRecord state_;
  Zel16s lastDc_[4] = {};
  SymbolCounts dcCounts_[2], acCounts_[2];
  EncodeSpecRecord dc_[2], ac_[2];
  Bytes bytes_;
  Zel32s position_ = 0;
};

// Interleaved scans hold no more than ten blocks an MCU.
bool interleaves(const Frame& frame) {
  int blocks = 0;
  for (const Component& c : frame.components) blocks += c.h * c.v;
  return frame.components.size() > 1 && blocks <= 10;
}

// A scan of all components, or one for each.
void addScans(const Frame& frame, bool together, const ScanSpec& like, std::vector<ScanSpec>& script) {
  ScanSpec spec = like;
  spec.components.clear();
  for (size_t c = 0; c < frame.components.size(); ++c) {
    spec.components.push_back(static_cast<int>(c));
    if (together && c + 1 < frame.components.size()) continue;
    script.push_back(spec);
    spec.components.clear();
  }
}

} // namespace

std::vector<ScanSpec> usualProgression(const Frame& frame) {
  std::vector<ScanSpec> script;
  const bool together = interleaves(frame);
  addScans(frame, together, {{}, 0, 0, 0, 1}, script);
  if (frame.components.size() == 3 && frame.components[1].isChroma) { // it is coded in fewer steps, for it has little
    for (const ScanSpec& spec :
         {ScanSpec{{0}, 1, 5, 0, 2}, {{2}, 1, 63, 0, 1}, {{1}, 1, 63, 0, 1}, {{0}, 6, 63, 0, 2}, {{0}, 1, 63, 2, 1}}) {
      script.push_back(spec);
    }
    addScans(frame, together, {{}, 0, 0, 1, 0}, script);
    for (const int c : {2, 1, 0}) script.push_back({{c}, 1, 63, 1, 0});
    return script;
  }
  for (const ScanSpec& spec : {ScanSpec{{}, 1, 5, 0, 2}, {{}, 6, 63, 0, 2}, {{}, 1, 63, 2, 1}}) {
    addScans(frame, false, spec, script);
  }
  addScans(frame, together, {{}, 0, 0, 1, 0}, script);
  addScans(frame, false, {{}, 1, 63, 1, 0}, script);
  return script;
}

std::vector<ScanSpec> oneScan(const Frame& frame) {
  std::vector<ScanSpec> script;
  addScans(frame, interleaves(frame), {}, script);
  return script;
}

bool isSequential(const std::vector<ScanSpec>& script) {
  for (const ScanSpec& s : script) {
    if (s.Ss != 0 || s.Se != 63 || s.Ah != 0 || s.Al != 0) return false;
  }
  return true;
}

Error checkScript(const std::vector<ScanSpec>& script, const Frame& frame) {
  constexpr int kNothing = 16;
  const bool sequential = isSequential(script);
  const size_t count = frame.components.size();
  if (script.size() > size_t{kMostScans}) return fail("a file holds %d scans at most", kMostScans);
  std::vector<std::vector<int>> lowest(count, std::vector<int>(64, kNothing));
  for (size_t n = 0; n < script.size(); ++n) {
    const ScanSpec& s = script[n];
    const int number = static_cast<int>(n) + 1;
    int blocks = 0, before = -1;
    for (const int c : s.components) {
      if (c <= before || c >= static_cast<int>(count)) return fail("scan %d: no such components in this order", number);
      before = c;
      blocks += frame.components[static_cast<size_t>(c)].h * frame.components[static_cast<size_t>(c)].v;
    }
    if (s.components.empty() || (s.components.size() > 1 && blocks > 10)) {
      return fail("scan %d: an MCU has 1 to 10 blocks", number);
    }
    if (!sequential && (s.Ss == 0 ? s.Se != 0 : s.Se < s.Ss || s.Se > 63 || s.components.size() > 1)) {
      return fail("scan %d: bad coefficients %d-%d", number, s.Ss, s.Se);
    }
    if (s.Al > 13 || (s.Ah && s.Ah != s.Al + 1)) return fail("scan %d: bad bits %d, %d", number, s.Ah, s.Al);
    for (const int c : s.components) {
      std::vector<int>& bits = lowest[static_cast<size_t>(c)];
      if (s.Ss > 0 && bits[0] == kNothing) return fail("scan %d: the DC terms come first", number);
      for (int k = s.Ss; k <= s.Se; ++k) {
        int& bit = bits[static_cast<size_t>(k)];
        if (bit != (s.Ah ? s.Ah : kNothing)) return fail("scan %d does not go on with coefficient %d", number, k);
        bit = s.Al;
      }
    }
  }
  for (const auto& bits : lowest) {
    if (bits[0] != 0) return fail("the scans leave DC terms out");
  }
  return {};
}

Error writeScans(img::ByteSink& sink, const Frame& frame, const CoefficientSource& source,
                 const std::vector<ScanSpec>& script, const ScanOptions& options) {
  if (Error error = checkScript(script, frame)) return error;
  const bool sequential = isSequential(script);
  std::vector<std::unique_ptr<Writer>> writers;
  const bool aside = options.threads > 1 && script.size() > 1;
  std::vector<Bytes> parts(aside ? script.size() : 0);
  std::vector<img::MemorySink> sinks(parts.begin(), parts.end());
  for (size_t i = 0; i < script.size(); ++i) {
    img::ByteSink& own = aside ? sinks[i] : sink;
    writers.push_back(std::make_unique<Writer>(own, frame, source, script[i], sequential, options));
  }
  const auto write = [&](size_t i) { return writers[i]->write(i == 0 ? 0 : writers[i - 1]->restartInterval()); };
  if (!aside) {
    for (size_t i = 0; i < script.size(); ++i) {
      if (Error error = write(i)) return error;
    }
    return {};
  }
  // The last scans are the longest as a rule.
  std::vector<Error> errors(script.size());
  img::sideBySide(script.size(), options.threads, [&](size_t, size_t i) {
    const size_t scan = script.size() - 1 - i;
    errors[scan] = write(scan);
  });
  for (size_t i = 0; i < script.size(); ++i) {
    if (errors[i]) return errors[i];
    if (Error error = sink.write(parts[i])) return error;
  }
  return {};
}

Error parseScript(const std::string& text, std::vector<ScanSpec>& script) {
  script.clear();
  // Without comments, one scan for each semicolon.
  std::string plain;
  bool comment = false;
  for (const char letter : text) {
    comment = letter == '#' || (comment && letter != '\n');
    if (!comment) plain += letter;
  }
  size_t at = 0;
  const auto space = [&] {
    while (at < plain.size() && std::isspace(static_cast<unsigned char>(plain[at]))) ++at;
  };
  const auto number = [&](int& value) {
    space();
    const size_t begin = at;
    for (value = 0; at < plain.size() && std::isdigit(static_cast<unsigned char>(plain[at])) && value < 1000; ++at) {
      value = 10 * value + (plain[at] - '0');
    }
    return at > begin;
  };
  const auto take = [&](char letter) {
    space();
    const bool there = at < plain.size() && plain[at] == letter;
    at += there;
    return there;
  };
  for (space(); at < plain.size(); space()) {
    ScanSpec spec;
    int component = 0;
    do {
      if (!number(component)) return fail("scan %zu: components are numbers from 0 on", script.size() + 1);
      spec.components.push_back(component);
      take(',');
      space();
    } while (at < plain.size() && std::isdigit(static_cast<unsigned char>(plain[at])));
    if (take(':')) {
      if (!number(spec.Ss) || !take('-') || !number(spec.Se) || (take(','), !number(spec.Ah)) ||
          (take(','), !number(spec.Al))) {
        return fail("scan %zu: not of the form \"0: 1-63, 0, 2;\"", script.size() + 1);
      }
    }
    script.push_back(spec);
    space();
    if (at < plain.size() && !take(';')) return fail("scan %zu does not end in a semicolon", script.size());
  }
  return script.empty() ? fail("there is no scan") : Error{};
}

} // namespace jpeg
