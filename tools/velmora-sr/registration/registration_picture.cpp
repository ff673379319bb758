#include "registration/registration_picture.h"

#include <array>
#include <string>
#include <vector>

#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

constexpr Colour kBackground = {250, 250, 248};
constexpr Colour kInk = {30, 32, 38};
constexpr Colour kFaint = {104, 108, 118};
constexpr Colour kKeypoint = {70, 150, 255};
constexpr Colour kInlier = {40, 220, 90};
constexpr Colour kOutlier = {255, 60, 50};
constexpr Colour kRectangle = {255, 205, 0};
constexpr int kWidestFrame = 1000;
constexpr int kNarrowestPanel = 400;  // the title needs room
constexpr int kGap = 12;
constexpr int kHeader = 92;
constexpr std::size_t kMostLines = 100;

/// The frame in grey, each pixel the mean of factor x factor samples; darkened, so that the colours
/// stand out.
std::vector<uint8_t> greyPixels(const Plane& plane, int factor, Size size) {
  std::vector<uint8_t> rgb(std::size_t(size.width) * std::size_t(size.height) * 3);
  auto* pixel = rgb.data();
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      int sum = 0;
      for (int dy = 0; dy < factor; ++dy)
        for (int dx = 0; dx < factor; ++dx)
          sum += plane.row(y * factor + dy)[x * factor + dx];
      const auto grey = static_cast<uint8_t>(sum * 3 / (factor * factor * 4));
      pixel = std::fill_n(pixel, 3, grey);
    }
  }
  return rgb;
}

class Drawing {
 public:
  Drawing(const RegistrationReport& report, const Plane& first, const Plane& second)
      : report_(report),
        factor_((report.size.width + kWidestFrame - 1) / kWidestFrame),
        shown_{report.size.width / factor_, std::max(report.size.height / factor_, 1)},
        panel_(std::max(shown_.width, kNarrowestPanel)),
        canvas_({3 * kGap + 2 * panel_, kHeader + shown_.height + kGap}, kBackground) {
    canvas_.place(left(0), kHeader, shown_, greyPixels(first, factor_, shown_), 1);
    canvas_.place(left(1), kHeader, shown_, greyPixels(second, factor_, shown_), 1);
  }

  Canvas draw() {
    drawKeypoints();
    drawMatches(false, kOutlier);
    drawMatches(true, kInlier);
    drawRectangle();
    drawHeader();
    return std::move(canvas_);
  }

 private:
  [[nodiscard]] int left(std::size_t frame) const {
    return kGap + (frame == 0 ? 0 : panel_ + kGap);
  }

  /// Where a pixel's centre lies on the canvas.
  [[nodiscard]] Point place(std::size_t frame, Position at) const {
    return {static_cast<float>(left(frame) + (at.x + 0.5) / factor_),
            static_cast<float>(kHeader + (at.y + 0.5) / factor_)};
  }

  void drawKeypoints() {
    for (std::size_t frame = 0; frame < 2; ++frame)
      for (const Position& at : report_.keypoints[frame])
        canvas_.fillDisc(place(frame, at), 1.5f, kKeypoint);
  }

  void drawMatches(bool inliers, Colour colour) {
    std::vector<const Match*> chosen;
    for (const Match& match : report_.matches)
      if (match.inlier == inliers) chosen.push_back(&match);
    const std::size_t step = chosen.size() / (kMostLines + 1) + 1;
    for (std::size_t i = 0; i < chosen.size(); ++i) {
      const Point a = place(0, report_.keypoints[0][chosen[i]->first]);
      const Point b = place(1, report_.keypoints[1][chosen[i]->second]);
      if (i % step == 0) line(a, b, 0.7f, colour);
      canvas_.fillDisc(a, 2.0f, colour);
      canvas_.fillDisc(b, 2.0f, colour);
    }
  }

  /// In pieces, since a stroke looks at every pixel of its bounding box.
  void line(Point a, Point b, float width, Colour colour) {
    constexpr int kPieces = 16;
    std::array<Point, kPieces + 1> points;
    for (int i = 0; i <= kPieces; ++i) {
      const float share = static_cast<float>(i) / kPieces;
      points[static_cast<std::size_t>(i)] = {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share};
    }
    canvas_.stroke(points, width, colour);
  }

  void drawRectangle() {
    if (!report_.rectangle) return;
    const Region& r = *report_.rectangle;
    const auto x0 = static_cast<double>(r.left);
    const auto y0 = static_cast<double>(r.top);
    const auto x1 = static_cast<double>(r.right);
    const auto y1 = static_cast<double>(r.bottom);
    const std::array<Position, 4> corners = {{{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}}};
    for (std::size_t i = 0; i < corners.size(); ++i) {
      const Position& from = corners[i];
      const Position& to = corners[(i + 1) % corners.size()];
      line(place(0, from), place(0, to), 3, kRectangle);
      line(place(1, project(*report_.homography, from)), place(1, project(*report_.homography, to)),
           3, kRectangle);
    }
  }

  void drawHeader() {
    const auto x = static_cast<float>(kGap + 2);
    const std::string title =
        report_.failure ? std::string("Not registered: failed at ") + name(report_.failure->stage)
                        : "Registered";
    drawText(canvas_, x, 12, 15, 2.2f, kInk, title);
    drawText(canvas_, x, 40, 10, 1.3f, kFaint, detail());
    float at = x;
    const std::size_t inliers = report_.inliers();
    at = legend(
        at, kKeypoint,
        format("%zu + %zu key points", report_.keypoints[0].size(), report_.keypoints[1].size()));
    at = legend(at, kInlier, format("%zu inliers", inliers));
    at = legend(at, kOutlier, format("%zu outliers", report_.matches.size() - inliers));
    if (report_.rectangle) legend(at, kRectangle, "registered rectangle");
  }

  [[nodiscard]] std::string detail() const {
    if (report_.failure) return report_.failure->reason;
    return text(report_.size) +
           format(", corners move by up to %.1f pixels", report_.largestMotion());
  }

  float legend(float x, Colour colour, const std::string& label) {
    canvas_.fillDisc({x + 5, 72}, 4.5f, colour);
    drawText(canvas_, x + 16, 67, 10, 1.3f, kInk, label);
    return x + 16 + textWidth(label, 10) + 28;
  }

  const RegistrationReport& report_;
  int factor_;
  Size shown_;
  int panel_;
  Canvas canvas_;
};

}  // namespace

Canvas registrationPicture(const RegistrationReport& report, const Plane& first,
                           const Plane& second) {
  return Drawing(report, first, second).draw();
}

}  // namespace velmora::tool
