// Accuracy of registration on real photos: each is warped by a known homography, noise is added to
// both frames, and what registration finds is compared with the truth over the whole frame.
//
//   registration_accuracy [OPTION VALUE...] [--motions | --stages] PHOTO...
//
//   --limit PIXELS     exit with status 1 when the mean error of a photo exceeds it or a photo is
//   not
//                      registered
//   --pictures FOLDER  draw the matches of each photo
//   --shift X,Y        move by a shift alone
//   --reduce N         take photos of a smaller camera: the means of N x N pixels
//   --noise LEVELS     uniform noise of +-LEVELS grey levels instead of 3
//   --motions          the error under eight motions instead of one
//   --stages           what each stage costs: the matches, those that RANSAC keeps, and the error
//   of
//                      the best fits to the kept and to all true ones
//
// Prints a table in Markdown.
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

#include "best_fit.h"
#include "engine/registration.h"
#include "errors.h"
#include "formats/png.h"
#include "frame_io.h"
#include "known_motion.h"
#include "registration/registration_picture.h"
#include "size_limits.h"
#include "streams.h"
#include "support/random.h"
#include "velmora_sr/homography.h"
#include "velmora_sr/matching.h"

namespace velmora::tool {
namespace {

// Hand-held: a turn of 0.4 degrees, 0.2 % larger, a little perspective, and a shift of some pixels.
constexpr KnownMotion kMotion = {0.007, 1.002, 5e-7, {12.3, -8.7}};
constexpr std::array<KnownMotion, 8> kMotions = {{kMotion,
                                                  {-0.007, 0.998, -5e-7, {-7.6, 14.2}},
                                                  {0.003, 1.001, 2e-7, {5.4, 3.3}},
                                                  {-0.004, 1.003, 4e-7, {-16.1, -6.4}},
                                                  {0.01, 0.999, -3e-7, {21.7, 9.9}},
                                                  {0.001, 1, 1e-7, {2.8, -1.9}},
                                                  {0, 1, 0, {9.5, -13.5}},
                                                  {-0.012, 1.004, 6e-7, {-3.2, 18.6}}}};
constexpr double kNoise = 3;  // uniform, +- grey levels
constexpr int kSmallestPhoto = 500;
constexpr int kGrid = 33;  // points along each side at which the error is taken
/// RANSAC's limit for the distance of an inlier.
const double kTolerance = std::sqrt(12.0);

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

struct Frames {
  Size size;
  Matrix truth;
  Plane first;
  Plane second;
};

/// The first frame is the photo without a margin, the second the same window after the motion.
Frames makeFrames(const Plane& photo, const KnownMotion& motion, double noiseLevels) {
  const int margin = photo.size.width / 50 + 30;
  const Size size = {photo.size.width - 2 * margin, photo.size.height - 2 * margin};
  Frames frames = {size, motion.matrix(size), Plane(size), Plane(size)};
  const Matrix back = inverse(frames.truth);
  test::Random random(2024);
  const auto noise = [&] { return noiseLevels * (2 * random.unit() - 1); };
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      frames.first.row(y)[x] = toByte(photo.row(y + margin)[x + margin] + noise());
      const Position at = moved(back, {static_cast<double>(x), static_cast<double>(y)});
      frames.second.row(y)[x] = toByte(sampleAt(photo, {at.x + margin, at.y + margin}) + noise());
    }
  }
  return frames;
}

struct Error {
  double mean = 0;
  double worst = 0;
};

Error errorOf(const Matrix& found, const Frames& frames) {
  Error error;
  for (int j = 0; j < kGrid; ++j) {
    for (int i = 0; i < kGrid; ++i) {
      const Position p = {(frames.size.width - 1.0) * i / (kGrid - 1),
                          (frames.size.height - 1.0) * j / (kGrid - 1)};
      const double away = distance(moved(found, p), moved(frames.truth, p));
      error.mean += away / (kGrid * kGrid);
      error.worst = std::max(error.worst, away);
    }
  }
  return error;
}

Error errorOf(const Homography& found, const Frames& frames) {
  Matrix matrix;
  std::copy(found.begin(), found.end(), matrix.begin());
  return errorOf(matrix, frames);
}

Plane lumaOf(const std::string& path) {
  const auto reader = openInput({path, {}, {}});
  Picture picture;
  if (!reader->next(picture)) throw Failure(path + ": holds no picture");
  return std::move(picture.y);
}

/// The means of n x n pixels.
Plane reduced(const Plane& photo, int n) {
  Plane result({photo.size.width / n, photo.size.height / n});
  for (int y = 0; y < result.size.height; ++y) {
    for (int x = 0; x < result.size.width; ++x) {
      double sum = 0;
      for (int i = 0; i < n * n; ++i)
        sum += photo.row(n * y + i / n)[n * x + i % n];
      result.row(y)[x] = toByte(sum / (n * n));
    }
  }
  return result;
}

enum class Table { accuracy, motions, stages };

struct Options {
  Table table = Table::accuracy;
  double limit = HUGE_VAL;
  int reduction = 1;
  double noise = kNoise;
  KnownMotion motion = kMotion;
  std::string pictures;
};

std::string number(double value) {
  std::array<char, 32> digits{};
  std::snprintf(digits.data(), digits.size(), "%.3f", value);
  return digits.data();
}

void printRow(const std::vector<std::string>& cells) {
  std::string row = "|";
  for (const std::string& cell : cells)
    row.append(" ").append(cell).append(" |");
  printData(row + "\n");
}

void printHeading(const std::vector<std::string>& cells) {
  printRow(cells);
  std::string rule = "|";
  for (std::size_t i = 0; i < cells.size(); ++i)
    rule += "---|";
  printData(rule + "\n");
}

std::string text(const RegistrationFailure& failure) {
  return std::string(name(failure.stage)) + ": " + failure.reason;
}

/// A row of the table of accuracy; false when the photo fails the limit.
bool showAccuracy(const std::string& file, const Plane& photo, const Options& options) {
  Frames frames = makeFrames(photo, options.motion, options.noise);
  const RegistrationReport report = registerFrames(frames.first, frames.second);
  if (!options.pictures.empty()) {
    const Canvas canvas = registrationPicture(report, frames.first, frames.second);
    writeRgbPng(options.pictures + "/" + file + ".png", canvas.size(), canvas.rgb());
  }
  std::vector<std::string> cells = {
      file, text(frames.size), std::to_string(report.keypoints[0].size()),
      std::to_string(report.matches.size()), std::to_string(report.inliers())};
  if (report.failure) {
    cells.insert(cells.end(), {text(*report.failure), ""});
    printRow(cells);
    return false;
  }
  const Error error = errorOf(*report.homography, frames);
  cells.insert(cells.end(), {number(error.mean), number(error.worst)});
  printRow(cells);
  return error.mean <= options.limit;
}

/// A row of the table of motions: the mean errors under each of them, sorted.
bool showMotions(const std::string& file, const Plane& photo, const Options& options) {
  std::vector<double> errors;
  for (const KnownMotion& motion : kMotions) {
    Frames frames = makeFrames(photo, motion, options.noise);
    const RegistrationReport report = registerFrames(frames.first, frames.second);
    errors.push_back(report.failure ? HUGE_VAL : errorOf(*report.homography, frames).mean);
  }
  std::sort(errors.begin(), errors.end());
  const auto shown = [](double error) { return std::isinf(error) ? "fails" : number(error); };
  const double median = (errors[3] + errors[4]) / 2;
  printRow({file, shown(errors.front()), shown(median), shown(errors.back())});
  return errors.back() <= options.limit;
}

/// A key point in whole pixels of the frame, as the fit sees it.
Position wholePixels(Position p) {
  return {std::floor(p.x + 0.5), std::floor(p.y + 0.5)};
}

/// What is found when RANSAC does not stop before it is certain of a sample without outliers: as a
/// rule it runs all of its hundred iterations.
Homography findWithCertainty(const std::vector<PointPair>& matches) {
  std::vector<float> first, second;
  for (const PointPair& match : matches) {
    first.insert(first.end(),
                 {static_cast<float>(match.first.x), static_cast<float>(match.first.y)});
    second.insert(second.end(),
                  {static_cast<float>(match.second.x), static_cast<float>(match.second.y)});
  }
  tagST_MATCH_PAIRS pairs = {first.data(), second.data(), static_cast<int32_t>(matches.size())};
  tagRANSAC_PARAMS params = {100, 12.0f, 1.0f};
  std::vector<float> scratch(44 * matches.size() + 56);
  Homography found{};
  HomographyEstimation(&pairs, found.data(), &params,
                       reinterpret_cast<unsigned char*>(scratch.data()));
  return found;
}

/// A row of the table of stages.
bool showStages(const std::string& file, const Plane& photo, const Options& options) {
  Frames frames = makeFrames(photo, options.motion, options.noise);
  const RegistrationReport report = registerFrames(frames.first, frames.second);
  if (report.failure) {
    printRow({file, text(*report.failure), "", "", "", "", "", "", ""});
    return false;
  }
  std::vector<PointPair> all, trueOnes, kept;
  int keptTrueOnes = 0;
  for (const Match& match : report.matches) {
    const PointPair pair = {wholePixels(report.keypoints[0][match.first]),
                            wholePixels(report.keypoints[1][match.second])};
    const bool isTrue = distance(moved(frames.truth, pair.first), pair.second) <= kTolerance;
    all.push_back(pair);
    if (isTrue) trueOnes.push_back(pair);
    if (match.inlier) kept.push_back(pair);
    if (isTrue && match.inlier) ++keptTrueOnes;
  }
  const auto errorOfBestFit = [&](const std::vector<PointPair>& pairs) {
    return pairs.size() < 5 ? std::string("-")
                            : number(errorOf(bestFit(pairs, frames.truth), frames).mean);
  };
  const Error found = errorOf(*report.homography, frames);
  printRow({file, std::to_string(report.matches.size()), std::to_string(trueOnes.size()),
            std::to_string(keptTrueOnes),
            std::to_string(kept.size() - static_cast<std::size_t>(keptTrueOnes)),
            number(found.mean), number(errorOf(findWithCertainty(all), frames).mean),
            errorOfBestFit(kept), errorOfBestFit(trueOnes)});
  return found.mean <= options.limit;
}

bool show(const std::string& path, const Options& options) {
  const Plane photo = reduced(lumaOf(path), options.reduction);
  const std::string file = std::filesystem::path(path).filename();
  if (std::min(photo.size.width, photo.size.height) < kSmallestPhoto) {
    std::fprintf(stderr, "%s: too small, left out\n", path.c_str());
    return true;
  }
  switch (options.table) {
    case Table::motions:
      return showMotions(file, photo, options);
    case Table::stages:
      return showStages(file, photo, options);
    default:
      return showAccuracy(file, photo, options);
  }
}

/// Takes the options off the front of the arguments.
Options takeOptions(std::vector<std::string>& arguments) {
  Options options;
  while (!arguments.empty() && arguments[0].starts_with("--")) {
    const std::string option = arguments[0];
    arguments.erase(arguments.begin());
    if (option == "--motions") {
      options.table = Table::motions;
      continue;
    }
    if (option == "--stages") {
      options.table = Table::stages;
      continue;
    }
    if (arguments.empty()) throw Failure(option + ": a value is missing");
    const std::string value = arguments[0];
    arguments.erase(arguments.begin());
    if (option == "--limit") {
      options.limit = std::stod(value);
    } else if (option == "--noise") {
      options.noise = std::stod(value);
    } else if (option == "--reduce") {
      options.reduction = std::stoi(value);
      if (options.reduction < 1) throw Failure("--reduce wants 1 or more");
    } else if (option == "--pictures") {
      options.pictures = value;
    } else if (option == "--shift") {
      const auto comma = value.find(',');
      if (comma == std::string::npos) throw Failure("--shift wants X,Y");
      options.motion = {};
      options.motion.shift = {std::stod(value), std::stod(value.substr(comma + 1))};
    } else {
      throw Failure(option + ": no such option");
    }
  }
  return options;
}

int run(std::vector<std::string> arguments) {
  const Options options = takeOptions(arguments);
  if (arguments.empty()) throw Failure("no photo is given");
  switch (options.table) {
    case Table::motions:
      printHeading({"photo", "lowest", "median", "highest"});
      break;
    case Table::stages:
      printHeading({"photo", "matches", "true", "true, kept", "false, kept", "found", "certain",
                    "best fit to the kept", "best fit to all true"});
      break;
    default:
      printHeading(
          {"photo", "frames", "key points", "matches", "inliers", "mean error", "worst error"});
  }
  bool passed = true;
  for (const std::string& path : arguments)
    passed = show(path, options) && passed;
  return passed || std::isinf(options.limit) ? 0 : 1;
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
