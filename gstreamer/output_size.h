// Negotiation: which sizes go with which.
#ifndef VELMORA_GSTREAMER_OUTPUT_SIZE_H
#define VELMORA_GSTREAMER_OUTPUT_SIZE_H

#include <gst/gst.h>

#include "settings.h"

namespace velmora::gst {

/// Caps on the other side of the element that go with `caps` on the side of `direction`: the sizes
/// from once to four times as large, or as small; the rest alike. The caller owns the result.
GstCaps* sizesAcross(GstPadDirection direction, const GstCaps* caps);

/// Chooses one of `candidates` (taken over) for the other side. The output is `settings.scale`
/// times as large as the input as far as the candidates allow; where they fix one side, the other
/// keeps the proportions. Colours keep their meaning: what caps of the input's size imply is
/// written out, since a larger size may imply something else. The caller owns the result.
GstCaps* chooseSize(GstPadDirection direction, GstCaps* caps, GstCaps* candidates,
                    const Settings& settings);

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_OUTPUT_SIZE_H
