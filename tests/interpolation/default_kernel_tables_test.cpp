#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "interpolation/lanczos_rules.h"
#include "support/crc32.h"
#include "velmora_sr/kernel_tables.h"

namespace {

using velmora::test::Crc32;
using Row = std::array<int16_t, 4>;

template <typename Table>
uint32_t checksum(const Table& table) {
  Crc32 crc;
  for (const auto& row : table)
    crc.add(std::span<const int16_t>(row));
  return crc.value();
}

TEST(DefaultKernelTables, HaveTheirChecksums) {
  EXPECT_EQ(checksum(D_Lanczos1D_4_2_Fix), 0x55CD9DA1u);
  EXPECT_EQ(checksum(D_Lanczos1D_4_2_Fix_sharp), 0x07982514u);
  EXPECT_EQ(checksum(D_Lanczos2D_4_2_Fix_Sharp), 0x38712DE5u);
}

TEST(DefaultKernelTables, HaveTheirTellingRows) {
  const struct {
    std::size_t phase;
    Row taps;
  } plain[] =
      {
          {0, {0, 4096, 0, 0}},           {1, {-50, 4092, 54, 0}},     {12, {-340, 3597, 906, -66}},
          {25, {-256, 2303, 2303, -256}}, {47, {-3, 175, 4062, -137}}, {49, {0, 54, 4092, -50}},
      },
    sharp[] = {
        {0, {-475, 4808, -237, 0}},     {1, {-534, 4810, -173, -6}},  {12, {-826, 4239, 868, -185}},
        {25, {-576, 2624, 2624, -576}}, {49, {-6, -173, 4810, -534}},
    };
  for (const auto& row : plain)
    EXPECT_EQ(D_Lanczos1D_4_2_Fix[row.phase], row.taps) << row.phase;
  for (const auto& row : sharp)
    EXPECT_EQ(D_Lanczos1D_4_2_Fix_sharp[row.phase], row.taps) << row.phase;
  EXPECT_EQ(D_Lanczos2D_4_2_Fix_Sharp[0],
            (std::array<int16_t, 17>{-246, -202, -123, 0, -202, 4747, -101, 0, -123, -101, -61, 0,
                                     0, 0, 0, 0, 3588}));
}

TEST(DefaultKernelTables, AreMirroredAboutTheMiddlePhase) {
  const auto reversed = [](Row row) { return Row{row[3], row[2], row[1], row[0]}; };
  for (std::size_t p = 1; p < 50; ++p) {
    EXPECT_EQ(D_Lanczos1D_4_2_Fix[p], reversed(D_Lanczos1D_4_2_Fix[50 - p])) << p;
    EXPECT_EQ(D_Lanczos1D_4_2_Fix_sharp[p], reversed(D_Lanczos1D_4_2_Fix_sharp[50 - p])) << p;
  }
}

TEST(DefaultKernelTables, SumToOneWhereNormalisedAndCarryTheirSumElsewhere) {
  for (const auto* table : {&D_Lanczos1D_4_2_Fix, &D_Lanczos1D_4_2_Fix_sharp}) {
    for (const Row& row : *table)
      EXPECT_LE(std::abs(std::accumulate(row.begin(), row.end(), 0) - 4096), 2);
  }
  for (const auto& row : D_Lanczos2D_4_2_Fix_Sharp)
    EXPECT_EQ(std::accumulate(row.begin(), row.end() - 1, 0), row[16]);
}

// The 2D rule in double precision, from the formulas: each default tap is its truncation, give or
// take what single precision costs.
TEST(DefaultKernelTables, FollowTheTwoDimensionalRule) {
  const auto kernel = [](double t) {
    constexpr double kPi = 3.14159265358979323846;
    if (t == 0.0) return 1.0;
    return std::sin(kPi * t) * std::sin(kPi * t / 2.0) / (kPi * kPi * t * t / 2.0);
  };
  const auto mirror = [](int i) { return i < 0 ? 1 : i > 3 ? 2 : i; };
  const double filter[3] = {-0.075114, -0.123841, 0.79582};  // corner, edge, centre
  for (int v = 0; v < 50; v += 7) {
    for (int h = 0; h < 50; h += 3) {
      const auto value = [&](int r, int c) {
        return kernel(mirror(r) - 1 - v / 50.0) * kernel(mirror(c) - 1 - h / 50.0);
      };
      const auto& row = D_Lanczos2D_4_2_Fix_Sharp[static_cast<std::size_t>(v * 50 + h)];
      for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
          double sum = 0.0;
          for (int y = -1; y <= 1; ++y) {
            for (int x = -1; x <= 1; ++x)
              sum += filter[(y == 0) + (x == 0)] * value(r + y, c + x);
          }
          EXPECT_NEAR(row[static_cast<std::size_t>(r * 4 + c)], 4096.0 * (value(r, c) + 0.2 * sum),
                      1.01)
              << v << "," << h << ": " << r << "," << c;
        }
      }
    }
  }
}

TEST(Sine, IsThatOfTheMathematicsLibrary) {
  for (int i = -3800; i <= 3800; ++i) {
    const double x = i * 0.013;
    EXPECT_NEAR(velmora::sine(x), std::sin(x), 4e-16) << x;
  }
  EXPECT_NEAR(velmora::sine(1e6), std::sin(1e6), 4e-16);
}

TEST(SharpenFilters, PassNoConstantButTheirExcess) {
  const auto corner = [](const auto& f) { return f[0][0]; };
  for (const auto* f : {&sharpenFilter_3_1_0_LUT, &sharpenFilter_3_1_5_LUT}) {
    float sum = 0.0f;
    for (std::size_t r = 0; r < 3; ++r) {
      for (std::size_t c = 0; c < 3; ++c) {
        sum += (*f)[r][c];
        EXPECT_EQ((*f)[r][c], (*f)[c][r]);
        EXPECT_EQ((*f)[r][c], (*f)[2 - r][c]);
      }
    }
    EXPECT_NEAR(sum, 0.0f, 1e-5f) << corner(*f);
  }
  EXPECT_EQ(sharpenFilter_3_1_0_LUT[0][0], -0.07511399686336517f);
  EXPECT_EQ(sharpenFilter_3_1_0_LUT[0][1], -0.12384100258350372f);
  EXPECT_EQ(sharpenFilter_3_1_0_LUT[1][1], 0.7958199977874756f);
  EXPECT_EQ(sharpenFilter_3_1_5_LUT[2][2], -0.094742f);
  EXPECT_EQ(sharpenFilter_3_1_5_LUT[1][0], -0.118318f);
  EXPECT_EQ(sharpenFilter_3_1_5_LUT[1][1], 0.852239f);
}

}  // namespace
