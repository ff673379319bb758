#include <algorithm>
#include <cmath>
#include <vector>

#include "interpolation/functions.h"
#include "kernels/trial.h"

namespace velmora::test {
namespace {

using Family = InterpolationFunctions;

void splitPairs(decltype(Family::splitPairs) kernel, Trial& t) {
  const auto* pairs = t.filled<uint8_t>(2 * t.count, 0, 255);
  auto* even = t.buffer<uint8_t>(t.count);
  auto* odd = t.buffer<uint8_t>(t.count);
  kernel(pairs, even, odd, t.count);
}

void mergePairs(decltype(Family::mergePairs) kernel, Trial& t) {
  const auto* even = t.filled<uint8_t>(t.count, 0, 255);
  const auto* odd = t.filled<uint8_t>(t.count, 0, 255);
  kernel(even, odd, t.buffer<uint8_t>(2 * t.count), t.count);
}

/// The columns whose four samples from first[j] on lie in a row of `width`.
struct Inside {
  int32_t begin, end;
};
Inside insideOf(const int32_t* first, int32_t count, int32_t width) {
  const auto inside = [width](int32_t column) { return column >= 0 && column + 4 <= width; };
  const int32_t* begin = std::find_if(first, first + count, inside);
  const int32_t* end = std::find_if_not(begin, first + count, inside);
  return {static_cast<int32_t>(begin - first), static_cast<int32_t>(end - first)};
}

/// Values from the first of `rows` rows to the last value of the last.
std::ptrdiff_t blockSize(int32_t rows, std::ptrdiff_t pitch, int32_t count) {
  return rows == 0 ? 0 : (rows - 1) * pitch + count;
}

// Rising and falling first taps, clamped columns at both ends; rows with gaps between them; all
// columns or a part of them.
void filterColumns(decltype(Family::filterColumns) kernel, Trial& t) {
  constexpr double kSteps[] = {0.0, 0.11, 0.5, 0.6667, 1.0, 1.4, 2.3, 9.0, -0.5, -1.0, -3.0};
  constexpr double kStarts[] = {1.0, -6.5, 40.0, 300.0};
  const double step = kSteps[t.round % 11];
  const double start = kStarts[t.random.index(4)];
  const auto span = static_cast<int32_t>(std::abs(step) * t.count * 0.95);
  const int32_t width = 4 + t.range(0, 6) + span;
  auto* first = t.buffer<int32_t>(t.count);
  for (int32_t j = 0; j < t.count; ++j)
    first[j] = std::clamp(static_cast<int32_t>(std::floor(start + step * j)), -4, width);
  const Inside inside = insideOf(first, t.count, width);
  const auto* taps = t.filled<int16_t>(4 * t.count, INT16_MIN, INT16_MAX);
  const ColumnPlan plan = {t.count, width, inside.begin, inside.end, first, taps};
  const int32_t rows = t.range(0, 9);
  const std::ptrdiff_t sourcePitch = width + t.range(0, 3);
  const std::ptrdiff_t outPitch = t.count + t.range(0, 3);
  const auto* source = t.filled<uint8_t>(blockSize(rows, sourcePitch, width), 0, 255);
  auto* out = t.buffer<int16_t>(blockSize(rows, outPitch, t.count));
  const bool part = t.range(0, 1) == 0;
  kernel({source, sourcePitch, out, outPitch, rows}, plan, part ? t.count / 3 : 0,
         part ? t.count - t.count / 4 : t.count);
}

void filterRows(decltype(Family::filterRows) kernel, Trial& t) {
  const int16_t* rows[4];
  for (auto& row : rows)
    row = t.filled<int16_t>(t.count, -8160, 8160);
  const bool likely = t.mode == 0;
  const auto* taps = t.filled<int16_t>(4, likely ? -600 : INT16_MIN, likely ? 4800 : INT16_MAX);
  kernel(rows, taps, t.buffer<uint8_t>(t.count), t.count);
}

// Tables of likely rows, or of the values that overflow first; with weights of 0 among them.
void fuseRow(decltype(Family::fuseRow) kernel, Trial& t) {
  const int32_t width = 40;
  const int32_t height = 9;
  const int32_t pitch = width + 4;
  const bool likely = t.mode == 0;
  const int32_t phases = likely ? 50 : 3;
  auto* values = t.filled<int16_t>(std::ptrdiff_t{17} * phases * phases, likely ? -400 : INT16_MIN,
                                   likely ? 4800 : INT16_MAX);
  std::vector<const int16_t*> table;
  for (int32_t i = 0; i < phases * phases; ++i) {
    table.push_back(values + std::ptrdiff_t{17} * i);
    if (i % 5 == 0) values[17 * i + 16] = 0;
  }
  const auto* first = t.filled<uint8_t>(4 * pitch, 0, 255);
  const auto* second = t.filled<uint8_t>(std::ptrdiff_t{pitch} * (height + 4), 0, 255);
  auto* mapX = t.buffer<int32_t>(width);
  auto* mapY = t.buffer<int32_t>(width);
  // Positions anywhere; or a second frame that has moved a little and turned, so that neighbours
  // read from the same lines.
  const int32_t line = t.range(-1, height - 1);
  for (int32_t x = 0; x < width; ++x) {
    const bool anywhere = t.round == 0;
    mapX[x] = anywhere ? t.range(-2 << 16, (width + 2) << 16) : (x << 16) + 70000;
    mapY[x] = anywhere ? t.range(-2 << 16, (height + 2) << 16) : (line << 16) + 3000 * x;
  }
  if (t.round == 0) {
    mapX[3] = INT32_MAX;
    mapY[5] = INT32_MIN;
  }
  std::vector<int32_t> columns[4];
  for (int32_t j = 0; j < t.count; ++j) {
    const int32_t position = j * (width + 3) / t.count;
    columns[0].push_back(position - 1);  // both ends reach outside
    columns[1].push_back(std::min(position, width - 1));
    columns[2].push_back(t.range(0, 65535));
    columns[3].push_back(phases * columns[2].back() >> 16);
  }
  const Inside inside = insideOf(columns[0].data(), t.count, pitch);
  const FusionColumns plan = {t.count,           inside.begin,      inside.end,
                              columns[0].data(), columns[1].data(), columns[2].data(),
                              columns[3].data()};
  const FusionRow row = {{first, first + pitch, first + 2 * pitch, first + 3 * pitch},
                         table.data() + phases,
                         mapX,
                         mapY,
                         t.range(0, 65535),
                         second,
                         pitch,
                         width,
                         height,
                         table.data(),
                         phases};
  kernel(row, plan, 0, t.count, t.buffer<uint8_t>(t.count));
}

/// Positions in the guide of one row: beside the block itself as two frames have it, anywhere in
/// and around the frame, any values, or close to the last positions that have four neighbours.
const int32_t* guidePositions(Trial& t, int kind, int32_t origin, int32_t step, int32_t size) {
  const int32_t shift = t.range(-3 << 16, 3 << 16);
  auto* map = t.buffer<int32_t>(t.count);
  for (int32_t i = 0; i < t.count; ++i) {
    if (kind == 0) map[i] = ((origin + step * i) << 16) + shift + t.range(0, 255);
    if (kind == 1) map[i] = t.range(-int64_t{5} << 16, int64_t{size + 5} << 16);
    if (kind == 2) map[i] = static_cast<int32_t>(t.random.next() & UINT32_MAX);
    if (kind == 3) map[i] = t.range(int64_t{size - 7} * 65536, int64_t{size} << 16);
  }
  return map;
}

// Whole rows of blocks and parts of them, of all heights that a band leaves.
void deghostBlocks(decltype(Family::deghostBlocks) kernel, Trial& t) {
  constexpr int32_t kHeights[] = {1, 2, 3, 7, 8, 11};
  const int32_t height = kHeights[t.random.index(6)];
  if (t.round % 2 == 0) t.mode = 0;
  t.against = t.range(0, 1) == 0 ? Against::pageEnd : Against::pageBegin;
  const std::ptrdiff_t pairs = t.count / 2 * 2 * (height / 2);
  DeghostRow row = {};
  row.guideLuma = t.filled<uint8_t>(std::ptrdiff_t{t.count} * height, 0, 255);
  row.guideChroma = t.filled<uint8_t>(pairs, 0, 255);
  row.luma = t.filled<uint8_t>(std::ptrdiff_t{t.count} * height, 0, 255);
  row.chroma = t.filled<uint8_t>(pairs, 0, 255);
  row.newChroma = t.buffer<uint8_t>(pairs);
  const bool likely = t.mode == 0;
  row.weights = t.filled<int16_t>(256, likely ? 0 : INT16_MIN, likely ? 4096 : INT16_MAX);
  row.width = t.count;
  row.height = height;
  row.firstRow = t.range(0, height - 1);
  row.rows = std::min(4, height - row.firstRow);
  if (t.range(0, 2) == 0) row.rows = t.range(1, row.rows);
  const auto kind = static_cast<int>(t.random.index(4));
  row.mapX = guidePositions(t, kind, 0, 1, t.count);
  row.mapY = guidePositions(t, kind, row.firstRow, 0, height);
  const int32_t begin = t.range(0, 4) == 0 ? t.count / 8 * 4 : 0;
  kernel(row, begin, t.range(0, 9) == 0 ? begin + (t.count - begin) / 8 * 4 : t.count);
}

constexpr const Family& (*kFamily)(CpuSet) = interpolationFunctions;
const Entry kEntries[] = {
    entry("splitPairs", 1, kFamily, &Family::splitPairs, splitPairs),
    entry("mergePairs", 1, kFamily, &Family::mergePairs, mergePairs),
    entry("filterColumns", 11, kFamily, &Family::filterColumns, filterColumns),
    entry("filterRows", 1, kFamily, &Family::filterRows, filterRows),
    entry("fuseRow", 2, kFamily, &Family::fuseRow, fuseRow),
    entry("deghostBlocks", 6, kFamily, &Family::deghostBlocks, deghostBlocks),
};
static_assert(std::size(kEntries) * sizeof(void (*)()) == sizeof(Family));

INSTANTIATE_TEST_SUITE_P(Interpolation, KernelVariants, testing::ValuesIn(kEntries),
                         [](const auto& entry) { return std::string(entry.param.name); });

}  // namespace
}  // namespace velmora::test
