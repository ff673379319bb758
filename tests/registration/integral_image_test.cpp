#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"
#include "registration/synthetic_scene.h"
#include "support/page_buffer.h"
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

TEST(BoxDownscale, RoundsTheMeansOfWholeBlocksHalfUp) {
  Frame frame(11, 9, 255);  // the last three columns and the last row belong to no block
  for (int32_t row = 0; row < 2; ++row) {
    for (int32_t column = 0; column < 2; ++column)
      frame.paint(4 * column, 4 * row, 4, static_cast<uint8_t>(60 * row + 30 * column));
  }
  frame.at(3, 0) = 7;   // 7 / 16 rounds down,
  frame.at(0, 7) += 8;  // 8 / 16 up
  const auto reduced = [](Frame picture) {
    const auto count = static_cast<std::size_t>(picture.width / 4 * (picture.height / 4));
    PageBuffer<uint8_t> out(count);
    DownScaleNewX16_neon_surf_asm(picture.data.data(), picture.height, picture.width, out.data());
    return std::vector<uint8_t>(out.data(), out.data() + count);
  };
  EXPECT_EQ(reduced(frame), (std::vector<uint8_t>{0, 31, 60, 90}));
  EXPECT_EQ(reduced(Frame(4, 7, 50)), std::vector<uint8_t>{50});
  EXPECT_EQ(reduced(Frame(3, 8)).size(), 0u);
}

struct Decision {
  float threshold;
  float ratio;
  int32_t blocks;  // as logged: the larger of the dark and the bright count
  bool operator==(const Decision&) const = default;
};

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

Decision decide(const Frame& frame, float threshold = 280.0f, float ratio = 0.45f) {
  Integral integral(frame);
  return decide(integral.record, threshold, ratio);
}

/// Rows of blocks, with the given sums over 31 rows and 32 columns of samples that differ by one at
/// most. They fill the lower half of the picture.
Frame blocks(const std::vector<int32_t>& sums, int32_t rows = 1) {
  constexpr int32_t kSamples = 31 * 32;
  const auto columns = static_cast<int32_t>(sums.size()) / rows;
  Frame frame(columns * 32 + 1, rows * 64, 100);
  for (int32_t block = 0; block < columns * rows; ++block) {
    const int32_t top = 32 * (rows + block / columns) + 1, left = block % columns * 32 + 1;
    for (int32_t i = 0; i < kSamples; ++i)
      frame.at(top + i / 32, left + i % 32) = static_cast<uint8_t>((sums[block] + i) / kSamples);
  }
  return frame;
}

TEST(GetImageLumaInfo, CountsDarkAndBrightBlocks) {
  constexpr int32_t kDark = 30719, kNotDark = 30720, kMiddle = 100000;
  constexpr int32_t kNotBright = 215040, kBright = 215041;
  const struct {
    std::vector<int32_t> blocks;
    Decision expected;
    int32_t rows = 1;
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
      {{kMiddle, kDark, kDark, kMiddle, kMiddle, kDark}, {50, 0.4f, 3}, 3},
      {{kMiddle, kMiddle, kDark, kMiddle, kMiddle, kDark}, {280, 0.45f, 2}, 2},
      {{kBright, kMiddle, kMiddle, kBright, kMiddle, kNotBright}, {150, 0.4f, 2}, 2},
  };
  for (const auto& c : cases)
    EXPECT_EQ(decide(blocks(c.blocks, c.rows)), c.expected) << testing::PrintToString(c.blocks);
}

TEST(GetImageLumaInfo, DecidesByTheMeanWhereThereAreNoBlocks) {
  EXPECT_EQ(decide(Frame(63, 63, 0)), (Decision{280, 0.45f, 0}));  // 64 rows hold a block row
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
      EXPECT_EQ(decide(Frame(32 - less, height, 255)), (Decision{50, 0.4f, rows}));
      EXPECT_EQ(decide(Frame(64 - less, height, 255)), (Decision{50, 0.4f, rows}));
      EXPECT_EQ(decide(Frame(96 - less, height, 255)), (Decision{150, 0.4f, 2 * rows}));
    }
  }
  // Tables of 64 k rows: the last of H / 64 block rows would end one row behind the table.
  for (const int32_t height : {127, 128, 191, 192})
    EXPECT_EQ(decide(Frame(33, height, 0)).blocks, height / 64) << height;
  // Width 31, 66 rows, block at row 34: its bottom right corner (65, 33) is entry (66, 1).
  Integral integral(Frame(31, 66, 0));
  integral.sums[66 * 32 + 1] = 215041;
  EXPECT_EQ(decide(integral.record), (Decision{150, 0.4f, 1}));
}

TEST(GetImageLumaInfo, KeepsAStricterRatio) {
  const Frame bright(65, 64, 255);
  EXPECT_EQ(decide(blocks({0}), 280, 0.3f).ratio, 0.3f);
  EXPECT_EQ(decide(bright, 280, 0.39f).ratio, 0.39f);
  EXPECT_EQ(decide(bright, 280, 0.41f).ratio, 0.4f);
}

TEST(StatHistogram, CountsEveryStepThSample) {
  std::vector<uint8_t> plane(60);  // 6 rows of 8 samples, 10 apart
  std::iota(plane.begin(), plane.end(), uint8_t{0});
  std::vector<uint32_t> hist(256, 7), expected = hist;  // not cleared
  for (const int sample : {0, 4, 20, 24, 40, 44, 0, 7, 50, 57, 0, 3, 6})
    ++expected[sample];
  StatHistogram(plane.data(), 8, 6, 10, hist.data(), 4, 2);
  StatHistogram(plane.data(), 8, 6, 10, hist.data(), 7, 5);
  StatHistogram(plane.data(), 8, 6, 10, hist.data(), 3, INT32_MAX);
  for (const auto& [width, height, step] :  // nothing without a size or a step
       {std::array{0, 6, 1}, {8, -3, 1}, {8, 6, 0}, {8, 6, -1}})
    StatHistogram(plane.data(), width, height, 10, hist.data(), step, step);
  EXPECT_EQ(hist, expected);
}

}  // namespace
}  // namespace velmora::test
