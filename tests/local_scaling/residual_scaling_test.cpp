#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "support/page_buffer.h"
#include "support/random.h"
#include "velmora_sr/local_scaling.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using velmora::test::PageBuffer;

const int16_t kUnwritten = PageBuffer<int16_t>::unwritten();

struct Halves {
  std::vector<uint8_t> half;
  std::vector<int16_t> residual;
};

Halves downScale(const std::vector<uint8_t>& samples, int rows, int cols) {
  const PageBuffer<uint8_t> full(samples);
  const PageBuffer<uint8_t> half(static_cast<std::size_t>(rows / 2 * (cols / 2)));
  const PageBuffer<int16_t> residual(samples.size());
  EXPECT_EQ(DownScaleWithError(full.data(), rows, cols, half.data(), residual.data()), 0);
  EXPECT_TRUE(half.intact() && residual.intact());
  return {half.values(), residual.values()};
}

std::vector<uint8_t> upScale(const Halves& halves, int rows, int cols) {
  const PageBuffer<uint8_t> half(halves.half);
  const PageBuffer<int16_t> residual(halves.residual);
  const PageBuffer<uint8_t> full(halves.residual.size());
  EXPECT_EQ(UpScaleWithError(half.data(), rows, cols, full.data(), residual.data()), 0);
  EXPECT_TRUE(full.intact());
  return full.values();
}

// The mean is rounded; the last odd row and column are left out.
TEST(DownScaleWithError, KeepsTheRoundedMeanAndTheResiduals) {
  // Two blocks in one row pair: means (0 + 255 + 255 + 255 + 2) >> 2 = 191 and (1 + 2) >> 2 = 0.
  const Halves odd = downScale({0, 255, 0, 0, 9, 255, 255, 0, 1, 9, 9, 9, 9, 9, 9}, 3, 5);
  EXPECT_THAT(odd.half, ElementsAre(191, 0));
  const int16_t k = kUnwritten;
  EXPECT_THAT(odd.residual, ElementsAre(-191, 64, 0, 0, k, 64, 64, 0, 1, k, k, k, k, k, k));
  EXPECT_THAT(downScale({1, 2, 3, 4}, 1, 4).residual, Each(kUnwritten));
}

TEST(ResidualScaling, DownAndUpReturnsEverySample) {
  velmora::test::Random random(5);
  for (const int rows : {2, 6, 18}) {
    for (const int cols : {2, 4, 30, 32, 34, 66}) {
      SCOPED_TRACE(testing::Message() << rows << "x" << cols);
      auto full = random.bytes(static_cast<std::size_t>(rows * cols));
      for (std::size_t i = 0; i < full.size(); i += 3)
        full[i] = full[i] < 128 ? 0 : 255;
      EXPECT_EQ(upScale(downScale(full, rows, cols), rows / 2, cols / 2), full);
    }
  }
}

TEST(UpScaleWithError, ClampsAndWrapsAtSixteenBits) {
  // The sums are 99, -1, 255 and 256; then 32'867 and 32'768, which wrap below 0, and 32'767.
  EXPECT_THAT(upScale({{100}, {-1, -101, 155, 156}}, 1, 1), ElementsAre(99, 0, 255, 255));
  EXPECT_THAT(upScale({{100}, {32'767, 32'668, 32'667, -32'768}}, 1, 1), ElementsAre(0, 0, 255, 0));
}

TEST(ResidualScaling, EmptyPlanesAreLeftAlone) {
  const PageBuffer<uint8_t> bytes(16);
  const PageBuffer<int16_t> words(16);
  uint8_t* const b = bytes.data();
  int16_t* const w = words.data();
  for (const auto& [rows, cols] : {std::pair{0, 4}, {4, 0}, {-2, 4}, {4, -2}}) {
    EXPECT_EQ(DownScaleWithError(b, rows, cols, b, w), 0);
    EXPECT_EQ(UpScaleWithError(b, rows, cols, b, w), 0);
  }
  for (int missing = 0; missing < 3; ++missing) {
    const auto passed = [missing](int i, auto* p) { return i == missing ? nullptr : p; };
    EXPECT_EQ(DownScaleWithError(passed(0, b), 2, 2, passed(1, b), passed(2, w)), 0);
    EXPECT_EQ(UpScaleWithError(passed(0, b), 1, 1, passed(1, b), passed(2, w)), 0);
  }
  EXPECT_THAT(bytes.values(), Each(PageBuffer<uint8_t>::unwritten()));
  EXPECT_THAT(words.values(), Each(kUnwritten));
  EXPECT_TRUE(bytes.intact() && words.intact());
}

}  // namespace
