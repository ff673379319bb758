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

// Values from the first of `rows` rows to the last value of the last.
std::size_t blockSize(int32_t rows, std::ptrdiff_t pitch, int32_t count) {
  return rows == 0 ? 0 : static_cast<std::size_t>((rows - 1) * pitch + count);
}

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
          // Rows with gaps between them; what lies in the gaps of the output stays.
          const auto rows = static_cast<int32_t>(random.range(0, 9));
          const std::ptrdiff_t sourcePitch = sourceWidth + static_cast<int32_t>(random.range(0, 3));
          const std::ptrdiff_t outPitch = count + static_cast<int32_t>(random.range(0, 3));
          Sources source(blockSize(rows, sourcePitch, sourceWidth));
          fill<uint8_t>(source, random, mode, 0, 255);
          PageBuffer<int16_t> out[2] = {PageBuffer<int16_t>(blockSize(rows, outPitch, count)),
                                        PageBuffer<int16_t>(blockSize(rows, outPitch, count))};
          const auto filter = [&](auto kernel, PageBuffer<int16_t>& to, int32_t begin,
                                  int32_t end) {
            fill<int16_t>(to, random, 1, 0, 77);
            kernel({source.data(), sourcePitch, to.data(), outPitch, rows}, plan.plan, begin, end);
          };
          filter(scalar, out[0], 0, count);
          filter(variant, out[1], 0, count);
          expectSame(out[0], out[1],
                     std::to_string(rows) + " rows of " + std::to_string(count) +
                         " columns, step " + std::to_string(step) + ", start " +
                         std::to_string(start));
          // A part of the columns leaves the rest alone.
          filter(scalar, out[0], count / 3, count - count / 4);
          filter(variant, out[1], count / 3, count - count / 4);
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
      for (int round = 0; round < 2 * kFillModes; ++round) {
        const int mode = round % kFillModes;
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
        if (round >= kFillModes) {
          // A second frame that has moved a little and turned: neighbours read from the same lines.
          const auto line = static_cast<int32_t>(random.range(-1, height - 1));
          for (int32_t x = 0; x < width; ++x) {
            mapX[static_cast<std::size_t>(x)] = (x << 16) + 70000;
            mapY[static_cast<std::size_t>(x)] = (line << 16) + 3000 * x;
          }
        }
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

// A first and a second frame; the first one twice, since the kernel changes it in place.
struct DeghostFrames {
  DeghostFrames(int32_t width, int32_t height, Against against)
      : luma(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)),
        pairs(static_cast<std::size_t>(width / 2 * 2) * static_cast<std::size_t>(height / 2)),
        guideLuma(luma, against),
        guideChroma(pairs, against),
        chroma(pairs, against),
        changed{Sources(luma, against), Sources(luma, against)},
        newChroma{Sources(pairs, against), Sources(pairs, against)} {}

  void fillAll(Random& random, int mode) {
    for (Sources* plane : {&guideLuma, &guideChroma, &chroma, &changed[0]})
      fill<uint8_t>(*plane, random, mode, 0, 255);
    std::copy(changed[0].span().begin(), changed[0].span().end(), changed[1].span().begin());
    for (Sources& plane : newChroma)
      fill<uint8_t>(plane, random, 1, 0, 77);
  }

  std::size_t luma, pairs;
  Sources guideLuma, guideChroma, chroma;
  Sources changed[2];
  Sources newChroma[2];
};

// Positions in the guide of one row: beside the block itself as two frames have it, anywhere in and
// around the frame, any values, or close to the last positions that have four neighbours.
enum class DeghostMaps { close, scattered, wild, lastOnes };

void fillPositions(PageBuffer<int32_t>& map, Random& random, DeghostMaps kind, int32_t origin,
                   int32_t step, int32_t size) {
  const int32_t shift = static_cast<int32_t>(random.range(-3 << 16, 3 << 16));
  for (std::size_t i = 0; i < map.size(); ++i) {
    const int32_t own = origin + step * static_cast<int32_t>(i);
    switch (kind) {
      case DeghostMaps::close:
        map[i] = (own << 16) + shift + static_cast<int32_t>(random.range(0, 255));
        break;
      case DeghostMaps::scattered:
        map[i] = static_cast<int32_t>(random.range(-int64_t{5} << 16, int64_t{size + 5} << 16));
        break;
      case DeghostMaps::wild:
        map[i] = static_cast<int32_t>(static_cast<uint32_t>(random.next()));
        break;
      case DeghostMaps::lastOnes:
        map[i] = static_cast<int32_t>(random.range(int64_t{size - 7} * 65536, int64_t{size} << 16));
        break;
    }
  }
}

TEST(DeghostBlocks, EqualsScalar) {
  forEachInterpolationVariant(&InterpolationKernels::deghostBlocks, [](auto scalar, auto variant) {
    Random random(6);
    int round = 0;
    for (const int32_t width : kCounts) {
      for (const int32_t height : {1, 2, 3, 7, 8, 11}) {
        if (width == 0) continue;
        for (const auto kind : {DeghostMaps::close, DeghostMaps::scattered, DeghostMaps::wild,
                                DeghostMaps::lastOnes}) {
          const int mode = round % 7 < kFillModes ? round % 7 : 0;
          DeghostFrames frames(width, height,
                               ++round % 2 == 0 ? Against::pageEnd : Against::pageBegin);
          frames.fillAll(random, mode);
          PageBuffer<int16_t> weights(256);
          fill<int16_t>(weights, random, mode, mode == 0 ? int16_t{0} : INT16_MIN,
                        mode == 0 ? int16_t{4096} : INT16_MAX);
          const auto firstRow = static_cast<int32_t>(random.range(0, height - 1));
          PageBuffer<int32_t> mapX(static_cast<std::size_t>(width));
          PageBuffer<int32_t> mapY(static_cast<std::size_t>(width));
          fillPositions(mapX, random, kind, 0, 1, width);
          fillPositions(mapY, random, kind, firstRow, 0, height);
          DeghostRow row = {frames.guideLuma.data(),
                            frames.guideChroma.data(),
                            frames.changed[0].data(),
                            frames.chroma.data(),
                            frames.newChroma[0].data(),
                            width,
                            height,
                            firstRow,
                            std::min(4, height - firstRow),
                            mapX.data(),
                            mapY.data(),
                            weights.data()};
          if (round % 3 == 0) row.rows = static_cast<int32_t>(random.range(1, row.rows));
          // A part of the row leaves the rest alone.
          const int32_t begin = round % 5 == 0 ? width / 8 * 4 : 0;
          const int32_t end = round % 11 == 0 ? begin + (width - begin) / 8 * 4 : width;
          scalar(row, begin, end);
          row.luma = frames.changed[1].data();
          row.newChroma = frames.newChroma[1].data();
          variant(row, begin, end);
          const std::string what = std::to_string(width) + " x " + std::to_string(height) +
                                   ", maps " + std::to_string(static_cast<int>(kind)) + ", mode " +
                                   std::to_string(mode);
          expectSame(frames.changed[0], frames.changed[1], "luma of " + what);
          expectSame(frames.newChroma[0], frames.newChroma[1], "chroma of " + what);
        }
      }
    }
  });
}

}  // namespace
}  // namespace velmora::test
