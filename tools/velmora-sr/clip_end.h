// What becomes of a clip whose frames cannot all be made.
#ifndef VELMORA_TOOL_CLIP_END_H
#define VELMORA_TOOL_CLIP_END_H

#include <exception>
#include <functional>

#include "frame_io.h"

namespace velmora::tool {

/// Runs `work`, which writes frames and counts in `done` those that are written, and finishes the
/// file. The finished frames are kept when a signal stops the work or the input breaks off: then
/// returns the exception that says so and with which frame the clip ends, to be thrown when the
/// status is told. Without a frame, and for any other failure, nothing is kept and the exception of
/// `work` goes on.
std::exception_ptr writeClip(FrameWriter& writer, const long& done,
                             const std::function<void()>& work);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_CLIP_END_H
