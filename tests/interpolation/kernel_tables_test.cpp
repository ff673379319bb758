#include "interpolation/kernel_tables.h"

#include <gtest/gtest.h>

#include "interpolation/phase.h"
#include "support/heap_faults.h"

namespace {

using velmora::installKernelTables;
using velmora::KernelRows;
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
    EXPECT_EQ(liveNewBlocks(), before_);
  }
  std::ptrdiff_t before_ = liveNewBlocks();
};

TEST_F(KernelTablesTest, InstallZeroFilledRowsEachABlockOfItsOwn) {
  installKernelTables(KernelTables::allocate(10, 4));
  EXPECT_EQ(G_QUANTIZATION, 10);
  EXPECT_EQ(liveNewBlocks() - before_, 10 + 10 + 100 + 3);
  for (int i = 0; i < 100; ++i) {
    for (int k = 0; k < 17; ++k)
      ASSERT_EQ(Lanczos2D_4_2_Fix_Sharp[i][k], 0);
  }
  for (int i = 0; i < 10; ++i) {
    for (int k = 0; k < 4; ++k) {
      ASSERT_EQ(Lanczos1D_4_2_Fix[i][k], 0);
      ASSERT_EQ(Lanczos1D_4_2_Fix_sharp[i][k], 0);
    }
  }
}

TEST_F(KernelTablesTest, InstallingReleasesWhatWasInstalled) {
  installKernelTables(KernelTables::allocate(10, 4));
  installKernelTables(KernelTables::allocate(3, 4));
  EXPECT_EQ(G_QUANTIZATION, 3);
  EXPECT_EQ(liveNewBlocks() - before_, 3 + 3 + 9 + 3);
}

TEST_F(KernelTablesTest, ReleaseTwiceIsHarmlessAndLeavesNullPointers) {
  installKernelTables(KernelTables::allocate(2, 4));
  releaseKernelTables();
  releaseKernelTables();
  EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
  EXPECT_EQ(Lanczos1D_4_2_Fix_sharp, nullptr);
  EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp, nullptr);
}

TEST_F(KernelTablesTest, ReleaseKnowsTheCountWhateverTheGlobalSaysSince) {
  installKernelTables(KernelTables::allocate(10, 4));
  G_QUANTIZATION = 64;
  releaseKernelTables();
  EXPECT_EQ(liveNewBlocks(), before_);
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
  EXPECT_EQ(liveNewBlocks(), before_);
  EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
  EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp, nullptr);
}

TEST_F(KernelTablesTest, RefusesPhaseCountsOutsideItsRange) {
  for (const int32_t phases : {0, -1, velmora::kMaxKernelPhases + 1, INT32_MAX, INT32_MIN})
    EXPECT_FALSE(KernelTables::allocate(phases, 4)) << phases;
  EXPECT_TRUE(KernelTables::allocate(1, 4));
}

TEST_F(KernelTablesTest, GiveEverythingBackWhenAnyRequestFails) {
  const int requests = 3 + 3 + 9 + 3;
  for (int n = 0; n <= requests; ++n) {
    bool complete = false;
    {
      const HeapFaults faults(n, Requests::kNew, true);
      complete = static_cast<bool>(KernelTables::allocate(3, 4));
    }
    EXPECT_EQ(complete, n == requests) << n;
    EXPECT_EQ(liveNewBlocks(), before_) << n;
  }
}

}  // namespace
