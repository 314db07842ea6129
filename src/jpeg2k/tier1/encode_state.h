// The record of the code-block encoder. A load leaves in it the log of all decisions and what belongs to each pass; the
// store turns the log into bytes.
#pragma once

#include <cstddef>
#include <cstring>

#include "jpeg2k/tier1/mq_states.h"
#include "zelj.h"

namespace zelj {

constexpr int kPlanes = 31; // of the magnitude; plane 31 of the maps holds the signs
constexpr int kMaxPasses = 3 * kPlanes - 2;

struct CodingPass {
  Zel32u logEnd;     // where its decisions end in the log
  Zel32u distortion; // sum of table entries, as a signed number that wraps
  Zel32s exponent;   // of the unit of the sum
  Zel32s bytes;      // written for it
  Zel32s rate;       // bytes up to its end, with what the coder may still hold
  bool raw;          // its decisions bypass the arithmetic coder
  bool endsSegment;  // the coder is terminated behind it
};

// The MQ encoder between two decisions.
struct MqEncoder {
  Zel32u a, c;
  Zel32s ct;
  Zel32u b;     // the byte that a carry may still reach
  bool anyByte; // a byte has left C since the start; before that, B is no byte of the stream
  bool pending; // a decision has been coded since the start
  MqContexts contexts;

  void start() {
    a = 0x8000;
    c = 0;
    ct = 12;
    b = 0;
    anyByte = pending = false;
  }
};

// The bit packer of raw passes between two bits.
struct RawPacker {
  Zel32u byte; // under construction, its bits right-aligned
  Zel32s size; // how many bits it has
  Zel32s full; // how many it will have: 7 behind 0xFF

  void start() {
    byte = 0;
    size = 0;
    full = 8;
  }
};

} // namespace zelj

struct ZeliEncodeState_JPEG2K {
  char tag[4];
  Zel32s capacity; // chunks for which there is memory
  Zel32s passCount;
  Zel32s segmentCount;
  bool resetsContexts;
  int terminationMode;

  // Maps of one bit for each sample, a row of chunks for each stripe; see block_encoder.cpp.
  Zel64u* maps;
  Zel8u* log; // decisions: context << 1 | bit; of raw passes the bits alone

  // Where the store is.
  Zel32s currentPass;
  Zel32u logPosition;
  Zel32s bytesWritten; // of the block
  Zel32s passStart;    // bytesWritten where the current pass began
  bool terminated;     // the current pass is coded and terminated, some of its bytes may still wait
  zelj::MqEncoder mq;
  zelj::RawPacker raw;
  Zel8u waiting[16]; // bytes made that are not in the caller's buffer yet
  Zel32s waitingFrom, waitingTo;

  zelj::CodingPass passes[zelj::kMaxPasses];
};

namespace zelj {

inline constexpr char kEncodeTag[4] = {'D', 'S', 'M', 'L'};

inline ZelStatus checkEncoder(const ZeliEncodeState_JPEG2K* state) {
  if (!state) return zelStatusNullPointer;
  return std::memcmp(state->tag, kEncodeTag, sizeof kEncodeTag) == 0 ? zelStatusOk : zelStatusContextMismatch;
}

// Makes a freshly loaded block ready for the store.
void startStore(ZeliEncodeState_JPEG2K& state, int terminationMode, bool resetsContexts);

} // namespace zelj
