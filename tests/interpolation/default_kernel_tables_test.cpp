#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "interpolation/lanczos_rules.h"
#include "support/digest.h"
#include "velmora_sr/kernel_tables.h"

namespace {

using velmora::test::Digest;

template <typename Table>
uint32_t checksum(const Table& table) {
  Digest digest;
  for (const auto& row : table)
    digest.addAll(row);
  return digest.value();
}

TEST(DefaultKernelTables, HaveTheirChecksumsAndTellingRows) {
  EXPECT_EQ(checksum(D_Lanczos1D_4_2_Fix), 0x55CD9DA1u);
  EXPECT_EQ(checksum(D_Lanczos1D_4_2_Fix_sharp), 0x07982514u);
  EXPECT_EQ(checksum(D_Lanczos2D_4_2_Fix_Sharp), 0x38712DE5u);
  using Row = std::array<int16_t, 4>;
  EXPECT_EQ(D_Lanczos1D_4_2_Fix[0], (Row{0, 4096, 0, 0}));
  EXPECT_EQ(D_Lanczos1D_4_2_Fix[25], (Row{-256, 2303, 2303, -256}));
  EXPECT_EQ(D_Lanczos1D_4_2_Fix_sharp[12], (Row{-826, 4239, 868, -185}));
  EXPECT_EQ(D_Lanczos2D_4_2_Fix_Sharp[0],
            (std::array<int16_t, 17>{-246, -202, -123, 0, -202, 4747, -101, 0, -123, -101, -61, 0,
                                     0, 0, 0, 0, 3588}));
}

TEST(Sine, IsThatOfTheMathematicsLibrary) {
  for (int i = -3800; i <= 3800; ++i)
    EXPECT_NEAR(velmora::sine(i * 0.013), std::sin(i * 0.013), 4e-16) << i;
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
