#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora::test {
namespace {

constexpr auto kBuilders = {IntegralMat, IntegralMat_multi};

TEST(IntegralMat, EqualsItsDefinitionWithAndWithoutThePool) {
  for (const bool running : {false, true}) {
    const Pool pool(running);
    const CallInProgress call;
    for (const int32_t width : {1, 2, 7, 64, 101}) {
      // Heights below and around four: empty bands, and bands with a remainder.
      for (const int32_t height : {1, 2, 3, 4, 5, 10, 63}) {
        Frame frame = noise(width, height, static_cast<uint64_t>(width * 1000 + height));
        const Integral expected(frame);
        for (const auto build : kBuilders) {
          SCOPED_TRACE(testing::Message() << width << " x " << height);
          tagST_PIC pic = frame.record();
          tagIntegralMat im = {-1, -1, nullptr};
          ASSERT_EQ(build(&pic, &im), 0);
          EXPECT_EQ(im.width, width + 1);
          EXPECT_EQ(im.height, height + 1);
          const std::size_t size = expected.sums.size();
          EXPECT_EQ(TestAllocator::requests().back(), size * sizeof(int32_t));
          EXPECT_EQ(std::vector<int32_t>(im.data, im.data + size), expected.sums);
          TestAllocator::free(im.data, "SR_Process", 0);
        }
      }
    }
  }
}

TEST(IntegralMat, RefusesWhatHasNoPixelsOrNoMemory) {
  constexpr int32_t kMax = INT32_MAX, kNone = SR_RET_PARAMS_OUT_OF_RANGE;
  uint8_t sample = 0;
  const CallInProgress call;
  for (const auto& [width, height, samples, expected] : {
           std::tuple{0, 4, &sample, kNone},
           {4, 0, &sample, kNone},
           {-1, 4, &sample, kNone},
           {4, -1, &sample, kNone},
           {4, 4, static_cast<uint8_t*>(nullptr), kNone},
           {32767, 32767, &sample, -1000},  // a table of 2^30 entries
           {65535, 65535, &sample, -1000},  // its size leaves 32 bits
           {kMax, 1, &sample, -1000},
           {1, kMax, &sample, -1000},
       }) {
    for (const auto build : kBuilders) {
      tagST_PIC pic = {width, height, 0, samples, nullptr, nullptr, 0, 0};
      int32_t nowhere = 0;
      tagIntegralMat im = {-1, -1, &nowhere};
      EXPECT_EQ(build(&pic, &im), expected) << width << " x " << height;
      EXPECT_EQ(im.data, nullptr);
      if (expected == kNone) continue;
      EXPECT_EQ(im.width, std::min(width, kMax - 1) + 1);
      EXPECT_EQ(im.height, std::min(height, kMax - 1) + 1);
    }
  }
  EXPECT_TRUE(TestAllocator::requests().empty());
}

TEST(IntegralMatPasses, EachSlotHasItsBandOfRows) {
  // A quarter of the rows each, rounded down, what remains for slot 15, and nothing for others.
  constexpr std::array<int32_t, 2> kBands[] = {{0, 0}, {0, 2}, {2, 4}, {4, 6}, {6, 11}, {0, 0}};
  for (int32_t slot = 11; slot <= 16; ++slot) {
    std::vector<uint8_t> column(11, 1);
    std::vector<int32_t> rows(22, kUnwritten), expected = rows;
    const auto [first, end] = kBands[slot - 11];
    for (int32_t y = first; y < end; ++y) {
      expected[2 * y] = 0;
      expected[2 * y + 1] = 1;
    }
    IntegralRowsJob job = {column.data(), rows.data(), 2, 12};
    IntegralMat_partH_multi_impl(&job, slot);
    EXPECT_EQ(rows, expected) << slot;
  }
}

TEST(IntegralMatPasses, SumsWrapTo32Bits) {
  std::vector<int32_t> table = {0, 0, 0, INT32_MAX, -INT32_MAX, 5, 1, -2, -6};
  IntegralMat_partV(table.data(), 3, 3);
  EXPECT_EQ(table, (std::vector<int32_t>{0, 0, 0, INT32_MAX, -INT32_MAX, 5,  //
                                         INT32_MIN, INT32_MAX, -1}));
}

}  // namespace
}  // namespace velmora::test
