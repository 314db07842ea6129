// The forms of argument checks: with everything wrong the first test of a form decides, and as its arguments are mended
// one by one each further test comes to light in its order.
#include "frame/checks.h"

#include <gtest/gtest.h>

#include <vector>

namespace zelj::test {
namespace {

constexpr ZelStatus kPointer = zelStatusNullPointer, kStep = zelStatusBadStep, kSize = zelStatusBadSize;

// Statuses of check(n) with the first n arguments good and all others bad, up to the first success.
template <class F>
std::vector<ZelStatus> mended(F check) {
  std::vector<ZelStatus> statuses;
  for (int n = 0; statuses.empty() || statuses.back() != zelStatusOk; ++n) statuses.push_back(check(n));
  return statuses;
}

TEST(Checks, OrderOfEachForm) {
  const char good = 0;
  const auto p = [&](bool there) { return there ? &good : nullptr; };
  using Statuses = std::vector<ZelStatus>;
  EXPECT_EQ(mended([&](int n) {
              return checkOperandByOperand(p(n > 0), n > 1, p(n > 2), n > 3, {n > 4, n > 5});
            }),
            (Statuses{kPointer, kStep, kPointer, kStep, kSize, kSize, zelStatusOk}));
  EXPECT_EQ(mended([&](int n) {
              return checkOperandByOperand(p(n > 0), n > 1, {n > 2, n > 3}, p(n > 4), n > 5, {n > 6, n > 7});
            }),
            (Statuses{kPointer, kStep, kSize, kSize, kPointer, kStep, kSize, kSize, zelStatusOk}));
  EXPECT_EQ(mended([&](int n) {
              return checkPointersStepsSize(n > 0, n > 1, n > 2, {n > 3, n > 4});
            }),
            (Statuses{kPointer, kStep, kStep, kSize, kSize, zelStatusOk}));
  EXPECT_EQ(mended([&](int n) {
              return checkPointersSize(n > 0, {n > 1, n > 2});
            }),
            (Statuses{kPointer, kSize, kSize, zelStatusOk}));
  EXPECT_EQ(mended([&](int n) { return checkPointersStepPointers(n > 0, n > 1, n > 2); }),
            (Statuses{kPointer, kStep, kPointer, zelStatusOk}));
  EXPECT_EQ(mended([&](int n) { return checkPointersStep(n > 0, n > 1); }), (Statuses{kPointer, kStep, zelStatusOk}));
  EXPECT_EQ(mended([&](int n) { return checkPointersLength(n > 0, n > 1); }), (Statuses{kPointer, kSize, zelStatusOk}));
  EXPECT_EQ(mended([&](int n) {
              return checkPointersNonzeroStepSize(n > 0, n > 1 ? -1 : 0, {n > 2, n > 3});
            }),
            (Statuses{kPointer, kStep, kSize, kSize, zelStatusOk}));
}

TEST(Checks, PresentLooksIntoPlaneArrays) {
  Zel8u sample = 0;
  Zel8u* const complete[3] = {&sample, &sample, &sample};
  Zel8u* const missing[3] = {&sample, &sample, nullptr};
  EXPECT_TRUE(present(&sample, planes<3>(complete)));
  EXPECT_TRUE(present(planes<2>(missing)));
  EXPECT_FALSE(present(planes<3>(missing)));
  EXPECT_FALSE(present(planes<3>(complete), planes<3, Zel8u>(nullptr)));
  EXPECT_FALSE(present(nullptr, planes<3>(complete)));
}

} // namespace
} // namespace zelj::test
