#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "interpolation/destination.h"
#include "interpolation/handle.h"
#include "interpolation/reference.h"
#include "velmora_sr/interpolation.h"
#include "velmora_sr/kernel_tables.h"

namespace {

using namespace velmora::test;

Bytes lumaOf(const Image& image, Span columns, Span rows) {
  Destination destination(columns.out, rows.out);
  EXPECT_EQ(ShiftInvariantIntepolationSeparateY1FrameLUTFix(
                padded(image).data(), destination.data(), 4, -1, image.w, image.h, columns.out,
                rows.out, columns.from, rows.from, columns.to, rows.to),
            0);
  EXPECT_EQ(Handle::leftovers(), "");
  return destination.packed();
}

struct Planes {
  Bytes u, v;
};

Planes chromaOf(const Image& u, const Image& v, Span columns, Span rows) {
  Destination uDestination(columns.out, rows.out);
  Destination vDestination(columns.out, rows.out);
  EXPECT_EQ(ShiftInvariantIntepolationSeparateUV1FrameLUTFix(
                padded(u).data(), padded(v).data(), uDestination.data(), vDestination.data(), 4, -1,
                u.w, u.h, columns.out, rows.out, columns.from, rows.from, columns.to, rows.to),
            0);
  EXPECT_EQ(Handle::leftovers(), "");
  return {uDestination.packed(), vDestination.packed()};
}

std::string describe(const Image& image, Span columns, Span rows) {
  std::string text = std::to_string(image.w) + "x" + std::to_string(image.h);
  for (const Span span : {columns, rows}) {
    text += " [" + std::to_string(span.from) + ", " + std::to_string(span.to) + "] to " +
            std::to_string(span.out);
  }
  return text;
}

struct Case {
  int w, h;
  Span columns, rows;
};

// Whole images, inner regions, widths around blocks of 8, 16 and 32, enlarging and shrinking, fewer
// rows than bands, axes of one sample, and regions that leave the image or run backwards.
constexpr Case kCases[] = {
    {40, 30, {0, 39, 80}, {0, 29, 60}},
    {40, 30, {0, 39, 40}, {0, 29, 30}},
    {40, 30, {4, 35, 63}, {2, 27, 51}},
    {33, 17, {0, 32, 71}, {0, 16, 37}},
    {31, 19, {1, 30, 65}, {3, 15, 16}},
    {64, 9, {0, 63, 17}, {0, 8, 3}},
    {17, 64, {0, 16, 9}, {0, 63, 129}},
    {5, 5, {0, 4, 7}, {0, 4, 7}},
    {3, 2, {0, 2, 15}, {0, 1, 5}},
    {2, 2, {0, 1, 8}, {0, 1, 8}},
    {1, 1, {0, 0, 4}, {0, 0, 3}},
    {20, 20, {5, 15, 1}, {5, 15, 1}},
    {20, 20, {5, 15, 2}, {5, 15, 1}},
    {20, 20, {-9, 28, 50}, {-7, 40, 50}},
    {20, 20, {18, 3, 31}, {19, 0, 33}},
    {9, 300, {0, 8, 17}, {0, 299, 451}},
    {9, 203, {0, 8, 17}, {202, 0, 500}},
    {20, 20, {150, -72, 40}, {150, -80, 41}},
    {20, 20, {-2147483647, 2147483647, 23}, {2147483647, -2147483647, 9}},
};

TEST(SingleFrame, EqualsThePlainComputation) {
  Handle handle;
  const RunningPool pool;
  for (const int phases : {50, 1, 3, 64}) {
    for (const bool extreme : {false, true}) {
      const Kernels kernels = extreme ? Kernels::random(phases, 7) : Kernels::lanczos(phases);
      for (const Case& c : kCases) {
        const Image image = randomImage(c.w, c.h, 1);
        const Image second = randomImage(c.w, c.h, 2);
        const std::string what = describe(image, c.columns, c.rows) +
                                 (extreme ? " extreme taps, phases " : " phases ") +
                                 std::to_string(kernels.phases);
        ASSERT_EQ(lumaOf(image, c.columns, c.rows),
                  interpolated(image, kernels.sharp, c.columns, c.rows))
            << what;
        const Planes chroma = chromaOf(image, second, c.columns, c.rows);
        ASSERT_EQ(chroma.u, interpolated(image, kernels.plain, c.columns, c.rows)) << what;
        ASSERT_EQ(chroma.v, interpolated(second, kernels.plain, c.columns, c.rows)) << what;
      }
    }
  }
}

TEST(SingleFrame, UsesAllPhasesOfALargeTable) {
  Handle handle;
  // 2D tables of 1024 phases are not needed here and take a million rows.
  const Kernels kernels = Kernels::lanczos(8);
  std::vector<std::vector<int16_t>> rows;
  for (int p = 0; p < 1024; ++p)
    rows.push_back({static_cast<int16_t>(p), static_cast<int16_t>(4096 - p), 0, 0});
  std::vector<int16_t*> pointers;
  for (auto& row : rows)
    pointers.push_back(row.data());
  G_QUANTIZATION = 1024;
  Lanczos1D_4_2_Fix_sharp = pointers.data();
  const Image image = randomImage(9, 9, 3);
  const Span span = {0, 8, 4097};
  const Span few = {0, 8, 3};
  EXPECT_EQ(lumaOf(image, span, few), interpolated(image, rows, span, few));
}

TEST(SingleFrame, HalvesTheGeometryForChroma) {
  Handle handle;
  const Kernels kernels = Kernels::lanczos(50);
  const struct {
    int w, h;
    Span columns, rows;
  } cases[] = {{41, 27, {3, 39, 77}, {1, 26, 53}}, {40, 26, {0, 39, 80}, {0, 25, 52}}};
  for (const auto& c : cases) {
    const Image y = randomImage(c.w, c.h, 4);
    const Image u = randomImage(c.w / 2, c.h / 2, 5);
    const Image v = randomImage(c.w / 2, c.h / 2, 6);
    Destination yOut(c.columns.out, c.rows.out);
    Destination uOut(c.columns.out / 2, c.rows.out / 2);
    Destination vOut(c.columns.out / 2, c.rows.out / 2);
    ASSERT_EQ(ShiftInvariantIntepolation1Frame(padded(y).data(), padded(u).data(), padded(v).data(),
                                               yOut.data(), uOut.data(), vOut.data(), 4, 0, c.w,
                                               c.h, c.columns.out, c.rows.out, c.columns.from,
                                               c.rows.from, c.columns.to, c.rows.to),
              0);
    const Span columns = {c.columns.from / 2, c.columns.to / 2, c.columns.out / 2};
    const Span rows = {c.rows.from / 2, c.rows.to / 2, c.rows.out / 2};
    EXPECT_EQ(yOut.packed(), interpolated(y, kernels.sharp, c.columns, c.rows));
    EXPECT_EQ(uOut.packed(), interpolated(u, kernels.plain, columns, rows));
    EXPECT_EQ(vOut.packed(), interpolated(v, kernels.plain, columns, rows));
  }
}

TEST(SingleFrame, CopiesChromaWhereTheGridsCoincide) {
  Handle handle;
  const Kernels kernels = Kernels::lanczos(50);
  const Image u = randomImage(23, 14, 8);
  const Image v = randomImage(23, 14, 9);
  const Planes chroma = chromaOf(u, v, {0, 22, 23}, {0, 13, 14});
  EXPECT_EQ(chroma.u, u.data);
  EXPECT_EQ(chroma.v, v.data);
  // The sharp table sharpens there as well.
  EXPECT_NE(lumaOf(u, {0, 22, 23}, {0, 13, 14}), u.data);
}

/// Two planes of 29 x 21 samples on their way to 53 x outH, without a column plan.
struct BandCall {
  explicit BandCall(int outH) : outputs{Destination(53, outH), Destination(53, outH)} {
    y.source = uv.uSource = planes[0].data();
    uv.vSource = planes[1].data();
    y.destination = uv.uDestination = outputs[0].data();
    uv.vDestination = outputs[1].data();
    y.intermediate = uv.uIntermediate = intermediates[0].data();
    uv.vIntermediate = intermediates[1].data();
    const auto setSizes = [outH](auto& bands) {
      bands.pad = 4;
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
  }
  [[nodiscard]] Bytes expected(std::size_t plane, const std::vector<std::vector<int16_t>>& table) {
    return interpolated(images[plane], table, {1, 28, 53}, {0, 20, y.outH});
  }

  static constexpr int16_t kUnwritten = 0x6B6B;
  Image images[2] = {randomImage(29, 21, 12), randomImage(29, 21, 13)};
  Bytes planes[2] = {padded(images[0]), padded(images[1])};
  std::vector<int16_t> intermediates[2] = {std::vector<int16_t>(25 * 53, kUnwritten),
                                           std::vector<int16_t>(25 * 53, kUnwritten)};
  Destination outputs[2];
  SR_LumaInterpolationBands y = {};
  SR_ChromaInterpolationBands uv = {};
};

TEST(SingleFrame, BandsOfAPassNeedNoOrderAndNoPlan) {
  const Kernels kernels = Kernels::random(50, 11);
  for (const int outH : {2, 3, 47}) {
    BandCall luma(outH);
    for (const int index : {15, 11, 12, 16, 14, 13})
      InterPolationY1Frame_H_ThreadFunc(&luma.y, index);
    for (const int index : {13, 12, 15, 14, -1})
      InterPolationY1Frame_V_ThreadFunc(&luma.y, index);
    EXPECT_EQ(luma.outputs[0].packed(), luma.expected(0, kernels.sharp));
    EXPECT_TRUE(luma.outputs[1].untouched());

    BandCall chroma(outH);
    for (const int index : {15, 14, 13, 12})
      InterPolationUV1Frame_H_ThreadFunc(&chroma.uv, index);
    for (const int index : {14, 15, 12, 13})
      InterPolationUV1Frame_V_ThreadFunc(&chroma.uv, index);
    for (const std::size_t plane : {0u, 1u})
      EXPECT_EQ(chroma.outputs[plane].packed(), chroma.expected(plane, kernels.plain));
  }
}

// The caller's band, index 12, takes the remainder. The horizontal pass shares out the rows 1 to 23
// of the padded plane; the first and the last row go with their neighbours.
TEST(SingleFrame, BandsHoldAQuarterOfTheRowsEach) {
  const Kernels kernels = Kernels::random(50, 11);
  const struct {
    int outH;
    int firstRows[5];
  } cases[] = {{7, {0, 4, 5, 6, 7}}, {8, {0, 2, 4, 6, 8}}, {3, {0, 3, 3, 3, 3}}};
  constexpr int kPaddedFirstRows[5] = {0, 9, 14, 19, 25};
  for (const auto& c : cases) {
    for (int band = 0; band < 4; ++band) {
      BandCall call(c.outH);
      InterPolationY1Frame_H_ThreadFunc(&call.y, 12 + band);
      for (int row = 0; row < 25; ++row) {
        const bool own = row >= kPaddedFirstRows[band] && row < kPaddedFirstRows[band + 1];
        EXPECT_EQ(call.intermediates[0][static_cast<std::size_t>(row * 53)] != BandCall::kUnwritten,
                  own)
            << "padded row " << row << ", band " << band;
      }
      InterPolationY1Frame_V_ThreadFunc(&call.y, 12 + band);
      for (int row = 0; row < c.outH; ++row) {
        const bool own = row >= c.firstRows[band] && row < c.firstRows[band + 1];
        const uint8_t* samples = call.outputs[0].data() + row * 56;
        EXPECT_EQ(std::count(samples, samples + 53, kUntouched) < 53, own)
            << "row " << row << " of " << c.outH << ", band " << band;
      }
    }
  }
}

}  // namespace
