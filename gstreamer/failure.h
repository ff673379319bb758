// How the parts of the element say that something cannot be done. Nothing is thrown past the
// element.
#ifndef VELMORA_GSTREAMER_FAILURE_H
#define VELMORA_GSTREAMER_FAILURE_H

#include <stdexcept>

namespace velmora::gst {

/// The stream cannot go on; the text is for people.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The work was stopped by a flush or a change of state.
struct Cancelled {};

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_FAILURE_H
