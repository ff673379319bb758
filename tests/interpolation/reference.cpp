#include "interpolation/reference.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "support/random.h"
#include "velmora_sr/kernel_tables.h"
#include "velmora_sr/records.h"

namespace velmora::test {
namespace {

using Rows = std::vector<std::vector<int16_t>>;

/// A table of the library's generators as rows, each with its values.
Rows rowsOf(int16_t** table, int count, int values) {
  Rows rows;
  for (int i = 0; i < count; ++i) {
    rows.emplace_back(table[i], table[i] + values);
    delete[] table[i];
  }
  delete[] table;
  return rows;
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
  // The scratch of the generators is none of a call's blocks.
  SR_ParamsPublic* const handle = std::exchange(zelkParamPrivate.pub, nullptr);
  G_QUANTIZATION = phases;
  Rows plain = rowsOf(CreateLanczosLUT1D(4, 2, 0.0f), phases, 4);
  Rows sharp = rowsOf(CreateLanczosLUT1D(4, 2, 0.2f), phases, 4);
  Rows sharp2D = rowsOf(CreateLanczosLUT2D(4, 2, 0.2f), phases * phases, 17);
  zelkParamPrivate.pub = handle;
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

Maps scatteredMaps(int w, int h) {
  Random random(21);
  Maps maps;
  for (int i = 0; i < w * h; ++i) {
    maps.x.push_back(static_cast<int32_t>(random.range(-6 << 16, (w + 6) << 16)));
    maps.y.push_back(static_cast<int32_t>(random.range(-6 << 16, (h + 6) << 16)));
  }
  return maps;
}

Maps wildMaps(int w, int h) {
  Random random(22);
  Maps maps;
  for (int i = 0; i < w * h; ++i) {
    maps.x.push_back(random.range(0, 1) == 0 ? INT32_MAX : INT32_MIN);
    maps.y.push_back(static_cast<int32_t>(random.range(INT32_MIN, INT32_MAX)));
  }
  return maps;
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
