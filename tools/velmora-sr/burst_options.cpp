#include "burst_options.h"

#include <charconv>

#include "arguments.h"
#include "errors.h"
#include "status.h"

namespace velmora::tool {
namespace {

constexpr const char* kAuto = "auto";
constexpr double kLargestNoise = 64;
constexpr double kLeastSharpened = -0.6;
constexpr double kMostSharpened = 1;
constexpr int kMostThreads = 64;

// Nothing for "auto" and for an option that was not given.
std::optional<double> parseAmount(const char* option, const std::string& value, double low,
                                  double high) {
  if (value.empty() || value == kAuto) return std::nullopt;
  double amount = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), amount);
  if (error == std::errc{} && end == value.data() + value.size() && amount >= low &&
      amount <= high) {
    return amount;
  }
  throw UsageError(std::string(option) + ": \"" + value +
                   format("\" is no amount; give auto, or a number from %g to %g", low, high));
}

// 0, one for each processor, for an option that was not given.
int parseThreads(const std::string& value) {
  return value.empty() ? 0 : parseNumber("--threads", value, 1, kMostThreads);
}

// Cameras sharpen their JPEGs; what other files went through is unknown, and up to the library.
std::optional<double> usuallySharpened(const StreamInfo& in) {
  constexpr double kUsual = 0.3;
  constexpr double kMore = 0.45;
  if (in.exifSharpness == 2) return kMore;
  if (in.exifSharpness == 1) return 0;
  if (in.format == FileFormat::jpeg) return kUsual;
  return std::nullopt;
}

}  // namespace

void BurstOptions::check(const char* noiseOption) const {
  parseAmount(noiseOption, noise, 0, kLargestNoise);
  parseAmount("--sharpened", sharpened, kLeastSharpened, kMostSharpened);
  if (!effort.empty() && effort != "normal" && effort != "fast") {
    throw UsageError("--effort: \"" + effort + "\" is no effort; give normal or fast");
  }
  parseThreads(threads);
}

BurstSettings BurstOptions::settings(const StreamInfo& in, Region region, Size output) const {
  BurstSettings settings;
  settings.frame = in.size;
  settings.region = region;
  settings.output = output;
  settings.fast = effort == "fast";
  settings.threads = parseThreads(threads);
  settings.noise = parseAmount("", noise, 0, kLargestNoise);
  settings.sharpened = parseAmount("", sharpened, kLeastSharpened, kMostSharpened);
  if (!settings.sharpened) settings.sharpened = usuallySharpened(in);
  if (const std::string fault = BurstEngine::fault(settings); !fault.empty()) {
    throw UsageError("the burst stage cannot do this: " + fault);
  }
  return settings;
}

}  // namespace velmora::tool
