// The code-block decoder: segments are handed in one by one, or a whole block at once.
#include <algorithm>
#include <limits>

#include "frame/alloc.h"
#include "frame/bulk_memory.h"
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg2k/tier1/decode_passes.h"
#include "jpeg2k/tier1/decode_state.h"
#include "jpeg2k/tier1/style.h"

namespace zelj {
namespace {

// What the next step of a block with a termination behind each pass runs.
enum PassKind {
  cleanup = 0,
  refinement = 1,
  propagation = 2,
  cleanupBetweenRaw = 3,
  rawRefinement = 4,
  rawPropagation = 5
};

Zel64s stateBytes(ZeliSize size) {
  const Zel64s rowBytes = (4 * Zel64s{size.width} + 8 + 31) & ~Zel64s{31};
  return rowBytes * ((Zel64s{size.height} + 1) / 2 + 2) + kDecodeRecordBytes;
}

ZelStatus getStateSize(ZeliSize codeBlockMaxSize, int* pStateSize) {
  if (ZelStatus bad = checkSize(codeBlockMaxSize)) return bad;
  if (!pStateSize) return zelStatusNullPointer;
  *pStateSize = static_cast<int>(stateBytes(codeBlockMaxSize));
  return zelStatusOk;
}

void init(ZeliDecodeCBProgrState_JPEG2K& state) {
  std::memcpy(state.tag, kDecodeTag, sizeof kDecodeTag);
  state.attached = false;
}

Zel8u* rowOf(const ZeliDecodeCBProgrState_JPEG2K& state, int y) {
  return reinterpret_cast<Zel8u*>(state.destination) + Zel64s{y} * state.step;
}

void attach(Zel32s* pDst, int dstStep, ZeliSize size, ZeliDecodeCBProgrState_JPEG2K& state, int subband, int sfBits,
            int styleFlags) {
  state.destination = pDst;
  state.width = size.width;
  state.height = size.height;
  state.step = dstStep;
  state.styleFlags = styleFlags;
  if (!(styleFlags & kKeepDestination)) {
    for (int y = 0; y < size.height; ++y) std::memset(rowOf(state, y), 0, static_cast<size_t>(size.width) * 4);
  }
  if (!(styleFlags & kKeepFlags)) {
    const BlockFlags flags(&state, size);
    std::memset(flags.columns - 1, 0, flags.bytes());
  }
  MqContexts contexts;
  contexts.reset();
  state.contexts = contexts;
  state.orientation = subband == 2 ? 1 : subband == 3 ? 2 : 0;
  state.bypassLimit = (styleFlags & kBypass) ? std::max(sfBits, 4) - 4 : 0;
  state.bitPlane = static_cast<Zel32s>(Zel64s{sfBits} - 1);
  state.passesLeft = 0;
  state.passKind = cleanup;
  state.failed = false;
  state.attached = true;
}

// The passes of one step: what they share, and the verdict on what they met.
struct Step {
  ZeliDecodeCBProgrState_JPEG2K& state;
  BlockDecoder block;
  MqDecoder mq;
  RawReader raw;
  bool failed = false;

  Step(ZeliDecodeCBProgrState_JPEG2K& s, const Segment& segment)
      : state(s),
        block{reinterpret_cast<Zel8u*>(s.destination),
              s.step,
              {s.width, s.height},
              BlockFlags(&s, {s.width, s.height}),
              kZeroContexts[s.orientation],
              (s.styleFlags & kCausal) != 0,
              0},
        raw{segment} {
    mq.contexts = s.contexts;
    mq.segment = segment;
  }
  ~Step() { state.contexts = mq.contexts; }
  Step(const Step&) = delete;
  Step& operator=(const Step&) = delete;

  bool has(int style) const { return (state.styleFlags & style) != 0; }

  void start() { mq.start(mq.segment); }

  // Behind an arithmetic-coded pass; a verdict on the termination takes the place of the one before.
  void endPass(bool passFailed, bool endsSegment) {
    if (endsSegment && has(kPredictable)) passFailed = !mq.endsPredictably();
    if (has(kReset)) mq.contexts.reset();
    failed |= passFailed;
    --state.passesLeft;
  }
  void propagate() {
    block.plane = state.bitPlane & 31;
    block.propagateSignificance(mq);
    endPass(false, has(kTerminateAll));
  }
  void refine() {
    block.plane = state.bitPlane & 31;
    block.refineMagnitudes(mq);
    endPass(false, has(kTerminateAll));
  }
  void cleanUp() {
    block.plane = state.bitPlane & 31;
    block.cleanUp(mq);
    bool bad = false;
    if (has(kSegmentation)) {
      MqRun run(mq);
      Zel32u symbol = 0;
      for (int i = 0; i < 4; ++i) symbol = symbol << 1 | run.decode(kUniformContext);
      run.save();
      bad = symbol != 10;
    }
    endPass(bad, has(kTerminateAll) || state.passKind == cleanupBetweenRaw || state.bitPlane <= state.bypassLimit);
  }
  void propagateRaw() {
    block.plane = state.bitPlane & 31;
    block.propagateSignificance(raw);
    if (has(kTerminateAll)) failed |= !raw.endsInPadding();
    --state.passesLeft;
  }
  void refineRaw() {
    block.plane = state.bitPlane & 31;
    block.refineMagnitudes(raw);
    failed |= !raw.endsInPadding();
    --state.passesLeft;
  }

  // A segment of one pass.
  void onePass() {
    switch (state.passKind) {
      case propagation:
        start();
        propagate();
        state.passKind = refinement;
        break;
      case refinement:
        start();
        refine();
        state.passKind = cleanup;
        break;
      case rawPropagation:
        propagateRaw();
        state.passKind = rawRefinement;
        break;
      case rawRefinement:
        refineRaw();
        state.passKind = cleanupBetweenRaw;
        break;
      default: {
        start();
        cleanUp();
        --state.bitPlane;
        const bool bypassed = state.passKind == cleanupBetweenRaw || state.bitPlane < state.bypassLimit;
        state.passKind = bypassed ? rawPropagation : propagation;
      }
    }
  }

  // A segment of all passes up to the next termination.
  void passes() {
    if (state.passKind == rawPropagation) {
      propagateRaw();
      if (state.passesLeft == 0) return;
      refineRaw();
      state.passKind = cleanupBetweenRaw;
      return;
    }
    start();
    if (state.passKind == cleanupBetweenRaw) {
      cleanUp();
      if (state.passesLeft == 0) return;
      --state.bitPlane;
      state.passKind = rawPropagation;
      return;
    }
    for (;;) {
      cleanUp();
      if (state.passesLeft == 0) return;
      if (state.bitPlane-- <= state.bypassLimit) {
        state.passKind = rawPropagation;
        return;
      }
      propagate();
      if (state.passesLeft == 0) return;
      refine();
      if (state.passesLeft == 0) return;
    }
  }
};

ZelStatus step(const Zel8u* pSrc, int srcLen, ZeliDecodeCBProgrState_JPEG2K& state) {
  if (state.passesLeft <= 0 || state.bitPlane < 0) return zelStatusOk;
  Step coding(state, {pSrc, srcLen});
  if (coding.has(kTerminateAll)) {
    coding.onePass();
  } else {
    coding.passes();
  }
  if (coding.failed) state.failed = true;
  return coding.failed ? zelStatusJpeg2kStreamError : zelStatusOk;
}

template <class F>
void forSamples(const ZeliDecodeCBProgrState_JPEG2K& state, F f) {
  for (int y = 0; y < state.height; ++y) {
    Zel8u* row = rowOf(state, y);
    for (int x = 0; x < state.width; ++x) {
      Zel32u value;
      std::memcpy(&value, row + Zel64s{x} * 4, sizeof value);
      value = f(value);
      std::memcpy(row + Zel64s{x} * 4, &value, sizeof value);
    }
  }
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDecodeCBProgrGetStateSize_JPEG2K(ZeliSize codeBlockMaxSize, int* pStateSize) {
  return getStateSize(codeBlockMaxSize, pStateSize);
}

ZelStatus ownDecodeGetBufSize_JPEG2K(ZeliSize codeBlockMaxSize, int* pSize) {
  return getStateSize(codeBlockMaxSize, pSize);
}

ZelStatus ownDecodeCBProgrInit_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState) {
  if (!pState) return zelStatusNullPointer;
  init(*pState);
  return zelStatusOk;
}

ZelStatus ownDecodeCBProgrInitAlloc_JPEG2K(ZeliDecodeCBProgrState_JPEG2K** ppState, ZeliSize codeBlockMaxSize) {
  if (!ppState) return zelStatusNullPointer;
  if (ZelStatus bad = checkSize(codeBlockMaxSize)) return bad;
  const Zel64s bytes = stateBytes(codeBlockMaxSize);
  const bool possible = bytes <= std::numeric_limits<int>::max();
  *ppState = static_cast<ZeliDecodeCBProgrState_JPEG2K*>(possible ? ownAlloc(static_cast<int>(bytes)) : nullptr);
  if (!*ppState) return zelStatusNoMemory;
  init(**ppState);
  return zelStatusOk;
}

ZelStatus ownDecodeCBProgrFree_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState) {
  if (ZelStatus bad = checkDecoder(pState)) return bad;
  ownFree(pState);
  return zelStatusOk;
}

ZelStatus ownDecodeCBProgrAttach_JPEG2K_32s_C1R(Zel32s* pDst, int dstStep, ZeliSize codeBlockSize,
                                                ZeliDecodeCBProgrState_JPEG2K* pState, int subband, int sfBits,
                                                int styleFlags) {
  if (ZelStatus bad = checkDecoder(pState)) return bad;
  if (!pDst) return zelStatusNullPointer;
  if (dstStep < 1) return zelStatusBadStep;
  if (ZelStatus bad = checkSize(codeBlockSize)) return bad;
  attach(pDst, dstStep, codeBlockSize, *pState, subband, sfBits, styleFlags);
  return zelStatusOk;
}

ZelStatus ownDecodeCBProgrSetPassCounter_JPEG2K(int nOfPasses, ZeliDecodeCBProgrState_JPEG2K* pState) {
  if (ZelStatus bad = checkDecoder(pState)) return bad;
  pState->passesLeft = nOfPasses;
  return zelStatusOk;
}

ZelStatus ownDecodeCBProgrGetPassCounter_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState, int* pNOfPasses) {
  if (!present(pState, pNOfPasses)) return zelStatusNullPointer;
  if (ZelStatus bad = checkDecoder(pState)) return bad;
  *pNOfPasses = pState->passesLeft;
  return zelStatusOk;
}

ZelStatus ownDecodeCBProgrGetCurBitPlaneNum_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState, int* pBitPlane) {
  if (ZelStatus bad = checkDecoder(pState)) return bad;
  if (!pBitPlane) return zelStatusNullPointer;
  *pBitPlane = pState->bitPlane;
  return zelStatusOk;
}

ZelStatus ownDecodeCBProgrStep_JPEG2K(const Zel8u* pSrc, int srcLen, ZeliDecodeCBProgrState_JPEG2K* pState) {
  if (!present(pSrc, pState)) return zelStatusNullPointer;
  if (ZelStatus bad = checkDecoder(pState)) return bad;
  if (!pState->attached) return zelStatusJpeg2kNotAttached;
  return step(pSrc, srcLen, *pState);
}

ZelStatus ownDecodeCodeBlock_JPEG2K_1u32s_C1R(const Zel8u* pSrc, Zel32s* pDst, int dstStep, ZeliSize codeBlockSize,
                                              int subband, int sfBits, int nOfPasses, const int* pTermPassLen,
                                              int nOfTermPasses, int styleFlags, int* pErrorBitPlane,
                                              ZeliDecodeCBProgrState_JPEG2K* pState) {
  if (!present(pSrc, pState)) return zelStatusNullPointer;
  if (ZelStatus bad = checkSize(codeBlockSize)) return bad;
  if (!present(pTermPassLen, pDst)) return zelStatusNullPointer;
  if (dstStep < 1) return zelStatusBadStep;
  ZeliDecodeCBProgrState_JPEG2K& state = *pState;
  init(state);
  attach(pDst, dstStep, codeBlockSize, state, subband, sfBits, styleFlags);
  state.passesLeft = nOfPasses;
  ZelStatus status = zelStatusOk;
  for (int i = 0; i < nOfTermPasses && status == zelStatusOk; ++i) {
    status = step(pSrc, pTermPassLen[i], state);
    pSrc += pTermPassLen[i];
  }
  const Zel32s plane = state.bitPlane;
  const Zel32u kept = ~Zel32u{0} << (plane & 31);
  if (status == zelStatusJpeg2kStreamError) {
    if (pErrorBitPlane) *pErrorBitPlane = plane;
    if (styleFlags & kRepair) {
      forSamples(state,
                 [=](Zel32u value) { return (value & kept & 0x7FFFFFFF) ? (value & kept) | (1u << (plane & 31)) : 0; });
    }
  }
  if (!(styleFlags & kKeepMidpoints) && plane >= 1) {
    forSamples(state, [=](Zel32u value) { return value & kept; });
  }
  return status;
}
