// Lossless two-to-one scaling with residual planes, and a 3 x 3 linear solver.
#ifndef VELMORA_SR_LOCAL_SCALING_H
#define VELMORA_SR_LOCAL_SCALING_H

#include <cstdint>

#include "velmora_sr/export.h"

#endif  // VELMORA_SR_LOCAL_SCALING_H
