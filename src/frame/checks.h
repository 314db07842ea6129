// The orders in which families of exports check their arguments, each written once under a name that says the order.
// All return zelStatusOk or the status of the first check that fails.
#pragma once

#include "zelj.h"

namespace zelj {

// An array of plane pointers with its length, for present().
template <int N, class T>
struct PlaneArray {
  T* const* planes;
};

template <int N, class T>
PlaneArray<N, T> planes(T* const* p) {
  return {p};
}

inline bool isPresent(const void* p) {
  return p != nullptr;
}

template <int N, class T>
bool isPresent(PlaneArray<N, T> array) {
  if (!array.planes) return false;
  for (int i = 0; i < N; ++i) {
    if (!array.planes[i]) return false;
  }
  return true;
}

// All pointers, and all planes of plane arrays, are there. Null pointers share one status, so their order is not seen.
template <class... Pointers>
bool present(Pointers... pointers) {
  return (isPresent(pointers) && ...);
}

inline ZelStatus checkSize(ZeliSize size) {
  return size.width < 1 || size.height < 1 ? zelStatusBadSize : zelStatusOk;
}

// Block functions that take pointers only.
inline ZelStatus checkPointers(bool allPresent) {
  return allPresent ? zelStatusOk : zelStatusNullPointer;
}

// Source pointer, source step, destination pointer, destination step, size: regions of one plane.
inline ZelStatus checkOperandByOperand(const void* pSrc, int srcStep, const void* pDst, int dstStep, ZeliSize roiSize) {
  if (!pSrc) return zelStatusNullPointer;
  if (srcStep < 1) return zelStatusBadStep;
  if (!pDst) return zelStatusNullPointer;
  if (dstStep < 1) return zelStatusBadStep;
  return checkSize(roiSize);
}

// The same with a size for each operand, tested behind its step: plane sampling.
inline ZelStatus checkOperandByOperand(const void* pSrc, int srcStep, ZeliSize srcSize, const void* pDst, int dstStep,
                                       ZeliSize dstSize) {
  if (ZelStatus bad = checkOperandByOperand(pSrc, srcStep, pSrc, srcStep, srcSize)) return bad;
  return checkOperandByOperand(pDst, dstStep, pDst, dstStep, dstSize);
}

// Pointers, steps, size: colour conversions that test their steps.
inline ZelStatus checkPointersStepsSize(bool allPresent, int srcStep, int dstStep, ZeliSize roiSize) {
  if (!allPresent) return zelStatusNullPointer;
  if (srcStep < 1 || dstStep < 1) return zelStatusBadStep;
  return checkSize(roiSize);
}

// Pointers, size: colour conversions that take their steps as they come. Where pixels share chroma, a group of them is
// the smallest region; what is left of an odd region brings a warning.
inline ZelStatus checkPointersSize(bool allPresent, ZeliSize roiSize, ZeliSize group = {1, 1}) {
  if (!allPresent) return zelStatusNullPointer;
  return roiSize.width < group.width || roiSize.height < group.height ? zelStatusBadSize : zelStatusOk;
}
inline ZelStatus warnOfOddSize(ZeliSize roiSize, ZeliSize group) {
  return roiSize.width % group.width != 0 || roiSize.height % group.height != 0 ? zelStatusOddSize : zelStatusOk;
}

// Pointers, one step, then what hangs behind it: the table of a block function (its pixels are `outer`), or the planes
// of an MCU function whose source is a pixel buffer (`outer` is the buffer and the plane array).
inline ZelStatus checkPointersStepPointers(bool outerPresent, int step, bool innerPresent) {
  if (!outerPresent) return zelStatusNullPointer;
  if (step < 1) return zelStatusBadStep;
  return checkPointers(innerPresent);
}

// Pointers and planes, one step: MCU functions whose destination is a pixel buffer.
inline ZelStatus checkPointersStep(bool allPresent, int step) {
  if (!allPresent) return zelStatusNullPointer;
  return step < 1 ? zelStatusBadStep : zelStatusOk;
}

// Pointers, length: row functions.
inline ZelStatus checkPointersLength(bool allPresent, int length) {
  if (!allPresent) return zelStatusNullPointer;
  return length < 1 ? zelStatusBadSize : zelStatusOk;
}

// Pointers, a step of zero alone, size: whole textures, which may be walked upwards.
inline ZelStatus checkPointersNonzeroStepSize(bool allPresent, int step, ZeliSize size) {
  if (!allPresent) return zelStatusNullPointer;
  return step == 0 ? ZelStatus{zelStatusBadStep} : checkSize(size);
}

} // namespace zelj
