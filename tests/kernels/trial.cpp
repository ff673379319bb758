#include "kernels/trial.h"

#include <algorithm>

namespace velmora::test {
namespace {

/// Row lengths around the widths of all vector units, and long ones.
constexpr int32_t kCounts[] = {0,  1,  2,  3,  5,  7,  8,  9,  15, 16,  17,  23,  24,
                               31, 32, 33, 47, 48, 63, 64, 65, 95, 100, 127, 129, 500};

}  // namespace

std::string Trial::difference(const Trial& other) const {
  if (result != other.result) return "the result";
  for (std::size_t i = 0; i < buffers_.size(); ++i) {
    if (!buffers_[i].intact() || !other.buffers_[i].intact())
      return "around buffer " + std::to_string(i);
    if (buffers_[i].values() != other.buffers_[i].values()) return "buffer " + std::to_string(i);
  }
  return "";
}

TEST_P(KernelVariants, EqualTheScalarKernel) {
  bool compared = false;
  for (const CpuSet set : availableCpuSets()) {
    if (GetParam().same(CpuSet::scalar, set)) continue;
    compared = true;
    for (const int32_t count : kCounts) {
      for (int i = 0; i < Trial::kModes * GetParam().rounds; ++i) {
        Trial expected(count, i % Trial::kModes, i / Trial::kModes);
        Trial actual(count, i % Trial::kModes, i / Trial::kModes);
        GetParam().call(CpuSet::scalar, expected);
        GetParam().call(set, actual);
        ASSERT_EQ(actual.difference(expected), "")
            << name(set) << ", count " << count << ", trial " << i;
      }
    }
  }
  if (!compared) GTEST_SKIP() << "this machine has no variant of it";
}

}  // namespace velmora::test
