#include "interpolation/kernel_tables.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "interpolation/phase.h"
#include "support/heap_faults.h"

namespace {

using velmora::installKernelTables;
using velmora::KernelTables;
using velmora::releaseKernelTables;
using velmora::test::HeapFaults;
using velmora::test::liveNewBlocks;
using velmora::test::Requests;

class KernelTablesTest : public testing::Test {
 protected:
  void TearDown() override {
    releaseKernelTables();
    G_QUANTIZATION = 50;
    EXPECT_EQ(liveBlocks(), 0);
  }
  [[nodiscard]] std::ptrdiff_t liveBlocks() const { return liveNewBlocks() - before_; }

 private:
  std::ptrdiff_t before_ = liveNewBlocks();
};

TEST_F(KernelTablesTest, InstallZeroFilledRowsInPlaceOfTheInstalledOnes) {
  const auto expectZeros = [](int16_t** table, int rows, int values) {
    for (int i = 0; i < rows; ++i)
      EXPECT_EQ(std::count(table[i], table[i] + values, 0), values) << i;
  };
  for (const int phases : {10, 3}) {
    installKernelTables(KernelTables::allocate(phases, 4));
    EXPECT_EQ(G_QUANTIZATION, phases);
    EXPECT_EQ(liveBlocks(), 2 * phases + phases * phases + 3);
    expectZeros(Lanczos2D_4_2_Fix_Sharp, phases * phases, 17);
    expectZeros(Lanczos1D_4_2_Fix_sharp, phases, 4);
    expectZeros(Lanczos1D_4_2_Fix, phases, 4);
  }
  // The count of the installed rows is known, whatever the global says since; twice is harmless.
  G_QUANTIZATION = 64;
  for (int i = 0; i < 2; ++i) {
    releaseKernelTables();
    EXPECT_EQ(liveBlocks(), 0);
    EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
    EXPECT_EQ(Lanczos1D_4_2_Fix_sharp, nullptr);
    EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp, nullptr);
  }
  EXPECT_EQ(G_QUANTIZATION, 64);
}

TEST_F(KernelTablesTest, ReleaseTakesTablesOfAHostByTheGlobalCount) {
  G_QUANTIZATION = 3;
  Lanczos1D_4_2_Fix = new int16_t* [3] {
    new int16_t[4]{}, nullptr, new int16_t[4] {}
  };
  Lanczos2D_4_2_Fix_Sharp = new int16_t* [9] {};
  for (int i = 0; i < 9; ++i)
    Lanczos2D_4_2_Fix_Sharp[i] = new int16_t[17]{};
  releaseKernelTables();
  EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(KernelTablesTest, RefuseWrongPhaseCountsAndGiveEverythingBackWhenARequestFails) {
  for (const int32_t phases : {0, -1, velmora::kMaxKernelPhases + 1, INT32_MAX, INT32_MIN})
    EXPECT_FALSE(KernelTables::allocate(phases, 4)) << phases;
  EXPECT_TRUE(KernelTables::allocate(1, 4));
  const int requests = 3 + 3 + 9 + 3;
  for (int n = 0; n <= requests; ++n) {
    bool complete = false;
    {
      const HeapFaults faults(n, Requests::kNew, true);
      complete = static_cast<bool>(KernelTables::allocate(3, 4));
    }
    EXPECT_EQ(complete, n == requests) << n;
    EXPECT_EQ(liveBlocks(), 0) << n;
  }
}

}  // namespace
