#include <algorithm>

#include "burst/reconstruction/functions.h"
#include "burst/resampling/functions.h"
#include "kernels/trial.h"

namespace velmora::test {
namespace {

using namespace burst;
using Windows = ResamplingFunctions;
using Family = ReconstructionFunctions;

// Cells cut at both ends; nodes with the steepest slopes and close to both ends of the range.
void positions(decltype(Windows::positions) kernel, Trial& t) {
  const int32_t left = t.range(0, 40);
  const int32_t nodes = (left + t.count) / 8 + 2 + kSpareNodes;
  constexpr int32_t kSteepest = 1 << 23;
  int32_t* rows[2];
  for (auto& row : rows) {
    row = t.buffer<int32_t>(2 * nodes);
    for (int32_t i = 0; i < 2 * nodes; ++i) {
      const int64_t step =
          t.mode == 0 ? t.range(-200000, 200000) : (t.range(0, 1) == 0 ? -kSteepest : kSteepest);
      const int64_t from = i < 2 ? t.range(-(int64_t{1} << 20), INT32_MAX) : row[i - 2];
      row[i] = static_cast<int32_t>(std::clamp<int64_t>(from + step, -(1 << 20), INT32_MAX));
    }
  }
  auto* x = t.buffer<int32_t>(t.count);
  kernel({rows[0], rows[1], t.range(0, 7)}, left, left + t.count, x, t.buffer<int32_t>(t.count));
}

// Positions turned against the source, anywhere in it, or one after the other with the same taps,
// on a source without a sample to spare.
void windowSums(decltype(Windows::windowSums) kernel, Trial& t) {
  const int32_t width = 8 + t.count / 2;
  const int32_t height = 12;
  auto* x = t.buffer<int32_t>(t.count);
  auto* y = t.buffer<int32_t>(t.count);
  const int32_t run = t.range(20, 90);
  int32_t phase = t.range(0, 63);
  for (int32_t i = 0; i < t.count; ++i) {
    if (i % run == run - 1) phase = t.range(0, 63);
    const bool anywhere = t.round == 0;
    x[i] = anywhere ? t.range(64, 64 * (width - 2) - 1) : 64 + 32 * i + phase;
    y[i] = anywhere ? t.range(64, 64 * (height - 2) - 1) : 64 * 5 + (t.round == 1 ? phase : i % 64);
  }
  t.against = t.range(0, 1) == 0 ? Against::pageEnd : Against::pageBegin;
  const auto* source = t.filled<int16_t>(width * height, INT16_MIN, INT16_MAX);
  const auto* taps = t.filled<int16_t>(16 * 64 * 64, -2047, 2047);
  kernel({source, width, x, y, taps, t.range(0, 1) == 0 ? 12 : 14}, t.count,
         t.buffer<int16_t>(t.count));
}

void blendWeights(decltype(Family::blendWeights) kernel, Trial& t) {
  const auto* upper = t.filled<uint8_t>(t.count, 0, 255);
  const auto* lower = t.filled<uint8_t>(t.count, 0, 255);
  kernel(upper, lower, t.range(0, 16), t.count, t.buffer<int16_t>(t.count));
}

void sampleWeights(decltype(Family::sampleWeights) kernel, Trial& t) {
  const auto* blended = t.filled<int16_t>(2 * t.count + 2 + kSpareWeights, 0, 255 * 16);
  auto* columns = t.buffer<int32_t>(t.count);
  auto* taps = t.buffer<int16_t>(2 * t.count);
  for (int32_t i = 0; i < t.count; ++i) {
    columns[i] = i == 0 ? 0 : columns[i - 1] + t.range(0, 1 + t.round);
    taps[2 * i] = static_cast<int16_t>(t.range(0, 16));
    taps[2 * i + 1] = static_cast<int16_t>(16 - taps[2 * i]);
  }
  kernel(blended, columns, taps, t.count, t.buffer<uint8_t>(t.count));
}

void lookUpSums(decltype(Family::lookUpSums) kernel, Trial& t) {
  const auto* sums = t.filled<int32_t>(64 * 64, 0, INT16_MAX);
  const auto* x = t.filled<int32_t>(t.count, -100000, 8000000);
  const auto* y = t.filled<int32_t>(t.count, -100000, 8000000);
  kernel(sums, x, y, t.count, t.buffer<int16_t>(t.count));
}

void shareRow(decltype(Family::shareRow) kernel, Trial& t) {
  constexpr int32_t kLowest = 3400;
  constexpr int32_t kHighest = 4900;
  const int32_t others = t.round % 8;
  const uint8_t* weights[7];
  const int16_t* spreads[8];
  int16_t* shares[8];
  int16_t* corrections[8];
  for (int32_t k = 0; k < others; ++k)
    weights[k] = t.filled<uint8_t>(t.count, 0, 255);
  for (int32_t k = 0; k <= others; ++k) {
    spreads[k] = t.filled<int16_t>(t.count, kLowest, kHighest);
    shares[k] = t.filled<int16_t>(t.count, 0, 0);
    corrections[k] = t.filled<int16_t>(t.count, 0, 0);
  }
  auto* reciprocals = t.buffer<uint16_t>(255 * 7 + 2);
  for (int32_t i = 0; i < 255 * 7 + 2; ++i)
    reciprocals[i] = static_cast<uint16_t>(((1 << 22) + 254 + i) / (255 + i));
  const auto* steps = t.filled<uint16_t>(kHighest - kLowest + 2, 0, 38000);
  kernel({others, weights, reciprocals, spreads, steps, kLowest, shares,
          t.range(0, 3) == 0 ? nullptr : corrections, t.buffer<uint8_t>(t.count)},
         t.count);
}

void addProducts(decltype(Family::addProducts) kernel, Trial& t) {
  const int32_t terms = 1 + t.round % 8;
  const int16_t* samples[8];
  const int16_t* factors[8];
  for (int32_t k = 0; k < terms; ++k) {
    samples[k] = t.filled<int16_t>(t.count, INT16_MIN, INT16_MAX);
    factors[k] = t.filled<int16_t>(t.count, -INT16_MAX / terms, INT16_MAX / terms);
  }
  auto* out = t.filled<int16_t>(t.count, INT16_MIN, INT16_MAX);
  kernel({terms, samples, factors, t.range(1, 15)}, t.count, t.range(0, 1) == 0 ? nullptr : out,
         out);
}

void limitPositions(decltype(Family::limitPositions) kernel, Trial& t) {
  auto* x = t.filled<int32_t>(t.count, -5, 60);
  auto* y = t.filled<int32_t>(t.count, -5, 60);
  kernel({0, 3, 50, 55}, t.count, x, y, t.buffer<int16_t>(t.count));
}

void residualRow(decltype(Family::residualRow) kernel, Trial& t) {
  constexpr int32_t kAmounts[] = {0, 154, -614, 1024, -1024};
  const auto* samples = t.filled<int16_t>(t.count, INT16_MIN, INT16_MAX);
  const int16_t* means[3];
  for (auto& row : means)
    row = t.filled<int16_t>(t.count + 2, INT16_MIN, INT16_MAX) + 1;
  const auto* inside = t.filled<int16_t>(t.count, -1, 0);
  kernel({samples, {means[0], means[1], means[2]}, kAmounts[t.round % 5], inside}, t.count,
         t.buffer<int16_t>(t.count));
}

void roundRow(decltype(Family::roundRow) kernel, Trial& t) {
  const int32_t limit = t.round == 0 ? INT16_MAX : 8200;
  const auto* samples = t.filled<int16_t>(t.count, -limit, limit);
  kernel(samples, t.count, t.buffer<uint8_t>(t.count));
}

const Entry kWindowEntries[] = {
    entry<Windows>("positions", 2, resamplingFunctions, &Windows::positions, positions),
    entry<Windows>("windowSums", 3, resamplingFunctions, &Windows::windowSums, windowSums),
};
static_assert(std::size(kWindowEntries) * sizeof(void (*)()) == sizeof(Windows));

constexpr const Family& (*kFamily)(CpuSet) = reconstructionFunctions;
const Entry kEntries[] = {
    entry("blendWeights", 1, kFamily, &Family::blendWeights, blendWeights),
    entry("sampleWeights", 2, kFamily, &Family::sampleWeights, sampleWeights),
    entry("lookUpSums", 1, kFamily, &Family::lookUpSums, lookUpSums),
    entry("shareRow", 8, kFamily, &Family::shareRow, shareRow),
    entry("addProducts", 8, kFamily, &Family::addProducts, addProducts),
    entry("limitPositions", 1, kFamily, &Family::limitPositions, limitPositions),
    entry("residualRow", 5, kFamily, &Family::residualRow, residualRow),
    entry("roundRow", 2, kFamily, &Family::roundRow, roundRow),
};
static_assert(std::size(kEntries) * sizeof(void (*)()) == sizeof(Family));

const auto kName = [](const auto& entry) { return std::string(entry.param.name); };
INSTANTIATE_TEST_SUITE_P(BurstResampling, KernelVariants, testing::ValuesIn(kWindowEntries), kName);
INSTANTIATE_TEST_SUITE_P(BurstReconstruction, KernelVariants, testing::ValuesIn(kEntries), kName);

}  // namespace
}  // namespace velmora::test
