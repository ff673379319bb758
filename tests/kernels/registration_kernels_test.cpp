// Every variant of every registration kernel against the scalar one: sizes with tails, random and
// worst-case data, buffers that end at a page end.
#include <algorithm>
#include <bit>

#include "kernels/variants.h"
#include "velmora_sr/features.h"

namespace velmora::test {
namespace {

template <typename Kernel, typename Check>
void forEachRegistrationVariant(Kernel RegistrationKernels::*entry, Check check) {
  forEachVariant(&KernelTable::registration, entry, check);
}

template <typename T>
using Pair = PageBuffer<T>[2];

std::size_t size(int32_t n) {
  return static_cast<std::size_t>(n);
}

TEST(ReduceBox4, EqualsScalar) {
  forEachRegistrationVariant(&RegistrationKernels::reduceBox4, [](auto scalar, auto variant) {
    Random random(1);
    for (const int32_t count : kCounts) {
      for (int mode = 0; mode < kFillModes; ++mode) {
        const int32_t stride = 4 * count + static_cast<int32_t>(random.range(0, 3));
        PageBuffer<uint8_t> src(size(3 * stride + 4 * count));
        fill<uint8_t>(src, random, mode, 0, 255);
        Pair<uint8_t> dst = {PageBuffer<uint8_t>(size(count)), PageBuffer<uint8_t>(size(count))};
        scalar(src.data(), stride, dst[0].data(), count);
        variant(src.data(), stride, dst[1].data(), count);
        expectSame(dst[0], dst[1], std::to_string(count) + " blocks");
      }
    }
  });
}

TEST(IntegrateRow, EqualsScalar) {
  forEachRegistrationVariant(&RegistrationKernels::integrateRow, [](auto scalar, auto variant) {
    Random random(2);
    for (const int32_t count : kCounts) {
      for (int mode = 0; mode < kFillModes; ++mode) {
        PageBuffer<uint8_t> src(size(count));
        fill<uint8_t>(src, random, mode, 0, 255);
        Pair<int32_t> dst = {PageBuffer<int32_t>(size(count + 1)),
                             PageBuffer<int32_t>(size(count + 1))};
        scalar(src.data(), dst[0].data(), count);
        variant(src.data(), dst[1].data(), count);
        expectSame(dst[0], dst[1], std::to_string(count) + " sums");
      }
    }
  });
}

TEST(AddRow, EqualsScalar) {
  forEachRegistrationVariant(&RegistrationKernels::addRow, [](auto scalar, auto variant) {
    Random random(3);
    for (const int32_t count : kCounts) {
      for (int mode = 0; mode < kFillModes; ++mode) {
        PageBuffer<int32_t> above(size(count));
        Pair<int32_t> row = {PageBuffer<int32_t>(size(count)), PageBuffer<int32_t>(size(count))};
        fill<int32_t>(above, random, mode, INT32_MIN, INT32_MAX);
        fill<int32_t>(row[0], random, mode, INT32_MIN, INT32_MAX);
        std::copy(row[0].span().begin(), row[0].span().end(), row[1].span().begin());
        scalar(above.data(), row[0].data(), count);
        variant(above.data(), row[1].data(), count);
        expectSame(row[0], row[1], std::to_string(count) + " values");
      }
    }
  });
}

// The geometry of a filter of octave 0 or, at step 2, of octave 1.
HessianFilter filterOf(int32_t filterSize, int32_t step, int64_t directScale, int64_t mixedScale) {
  const int32_t lobe = filterSize / 3;
  const int32_t inset = (4 * filterSize + 9) / 18;
  const int32_t r = (2 * filterSize + 9) / 18;
  const int32_t corner = filterSize % 2 == 1 ? r - 1 : r;
  return {filterSize,
          step,
          lobe,
          inset,
          filterSize - 2 * inset,
          corner,
          (filterSize - r - corner) / 2,
          directScale,
          mixedScale};
}

TEST(HessianRow, EqualsScalar) {
  forEachRegistrationVariant(&RegistrationKernels::hessianRow, [](auto scalar, auto variant) {
    Random random(4);
    const HessianFilter filters[] = {
        filterOf(9, 1, 4660, 3317),
        filterOf(15, 1, 517, 655),
        filterOf(21, 1, 176, 129),
        filterOf(27, 1, 57, 58),
        filterOf(18, 2, 291, 207),
        filterOf(27, 1, INT32_MAX, INT32_MAX),
        filterOf(9, 1, -5, int64_t{1} << 40),
    };
    for (const HessianFilter& filter : filters) {
      for (const int32_t count : kCounts) {
        if (count == 0) continue;
        for (int mode = 0; mode < kFillModes; ++mode) {
          const int32_t width = (count - 1) * filter.step + filter.size + 1;
          PageBuffer<int32_t> integral(size(width * (filter.size + 1)));
          if (mode < 2) {
            // What pictures give: sums of samples, here of wild ones.
            for (int32_t y = 0; y <= filter.size; ++y) {
              int32_t sum = 0;
              for (int32_t x = 0; x < width; ++x) {
                if (x > 0)
                  sum += mode == 0 ? static_cast<int32_t>(random.range(0, 255)) : 255 * (x / 5 % 2);
                const int32_t above = y == 0 ? 0 : integral[size((y - 1) * width + x)];
                integral[size(y * width + x)] = y == 0 ? 0 : above + sum;
              }
            }
          } else {
            fill<int32_t>(integral, random, mode == 2 ? 0 : 3, INT32_MIN, INT32_MAX);
          }
          Pair<int32_t> det = {PageBuffer<int32_t>(size(count)), PageBuffer<int32_t>(size(count))};
          scalar(integral.data(), width, filter, det[0].data(), count);
          variant(integral.data(), width, filter, det[1].data(), count);
          expectSame(det[0], det[1],
                     "size " + std::to_string(filter.size) + ", " + std::to_string(count) +
                         " columns, mode " + std::to_string(mode));
        }
      }
    }
  });
}

TEST(MaximaInRow, EqualsScalar) {
  forEachRegistrationVariant(&RegistrationKernels::maximaInRow, [](auto scalar, auto variant) {
    Random random(5);
    for (const int32_t count : kCounts) {
      for (int round = 0; round < 40; ++round) {
        const int32_t stride = count + 2;
        const int32_t range = round % 4 == 0 ? 3 : 1000;  // few values: ties
        PageBuffer<int32_t> planes[3] = {PageBuffer<int32_t>(size(3 * stride)),
                                         PageBuffer<int32_t>(size(3 * stride)),
                                         PageBuffer<int32_t>(size(3 * stride))};
        for (auto& plane : planes)
          fill<int32_t>(plane, random, 0, -range, range);
        // Lift some samples so that there are maxima to find.
        for (int32_t c = 1; c <= count; c += static_cast<int32_t>(random.range(1, 6))) {
          planes[1][size(stride + c)] += 2 * range;
        }
        const int32_t* const centres[3] = {planes[0].data() + stride + 1,
                                           planes[1].data() + stride + 1,
                                           planes[2].data() + stride + 1};
        Pair<int32_t> columns = {PageBuffer<int32_t>(size((count + 1) / 2)),
                                 PageBuffer<int32_t>(size((count + 1) / 2))};
        for (auto& list : columns)
          fill<int32_t>(list, random, 1, 0, -1);
        const int32_t threshold = static_cast<int32_t>(random.range(-range, 2 * range));
        const int32_t found = scalar(centres, stride, threshold, count, columns[0].data());
        EXPECT_EQ(variant(centres, stride, threshold, count, columns[1].data()), found);
        expectSame(columns[0], columns[1], std::to_string(count) + " columns");
      }
    }
  });
}

TEST(ReducePatch, EqualsScalar) {
  forEachRegistrationVariant(&RegistrationKernels::reducePatch, [](auto scalar, auto variant) {
    Random random(6);
    for (const int32_t spacing : {1, 2, 3, 4, 5, 7, 8, 15, 16, 17, 256}) {
      const int modes = spacing > 16 ? 1 : kFillModes;  // large windows take long to fill
      for (int mode = 0; mode < modes; ++mode) {
        const int32_t side = spacing * kPatchSide;
        PageBuffer<uint8_t> window(size(side * side));
        fill<uint8_t>(window, random, mode, 0, 255);
        Pair<uint8_t> patch = {PageBuffer<uint8_t>(kPatchBufferSize),
                               PageBuffer<uint8_t>(kPatchBufferSize)};
        scalar(window.data(), side, spacing, patch[0].data());
        variant(window.data(), side, spacing, patch[1].data());
        for (auto& p : patch) {
          std::fill(p.span().begin() + kPatchSide * kPatchSide, p.span().end(), uint8_t{0});
        }
        expectSame(patch[0], patch[1], "spacing " + std::to_string(spacing));
      }
    }
  });
}

TEST(HaarSums, EqualsScalar) {
  forEachRegistrationVariant(&RegistrationKernels::haarSums, [](auto scalar, auto variant) {
    Random random(7);
    for (int round = 0; round < 40; ++round) {
      PageBuffer<uint8_t> patch(kPatchBufferSize);
      fill<uint8_t>(patch, random, round % kFillModes, 0, 255);
      Pair<int32_t> sums = {PageBuffer<int32_t>(64), PageBuffer<int32_t>(64)};
      scalar(patch.data(), sums[0].data());
      variant(patch.data(), sums[1].data());
      expectSame(sums[0], sums[1], "round " + std::to_string(round));
    }
  });
}

// Descriptors as they are (within 2^23) and as anything a caller may pass.
struct Descriptors {
  Descriptors(int32_t count, Random& random, int mode) : values(size(count * kDescriptorLength)) {
    const int32_t limit = mode == 0 ? 1 << 23 : INT32_MAX;
    fill<int32_t>(values, random, mode, -limit, limit);
    for (int32_t i = 0; i < count; ++i) {
      rows.push_back(values.data() + std::ptrdiff_t{kDescriptorLength} * i);
      indices.push_back(static_cast<int32_t>(random.range(0, count - 1)));
    }
  }
  PageBuffer<int32_t> values;
  std::vector<const int32_t*> rows;
  std::vector<int32_t> indices;
};

TEST(DescriptorDistance, EqualsScalar) {
  forEachRegistrationVariant(
      &RegistrationKernels::descriptorDistance, [](auto scalar, auto variant) {
        Random random(8);
        for (int round = 0; round < 100; ++round) {
          const Descriptors two(2, random, round % kFillModes);
          EXPECT_EQ(variant(two.rows[0], two.rows[1]), scalar(two.rows[0], two.rows[1])) << round;
        }
      });
}

TEST(DescriptorSums, EqualsScalar) {
  forEachRegistrationVariant(&RegistrationKernels::descriptorSums, [](auto scalar, auto variant) {
    Random random(9);
    for (const int32_t count : {0, 1, 2, 7, 101}) {
      const Descriptors d(std::max(count, 1), random, count % kFillModes);
      Pair<int32_t> sums = {PageBuffer<int32_t>(64), PageBuffer<int32_t>(64)};
      scalar(d.rows.data(), d.indices.data(), count, sums[0].data());
      variant(d.rows.data(), d.indices.data(), count, sums[1].data());
      expectSame(sums[0], sums[1], std::to_string(count) + " descriptors");
    }
  });
}

TEST(DescriptorSpreads, EqualsScalar) {
  forEachRegistrationVariant(
      &RegistrationKernels::descriptorSpreads, [](auto scalar, auto variant) {
        Random random(10);
        for (const int32_t count : {0, 1, 2, 7, 101}) {
          const Descriptors d(std::max(count, 1), random, count % kFillModes);
          PageBuffer<int32_t> means(64);
          fill<int32_t>(means, random, 0, -(1 << 22), 1 << 22);
          Pair<int32_t> spreads = {PageBuffer<int32_t>(64), PageBuffer<int32_t>(64)};
          scalar(d.rows.data(), d.indices.data(), count, means.data(), spreads[0].data());
          variant(d.rows.data(), d.indices.data(), count, means.data(), spreads[1].data());
          expectSame(spreads[0], spreads[1], std::to_string(count) + " descriptors");
        }
      });
}

TEST(FirstSmallest, EqualsScalar) {
  forEachRegistrationVariant(&RegistrationKernels::firstSmallest, [](auto scalar, auto variant) {
    Random random(11);
    for (const int32_t count : kCounts) {
      if (count == 0) continue;
      for (int round = 0; round < 40; ++round) {
        PageBuffer<int32_t> values(size(count));
        const int32_t limit = round % 2 == 0 ? 2 : INT32_MAX;
        fill<int32_t>(values, random, round % kFillModes, -limit, limit);
        EXPECT_EQ(variant(values.data(), count), scalar(values.data(), count)) << count;
      }
    }
  });
}

// Nine values of a homography: a close view, a steep one whose rows cross the vanishing line,
// values that saturate, any bits (infinities, tiny numbers and what is not a number among them).
enum class View { close, steep, huge, tiny, anyBits };

void fillHomography(PageBuffer<float>& h, Random& random, View view) {
  const auto around = [&](double centre, double spread) {
    return static_cast<float>(centre + spread * (2 * random.unit() - 1));
  };
  for (std::size_t i = 0; i < 9; ++i) {
    switch (view) {
      case View::close:
        h[i] = i >= 6             ? around(0, 1e-4)
               : i == 2 || i == 5 ? around(0, 40)
                                  : around(i % 4 == 0, 0.1);
        break;
      case View::steep:
        // -1 / 64 makes the denominator zero at a whole column for y = 0.
        h[i] = i == 6 ? -1.0f / 64 : i == 7 ? around(0, 0.01) : around(0, 100);
        break;
      case View::huge:
        h[i] = around(0, i >= 6 ? 1e-3 : 3e38);
        break;
      case View::tiny:
        h[i] = around(0, i >= 6 ? 1e38 : 3e-38);
        break;
      case View::anyBits:
        h[i] = std::bit_cast<float>(static_cast<uint32_t>(random.next()));
        break;
    }
  }
}

TEST(PositionRow, EqualsScalar) {
  forEachRegistrationVariant(&RegistrationKernels::positionRow, [](auto scalar, auto variant) {
    Random random(12);
    for (const int32_t count : kCounts) {
      for (const View view : {View::close, View::steep, View::huge, View::tiny, View::anyBits}) {
        for (const int32_t y : {0, 1, 479, 1 << 24}) {
          for (int round = 0; round < (view == View::anyBits ? 20 : 2); ++round) {
            PageBuffer<float> h(9);
            fillHomography(h, random, view);
            Pair<int32_t> x = {PageBuffer<int32_t>(size(count)), PageBuffer<int32_t>(size(count))};
            Pair<int32_t> yOut = {PageBuffer<int32_t>(size(count)),
                                  PageBuffer<int32_t>(size(count))};
            scalar(h.data(), y, x[0].data(), yOut[0].data(), count);
            variant(h.data(), y, x[1].data(), yOut[1].data(), count);
            const std::string what = std::to_string(count) + " columns of row " +
                                     std::to_string(y) + ", view " +
                                     std::to_string(static_cast<int>(view));
            expectSame(x[0], x[1], "x of " + what);
            expectSame(yOut[0], yOut[1], "y of " + what);
          }
        }
      }
    }
  });
}

}  // namespace
}  // namespace velmora::test
