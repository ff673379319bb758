#include "demo/canvas.h"

namespace velmora::tool {
namespace {

uint8_t toByte(float value) {
  return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0f, 255.0f)));
}

float distanceToSegment(Point p, Point a, Point b) {
  const float dx = b.x - a.x;
  const float dy = b.y - a.y;
  const float length2 = dx * dx + dy * dy;
  const float along =
      length2 > 0 ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / length2, 0.0f, 1.0f) : 0;
  return std::hypot(p.x - (a.x + along * dx), p.y - (a.y + along * dy));
}

}  // namespace

Canvas::Canvas(Size size, Colour background)
    : size_(size), rgb_(std::size_t(size.width) * std::size_t(size.height) * 3) {
  fillRectangle(0, 0, static_cast<float>(size.width), static_cast<float>(size.height), background);
}

void Canvas::blend(int x, int y, Colour colour, float coverage) {
  uint8_t* pixel = rgb_.data() + (std::size_t(y) * size_.width + std::size_t(x)) * 3;
  const Colour old = {static_cast<float>(pixel[0]), static_cast<float>(pixel[1]),
                      static_cast<float>(pixel[2])};
  const Colour result = mix(old, colour, coverage);
  pixel[0] = toByte(result.red);
  pixel[1] = toByte(result.green);
  pixel[2] = toByte(result.blue);
}

void Canvas::fillRectangle(float left, float top, float right, float bottom, Colour colour) {
  paint(
      left, top, right, bottom, [&](float, float) { return colour; },
      [](float, float) { return 1.0f; });
}

void Canvas::fillDisc(Point centre, float radius, Colour colour) {
  paint(
      centre.x - radius - 1, centre.y - radius - 1, centre.x + radius + 1, centre.y + radius + 1,
      [&](float, float) { return colour; },
      [&](float x, float y) { return radius + 0.5f - std::hypot(x - centre.x, y - centre.y); });
}

void Canvas::fillPolygon(std::span<const Point> corners, Colour colour) {
  Point low = corners[0];
  Point high = corners[0];
  for (const Point& corner : corners) {
    low = {std::min(low.x, corner.x), std::min(low.y, corner.y)};
    high = {std::max(high.x, corner.x), std::max(high.y, corner.y)};
  }
  paint(
      low.x - 1, low.y - 1, high.x + 1, high.y + 1, [&](float, float) { return colour; },
      [&](float x, float y) {
        // Distance inside of the nearest edge.
        float inside = 1;
        for (std::size_t i = 0; i < corners.size(); ++i) {
          const Point a = corners[i];
          const Point b = corners[(i + 1) % corners.size()];
          const float length = std::hypot(b.x - a.x, b.y - a.y);
          const float distance = ((b.x - a.x) * (y - a.y) - (b.y - a.y) * (x - a.x)) / length;
          inside = std::min(inside, distance + 0.5f);
        }
        return inside;
      });
}

void Canvas::stroke(std::span<const Point> points, float width, Colour colour) {
  const float radius = width / 2;
  for (std::size_t i = 0; i + 1 < points.size(); ++i) {
    const Point a = points[i];
    const Point b = points[i + 1];
    paint(
        std::min(a.x, b.x) - radius - 1, std::min(a.y, b.y) - radius - 1,
        std::max(a.x, b.x) + radius + 1, std::max(a.y, b.y) + radius + 1,
        [&](float, float) { return colour; },
        [&](float x, float y) {
          return radius + 0.5f - distanceToSegment({x, y}, a, b);
        });
  }
}

void Canvas::place(int left, int top, Size pictureSize, std::span<const uint8_t> rgb, int zoom) {
  const int right = std::min(left + pictureSize.width * zoom, size_.width);
  const int bottom = std::min(top + pictureSize.height * zoom, size_.height);
  for (int y = std::max(top, 0); y < bottom; ++y) {
    for (int x = std::max(left, 0); x < right; ++x) {
      const std::size_t from =
          (std::size_t((y - top) / zoom) * pictureSize.width + std::size_t((x - left) / zoom)) * 3;
      const std::size_t to = (std::size_t(y) * size_.width + std::size_t(x)) * 3;
      std::copy_n(rgb.data() + from, 3, rgb_.data() + to);
    }
  }
}

Canvas Canvas::part(int left, int top, Size size) const {
  Canvas result(size, {});
  const std::size_t pitch = std::size_t(size.width) * 3;
  for (int y = 0; y < size.height; ++y) {
    const std::size_t start = (std::size_t(top + y) * size_.width + std::size_t(left)) * 3;
    std::copy_n(rgb_.data() + start, pitch, result.rgb_.data() + std::size_t(y) * pitch);
  }
  return result;
}

}  // namespace velmora::tool
