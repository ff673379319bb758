#include "burst/alignment/pyramid.h"

#include <algorithm>

#include "burst/alignment/functions.h"
#include "burst/alignment/metered_workers.h"
#include "burst/alignment/row_bands.h"

namespace velmora::burst {
namespace {

constexpr int64_t kSmallFrame = 1000000;
constexpr int32_t kSmallestSide = 30;

// A level on its way to the next: not smoothed, marks not widened.
struct PlainLevel {
  PlaneBuffer<int16_t> samples;
  PlaneBuffer<uint8_t> marks;
};

int32_t inside(int32_t y, int32_t height) {
  return std::clamp(y, 0, height - 1);
}

// Rows of a caller's plane as bytes beside each other: copies where samples lie apart.
class PackedRows {
 public:
  PackedRows(Memory& memory, const Workers& workers, const SourcePlane& plane, int32_t rows)
      : plane_(plane), rows_(rows) {
    if (plane.step == 1) return;
    copies_ = PlaneBuffer<uint8_t>(memory, {plane.size.width, rows * workers.count()});
  }
  const uint8_t* row(int32_t y, int32_t slot, int32_t worker) const {
    const uint8_t* const from = plane_.row(y);
    if (plane_.step == 1) return from;
    uint8_t* const copy = copies_.plane().row(worker * rows_ + slot);
    for (int32_t x = 0; x < plane_.size.width; ++x)
      copy[x] = from[x * plane_.step];
    return copy;
  }

 private:
  SourcePlane plane_;
  int32_t rows_;
  PlaneBuffer<uint8_t> copies_;
};

PlainLevel halvedFrame(Memory& memory, Workers& workers, const SourcePlane& luma, double weight) {
  const Size size = {luma.size.width / 2, luma.size.height / 2};
  PlainLevel level = {{memory, size}, {memory, size}};
  const PackedRows packed(memory, workers, luma, 2);
  forRows(workers, size.height, 2 * size.width, weight, [&](int32_t y, int32_t worker) {
    alignmentFunctions().halveBytes(packed.row(2 * y, 0, worker), packed.row(2 * y + 1, 1, worker),
                                    level.samples.plane().row(y), level.marks.plane().row(y),
                                    size.width);
  });
  return level;
}

PlainLevel halved(Memory& memory, Workers& workers, const PlainLevel& below, double weight) {
  const Size size = {below.samples.size().width / 2, below.samples.size().height / 2};
  PlainLevel level = {{memory, size}, {memory, size}};
  const Plane<int16_t> samples = below.samples.plane();
  const Plane<uint8_t> marks = below.marks.plane();
  forRows(workers, size.height, 2 * size.width, weight, [&](int32_t y, int32_t) {
    const int16_t* const rows[] = {samples.row(2 * y), samples.row(2 * y + 1)};
    const uint8_t* const maskedRows[] = {marks.row(2 * y), marks.row(2 * y + 1)};
    alignmentFunctions().halve(rows, maskedRows, level.samples.plane().row(y),
                               level.marks.plane().row(y), size.width);
  });
  return level;
}

void widenMarks(Workers& workers, const Plane<uint8_t>& marks, const Plane<uint8_t>& masked,
                double weight) {
  const Size size = marks.size;
  forRows(workers, size.height, size.width, weight, [&](int32_t y, int32_t) {
    const uint8_t* const rows[] = {marks.row(inside(y - 1, size.height)), marks.row(y),
                                   marks.row(inside(y + 1, size.height)),
                                   marks.row(inside(y + 2, size.height))};
    alignmentFunctions().widenMask(rows, masked.row(y), size.width);
  });
}

PyramidLevel finished(Memory& memory, Workers& workers, const PlainLevel& plain, double weight) {
  const Size size = plain.samples.size();
  PyramidLevel level = {{memory, size}, {memory, size}};
  const Plane<int16_t> samples = plain.samples.plane();
  forRows(workers, size.height, 2 * size.width, weight / 2, [&](int32_t y, int32_t) {
    const int16_t* const rows[] = {samples.row(inside(y - 1, size.height)), samples.row(y),
                                   samples.row(inside(y + 1, size.height))};
    alignmentFunctions().smooth(rows, level.smooth.plane().row(y), size.width);
  });
  widenMarks(workers, plain.marks.plane(), level.masked.plane(), weight / 2);
  return level;
}

PyramidLevel frameLevel(Memory& memory, Workers& workers, const SourcePlane& luma, double weight) {
  PyramidLevel level = {smoothFrame(memory, workers, luma, weight / 2), {memory, luma.size}};
  const PlaneBuffer<uint8_t> marks(memory, luma.size);
  for (int32_t y = 0; y < luma.size.height; ++y) {
    for (int32_t x = 0; x < luma.size.width; ++x)
      marks.plane().row(y)[x] = luma.at(x, y) > 250 || luma.at(x, y) < 2 ? 1 : 0;
  }
  widenMarks(workers, marks.plane(), level.masked.plane(), weight / 2);
  return level;
}

}  // namespace

PlaneBuffer<int16_t> smoothFrame(Memory& memory, Workers& workers, const SourcePlane& luma,
                                 double weight) {
  const int32_t height = luma.size.height;
  PlaneBuffer<int16_t> smooth(memory, luma.size);
  const PackedRows packed(memory, workers, luma, 3);
  forRows(workers, height, 2 * luma.size.width, weight, [&](int32_t y, int32_t worker) {
    const uint8_t* rows[3];
    for (int32_t i = 0; i < 3; ++i)
      rows[i] = packed.row(inside(y + i - 1, height), i, worker);
    alignmentFunctions().smoothBytes(rows, smooth.plane().row(y), luma.size.width);
  });
  return smooth;
}

Pyramid buildPyramid(Memory& memory, Workers& workers, const SourcePlane& luma) {
  Pyramid pyramid;
  pyramid.luma = luma;
  const Size size = luma.size;
  pyramid.top = Pyramid::kMostLevels - 1;
  while (pyramid.top > 0 && std::min(size.width, size.height) >> pyramid.top < kSmallestSide)
    --pyramid.top;

  MeteredWorkers metered(workers, pyramidWork(size));
  double work = 0.75 * pyramidWork(size);
  if (int64_t{size.width} * size.height < kSmallFrame) {
    pyramid.levels[0] = frameLevel(memory, metered, luma, work);
    work /= 4;
  }
  PlainLevel plain;
  for (int32_t l = 1; l <= pyramid.top; ++l, work /= 4) {
    plain = l == 1 ? halvedFrame(memory, metered, luma, work / 2)
                   : halved(memory, metered, plain, work / 2);
    pyramid.levels[static_cast<std::size_t>(l)] = finished(memory, metered, plain, work / 2);
  }
  metered.finish();
  return pyramid;
}

}  // namespace velmora::burst
