#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "registration/feature_support.h"
#include "support/log_capture.h"
#include "velmora_sr/logging.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using velmora::test::Integral;
using velmora::test::LogCapture;
using velmora::test::noise;
using velmora::test::Picture;
using velmora::test::Random;

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
  EXPECT_EQ(texts.size(), 1u);
  int blocks = -1;
  double logged = 0;
  if (!texts.empty()) {
    const std::size_t at = texts[0].find("GETFEATURE_SURF: blockCount:");
    EXPECT_NE(at, std::string::npos) << texts[0];
    EXPECT_EQ(std::sscanf(texts[0].c_str() + at, "GETFEATURE_SURF: blockCount:%d,hessianDet:%lf",
                          &blocks, &logged),
              2);
  }
  EXPECT_EQ(logged, threshold);
  return {threshold, ratio, blocks};
}

Decision decide(const Picture& picture, float threshold = 280.0f, float ratio = 0.45f) {
  Integral integral(picture);
  return decide(integral.record, threshold, ratio);
}

/// The one row of blocks of a picture 64 rows high: rows 33 to 63, columns 1 to 32, 33 to 64, ...
Picture rowOfBlocks(const std::vector<uint8_t>& values) {
  Picture picture(static_cast<int32_t>(values.size()) * 32 + 1, 64, 100);
  for (int32_t y = 33; y < 64; ++y) {
    for (std::size_t i = 0; i < values.size(); ++i)
      std::fill_n(&picture.at(y, static_cast<int32_t>(i) * 32 + 1), 32, values[i]);
  }
  return picture;
}

TEST(GetImageLumaInfo, CountsDarkAndBrightBlocks) {
  // A block sums 31 rows of 32 samples: dark below 30720, bright above 215040.
  constexpr uint8_t kDark = 30, kJustNotDark = 31, kJustNotBright = 216, kBright = 217;
  const struct {
    std::vector<uint8_t> blocks;
    Decision expected;
  } cases[] = {
      {{100, 100, 100}, {280, 0.45f, 0}},
      {{kDark, 100, 100}, {280, 0.45f, 1}},  // one third is not more than a third
      {{kDark, kDark, 100}, {50, 0.4f, 2}},
      {{kJustNotDark, kJustNotDark, kJustNotDark}, {280, 0.45f, 0}},
      {{kDark}, {50, 0.4f, 1}},
      {{kBright, 100, 100}, {150, 0.4f, 1}},             // 3 / 4 is 0
      {{kBright, 100, 100, 100}, {280, 0.45f, 1}},       // one quarter is not more than a quarter
      {{kBright, 100, 100, 100, 100}, {280, 0.45f, 1}},  // 5 / 4 is 1
      {{kBright, kBright, 100, 100}, {150, 0.4f, 2}},
      {{kJustNotBright, kJustNotBright, 100, 100}, {280, 0.45f, 0}},
      {{kDark, kDark, kBright, kBright, kBright}, {50, 0.4f, 3}},  // dark goes first
  };
  for (const auto& c : cases) {
    EXPECT_EQ(decide(rowOfBlocks(c.blocks)), c.expected) << testing::PrintToString(c.blocks);
  }
}

TEST(GetImageLumaInfo, LooksAtThirtyOneRowsOfTheLowerHalf) {
  // A dark block turns bright outside its 31 rows and 32 columns only: still dark.
  Picture picture = rowOfBlocks({30, 30});
  for (int32_t x = 0; x < picture.width; ++x) {
    for (int32_t y = 0; y < 33; ++y)
      picture.at(y, x) = 180;
  }
  for (int32_t y = 0; y < 64; ++y)
    picture.at(y, 0) = 255;
  EXPECT_EQ(decide(picture), (Decision{50, 0.4f, 2}));
  // One more unit in one sample of each of the 31 rows and the block is no longer dark.
  for (int32_t y = 33; y < 64; ++y) {
    for (int32_t i = 0; i < 31; ++i)
      picture.at(y, 1 + i) = 31;
  }
  EXPECT_EQ(decide(picture).blocks, 1);
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
    const int32_t blockRows = picture.height / 32 / 2;
    for (int32_t i = 0; i < blockRows; ++i) {
      for (int32_t j = 0; j < (width + 1) / 32; ++j) {
        const int32_t top = (picture.height + 1) / 2 + 1 + 32 * i;
        ASSERT_LE(top + 31, picture.height);
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
  // 63 rows hold no block row. The mean divides by the entries of the table, not by the pixels.
  EXPECT_EQ(decide(Picture(63, 63, 206)), (Decision{280, 0.45f, 0}));  // 199
  EXPECT_EQ(decide(Picture(63, 63, 208)), (Decision{150, 0.4f, 0}));   // 201
  EXPECT_EQ(decide(Picture(63, 63, 0)), (Decision{280, 0.45f, 0}));
  // 64 rows hold one.
  EXPECT_EQ(decide(Picture(65, 64, 0)), (Decision{50, 0.4f, 2}));
  // Exactly 200 is not above 200.
  for (const int32_t total : {803, 804}) {
    std::vector<int32_t> table = {0, 0, 0, total};
    tagIntegralMat im = {2, 2, table.data()};
    EXPECT_EQ(decide(im).threshold, total == 804 ? 150.0f : 280.0f) << total;
  }
}

TEST(GetImageLumaInfo, EndsBlockRowsInsideTheTable) {
  // Tables of 64 k rows: the last of H / 64 block rows would end one row behind the table.
  for (const int32_t height : {63, 127, 191}) {
    EXPECT_EQ(decide(Picture(33, height, 0)).blocks, height / 64) << height;
  }
  for (const int32_t height : {64, 128, 192}) {
    EXPECT_EQ(decide(Picture(33, height, 0)).blocks, height / 64) << height;
  }
}

TEST(GetImageLumaInfo, ReadsTheTableAsFlatMemory) {
  // Widths of 32 k and 32 k - 1: the right edge of the last block column lies in the next row, so
  // that its sums are about 0 or below whatever the picture shows, which counts as dark.
  for (const int32_t height : {64, 65, 66, 129}) {
    const int32_t rows = height / 64;
    for (const int32_t width : {31, 32}) {
      EXPECT_EQ(decide(Picture(width, height, 255)), (Decision{50, 0.4f, rows}))
          << width << " x " << height;
    }
    for (const int32_t width : {63, 64}) {
      EXPECT_EQ(decide(Picture(width, height, 255)), (Decision{50, 0.4f, rows}))
          << width << " x " << height;
    }
    for (const int32_t width : {95, 96}) {
      EXPECT_EQ(decide(Picture(width, height, 255)), (Decision{150, 0.4f, 2 * rows}))
          << width << " x " << height;
    }
  }
  // Width 31, 66 rows, block at row 34: its bottom right corner (65, 33) is entry (66, 1).
  Integral integral(Picture(31, 66, 0));
  integral.sums[66 * 32 + 1] = 215041;
  EXPECT_EQ(decide(integral.record), (Decision{150, 0.4f, 1}));
  integral.sums[66 * 32 + 1] = 215040;
  EXPECT_EQ(decide(integral.record), (Decision{280, 0.45f, 0}));
}

TEST(GetImageLumaInfo, KeepsAStricterRatioAndCarriesOver) {
  EXPECT_EQ(decide(rowOfBlocks({0}), 280, 0.3f).ratio, 0.3f);
  EXPECT_EQ(decide(rowOfBlocks({255}), 280, 0.39f).ratio, 0.39f);
  EXPECT_EQ(decide(rowOfBlocks({255}), 280, 0.41f).ratio, 0.4f);
  // A normal picture after a dark one keeps the lowered threshold, a bright one replaces it.
  EXPECT_EQ(decide(rowOfBlocks({100}), 50, 0.4f), (Decision{50, 0.4f, 0}));
  EXPECT_EQ(decide(rowOfBlocks({255}), 50, 0.4f), (Decision{150, 0.4f, 1}));
}

TEST(GetImageLumaInfo, LogsAtTheInformationLevel) {
  InitLogParams(nullptr, 2);
  LogCapture log;
  Integral integral(rowOfBlocks({0, 0}));
  float threshold = 280, ratio = 1;
  GetImageLumaInfo(&integral.record, &threshold, &ratio);
  EXPECT_THAT(log.takeTexts(), ElementsAre(">>BRISOLE2[info] : GETFEATURE_SURF: "
                                           "blockCount:2,hessianDet:50.000000\n\n"));
}

TEST(StatHistogram, CountsEveryStepThSample) {
  // Stride 6, of which 5 samples count.
  std::vector<uint8_t> plane = {1, 2, 3, 4, 5,   99,  //
                                6, 7, 8, 9, 1,   99,  //
                                1, 1, 3, 3, 255, 99};
  const struct {
    int32_t xStep, yStep;
    std::vector<uint8_t> counted;
  } cases[] = {
      {1, 1, {1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 1, 1, 3, 3, 255}},
      {2, 1, {1, 3, 5, 6, 8, 1, 1, 3, 255}},
      {2, 2, {1, 3, 5, 1, 3, 255}},
      {4, 2, {1, 5, 1, 255}},
      {5, 3, {1}},
      {0x7FFFFFFF, 0x7FFFFFFF, {1}},
      {0, 1, {}},
      {1, 0, {}},
      {-1, 1, {}},
  };
  for (const auto& c : cases) {
    std::vector<uint32_t> hist(256, 7);  // not cleared
    StatHistogram(plane.data(), 5, 3, 6, hist.data(), c.xStep, c.yStep);
    std::vector<uint32_t> expected(256, 7);
    for (const uint8_t value : c.counted)
      ++expected[value];
    EXPECT_EQ(hist, expected) << c.xStep << ", " << c.yStep;
  }
}

TEST(StatHistogram, CountsNothingInAnEmptyPlane) {
  std::vector<uint32_t> hist(256, 0);
  StatHistogram(nullptr, 0, 3, 0, hist.data(), 1, 1);
  StatHistogram(nullptr, 3, 0, 3, hist.data(), 1, 1);
  StatHistogram(nullptr, -3, -3, 3, hist.data(), 1, 1);
  EXPECT_THAT(hist, testing::Each(0u));
}

}  // namespace
