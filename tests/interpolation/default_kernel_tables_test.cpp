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

TEST(DefaultKernelTables, HaveTheirChecksums) {
  EXPECT_EQ(checksum(D_Lanczos1D_4_2_Fix), 0x55CD9DA1u);
  EXPECT_EQ(checksum(D_Lanczos1D_4_2_Fix_sharp), 0x07982514u);
  EXPECT_EQ(checksum(D_Lanczos2D_4_2_Fix_Sharp), 0x38712DE5u);
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
