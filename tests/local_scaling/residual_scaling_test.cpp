#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/random.h"
#include "velmora_sr/local_scaling.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using velmora::test::GuardedBuffer;
using velmora::test::Random;

const int16_t kUnwritten = GuardedBuffer<int16_t>::unwritten();

struct Halves {
  std::vector<uint8_t> half;
  std::vector<int16_t> residual;
};

Halves downScale(const std::vector<uint8_t>& full, int rows, int cols) {
  GuardedBuffer<uint8_t> half(static_cast<std::size_t>(std::max(rows / 2, 0)) *
                              static_cast<std::size_t>(std::max(cols / 2, 0)));
  GuardedBuffer<int16_t> residual(full.size());
  EXPECT_EQ(DownScaleWithError(full.data(), rows, cols, half.data(), residual.data()), 0);
  EXPECT_TRUE(half.intact() && residual.intact());
  return {half.values(), residual.values()};
}

std::vector<uint8_t> upScale(const std::vector<uint8_t>& half, int rows, int cols,
                             const std::vector<int16_t>& residual) {
  GuardedBuffer<uint8_t> full(residual.size());
  EXPECT_EQ(UpScaleWithError(half.data(), rows, cols, full.data(), residual.data()), 0);
  EXPECT_TRUE(full.intact());
  return full.values();
}

TEST(DownScaleWithError, KeepsTheRoundedMeanAndTheResiduals) {
  const Halves one = downScale({10, 11, 12, 13}, 2, 2);
  EXPECT_THAT(one.half, ElementsAre(12));
  EXPECT_THAT(one.residual, ElementsAre(-2, -1, 0, 1));

  // Two blocks in one row pair: means (0 + 255 + 255 + 255 + 2) >> 2 = 191 and (1 + 2) >> 2 = 0.
  const Halves two = downScale({0, 255, 0, 0, 255, 255, 0, 1}, 2, 4);
  EXPECT_THAT(two.half, ElementsAre(191, 0));
  EXPECT_THAT(two.residual, ElementsAre(-191, 64, 0, 0, 64, 64, 0, 1));
}

TEST(DownScaleWithError, LeavesTheLastOddRowAndColumnOut) {
  // 3 x 5, all samples 4 but the last row and column.
  const Halves odd = downScale({4, 4, 4, 4, 9, 4, 4, 4, 4, 9, 9, 9, 9, 9, 9}, 3, 5);
  EXPECT_THAT(odd.half, ElementsAre(4, 4));
  const std::vector<int16_t> expected = {
      0, 0,          0,          0,          kUnwritten, 0,          0,         0,
      0, kUnwritten, kUnwritten, kUnwritten, kUnwritten, kUnwritten, kUnwritten};
  EXPECT_EQ(odd.residual, expected);
  EXPECT_THAT(downScale({1, 2, 3, 4}, 1, 4).residual, Each(kUnwritten));
  EXPECT_THAT(downScale({1, 2, 3, 4}, 4, 1).residual, Each(kUnwritten));
}

TEST(ResidualScaling, DownAndUpReturnsEverySample) {
  Random random(5);
  for (const int rows : {2, 4, 6, 18}) {
    for (const int cols : {2, 4, 30, 32, 34, 66}) {
      SCOPED_TRACE(testing::Message() << rows << "x" << cols);
      std::vector<uint8_t> full = random.bytes(static_cast<std::size_t>(rows * cols));
      for (std::size_t i = 0; i < full.size(); i += 3)
        full[i] = full[i] < 128 ? 0 : 255;
      const Halves halves = downScale(full, rows, cols);
      for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
          const auto at = static_cast<std::size_t>(i * cols + j);
          const auto block = static_cast<std::size_t>(i / 2 * (cols / 2) + j / 2);
          const auto corner = static_cast<std::size_t>(i / 2 * 2 * cols + j / 2 * 2);
          const auto below = corner + static_cast<std::size_t>(cols);
          const int sum = full[corner] + full[corner + 1] + full[below] + full[below + 1];
          ASSERT_EQ(halves.half[block], (sum + 2) / 4);
          ASSERT_EQ(halves.residual[at], full[at] - (sum + 2) / 4);
        }
      }
      EXPECT_EQ(upScale(halves.half, rows / 2, cols / 2, halves.residual), full);
    }
  }
}

TEST(UpScaleWithError, ClampsAndWrapsAtSixteenBits) {
  // The sums are 99, -1, 255 and 256; then 32'867 and 32'768, which wrap below 0, and 32'767.
  EXPECT_THAT(upScale({100}, 1, 1, {-1, -101, 155, 156}), ElementsAre(99, 0, 255, 255));
  EXPECT_THAT(upScale({100}, 1, 1, {32'767, 32'668, 32'667, -32'768}), ElementsAre(0, 0, 255, 0));
}

TEST(UpScaleWithError, SizesAreThoseOfTheHalfPlane) {
  const std::vector<int16_t> residual = {0, 1, 2, 3, 4,  5,  //
                                         6, 7, 8, 9, 10, 11};
  EXPECT_THAT(upScale({10, 20, 30}, 1, 3, residual),
              ElementsAre(10, 11, 22, 23, 34, 35, 16, 17, 28, 29, 40, 41));
}

TEST(ResidualScaling, EmptyPlanesAreLeftAlone) {
  for (const auto& [rows, cols] : {std::pair{0, 4}, {4, 0}, {-2, 4}, {4, -2}, {0, 0}}) {
    GuardedBuffer<uint8_t> bytes(16);
    GuardedBuffer<int16_t> residual(16);
    EXPECT_EQ(DownScaleWithError(bytes.data(), rows, cols, bytes.data(), residual.data()), 0);
    EXPECT_EQ(UpScaleWithError(bytes.data(), rows, cols, bytes.data(), residual.data()), 0);
    EXPECT_THAT(bytes.values(), Each(GuardedBuffer<uint8_t>::unwritten()));
    EXPECT_THAT(residual.values(), Each(kUnwritten));
    EXPECT_TRUE(bytes.intact() && residual.intact());
  }
  uint8_t plane[4] = {1, 2, 3, 4};
  int16_t residual[4] = {5, 6, 7, 8};
  EXPECT_EQ(DownScaleWithError(nullptr, 2, 2, plane, residual), 0);
  EXPECT_EQ(DownScaleWithError(plane, 2, 2, nullptr, residual), 0);
  EXPECT_EQ(DownScaleWithError(plane, 2, 2, plane, nullptr), 0);
  EXPECT_EQ(UpScaleWithError(nullptr, 1, 1, plane, residual), 0);
  EXPECT_EQ(UpScaleWithError(plane, 1, 1, nullptr, residual), 0);
  EXPECT_EQ(UpScaleWithError(plane, 1, 1, plane, nullptr), 0);
  EXPECT_THAT(plane, ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(residual, ElementsAre(5, 6, 7, 8));
}

}  // namespace
