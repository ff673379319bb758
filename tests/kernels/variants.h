// What the tests of kernel variants share: which variants there are, sizes and data to try.
#ifndef VELMORA_TESTS_KERNELS_VARIANTS_H
#define VELMORA_TESTS_KERNELS_VARIANTS_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kernels/kernel_table.h"
#include "support/page_buffer.h"
#include "support/random.h"

namespace velmora::test {

/// The sets of this machine beside the scalar one.
inline std::vector<KernelSet> vectorSets() {
  const auto all = availableKernelSets();
  return {all.begin() + 1, all.end()};
}

/// Row lengths around the widths of all vector units, and long ones.
inline const std::vector<int32_t> kCounts = {0,  1,  2,  3,  5,   7,   8,   9,  15,
                                             16, 17, 23, 24, 31,  32,  33,  47, 48,
                                             63, 64, 65, 95, 100, 127, 129, 500};

/// Fills with random bits, or with the values that overflow first.
template <typename T>
void fill(PageBuffer<T>& buffer, Random& random, int mode, T low, T high) {
  for (T& value : buffer.span()) {
    switch (mode) {
      case 0:
        value = static_cast<T>(random.range(low, high));
        break;
      case 1:
        value = high;
        break;
      case 2:
        value = low;
        break;
      default:
        value = random.next() % 2 == 0 ? low : high;
        break;
    }
  }
}
inline constexpr int kFillModes = 4;

/// Expects both buffers to hold the same values and to have left their surroundings alone.
template <typename T>
void expectSame(PageBuffer<T>& scalar, PageBuffer<T>& variant, const std::string& what) {
  EXPECT_TRUE(scalar.intact()) << what;
  EXPECT_TRUE(variant.intact()) << what;
  for (std::size_t i = 0; i < scalar.size(); ++i) {
    if (scalar[i] != variant[i]) {
      ADD_FAILURE() << what << " differs first at " << i << ": " << +scalar[i] << " and "
                    << +variant[i];
      return;
    }
  }
}

/// Calls check(scalar, variant) for every set whose entry of the family is not the scalar one.
template <typename Family, typename Kernel, typename Check>
void forEachVariant(Family KernelTable::*family, Kernel Family::*entry, Check check) {
  const Kernel scalar = (kernelTableFor(KernelSet::scalar).*family).*entry;
  for (const KernelSet set : vectorSets()) {
    const Kernel variant = (kernelTableFor(set).*family).*entry;
    if (variant == scalar) continue;
    SCOPED_TRACE(std::string(name(set)));
    check(scalar, variant);
  }
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_KERNELS_VARIANTS_H
