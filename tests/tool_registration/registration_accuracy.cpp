// Accuracy of registration on real photos: each is warped by a known homography, noise is added to
// both frames, and what registration finds is compared with the truth over the whole frame.
//
//   registration_accuracy [--limit PIXELS] [--pictures FOLDER] PHOTO...
//
// Prints a table in Markdown. With a limit the exit status is 1 when the mean error of a photo
// exceeds it or a photo is not registered. The pictures show the matches of each photo.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "errors.h"
#include "formats/png.h"
#include "frame_io.h"
#include "registration/registration_picture.h"
#include "registration/registration_run.h"
#include "size_limits.h"
#include "streams.h"
#include "support/random.h"

namespace velmora::tool {
namespace {

using Matrix = std::array<double, 9>;

// Hand-held: a turn of 0.4 degrees, 0.2 % larger, a little perspective, and a shift of some pixels.
constexpr double kAngle = 0.007;
constexpr double kScale = 1.002;
constexpr double kPerspective = 5e-7;
constexpr Position kShift = {12.3, -8.7};
constexpr double kNoise = 3;  // uniform, +- grey levels
constexpr int kSmallestPhoto = 500;
constexpr int kGrid = 33;  // points along each side at which the error is taken

/// From the first frame to the second: about the centre of a frame.
Matrix trueMotion(Size size) {
  const double cx = (size.width - 1) / 2.0;
  const double cy = (size.height - 1) / 2.0;
  const double a = kScale * std::cos(kAngle);
  const double b = kScale * std::sin(kAngle);
  Matrix m = {a,
              -b,
              cx + kShift.x - a * cx + b * cy,
              b,
              a,
              cy + kShift.y - b * cx - a * cy,
              kPerspective,
              -kPerspective / 2,
              1};
  m[8] = 1 - m[6] * cx - m[7] * cy;
  for (double& entry : m)
    entry /= m[8];
  return m;
}

Matrix inverse(const Matrix& h) {
  return {h[4] * h[8] - h[5] * h[7], h[2] * h[7] - h[1] * h[8], h[1] * h[5] - h[2] * h[4],
          h[5] * h[6] - h[3] * h[8], h[0] * h[8] - h[2] * h[6], h[2] * h[3] - h[0] * h[5],
          h[3] * h[7] - h[4] * h[6], h[1] * h[6] - h[0] * h[7], h[0] * h[4] - h[1] * h[3]};
}

Position moved(const Matrix& h, Position p) {
  const double w = h[6] * p.x + h[7] * p.y + h[8];
  return {(h[0] * p.x + h[1] * p.y + h[2]) / w, (h[3] * p.x + h[4] * p.y + h[5]) / w};
}

/// Catmull-Rom weights of the four samples around a fraction.
std::array<double, 4> cubic(double t) {
  return {t * (-0.5 + t * (1 - 0.5 * t)), 1 + t * t * (1.5 * t - 2.5),
          t * (0.5 + t * (2 - 1.5 * t)), t * t * (0.5 * t - 0.5)};
}

double sampleAt(const Plane& plane, Position p) {
  const double left = std::floor(p.x);
  const double top = std::floor(p.y);
  const auto wx = cubic(p.x - left);
  const auto wy = cubic(p.y - top);
  double sum = 0;
  for (int j = 0; j < 4; ++j) {
    const int y = std::clamp(static_cast<int>(top) + j - 1, 0, plane.size.height - 1);
    const uint8_t* row = plane.row(y);
    double line = 0;
    for (int i = 0; i < 4; ++i) {
      const int x = std::clamp(static_cast<int>(left) + i - 1, 0, plane.size.width - 1);
      line += wx[static_cast<std::size_t>(i)] * row[x];
    }
    sum += wy[static_cast<std::size_t>(j)] * line;
  }
  return sum;
}

uint8_t toByte(double value) {
  return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

/// The first frame is the photo without a margin, the second the same window after the motion.
std::pair<Plane, Plane> makePair(const Plane& photo, Size size, const Matrix& motion) {
  const int marginX = (photo.size.width - size.width) / 2;
  const int marginY = (photo.size.height - size.height) / 2;
  const Matrix back = inverse(motion);
  test::Random random(2024);
  const auto noise = [&] { return kNoise * (2 * random.unit() - 1); };
  std::pair<Plane, Plane> frames{Plane(size), Plane(size)};
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      frames.first.row(y)[x] = toByte(photo.row(y + marginY)[x + marginX] + noise());
      const Position at = moved(back, {static_cast<double>(x), static_cast<double>(y)});
      frames.second.row(y)[x] = toByte(sampleAt(photo, {at.x + marginX, at.y + marginY}) + noise());
    }
  }
  return frames;
}

struct Error {
  double mean = 0;
  double worst = 0;
};

Error errorOf(const Homography& found, const Matrix& truth, Size size) {
  Error error;
  for (int j = 0; j < kGrid; ++j) {
    for (int i = 0; i < kGrid; ++i) {
      const Position p = {(size.width - 1.0) * i / (kGrid - 1),
                          (size.height - 1.0) * j / (kGrid - 1)};
      const Position a = project(found, p);
      const Position b = moved(truth, p);
      const double distance = std::hypot(a.x - b.x, a.y - b.y);
      error.mean += distance / (kGrid * kGrid);
      error.worst = std::max(error.worst, distance);
    }
  }
  return error;
}

Plane lumaOf(const std::string& path) {
  const auto reader = openInput({path, {}, {}});
  Picture picture;
  if (!reader->next(picture)) throw Failure(path + ": holds no picture");
  return std::move(picture.y);
}

struct Options {
  double limit = HUGE_VAL;
  std::string pictures;
};

/// One row of the table; false when the photo fails the limit.
bool measure(const std::string& path, const Options& options) {
  const Plane photo = lumaOf(path);
  const std::string file = std::filesystem::path(path).filename();
  const int margin = photo.size.width / 50 + 30;
  const Size size = {photo.size.width - 2 * margin, photo.size.height - 2 * margin};
  if (size.width < kSmallestPhoto || size.height < kSmallestPhoto) {
    std::fprintf(stderr, "%s: too small, left out\n", path.c_str());
    return true;
  }
  const Matrix truth = trueMotion(size);
  auto [first, second] = makePair(photo, size, truth);
  const RegistrationReport report = registerFrames(first, second);
  if (!options.pictures.empty()) {
    const Canvas canvas = registrationPicture(report, first, second);
    writeRgbPng(options.pictures + "/" + file + ".png", canvas.size(), canvas.rgb());
  }
  std::string row =
      "| " + file + " | " + text(size) + " | " + std::to_string(report.keypoints[0].size()) +
      " | " + std::to_string(report.matches.size()) + " | " + std::to_string(report.inliers());
  bool passed = false;
  if (report.failure) {
    row +=
        std::string(" | ") + name(report.failure->stage) + ": " + report.failure->reason + " | |\n";
  } else {
    const Error error = errorOf(*report.homography, truth, size);
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(), " | %.3f | %.3f |\n", error.mean, error.worst);
    row += numbers.data();
    passed = error.mean <= options.limit;
  }
  printData(row);
  return passed;
}

int run(std::vector<std::string> arguments) {
  Options options;
  while (arguments.size() >= 2 && arguments[0].starts_with("--")) {
    if (arguments[0] == "--limit") options.limit = std::stod(arguments[1]);
    if (arguments[0] == "--pictures") options.pictures = arguments[1];
    arguments.erase(arguments.begin(), arguments.begin() + 2);
  }
  if (arguments.empty()) {
    std::fputs("usage: registration_accuracy [--limit PIXELS] [--pictures FOLDER] PHOTO...\n",
               stderr);
    return 2;
  }
  printData("| photo | frames | key points | matches | inliers | mean error | worst error |\n");
  printData("|---|---|---|---|---|---|---|\n");
  bool passed = true;
  for (const std::string& path : arguments)
    passed = measure(path, options) && passed;
  return passed || options.limit == HUGE_VAL ? 0 : 1;
}

}  // namespace
}  // namespace velmora::tool

int main(int argc, char** argv) {
  velmora::tool::claimStandardOutput();
  try {
    return velmora::tool::run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "registration_accuracy: %s\n", error.what());
    return 1;
  }
}
