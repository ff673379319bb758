#include "alpha.h"

#include <algorithm>

namespace velmora::tool {

Plane layOverWhite(Size size, int channels, std::vector<uint8_t>& samples) {
  Plane alpha(size);
  const auto colours = static_cast<std::size_t>(channels - 1);
  const uint8_t* from = samples.data();
  uint8_t* to = samples.data();
  for (uint8_t& own : alpha.samples) {
    own = from[colours];
    for (std::size_t i = 0; i < colours; ++i) {
      // At most 255 * 255 + 127.
      const int sum = from[i] * own + 255 * (255 - own);
      *to++ = static_cast<uint8_t>((sum + 127) / 255);
    }
    from += colours + 1;
  }
  samples.resize(alpha.samples.size() * colours);
  const auto opaque = [](uint8_t own) { return own == 255; };
  if (std::all_of(alpha.samples.begin(), alpha.samples.end(), opaque)) return {};
  return alpha;
}

void takeOffWhite(std::span<const uint8_t> colours, std::span<const uint8_t> alpha,
                  std::span<uint8_t> pixels) {
  const std::size_t channels = colours.size() / alpha.size();
  const uint8_t* from = colours.data();
  uint8_t* to = pixels.data();
  for (const uint8_t own : alpha) {
    for (std::size_t i = 0; i < channels; ++i) {
      const int missing = 255 - *from++;
      // At most 255 * 255 + 127. Rounding and enlarging may leave more missing than there can be.
      const int full = own == 0 ? 0 : (missing * 255 + own / 2) / own;
      *to++ = static_cast<uint8_t>(255 - std::min(full, 255));
    }
    *to++ = own;
  }
}

}  // namespace velmora::tool
