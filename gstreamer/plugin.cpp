// What GStreamer reads of the plugin.
#include <gst/gst.h>

#include "velmora_sr/version.h"
#include "velmorasr.h"

#define PACKAGE "velmora_sr"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, velmorasr,
                  "Multi-frame super-resolution of video", velmora::gst::registerElement,
                  VELMORA_SR_VERSION_STRING, GST_LICENSE_UNKNOWN, "libvelmora_sr",
                  "Unknown package origin")
