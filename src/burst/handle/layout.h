// The planes of a caller's frames and pictures: whether they can be what their record says, and
// whether they lie apart.
#ifndef VELMORA_SRC_BURST_HANDLE_LAYOUT_H
#define VELMORA_SRC_BURST_HANDLE_LAYOUT_H

#include <cstddef>

#include "burst/handle/message.h"
#include "burst/plane.h"
#include "velmora_sr/burst.h"

namespace velmora::burst {

/// False where a plane is impossible; the message then says which and why. Nothing is read.
bool readFrame(const Velmora_SR_BurstFrame& record, Size luma, SourceFrame& frame,
               Message& message);
bool readPicture(const Velmora_SR_BurstPicture& record, Size luma, TargetFrame& picture,
                 Message& message);

/// Why a plane is impossible, to follow its name in a sentence; or null.
const char* planeFault(const void* data, std::ptrdiff_t stride, std::ptrdiff_t step, Size size);

/// True if planes of a picture share samples with each other. Planes whose samples take turns, like
/// U and V of NV12, lie apart; where their steps differ, in doubt not.
bool overlapsItself(const TargetFrame& picture);
/// True if a plane to be written shares samples with a frame.
bool overlaps(const TargetPlane& target, const SourceFrame& frame);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_HANDLE_LAYOUT_H
