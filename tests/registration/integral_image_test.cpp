#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"
#include "support/guarded_buffer.h"

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
        Picture picture = noise(width, height, static_cast<uint64_t>(width * 1000 + height));
        const Integral expected(picture);
        for (const auto build : kBuilders) {
          SCOPED_TRACE(testing::Message() << width << " x " << height);
          tagST_PIC pic = picture.record();
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

/// A builder's result for a picture of which only the record exists; it leaves no table.
template <typename Builder>
int32_t failureOf(Builder build, int32_t width, int32_t height, bool hasSamples = true) {
  uint8_t sample = 0;
  tagST_PIC pic = {};
  pic.width = width;
  pic.height = height;
  pic.data = hasSamples ? &sample : nullptr;
  int32_t nowhere = 0;
  tagIntegralMat im = {-1, -1, &nowhere};
  const int32_t result = build(&pic, &im);
  EXPECT_EQ(im.data, nullptr);
  if (result == -1000 && width < INT32_MAX && height < INT32_MAX) {
    EXPECT_EQ(im.width, width + 1);
    EXPECT_EQ(im.height, height + 1);
  }
  return result;
}

TEST(IntegralMat, FailsWithoutMemory) {
  for (const auto build : kBuilders) {
    EXPECT_EQ(failureOf(build, 5, 4), -1000);  // no call in progress
    const CallInProgress call;
    TestAllocator::failRequest(0);
    EXPECT_EQ(failureOf(build, 5, 4), -1000);
    zelkParamPrivate.pub->alloc = nullptr;
    zelkParamPrivate.pub->free = nullptr;
    EXPECT_EQ(failureOf(build, 5, 4), -1000);
  }
}

TEST(IntegralMat, AsksForNoMemoryInVain) {
  const CallInProgress call;
  for (const auto build : kBuilders) {
    for (const auto& [width, height] : {std::pair{0, 4}, {4, 0}, {-1, 4}, {4, -1}})
      EXPECT_EQ(failureOf(build, width, height), SR_RET_PARAMS_OUT_OF_RANGE);
    EXPECT_EQ(failureOf(build, 4, 4, false), SR_RET_PARAMS_OUT_OF_RANGE);
    // Tables of 2^30 entries, of a size that leaves 32 bits, and at the limit of the width.
    for (const auto& [width, height] :
         {std::pair{32767, 32767}, {65535, 65535}, {INT32_MAX, 1}, {1, INT32_MAX}})
      EXPECT_EQ(failureOf(build, width, height), -1000) << width << " x " << height;
  }
  EXPECT_TRUE(TestAllocator::requests().empty());
}

TEST(IntegralMatPasses, RowsFirstThenColumns) {
  Picture picture = noise(9, 6, 3);
  for (const auto columnPass : {IntegralMat_partV, IntegralMat_partV_neon}) {
    GuardedBuffer<int32_t> table(std::size_t{10} * 7);
    IntegralMat_partH(picture.samples.data(), table.data(), 10, 7);
    for (int32_t x = 0; x <= 9; ++x) {
      EXPECT_EQ(table.data()[x], GuardedBuffer<int32_t>::unwritten());
      for (int32_t y = 1; y <= 6; ++y)
        ASSERT_EQ(table.data()[y * 10 + x], picture.box(y - 1, y, 0, x)) << y << ", " << x;
    }
    std::fill_n(table.data(), 10, 0);
    columnPass(table.data(), 10, 7);
    EXPECT_EQ(table.values(), Integral(picture).sums);
    EXPECT_TRUE(table.intact());
  }
}

TEST(IntegralMatPasses, SumsWrapTo32Bits) {
  std::vector<int32_t> table = {0, 0, 0, INT32_MAX, -INT32_MAX, 5, 1, -2, -6};
  IntegralMat_partV(table.data(), 3, 3);
  EXPECT_EQ(table, (std::vector<int32_t>{0, 0, 0, INT32_MAX, -INT32_MAX, 5,  //
                                         INT32_MIN, INT32_MAX, -1}));
}

TEST(IntegralMatPasses, EachSlotHasItsBandOfRows) {
  for (const int32_t height : {1, 3, 4, 7, 10, 12}) {
    Picture picture = noise(5, height, 4);
    for (int32_t slot = 11; slot <= 16; ++slot) {
      GuardedBuffer<int32_t> rows(static_cast<std::size_t>(height) * 6);
      IntegralRowsJob job = {picture.samples.data(), rows.data(), 6, height + 1};
      IntegralMat_partH_multi_impl(&job, slot);
      const int32_t part = slot - 12;  // a quarter each, rounded down, and the rest for slot 15
      const int32_t first = part < 0 || part > 3 ? height : part * (height / 4);
      const int32_t end = part == 3 ? height : first + height / 4;
      for (int32_t i = 0; i < height * 6; ++i) {
        const int32_t y = i / 6;
        ASSERT_EQ(rows.data()[i], y >= first && y < end ? picture.box(y, y + 1, 0, i % 6)
                                                        : GuardedBuffer<int32_t>::unwritten())
            << height << " rows, slot " << slot << ", row " << y;
      }
      EXPECT_TRUE(rows.intact());
    }
  }
}

}  // namespace
}  // namespace velmora::test
