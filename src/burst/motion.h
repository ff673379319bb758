// Where the samples of the reference frame lie in another frame.
#ifndef VELMORA_SRC_BURST_MOTION_H
#define VELMORA_SRC_BURST_MOTION_H

#include <array>
#include <cstdint>

#include "burst/memory.h"

namespace velmora::burst {

/// A position in samples; 0 is the centre of the first column or row.
struct Point {
  double x;
  double y;
};

/// Row-major 3 x 3 matrix, last entry 1.
struct Homography {
  std::array<double, 9> h = {1, 0, 0, 0, 1, 0, 0, 0, 1};

  Point operator()(Point p) const {
    const double w = h[6] * p.x + h[7] * p.y + h[8];
    return {(h[0] * p.x + h[1] * p.y + h[2]) / w, (h[3] * p.x + h[4] * p.y + h[5]) / w};
  }
  /// First `second`, then `first`; normalised.
  friend Homography operator*(const Homography& first, const Homography& second);
  /// Normalised. The matrix must be regular.
  [[nodiscard]] Homography inverse() const;
  bool operator==(const Homography&) const = default;
};

/// Translations that come on top of a homography where the scene has depth: one for each tile of
/// 32 x 32 luma samples of the reference, tiles 16 apart, bilinear between their centres.
struct LocalField {
  static constexpr int32_t kTile = 32;
  static constexpr int32_t kSpacing = 16;

  Size tiles = {};       ///< tile (i, j) covers columns [16 i, 16 i + 32), rows likewise
  Buffer<float> shifts;  ///< [2 * (j * tiles.width + i)] x, then y, in samples of the frame
  int32_t accepted = 0;  ///< tiles that moved on their own

  [[nodiscard]] bool empty() const { return accepted == 0; }
  /// The translation at a position of the reference; 0 for an empty field. Clamped at the rim.
  [[nodiscard]] Point at(Point p) const;
};

/// From luma samples of the reference to those of another frame and back.
struct Motion {
  Homography homography;
  const LocalField* field = nullptr;  ///< null: none

  [[nodiscard]] Point toFrame(Point reference) const {
    Point p = homography(reference);
    if (field != nullptr) {
      const Point shift = field->at(reference);
      p.x += shift.x;
      p.y += shift.y;
    }
    return p;
  }
  /// The inverse; with a field, two steps of fixed-point iteration.
  [[nodiscard]] Point toReference(Point frame) const {
    const Point p = inverse_(frame);
    return field == nullptr || field->empty() ? p : approach(p, frame);
  }

  /// For toReference(); call it when the homography is set.
  void prepare() { inverse_ = homography.inverse(); }

 private:
  // The steps, from where the homography alone leads.
  [[nodiscard]] Point approach(Point reference, Point frame) const;

  Homography inverse_;
};

/// Chroma sample c lies in the middle of luma samples 2 c and 2 c + 1.
inline Point lumaOfChroma(Point c) {
  return {2 * c.x + 0.5, 2 * c.y + 0.5};
}
inline Point chromaOfLuma(Point l) {
  return {(l.x - 0.5) / 2, (l.y - 0.5) / 2};
}

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_MOTION_H
