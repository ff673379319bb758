// The three version lines that open every creation and process call.
#ifndef VELMORA_SRC_INTERFACE_SOURCE_VERSION_BANNER_H
#define VELMORA_SRC_INTERFACE_SOURCE_VERSION_BANNER_H

namespace velmora {

/// Logs the version, the release time and the compiler at info level. The registration logger's own
/// banner is the exported LogVersion of logging.h.
void logVersionBanner();

}  // namespace velmora

#endif  // VELMORA_SRC_INTERFACE_SOURCE_VERSION_BANNER_H
