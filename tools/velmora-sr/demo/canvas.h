// A picture to draw on: RGB, 8 bits, with anti-aliased shapes.
#ifndef VELMORA_TOOL_DEMO_CANVAS_H
#define VELMORA_TOOL_DEMO_CANVAS_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "picture.h"

namespace velmora::tool {

/// Linear in the stored values, 0..255 each.
struct Colour {
  float red = 0;
  float green = 0;
  float blue = 0;
};

inline Colour mix(Colour a, Colour b, float share) {
  return {a.red + (b.red - a.red) * share, a.green + (b.green - a.green) * share,
          a.blue + (b.blue - a.blue) * share};
}

struct Point {
  float x = 0;
  float y = 0;
};

/// Coordinates run from the top-left corner; pixel (0, 0) has its centre at (0.5, 0.5).
class Canvas {
 public:
  Canvas(Size size, Colour background);

  [[nodiscard]] Size size() const { return size_; }
  [[nodiscard]] std::span<const uint8_t> rgb() const { return rgb_; }

  /// Paints the pixels whose centres lie in [left, right) x [top, bottom) with `colourAt(x, y)`,
  /// to the share `coverageAt(x, y)` in 0..1.
  template <typename ColourAt, typename CoverageAt>
  void paint(float left, float top, float right, float bottom, const ColourAt& colourAt,
             const CoverageAt& coverageAt);

  void fillRectangle(float left, float top, float right, float bottom, Colour colour);
  void fillDisc(Point centre, float radius, Colour colour);
  /// Convex, corners clockwise on the screen.
  void fillPolygon(std::span<const Point> corners, Colour colour);
  /// A line through the points with round ends and joints.
  void stroke(std::span<const Point> points, float width, Colour colour);

  /// Copies packed RGB pixels, each as a square of `zoom` x `zoom`.
  void place(int left, int top, Size pictureSize, std::span<const uint8_t> rgb, int zoom);

  /// The pixels from (left, top) on.
  [[nodiscard]] Canvas part(int left, int top, Size size) const;

 private:
  void blend(int x, int y, Colour colour, float coverage);

  Size size_;
  std::vector<uint8_t> rgb_;
};

template <typename ColourAt, typename CoverageAt>
void Canvas::paint(float left, float top, float right, float bottom, const ColourAt& colourAt,
                   const CoverageAt& coverageAt) {
  const auto firstCentre = [](float edge) { return static_cast<int>(std::ceil(edge - 0.5f)); };
  const int x0 = std::max(firstCentre(left), 0);
  const int y0 = std::max(firstCentre(top), 0);
  const int x1 = std::min(firstCentre(right), size_.width);
  const int y1 = std::min(firstCentre(bottom), size_.height);
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      const float cx = static_cast<float>(x) + 0.5f;
      const float cy = static_cast<float>(y) + 0.5f;
      const float coverage = coverageAt(cx, cy);
      if (coverage > 0) blend(x, y, colourAt(cx, cy), std::min(coverage, 1.0f));
    }
  }
}

/// Width of a line of text whose capitals are `height` high.
float textWidth(std::string_view text, float height);

/// Draws one line of text; (x, y) is the top-left corner of the capitals, `height` their height and
/// `weight` the width of the pen. Letters, digits and common punctuation; others are left blank.
void drawText(Canvas& canvas, float x, float y, float height, float weight, Colour colour,
              std::string_view text);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_CANVAS_H
