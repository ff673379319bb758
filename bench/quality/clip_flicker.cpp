// How steady clips are.
//
//   clip_flicker CLIP...
//
// Prints one row of a Markdown table per clip: the mean energy of the luma's fine detail per sample
// (the second difference along both axes), and how much the energy changes from one frame to the
// next, as the root mean square in per cent. A clip whose frames differ in sharpness flickers: its
// energy jumps although the scene stays.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "frame_io.h"

namespace velmora::quality {
namespace {

using tool::Plane;

// Mean square of [1 -2 1] x [1 -2 1].
double detailOf(const Plane& plane) {
  const auto [width, height] = plane.size;
  if (width < 3 || height < 3) return 0;
  int64_t sum = 0;
  for (int y = 1; y + 1 < height; ++y) {
    const uint8_t* above = plane.row(y - 1);
    const uint8_t* row = plane.row(y);
    const uint8_t* below = plane.row(y + 1);
    const auto across = [&](int x) { return above[x] - 2 * row[x] + below[x]; };
    for (int x = 1; x + 1 < width; ++x) {
      const int64_t second = across(x - 1) - 2 * across(x) + across(x + 1);
      sum += second * second;
    }
  }
  return static_cast<double>(sum) / (static_cast<double>(width - 2) * (height - 2));
}

void measure(const std::string& path) {
  const auto reader = tool::openInput({path, {}, {}});
  std::vector<double> details;
  for (tool::Picture picture; reader->next(picture);)
    details.push_back(detailOf(picture.y));
  double sum = details.front();
  double changes = 0;
  for (std::size_t i = 1; i < details.size(); ++i) {
    const double change = 2 * (details[i] - details[i - 1]) / (details[i] + details[i - 1]);
    changes += std::isfinite(change) ? change * change : 0;
    sum += details[i];
  }
  const double steps = static_cast<double>(details.size() > 1 ? details.size() - 1 : 1);
  std::printf("| %s | %zu | %.2f | %.2f |\n", path.c_str(), details.size(),
              sum / static_cast<double>(details.size()), 100 * std::sqrt(changes / steps));
}

int run(const std::vector<std::string>& clips) {
  if (clips.empty()) {
    std::fputs("usage: clip_flicker CLIP...\n", stderr);
    return 2;
  }
  std::puts("| clip | frames | detail | change from frame to frame, % |\n|---|---|---|---|");
  for (const std::string& clip : clips)
    measure(clip);
  return 0;
}

}  // namespace
}  // namespace velmora::quality

int main(int argc, char** argv) {
  try {
    return velmora::quality::run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "clip_flicker: %s\n", error.what());
    return 1;
  }
}
