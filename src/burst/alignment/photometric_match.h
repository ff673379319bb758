// Gain and bias of a registered pair.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_PHOTOMETRIC_MATCH_H
#define VELMORA_SRC_BURST_ALIGNMENT_PHOTOMETRIC_MATCH_H

#include "burst/alignment/level_aligner.h"

namespace velmora::burst {

/// Finds gain and bias anew from the means and deviations of the pixels of a level that agree.
/// Both are left out where they change next to nothing. Throws std::bad_alloc.
void matchBrightness(Memory& memory, const PyramidLevel& reference, const PyramidLevel& frame,
                     int32_t level, Alignment& alignment);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_PHOTOMETRIC_MATCH_H
