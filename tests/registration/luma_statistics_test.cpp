#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"

namespace velmora::test {
namespace {

struct Decision {
  float threshold;
  float ratio;
  int32_t blocks;  // as logged: the larger of the dark and the bright count
  bool operator==(const Decision&) const = default;
};

void PrintTo(const Decision& d, std::ostream* out) {
  *out << "threshold " << d.threshold << ", ratio " << d.ratio << ", blocks " << d.blocks;
}

Decision decide(tagIntegralMat& im, float threshold = 280.0f, float ratio = 0.45f) {
  InitLogParams(nullptr, 2);
  LogCapture log;
  GetImageLumaInfo(&im, &threshold, &ratio);
  const auto texts = log.takeTexts();
  const std::string start = ">>BRISOLE2[info] : GETFEATURE_SURF: blockCount:";
  const std::string end = ",hessianDet:" + std::to_string(threshold) + "\n\n";
  EXPECT_THAT(texts, testing::ElementsAre(
                         testing::AllOf(testing::StartsWith(start), testing::EndsWith(end))));
  return {threshold, ratio, texts.empty() ? -1 : std::atoi(texts[0].c_str() + start.size())};
}

Decision decide(const Picture& picture, float threshold = 280.0f, float ratio = 0.45f) {
  Integral integral(picture);
  return decide(integral.record, threshold, ratio);
}

/// The one row of blocks of a picture 64 rows high, with the given sums over 31 rows and 32 columns
/// of samples that differ by one at most.
Picture rowOfBlocks(const std::vector<int32_t>& sums) {
  constexpr int32_t kSamples = 31 * 32;
  Picture picture(static_cast<int32_t>(sums.size()) * 32 + 1, 64, 100);
  for (std::size_t block = 0; block < sums.size(); ++block) {
    for (int32_t i = 0; i < kSamples; ++i) {
      picture.at(33 + i / 32, static_cast<int32_t>(block) * 32 + 1 + i % 32) =
          static_cast<uint8_t>((sums[block] + i) / kSamples);
    }
  }
  return picture;
}

TEST(GetImageLumaInfo, CountsDarkAndBrightBlocks) {
  constexpr int32_t kDark = 30719, kNotDark = 30720, kMiddle = 100000;
  constexpr int32_t kNotBright = 215040, kBright = 215041;
  const struct {
    std::vector<int32_t> blocks;
    Decision expected;
  } cases[] = {
      {{kMiddle, kMiddle, kMiddle}, {280, 0.45f, 0}},
      {{kDark, kMiddle, kMiddle}, {280, 0.45f, 1}},  // one third is not more than a third
      {{kDark, kDark, kMiddle}, {50, 0.4f, 2}},
      {{kNotDark, kNotDark, kNotDark}, {280, 0.45f, 0}},
      {{kBright, kMiddle, kMiddle}, {150, 0.4f, 1}},            // 3 / 4 is 0
      {{kBright, kMiddle, kMiddle, kMiddle}, {280, 0.45f, 1}},  // not more than a quarter
      {{kBright, kBright, kMiddle, kMiddle}, {150, 0.4f, 2}},
      {{kNotBright, kNotBright, kMiddle, kMiddle}, {280, 0.45f, 0}},
      {{kDark, kDark, kBright, kBright, kBright}, {50, 0.4f, 3}},  // dark goes first
  };
  for (const auto& c : cases)
    EXPECT_EQ(decide(rowOfBlocks(c.blocks)), c.expected) << testing::PrintToString(c.blocks);
}

TEST(GetImageLumaInfo, EqualsPlainSumsOfPixels) {
  Random random(7);
  for (int32_t round = 0; round < 60; ++round) {
    // Widths whose last block ends inside the row.
    int32_t width = static_cast<int32_t>(random.range(1, 200));
    if (width % 32 == 0 || width % 32 == 31) width += 2;
    Picture picture(width, static_cast<int32_t>(random.range(1, 260)));
    const int32_t base = static_cast<int32_t>(random.range(0, 240));
    for (int32_t y = 0; y < picture.height; ++y) {
      for (int32_t x = 0; x < picture.width; ++x) {
        const int32_t value = base + (x / 16 + y / 16) % 3 * 20 - 20;
        picture.at(y, x) = static_cast<uint8_t>(std::clamp(value, 0, 255));
      }
    }
    int32_t dark = 0, bright = 0, all = 0;
    for (int32_t i = 0; i < picture.height / 64; ++i) {
      for (int32_t j = 0; j < (width + 1) / 32; ++j) {
        const int32_t top = (picture.height + 1) / 2 + 1 + 32 * i;
        const int64_t sum = picture.box(top, top + 31, 1 + 32 * j, 33 + 32 * j);
        dark += sum < 30720;
        bright += sum > 215040;
        ++all;
      }
    }
    const int64_t mean =
        picture.box(0, picture.height, 0, width) / ((int64_t{width} + 1) * (picture.height + 1));
    Decision expected = {280, 0.45f, std::max(dark, bright)};
    if (dark > all / 3) {
      expected = {50, 0.4f, expected.blocks};
    } else if (mean > 200 || bright > all / 4) {
      expected = {150, 0.4f, expected.blocks};
    }
    EXPECT_EQ(decide(picture), expected) << width << " x " << picture.height << ", base " << base;
  }
}

TEST(GetImageLumaInfo, DecidesByTheMeanWhereThereAreNoBlocks) {
  EXPECT_EQ(decide(Picture(63, 63, 0)), (Decision{280, 0.45f, 0}));  // 64 rows hold a block row
  // The mean divides by the entries of the table, not by the pixels, and has to exceed 200.
  for (const int32_t total : {803, 804}) {
    std::vector<int32_t> table = {0, 0, 0, total};
    tagIntegralMat im = {2, 2, table.data()};
    EXPECT_EQ(decide(im).threshold, total == 804 ? 150.0f : 280.0f) << total;
  }
}

TEST(GetImageLumaInfo, ReadsTheTableAsFlatMemory) {
  // Widths of 32 k and 32 k - 1: the right edge of the last block column lies in the next row, so
  // that its sums are about 0 or below whatever the picture shows, which counts as dark.
  for (const int32_t height : {64, 65, 66, 129}) {
    const int32_t rows = height / 64;
    for (const int32_t less : {0, 1}) {
      SCOPED_TRACE(testing::Message() << height << " rows, " << less);
      EXPECT_EQ(decide(Picture(32 - less, height, 255)), (Decision{50, 0.4f, rows}));
      EXPECT_EQ(decide(Picture(64 - less, height, 255)), (Decision{50, 0.4f, rows}));
      EXPECT_EQ(decide(Picture(96 - less, height, 255)), (Decision{150, 0.4f, 2 * rows}));
    }
  }
  // Tables of 64 k rows: the last of H / 64 block rows would end one row behind the table.
  for (const int32_t height : {127, 128, 191, 192})
    EXPECT_EQ(decide(Picture(33, height, 0)).blocks, height / 64) << height;
  // Width 31, 66 rows, block at row 34: its bottom right corner (65, 33) is entry (66, 1).
  Integral integral(Picture(31, 66, 0));
  integral.sums[66 * 32 + 1] = 215041;
  EXPECT_EQ(decide(integral.record), (Decision{150, 0.4f, 1}));
}

TEST(GetImageLumaInfo, KeepsAStricterRatioAndCarriesOver) {
  const Picture dark = rowOfBlocks({0}), normal = rowOfBlocks({100000}), bright(65, 64, 255);
  EXPECT_EQ(decide(dark, 280, 0.3f).ratio, 0.3f);
  EXPECT_EQ(decide(bright, 280, 0.39f).ratio, 0.39f);
  EXPECT_EQ(decide(bright, 280, 0.41f).ratio, 0.4f);
  // A normal picture after a dark one keeps the lowered threshold, a bright one replaces it.
  EXPECT_EQ(decide(normal, 50, 0.4f).threshold, 50);
  EXPECT_EQ(decide(bright, 50, 0.4f).threshold, 150);
}

TEST(StatHistogram, CountsEveryStepThSample) {
  Random random(8);
  std::vector<uint8_t> plane = random.bytes(60);  // 6 rows of 8 samples, 10 apart
  for (const auto& [xStep, yStep] : {std::pair{1, 1}, {2, 1}, {4, 2}, {7, 5}, {3, INT32_MAX}}) {
    std::vector<uint32_t> hist(256, 7), expected(256, 7);  // not cleared
    for (int64_t y = 0; y < 6; y += yStep) {
      for (int64_t x = 0; x < 8; x += xStep)
        ++expected[plane[static_cast<std::size_t>(y * 10 + x)]];
    }
    StatHistogram(plane.data(), 8, 6, 10, hist.data(), xStep, yStep);
    EXPECT_EQ(hist, expected) << xStep << ", " << yStep;
    // Nothing without a size or a step.
    for (const auto& [width, height, step] :
         {std::array{0, 6, 1}, {8, -3, 1}, {8, 6, 0}, {8, 6, -1}})
      StatHistogram(plane.data(), width, height, 10, hist.data(), step, step);
    EXPECT_EQ(hist, expected);
  }
}

}  // namespace
}  // namespace velmora::test
