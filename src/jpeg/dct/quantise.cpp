// Quantisation and dequantisation of one block apart from the transform.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "simd/simd.h"

namespace zelj {
namespace {

// Replaces each coefficient x of a block by f(x, t), with t its table entry.
template <class F>
HWY_INLINE void forCoefficients(Zel16s* block, const Zel16u* table, F f) {
  constexpr hn::CappedTag<Zel16s, 64> d;
  constexpr hn::RebindToUnsigned<decltype(d)> du;
  for (size_t i = 0; i < 64; i += hn::Lanes(d)) {
    hn::StoreU(f(hn::LoadU(d, block + i), hn::LoadU(du, table + i)), d, block + i);
  }
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownQuantFwd8x8_JPEG_16s_C1I(Zel16s* pSrcDst, const Zel16u* pQuantFwdTable) {
  if (ZelStatus bad = checkPointers(present(pSrcDst, pQuantFwdTable))) return bad;
  forCoefficients(pSrcDst, pQuantFwdTable, [](auto x, auto t) {
    const hn::DFromV<decltype(x)> d;
    const auto p = hn::MulHigh(hn::ShiftLeft<3>(x), hn::BitCast(d, hn::ShiftRight<1>(t)));
    return hn::ShiftRight<1>(hn::Add(p, hn::Set(d, 1)));
  });
  return zelStatusOk;
}

ZelStatus ownQuantInv8x8_JPEG_16s_C1I(Zel16s* pSrcDst, const Zel16u* pQuantInvTable) {
  if (ZelStatus bad = checkPointers(present(pSrcDst, pQuantInvTable))) return bad;
  forCoefficients(pSrcDst, pQuantInvTable, [](auto x, auto t) {
    const hn::DFromV<decltype(x)> d;
    return hn::Mul(x, hn::BitCast(d, t));
  });
  return zelStatusOk;
}
