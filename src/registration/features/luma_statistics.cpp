// Luma statistics: block means that adapt the detector, and the histogram of a plane.
#include <algorithm>
#include <cstddef>

#include "velmora_sr/features.h"
#include "velmora_sr/logging.h"

namespace {

constexpr const char* kSource = "src/registration/source/surfdetect";

constexpr int32_t kBlockStep = 32;
// The blocks lie 32 rows apart but sum 31 rows: the thresholds below are tuned for this.
constexpr int32_t kBlockRows = 31;
constexpr int32_t kDarkSum = 30720;     // 30 * 32 * 32
constexpr int32_t kBrightSum = 215040;  // 210 * 32 * 32

constexpr float kDarkThreshold = 50.0f;
constexpr float kBrightThreshold = 150.0f;
constexpr float kStrictRatio = 0.4f;
constexpr int64_t kBrightMean = 200;

struct BlockCounts {
  int32_t dark = 0;
  int32_t bright = 0;
  int32_t all = 0;
};

/// Sum of the block whose top-left entry is (row, column). The table is addressed as flat memory,
/// row after row: the last block of pictures whose width is 32 k - 1 or 32 k reaches one or two
/// entries beyond its row, that is, into the next one, and zeros stand behind the last row.
int32_t blockSum(const tagIntegralMat& im, int32_t row, int32_t column) {
  const int64_t entries = int64_t{im.width} * im.height;
  const auto at = [&](int64_t y, int64_t x) {
    const int64_t index = y * im.width + x;
    return index < entries ? static_cast<uint32_t>(im.data[index]) : 0u;
  };
  return static_cast<int32_t>(at(row + kBlockRows, column + kBlockStep) + at(row, column) -
                              at(row, column + kBlockStep) - at(row + kBlockRows, column));
}

/// Classifies the blocks of the lower half of the picture.
BlockCounts countBlocks(const tagIntegralMat& im) {
  BlockCounts counts;
  const int32_t columns = im.width / kBlockStep;
  const int32_t rows = (im.height - 1) / kBlockStep / 2;  // the last one still ends in the table
  for (int32_t i = 0; i < rows; ++i) {
    for (int32_t j = 0; j < columns; ++j) {
      const int32_t sum = blockSum(im, im.height / 2 + 1 + i * kBlockStep, 1 + j * kBlockStep);
      if (sum < kDarkSum) ++counts.dark;
      if (sum > kBrightSum) ++counts.bright;
    }
  }
  counts.all = rows * columns;
  return counts;
}

int64_t mean(const tagIntegralMat& im) {
  const int64_t entries = int64_t{im.width} * im.height;
  return im.data[entries - 1] / entries;
}

}  // namespace

void GetImageLumaInfo(tagIntegralMat* im, float* hessianThreshold, float* matchRatio) {
  if (im->data == nullptr || im->width < 1 || im->height < 1) return;
  const BlockCounts blocks = countBlocks(*im);
  const auto adapt = [&](float threshold) {
    *hessianThreshold = threshold;
    *matchRatio = std::min(*matchRatio, kStrictRatio);
  };
  if (blocks.dark > blocks.all / 3) {
    adapt(kDarkThreshold);
  } else if (mean(*im) > kBrightMean || blocks.bright > blocks.all / 4) {
    adapt(kBrightThreshold);
  }
  LogMsg(kSource, __LINE__, 2, "GETFEATURE_SURF: blockCount:%d,hessianDet:%lf\n",
         std::max(blocks.dark, blocks.bright), static_cast<double>(*hessianThreshold));
}

void StatHistogram(uint8_t* data, int32_t width, int32_t height, int32_t stride, uint32_t* hist,
                   int32_t xStep, int32_t yStep) {
  if (xStep < 1 || yStep < 1) return;
  for (int64_t y = 0; y < height; y += yStep) {
    const uint8_t* row = data + static_cast<std::ptrdiff_t>(y) * stride;
    for (int64_t x = 0; x < width; x += xStep)
      ++hist[row[x]];
  }
}
