// The type of the element `velmorasr`.
#ifndef VELMORA_GSTREAMER_VELMORASR_H
#define VELMORA_GSTREAMER_VELMORASR_H

#include <gst/gst.h>

namespace velmora::gst {

/// Makes the element known to GStreamer, for this plugin.
gboolean registerElement(GstPlugin* plugin);

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_VELMORASR_H
