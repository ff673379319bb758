// Shrinking of depth, image and mask planes, and 3 x 3 morphology.
#ifndef VELMORA_SR_IMAGE_UTILITIES_H
#define VELMORA_SR_IMAGE_UTILITIES_H

#include <cstdint>

#include "velmora_sr/export.h"

#endif  // VELMORA_SR_IMAGE_UTILITIES_H
