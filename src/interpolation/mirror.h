// The reflection rule of padded planes: the edge sample is not repeated.
#ifndef VELMORA_SRC_INTERPOLATION_MIRROR_H
#define VELMORA_SRC_INTERPOLATION_MIRROR_H

#include <algorithm>
#include <cstddef>

namespace velmora {

/// The sample, 0 .. count - 1, that stands at `index` of a padded axis. Reflections that miss a
/// short axis end at its far sample.
constexpr std::ptrdiff_t mirroredIndex(std::ptrdiff_t index, std::ptrdiff_t count) {
  if (index < 0) return std::min(-index, count - 1);
  if (index >= count) return std::max<std::ptrdiff_t>(2 * count - 2 - index, 0);
  return index;
}

/// Fills the b samples before and after an interior row of w from the image row `from`, which may
/// be the interior row itself.
template <typename T>
void mirrorRowEnds(const T* from, T* interior, std::ptrdiff_t b, std::ptrdiff_t w) {
  for (std::ptrdiff_t k = 0; k < b; ++k) {
    interior[-1 - k] = from[mirroredIndex(-1 - k, w)];
    interior[w + k] = from[mirroredIndex(w + k, w)];
  }
}

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_MIRROR_H
