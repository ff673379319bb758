#include "arguments.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

#include "errors.h"
#include "file_names.h"
#include "output_file.h"
#include "size_limits.h"

namespace velmora::tool {
namespace {

constexpr double kDefaultScale = 2;
constexpr double kMaxScale = 64;

UsageError bad(const std::string& option, const std::string& value, const std::string& wanted) {
  return UsageError(option + ": \"" + value + "\" is no " + wanted);
}

std::string listed(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words)
    text += (text.empty() ? "" : ", ") + word;
  return text;
}

// Reads whole numbers separated by single characters; true when all of `text` is used up.
template <std::size_t N>
bool readNumbers(std::string_view text, char separator, std::array<int, N>& numbers) {
  for (std::size_t i = 0; i < N; ++i) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), numbers[i]);
    if (error != std::errc{}) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (i + 1 == N) break;
    if (text.empty() || text.front() != separator) return false;
    text.remove_prefix(1);
  }
  return text.empty();
}

}  // namespace

Size parseSize(const std::string& option, const std::string& value) {
  std::array<int, 2> sides{};
  if (!readNumbers(value, 'x', sides)) {
    throw bad(option, value, "size; give WIDTHxHEIGHT in pixels, for example 1920x1080");
  }
  const Size size{sides[0], sides[1]};
  if (const std::string fault = sizeFault(size); !fault.empty()) {
    throw bad(option, value, "size that can be handled: " + fault);
  }
  return size;
}

Region parseRegion(const std::string& option, const std::string& value) {
  std::array<int, 4> bounds{};
  if (!readNumbers(value, ',', bounds) || bounds[0] < 0 || bounds[1] < 0 || bounds[2] < bounds[0] ||
      bounds[3] < bounds[1]) {
    throw bad(option, value,
              "region; give X0,Y0,X1,Y1: the first column and row, counted from 0, and the last");
  }
  return {bounds[0], bounds[1], bounds[2], bounds[3]};
}

double parseScale(const std::string& option, const std::string& value) {
  double scale = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), scale);
  if (error != std::errc{} || end != value.data() + value.size() || !(scale > 0) ||
      scale > kMaxScale) {
    throw bad(option, value, "scale; give a factor above 0 and up to 64, for example 2 or 1.5");
  }
  return scale;
}

int parseNumber(const std::string& option, const std::string& value, int low, int high) {
  std::array<int, 1> number{};
  if (!readNumbers(value, '\0', number) || number[0] < low || number[0] > high) {
    throw bad(option, value,
              "whole number from " + std::to_string(low) + " to " + std::to_string(high));
  }
  return number[0];
}

int64_t parsePixels(const std::string& option, const std::string& value) {
  const bool millions = value.ends_with('M');
  std::array<int, 1> number{};
  const std::string_view digits(value.data(), value.size() - (millions ? 1 : 0));
  const int64_t unit = millions ? 1'000'000 : 1;
  if (!readNumbers(digits, '\0', number) || number[0] < 1 || number[0] * unit > kMaxPixels) {
    throw bad(option, value,
              "number of pixels; give 1 to " + std::to_string(kMaxPixels) + ", or millions: 24M");
  }
  return number[0] * unit;
}

GhostThresholds parseThresholds(const std::string& option, const std::string& value) {
  std::array<int, 2> thresholds{};
  if (!readNumbers(value, ',', thresholds) || thresholds[0] < 0 || thresholds[1] < thresholds[0] ||
      thresholds[1] > 255) {
    throw bad(option, value,
              "pair of thresholds; give LOW,HIGH from 0 to 255, for example 20,40, or auto");
  }
  return {thresholds[0], thresholds[1]};
}

FileFormat parseFormat(const std::string& option, const std::string& value, bool raw) {
  const auto format = formatByName(value);
  if (!format || (raw && !isRawFormat(*format))) {
    throw bad(option, value,
              raw ? "raw format; give nv12, nv21 or i420"
                  : "output format; give one of " + listed(formatNames()));
  }
  return *format;
}

void requireInside(const std::string& option, Region region, Size picture) {
  if (region.right < picture.width && region.bottom < picture.height) return;
  throw UsageError(option + ": " + std::to_string(region.left) + "," + std::to_string(region.top) +
                   "," + std::to_string(region.right) + "," + std::to_string(region.bottom) +
                   " reaches outside the picture, whose last column is " +
                   std::to_string(picture.width - 1) + " and last row " +
                   std::to_string(picture.height - 1));
}

InputRequest FrameOptions::input(const std::string& path) const {
  InputRequest request;
  request.path = path;
  if (!inputSize.empty()) request.rawSize = parseSize("--input-size", inputSize);
  if (!inputFormat.empty()) {
    request.rawFormat = parseFormat("--input-format", inputFormat, true);
  }
  return request;
}

OutputRequest FrameOptions::outputRequest() const {
  OutputRequest request;
  request.path = output;
  if (!outputFormat.empty()) request.format = parseFormat("--output-format", outputFormat, false);
  if (!quality.empty()) request.jpegQuality = parseNumber("--quality", quality, 1, 100);
  return request;
}

Region FrameOptions::regionIn(Size picture) const {
  if (region.empty()) return wholeOf(picture);
  const Region chosen = parseRegion("--region", region);
  requireInside("--region", chosen, picture);
  return chosen;
}

Size FrameOptions::outputSize(Region chosen) const {
  if (!size.empty()) return parseSize("--size", size);
  const double factor = scale.empty() ? kDefaultScale : parseScale("--scale", scale);
  const auto scaled = [&](int side) {
    return static_cast<int>(std::max(std::lround(side * factor), 1L));
  };
  const Size result{scaled(chosen.size().width), scaled(chosen.size().height)};
  if (const std::string fault = sizeFault(result); !fault.empty()) {
    throw UsageError("--scale: " + (scale.empty() ? "2" : scale) + " makes " + text(result) +
                     " of " + text(chosen.size()) + ", which is too large: " + fault);
  }
  return result;
}

void FrameOptions::requireSeparate(std::vector<NamedFile> outputs,
                                   std::vector<NamedFile> inputs) const {
  outputs.insert(outputs.begin(), {"-o", output});
  inputs.push_back({"--config", tuning.configuration});
  inputs.push_back({"--kernel", tuning.kernels});
  requireSeparateFiles(outputs, inputs);
  for (const NamedFile& file : outputs)
    requireReplaceable(file.path);
}

void FrameOptions::check() const {
  static_cast<void>(input(""));
  static_cast<void>(outputRequest());
  if (!region.empty()) parseRegion("--region", region);
  if (!size.empty()) parseSize("--size", size);
  if (!scale.empty()) parseScale("--scale", scale);
}

}  // namespace velmora::tool
