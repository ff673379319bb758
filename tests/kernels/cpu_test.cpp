#include "kernels/cpu.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>

namespace velmora::test {
namespace {

/// Sets or unsets VELMORA_SR_CPU until the end of the scope.
class WantedKernels {
 public:
  explicit WantedKernels(const char* value) {
    if (const char* before = std::getenv(kVariable)) before_ = before;
    value != nullptr ? setenv(kVariable, value, 1) : unsetenv(kVariable);
  }
  ~WantedKernels() { before_ ? setenv(kVariable, before_->c_str(), 1) : unsetenv(kVariable); }
  WantedKernels(const WantedKernels&) = delete;
  WantedKernels& operator=(const WantedKernels&) = delete;

 private:
  static constexpr const char* kVariable = "VELMORA_SR_CPU";
  std::optional<std::string> before_;
};

TEST(KernelSets, HaveTheNamesThatUsersWrite) {
  for (const KernelSet set :
       {KernelSet::scalar, KernelSet::neon, KernelSet::avx2, KernelSet::avx512}) {
    EXPECT_EQ(kernelSetByName(name(set)), set);
  }
  for (const char* wrong : {"", "Scalar", "neon ", "sse2", "unknown"})
    EXPECT_EQ(kernelSetByName(wrong), std::nullopt) << wrong;
}

TEST(KernelSets, TheBestOneIsChosenUnlessAnAvailableOneIsNamed) {
  const auto sets = availableKernelSets();
  ASSERT_EQ(sets.front(), KernelSet::scalar);
  for (const char* none : {static_cast<const char*>(nullptr), "", "best"}) {
    const WantedKernels wanted(none);
    EXPECT_EQ(chosenKernelSet(), sets.back());
  }
  for (const KernelSet set :
       {KernelSet::scalar, KernelSet::neon, KernelSet::avx2, KernelSet::avx512}) {
    const WantedKernels wanted(std::string(name(set)).c_str());
    const bool available = std::find(sets.begin(), sets.end(), set) != sets.end();
    EXPECT_EQ(chosenKernelSet(), available ? set : sets.back()) << name(set);
  }
}

// What the processor has is known where it is emulated: the build then names the set to expect.
TEST(KernelSets, AreFoundByWhatTheProcessorHas) {
  const char* expected = std::getenv("VELMORA_EXPECTED_KERNELS");
  if (expected == nullptr) GTEST_SKIP() << "nobody says what this processor has";
  EXPECT_EQ(name(availableKernelSets().back()), expected);
}

}  // namespace
}  // namespace velmora::test
