#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "interpolation/lanczos_rules.h"
#include "support/digest.h"
#include "velmora_sr/kernel_tables.h"

namespace {

using velmora::test::Digest;
using Row = std::array<int16_t, 4>;

template <typename Table>
uint32_t checksum(const Table& table) {
  Digest digest;
  for (const auto& row : table)
    digest.addAll(row);
  return digest.value();
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

TEST(Sine, IsThatOfTheMathematicsLibrary) {
  for (int i = -3800; i <= 3800; ++i) {
    const double x = i * 0.013;
    EXPECT_NEAR(velmora::sine(x), std::sin(x), 4e-16) << x;
  }
  EXPECT_NEAR(velmora::sine(1e6), std::sin(1e6), 4e-16);
}

TEST(SharpenFilters, AreSymmetric) {
  using Filter = std::array<std::array<float, 3>, 3>;
  const auto filter = [](float corner, float edge, float centre) {
    return Filter{{{corner, edge, corner}, {edge, centre, edge}, {corner, edge, corner}}};
  };
  EXPECT_EQ(sharpenFilter_3_1_0_LUT,
            filter(-0.07511399686336517f, -0.12384100258350372f, 0.7958199977874756f));
  EXPECT_EQ(sharpenFilter_3_1_5_LUT, filter(-0.094742f, -0.118318f, 0.852239f));
}

}  // namespace
