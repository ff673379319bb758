#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <vector>

#include "interpolation/kernel_tables.h"
#include "support/heap_faults.h"
#include "support/test_allocator.h"
#include "velmora_sr/records.h"

namespace {

using velmora::test::HeapFaults;
using velmora::test::liveNewBlocks;
using velmora::test::Requests;
using velmora::test::TestAllocator;

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
      {0.0f, 1.0f, 4, 2},  {0.5f, 1.0f, 4, 2},   {7.25f, 1.0f, 4, 2}, {-0.75f, 1.0f, 4, 2},
      {0.3f, 2.0f, 8, 2},  {0.9f, 1.5f, 6, 3},   {0.1f, 1.0f, 2, 1},  {0.4f, 1.0f, 5, 2},
      {0.6f, 0.5f, 32, 2}, {0.02f, 8.0f, 32, 2},
  };
  for (const auto& c : cases) {
    const int n = c.taps / 2 * 2;
    std::vector<float> out(static_cast<std::size_t>(n) + 1, 123.0f);
    Lanczos1D(out.data(), c.x, c.scale, c.taps, c.order);
    const float f = c.x - std::floor(c.x);
    for (int i = 0; i < n; ++i) {
      const float t = (static_cast<float>(1 - n / 2 + i) - f) / c.scale;
      EXPECT_FLOAT_EQ(out[static_cast<std::size_t>(i)], lanczos(t, c.order))
          << c.x << " / " << c.scale << " tap " << i;
    }
    EXPECT_EQ(out.back(), 123.0f) << "wrote past the taps";
  }
}

TEST(Lanczos1D, SurvivesArgumentsThatMakeNoSense) {
  std::array<float, 4> taps{};
  for (const float x : {kNan, kInfinity, -kInfinity}) {
    taps.fill(5.0f);
    Lanczos1D(taps.data(), x, 1.0f, 4, 2);
    EXPECT_EQ(taps, (std::array<float, 4>{})) << x;
  }
  taps.fill(5.0f);
  Lanczos1D(taps.data(), 0.5f, 0.0f, 4, 2);
  EXPECT_EQ(taps, (std::array<float, 4>{}));
  taps.fill(5.0f);
  Lanczos1D(taps.data(), 0.5f, 1.0f, 4, 0);
  EXPECT_EQ(taps, (std::array<float, 4>{}));
  taps.fill(5.0f);
  for (const int count : {1, 0, -4, std::numeric_limits<int>::min()})
    Lanczos1D(taps.data(), 0.5f, 1.0f, count, 2);
  EXPECT_EQ(taps[0], 5.0f);
  Lanczos1D(nullptr, 0.5f, 1.0f, 4, 2);
  Lanczos1D(taps.data(), 0.5f, 1e-30f, 4, std::numeric_limits<int>::max());
}

TEST(Lanczos1DNorm, DividesByTheSum) {
  for (const float x : {0.0f, 0.1f, 0.5f, 0.99f, -3.3f}) {
    std::array<float, 4> plain{};
    std::array<float, 4> normalised{};
    Lanczos1D(plain.data(), x, 1.0f, 4, 2);
    Lanczos1DNorm(normalised.data(), x, 1.0f, 4, 2);
    const float sum = plain[0] + plain[1] + plain[2] + plain[3];
    for (std::size_t i = 0; i < 4; ++i)
      EXPECT_EQ(normalised[i], plain[i] / sum) << x;
  }
  std::array<float, 4> nothing{};
  Lanczos1DNorm(nothing.data(), 0.5f, 0.0f, 4, 2);
  EXPECT_EQ(nothing, (std::array<float, 4>{})) << "a sum of zero divides nothing";
}

TEST(Lanczos2D, IsTheProductOfRowsAtYAndColumnsAtX) {
  std::array<float, 16> block{};
  std::array<float, 4> atX{};
  std::array<float, 4> atY{};
  Lanczos2D(block.data(), 0.3f, 5.8f, 1.0f, 4, 2);
  Lanczos1D(atX.data(), 0.3f, 1.0f, 4, 2);
  Lanczos1D(atY.data(), 5.8f, 1.0f, 4, 2);
  for (std::size_t r = 0; r < 4; ++r) {
    for (std::size_t c = 0; c < 4; ++c)
      EXPECT_EQ(block[r * 4 + c], atY[r] * atX[c]) << r << "," << c;
  }
  block.fill(7.0f);
  Lanczos2D(block.data(), 0.0f, 0.0f, 1.0f, 33, 2);
  EXPECT_EQ(block[0], 7.0f);
}

TEST(CreateQuantizationLUT, FillsFiftyFractions) {
  std::array<float, 51> offsets{};
  offsets.fill(-1.0f);
  CreateQuantizationLUT(offsets.data());
  for (std::size_t p = 0; p < 50; ++p)
    EXPECT_EQ(offsets[p], static_cast<float>(static_cast<double>(p) * 0.02)) << p;
  EXPECT_EQ(offsets[50], -1.0f);
  CreateQuantizationLUT(nullptr);
}

// An impulse shows the filter, and the mirroring where it stands next to the edge.
TEST(KernelFiltering1D, AddsTheHighPass) {
  std::array<float, 4> kernel = {0.0f, 1.0f, 0.0f, 0.0f};
  EXPECT_EQ(KernelFiltering1D(kernel.data(), 4, 1.0f), SR_RET_SUCCEED);
  EXPECT_FLOAT_EQ(kernel[0], 2.0f * -0.2741f);
  EXPECT_FLOAT_EQ(kernel[1], 1.0f + 0.5481f);
  EXPECT_FLOAT_EQ(kernel[2], -0.2741f);
  EXPECT_EQ(kernel[3], 0.0f);

  kernel = {1.0f, 0.0f, 0.0f, 0.0f};
  EXPECT_EQ(KernelFiltering1D(kernel.data(), 4, 0.5f), SR_RET_SUCCEED);
  EXPECT_FLOAT_EQ(kernel[0], 1.0f + 0.5f * 0.5481f);
  EXPECT_FLOAT_EQ(kernel[1], 0.5f * -0.2741f) << "the end value itself is not repeated";
  EXPECT_EQ(kernel[2], 0.0f);

  std::array<float, 2> two = {1.0f, 3.0f};
  EXPECT_EQ(KernelFiltering1D(two.data(), 2, 1.0f), SR_RET_SUCCEED);
  EXPECT_FLOAT_EQ(two[0], 1.0f + 0.5481f * 1.0f - 2.0f * 0.2741f * 3.0f);
  EXPECT_FLOAT_EQ(two[1], 3.0f + 0.5481f * 3.0f - 2.0f * 0.2741f * 1.0f);
}

TEST(KernelFiltering, AddsTheHighPassOfTheBlock) {
  std::array<float, 16> block{};
  block[1 * 4 + 1] = 1.0f;
  EXPECT_EQ(KernelFiltering(block.data(), 4, 1.0f), SR_RET_SUCCEED);
  const auto& f = sharpenFilter_3_1_0_LUT;
  EXPECT_FLOAT_EQ(block[0], 4.0f * f[0][0]) << "the corner mirrors on both axes";
  EXPECT_FLOAT_EQ(block[1], 2.0f * f[0][1]);
  EXPECT_FLOAT_EQ(block[2], 2.0f * f[0][2]);
  EXPECT_EQ(block[3], 0.0f);
  EXPECT_FLOAT_EQ(block[5], 1.0f + f[1][1]);
  EXPECT_FLOAT_EQ(block[10], f[2][2]);
  EXPECT_EQ(block[15], 0.0f);
}

TEST(KernelFiltering, RefusesWhatItCannotFilter) {
  float one = 2.0f;
  EXPECT_EQ(KernelFiltering1D(nullptr, 4, 1.0f), SR_RET_PARAMS_OUT_OF_RANGE);
  EXPECT_EQ(KernelFiltering(nullptr, 4, 1.0f), SR_RET_PARAMS_OUT_OF_RANGE);
  for (const int taps : {1, 0, -1, 33}) {
    EXPECT_EQ(KernelFiltering1D(&one, taps, 1.0f), SR_RET_PARAMS_OUT_OF_RANGE) << taps;
    EXPECT_EQ(KernelFiltering(&one, taps, 1.0f), SR_RET_PARAMS_OUT_OF_RANGE) << taps;
  }
  EXPECT_EQ(one, 2.0f);
}

TEST(KernelFiltering, TakesItsScratchFromTheCallInProgress) {
  TestAllocator::reset();
  SR_ParamsPublic handle = {};
  handle.alloc = TestAllocator::alloc;
  handle.free = TestAllocator::free;
  zelkParamPrivate.pub = &handle;
  std::array<float, 16> block{};
  EXPECT_EQ(KernelFiltering1D(block.data(), 4, 0.2f), SR_RET_SUCCEED);
  EXPECT_EQ(KernelFiltering(block.data(), 4, 0.2f), SR_RET_SUCCEED);
  EXPECT_EQ(TestAllocator::requests(), (std::vector<uint32_t>{6 * 4, 36 * 4}));

  block[0] = 1.0f;
  TestAllocator::failRequest(0);
  EXPECT_EQ(KernelFiltering1D(block.data(), 4, 0.2f), SR_RET_ALLOC_FAILED);
  TestAllocator::failRequest(0);
  EXPECT_EQ(KernelFiltering(block.data(), 4, 0.2f), SR_RET_ALLOC_FAILED);
  EXPECT_EQ(block[0], 1.0f);
  TestAllocator::failRequest(10);
  EXPECT_EQ(CreateLanczosLUT1D(4, 2, 0.2f), nullptr);
  zelkParamPrivate.pub = nullptr;
  EXPECT_EQ(TestAllocator::live(), 0u);
  EXPECT_EQ(TestAllocator::faults(), "");
}

class KernelGenerators : public testing::Test {
 protected:
  void TearDown() override {
    velmora::releaseKernelTables();
    G_QUANTIZATION = 50;
    EXPECT_EQ(liveNewBlocks(), before_);
  }
  template <std::size_t kLength>
  static std::array<int16_t, kLength> row(int16_t** table, std::size_t index) {
    std::array<int16_t, kLength> values{};
    std::copy_n(table[index], kLength, values.begin());
    return values;
  }
  static void expectEveryFifthDefaultRow(int32_t phases, std::size_t stride) {
    const auto count = static_cast<std::size_t>(phases);
    for (std::size_t p = 0; p < count; ++p) {
      EXPECT_EQ(row<4>(Lanczos1D_4_2_Fix, p), D_Lanczos1D_4_2_Fix[p * stride]) << p;
      EXPECT_EQ(row<4>(Lanczos1D_4_2_Fix_sharp, p), D_Lanczos1D_4_2_Fix_sharp[p * stride]) << p;
      for (std::size_t h = 0; h < count; ++h) {
        EXPECT_EQ(row<17>(Lanczos2D_4_2_Fix_Sharp, p * count + h),
                  D_Lanczos2D_4_2_Fix_Sharp[p * stride * 50 + h * stride])
            << p << "," << h;
      }
    }
  }
  std::ptrdiff_t before_ = liveNewBlocks();
};

// p / 10 and 5 p / 50 are the same number, so the tables share their rows.
TEST_F(KernelGenerators, ReproduceTheCompiledInTablesInAsManyPhasesAsTheGlobalSays) {
  for (const int32_t phases : {50, 10, 25, 5, 1}) {
    G_QUANTIZATION = phases;
    ASSERT_EQ(CreateLanczosLUT_ZELK(4, 2, 0.2f, 0.2f), SR_RET_SUCCEED);
    EXPECT_EQ(G_QUANTIZATION, phases);
    expectEveryFifthDefaultRow(phases, static_cast<std::size_t>(50 / phases));
  }
}

TEST_F(KernelGenerators, HandOutTablesWithoutTouchingTheInstalledOnes) {
  G_QUANTIZATION = 2;
  ASSERT_EQ(CreateLanczosLUT_ZELK(4, 2, 0.2f, 0.2f), SR_RET_SUCCEED);
  int16_t** const installed = Lanczos1D_4_2_Fix_sharp;
  int16_t** table = CreateLanczosLUT1D(4, 2, 0.2f);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(Lanczos1D_4_2_Fix_sharp, installed);
  EXPECT_EQ(row<4>(table, 1), D_Lanczos1D_4_2_Fix_sharp[25]);
  velmora::KernelRows::free(table, 2);
  table = CreateLanczosLUT2D(4, 2, 0.0f);
  ASSERT_NE(table, nullptr);
  // Unsharpened and not normalised: at (0, 0) the kernel is the identity.
  EXPECT_EQ(row<17>(table, 0),
            (std::array<int16_t, 17>{0, 0, 0, 0, 0, 4096, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4096}));
  velmora::KernelRows::free(table, 4);
}

TEST_F(KernelGenerators, MakeWiderKernelsAndSaturateStrongOnes) {
  G_QUANTIZATION = 3;
  int16_t** table = CreateLanczosLUT1D(6, 3, 0.0f);
  ASSERT_NE(table, nullptr);
  for (std::size_t p = 0; p < 3; ++p) {
    const auto taps = row<6>(table, p);
    EXPECT_NEAR(std::accumulate(taps.begin(), taps.end(), 0), 4096, 3) << p;
  }
  velmora::KernelRows::free(table, 3);
  table = CreateLanczosLUT2D(4, 2, 1e6f);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table[0][5], 32767);
  EXPECT_EQ(table[0][0], -32768);
  velmora::KernelRows::free(table, 9);
}

TEST_F(KernelGenerators, RefuseParametersOutOfRange) {
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

TEST_F(KernelGenerators, KeepTheInstalledTablesWhenMemoryRunsOut) {
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

}  // namespace
