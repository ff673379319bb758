// Painting and copying around a rectangle, and the projective warp into it.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "common/float_to_int.h"
#include "logging/log.h"
#include "registration/homography/projection.h"
#include "velmora_sr/motion_area.h"

namespace velmora {
namespace {

// Columns left and right of a rectangle, clipped to a row of `length` bytes.
struct Margins {
  Margins(int64_t length, int64_t leftCount, int64_t rightCount)
      : left(std::clamp<int64_t>(leftCount, 0, length)),
        right(std::clamp<int64_t>(rightCount, 0, length)),
        rightStart(length - right) {}
  int64_t left;
  int64_t right;
  int64_t rightStart;
};

// Calls wholeRows(row) for the row pairs above and below the rectangle and margins(row) for those
// that it spans; a pair counts as spanned from its first row on.
template <typename WholeRows, typename MarginRows>
void walkRowPairs(int32_t height, int32_t startY, int32_t realH, WholeRows wholeRows,
                  MarginRows marginRows) {
  const int64_t end = int64_t{startY} + realH;
  for (int64_t row = 0; row < height; row += 2) {
    if (row < startY || row >= end) {
      wholeRows(row);
    } else {
      marginRows(row);
    }
  }
}

void paint(uint8_t* row, const Margins& margins, int value) {
  std::memset(row, value, static_cast<std::size_t>(margins.left));
  std::memset(row + margins.rightStart, value, static_cast<std::size_t>(margins.right));
}

void copy(uint8_t* to, const uint8_t* from, const Margins& margins) {
  std::memcpy(to, from, static_cast<std::size_t>(margins.left));
  std::memcpy(to + margins.rightStart, from + margins.rightStart,
              static_cast<std::size_t>(margins.right));
}

Margins wholeRow(int64_t length) {
  return {length, length, 0};
}

// A luma plane with an interleaved chroma plane, read and written with clamped positions.
struct SemiPlanar {
  explicit SemiPlanar(const tagST_PIC& pic)
      : width(pic.width), height(pic.height), luma(pic.data), chroma(pic.chroma1) {}
  [[nodiscard]] int32_t lumaAt(int64_t x, int64_t y) const {
    x = std::clamp<int64_t>(x, 0, width - 1);
    y = std::clamp<int64_t>(y, 0, height - 1);
    return luma[y * width + x];
  }
  // The pair of the even column x and chroma row y.
  [[nodiscard]] uint8_t* pairAt(int64_t x, int64_t y) const {
    x = std::clamp<int64_t>(x, 0, (width / 2 - 1) * int64_t{2});
    y = std::clamp<int64_t>(y, 0, height / 2 - 1);
    return chroma + y * width + x;
  }
  [[nodiscard]] bool hasChroma() const { return chroma != nullptr && width >= 2 && height >= 2; }
  int64_t width;
  int64_t height;
  uint8_t* luma;
  uint8_t* chroma;
};

// A source position: whole part and weight of the next sample, 0..128.
struct Position {
  explicit Position(float value)
      : whole(truncateToInt(static_cast<double>(value))),
        weight(std::min(std::abs(truncateToInt(
                            static_cast<double>((value - static_cast<float>(whole)) * 128.0F))),
                        128)) {}
  int64_t whole;
  int32_t weight;
};

// Sums stay below 255 * 128 + 32 per row and 510 * 128 + 128 together.
uint8_t bilinear(const SemiPlanar& src, int64_t x, int64_t y, int32_t fx, int32_t fy) {
  const int32_t top = (src.lumaAt(x, y) * (128 - fx) + src.lumaAt(x + 1, y) * fx + 32) >> 6;
  const int32_t bottom =
      (src.lumaAt(x, y + 1) * (128 - fx) + src.lumaAt(x + 1, y + 1) * fx + 32) >> 6;
  return static_cast<uint8_t>((top * (128 - fy) + bottom * fy + 128) >> 8);
}

// The 2 x 2 block at (x, y) shares one projection and one pair of weights.
void warpBlock(const SemiPlanar& src, const SemiPlanar& dst, int64_t columns, const float* h,
               int64_t x, int64_t y) {
  const Point p = project(h, static_cast<float>(x), static_cast<float>(y));
  const Position u(p.x);
  const Position v(p.y);
  for (int64_t dy = 0; dy < 2; ++dy) {
    for (int64_t dx = 0; dx < 2; ++dx) {
      if (x + dx >= columns || y + dy >= dst.height) continue;
      dst.luma[(y + dy) * dst.width + x + dx] =
          bilinear(src, u.whole + dx, v.whole + dy, u.weight, v.weight);
    }
  }
  const int64_t pairColumn = x & ~int64_t{1};
  if (!src.hasChroma() || !dst.hasChroma() || pairColumn + 1 >= columns ||
      y / 2 >= dst.height / 2) {
    return;
  }
  const uint8_t* from = src.pairAt((u.whole + 1) & ~int64_t{1}, (v.whole + 1) >> 1);
  std::memcpy(dst.pairAt(pairColumn, y / 2), from, 2);
}

}  // namespace
}  // namespace velmora

void FillBlank2(tagST_PIC* pic, int32_t startX, int32_t startY, int32_t realW, int32_t realH) {
  using namespace velmora;
  const int64_t width = std::max(pic->width, 0);
  const int64_t height = std::max(pic->height, 0);
  const int64_t chromaWidth = width / 2;
  const int64_t rightCount = width - realW - int64_t{startX};
  const auto paintPair = [&](int64_t row, const Margins& luma, const Margins& chroma) {
    for (int64_t y = row; y < std::min(row + 2, height); ++y) {
      if (pic->data != nullptr) paint(pic->data + y * width, luma, 255);
    }
    if (row / 2 >= height / 2) return;
    for (uint8_t* plane : {pic->chroma1, pic->chroma2}) {
      if (plane != nullptr) paint(plane + row / 2 * chromaWidth, chroma, 128);
    }
  };
  walkRowPairs(
      pic->height, startY, realH,
      [&](int64_t row) { paintPair(row, wholeRow(width), wholeRow(chromaWidth)); },
      [&](int64_t row) {
        paintPair(row, {width, startX, rightCount}, {chromaWidth, startX >> 1, rightCount >> 1});
      });
}

void FillBlank(tagST_PIC* dst, tagST_PIC* src, int32_t startX, int32_t startY, int32_t realW,
               int32_t realH) {
  using namespace velmora;
  if (dst->width != src->width || dst->width < 1) return;
  const int64_t width = dst->width;
  const int64_t height = std::min(dst->height, src->height);
  const auto copyPair = [&](int64_t row, const Margins& margins) {
    for (int64_t y = row; y < std::min(row + 2, height); ++y) {
      if (dst->data == nullptr || src->data == nullptr) break;
      copy(dst->data + y * width, src->data + y * width, margins);
    }
    if (row / 2 < height / 2 && dst->chroma1 != nullptr && src->chroma1 != nullptr) {
      copy(dst->chroma1 + row / 2 * width, src->chroma1 + row / 2 * width, margins);
    }
  };
  const Margins margins(width, startX, width - realW - int64_t{startX});
  walkRowPairs(
      static_cast<int32_t>(height), startY, realH,
      [&](int64_t row) { copyPair(row, wholeRow(width)); },
      [&](int64_t row) { copyPair(row, margins); });
}

int32_t AffineTransform(tagST_PIC* reference, tagST_PIC* src, tagST_PIC* dst, float* homography,
                        tagST_REGISTRATION_AREA* area, unsigned char* /*scratch*/) {
  using namespace velmora;
  printProgress("AffineTransform");
  FillBlank2(dst, area->startX, area->startY, area->realW, area->realH);
  printProgress("after FillBlank2,statX/Y %d/%d realW/H %d/%d\n", area->startX, area->startY,
                area->realW, area->realH);
  const bool empty = src->width < 1 || src->height < 1 || dst->width < 1 || dst->height < 1;
  if (empty || src->data == nullptr || dst->data == nullptr) return 0;

  const SemiPlanar from(*src);
  const SemiPlanar to(*dst);
  const int64_t columns = std::min<int64_t>(reference->width, dst->width);
  const int64_t endX = std::min(int64_t{area->startX} + area->realW, columns);
  const int64_t endY = std::min(int64_t{area->startY} + area->realH, to.height);
  for (int64_t y = std::max(area->startY, 0); y < endY; y += 2) {
    for (int64_t x = std::max(area->startX, 0); x < endX; x += 2) {
      warpBlock(from, to, columns, homography, x, y);
    }
  }
  return 0;
}
