// Every variant of every interpolation kernel against the scalar one: sizes with tails, random and
// worst-case data, buffers that end at a page end.
#include <algorithm>
#include <cmath>

#include "kernels/variants.h"

namespace velmora::test {
namespace {

using Sources = PageBuffer<uint8_t>;

template <typename Kernel, typename Check>
void forEachInterpolationVariant(Kernel InterpolationKernels::*entry, Check check) {
  forEachVariant(&KernelTable::interpolation, entry, check);
}

TEST(SplitPairs, EqualsScalar) {
  forEachInterpolationVariant(&InterpolationKernels::splitPairs, [](auto scalar, auto variant) {
    Random random(1);
    for (const int32_t count : kCounts) {
      const auto n = static_cast<std::size_t>(count);
      Sources pairs(2 * n);
      fill<uint8_t>(pairs, random, 0, 0, 255);
      Sources even[2] = {Sources(n), Sources(n)};
      Sources odd[2] = {Sources(n), Sources(n)};
      scalar(pairs.data(), even[0].data(), odd[0].data(), count);
      variant(pairs.data(), even[1].data(), odd[1].data(), count);
      expectSame(even[0], even[1], "even of " + std::to_string(count));
      expectSame(odd[0], odd[1], "odd of " + std::to_string(count));
    }
  });
}

TEST(MergePairs, EqualsScalar) {
  forEachInterpolationVariant(&InterpolationKernels::mergePairs, [](auto scalar, auto variant) {
    Random random(2);
    for (const int32_t count : kCounts) {
      const auto n = static_cast<std::size_t>(count);
      Sources even(n);
      Sources odd(n);
      fill<uint8_t>(even, random, 0, 0, 255);
      fill<uint8_t>(odd, random, 0, 0, 255);
      Sources pairs[2] = {Sources(2 * n), Sources(2 * n)};
      scalar(even.data(), odd.data(), pairs[0].data(), count);
      variant(even.data(), odd.data(), pairs[1].data(), count);
      expectSame(pairs[0], pairs[1], "pairs of " + std::to_string(count));
    }
  });
}

// A plan as stages build it: rising or falling first taps, clamped columns at both ends.
struct Plan {
  Plan(int32_t count, int32_t sourceWidth, double start, double step, Random& random, int mode)
      : first(static_cast<std::size_t>(count)), taps(4 * static_cast<std::size_t>(count)) {
    fill<int16_t>(taps, random, mode, INT16_MIN, INT16_MAX);
    plan = {count, sourceWidth, 0, 0, first.data(), taps.data()};
    for (int32_t j = 0; j < count; ++j) {
      const auto column = static_cast<int32_t>(std::floor(start + step * j));
      first[static_cast<std::size_t>(j)] = std::clamp(column, -4, sourceWidth);
    }
    const auto inside = [&](int32_t c) { return c >= 0 && c + 4 <= sourceWidth; };
    const auto begin = first.span().begin();
    const auto end = first.span().end();
    const auto insideBegin = std::find_if(begin, end, inside);
    plan.insideBegin = static_cast<int32_t>(insideBegin - begin);
    plan.insideEnd = static_cast<int32_t>(std::find_if_not(insideBegin, end, inside) - begin);
  }
  PageBuffer<int32_t> first;
  PageBuffer<int16_t> taps;
  ColumnPlan plan;
};

TEST(FilterColumns, EqualsScalar) {
  forEachInterpolationVariant(&InterpolationKernels::filterColumns, [](auto scalar, auto variant) {
    Random random(3);
    for (const int32_t count : kCounts) {
      for (const double step : {0.0, 0.11, 0.5, 0.6667, 1.0, 1.4, 2.3, 9.0, -0.5, -1.0, -3.0}) {
        for (const double start : {1.0, -6.5, 40.0, 300.0}) {
          const int32_t sourceWidth = 4 + static_cast<int32_t>(random.range(0, 6)) +
                                      static_cast<int32_t>(std::abs(step) * count * 0.95);
          const int mode = static_cast<int>(random.range(0, kFillModes - 1));
          const Plan plan(count, sourceWidth, start, step, random, mode);
          Sources row(static_cast<std::size_t>(sourceWidth));
          fill<uint8_t>(row, random, mode, 0, 255);
          PageBuffer<int16_t> out[2] = {PageBuffer<int16_t>(static_cast<std::size_t>(count)),
                                        PageBuffer<int16_t>(static_cast<std::size_t>(count))};
          scalar(row.data(), plan.plan, 0, count, out[0].data());
          variant(row.data(), plan.plan, 0, count, out[1].data());
          expectSame(out[0], out[1],
                     std::to_string(count) + " columns, step " + std::to_string(step) + ", start " +
                         std::to_string(start));
          // A part of the row leaves the rest alone.
          const int32_t begin = count / 3;
          const int32_t end = count - count / 4;
          for (auto& o : out)
            fill<int16_t>(o, random, 1, 0, 77);
          scalar(row.data(), plan.plan, begin, end, out[0].data());
          variant(row.data(), plan.plan, begin, end, out[1].data());
          expectSame(out[0], out[1], "part of " + std::to_string(count));
        }
      }
    }
  });
}

TEST(FilterRows, EqualsScalar) {
  forEachInterpolationVariant(&InterpolationKernels::filterRows, [](auto scalar, auto variant) {
    Random random(4);
    for (const int32_t count : kCounts) {
      for (int mode = 0; mode < kFillModes; ++mode) {
        const auto n = static_cast<std::size_t>(count);
        PageBuffer<int16_t> rows[4] = {PageBuffer<int16_t>(n), PageBuffer<int16_t>(n),
                                       PageBuffer<int16_t>(n), PageBuffer<int16_t>(n)};
        PageBuffer<int16_t> taps(4);
        for (auto& row : rows)
          fill<int16_t>(row, random, mode, -8160, 8160);
        fill<int16_t>(taps, random, mode, mode == 0 ? int16_t{-600} : INT16_MIN,
                      mode == 0 ? int16_t{4800} : INT16_MAX);
        const int16_t* pointers[4] = {rows[0].data(), rows[1].data(), rows[2].data(),
                                      rows[3].data()};
        Sources out[2] = {Sources(n), Sources(n)};
        scalar(pointers, taps.data(), out[0].data(), count);
        variant(pointers, taps.data(), out[1].data(), count);
        expectSame(out[0], out[1],
                   std::to_string(count) + " samples, mode " + std::to_string(mode));
      }
    }
  });
}

// A table of random rows, or of the values that overflow first; with weights of 0 among them.
struct FusionTable {
  FusionTable(int32_t phases, Random& random, int mode)
      : values(static_cast<std::size_t>(17 * phases * phases)) {
    fill<int16_t>(values, random, mode, mode == 0 ? int16_t{-400} : INT16_MIN,
                  mode == 0 ? int16_t{4800} : INT16_MAX);
    for (int32_t i = 0; i < phases * phases; ++i) {
      int16_t* row = values.data() + std::ptrdiff_t{17} * i;
      if (i % 5 == 0) row[16] = 0;
      rows.push_back(row);
    }
  }
  PageBuffer<int16_t> values;
  std::vector<const int16_t*> rows;
};

TEST(FuseRow, EqualsScalar) {
  forEachInterpolationVariant(&InterpolationKernels::fuseRow, [](auto scalar, auto variant) {
    Random random(5);
    const int32_t width = 40;
    const int32_t height = 9;
    const int32_t pitch = width + 4;
    for (const int32_t count : kCounts) {
      for (int mode = 0; mode < kFillModes; ++mode) {
        const int32_t phases = mode == 0 ? 50 : 3;
        const FusionTable table(phases, random, mode);
        Sources first(static_cast<std::size_t>(4 * pitch));
        Sources second(static_cast<std::size_t>(pitch * (height + 4)));
        fill<uint8_t>(first, random, mode, 0, 255);
        fill<uint8_t>(second, random, mode, 0, 255);
        PageBuffer<int32_t> mapX(width);
        PageBuffer<int32_t> mapY(width);
        fill<int32_t>(mapX, random, 0, -2 << 16, (width + 2) << 16);
        fill<int32_t>(mapY, random, 0, -2 << 16, (height + 2) << 16);
        mapX[3] = INT32_MAX;
        mapY[5] = INT32_MIN;
        std::vector<int32_t> columns[4];
        for (int32_t j = 0; j < count; ++j) {
          const int32_t position = j * (width + 3) / std::max(count, 1);
          columns[0].push_back(position - 1);  // both ends reach outside
          columns[1].push_back(std::min(position, width - 1));
          columns[2].push_back(static_cast<int32_t>(random.range(0, 65535)));
          columns[3].push_back(phases * columns[2].back() >> 16);
        }
        const auto inside = [&](int32_t c) { return c >= 0 && c + 4 <= pitch; };
        const auto begin = std::find_if(columns[0].begin(), columns[0].end(), inside);
        const auto end = std::find_if_not(begin, columns[0].end(), inside);
        const FusionColumns plan = {count,
                                    static_cast<int32_t>(begin - columns[0].begin()),
                                    static_cast<int32_t>(end - columns[0].begin()),
                                    columns[0].data(),
                                    columns[1].data(),
                                    columns[2].data(),
                                    columns[3].data()};
        const FusionRow row = {{first.data(), first.data() + pitch, first.data() + 2 * pitch,
                                first.data() + 3 * pitch},
                               table.rows.data() + phases,
                               mapX.data(),
                               mapY.data(),
                               static_cast<int32_t>(random.range(0, 65535)),
                               second.data(),
                               pitch,
                               width,
                               height,
                               table.rows.data(),
                               phases};
        Sources out[2] = {Sources(static_cast<std::size_t>(count)),
                          Sources(static_cast<std::size_t>(count))};
        scalar(row, plan, 0, count, out[0].data());
        variant(row, plan, 0, count, out[1].data());
        expectSame(out[0], out[1],
                   std::to_string(count) + " columns, mode " + std::to_string(mode));
      }
    }
  });
}

}  // namespace
}  // namespace velmora::test
