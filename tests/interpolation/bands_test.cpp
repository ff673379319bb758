// Jobs of the thread pool, each band alone: who writes which rows, in any order, without a plan.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "interpolation/column_plan.h"
#include "interpolation/handle.h"
#include "interpolation/reference.h"
#include "interpolation/separable_passes.h"
#include "velmora_sr/interpolation.h"

namespace velmora::test {
namespace {

/// Two planes of 29 x 21 samples on their way to 53 x outH, without a column plan.
struct BandCall {
  explicit BandCall(int outH)
      : outputs{Destination(53, outH, 56), Destination(53, outH, 56), Destination(53, outH, 53)} {
    y.source = uv.uSource = fusion.firstFrame = planes[0].data();
    uv.vSource = fusion.secondFrame = planes[1].data();
    y.destination = uv.uDestination = outputs[0].data();
    uv.vDestination = outputs[1].data();
    fusion.destination = outputs[2].data();
    y.intermediate = uv.uIntermediate = intermediates[0].data();
    uv.vIntermediate = intermediates[1].data();
    fusion.mapX = maps.x.data();
    fusion.mapY = maps.y.data();
    y.pad = uv.pad = fusion.taps = 4;
    const auto setSizes = [outH](auto& bands) {
      bands.inW = 29;
      bands.inH = 21;
      bands.outW = 53;
      bands.outH = outH;
      bands.x0 = 1;
      bands.x1 = 28;
      bands.y1 = 20;
    };
    setSizes(y);
    setSizes(uv);
    setSizes(fusion);
    rows.out = outH;
  }

  Image images[2] = {randomImage(29, 21, 12), randomImage(29, 21, 13)};
  Bytes planes[2] = {padded(images[0]), padded(images[1])};
  Maps maps = mapsOf(1, 29, 21);
  PageBuffer<int16_t> intermediates[2] = {PageBuffer<int16_t>(25 * 53),
                                          PageBuffer<int16_t>(25 * 53)};
  Destination outputs[3];
  SR_LumaInterpolationBands y = {};
  SR_ChromaInterpolationBands uv = {};
  SR_FusionBands fusion = {};
  Span columns = {1, 28, 53};
  Span rows = {0, 20, 0};
};

TEST(Bands, NeedNoOrderAndNoPlan) {
  const Kernels kernels = Kernels::random(50, 11);
  for (const int outH : {1, 2, 3, 47}) {
    const auto run = [](auto job, auto* bands, std::initializer_list<int> indices) {
      for (const int index : indices)
        job(bands, index);
    };
    BandCall luma(outH);
    run(InterPolationY1Frame_H_ThreadFunc, &luma.y, {15, 11, 12, 16, 14, 13});
    run(InterPolationY1Frame_V_ThreadFunc, &luma.y, {13, 12, 15, 14, -1});
    EXPECT_EQ(luma.outputs[0].packed(),
              interpolated(luma.images[0], kernels.sharp, luma.columns, luma.rows));
    EXPECT_TRUE(luma.outputs[1].untouched());

    BandCall call(outH);
    run(InterPolationUV1Frame_H_ThreadFunc, &call.uv, {15, 14, 13, 12});
    run(InterPolationUV1Frame_V_ThreadFunc, &call.uv, {14, 15, 12, 13});
    for (const std::size_t plane : {0u, 1u})
      EXPECT_EQ(call.outputs[plane].packed(),
                interpolated(call.images[plane], kernels.plain, call.columns, call.rows));
    run(InterPolationY_ThreadFunc, &call.fusion, {15, 11, 13, 12, 16, 14});
    EXPECT_EQ(call.outputs[2].packed(),
              fused(call.images[0], call.images[1], call.maps, kernels, call.columns, call.rows));
  }
}

// The caller's band, index 12, takes the remainder. The horizontal pass shares out the rows 1 to 23
// of the padded plane; the first and the last row go with their neighbours.
TEST(Bands, HoldAQuarterOfTheRowsEach) {
  const Kernels kernels = Kernels::random(50, 11);
  constexpr int kPaddedFirstRows[5] = {0, 9, 14, 19, 25};
  constexpr int kFirstRows[][5] = {{0, 4, 5, 6, 7}, {0, 2, 4, 6, 8}, {0, 3, 3, 3, 3}};
  for (const auto& firstRows : kFirstRows) {
    for (int band = 0; band < 4; ++band) {
      const auto expectOwn = [band](const int* first, int pitch, const auto* samples,
                                    auto unwritten) {
        for (int row = 0; row < first[4]; ++row)
          EXPECT_EQ(std::count(samples + row * pitch, samples + row * pitch + 53, unwritten) < 53,
                    row >= first[band] && row < first[band + 1])
              << "row " << row << ", band " << band;
      };
      BandCall call(firstRows[4]);
      InterPolationY1Frame_H_ThreadFunc(&call.y, 12 + band);
      expectOwn(kPaddedFirstRows, 53, call.intermediates[0].data(),
                PageBuffer<int16_t>::unwritten());
      InterPolationY1Frame_V_ThreadFunc(&call.y, 12 + band);
      expectOwn(firstRows, 56, call.outputs[0].data(), Destination::kUnwritten);
    }
  }
}

// That the output is that of whole bands is the entry points' test.
TEST(Strips, UseFewRowsOfTheIntermediatePlane) {
  const Kernels kernels = Kernels::lanczos(50);
  const PlaneGeometry geometry = {4, 40, 600, 61, 900, 0, 0, 39, 599};
  const std::vector<uint8_t> source(44 * 604, 128);
  const PageBuffer<int16_t> intermediate(61 * 604);
  std::vector<uint8_t> output(61 * 900);
  ColumnPlanOwner columns;
  ASSERT_TRUE(columns.build(geometry, sharpTable()));
  const StripWork strips;
  const SeparablePlanes planes = {.source = {source.data()},
                                  .intermediate = {intermediate.data()},
                                  .destination = {output.data()},
                                  .destinationPitch = 61,
                                  .strips = &strips};
  for (const int32_t thread : {14, 12, 15, 13})
    horizontalBand(geometry, sharpTable(), columns.plan(), planes, thread);
  int32_t used = 0;
  for (int row = 0; row < 604; ++row)
    used += intermediate.data()[row * 61] != PageBuffer<int16_t>::unwritten() ? 1 : 0;
  EXPECT_GT(used, 0);
  EXPECT_LE(used, 4 * 3 * 8);  // three strips of eight rows in each of the four bands
}

}  // namespace
}  // namespace velmora::test
