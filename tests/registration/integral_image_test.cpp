#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <vector>

#include "registration/feature_support.h"
#include "support/guarded_buffer.h"

namespace {

using velmora::test::CallInProgress;
using velmora::test::GuardedBuffer;
using velmora::test::Integral;
using velmora::test::noise;
using velmora::test::Picture;
using velmora::test::Pool;
using velmora::test::TestAllocator;

using Builder = int32_t (*)(tagST_PIC*, tagIntegralMat*);
constexpr Builder kBuilders[] = {IntegralMat, IntegralMat_multi};

/// The table that a builder makes; gives it back to the allocator.
std::vector<int32_t> built(Builder build, Picture& picture) {
  tagST_PIC pic = picture.record();
  tagIntegralMat im = {-1, -1, nullptr};
  EXPECT_EQ(build(&pic, &im), 0);
  EXPECT_EQ(im.width, picture.width + 1);
  EXPECT_EQ(im.height, picture.height + 1);
  const auto size = static_cast<std::size_t>(im.width) * im.height;
  std::vector<int32_t> table(im.data, im.data + size);
  TestAllocator::free(im.data, "SR_Process", 0);
  return table;
}

TEST(IntegralMat, HoldsTheSumsAboveAndLeft) {
  const CallInProgress call;
  Picture picture(3, 2);
  picture.samples = {1,  2,  3,  //
                     10, 20, 255};
  const std::vector<int32_t> expected = {0, 0,  0,  0,  //
                                         0, 1,  3,  6,  //
                                         0, 11, 33, 291};
  for (const Builder build : kBuilders) {
    EXPECT_EQ(built(build, picture), expected);
  }
  Picture pixel(1, 1, 200);
  EXPECT_EQ(built(IntegralMat, pixel), (std::vector<int32_t>{0, 0, 0, 200}));
  EXPECT_EQ(TestAllocator::requests(), (std::vector<uint32_t>{48, 48, 16}));
}

TEST(IntegralMat, EqualsItsDefinitionWithAndWithoutThePool) {
  for (const bool running : {false, true}) {
    const Pool pool(running);
    const CallInProgress call;
    for (const int32_t width : {1, 2, 7, 64, 101}) {
      // Heights below and around four: empty bands, and bands with a remainder.
      for (const int32_t height : {1, 2, 3, 4, 5, 10, 63}) {
        Picture picture = noise(width, height, static_cast<uint64_t>(width * 1000 + height));
        const Integral expected(picture);
        for (const Builder build : kBuilders)
          EXPECT_EQ(built(build, picture), expected.sums) << width << " x " << height;
      }
    }
  }
}

TEST(IntegralMat, FailsWithoutMemory) {
  Picture picture(5, 4, 9);
  for (const Builder build : kBuilders) {
    tagST_PIC pic = picture.record();
    const auto expectFailure = [&] {
      int32_t nowhere = 0;
      tagIntegralMat im = {-1, -1, &nowhere};
      EXPECT_EQ(build(&pic, &im), -1000);
      EXPECT_EQ(im.width, 6);
      EXPECT_EQ(im.height, 5);
      EXPECT_EQ(im.data, nullptr);
    };
    expectFailure();  // no call in progress
    {
      const CallInProgress call;
      TestAllocator::failRequest(0);
      expectFailure();
    }
    {
      const CallInProgress call;
      zelkParamPrivate.pub->alloc = nullptr;
      zelkParamPrivate.pub->free = nullptr;
      expectFailure();
    }
  }
}

TEST(IntegralMat, AsksForNoMemoryThatCannotBeHad) {
  const CallInProgress call;
  uint8_t sample = 0;
  const int32_t most = std::numeric_limits<int32_t>::max();
  // One table of 2^30 entries, one whose size leaves 32 bits, two at the limit of the width.
  for (const auto& [width, height] :
       {std::pair{32767, 32767}, {65535, 65535}, {most, 1}, {1, most}, {most, most}}) {
    for (const Builder build : kBuilders) {
      tagST_PIC pic = {};
      pic.width = width;
      pic.height = height;
      pic.data = &sample;
      tagIntegralMat im = {};
      EXPECT_EQ(build(&pic, &im), -1000) << width << " x " << height;
      EXPECT_EQ(im.data, nullptr);
    }
  }
  EXPECT_TRUE(TestAllocator::requests().empty());
}

TEST(IntegralMat, RefusesAPictureWithoutPixels) {
  const CallInProgress call;
  uint8_t sample = 0;
  const struct {
    int32_t width, height;
    uint8_t* data;
  } cases[] = {
      {0, 4, &sample}, {4, 0, &sample}, {-1, 4, &sample}, {4, -1, &sample}, {4, 4, nullptr}};
  for (const auto& c : cases) {
    for (const Builder build : kBuilders) {
      tagST_PIC pic = {};
      pic.width = c.width;
      pic.height = c.height;
      pic.data = c.data;
      tagIntegralMat im = {};
      EXPECT_EQ(build(&pic, &im), SR_RET_PARAMS_OUT_OF_RANGE);
      EXPECT_EQ(im.data, nullptr);
    }
  }
  EXPECT_TRUE(TestAllocator::requests().empty());
}

TEST(IntegralMatPasses, RowsFirstThenColumns) {
  Picture picture = noise(9, 6, 3);
  const Integral expected(picture);
  const auto columnPasses = {IntegralMat_partV, IntegralMat_partV_neon};
  for (const auto columnPass : columnPasses) {
    GuardedBuffer<int32_t> table(std::size_t{10} * 7);
    std::fill_n(table.data(), 10, 0);
    IntegralMat_partH(picture.samples.data(), table.data(), 10, 7);
    for (int32_t y = 1; y <= 6; ++y) {
      for (int32_t x = 0; x <= 9; ++x)
        ASSERT_EQ(table.data()[y * 10 + x], picture.box(y - 1, y, 0, x)) << y << ", " << x;
    }
    columnPass(table.data(), 10, 7);
    EXPECT_EQ(table.values(), expected.sums);
    EXPECT_TRUE(table.intact());
  }
}

TEST(IntegralMatPasses, RowPassLeavesRowZeroAlone) {
  Picture picture(2, 1, 5);
  GuardedBuffer<int32_t> table(6);
  IntegralMat_partH(picture.samples.data(), table.data(), 3, 2);
  const int32_t unwritten = GuardedBuffer<int32_t>::unwritten();
  EXPECT_EQ(table.values(), (std::vector<int32_t>{unwritten, unwritten, unwritten, 0, 5, 10}));
}

TEST(IntegralMatPasses, SumsWrapTo32Bits) {
  std::vector<int32_t> table = {0, 0, 0, 0x7FFFFFFF, -0x7FFFFFFF, 5, 1, -2, -6};
  IntegralMat_partV(table.data(), 3, 3);
  EXPECT_EQ(table, (std::vector<int32_t>{0, 0, 0, 0x7FFFFFFF, -0x7FFFFFFF, 5,  //
                                         std::numeric_limits<int32_t>::min(), 0x7FFFFFFF, -1}));
}

TEST(IntegralMatPasses, EachSlotHasItsBandOfRows) {
  const struct {
    int32_t pictureHeight;
    int32_t ends[4];  // last row of each band, exclusive, counted from row 1 of the table
  } cases[] = {{10, {2, 4, 6, 10}}, {12, {3, 6, 9, 12}}, {3, {0, 0, 0, 3}},
               {1, {0, 0, 0, 1}},   {4, {1, 2, 3, 4}},   {7, {1, 2, 3, 7}}};
  for (const auto& c : cases) {
    Picture picture = noise(5, c.pictureHeight, 4);
    for (int32_t slot = 11; slot <= 16; ++slot) {
      GuardedBuffer<int32_t> rows(static_cast<std::size_t>(c.pictureHeight) * 6);
      IntegralRowsJob job = {picture.samples.data(), rows.data(), 6, c.pictureHeight + 1};
      IntegralMat_partH_multi_impl(&job, slot);
      const bool inGroup = slot >= 12 && slot <= 15;
      const int32_t first = inGroup && slot > 12 ? c.ends[slot - 13] : 0;
      const int32_t end = inGroup ? c.ends[slot - 12] : 0;
      for (int32_t y = 0; y < c.pictureHeight; ++y) {
        for (int32_t x = 0; x < 6; ++x) {
          const bool written = y >= first && y < end;
          ASSERT_EQ(rows.data()[y * 6 + x],
                    written ? picture.box(y, y + 1, 0, x) : GuardedBuffer<int32_t>::unwritten())
              << c.pictureHeight << " rows, slot " << slot << ", row " << y;
        }
      }
      EXPECT_TRUE(rows.intact());
    }
  }
}

}  // namespace
