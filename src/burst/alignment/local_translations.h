// Local translations: what parallax adds to the homography of a pair.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_LOCAL_TRANSLATIONS_H
#define VELMORA_SRC_BURST_ALIGNMENT_LOCAL_TRANSLATIONS_H

#include "burst/alignment/registration.h"

namespace velmora::burst {

/// Finds the tiles of a registered pair that a translation of their own, up to 3.5 samples, fits
/// much better. `sigma` is the standard deviation of luma's noise in grey levels. The field is
/// empty where no tile is. Throws std::bad_alloc and Cancelled.
LocalField findTranslations(Memory& memory, Workers& workers, const Pyramid& reference,
                            const Pyramid& frame, const PairRegistration& registration,
                            double sigma);

/// What findTranslations() asks Workers for in all, in nanoseconds of one thread, about.
inline double translationsWork(Size frame) {
  return 15.0 * frame.width * frame.height;
}

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_LOCAL_TRANSLATIONS_H
