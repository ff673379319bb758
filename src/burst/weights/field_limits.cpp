#include "burst/weights/field_limits.h"

#include <algorithm>
#include <cmath>

namespace velmora::burst {
namespace {

// Differences between neighbouring tiles in samples: up to the first nothing is limited, from the
// second on nothing is left.
constexpr float kHarmless = 0.3f;
constexpr float kTooMuch = 0.7f;

}  // namespace

FieldLimits::FieldLimits(Memory& memory, const LocalField* field) {
  if (field == nullptr || field->empty()) return;
  tiles_ = field->tiles;
  cells_ = Buffer<uint8_t>(
      memory, static_cast<std::size_t>(tiles_.width) * static_cast<std::size_t>(tiles_.height));
  for (int32_t j = 0; j < tiles_.height; ++j) {
    for (int32_t i = 0; i < tiles_.width; ++i) {
      float spread = 0;
      for (std::size_t axis = 0; axis < 2; ++axis) {
        const auto shift = [&](int32_t column, int32_t row) {
          column = std::min(column, tiles_.width - 1);
          row = std::min(row, tiles_.height - 1);
          return field->shifts[2 * static_cast<std::size_t>(row * tiles_.width + column) + axis];
        };
        const auto [least, most] =
            std::minmax({shift(i, j), shift(i + 1, j), shift(i, j + 1), shift(i + 1, j + 1)});
        spread = std::max(spread, most - least);
      }
      const float share = std::clamp((kTooMuch - spread) / (kTooMuch - kHarmless), 0.0f, 1.0f);
      cells_[static_cast<std::size_t>(j * tiles_.width + i)] =
          static_cast<uint8_t>(255 * share + 0.5f);
    }
  }
}

void FieldLimits::apply(int32_t y, int32_t left, int32_t right, uint8_t* row) const {
  // Tile centres are 8 chroma samples apart, the first 7.5 from the border.
  constexpr int32_t kSpacing = LocalField::kSpacing / 2;
  const auto cell = [](int32_t sample, int32_t tiles) {
    return std::clamp((sample - kSpacing + 1) / kSpacing, 0, tiles - 1);
  };
  const uint8_t* const limits = cells_.data() + cell(y, tiles_.height) * tiles_.width;
  for (int32_t x = left; x < right; ++x)
    row[x] = std::min(row[x], limits[cell(x, tiles_.width)]);
}

}  // namespace velmora::burst
