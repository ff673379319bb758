#include <algorithm>

#include "burst/restoration/basis.h"
#include "burst/restoration/functions.h"
#include "kernels/trial.h"

namespace velmora::test {
namespace {

using Family = burst::RestorationFunctions;
using burst::kLanes;
using burst::kUnit;

struct Shape {
  int32_t size, stride, cover;
};
Shape shapeOf(Trial& t) {
  const int32_t size = t.range(1, 2) * 8;
  const int32_t stride = size == 16 ? t.range(1, 2) * 2 : t.range(1, 4);
  return {size, stride, (size + stride - 1) / stride};
}

void split(decltype(Family::split) kernel, Trial& t) {
  const int32_t stride = t.range(1, 4);
  const std::ptrdiff_t phase = (t.count + stride - 1) / stride + t.range(0, 3);
  const auto* in = t.filled<int16_t>(t.count, INT16_MIN, INT16_MAX);
  kernel(in, t.count, stride, phase, t.buffer<int16_t>(phase * stride));
}

void merge(decltype(Family::merge) kernel, Trial& t) {
  const int32_t stride = t.range(1, 4);
  const std::ptrdiff_t phase = (t.count + stride - 1) / stride + t.range(0, 3);
  const auto* in = t.filled<int16_t>(phase * stride, INT16_MIN, INT16_MAX);
  kernel(in, t.count, stride, phase, t.buffer<int16_t>(t.count));
}

int32_t units(const Trial& t) {
  return (t.count + kUnit - 1) / kUnit * kUnit;
}

void transformColumns(decltype(Family::transformColumns) kernel, Trial& t) {
  const int32_t size = shapeOf(t).size;
  const int16_t* rows[16];
  for (auto& row : rows)
    row = t.filled<int16_t>(units(t), -burst::kSampleLimit, burst::kSampleLimit);
  const std::ptrdiff_t pitch = units(t) + t.range(0, 3);
  kernel(size, rows, units(t), t.buffer<int16_t>(pitch * size), pitch);
}

burst::BlockRow blockRow(Trial& t, bool pilot) {
  const Shape shape = shapeOf(t);
  const int32_t lanes = t.range(1, 2) * kUnit;
  const std::ptrdiff_t phase = lanes + shape.cover - 1 + t.range(0, 3);
  const std::ptrdiff_t pitch = phase * shape.stride;
  const int32_t most = shape.size == 8 ? 8190 : 5792;
  const int32_t valuePitch = lanes + t.range(0, 3);
  const auto* columns = t.filled<int16_t>(pitch * shape.size, -most, most);
  return {shape.size,
          shape.stride,
          lanes,
          pitch,
          phase,
          columns,
          pilot ? t.filled<int16_t>(pitch * shape.size, -most, most) : nullptr,
          static_cast<float>(t.range(1000, 64000)),
          t.buffer<int16_t>(std::ptrdiff_t{valuePitch} * shape.size * shape.size),
          valuePitch,
          t.buffer<int16_t>(lanes)};
}

void shrinkByThreshold(decltype(Family::shrinkByThreshold) kernel, Trial& t) {
  const burst::BlockRow row = blockRow(t, false);
  const bool perBlock = t.round % 2 == 1;
  const int32_t entries = row.size * row.size * (perBlock ? kLanes : 1);
  kernel(row, {t.filled<int16_t>(entries, -1, 12000), perBlock});
}

void shrinkByPilot(decltype(Family::shrinkByPilot) kernel, Trial& t) {
  const burst::BlockRow row = blockRow(t, true);
  const bool perBlock = t.round % 2 == 1;
  const int32_t entries = row.size * row.size * (perBlock ? kLanes : 1);
  kernel(row, {t.filled<float>(entries, 0, t.range(1, 1 << 24)), perBlock});
}

void addColumns(decltype(Family::addColumns) kernel, Trial& t) {
  const Shape shape = shapeOf(t);
  const std::ptrdiff_t phase = units(t) + t.range(0, 3);
  const std::ptrdiff_t pitch = units(t) + kUnit + t.range(0, 3);
  const auto* values = t.filled<int16_t>(pitch * shape.size * shape.size, -16000, 16000);
  const auto* weights = t.filled<int16_t>(pitch, 0, 16000);
  float* numerators[16];
  float* denominators[16];
  for (int32_t y = 0; y < shape.size; ++y) {
    numerators[y] = t.filled<float>(phase * shape.stride, -(1 << 28), 1 << 28);
    denominators[y] = t.filled<float>(phase * shape.stride, 0, 1 << 18);
  }
  kernel({shape.size, shape.stride, units(t), phase, values + kUnit, pitch, weights + kUnit,
          numerators, denominators});
}

// Quotients within and beyond the limits, halves, and nothing by nothing.
void divide(decltype(Family::divide) kernel, Trial& t) {
  const int32_t most = t.round == 0 ? 1 << 30 : 20000;
  const auto* numerators = t.filled<float>(units(t), -most, most);
  auto* denominators = t.filled<float>(units(t), 0, t.round == 0 ? 1 << 18 : 2);
  for (int32_t i = 0; t.round == 0 && i < units(t); ++i)
    denominators[i] += 60000;
  kernel(numerators, denominators, units(t), t.buffer<int16_t>(units(t)));
}

constexpr const Family& (*kFamily)(CpuSet) = burst::restorationFunctions;
const Entry kEntries[] = {
    entry("split", 8, kFamily, &Family::split, split),
    entry("merge", 8, kFamily, &Family::merge, merge),
    entry("transformColumns", 2, kFamily, &Family::transformColumns, transformColumns),
    entry("shrinkByThreshold", 4, kFamily, &Family::shrinkByThreshold, shrinkByThreshold),
    entry("shrinkByPilot", 4, kFamily, &Family::shrinkByPilot, shrinkByPilot),
    entry("addColumns", 3, kFamily, &Family::addColumns, addColumns),
    entry("divide", 2, kFamily, &Family::divide, divide),
};
static_assert(std::size(kEntries) * sizeof(void (*)()) == sizeof(Family));

INSTANTIATE_TEST_SUITE_P(Restoration, KernelVariants, testing::ValuesIn(kEntries),
                         [](const auto& entry) { return std::string(entry.param.name); });

}  // namespace
}  // namespace velmora::test
