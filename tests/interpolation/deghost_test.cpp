#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "interpolation/ghost_weights.h"
#include "interpolation/handle.h"
#include "interpolation/reference.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "velmora_sr/deghosting.h"

namespace {

using namespace velmora::test;

std::array<int16_t, 256> weightsOf(int low, int high) {
  std::array<int16_t, 256> table;
  table.fill(-1);
  CreateDeGhostLUTOnline(table.data(), low, high);
  return table;
}

std::vector<int> plainWeights(int low, int high) {
  std::vector<int> weights;
  for (int i = 0; i < 256; ++i) {
    double f = 0;
    if (i < low) {
      f = 1;
    } else if (i < high) {
      f = static_cast<double>(high - i) / (high - low);
    }
    weights.push_back(static_cast<int>(f * 4096 + 0.5));
  }
  return weights;
}

TEST(DeGhostWeights, FallFromTheLowToTheHighThreshold) {
  const struct {
    int low, high, difference, weight;
  } cases[] = {
      {1, 5, 0, 4096},   {1, 5, 1, 4096},    {1, 5, 2, 3072},   {1, 5, 4, 1024},
      {1, 5, 5, 0},      {20, 60, 20, 4096}, {20, 60, 59, 102}, {20, 60, 60, 0},
      {0, 255, 254, 16}, {1, 15, 14, 293},   {20, 60, 21, 3994}};  // 39 / 40 of 4096 is 3993.6
  for (const auto& c : cases)
    EXPECT_EQ(weightsOf(c.low, c.high)[static_cast<std::size_t>(c.difference)], c.weight) << c.low;
}

// They are a step where the thresholds meet or cross.
TEST(DeGhostWeights, EqualTheFormulaForAllThresholds) {
  constexpr int kMax = std::numeric_limits<int>::max();
  for (const auto& [low, high] : {std::pair{1, 5},
                                  {1, 15},
                                  {20, 60},
                                  {0, 255},
                                  {7, 7},
                                  {9, 3},
                                  {0, 0},
                                  {255, 0},
                                  {-5, -9},
                                  {kMax, -kMax - 1}}) {
    const auto table = weightsOf(low, high);
    EXPECT_EQ(std::vector<int>(table.begin(), table.end()), plainWeights(low, high))
        << low << ", " << high;
  }
  EXPECT_EQ(std::vector<int>(Degost_LUT, std::end(Degost_LUT)), plainWeights(1, 15));
}

// --- A plain version of the algorithm ---

struct Frame {
  int w, h;
  Bytes data;

  [[nodiscard]] int chromaWidth() const { return w / 2; }
  [[nodiscard]] int chromaHeight() const { return h / 2; }
  uint8_t& luma(int y, int x) { return data[static_cast<std::size_t>(y * w + x)]; }
  /// Byte 0 or 1 of a pair.
  uint8_t& chroma(int row, int pair, int byte) {
    return data[static_cast<std::size_t>(w * h + (row * chromaWidth() + pair) * 2 + byte)];
  }
};

Frame frameOf(int w, int h, uint64_t seed) {
  return {w, h, Random(seed).bytes(static_cast<std::size_t>(w * h + 2 * (w / 2) * (h / 2)))};
}

/// A second frame that differs from the first by at most `most` in each byte.
Frame near(const Frame& frame, int most, uint64_t seed) {
  Random random(seed);
  Frame other = frame;
  for (auto& byte : other.data)
    byte = static_cast<uint8_t>(std::clamp<int64_t>(byte + random.range(-most, most), 0, 255));
  return other;
}

int rounded12(int value) {
  return std::clamp(static_cast<int>(std::floor((value + 2048) / 4096.0)), 0, 255);
}

/// @param kept  takes the Q12 weight of each sample of the first frame
Frame deghosted(Frame guide, Frame first, const Maps& maps, const std::vector<int>& weights,
                std::vector<int>& kept) {
  Frame result = first;
  kept.assign(static_cast<std::size_t>(first.w * first.h), 4096);
  const int w = first.w;
  const int h = first.h;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      // The band that holds the row, the block that holds the sample, the block's map entry.
      int band = 3;
      while (y < band * h / 4)
        --band;
      const int bandStart = band * h / 4;
      const int blockY = bandStart + (y - bandStart) / 4 * 4;
      const int blockX = x / 4 * 4;
      const auto entry = static_cast<std::size_t>(blockY * w + blockX);
      const int gx = static_cast<int>(std::floor(maps.x[entry] / 65536.0)) + x - blockX;
      const int gy = static_cast<int>(std::floor(maps.y[entry] / 65536.0)) + y - blockY;
      if (gx < 0 || gy < 0 || gx >= w - 1 || gy >= h - 1) continue;
      const int fx = static_cast<int>((static_cast<uint32_t>(maps.x[entry]) >> 8) % 256);
      const int fy = static_cast<int>((static_cast<uint32_t>(maps.y[entry]) >> 8) % 256);
      const int pairRow = std::min(y / 2, first.chromaHeight() - 1);
      const int pair = std::min(x / 2, first.chromaWidth() - 1);
      int difference = std::abs(first.luma(y, x) - guide.luma(gy, gx));
      for (int byte = 0; byte < 2; ++byte) {
        difference = std::max(difference, std::abs(first.chroma(pairRow, pair, byte) -
                                                   guide.chroma(gy / 2, gx / 2, byte)));
      }
      const int k = weights[static_cast<std::size_t>(difference)];
      kept[static_cast<std::size_t>(y * w + x)] = k;
      const int upper = (256 - fx) * guide.luma(gy, gx) + (fx - 1) * guide.luma(gy, gx + 1);
      const int lower = (256 - fx) * guide.luma(gy + 1, gx) + (fx - 1) * guide.luma(gy + 1, gx + 1);
      const int value =
          static_cast<int>(std::floor((upper * (256 - fy) + lower * (fy - 1) + 32768) / 65536.0));
      result.luma(y, x) =
          static_cast<uint8_t>(rounded12(k * first.luma(y, x) + (4096 - k) * value));
      if (x % 2 != 0 || y % 2 != 0 || x / 2 >= first.chromaWidth() || y / 2 >= first.chromaHeight())
        continue;
      for (int byte = 0; byte < 2; ++byte) {
        result.chroma(y / 2, x / 2, byte) =
            static_cast<uint8_t>(rounded12(k * first.chroma(y / 2, x / 2, byte) +
                                           (4096 - k) * guide.chroma(gy / 2, gx / 2, byte)));
      }
    }
  }
  return result;
}

// --- Calls of the library ---

/// De-ghosts a copy of `first` and returns it; all bytes around it are watched.
Frame deghostedBy(Handle& handle, const Frame& guide, const Frame& first, const Maps& maps, int low,
                  int high) {
  constexpr std::size_t kCanary = 24;
  Bytes buffer(first.data.size() + 2 * kCanary, 0x5C);
  std::copy(first.data.begin(), first.data.end(), buffer.begin() + kCanary);
  const Bytes guideBefore = guide.data;
  handle.priv.ghostLowThr = low;
  handle.priv.ghostHighThr = high;
  DeGhost(guide.data.data(), buffer.data() + kCanary, &handle.priv, first.w, first.h, maps.x.data(),
          maps.y.data());
  EXPECT_EQ(guide.data, guideBefore);
  for (std::size_t i = 0; i < kCanary; ++i) {
    EXPECT_EQ(buffer[i], 0x5C);
    EXPECT_EQ(buffer[buffer.size() - 1 - i], 0x5C);
  }
  EXPECT_EQ(Handle::leftovers(), "");
  return {first.w, first.h, Bytes(buffer.begin() + kCanary, buffer.end() - kCanary)};
}

/// The weights as the library shows and counts them are those of the plain version.
void expectWeights(const velmora::GhostWeights& weights, const std::vector<int>& kept, int w,
                   int h) {
  Bytes plane(kept.size(), 7);
  weights.write(plane.data());
  const velmora::ValidRegion part = {w / 3, h / 4, w + 5, h - 1};  // reaches outside
  double replaced = 0;
  int samples = 0;
  for (int i = 0; i < w * h; ++i) {
    const int k = kept[static_cast<std::size_t>(i)];
    ASSERT_EQ(plane[static_cast<std::size_t>(i)], (k * 255 + 2048) / 4096) << i;
    if (i % w < part.startW || i / w < part.startH) continue;
    replaced += (4096 - k) / 4096.0;
    ++samples;
  }
  EXPECT_NEAR(weights.replacedShare(part), replaced / samples, 1e-12);
  EXPECT_EQ(weights.replacedShare({5, 5, 4, 9}), 0);
}

TEST(DeGhost, EqualsThePlainComputation) {
  Handle handle;
  const RunningPool pool;
  // Bands that are and are not multiples of blocks, odd sizes, sizes below a block and a band.
  const int sizes[][2] = {{48, 32}, {50, 38}, {33, 31}, {17, 6}, {5, 23},
                          {3, 3},   {2, 2},   {1, 9},   {9, 1},  {66, 1}};
  for (const auto& size : sizes) {
    const int w = size[0];
    const int h = size[1];
    const Frame first = frameOf(w, h, 42);
    const Frame similar = near(first, 9, 43);
    const Frame other = frameOf(w, h, 44);
    const Maps fields[] = {shiftedMaps(w, h, 0, 0), shiftedMaps(w, h, 2 * 65536 + 40000, -70000),
                           shiftedMaps(w, h, -65537, 65535), scatteredMaps(w, h), wildMaps(w, h)};
    for (const auto& [low, high] : {std::pair{1, 5}, {1, 15}, {20, 60}, {0, 255}, {9, 4}, {0, 0}}) {
      const auto weights = plainWeights(low, high);
      for (const Maps& maps : fields) {
        for (const Frame* guide : {&similar, &other}) {
          std::vector<int> kept;
          ASSERT_EQ(deghostedBy(handle, *guide, first, maps, low, high).data,
                    deghosted(*guide, first, maps, weights, kept).data)
              << w << "x" << h << " thresholds " << low << ", " << high << " field "
              << &maps - fields;
          expectWeights({guide->data.data(), first.data.data(), handle.priv, w, h, maps.x.data(),
                         maps.y.data()},
                        kept, w, h);
        }
      }
    }
  }
}

TEST(DeGhost, ReplacesWhatDiffersFromTheGuideAndKeepsTheRest) {
  Handle handle;
  const int w = 32;
  const int h = 16;
  const Frame guide = {w, h, Bytes(32 * 16 * 3 / 2, 100)};
  // Flat areas: without a fraction the guide counts (256 - 1) / 256 per axis, 99.2 of 100.
  for (const auto& [value, expected] :
       {std::pair{100, 100}, {101, 101}, {99, 99}, {105, 99}, {0, 99}, {255, 99}, {103, 101}}) {
    const Frame first = {w, h, Bytes(guide.data.size(), static_cast<uint8_t>(value))};
    Frame result = deghostedBy(handle, guide, first, shiftedMaps(w, h, 0, 0), 1, 5);
    EXPECT_EQ(result.luma(7, 9), expected) << value;
    // Chroma is not interpolated: a replaced pair is the guide's.
    const int chroma = std::abs(value - 100) >= 5 ? 100 : value == 103 ? 102 : value;
    EXPECT_EQ(result.chroma(3, 4, 0), chroma) << value;
    EXPECT_EQ(result.chroma(3, 4, 1), chroma) << value;
    // The last column and row have no bilinear neighbour in the guide.
    EXPECT_EQ(result.luma(7, w - 1), value);
    EXPECT_EQ(result.luma(h - 1, 9), value);
  }
}

TEST(DeGhost, BandsReachNoFurtherThanTheirRows) {
  const int w = 21;
  const int h = 14;
  const Frame guide = frameOf(w, h, 46);
  const Frame first = frameOf(w, h, 47);
  const Maps maps = shiftedMaps(w, h, 30000, 50000);
  const auto weights = weightsOf(0, 0);
  Frame partly = first;
  Bytes scratch(static_cast<std::size_t>(2 * (w / 2) * (h / 2)), 0x5C);
  SR_DeGhostBand band = {
      guide.data.data(), partly.data.data(), w, h, 3, 8, maps.x.data(), maps.y.data(),
      scratch.data(),    weights.data()};
  DeGhostThreadFunc(&band, 12);
  EXPECT_TRUE(std::equal(first.data.begin(), first.data.begin() + 3 * w, partly.data.begin()));
  EXPECT_TRUE(
      std::equal(first.data.begin() + 8 * w, first.data.end(), partly.data.begin() + 8 * w));
  for (int row = 3; row < 8; ++row)
    EXPECT_NE(partly.luma(row, 5), Frame(first).luma(row, 5)) << row;
  // Rows 4 and 6 own chroma rows 2 and 3.
  for (int row = 0; row < h / 2; ++row) {
    const auto begin = scratch.begin() + row * 2 * (w / 2);
    const bool untouched = std::all_of(begin, begin + 2 * (w / 2), [](int b) { return b == 0x5C; });
    EXPECT_EQ(untouched, row != 2 && row != 3) << row;
  }
}

TEST(DeGhost, LeavesTheFramesAloneWhereItCannotWork) {
  Handle handle;
  const Frame guide = frameOf(20, 10, 50);
  const Frame first = frameOf(20, 10, 51);
  const Maps maps = shiftedMaps(20, 10, 0, 0);
  LogCapture log;
  TestAllocator::failRequest(0);
  EXPECT_EQ(deghostedBy(handle, guide, first, maps, 0, 0).data, first.data);
  EXPECT_EQ(
      log.take(),
      (std::vector<LogLine>{{6, "NB7UO_ZELK", "NB7UO_ZELK: DeGhost: alloc memory failed.\n"}}));
  EXPECT_NE(deghostedBy(handle, guide, first, maps, 0, 0).data, first.data);
  EXPECT_EQ(TestAllocator::requests(), (std::vector<uint32_t>{100, 100}));

  Bytes output = first.data;
  SR_ParamsPrivate withoutHandle = handle.priv;
  withoutHandle.pub = nullptr;
  DeGhost(guide.data.data(), output.data(), &withoutHandle, 20, 10, maps.x.data(), maps.y.data());
  DeGhost(nullptr, output.data(), &handle.priv, 20, 10, maps.x.data(), maps.y.data());
  DeGhost(guide.data.data(), nullptr, &handle.priv, 20, 10, maps.x.data(), maps.y.data());
  DeGhost(guide.data.data(), output.data(), nullptr, 20, 10, maps.x.data(), maps.y.data());
  DeGhost(guide.data.data(), output.data(), &handle.priv, 0, 10, maps.x.data(), maps.y.data());
  DeGhost(guide.data.data(), output.data(), &handle.priv, 20, -1, maps.x.data(), maps.y.data());
  DeGhost(guide.data.data(), output.data(), &handle.priv, 20, 10, nullptr, maps.y.data());
  DeGhost(guide.data.data(), output.data(), &handle.priv, 20, 10, maps.x.data(), nullptr);
  EXPECT_EQ(output, first.data);
  const auto texts = log.takeTexts();
  ASSERT_EQ(texts.size(), 8u);
  EXPECT_EQ(texts[0], "NB7UO_ZELK: DeGhost: alloc memory failed.\n");
  for (std::size_t i = 1; i < texts.size(); ++i)
    EXPECT_EQ(texts[i], "NB7UO_ZELK: DeGhost: params out of range.\n");
}

}  // namespace
