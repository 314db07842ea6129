#include "jpeg/scan_ahead.h"

#include <algorithm>
#include <cstring>

#include "common/workers.h"

namespace jpeg {
namespace {

// Decoders go on behind the beginning of the next piece, so that its decoder has fallen into step there.
constexpr int kMcusBehind = 12;

// A decoder that fails at one of its first MCUs was not in step, and guesses again; later there is damage.
constexpr size_t kMcusToFallIn = 64;

// This much of the data is in memory at a time, and it stays where it is while pieces are decoded.
constexpr Zel32s kWindow = 1 << 22;

// No MCU takes more bytes.
constexpr Zel32s kBytesOfMcu = 10 * 576;

// Bytes in front of a place stay visible: a decoder may stand behind the first byte of a stuffed pair.
constexpr Zel32s kBytesBehind = 16;

} // namespace

int mcusOfPiece(const Scan& scan) {
  return 4096 / static_cast<int>(scan.mcu.size());
}

ScanAhead::ScanAhead(img::ByteSource& source, const Scan& scan, const TablesOfScan& tables, int threads)
    : source_(source),
      coders_(codersOf(scan, tables)),
      threads_(threads),
      mcuCount_(scan.mcuCount()),
      mcusOfPiece_(mcusOfPiece(scan)) {
  place_.begin();
  // Pieces of so many MCUs as far as one can tell; too few do less harm than too many.
  constexpr int64_t kBytesOfBlock = 4;
  const std::optional<uint64_t> all = source.size();
  const int64_t bytes = all ? static_cast<int64_t>(*all - source.position())
                            : kBytesOfBlock * mcuCount_ * static_cast<int64_t>(scan.mcu.size());
  bytesOfPiece_ = static_cast<Zel32s>(std::clamp<int64_t>(bytes * mcusOfPiece_ / mcuCount_, 1024, 1 << 17));
}

// The bytes of a piece and what its decoder may need behind them.
Error ScanAhead::read(int64_t item, Piece& piece) {
  piece.begin = firstGuess_ + static_cast<Zel32s>(item) * bytesOfPiece_;
  const auto wanted = static_cast<size_t>(piece.begin + 2 * bytesOfPiece_ + kBytesOfMcu);
  const Error error = source_.fill(wanted);
  piece.length = static_cast<Zel32s>(std::min(source_.visible().size(), wanted));
  piece.begin = std::min(piece.begin, piece.length);
  piece.end = std::min(piece.begin + bytesOfPiece_, piece.length);
  return error;
}

// Decodes an MCU that is whole and does not end at a marker. Otherwise the place means nothing any more.
bool ScanAhead::decodeMcu(const Piece& piece, Place& place, Block* blocks) const {
  Zel32s marker = 0;
  for (const BlockCoder& coder : coders_) {
    __builtin_prefetch(blocks + 3, 1);
    __builtin_prefetch(blocks[3].coefficients + 32, 1);
    if (zeliDecodeHuffman8x8_JPEG_1u16s_C1(bytes_, piece.length, &place.position, blocks++->coefficients,
                                           &place.lastDc[coder.component], &marker, coder.dc, coder.ac,
                                           place.get()) != zelStatusOk) {
      return false;
    }
  }
  return marker == 0;
}

// Decodes a piece from its beginning on, whatever that is the middle of.
void ScanAhead::guess(Piece& piece) const {
  const size_t blocksOfMcu = coders_.size();
  const size_t most = piece.blocks.size() / blocksOfMcu;
  const Zel32s stop = piece.end + kMcusBehind * (bytesOfPiece_ / mcusOfPiece_);
  Place place;
  place.begin();
  place.position = piece.begin;
  piece.places.assign(1, place);
  while (place.position < stop && piece.places.size() <= most) {
    if (decodeMcu(piece, place, piece.blocks.data() + (piece.places.size() - 1) * blocksOfMcu)) {
      piece.places.push_back(place);
    } else if (piece.places.size() > kMcusToFallIn) {
      return;
    } else {
      const Zel32s next = place.position + 1;
      if (next >= piece.end) return;
      place.begin();
      place.position = next;
      piece.places.assign(1, place);
    }
  }
}

// Hands over what a guess has brought from its MCU `first` on, at which the decoder before it stands.
bool ScanAhead::takeGuessed(Piece& piece, size_t first, int thread) {
  const size_t blocksOfMcu = coders_.size();
  const auto count =
      static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(piece.places.size() - 1 - first), mcuCount_ - mcu_));
  const Place &guessed = piece.places[first], &last = piece.places[first + count];
  Zel16s missing[4], lastDc[4]; // by which the guessed DC terms are too small
  for (int c = 0; c < 4; ++c) {
    missing[c] = static_cast<Zel16s>(place_.lastDc[c] - guessed.lastDc[c]);
    lastDc[c] = static_cast<Zel16s>(last.lastDc[c] + missing[c]);
  }
  Block* const blocks = piece.blocks.data() + first * blocksOfMcu;
  for (Block *block = blocks, *end = blocks + count * blocksOfMcu; block != end;) {
    for (const BlockCoder& coder : coders_) {
      Zel16s& dc = block++->coefficients[0];
      dc = static_cast<Zel16s>(dc + missing[coder.component]);
    }
  }
  if (!take_(mcu_, static_cast<int64_t>(count), blocks, thread)) return false;
  mcu_ += static_cast<int64_t>(count);
  place_ = last;
  std::copy_n(lastDc, 4, place_.lastDc);
  return true;
}

// Goes on to the end of a piece: through what was guessed where the guess holds, MCU by MCU elsewhere. False where that
// is the end, or does not pay.
bool ScanAhead::join(Piece& piece, int thread) {
  constexpr Zel32s kBytesInHand = 8; // by which places may be out of order
  auto near = piece.places.begin();
  Block blocks[10];
  while (mcu_ < mcuCount_ && place_.position < piece.end) {
    while (near != piece.places.end() && near->position < place_.position - kBytesInHand) ++near;
    auto guessed = near;
    while (guessed != piece.places.end() && guessed->position <= place_.position + kBytesInHand &&
           !guessed->isAt(place_))
      ++guessed;
    const auto first = static_cast<size_t>(guessed - piece.places.begin());
    if (first + 1 < piece.places.size() && guessed->isAt(place_)) {
      if (!takeGuessed(piece, first, thread)) return false;
      continue;
    }
    Place next = place_;
    if (!decodeMcu(piece, next, blocks) || !take_(mcu_, 1, blocks, thread)) return false;
    place_ = next;
    ++mcu_;
    ++unguessed_;
  }
  return mcu_ < mcuCount_ && (unguessed_ < mcuCount_ / 4 || unguessed_ < mcu_ / 2);
}

Error ScanAhead::run(const Take& take) {
  take_ = take;
  img::Pipeline pipeline;
  std::vector<Piece> pieces(static_cast<size_t>(threads_ * img::Pipeline::kSlotsOfThread));
  for (Piece& piece : pieces) {
    piece.blocks = img::AlignedArray<Block>(static_cast<size_t>(mcusOfPiece_ * 3 / 2) * coders_.size());
  }
  const auto pieceOf = [&](int slot) -> Piece& { return pieces[static_cast<size_t>(slot)]; };
  Error error;
  bool good = true;
  pipeline.begin = [&](int64_t item, int slot) { return !(error = read(item, pieceOf(slot))); };
  pipeline.work = [&](int64_t, int slot) {
    guess(pieceOf(slot));
    return true;
  };
  pipeline.end = [&](int64_t, int slot) { return good = join(pieceOf(slot), slot / img::Pipeline::kSlotsOfThread); };
  for (int64_t before = -1; good && before < mcu_;) {
    before = mcu_;
    source_.reserve(kWindow);
    bytes_ = source_.visible().data();
    firstGuess_ = place_.position;
    pipeline.items = (kWindow - 2 * kBytesOfMcu - firstGuess_) / bytesOfPiece_ - 1;
    img::run(pipeline, threads_);
    if (error) break;
    const Zel32s done = std::max(place_.position - kBytesBehind, 0);
    source_.skip(static_cast<size_t>(done));
    place_.position -= done;
  }
  return error;
}

} // namespace jpeg
