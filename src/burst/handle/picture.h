// Making a picture: registration, noise, translations, weights and reconstruction in their order.
#ifndef VELMORA_SRC_BURST_HANDLE_PICTURE_H
#define VELMORA_SRC_BURST_HANDLE_PICTURE_H

#include "burst/handle/burst_handle.h"
#include "burst/handle/call_workers.h"

namespace velmora::burst {

/// Makes the picture around the frame in a slot and notes what it made of all frames. Throws
/// std::bad_alloc and Cancelled; what was noted about the picture before then still stands.
///
/// Bytes do not depend on slots: the noise of several pairs is their median, and frames go into the
/// reconstruction in the order of their motions. What the handle keeps about pairs is what would be
/// worked out anew, so neither do they depend on earlier pictures.
void makePicture(Velmora_SR_Burst& burst, int32_t reference, CallWorkers& workers,
                 const TargetFrame& target);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_HANDLE_PICTURE_H
