#include "interpolation/reference.h"

#include <algorithm>
#include <utility>

#include "interpolation/kernel_tables.h"
#include "support/random.h"

namespace velmora::test {
namespace {

using Rows = Kernels::Rows;

std::vector<int16_t*> pointersTo(Rows& rows) {
  std::vector<int16_t*> pointers;
  for (auto& row : rows)
    pointers.push_back(row.data());
  return pointers;
}

int64_t floorDivide(int64_t a, int64_t b) {
  return a >= 0 ? a / b : -((-a + b - 1) / b);
}

struct Position {
  int64_t sample;
  int64_t fraction;
};

Position at(int64_t position) {
  const int64_t sample = floorDivide(position, 65536);
  return {sample, position - sample * 65536};
}

/// A plane of clamped samples, each from its vertical and its horizontal position.
template <typename Sample>
Bytes sampled(Span columns, Span rows, Sample sample) {
  const auto position = [](Span span, int k) {
    const double distance = (static_cast<double>(span.to) - span.from) * 65536.0;
    const int64_t step = span.out < 2 ? 0 : static_cast<int64_t>(distance / (span.out - 1));
    return at(span.from * int64_t{65536} + step * k);
  };
  Bytes out;
  for (int k = 0; k < rows.out; ++k) {
    for (int j = 0; j < columns.out; ++j) {
      const int64_t value = sample(position(rows, k), position(columns, j));
      out.push_back(static_cast<uint8_t>(std::clamp<int64_t>(value, 0, 255)));
    }
  }
  return out;
}

}  // namespace

Kernels::Kernels(int phaseCount, Rows plainRows, Rows sharpRows, Rows rows2D)
    : phases(phaseCount),
      plain(std::move(plainRows)),
      sharp(std::move(sharpRows)),
      sharp2D(std::move(rows2D)),
      pointers_{pointersTo(plain), pointersTo(sharp), pointersTo(sharp2D)} {
  G_QUANTIZATION = phases;
  Lanczos1D_4_2_Fix = pointers_[0].data();
  Lanczos1D_4_2_Fix_sharp = pointers_[1].data();
  Lanczos2D_4_2_Fix_Sharp = pointers_[2].data();
}

Kernels::~Kernels() {
  G_QUANTIZATION = 0;
  Lanczos1D_4_2_Fix = nullptr;
  Lanczos1D_4_2_Fix_sharp = nullptr;
  Lanczos2D_4_2_Fix_Sharp = nullptr;
}

Kernels Kernels::lanczos(int phases) {
  G_QUANTIZATION = phases;
  CreateLanczosLUT_ZELK(4, 2, 0.2f, 0.2f);
  Rows plain, sharp, sharp2D;
  for (int i = 0; i < phases * phases; ++i) {
    const auto add = [i](Rows& rows, int16_t** t, int n) { rows.emplace_back(t[i], t[i] + n); };
    if (i < phases) add(plain, Lanczos1D_4_2_Fix, 4);
    if (i < phases) add(sharp, Lanczos1D_4_2_Fix_sharp, 4);
    add(sharp2D, Lanczos2D_4_2_Fix_Sharp, 17);
  }
  releaseKernelTables();
  return {phases, plain, sharp, sharp2D};
}

Kernels Kernels::random(int phases, uint64_t seed) {
  Random values(seed);
  const auto rows = [&](int count, int taps) {
    Rows all(static_cast<std::size_t>(count), std::vector<int16_t>(static_cast<std::size_t>(taps)));
    for (auto& row : all) {
      for (int16_t& tap : row) {
        const int64_t kinds[] = {INT16_MIN, INT16_MAX, 0, values.range(-9000, 9000)};
        tap = static_cast<int16_t>(kinds[std::min<std::size_t>(values.index(8), 3)]);
      }
    }
    return all;
  };
  Rows plain = rows(phases, 4);
  Rows sharp = rows(phases, 4);
  return {phases, plain, sharp, rows(phases <= 64 ? phases * phases : 0, 17)};
}

int64_t mirrored(int64_t i, int64_t n) {
  if (i < 0) return std::min(-i, n - 1);
  return i < n ? i : std::max<int64_t>(2 * (n - 1) - i, 0);
}

int Image::operator()(int64_t y, int64_t x) const {
  if (data.empty()) return 128;
  const auto row = mirrored(std::clamp<int64_t>(y, -2, h + 1), h);
  return data[static_cast<std::size_t>(row * w + mirrored(std::clamp<int64_t>(x, -2, w + 1), w))];
}

Image randomImage(int w, int h, uint64_t seed) {
  Random values(seed);
  Image image = {w, h, values.bytes(static_cast<std::size_t>(w * h))};
  // A quarter of black and white samples: sharp kernels overshoot on them.
  for (auto& sample : image.data) {
    if (values.range(0, 7) == 0) sample = 0;
    if (values.range(0, 7) == 0) sample = 255;
  }
  return image;
}

Bytes padded(const Image& image) {
  Bytes plane;
  for (int y = -2; y < image.h + 2; ++y) {
    for (int x = -2; x < image.w + 2; ++x)
      plane.push_back(static_cast<uint8_t>(image(y, x)));
  }
  return plane;
}

Bytes interpolated(const Image& image, const Rows& table, Span columns, Span rows) {
  const auto taps = [&table](Position p, int i) {
    const auto phase = static_cast<int64_t>(table.size()) * p.fraction / 65536;
    return table[static_cast<std::size_t>(phase)][static_cast<std::size_t>(i)];
  };
  return sampled(columns, rows, [&](Position v, Position h) {
    int64_t sum = 0;
    for (int r = 0; r < 4; ++r) {
      int64_t row = 0;
      for (int c = 0; c < 4; ++c)
        row += image(v.sample - 1 + r, h.sample - 1 + c) * taps(h, c);
      sum += floorDivide(row + 2048, 4096) * taps(v, r);
    }
    return floorDivide(sum + 2048, 4096);
  });
}

Maps shiftedMaps(int w, int h, int dx, int dy) {
  Maps maps;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      maps.x.push_back(x * 65536 + dx);
      maps.y.push_back(y * 65536 + dy);
    }
  }
  return maps;
}

Maps mapsOf(int field, int w, int h) {
  const int shifts[][2] = {
      {0, 0}, {3 * 65536 + 12345, -2 * 65536 - 54321}, {w << 16, 0}, {0, -(h << 16)}};
  if (field < 4) return shiftedMaps(w, h, shifts[field][0], shifts[field][1]);
  Random random(21);
  Maps maps;
  for (int i = 0; i < w * h; ++i) {
    const bool high = random.range(0, 1) == 0;
    const int64_t x = random.range(-6 << 16, (w + 6) << 16);
    const int64_t y =
        field == 4 ? random.range(-6 << 16, (h + 6) << 16) : random.range(INT32_MIN, INT32_MAX);
    maps.x.push_back(field == 4 ? static_cast<int32_t>(x) : high ? INT32_MAX : INT32_MIN);
    maps.y.push_back(static_cast<int32_t>(y));
  }
  return maps;
}

Bytes fused(const Image& first, const Image& second, const Maps& maps, const Kernels& kernels,
            Span columns, Span rows) {
  return sampled(columns, rows, [&](Position v, Position h) {
    int64_t sum = 0;
    int64_t weight = 0;
    const auto addBlock = [&](const Image& image, Position y, Position x) {
      const int64_t phases = kernels.phases;
      const auto& taps = kernels.sharp2D[static_cast<std::size_t>(
          phases * y.fraction / 65536 * phases + phases * x.fraction / 65536)];
      for (int i = 0; i < 16; ++i)
        sum +=
            image(y.sample - 1 + i / 4, x.sample - 1 + i % 4) * taps[static_cast<std::size_t>(i)];
      weight += taps[16];
    };
    addBlock(first, v, h);
    const auto index =
        static_cast<std::size_t>(std::clamp<int64_t>(v.sample, 0, first.h - 1) * first.w +
                                 std::clamp<int64_t>(h.sample, 0, first.w - 1));
    const Position x = at(maps.x[index] + h.fraction);
    const Position y = at(maps.y[index] + v.fraction);
    if (y.sample >= 0 && y.sample < second.h && x.sample >= 0 && x.sample < second.w)
      addBlock(second, y, x);
    return weight == 0 ? 0 : (sum + floorDivide(weight, 2)) / weight;
  });
}

}  // namespace velmora::test
