#include "interpolation/reference.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "support/random.h"
#include "velmora_sr/kernel_tables.h"

namespace velmora::test {
namespace {

using Rows = std::vector<std::vector<int16_t>>;

double lanczos2(double t) {
  constexpr double kPi = 3.14159265358979323846;
  if (t == 0) return 1;
  if (std::fabs(t) >= 2) return 0;
  return std::sin(kPi * t) * std::sin(kPi * t / 2) / (kPi * kPi * t * t / 2);
}

/// Four kernel values of a phase with their mirrored neighbours: [0] is k = -2, [1] is k = -1, ...
std::vector<double> valuesOf(double f) {
  std::vector<double> v(6);
  for (int k = -1; k <= 2; ++k)
    v[static_cast<std::size_t>(k + 2)] = lanczos2(k - f);
  v[0] = v[2];
  v[5] = v[3];
  return v;
}

std::vector<int16_t> normalised(const std::vector<double>& taps) {
  double sum = 0;
  for (const double tap : taps)
    sum += tap;
  std::vector<int16_t> row;
  for (const double tap : taps)
    row.push_back(static_cast<int16_t>(tap / sum * 4096));
  return row;
}

std::vector<int16_t*> pointersTo(Rows& rows) {
  std::vector<int16_t*> pointers;
  for (auto& row : rows)
    pointers.push_back(row.data());
  return pointers;
}

struct Position {
  int64_t sample;
  int64_t fraction;
};

/// Where output sample k of an axis lies.
Position positionOf(Span span, int k) {
  const int64_t step = span.out < 2
                           ? 0
                           : static_cast<int64_t>((static_cast<double>(span.to) - span.from) *
                                                  65536.0 / (span.out - 1));
  const int64_t position = step * k;
  const auto whole = static_cast<int64_t>(std::floor(static_cast<double>(position) / 65536.0));
  return {span.from + whole, position - whole * 65536};
}

int64_t floorDivide(int64_t a, int64_t b) {
  return a >= 0 ? a / b : -((-a + b - 1) / b);
}

}  // namespace

Kernels::Kernels(int phaseCount, Rows plainRows, Rows sharpRows, Rows rows2D)
    : phases(phaseCount),
      plain(std::move(plainRows)),
      sharp(std::move(sharpRows)),
      sharp2D(std::move(rows2D)),
      plainPointers_(pointersTo(plain)),
      sharpPointers_(pointersTo(sharp)),
      sharp2DPointers_(pointersTo(sharp2D)) {
  G_QUANTIZATION = phases;
  Lanczos1D_4_2_Fix = plainPointers_.data();
  Lanczos1D_4_2_Fix_sharp = sharpPointers_.data();
  Lanczos2D_4_2_Fix_Sharp = sharp2DPointers_.data();
}

Kernels::~Kernels() {
  G_QUANTIZATION = 0;
  Lanczos1D_4_2_Fix = nullptr;
  Lanczos1D_4_2_Fix_sharp = nullptr;
  Lanczos2D_4_2_Fix_Sharp = nullptr;
}

Kernels Kernels::lanczos(int phases) {
  Rows plain;
  Rows sharp;
  Rows sharp2D;
  const auto highPass = [](double a, double b, double c) {
    return b + 0.2 * (0.55 * b - 0.275 * (a + c));
  };
  for (int p = 0; p < phases; ++p) {
    const auto v = valuesOf(static_cast<double>(p) / phases);
    plain.push_back(normalised({v[1], v[2], v[3], v[4]}));
    std::vector<double> sharpened;
    for (std::size_t i = 1; i <= 4; ++i)
      sharpened.push_back(highPass(v[i - 1], v[i], v[i + 1]));
    sharp.push_back(normalised(sharpened));
  }
  for (int pv = 0; pv < phases; ++pv) {
    for (int ph = 0; ph < phases; ++ph) {
      const auto v = valuesOf(static_cast<double>(pv) / phases);
      const auto h = valuesOf(static_cast<double>(ph) / phases);
      std::vector<int16_t> row;
      int sum = 0;
      for (std::size_t r = 1; r <= 4; ++r) {
        for (std::size_t c = 1; c <= 4; ++c) {
          row.push_back(static_cast<int16_t>(highPass(v[r - 1], v[r], v[r + 1]) *
                                             highPass(h[c - 1], h[c], h[c + 1]) * 4000));
          sum += row.back();
        }
      }
      row.push_back(static_cast<int16_t>(sum));
      sharp2D.push_back(row);
    }
  }
  return {phases, plain, sharp, sharp2D};
}

Kernels Kernels::random(int phases, uint64_t seed) {
  Random values(seed);
  const auto rows = [&](int count, int taps) {
    Rows all;
    for (int i = 0; i < count; ++i) {
      std::vector<int16_t> row;
      for (int t = 0; t < taps; ++t) {
        const bool extreme = values.range(0, 3) == 0;
        row.push_back(static_cast<int16_t>(extreme ? (values.range(0, 1) == 0 ? -32768 : 32767)
                                                   : values.range(-9000, 9000)));
      }
      all.push_back(row);
    }
    return all;
  };
  Rows plain = rows(phases, 4);
  Rows sharp = rows(phases, 4);
  return {phases, plain, sharp, rows(phases * phases, 17)};
}

int Image::operator()(int64_t y, int64_t x) const {
  const auto mirrored = [](int64_t i, int64_t n) {
    i = std::clamp<int64_t>(i, -2, n + 1);
    if (i < 0) return std::min(-i, n - 1);
    return i < n ? i : std::max<int64_t>(2 * (n - 1) - i, 0);
  };
  return data[static_cast<std::size_t>(mirrored(y, h) * w + mirrored(x, w))];
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

Bytes padded(const Image& image, int border) {
  Bytes plane;
  for (int y = -border; y < image.h + border; ++y) {
    for (int x = -border; x < image.w + border; ++x)
      plane.push_back(static_cast<uint8_t>(image(y, x)));
  }
  return plane;
}

Bytes interpolated(const Image& image, const Rows& table, Span columns, Span rows) {
  const auto phases = static_cast<int64_t>(table.size());
  Bytes out;
  for (int k = 0; k < rows.out; ++k) {
    const Position v = positionOf(rows, k);
    const auto& vTaps = table[static_cast<std::size_t>(phases * v.fraction / 65536)];
    for (int j = 0; j < columns.out; ++j) {
      const Position h = positionOf(columns, j);
      const auto& hTaps = table[static_cast<std::size_t>(phases * h.fraction / 65536)];
      int64_t sum = 0;
      for (int r = 0; r < 4; ++r) {
        int64_t row = 0;
        for (int c = 0; c < 4; ++c)
          row += image(v.sample - 1 + r, h.sample - 1 + c) * hTaps[static_cast<std::size_t>(c)];
        sum += floorDivide(row + 2048, 4096) * vTaps[static_cast<std::size_t>(r)];
      }
      out.push_back(
          static_cast<uint8_t>(std::clamp<int64_t>(floorDivide(sum + 2048, 4096), 0, 255)));
    }
  }
  return out;
}

Bytes fused(const Image& first, const Image& second, const Maps& maps, const Kernels& kernels,
            Span columns, Span rows) {
  const int64_t phases = kernels.phases;
  const auto addBlock = [&](const Image& image, int64_t y, int64_t x, int64_t fractionY,
                            int64_t fractionX, int64_t& sum, int64_t& weight) {
    const auto& taps = kernels.sharp2D[static_cast<std::size_t>(
        phases * fractionY / 65536 * phases + phases * fractionX / 65536)];
    for (int r = 0; r < 4; ++r) {
      for (int c = 0; c < 4; ++c)
        sum += image(y - 1 + r, x - 1 + c) * taps[static_cast<std::size_t>(4 * r + c)];
    }
    weight += taps[16];
  };
  Bytes out;
  for (int k = 0; k < rows.out; ++k) {
    const Position v = positionOf(rows, k);
    for (int j = 0; j < columns.out; ++j) {
      const Position h = positionOf(columns, j);
      int64_t sum = 0;
      int64_t weight = 0;
      addBlock(first, v.sample, h.sample, v.fraction, h.fraction, sum, weight);
      const auto index =
          static_cast<std::size_t>(std::clamp<int64_t>(v.sample, 0, first.h - 1) * first.w +
                                   std::clamp<int64_t>(h.sample, 0, first.w - 1));
      const int64_t x = maps.x[index] + h.fraction;
      const int64_t y = maps.y[index] + v.fraction;
      const int64_t column = floorDivide(x, 65536);
      const int64_t line = floorDivide(y, 65536);
      if (line >= 0 && line < second.h && column >= 0 && column < second.w) {
        addBlock(second, line, column, y - line * 65536, x - column * 65536, sum, weight);
      }
      double value = 0;
      if (weight != 0) {
        value = std::trunc(static_cast<double>(sum + floorDivide(weight, 2)) /
                           static_cast<double>(weight));
      }
      out.push_back(static_cast<uint8_t>(std::clamp(value, 0.0, 255.0)));
    }
  }
  return out;
}

Bytes enlargedFrame(const Bytes& frame, int w, int h, int format, const Kernels& kernels,
                    Span columns, Span rows, const Bytes* secondFrame, const Maps* maps) {
  const int cw = w / 2;
  const int ch = h / 2;
  Image luma = {w, h, Bytes(frame.begin(), frame.begin() + w * h)};
  Image chroma[2] = {{cw, ch, {}}, {cw, ch, {}}};  // in the order of their bytes in the frame
  const uint8_t* source = frame.data() + w * h;
  for (int i = 0; i < cw * ch; ++i) {
    for (int plane = 0; plane < 2; ++plane)
      chroma[plane].data.push_back(format == 0 ? source[plane * cw * ch + i]
                                               : source[2 * i + plane]);
  }
  Span chromaColumns = {columns.from / 2, columns.to / 2, columns.out / 2};
  Span chromaRows = {rows.from / 2, rows.to / 2, rows.out / 2};
  if (format == 0) {
    // The planes lie as one block at the start of the padded plane, and its interior is the image.
    for (auto& plane : chroma) {
      Bytes block((static_cast<std::size_t>(cw) + 4) * (static_cast<std::size_t>(ch) + 4), 0);
      std::copy(plane.data.begin(), plane.data.end(), block.begin());
      for (int y = 0; y < ch; ++y) {
        for (int x = 0; x < cw; ++x)
          plane.data[static_cast<std::size_t>(y * cw + x)] =
              block[static_cast<std::size_t>((y + 2) * (cw + 4) + x + 2)];
      }
    }
  }
  Bytes out;
  if (secondFrame == nullptr) {
    out = interpolated(luma, kernels.sharp, columns, rows);
  } else {
    const Image second = {w, h, Bytes(secondFrame->begin(), secondFrame->begin() + w * h)};
    out = fused(luma, second, *maps, kernels, columns, rows);
  }
  const Bytes first = interpolated(chroma[0], kernels.plain, chromaColumns, chromaRows);
  const Bytes second = interpolated(chroma[1], kernels.plain, chromaColumns, chromaRows);
  if (format == 0) {
    out.insert(out.end(), first.begin(), first.end());
    out.insert(out.end(), second.begin(), second.end());
  } else {
    for (std::size_t i = 0; i < first.size(); ++i) {
      out.push_back(first[i]);
      out.push_back(second[i]);
    }
  }
  return out;
}

}  // namespace velmora::test
