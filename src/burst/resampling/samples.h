// Parts of planes as samples of the library's own.
#ifndef VELMORA_SRC_BURST_RESAMPLING_SAMPLES_H
#define VELMORA_SRC_BURST_RESAMPLING_SAMPLES_H

#include "burst/memory.h"

namespace velmora::burst {

/// What each of the 256 levels of a frame is as a sample of the library's own, matched to the
/// reference: gain * level + bias, rounded half up to five fraction bits.
struct Levels {
  int16_t of[256];
  bool plain;  ///< gain 1, bias 0
};
/// `gain` and `bias` in grey levels; chroma is matched around 128, with the gain alone.
Levels matchedLevels(double gain, double bias, bool chroma);

/// One of three kinds of planes.
struct SampleSource {
  SourcePlane bytes = {};             ///< a plane of the caller's,
  const Levels* levels = nullptr;     ///< and what its levels mean: null for the other kinds
  Plane<const int16_t> samples = {};  ///< samples that are ready
  bool periodic = false;              ///< whose size is a power of two; they go on for ever,
  int32_t shift = 0;                  ///< moved by so many samples on both axes
};

/// Copies a part of a plane, which may reach beyond it: planes are mirrored at their borders.
void readSamples(const SampleSource& source, const Rect& part, int16_t* out, std::ptrdiff_t pitch);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESAMPLING_SAMPLES_H
