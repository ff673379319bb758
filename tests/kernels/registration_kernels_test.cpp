#include <algorithm>
#include <bit>
#include <vector>

#include "kernels/trial.h"
#include "registration/functions.h"
#include "velmora_sr/features.h"

namespace velmora::test {
namespace {

using Family = RegistrationFunctions;

void reduceBox4(decltype(Family::reduceBox4) kernel, Trial& t) {
  const std::ptrdiff_t stride = 4 * t.count + t.range(0, 3);
  const auto* src = t.filled<uint8_t>(3 * stride + 4 * t.count, 0, 255);
  kernel(src, stride, t.buffer<uint8_t>(t.count), t.count);
}

void integrateRow(decltype(Family::integrateRow) kernel, Trial& t) {
  const auto* src = t.filled<uint8_t>(t.count, 0, 255);
  kernel(src, t.buffer<int32_t>(t.count + 1), t.count);
}

void addRow(decltype(Family::addRow) kernel, Trial& t) {
  const auto* above = t.filled<int32_t>(t.count, INT32_MIN, INT32_MAX);
  kernel(above, t.filled<int32_t>(t.count, INT32_MIN, INT32_MAX), t.count);
}

// Filters of octave 0 and, at step 2, of octave 1, over what pictures give: sums of samples, here
// of wild ones; and any values.
void hessianRow(decltype(Family::hessianRow) kernel, Trial& t) {
  constexpr HessianFilter kFilters[] = {
      {9, 1, 3, 2, 5, 0, 4, 4660, 3317},          {15, 1, 5, 3, 9, 1, 6, 517, 655},
      {21, 1, 7, 5, 11, 1, 9, 176, 129},          {27, 1, 9, 6, 15, 2, 11, 57, 58},
      {18, 2, 6, 4, 10, 2, 7, 291, 207},          {27, 1, 9, 6, 15, 2, 11, INT32_MAX, INT32_MAX},
      {9, 1, 3, 2, 5, 0, 4, -5, int64_t{1} << 40}};
  const HessianFilter& filter = kFilters[t.round];
  const int32_t count = std::max(t.count, 1);
  const std::ptrdiff_t width = (count - 1) * filter.step + filter.size + 1;
  const bool picture = t.mode < 2;
  const bool noise = t.mode == 0;
  if (t.mode == 2) t.mode = 0;
  auto* integral = t.filled<int32_t>(width * (filter.size + 1), INT32_MIN, INT32_MAX);
  for (std::ptrdiff_t y = 0; picture && y <= filter.size; ++y) {
    int32_t sum = 0;
    for (std::ptrdiff_t x = 0; x < width; ++x) {
      if (x > 0) sum += noise ? t.range(0, 255) : static_cast<int32_t>(255 * (x / 5 % 2));
      integral[y * width + x] = y == 0 ? 0 : integral[(y - 1) * width + x] + sum;
    }
  }
  kernel(integral, width, filter, t.buffer<int32_t>(count), count);
}

// Few values, so that there are ties, or many; some samples are lifted to be maxima.
void maximaInRow(decltype(Family::maximaInRow) kernel, Trial& t) {
  const std::ptrdiff_t stride = t.count + 2;
  const int32_t range = t.round % 4 == 0 ? 3 : 1000;
  t.mode = 0;
  int32_t* planes[3];
  for (auto& plane : planes)
    plane = t.filled<int32_t>(3 * stride, -range, range) + stride + 1;
  for (int32_t c = 0; c < t.count; c += t.range(1, 6))
    planes[1][c] += 2 * range;
  const int32_t threshold = t.range(-range, 2 * range);
  t.result = kernel(planes, stride, threshold, t.count, t.buffer<int32_t>((t.count + 1) / 2));
}

// One window of the largest spacing: it takes long to fill.
void reducePatch(decltype(Family::reducePatch) kernel, Trial& t) {
  constexpr int32_t kSpacings[] = {1, 2, 3, 4, 5, 7, 8, 15, 16, 17};
  const bool largest = t.count == 100 && t.mode == 0;
  const int32_t spacing = largest ? 256 : kSpacings[t.count % 10];
  const std::ptrdiff_t side = std::ptrdiff_t{spacing} * kPatchSide;
  const auto* window = t.filled<uint8_t>(side * side, 0, 255);
  auto* patch = t.buffer<uint8_t>(kPatchBufferSize);
  kernel(window, side, spacing, patch);
  std::fill(patch + kPatchSide * kPatchSide, patch + kPatchBufferSize, uint8_t{0});
}

void haarSums(decltype(Family::haarSums) kernel, Trial& t) {
  const auto* patch = t.filled<uint8_t>(kPatchBufferSize, 0, 255);
  kernel(patch, t.buffer<int32_t>(64));
}

/// Descriptors as they are (within 2^23) and as anything a caller may pass, picked at random.
struct Descriptors {
  Descriptors(Trial& t, int32_t count) {
    const int32_t limit = t.mode == 0 ? 1 << 23 : INT32_MAX;
    const auto* values = t.filled<int32_t>(std::ptrdiff_t{count} * VELMORA_SR_DESCRIPTOR_LENGTH,
                                           -int64_t{limit}, limit);
    for (int32_t i = 0; i < count; ++i) {
      rows.push_back(values + std::ptrdiff_t{VELMORA_SR_DESCRIPTOR_LENGTH} * i);
      indices.push_back(t.range(0, count - 1));
    }
  }
  std::vector<const int32_t*> rows;
  std::vector<int32_t> indices;
};

void descriptorDistance(decltype(Family::descriptorDistance) kernel, Trial& t) {
  const Descriptors two(t, 2);
  t.result = kernel(two.rows[0], two.rows[1]);
}

void descriptorSums(decltype(Family::descriptorSums) kernel, Trial& t) {
  const Descriptors d(t, std::max(t.count, 1));
  kernel(d.rows.data(), d.indices.data(), t.count, t.buffer<int32_t>(64));
}

void descriptorSpreads(decltype(Family::descriptorSpreads) kernel, Trial& t) {
  const Descriptors d(t, std::max(t.count, 1));
  t.mode = 0;
  const auto* means = t.filled<int32_t>(64, -(1 << 22), 1 << 22);
  kernel(d.rows.data(), d.indices.data(), t.count, means, t.buffer<int32_t>(64));
}

void firstSmallest(decltype(Family::firstSmallest) kernel, Trial& t) {
  const int32_t limit = t.round % 2 == 0 ? 2 : INT32_MAX;
  const int32_t count = std::max(t.count, 1);
  t.result = kernel(t.filled<int32_t>(count, -int64_t{limit}, limit), count);
}

// Homographies: a close view, a steep one whose rows cross the vanishing line (-1 / 64 makes the
// denominator zero at a whole column for y = 0), values that saturate, tiny ones, any bits.
void positionRow(decltype(Family::positionRow) kernel, Trial& t) {
  constexpr struct {
    double diagonal, spread, shift, last;
  } kViews[] = {
      {1, 0.1, 40, 1e-4}, {0, 100, 100, 0.01}, {0, 3e38, 3e38, 1e-3}, {0, 3e-38, 3e-38, 1e38}};
  auto* h = t.buffer<float>(9);
  for (int i = 0; i < 9; ++i) {
    const auto& view = kViews[std::min(t.round, 3)];
    const double spread = i >= 6 ? view.last : i == 2 || i == 5 ? view.shift : view.spread;
    const double centre = i == 0 || i == 4 ? view.diagonal : 0;
    h[i] = static_cast<float>(centre + spread * (2 * t.random.unit() - 1));
    if (t.round > 3) h[i] = std::bit_cast<float>(static_cast<uint32_t>(t.random.next()));
  }
  if (t.round == 1) h[6] = -1.0f / 64;
  constexpr int32_t kRows[] = {0, 1, 479, 1 << 24};
  auto* x = t.buffer<int32_t>(t.count);
  auto* y = t.buffer<int32_t>(t.count);
  kernel(h, kRows[t.mode], x, y, t.count);
}

constexpr const Family& (*kFamily)(CpuSet) = registrationFunctions;
const Entry kEntries[] = {
    entry("reduceBox4", 1, kFamily, &Family::reduceBox4, reduceBox4),
    entry("integrateRow", 1, kFamily, &Family::integrateRow, integrateRow),
    entry("addRow", 1, kFamily, &Family::addRow, addRow),
    entry("hessianRow", 7, kFamily, &Family::hessianRow, hessianRow),
    entry("maximaInRow", 10, kFamily, &Family::maximaInRow, maximaInRow),
    entry("reducePatch", 1, kFamily, &Family::reducePatch, reducePatch),
    entry("haarSums", 1, kFamily, &Family::haarSums, haarSums),
    entry("descriptorDistance", 1, kFamily, &Family::descriptorDistance, descriptorDistance),
    entry("descriptorSums", 1, kFamily, &Family::descriptorSums, descriptorSums),
    entry("descriptorSpreads", 1, kFamily, &Family::descriptorSpreads, descriptorSpreads),
    entry("firstSmallest", 10, kFamily, &Family::firstSmallest, firstSmallest),
    entry("positionRow", 24, kFamily, &Family::positionRow, positionRow),
};
static_assert(std::size(kEntries) * sizeof(void (*)()) == sizeof(Family));

INSTANTIATE_TEST_SUITE_P(Registration, KernelVariants, testing::ValuesIn(kEntries),
                         [](const auto& entry) { return std::string(entry.param.name); });

}  // namespace
}  // namespace velmora::test
