#include "jpeg/scan_reader.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "jpeg/tables.h"

namespace jpeg {
namespace {

// No run of blocks takes as many bytes: 64 coefficients of at most 16 + 16 bits, twice as many bytes if each is 0xFF.
constexpr size_t kBytesAhead = size_t{kBlocksOfRun} * 576;

// Bytes in front of the position stay visible: a decoder may stand behind the first byte of a stuffed pair.
constexpr size_t kBytesBehind = 16;

// How far to look for restart markers behind one that may be false.
constexpr size_t kLookAhead = size_t{1} << 20;

} // namespace

void IntervalFinder::begin(int64_t interval, size_t most) {
  source_.reserve(most);
  most_ = most;
  interval_ = interval - 1;
  next_ = 0;
}

Error IntervalFinder::find(int64_t interval, Found& found) {
  found = Found::whole;
  if (interval == interval_) return {};
  begin_ = next_;
  interval_ = interval;
  for (size_t position = begin_;;) {
    found = Found::noMemory;
    if (position + 2 > most_ && !source_.ended()) return {};
    if (Error error = source_.fill(position + 2)) return error;
    found = Found::notWhole;
    const ByteSpan bytes = source_.visible();
    if (bytes.size() < position + 2) return {};
    const void* at = std::memchr(bytes.data() + position, 0xFF, bytes.size() - position - 1);
    end_ = at ? static_cast<size_t>(static_cast<const uint8_t*>(at) - bytes.data()) : bytes.size() - 1;
    const int code = at ? bytes[end_ + 1] : 0;
    next_ = position = end_ + (!at ? 0 : code == 0xFF ? 1 : 2);
    if (code == 0 || code == 0xFF) continue;
    const bool expected = interval + 1 < count_ ? code == kRst0 + static_cast<int>(interval % 8) : !isRestart(code);
    if (expected) found = Found::whole;
    return {};
  }
}

std::vector<BlockCoder> codersOf(const Scan& scan, const TablesOfScan& tables) {
  std::vector<BlockCoder> coders;
  for (const ScanBlock& b : scan.mcu) coders.push_back({b.component, tables.dc[b.component], tables.ac[b.component]});
  return coders;
}

ScanReader::ScanReader(img::ByteSource& source, const Scan& scan, const TablesOfScan& tables, int restartInterval,
                       Damage& damage)
    : source_(source),
      scan_(scan),
      interval_(restartInterval),
      damage_(damage),
      coders_(codersOf(scan, tables)),
      mcusLeft_(restartInterval ? restartInterval : scan.mcuCount()) {
  ZeliDecodeHuffmanState* state = nullptr;
  if (zeliDecodeHuffmanStateInitAlloc_JPEG_8u(&state) != zelStatusOk) throw std::bad_alloc();
  state_.reset(state);
}

// Each restart interval has a new state, no marker met and predictors of zero.
void ScanReader::begin() {
  marker_ = 0;
  ended_ = false;
  std::fill(lastDc_, lastDc_ + 4, Zel16s{0});
  zeliDecodeHuffmanStateInit_JPEG_8u(state_.get());
}

void ScanReader::noteDamage() {
  if (damage_.found()) return;
  damage_.note(img::format("damaged or missing data in row %lld of %d rows of MCUs",
                           static_cast<long long>(mcu_ / scan_.mcusWide + 1), scan_.mcusHigh));
}

// Hands the bytes that were read back to the source, but for the last few.
void ScanReader::settle() {
  const size_t done = static_cast<size_t>(position_) > kBytesBehind ? static_cast<size_t>(position_) - kBytesBehind : 0;
  source_.skip(done);
  position_ -= static_cast<Zel32s>(done);
}

Error ScanReader::makeVisible() {
  if (source_.ended() && static_cast<size_t>(position_) < size_t{1} << 30) return {};
  if (source_.visible().size() >= static_cast<size_t>(position_) + kBytesAhead && position_ < 1 << 30) return {};
  settle();
  return source_.fill(static_cast<size_t>(position_) + kBytesAhead);
}

Error ScanReader::read(int count, Block* block) {
  while (count > 0) {
    if (interval_ && mcusLeft_ == 0) {
      if (Error error = toNextInterval()) return error;
    }
    const int part = static_cast<int>(std::min<int64_t>({count, mcusLeft_, mcusOfRun(scan_)}));
    if (Error error = makeVisible()) return error;
    readBlocks(part, block);
    if (damage_.stops()) return damage_.error();
    block += static_cast<size_t>(part) * coders_.size();
    count -= part;
    mcu_ += part;
    mcusLeft_ -= part;
  }
  return {};
}

Error ScanReader::skipTo(int64_t mcu) {
  mcu_ = mcu / interval_ * interval_;
  mcusLeft_ = std::min<int64_t>(interval_, scan_.mcuCount() - mcu_);
  nextRestart_ = static_cast<int>(mcu_ / interval_ % 8);
  std::vector<Block> unwanted(static_cast<size_t>(mcusOfRun(scan_)) * coders_.size());
  while (mcu_ < mcu) {
    if (Error error = read(static_cast<int>(std::min<int64_t>(mcu - mcu_, mcusOfRun(scan_))), unwanted.data())) {
      return error;
    }
  }
  return {};
}

void ScanReader::resume(int64_t mcu, const Place& place) {
  mcu_ = mcu;
  mcusLeft_ = scan_.mcuCount() - mcu;
  position_ = place.position;
  std::copy_n(place.lastDc, 4, lastDc_);
  std::memcpy(state_.get(), place.state, sizeof place.state);
}

void ScanReader::readBlocks(int count, Block* block) {
  const ByteSpan visible = source_.visible();
  const Zel8u* const bytes = visible.data();
  const auto length = static_cast<Zel32s>(std::min<size_t>(visible.size(), INT32_MAX));
  ZeliDecodeHuffmanState* const state = state_.get();
  const BlockCoder* const coders = coders_.data();
  const size_t blocksOfMcu = coders_.size();
  for (Block* const end = block + static_cast<size_t>(count) * blocksOfMcu; block != end;) {
    for (size_t i = 0; i < blocksOfMcu; ++i, ++block) {
      const BlockCoder& coder = coders[i];
      __builtin_prefetch(block + 3, 1);
      __builtin_prefetch(block[3].coefficients + 32, 1);
      ZelStatus status = zelStatusJpegBufferEnd;
      if (!ended_) {
        status = zeliDecodeHuffman8x8_JPEG_1u16s_C1(bytes, length, &position_, block->coefficients,
                                                    &lastDc_[coder.component], &marker_, coder.dc, coder.ac, state);
        if (status == zelStatusOk) continue;
        noteDamage();
      }
      // A block that stopped in the middle keeps what it has. Where nothing is left, the DC term goes on.
      if (ended_) *block = Block{{lastDc_[coder.component]}};
      ended_ |= status == zelStatusJpegBufferEnd;
      if (marker_ && !ended_) {
        ended_ = !isFalseMarker(marker_ & 0xFF);
        if (!ended_) { // the data go on behind it
          marker_ = 0;
          zeliDecodeHuffmanStateInit_JPEG_8u(state);
        }
      }
    }
  }
}

// The marker at or behind a place in the visible bytes, 0 if there is none; `behind` is the place behind it.
int ScanReader::markerFrom(size_t at, size_t& behind) const {
  const ByteSpan bytes = source_.visible();
  while (at + 1 < bytes.size()) {
    const void* found = std::memchr(bytes.data() + at, 0xFF, bytes.size() - at - 1);
    if (!found) break;
    at = static_cast<size_t>(static_cast<const uint8_t*>(found) - bytes.data()) + 1;
    if (bytes[at] != 0 && bytes[at] != 0xFF) {
      behind = at + 1;
      return bytes[at];
    }
  }
  behind = bytes.size();
  return 0;
}

// Whether a marker in the middle of a scan came about by damage. The position is behind it.
bool ScanReader::isFalseMarker(int marker) {
  const auto behind = static_cast<size_t>(position_);
  if (isRestart(marker)) return interval_ == 0;
  const bool known = marker == kEoi || marker == kSos || marker == kDht || marker == kDqt || marker == kDri ||
                     marker == kDnl || (marker >= kApp0 && marker <= kApp0 + 15);
  if (!known) return true;
  size_t next = behind;
  if (interval_) { // restart markers of this scan may follow
    const int expected = markerFrom(behind, next);
    return isRestart(expected) && ((expected - kRst0 - nextRestart_) & 7) < 3;
  }
  const ByteSpan bytes = source_.visible();
  if (marker == kEoi) return bytes.size() - behind > 4096; // nothing of any length follows the end of a picture
  if (behind + 2 > bytes.size()) return false;
  const size_t segmentEnd = behind + static_cast<size_t>(bytes[behind] << 8 | bytes[behind + 1]);
  return segmentEnd + 1 >= bytes.size() ? !source_.ended() : bytes[segmentEnd] != 0xFF && marker != kSos;
}

// Goes behind the marker that begins the next interval, or finds that there are no data for it.
Error ScanReader::toNextInterval() {
  const int expected = nextRestart_;
  nextRestart_ = (nextRestart_ + 1) & 7;
  mcusLeft_ = std::min<int64_t>(interval_, scan_.mcuCount() - mcu_);
  if (lost_ > 0) {
    --lost_;
    if (lost_ > 0) return {};
    begin();
    return {};
  }
  if (ended_ && !marker_ && source_.ended()) { // the bytes have ended
    noteDamage();
    return {};
  }
  if (Error error = makeVisible()) return error;
  int marker = marker_ & 0xFF;
  if (!marker_) {
    size_t behind = 0;
    marker = markerFrom(static_cast<size_t>(position_), behind);
    if (marker == 0 && !source_.ended()) {
      settle();
      if (Error error = source_.fill(static_cast<size_t>(position_) + kLookAhead)) return error;
      marker = markerFrom(static_cast<size_t>(position_), behind);
    }
    const ByteSpan rest = source_.visible().subspan(static_cast<size_t>(position_));
    if (!rest.empty() && rest[0] != 0xFF) damage_.remark(kStrayBytes);
    position_ = static_cast<Zel32s>(behind);
  }
  for (;;) {
    if (isRestart(marker)) {
      const int ahead = (marker - kRst0 - expected) & 7;
      if (ahead == 0) break;
      noteDamage();
      size_t behind = 0;
      const int next = markerFrom(static_cast<size_t>(position_), behind);
      const bool agrees = !isRestart(next) || ((next - marker) & 7) == 1;
      if (ahead <= 2 && agrees) { // intervals are missing in between
        lost_ = ahead;
        ended_ = true;
        marker_ = 0;
        return {};
      }
      break; // a wrong number
    }
    noteDamage();
    if (marker == 0 || !isFalseMarker(marker)) { // the scan ends here
      ended_ = true;
      marker_ = marker;
      return {};
    }
    size_t behind = 0;
    marker = markerFrom(static_cast<size_t>(position_), behind);
    position_ = static_cast<Zel32s>(behind);
  }
  begin();
  return {};
}

Error ScanReader::finish() {
  if (marker_) {
    source_.skip(static_cast<size_t>(position_) - 2);
  } else {
    source_.skip(std::min(static_cast<size_t>(position_), source_.visible().size()));
  }
  position_ = 0;
  return {};
}

} // namespace jpeg
