#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "interpolation/handle.h"
#include "interpolation/kernel_tables.h"
#include "support/heap_faults.h"

namespace velmora::test {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// The formula with the standard library's sine.
float lanczos(float t, int order) {
  if (!(std::abs(t) < static_cast<float>(order))) return 0.0f;
  const auto outer = static_cast<float>(std::sin(static_cast<double>(3.1415926f * t)));
  const auto inner = static_cast<float>(std::sin(static_cast<double>(1.5707963f * t)));
  return (outer * inner + 2.2204e-16f) / (t * t * 4.9348f + 2.2204e-16f);
}

TEST(Lanczos1D, EvaluatesTheKernelAroundThePosition) {
  const struct {
    float x, scale;
    int taps, order;
  } cases[] = {
      {0.0f, 1.0f, 4, 2},  {0.5f, 1.0f, 4, 2},         {7.25f, 1.0f, 4, 2}, {-0.75f, 1.0f, 4, 2},
      {0.3f, 2.0f, 8, 2},  {0.9f, 1.5f, 6, 3},         {0.1f, 1.0f, 2, 1},  {0.4f, 1.0f, 5, 2},
      {0.6f, 0.5f, 32, 2}, {0.02f, 8.0f, 32, 2},       {kNan, 1.0f, 4, 2},  {kInfinity, 1.0f, 4, 2},
      {0.5f, 0.0f, 4, 2},  {0.5f, 1e-30f, 4, INT_MAX}, {0.5f, 1.0f, 4, 0},  {0.5f, 1.0f, 1, 2},
      {0.5f, 1.0f, 0, 2},  {0.5f, 1.0f, INT_MIN, 2},
  };
  for (const auto& c : cases) {
    const int n = std::max(c.taps / 2 * 2, 0);
    const PageBuffer<float> out(static_cast<std::size_t>(n));
    Lanczos1D(out.data(), c.x, c.scale, c.taps, c.order);
    const float f = c.x - std::floor(c.x);
    for (int i = 0; i < n && c.scale != 1e-30f; ++i) {
      const float t = (static_cast<float>(1 - n / 2 + i) - f) / c.scale;
      EXPECT_FLOAT_EQ(out.data()[i], lanczos(t, c.order))
          << c.x << " / " << c.scale << " tap " << i;
    }
    EXPECT_TRUE(out.intact());
  }
  Lanczos1D(nullptr, 0.5f, 1.0f, 4, 2);
}

TEST(Lanczos, IsNormalisedInOneDimensionAndTheProductOfRowsAndColumnsInTwo) {
  std::array<float, 16> block{};
  std::array<float, 4> taps{};
  Lanczos2D(block.data(), 0.25f, 5.75f, 1.0f, 4, 2);
  for (int i = 0; i < 16; ++i) {
    const float row = lanczos(static_cast<float>(i / 4) - 1.75f, 2);
    EXPECT_NEAR(block.at(i), row * lanczos(static_cast<float>(i % 4) - 1.25f, 2), 1e-6) << i;
  }
  // (-25, 225, 225, -25) / 400 but for the rounding of pi
  Lanczos1DNorm(taps.data(), -2.5f, 1.0f, 4, 2);
  for (int i = 0; i < 4; ++i)
    EXPECT_NEAR(taps.at(i), i % 3 == 0 ? -0.0625 : 0.5625, 1e-6) << i;
  Lanczos1DNorm(taps.data(), 0.5f, 0.0f, 4, 2);
  EXPECT_EQ(taps, (std::array<float, 4>{})) << "a sum of zero divides nothing";
  Lanczos2D(taps.data(), 0.0f, 0.0f, 1.0f, 33, 2);
  EXPECT_EQ(taps, (std::array<float, 4>{})) << "too many taps";
}

TEST(CreateQuantizationLUT, FillsFiftyFractions) {
  const PageBuffer<float> offsets(50);
  CreateQuantizationLUT(offsets.data());
  for (int p = 0; p < 50; ++p)
    EXPECT_EQ(offsets.data()[p], static_cast<float>(static_cast<double>(p) * 0.02)) << p;
  EXPECT_TRUE(offsets.intact());
  CreateQuantizationLUT(nullptr);
}

// An impulse shows the filter, and the mirroring where it stands next to the edge: the end value
// itself is not repeated. The tables show that of two dimensions.
TEST(KernelFiltering, AddsTheHighPass) {
  constexpr float o = -0.2741f;
  constexpr float c = 0.5481f;
  const struct {
    std::vector<float> kernel;
    float strength;
    std::vector<float> expected;
  } rows[] = {{{0, 1, 0, 0}, 1.0f, {2 * o, 1 + c, o, 0}},
              {{1, 0, 0, 0}, 0.5f, {1 + c / 2, o / 2, 0, 0}},
              {{1, 3}, 1.0f, {1 + c + 6 * o, 3 + 3 * c + 2 * o}}};
  for (auto [kernel, strength, expected] : rows) {
    EXPECT_EQ(KernelFiltering1D(kernel.data(), static_cast<int>(kernel.size()), strength), 0);
    for (std::size_t i = 0; i < kernel.size(); ++i)
      EXPECT_FLOAT_EQ(kernel[i], expected[i]) << i;
  }
}

TEST(KernelFiltering, RefusesWhatItCannotFilterAndTakesItsScratchFromTheCallInProgress) {
  const Handle handle;
  std::array<float, 16> block{1.0f};
  for (const auto function : {KernelFiltering1D, KernelFiltering}) {
    EXPECT_EQ(function(nullptr, 4, 1.0f), SR_RET_PARAMS_OUT_OF_RANGE);
    for (const int taps : {1, 0, -1, 33})
      EXPECT_EQ(function(block.data(), taps, 1.0f), SR_RET_PARAMS_OUT_OF_RANGE) << taps;
    TestAllocator::failRequest(0);
    EXPECT_EQ(function(block.data(), 4, 0.2f), SR_RET_ALLOC_FAILED);
    EXPECT_EQ(block, (std::array<float, 16>{1.0f}));
  }
  for (const auto function : {KernelFiltering1D, KernelFiltering})
    EXPECT_EQ(function(block.data(), 4, 0.2f), SR_RET_SUCCEED);
  EXPECT_EQ(TestAllocator::requests(), (std::vector<uint32_t>{24, 144, 24, 144}));
  TestAllocator::failRequest(10);
  EXPECT_EQ(CreateLanczosLUT1D(4, 2, 0.2f), nullptr);
  EXPECT_EQ(Handle::leftovers(), "");
}

class KernelTablesTest : public testing::Test {
 protected:
  void TearDown() override {
    releaseKernelTables();
    G_QUANTIZATION = 50;
    EXPECT_EQ(liveNewBlocks(), before_);
  }
  /// A row of a table.
  template <std::size_t kLength>
  static std::array<int16_t, kLength> row(int16_t** table, std::size_t index) {
    std::array<int16_t, kLength> values{};
    std::copy_n(table[index], kLength, values.begin());
    return values;
  }
  std::ptrdiff_t before_ = liveNewBlocks();
};

// p / 10 and 5 p / 50 are the same number, so the tables share their rows.
TEST_F(KernelTablesTest, ReproduceTheCompiledInTablesInAsManyPhasesAsTheGlobalSays) {
  for (const std::size_t phases : {50u, 10u, 1u}) {
    G_QUANTIZATION = static_cast<int32_t>(phases);
    const std::size_t stride = 50 / phases;
    ASSERT_EQ(CreateLanczosLUT_ZELK(4, 2, 0.2f, 0.2f), SR_RET_SUCCEED);
    EXPECT_EQ(G_QUANTIZATION, static_cast<int32_t>(phases));
    for (std::size_t i = 0; i < phases * phases; ++i) {
      const std::size_t p = i / phases;
      EXPECT_EQ(row<4>(Lanczos1D_4_2_Fix, p), D_Lanczos1D_4_2_Fix[p * stride]) << p;
      EXPECT_EQ(row<4>(Lanczos1D_4_2_Fix_sharp, p), D_Lanczos1D_4_2_Fix_sharp[p * stride]) << p;
      EXPECT_EQ(row<17>(Lanczos2D_4_2_Fix_Sharp, i),
                D_Lanczos2D_4_2_Fix_Sharp[p * stride * 50 + i % phases * stride])
          << i;
    }
  }
}

TEST_F(KernelTablesTest, HandOutTablesOfAnySizeAndStrengthBesideTheInstalledOnes) {
  G_QUANTIZATION = 2;
  ASSERT_EQ(CreateLanczosLUT_ZELK(4, 2, 0.2f, 0.2f), SR_RET_SUCCEED);
  int16_t** const installed[] = {Lanczos1D_4_2_Fix_sharp, Lanczos2D_4_2_Fix_Sharp};
  int16_t** const tables[] = {CreateLanczosLUT1D(4, 2, 0.2f), CreateLanczosLUT1D(6, 3, 0.0f),
                              CreateLanczosLUT2D(4, 2, 0.0f), CreateLanczosLUT2D(4, 2, 1e6f)};
  ASSERT_EQ(std::count(tables, std::end(tables), nullptr), 0);
  EXPECT_EQ(row<4>(tables[0], 1), D_Lanczos1D_4_2_Fix_sharp[25]);
  const auto taps = row<6>(tables[1], 1);
  EXPECT_NEAR(std::accumulate(taps.begin(), taps.end(), 0), 4096, 3);
  // Unsharpened and not normalised, the kernel is the identity at (0, 0); strong ones saturate.
  EXPECT_EQ(row<17>(tables[2], 0),
            (std::array<int16_t, 17>{0, 0, 0, 0, 0, 4096, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4096}));
  EXPECT_EQ(tables[3][0][5], 32767);
  EXPECT_EQ(tables[3][0][0], -32768);
  for (std::size_t i = 0; i < 4; ++i)
    KernelRows::free(tables[i], i < 2 ? 2 : 4);
  EXPECT_EQ(Lanczos1D_4_2_Fix_sharp, installed[0]);
  EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp, installed[1]);
}

TEST_F(KernelTablesTest, RefuseParametersOutOfRange) {
  const struct {
    int taps, order;
    float strength;
    int32_t phases;
  } cases[] = {
      {0, 2, 0.2f, 50}, {3, 2, 0.2f, 50},  {34, 2, 0.2f, 50},  {-4, 2, 0.2f, 50},
      {4, 0, 0.2f, 50}, {4, 33, 0.2f, 50}, {4, 2, kNan, 50},   {4, 2, kInfinity, 50},
      {4, 2, 0.2f, 0},  {4, 2, 0.2f, -50}, {4, 2, 0.2f, 1025},
  };
  for (const auto& c : cases) {
    G_QUANTIZATION = c.phases;
    EXPECT_EQ(CreateLanczosLUT1D(c.taps, c.order, c.strength), nullptr);
    EXPECT_EQ(CreateLanczosLUT2D(c.taps, c.order, c.strength), nullptr);
    EXPECT_EQ(CreateLanczosLUT_ZELK(c.taps, c.order, c.strength, 0.2f), SR_RET_PARAMS_OUT_OF_RANGE);
    EXPECT_EQ(CreateLanczosLUT_ZELK(c.taps, c.order, 0.2f, c.strength), SR_RET_PARAMS_OUT_OF_RANGE);
  }
  EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
}

TEST_F(KernelTablesTest, KeepTheInstalledTablesWhenMemoryRunsOut) {
  G_QUANTIZATION = 2;
  ASSERT_EQ(CreateLanczosLUT_ZELK(4, 2, 0.2f, 0.2f), SR_RET_SUCCEED);
  int16_t** const installed = Lanczos2D_4_2_Fix_Sharp;
  // 3 arrays, 9 + 3 + 3 rows of 3 phases, scratch once per row.
  G_QUANTIZATION = 3;
  const std::ptrdiff_t live = liveNewBlocks();
  for (int n = 0; n < 33; ++n) {
    {
      const HeapFaults faults(n, Requests::kNew, true);
      ASSERT_EQ(CreateLanczosLUT_ZELK(4, 2, 0.2f, 0.2f), SR_RET_ALLOC_FAILED) << n;
    }
    ASSERT_EQ(Lanczos2D_4_2_Fix_Sharp, installed);
    ASSERT_EQ(liveNewBlocks(), live) << n;
  }
  const HeapFaults faults(33, Requests::kNew, true);
  EXPECT_EQ(CreateLanczosLUT_ZELK(4, 2, 0.2f, 0.2f), SR_RET_SUCCEED);
}

TEST_F(KernelTablesTest, InstallZeroFilledRowsInPlaceOfTheInstalledOnes) {
  for (const int phases : {10, 3}) {
    installKernelTables(KernelTables::allocate(phases, 4));
    EXPECT_EQ(G_QUANTIZATION, phases);
    EXPECT_EQ(liveNewBlocks() - before_, 2 * phases + phases * phases + 3);
    for (int i = 0; i < phases * phases; ++i)
      EXPECT_EQ(row<17>(Lanczos2D_4_2_Fix_Sharp, static_cast<std::size_t>(i)),
                (std::array<int16_t, 17>{}));
  }
  // The count of the installed rows is known, whatever the global says since; twice is harmless.
  G_QUANTIZATION = 64;
  for (int i = 0; i < 2; ++i) {
    releaseKernelTables();
    EXPECT_EQ(liveNewBlocks() - before_, 0);
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
  EXPECT_EQ(liveNewBlocks() - before_, 0);
}

}  // namespace
}  // namespace velmora::test
