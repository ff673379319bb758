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
    BandCall luma(outH);
    for (const int index : {15, 11, 12, 16, 14, 13})
      InterPolationY1Frame_H_ThreadFunc(&luma.y, index);
    for (const int index : {13, 12, 15, 14, -1})
      InterPolationY1Frame_V_ThreadFunc(&luma.y, index);
    EXPECT_EQ(luma.outputs[0].packed(),
              interpolated(luma.images[0], kernels.sharp, luma.columns, luma.rows));
    EXPECT_TRUE(luma.outputs[1].untouched());

    BandCall call(outH);
    for (const int index : {15, 14, 13, 12})
      InterPolationUV1Frame_H_ThreadFunc(&call.uv, index);
    for (const int index : {14, 15, 12, 13})
      InterPolationUV1Frame_V_ThreadFunc(&call.uv, index);
    for (const std::size_t plane : {0u, 1u})
      EXPECT_EQ(call.outputs[plane].packed(),
                interpolated(call.images[plane], kernels.plain, call.columns, call.rows));
    for (const int index : {15, 11, 13, 12, 16, 14})
      InterPolationY_ThreadFunc(&call.fusion, index);
    EXPECT_EQ(call.outputs[2].packed(),
              fused(call.images[0], call.images[1], call.maps, kernels, call.columns, call.rows));
  }
}

// The caller's band, index 12, takes the remainder. The horizontal pass shares out the rows 1 to 23
// of the padded plane; the first and the last row go with their neighbours.
TEST(Bands, HoldAQuarterOfTheRowsEach) {
  const Kernels kernels = Kernels::random(50, 11);
  const struct {
    int outH;
    int firstRows[5];
  } cases[] = {{7, {0, 4, 5, 6, 7}}, {8, {0, 2, 4, 6, 8}}, {3, {0, 3, 3, 3, 3}}};
  constexpr int kPaddedFirstRows[5] = {0, 9, 14, 19, 25};
  for (const auto& c : cases) {
    for (int band = 0; band < 4; ++band) {
      const auto expectOwn = [band](const int* firstRows, int row, bool written) {
        EXPECT_EQ(written, row >= firstRows[band] && row < firstRows[band + 1])
            << "row " << row << ", band " << band;
      };
      BandCall call(c.outH);
      InterPolationY1Frame_H_ThreadFunc(&call.y, 12 + band);
      for (int row = 0; row < 25; ++row)
        expectOwn(kPaddedFirstRows, row,
                  call.intermediates[0].data()[row * 53] != PageBuffer<int16_t>::unwritten());
      InterPolationY1Frame_V_ThreadFunc(&call.y, 12 + band);
      for (int row = 0; row < c.outH; ++row) {
        const uint8_t* samples = call.outputs[0].data() + row * 56;
        expectOwn(c.firstRows, row,
                  std::count(samples, samples + 53, Destination::kUnwritten) < 53);
      }
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
