// The second stage of the code-block encoder (ISO/IEC 15444-1 Annex C): the log of decisions becomes bytes, by the MQ
// coder or the bit packer, in pieces of any size, and the rates of the passes become known.
#include <algorithm>
#include <bit>
#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg2k/tier1/encode_state.h"

namespace zelj {
namespace {

// BYTEOUT: the byte in B is out of reach for carries now and leaves; the next comes from C.
[[gnu::always_inline]] inline Zel8u* byteOut(Zel32u& c, Zel32s& ct, Zel32u& b, bool& anyByte, Zel8u* to) {
  const Zel32u carry = c >> 27 & (b != 0xFF); // behind 0xFF the carry has a bit of its own
  c &= ~(carry << 27);
  b += carry;
  if (anyByte) [[likely]]
    *to++ = static_cast<Zel8u>(b);
  anyByte = true;
  const Zel32u stuffed = b == 0xFF;
  b = c >> (19 + stuffed);
  c &= (1u << (19 + stuffed)) - 1;
  ct = 8 - static_cast<Zel32s>(stuffed);
  return to;
}

// A decision makes up to this many bytes.
constexpr ptrdiff_t kBytesOfDecision = 3;

struct Progress {
  const Zel8u* log;
  Zel8u* to;
};

// Codes decisions until the log ends or there is no room for one more. What a decision does to the interval is worked
// out without a branch, for no branch predictor foresees it.
[[gnu::noinline]] Progress encodeDecisions(MqEncoder& coder, const Zel8u* log, const Zel8u* logEnd, Zel8u* to,
                                           const Zel8u* toEnd) {
  Zel64u a = Zel64u{coder.a} << 48; // in the upper 16 bits
  Zel32u c = coder.c, b = coder.b;
  Zel32s ct = coder.ct;
  bool anyByte = coder.anyByte;
  while (log < logEnd) {
    const Zel32u symbol = *log++;
    MqState& state = coder.contexts.states[symbol >> 1];
    const Zel64u place = state.place, qe = Zel64u{state.qe} << 48, rest = a - qe;
    // All ones, or none. The smaller part of the interval goes to the less probable symbol.
    const Zel64u plain = -Zel64u{(state.lps ^ symbol) & 1}, takesRest = plain ^ maskOf(rest < qe);
    c += state.qe & static_cast<Zel32u>(takesRest);
    a = (rest & takesRest) | (qe & ~takesRest);
    // What a change would make of the state is at hand before it is known whether there is one.
    const auto changed = std::bit_cast<Zel64u>(kMqStates[place - plain]), old = std::bit_cast<Zel64u>(state);
    const auto keeps = static_cast<Zel64u>(static_cast<Zel64s>(a) >> 63);
    state = std::bit_cast<MqState>(changed ^ ((changed ^ old) & keeps));
    auto shift = static_cast<Zel32s>(__builtin_clzll(a));
    a <<= shift;
    if (shift < ct) [[likely]] {
      c <<= shift;
      ct -= shift;
      continue;
    }
    do {
      c <<= ct;
      shift -= ct;
      to = byteOut(c, ct, b, anyByte, to);
    } while (shift >= ct);
    c <<= shift;
    ct -= shift;
    if (toEnd - to < kBytesOfDecision) break;
  }
  coder.a = static_cast<Zel32u>(a >> 48);
  coder.c = c;
  coder.ct = ct;
  coder.b = b;
  coder.anyByte = anyByte;
  return {log, to};
}

// The coder's termination: the bytes that are still in it.
struct Termination {
  MqEncoder& coder;
  Zel8u* to;

  void out() { to = byteOut(coder.c, coder.ct, coder.b, coder.anyByte, to); }
  void shiftOut() {
    coder.c <<= coder.ct;
    out();
  }
  void put() {
    if (coder.anyByte) *to++ = static_cast<Zel8u>(coder.b);
    coder.anyByte = true;
  }

  // FLUSH: as many ones as the interval allows.
  void standard() {
    const Zel32u end = coder.c + coder.a;
    coder.c |= 0xFFFF;
    if (coder.c >= end) coder.c -= 0x8000;
    shiftOut();
    coder.c |= 0x7FFF;
    shiftOut();
    coder.c |= 0x7FFF;
    if (coder.b != 0xFF) shiftOut();
  }

  // A decoder can verify that nothing went wrong from what the coder leaves behind.
  void predictable() {
    for (Zel32s left = 12 - coder.ct; left > 0; left -= coder.ct) shiftOut();
    if (coder.b != 0xFF) shiftOut();
  }

  // Walks both ends of the interval byte by byte until whatever follows what is written lies between them.
  void shortest() {
    Zel32u low = coder.c << coder.ct, high = (coder.c + coder.a) << coder.ct;
    bool first = true; // B is not of the walk yet
    Zel32u lowByte, highByte;
    const auto replace = [&](Zel32u byte) {
      if (!first) put();
      coder.b = byte;
      first = false;
    };
    bool compare = true;
    if ((low >> 27 & 1) && coder.b == 0xFF) {
      lowByte = low >> 20;
      highByte = high >> 20;
      low <<= 7;
      high = (high & 0xFFFFF) << 7;
      if (lowByte <= 127 && highByte > 127) return;
      first = false;
      compare = false;
    } else {
      lowByte = coder.b + (low >> 27 & 1);
      highByte = coder.b + (high >> 27 & 1);
    }
    for (;; compare = true) {
      if (compare && lowByte <= 255 && highByte > 255) break;
      while (lowByte >= 255) {
        highByte = (highByte - lowByte) << 7 | (high >> 20 & 0x7F);
        const Zel32u next = low >> 20 & 0x7F;
        low <<= 7;
        high <<= 7;
        if (highByte > 127) break;
        replace(0xFF);
        lowByte = next;
      }
      if (lowByte >= 255) break;
      replace(lowByte);
      highByte = (highByte - lowByte) << 8 | (high >> 19 & 0xFF);
      lowByte = low >> 19 & 0xFF;
      low <<= 8;
      high <<= 8;
    }
    if (!first) put();
  }
};

Zel8u* terminate(MqEncoder& coder, int mode, Zel8u* to) {
  Termination termination{coder, to};
  if (mode == 1) {
    termination.shortest();
  } else if (mode == 2) {
    termination.predictable();
  } else {
    termination.standard();
  }
  return termination.to;
}

// How many bytes a decoder needs at most beyond those written.
int bytesHeld(const MqEncoder& coder) {
  if (!coder.pending) return 0;
  const int least = coder.anyByte ? 4 : 3;
  return least + (27 - coder.ct > (coder.b < 254 ? 23 : 22));
}

// Packs bits until the log ends or there is no room.
Progress packBits(RawPacker& packer, const Zel8u* log, const Zel8u* logEnd, Zel8u* to, const Zel8u* toEnd) {
  RawPacker p = packer;
  while (log < logEnd && to < toEnd) {
    const Zel8u* stop = log + std::min<ptrdiff_t>(p.full - p.size, logEnd - log);
    p.size += static_cast<Zel32s>(stop - log);
    while (log < stop) p.byte = p.byte << 1 | *log++;
    if (p.size == p.full) {
      *to++ = static_cast<Zel8u>(p.byte);
      p.full = p.byte == 0xFF ? 7 : 8;
      p.byte = 0;
      p.size = 0;
    }
  }
  packer = p;
  return {log, to};
}

// Fills an open byte with zeros and ones in turn.
Zel8u* terminate(const RawPacker& packer, Zel8u* to) {
  if (packer.size == 0) return to;
  const Zel32s room = packer.full - packer.size;
  *to = static_cast<Zel8u>(packer.byte << room | 0x2A >> (7 - room));
  return to + 1;
}

// The caller's buffer of one store call.
struct Buffer {
  Zel8u* begin;
  Zel8u* at;
  const Zel8u* end;
};

// Moves waiting bytes to the buffer; false: some are left.
bool deliver(ZeliEncodeState_JPEG2K& state, Buffer& buffer) {
  const auto count = std::min<ptrdiff_t>(state.waitingTo - state.waitingFrom, buffer.end - buffer.at);
  std::memcpy(buffer.at, state.waiting + state.waitingFrom, static_cast<size_t>(count));
  buffer.at += count;
  state.waitingFrom += static_cast<Zel32s>(count);
  return state.waitingFrom == state.waitingTo;
}

// Codes decisions of the current pass, into the buffer where there is room for the bytes of a decision and otherwise
// into the bytes that wait.
void codeSome(ZeliEncodeState_JPEG2K& state, const CodingPass& pass, Buffer& buffer) {
  const bool direct = buffer.end - buffer.at >= kBytesOfDecision;
  Zel8u* to = direct ? buffer.at : state.waiting;
  const Zel8u* toEnd = direct ? buffer.end : state.waiting + kBytesOfDecision;
  const Zel8u *log = state.log + state.logPosition, *logEnd = state.log + pass.logEnd;
  const Progress made =
      pass.raw ? packBits(state.raw, log, logEnd, to, toEnd) : encodeDecisions(state.mq, log, logEnd, to, toEnd);
  state.mq.pending |= !pass.raw;
  state.logPosition = static_cast<Zel32u>(made.log - state.log);
  if (direct) {
    buffer.at = made.to;
  } else {
    state.waitingFrom = 0;
    state.waitingTo = static_cast<Zel32s>(made.to - state.waiting);
  }
}

// All bytes of the current pass that there will be are with the caller: notes them, and goes on to the next.
void finishPass(ZeliEncodeState_JPEG2K& state, int bytes) {
  CodingPass& pass = state.passes[state.currentPass];
  pass.bytes = bytes - state.passStart;
  state.passStart = bytes;
  pass.rate = bytes;
  if (pass.endsSegment) {
    for (int i = state.currentPass; i > 0; --i) {
      state.passes[i - 1].rate = std::min(state.passes[i - 1].rate, state.passes[i].rate);
    }
    state.mq.start();
    state.raw.start();
  } else {
    pass.rate += pass.raw ? state.raw.size > 0 : bytesHeld(state.mq);
  }
  if (state.resetsContexts) state.mq.contexts.reset();
  state.terminated = false;
  ++state.currentPass;
}

} // namespace

void startStore(ZeliEncodeState_JPEG2K& state, int terminationMode, bool resetsContexts) {
  state.terminationMode = terminationMode;
  state.resetsContexts = resetsContexts;
  state.currentPass = 0;
  state.logPosition = 0;
  state.bytesWritten = state.passStart = 0;
  state.terminated = false;
  state.mq.start();
  state.mq.contexts.reset();
  state.raw.start();
  state.waitingFrom = state.waitingTo = 0;
}

} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeStoreBits_JPEG2K_1u(Zel8u* pDst, int* pDstLen, ZeliEncodeState_JPEG2K* pState, int* pIsNotFinish) {
  if (ZelStatus bad = checkEncoder(pState)) return bad;
  if (!present(pDst, pDstLen, pIsNotFinish)) return zelStatusNullPointer;
  if (*pDstLen < 1) return zelStatusBadSize;
  ZeliEncodeState_JPEG2K& state = *pState;
  Buffer buffer{pDst, pDst, pDst + *pDstLen};
  while (deliver(state, buffer) && state.currentPass < state.passCount) {
    const CodingPass& pass = state.passes[state.currentPass];
    if (state.logPosition < pass.logEnd) {
      codeSome(state, pass, buffer);
    } else if (pass.endsSegment && !state.terminated) {
      const Zel8u* end =
          pass.raw ? terminate(state.raw, state.waiting) : terminate(state.mq, state.terminationMode, state.waiting);
      state.waitingFrom = 0;
      state.waitingTo = static_cast<Zel32s>(end - state.waiting);
      state.terminated = true;
    } else {
      finishPass(state, state.bytesWritten + static_cast<int>(buffer.at - buffer.begin));
    }
  }

  // No truncated stream may end in 0xFF: a decoder supplies that byte.
  const auto written = static_cast<int>(buffer.at - buffer.begin);
  for (int i = 0; i < state.currentPass; ++i) {
    const int inBuffer = state.passes[i].rate - state.bytesWritten;
    if (inBuffer > 0 && inBuffer <= written && pDst[inBuffer - 1] == 0xFF) --state.passes[i].rate;
  }
  state.bytesWritten += written;
  *pDstLen = written;
  *pIsNotFinish = state.currentPass < state.passCount;
  return zelStatusOk;
}
