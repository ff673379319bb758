// A registration drawn: both frames with what was found, matched, kept and dropped.
#ifndef VELMORA_TOOL_REGISTRATION_REGISTRATION_PICTURE_H
#define VELMORA_TOOL_REGISTRATION_REGISTRATION_PICTURE_H

#include "demo/canvas.h"
#include "engine/registration.h"
#include "picture.h"

namespace velmora::tool {

/// Both frames side by side in grey, reduced to a thousand pixels of width or less. All key points,
/// inliers and outliers are dots; of either kind of match up to a hundred, spread over the list,
/// are joined by a line. The registered rectangle is drawn on the first frame, and where the
/// homography puts it on the second.
Canvas registrationPicture(const RegistrationReport& report, const Plane& first,
                           const Plane& second);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_REGISTRATION_REGISTRATION_PICTURE_H
