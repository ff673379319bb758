#include "kernels/cpu.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace velmora::test {
namespace {

constexpr KernelSet kAll[] = {KernelSet::scalar, KernelSet::neon, KernelSet::avx2,
                              KernelSet::avx512};
constexpr const char* kVariable = "VELMORA_SR_CPU";

TEST(KernelSets, HaveTheNamesThatUsersWrite) {
  for (const KernelSet set : kAll)
    EXPECT_EQ(kernelSetByName(name(set)), set);
  for (const char* wrong : {"", "Scalar", "neon ", "sse2", "unknown"})
    EXPECT_EQ(kernelSetByName(wrong), std::nullopt) << wrong;
}

TEST(KernelSets, TheBestOneIsChosenUnlessAnAvailableOneIsNamed) {
  const auto sets = availableKernelSets();
  ASSERT_EQ(sets.front(), KernelSet::scalar);
  for (const KernelSet set : kAll) {
    setenv(kVariable, std::string(name(set)).c_str(), 1);
    const bool available = std::find(sets.begin(), sets.end(), set) != sets.end();
    EXPECT_EQ(chosenKernelSet(), available ? set : sets.back()) << name(set);
  }
  for (const char* none : {"", "best"}) {
    setenv(kVariable, none, 1);
    EXPECT_EQ(chosenKernelSet(), sets.back());
  }
  unsetenv(kVariable);
  EXPECT_EQ(chosenKernelSet(), sets.back());
}

// What the processor has is known where it is emulated: the build then names the set to expect.
TEST(KernelSets, AreFoundByWhatTheProcessorHas) {
  const char* expected = std::getenv("VELMORA_EXPECTED_KERNELS");
  if (expected == nullptr) GTEST_SKIP() << "nobody says what this processor has";
  EXPECT_EQ(name(availableKernelSets().back()), expected);
}

}  // namespace
}  // namespace velmora::test
