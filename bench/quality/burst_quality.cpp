// Quality of the burst stage: bursts of photos and what the library and OpenCV make of them.
//
//   burst_quality [--quick] [--pictures FOLDER] [SECTION...]
//
// Frames are made of photos of Debian packages, textured ones but for one section, in more detail
// than the result has: each pixel is the mean over its square, seen by a hand-held camera, with
// noise, exposure, sharpening and JPEG files as the section says. Prints tables in Markdown, means
// over the photos: PSNR in dB and SSIM against what a camera of the result's size would have seen.
// --quick prints one line per goal instead, and fails when one was missed.
#include <cstdio>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "burst/sections.h"
#include "streams.h"

namespace velmora::quality {
namespace {

using Section = std::pair<const char*, void (*)(const Plan&)>;
constexpr Section kSections[] = {{"still", measureStill},
                                 {"smooth", measureSmooth},
                                 {"btv", measureBtv},
                                 {"moving", measureMoving},
                                 {"colour", measureColour},
                                 {"exposure", measureExposure},
                                 {"jpeg", measureJpeg},
                                 {"sharpened", measureSharpened},
                                 {"parallax", measureParallax},
                                 {"scales", measureScales},
                                 {"registration", measureRegistration}};

int usage() {
  std::fputs("usage: burst_quality [--quick] [--pictures FOLDER] [SECTION...]\nsections:", stderr);
  for (const auto& [name, measure] : kSections)
    std::fprintf(stderr, " %s", name);
  std::fputs("\n", stderr);
  return 2;
}

int run(const std::vector<std::string>& arguments) {
  Plan plan;
  bool quick = false;
  std::vector<Section> wanted;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i] == "--quick") {
      quick = true;
    } else if (arguments[i] == "--pictures" && i + 1 < arguments.size()) {
      plan.pictures = arguments[++i];
    } else {
      const std::size_t before = wanted.size();
      for (const Section& section : kSections) {
        if (arguments[i] == section.first) wanted.push_back(section);
      }
      if (wanted.size() == before) return usage();
    }
  }
  plan.masters = texturedMasters();
  if (quick) return checkGoals(plan) == 0 ? 0 : 1;
  if (wanted.empty() && plan.pictures.empty())
    wanted.assign(std::begin(kSections), std::end(kSections));
  for (const auto& [name, measure] : wanted)
    measure(plan);
  if (!plan.pictures.empty()) savePictures(plan);
  return 0;
}

}  // namespace
}  // namespace velmora::quality

int main(int argc, char** argv) {
  velmora::tool::claimStandardOutput();
  try {
    return velmora::quality::run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "burst_quality: %s\n", error.what());
    return 1;
  }
}
