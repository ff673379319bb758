// Matching: kd-tree forest, nearest neighbours with ratio test, RANSAC.
#ifndef VELMORA_SR_MATCHING_H
#define VELMORA_SR_MATCHING_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/features.h"

#endif  // VELMORA_SR_MATCHING_H
