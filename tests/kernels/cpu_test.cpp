#include "cpu/cpu_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace velmora::test {
namespace {

constexpr CpuSet kAll[] = {CpuSet::scalar, CpuSet::neon, CpuSet::avx2, CpuSet::avx512,
                           CpuSet::avx512vbmi};
constexpr const char* kVariable = "VELMORA_SR_CPU";

TEST(KernelSets, HaveTheNamesThatUsersWrite) {
  for (const CpuSet set : kAll)
    EXPECT_EQ(cpuSetByName(name(set)), set);
  for (const char* wrong : {"", "Scalar", "neon ", "sse2", "unknown"})
    EXPECT_EQ(cpuSetByName(wrong), std::nullopt) << wrong;
}

TEST(KernelSets, TheBestOneIsChosenUnlessAnAvailableOneIsNamed) {
  const auto sets = availableCpuSets();
  ASSERT_EQ(sets.front(), CpuSet::scalar);
  for (const CpuSet set : kAll) {
    setenv(kVariable, std::string(name(set)).c_str(), 1);
    const bool available = std::find(sets.begin(), sets.end(), set) != sets.end();
    EXPECT_EQ(chosenCpuSet(), available ? set : sets.back()) << name(set);
  }
  for (const char* none : {"", "best"}) {
    setenv(kVariable, none, 1);
    EXPECT_EQ(chosenCpuSet(), sets.back());
  }
  unsetenv(kVariable);
  EXPECT_EQ(chosenCpuSet(), sets.back());
}

// What the processor has is known where it is emulated: the build then names the set to expect.
TEST(KernelSets, AreFoundByWhatTheProcessorHas) {
  const char* expected = std::getenv("VELMORA_EXPECTED_CPU_SET");
  if (expected == nullptr) GTEST_SKIP() << "nobody says what this processor has";
  EXPECT_EQ(name(availableCpuSets().back()), expected);
}

}  // namespace
}  // namespace velmora::test
