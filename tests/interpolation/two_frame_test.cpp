#include <gtest/gtest.h>

#include <vector>

#include "interpolation/destination.h"
#include "interpolation/handle.h"
#include "interpolation/reference.h"
#include "velmora_sr/interpolation.h"

namespace {

using namespace velmora::test;

Bytes fusedBy(const Image& first, const Image& second, const Maps& maps, Span columns, Span rows) {
  Destination destination(columns.out, rows.out, columns.out);
  EXPECT_EQ(ShiftInvariantIntepolationHighPerformanceFastY2FrameLUTFix(
                padded(first).data(), padded(second).data(), destination.data(), 4, 0, first.w,
                first.h, columns.out, rows.out, 1.5f, maps.x.data(), maps.y.data(), columns.from,
                rows.from, columns.to, rows.to),
            0);
  return destination.packed();
}

TEST(TwoFrame, EqualsThePlainComputation) {
  const struct {
    int w, h;
    Span columns, rows;
  } cases[] = {
      {40, 30, {0, 39, 80}, {0, 29, 60}}, {33, 17, {0, 32, 67}, {0, 16, 35}},
      {31, 19, {3, 27, 49}, {2, 17, 31}}, {64, 9, {0, 63, 17}, {0, 8, 3}},
      {3, 2, {0, 2, 15}, {0, 1, 5}},      {1, 1, {0, 0, 4}, {0, 0, 3}},
      {20, 20, {5, 15, 1}, {5, 15, 1}},   {20, 20, {-9, 28, 50}, {-7, 40, 50}},
      {20, 20, {18, 3, 31}, {19, 0, 33}},
  };
  for (const int phases : {50, 1, 7}) {
    for (const bool extreme : {false, true}) {
      const Kernels kernels = extreme ? Kernels::random(phases, 22) : Kernels::lanczos(phases);
      for (const auto& c : cases) {
        const Image first = randomImage(c.w, c.h, 23);
        const Image second = randomImage(c.w, c.h, 24);
        // In place; leaving the frame on two sides; just outside; anywhere; any values.
        const Maps fields[] = {shiftedMaps(c.w, c.h, 0, 0),
                               shiftedMaps(c.w, c.h, 3 * 65536 + 12345, -2 * 65536 - 54321),
                               shiftedMaps(c.w, c.h, c.w << 16, 0),
                               shiftedMaps(c.w, c.h, 0, -(c.h << 16)),
                               scatteredMaps(c.w, c.h),
                               wildMaps(c.w, c.h)};
        for (const Maps& maps : fields) {
          ASSERT_EQ(fusedBy(first, second, maps, c.columns, c.rows),
                    fused(first, second, maps, kernels, c.columns, c.rows))
              << c.w << "x" << c.h << " phases " << phases << " extreme " << extreme << " field "
              << &maps - fields;
        }
      }
    }
  }
}

TEST(TwoFrame, AWeightOfZeroGivesZero) {
  Kernels kernels = Kernels::lanczos(2);
  for (auto& row : kernels.sharp2D)
    row[16] = 0;
  const Image image = randomImage(9, 9, 29);
  EXPECT_EQ(fusedBy(image, image, shiftedMaps(9, 9, 0, 0), {0, 8, 9}, {0, 8, 9}), Bytes(81, 0));
}

TEST(TwoFrame, HalvesNegativeWeightsDownwards) {
  Kernels kernels = Kernels::lanczos(1);
  kernels.sharp2D[0] = {0, 0, 0, 0, 0, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -3};
  const Image image = {5, 1, {0, 1, 2, 3, 254}};
  // (-x - 2) / -3, the half of -3 being -2.
  EXPECT_EQ(fusedBy(image, image, shiftedMaps(5, 1, 5 << 16, 0), {0, 4, 5}, {0, 0, 1}),
            (Bytes{0, 1, 1, 1, 85}));
}

TEST(TwoFrame, BandsNeedNoOrderAndNoPlan) {
  const Kernels kernels = Kernels::lanczos(50);
  const Image first = randomImage(29, 21, 30);
  const Image second = randomImage(29, 21, 31);
  const Maps maps = shiftedMaps(29, 21, 3 * 65536 + 12345, -2 * 65536 - 54321);
  const Bytes plane1 = padded(first);
  const Bytes plane2 = padded(second);
  for (const int outH : {1, 3, 46}) {
    Destination destination(53, outH, 53);
    SR_FusionBands bands = {plane1.data(),
                            plane2.data(),
                            destination.data(),
                            29,
                            21,
                            53,
                            outH,
                            maps.x.data(),
                            maps.y.data(),
                            4,
                            1,
                            0,
                            28,
                            20};
    for (const int index : {15, 11, 13, 12, 16, 14})
      InterPolationY_ThreadFunc(&bands, index);
    EXPECT_EQ(destination.packed(),
              fused(first, second, maps, kernels, {1, 28, 53}, {0, 20, outH}));
  }
}

TEST(TwoFrame, TakesChromaFromTheFirstFrame) {
  Handle handle;
  const Kernels kernels = Kernels::lanczos(50);
  const Image y1 = randomImage(27, 19, 34);
  const Image y2 = randomImage(27, 19, 35);
  const Image u = randomImage(13, 9, 36);
  const Image v = randomImage(13, 9, 37);
  const Maps maps = shiftedMaps(27, 19, 3 * 65536 + 12345, -2 * 65536 - 54321);
  Destination yOut(53, 41, 53);
  Destination uOut(26, 20);
  Destination vOut(26, 20);
  const RunningPool pool;
  EXPECT_EQ(ShiftInvariantIntepolation2Frame(padded(y1).data(), padded(u).data(), padded(v).data(),
                                             padded(y2).data(), nullptr, nullptr, yOut.data(),
                                             uOut.data(), vOut.data(), 4, 0, 27, 19, 53, 41, 0.f,
                                             maps.x.data(), maps.y.data(), 3, 1, 26, 17),
            0);
  EXPECT_EQ(yOut.packed(), fused(y1, y2, maps, kernels, {3, 26, 53}, {1, 17, 41}));
  EXPECT_EQ(uOut.packed(), interpolated(u, kernels.plain, {1, 13, 26}, {0, 8, 20}));
  EXPECT_EQ(vOut.packed(), interpolated(v, kernels.plain, {1, 13, 26}, {0, 8, 20}));
  EXPECT_EQ(Handle::leftovers(), "");
}

}  // namespace
