#include <algorithm>
#include <bit>

#include "burst/alignment/functions.h"
#include "kernels/trial.h"

namespace velmora::test {
namespace {

using burst::kNoColumn;
using burst::kPixelGroup;
using Family = burst::AlignmentFunctions;

/// Rows of one plane, `pitch` apart.
template <typename T>
struct Rows {
  Rows(Trial& t, int32_t width, int64_t highest) {
    for (const T*& row : rows)
      row = t.filled<T>(width, 0, highest);
  }
  const T* rows[4];
};

void halveBytes(decltype(Family::halveBytes) kernel, Trial& t) {
  const Rows<uint8_t> from(t, 2 * t.count, t.round == 0 ? 255 : 3);
  kernel(from.rows[0], from.rows[1], t.buffer<int16_t>(t.count), t.buffer<uint8_t>(t.count),
         t.count);
}

void halve(decltype(Family::halve) kernel, Trial& t) {
  const Rows<int16_t> from(t, 2 * t.count, 8160);
  const Rows<uint8_t> masked(t, 2 * t.count, 1);
  kernel(from.rows, masked.rows, t.buffer<int16_t>(t.count), t.buffer<uint8_t>(t.count), t.count);
}

void smooth(decltype(Family::smooth) kernel, Trial& t) {
  const Rows<int16_t> from(t, t.count, 8160);
  kernel(from.rows, t.buffer<int16_t>(t.count), t.count);
}

void smoothBytes(decltype(Family::smoothBytes) kernel, Trial& t) {
  const Rows<uint8_t> from(t, t.count, 255);
  kernel(from.rows, t.buffer<int16_t>(t.count), t.count);
}

// Few marks, so that their neighbourhoods can be told apart.
void widenMask(decltype(Family::widenMask) kernel, Trial& t) {
  uint8_t* rows[4];
  for (uint8_t*& row : rows) {
    row = t.filled<uint8_t>(t.count, 0, t.mode == 0 ? 0 : 1);
    if (t.count > 0) row[t.range(0, t.count - 1)] = 1;
  }
  const uint8_t* const from[] = {rows[0], rows[1], rows[2], rows[3]};
  kernel(from, t.buffer<uint8_t>(t.count), t.count);
}

void countSteep(decltype(Family::countSteep) kernel, Trial& t) {
  const Rows<int16_t> from(t, t.count, t.round == 0 ? 8160 : 5);
  const auto* masked = t.filled<uint8_t>(t.count, 0, 3);
  t.result = kernel(from.rows, masked, t.count, t.range(0, t.round == 0 ? 16320 : 6));
}

void takeSteep(decltype(Family::takeSteep) kernel, Trial& t) {
  const Rows<int16_t> from(t, t.count, t.round == 0 ? 8160 : 5);
  const auto* masked = t.filled<uint8_t>(t.count, 0, 3);
  const int32_t threshold = t.range(0, t.round == 0 ? 16320 : 6);
  const burst::PixelArrays to = {t.buffer<uint16_t>(t.count), t.buffer<int16_t>(t.count),
                                 t.buffer<int16_t>(t.count), t.buffer<int16_t>(t.count)};
  kernel(from.rows, masked, t.count, threshold, to);
}

/// Pixels of a row of `width` columns: some, filled up to whole groups.
burst::PixelRow pixels(Trial& t, int32_t width) {
  const int32_t count = (t.count + kPixelGroup - 1) / kPixelGroup * kPixelGroup;
  const int mode = t.mode;
  t.mode = 0;
  auto* columns = t.filled<uint16_t>(count, 0, width - 1);
  std::fill(columns + t.count, columns + count, kNoColumn);
  t.mode = mode;
  return {columns,
          t.filled<int16_t>(count, 0, 8160),
          t.filled<int16_t>(count, -8160, 8160),
          t.filled<int16_t>(count, -8160, 8160),
          count,
          static_cast<float>((width - 1) / 2.0),
          static_cast<float>(2.0 / width)};
}

// A frame of 61 x 37 samples seen from near, from far, under perspective that divides by zero, by
// any bits at all.
void residuals(decltype(Family::residuals) kernel, Trial& t) {
  const burst::PixelRow row = pixels(t, 80);
  constexpr int32_t kWidth = 61;
  constexpr int32_t kHeight = 37;
  burst::WarpedRow warp = {};
  warp.pitch = kWidth + 32;
  warp.maskedPitch = kWidth + 67;
  warp.width = kWidth;
  warp.height = kHeight;
  warp.y = t.range(0, kHeight);
  warp.samples = t.filled<int16_t>(kHeight * warp.pitch, 0, 8160);
  auto* masked = t.filled<uint8_t>(kHeight * warp.maskedPitch, 0, 3);
  warp.masked = t.round % 2 == 0 ? masked : nullptr;
  const float reach = t.round < 4 ? 9.0f : 1e6f;
  float* const terms[] = {&warp.x0, &warp.x1, &warp.x2, &warp.y0, &warp.y1, &warp.w0, &warp.w1};
  for (float* term : terms) {
    *term = reach * static_cast<float>(2 * t.random.unit() - 1);
    if (t.round >= 6) *term = std::bit_cast<float>(static_cast<uint32_t>(t.random.next()));
  }
  if (t.round < 5) {
    warp.w0 = 1;
    warp.w1 = t.round < 3 ? 0.1f : 1.0f;  // of X = -1: zero
  }
  warp.gain = static_cast<float>(0.5 + t.random.unit());
  warp.bias = static_cast<float>(40 * t.random.unit() - 20);
  kernel(row, warp, t.buffer<float>(row.count), t.buffer<float>(row.count));
}

/// Residuals, some of which are none.
const float* someResiduals(Trial& t, int32_t count) {
  float* values = t.buffer<float>(count);
  for (int32_t i = 0; i < count; ++i) {
    values[i] = static_cast<float>(510 * t.random.unit() - 255);
    if (t.mode == 1 || (t.mode == 3 && t.range(0, 2) == 0)) values[i] = burst::kNoResidual;
  }
  return values;
}

void addUp(decltype(Family::addUp) kernel, Trial& t) {
  const burst::PixelRow row = pixels(t, 1000);
  const float* values = someResiduals(t, row.count);
  float* warped = t.buffer<float>(row.count);
  for (int32_t i = 0; i < row.count; ++i)
    warped[i] = static_cast<float>(300 * t.random.unit());
  const auto limit = static_cast<float>(0.5 + 100 * t.random.unit());
  kernel(row, values, warped, limit, t.round % 2 == 0, *t.buffer<burst::RowSums>(1));
}

void addCells(decltype(Family::addCells) kernel, Trial& t) {
  const burst::PixelRow row = pixels(t, 1000);
  const float* values = someResiduals(t, row.count);
  const int32_t width = t.round % 2 == 0 ? 8 : 16;
  auto* sums = t.buffer<burst::CellSums>(row.count / width);
  std::fill(sums, sums + row.count / width, burst::CellSums{1, 2, 3, 4, 5, 6, 7});
  kernel(row, values, width, sums);
}

constexpr const Family& (*kFamily)(CpuSet) = burst::alignmentFunctions;
const Entry kEntries[] = {
    entry("halveBytes", 2, kFamily, &Family::halveBytes, halveBytes),
    entry("halve", 1, kFamily, &Family::halve, halve),
    entry("smooth", 1, kFamily, &Family::smooth, smooth),
    entry("smoothBytes", 1, kFamily, &Family::smoothBytes, smoothBytes),
    entry("widenMask", 8, kFamily, &Family::widenMask, widenMask),
    entry("countSteep", 4, kFamily, &Family::countSteep, countSteep),
    entry("takeSteep", 4, kFamily, &Family::takeSteep, takeSteep),
    entry("residuals", 10, kFamily, &Family::residuals, residuals),
    entry("addUp", 2, kFamily, &Family::addUp, addUp),
    entry("addCells", 2, kFamily, &Family::addCells, addCells),
};
static_assert(std::size(kEntries) * sizeof(void (*)()) == sizeof(Family));

INSTANTIATE_TEST_SUITE_P(BurstAlignment, KernelVariants, testing::ValuesIn(kEntries),
                         [](const auto& entry) { return std::string(entry.param.name); });

}  // namespace
}  // namespace velmora::test
