#include "demo/scene.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "status.h"

namespace velmora::tool {
namespace {

constexpr float kTile = 320;
constexpr float kPi = std::numbers::pi_v<float>;
constexpr Colour kInk = {28, 30, 36};
constexpr Colour kPaper = {238, 235, 226};

// Reproducible noise: a number in 0..1 for every grid point.
float gridNoise(int x, int y, uint32_t seed) {
  uint32_t h = static_cast<uint32_t>(x) * 0x8DA6B343u ^ static_cast<uint32_t>(y) * 0xD8163841u ^
               seed * 0xCB1AB31Fu;
  h ^= h >> 15;
  h *= 0x2C1B3C6Du;
  h ^= h >> 12;
  h *= 0x297A2D39u;
  h ^= h >> 15;
  return static_cast<float>(h & 0xFFFFFFu) / 16777215.0f;
}

// Noise that varies smoothly over about one unit.
float smoothNoise(float x, float y, uint32_t seed) {
  const int ix = static_cast<int>(std::floor(x));
  const int iy = static_cast<int>(std::floor(y));
  const auto ease = [](float t) { return t * t * (3 - 2 * t); };
  const float fx = ease(x - static_cast<float>(ix));
  const float fy = ease(y - static_cast<float>(iy));
  const float top = std::lerp(gridNoise(ix, iy, seed), gridNoise(ix + 1, iy, seed), fx);
  const float bottom = std::lerp(gridNoise(ix, iy + 1, seed), gridNoise(ix + 1, iy + 1, seed), fx);
  return std::lerp(top, bottom, fy);
}

// Several octaves of smooth noise, each of half the period and strength.
float layeredNoise(float x, float y, int octaves, uint32_t seed) {
  float sum = 0;
  float strength = 0.5f;
  for (int i = 0; i < octaves; ++i) {
    sum += strength * smoothNoise(x, y, seed + static_cast<uint32_t>(i));
    x *= 2.03f;
    y *= 2.03f;
    strength *= 0.5f;
  }
  return sum;
}

Colour grey(float value) {
  return {value, value, value};
}

// Draws one tile in the scene's units, whatever the canvas's detail.
class Tile {
 public:
  Tile(Canvas& canvas, int column, int row, int detail)
      : canvas_(canvas),
        detail_(static_cast<float>(detail)),
        left_(static_cast<float>(column) * kTile),
        top_(static_cast<float>(row) * kTile) {}

  // Paints the whole tile; colourAt takes tile units.
  template <typename ColourAt>
  void fill(const ColourAt& colourAt) {
    area(0, 0, kTile, kTile, colourAt, [](float, float) { return 1.0f; });
  }
  template <typename ColourAt, typename CoverageAt>
  void area(float left, float top, float right, float bottom, const ColourAt& colourAt,
            const CoverageAt& coverageAt) {
    canvas_.paint(
        px(left_ + left), px(top_ + top), px(left_ + right), px(top_ + bottom),
        [&](float x, float y) { return colourAt(x / detail_ - left_, y / detail_ - top_); },
        [&](float x, float y) { return coverageAt(x / detail_ - left_, y / detail_ - top_); });
  }
  void rectangle(float left, float top, float right, float bottom, Colour colour) {
    canvas_.fillRectangle(px(left_ + left), px(top_ + top), px(left_ + right), px(top_ + bottom),
                          colour);
  }
  void disc(float x, float y, float radius, Colour colour) {
    canvas_.fillDisc({px(left_ + x), px(top_ + y)}, px(radius), colour);
  }
  // A rectangle turned about its centre by an angle in degrees, clockwise.
  void turned(float x, float y, float width, float height, float angle, Colour colour) {
    const float c = std::cos(angle * kPi / 180);
    const float s = std::sin(angle * kPi / 180);
    std::array<Point, 4> corners = {
        {{-width, -height}, {width, -height}, {width, height}, {-width, height}}};
    for (Point& corner : corners) {
      corner = {px(left_ + x + (c * corner.x - s * corner.y) / 2),
                px(top_ + y + (s * corner.x + c * corner.y) / 2)};
    }
    canvas_.fillPolygon(corners, colour);
  }
  void line(std::vector<Point> points, float width, Colour colour) {
    for (Point& point : points)
      point = {px(left_ + point.x), px(top_ + point.y)};
    canvas_.stroke(points, px(width), colour);
  }
  void text(float x, float y, float height, float weight, Colour colour, std::string_view words) {
    drawText(canvas_, px(left_ + x), px(top_ + y), px(height), px(weight), colour, words);
  }

 private:
  [[nodiscard]] float px(float units) const { return units * detail_; }

  Canvas& canvas_;
  float detail_;
  float left_;
  float top_;
};

// Rings whose frequency grows from the centre to 0.31 cycles a unit at the edges: past what pixels
// of two units can hold, so that a frame of half the size shows where aliasing begins.
void zonePlate(Tile tile) {
  tile.fill([](float x, float y) {
    const float dx = x - kTile / 2;
    const float dy = y - kTile / 2;
    return grey(128 + 105 * std::cos(kPi * (dx * dx + dy * dy) / (1.6f * kTile)));
  });
}

void page(Tile tile) {
  tile.fill([](float x, float y) {
    return mix(kPaper, {226, 220, 205}, smoothNoise(x / 40, y / 40, 5));
  });
  struct Line {
    float y, height;
    std::string_view text;
  };
  constexpr std::array kLines = {
      Line{18, 34, "VELMORA"},
      Line{68, 22, "two frames in"},
      Line{104, 16, "one larger frame out"},
      Line{135, 11.5f, "Lanczos, 50 phases, 4 taps"},
      Line{160, 10, "The quick brown fox jumps over"},
      Line{178, 9, "the lazy dog 0123456789 (9 units)"},
      Line{195, 8, "Sphinx of black quartz, judge my vow"},
      Line{210, 7, "pack my box with five dozen liquor jugs"},
      Line{224, 6, "Jackdaws love my big sphinx of quartz: 6 units"},
      Line{237, 5, "how vexingly quick daft zebras jump: five units high"},
  };
  for (const Line& line : kLines)
    tile.text(16, line.y, line.height, std::max(line.height * 0.13f, 0.9f), kInk, line.text);
  tile.rectangle(0, 262, kTile, kTile, kInk);
  tile.text(16, 275, 13, 1.8f, kPaper, "white on black 3.1416");
  tile.text(16, 298, 9, 1.2f, {255, 180, 60}, "amber 2.7183");
  tile.text(130, 298, 9, 1.2f, {110, 200, 255}, "blue 1.4142");
  tile.text(225, 298, 9, 1.2f, {150, 255, 140}, "green 1.7321");
}

void slantedEdges(Tile tile) {
  tile.fill([](float x, float y) { return grey(150 + 40 * std::sin(x / 90) - y / 12); });
  tile.turned(85, 90, 110, 110, 5, grey(20));
  tile.turned(85, 90, 60, 60, 11, grey(240));
  tile.turned(232, 86, 96, 96, 45, {200, 40, 44});
  tile.turned(232, 86, 50, 50, 38, {250, 220, 70});
  for (int i = 0; i < 9; ++i) {
    const float x = 26 + static_cast<float>(i) * 16;
    tile.turned(x, 240, 2 + static_cast<float>(i) * 0.6f, 120, 3 + static_cast<float>(i) * 2,
                grey(25));
  }
  for (int i = 0; i < 12; ++i) {
    const float angle = static_cast<float>(i) * kPi / 24;
    tile.line({{180, 306}, {180 + 126 * std::cos(angle), 306 - 126 * std::sin(angle)}}, 1.4f,
              {24, 60, 130});
  }
}

void cloth(Tile tile) {
  tile.fill([](float x, float y) {
    // Threads over and under each other, with a period of a few units and uneven dye.
    const float warp = std::sin(2 * kPi * x / 5.2f);
    const float weft = std::sin(2 * kPi * y / 4.6f);
    const bool over = (static_cast<int>(x / 5.2f) + static_cast<int>(y / 4.6f)) % 2 == 0;
    const float thread = over ? 0.72f + 0.28f * warp : 0.55f + 0.28f * weft;
    const float dye = 0.6f + 0.8f * layeredNoise(x / 30, y / 30, 4, 21);
    const bool stripe = std::fmod(x + y * 0.3f, 64.0f) < 22;
    const Colour base = stripe ? Colour{186, 72, 58} : Colour{62, 92, 128};
    return mix({18, 16, 20}, base, std::min(thread * dye * 1.25f, 1.2f));
  });
}

void star(Tile tile) {
  tile.fill([](float, float) { return kPaper; });
  tile.area(
      0, 0, kTile, kTile, [](float, float) { return kInk; },
      [](float x, float y) {
        const float dx = x - kTile / 2;
        const float dy = y - kTile / 2;
        const float radius = std::hypot(dx, dy);
        if (radius > 148) return 0.0f;
        // 36 spokes, with edges as sharp as the canvas shows them.
        return 0.5f + radius * 0.16f * std::sin(36 * std::atan2(dy, dx));
      });
  tile.disc(kTile / 2, kTile / 2, 9, {220, 40, 40});
}

void leaves(Tile tile) {
  tile.fill([](float x, float y) {
    const float n = layeredNoise(x / 9, y / 9, 5, 77);
    return mix({16, 30, 14}, {120, 150, 70}, std::clamp(n * 1.7f - 0.4f, 0.0f, 1.0f));
  });
  for (int i = 0; i < 420; ++i) {
    const float x = gridNoise(i, 1, 3) * kTile;
    const float y = gridNoise(i, 2, 3) * kTile;
    const float angle = (gridNoise(i, 3, 3) - 0.5f) * kPi;
    const float length = 8 + 20 * gridNoise(i, 4, 3);
    const float light = gridNoise(i, 5, 3);
    const Colour colour = mix({40, 84, 26}, {196, 220, 110}, light);
    const Point tip = {std::clamp(x + length * std::sin(angle), 1.0f, kTile - 1),
                       std::clamp(y - length * std::cos(angle), 1.0f, kTile - 1)};
    const Point middle = {(x + tip.x) / 2 + length * 0.12f * std::cos(angle),
                          (y + tip.y) / 2 + length * 0.12f * std::sin(angle)};
    tile.line({{std::clamp(x, 1.0f, kTile - 1), std::clamp(y, 1.0f, kTile - 1)},
               {std::clamp(middle.x, 1.0f, kTile - 1), std::clamp(middle.y, 1.0f, kTile - 1)},
               tip},
              0.7f + 1.1f * gridNoise(i, 6, 3), colour);
  }
}

void gratings(Tile tile) {
  tile.fill([](float, float) { return grey(128); });
  // Bars of shrinking width, upright on the left, lying on the right, with their period beneath.
  constexpr std::array<float, 7> kPeriods = {12, 8, 6, 5, 4, 3, 2.5f};
  float y = 14;
  for (const float period : kPeriods) {
    tile.area(
        14, y, 146, y + 30,
        [&](float x, float) { return grey(128 + 100 * std::sin(2 * kPi * x / period)); },
        [](float, float) { return 1.0f; });
    tile.area(
        174, y, 250, y + 30,
        [&](float, float yy) { return grey(128 + 100 * std::sin(2 * kPi * yy / period)); },
        [](float, float) { return 1.0f; });
    tile.text(266, y + 10, 10, 1.4f, kInk, format("%.1f", double{period}));
    y += 43;
  }
}

void bricks(Tile tile) {
  tile.fill([](float x, float y) {
    constexpr float kWidth = 37;
    constexpr float kHeight = 15;
    const float row = std::floor(y / kHeight);
    const float shifted = x + std::fmod(row, 2.0f) * kWidth / 2;
    const float column = std::floor(shifted / kWidth);
    const float inX = shifted - column * kWidth;
    const float inY = y - row * kHeight;
    const float rough = layeredNoise(x / 4, y / 4, 4, 9);
    if (inX < 1.6f || inY < 1.6f) return grey(170 + 50 * rough);
    const float tone = gridNoise(static_cast<int>(column), static_cast<int>(row), 31);
    const Colour brick = mix({140, 62, 44}, {196, 112, 78}, tone);
    return mix(brick, {60, 28, 22}, rough * 0.7f);
  });
}

void colourWheel(Tile tile) {
  tile.fill([](float x, float y) {
    const float hue = std::atan2(y - kTile / 2, x - kTile / 2);
    const float radius = std::hypot(x - kTile / 2, y - kTile / 2) / (kTile / 2);
    const auto wave = [&](float phase) { return 0.5f + 0.5f * std::cos(hue + phase); };
    const Colour full = {255 * wave(0), 255 * wave(-2 * kPi / 3), 255 * wave(2 * kPi / 3)};
    return mix(grey(235), full, std::min(radius, 1.0f));
  });
  constexpr std::array<Colour, 6> kDots = {
      {{230, 30, 40}, {40, 160, 60}, {30, 70, 200}, {250, 210, 20}, {160, 40, 170}, {20, 20, 20}}};
  for (int i = 0; i < 6; ++i) {
    const float angle = static_cast<float>(i) * kPi / 3;
    tile.disc(160 + 92 * std::cos(angle), 160 + 92 * std::sin(angle), 26,
              kDots[static_cast<std::size_t>(i)]);
    tile.disc(160 + 92 * std::cos(angle), 160 + 92 * std::sin(angle), 9, kPaper);
  }
  tile.text(124, 153, 14, 2.0f, kInk, "COLOUR");
}

void hairs(Tile tile) {
  tile.fill([](float x, float y) {
    return mix({52, 40, 36}, {122, 84, 60}, 0.5f + 0.5f * std::sin((x + y) / 70));
  });
  for (int i = 0; i < 170; ++i) {
    const float start = static_cast<float>(i) * 1.9f - 2;
    const float bend = 26 + 30 * gridNoise(i, 8, 4);
    const float phase = gridNoise(i, 9, 4) * 2;
    const Colour colour = mix({214, 170, 110}, {60, 36, 24}, gridNoise(i, 10, 4));
    std::vector<Point> points;
    for (int step = 0; step <= 20; ++step) {
      const float t = static_cast<float>(step) / 20;
      const float x = start + bend * std::sin(t * 3 + phase) * t;
      points.push_back({std::clamp(x, 1.0f, kTile - 1), 1 + t * (kTile - 2)});
    }
    tile.line(points, 0.6f + 0.9f * gridNoise(i, 11, 4), colour);
  }
}

void skyline(Tile tile) {
  tile.fill([](float x, float y) {
    const Colour sky = mix({92, 148, 214}, {240, 220, 190}, y / 240);
    const float cloud = std::clamp(layeredNoise(x / 70, y / 34, 5, 50) * 2.4f - 1.1f, 0.0f, 1.0f);
    return mix(sky, {250, 248, 244}, cloud);
  });
  for (int i = 0; i < 9; ++i) {
    const float left = static_cast<float>(i) * 36 - 4;
    const float top = 110 + 110 * gridNoise(i, 20, 6);
    const Colour wall = mix({70, 74, 90}, {150, 138, 130}, gridNoise(i, 21, 6));
    tile.rectangle(std::max(left, 0.0f), top, std::min(left + 34, kTile), kTile, wall);
    // A few windows at whole steps: no rounding adds up.
    // NOLINTBEGIN(cert-flp30-c,clang-analyzer-security.FloatLoopCounter)
    for (float y = top + 6; y < 312; y += 8) {
      for (float x = left + 4; x < left + 30; x += 6) {
        const bool lit = gridNoise(static_cast<int>(x), static_cast<int>(y), 7) > 0.6f;
        tile.rectangle(x, y, x + 3, y + 4.5f, lit ? Colour{255, 226, 150} : Colour{30, 34, 46});
      }
    }
    // NOLINTEND(cert-flp30-c,clang-analyzer-security.FloatLoopCounter)
  }
}

void map(Tile tile) {
  tile.fill([](float x, float y) {
    const float height = layeredNoise(x / 80, y / 80, 4, 90);
    // Contour lines where the height crosses a multiple of 1/22.
    const float level = height * 22;
    const float line = std::abs(level - std::round(level));
    const Colour land = mix({206, 222, 170}, {232, 206, 160}, height * 1.4f);
    const Colour base = height < 0.36f ? Colour{150, 196, 226} : land;
    return line < 0.09f ? mix(base, {120, 84, 50}, 0.8f) : base;
  });
  tile.line({{1, 40}, {70, 66}, {130, 60}, {200, 120}, {260, 116}, {319, 180}}, 3.2f, kInk);
  tile.line({{1, 40}, {70, 66}, {130, 60}, {200, 120}, {260, 116}, {319, 180}}, 1.6f,
            {250, 206, 70});
  tile.line({{90, 319}, {110, 230}, {200, 120}, {214, 1}}, 1.4f, {190, 50, 50});
  tile.text(24, 84, 9, 1.2f, kInk, "Upper Lake");
  tile.text(150, 200, 8, 1.0f, kInk, "Pine Ridge 1204 m");
  tile.text(40, 268, 7, 0.9f, {20, 60, 120}, "Old Mill Brook");
  tile.text(214, 60, 7, 0.9f, kInk, "Route 17");
}

}  // namespace

Canvas drawScene(int detail) {
  Canvas canvas({kSceneSize.width * detail, kSceneSize.height * detail}, kPaper);
  using Painter = void (*)(Tile);
  constexpr std::array<Painter, 12> kTiles = {page,  zonePlate,   slantedEdges, leaves,
                                              star,  bricks,      map,          cloth,
                                              hairs, colourWheel, gratings,     skyline};
  for (int i = 0; i < static_cast<int>(kTiles.size()); ++i)
    kTiles[static_cast<std::size_t>(i)](Tile(canvas, i % 4, i / 4, detail));
  return canvas;
}

Canvas sceneTruth() {
  constexpr int kDetail = 2;
  constexpr int kRightHalf = kSceneSize.width / 2;
  return drawScene(kDetail).part(kRightHalf * kDetail, 0, {1280, 960});
}

void drawBall(Canvas& truth, Point centre) {
  truth.fillDisc(centre, kBallRadius, {20, 24, 34});
  truth.fillDisc(centre, kBallRadius - 3, {246, 130, 30});
  for (const float y : {-14.0f, 0.0f, 14.0f}) {
    const float half = std::sqrt(26 * 26 - y * y);
    const std::array<Point, 2> ends = {
        {{centre.x - half, centre.y + y}, {centre.x + half, centre.y + y}}};
    truth.stroke(ends, 6, {250, 246, 236});
  }
}

}  // namespace velmora::tool
