// Steps behind the entry points, for hosts that drive them one by one.
#ifndef VELMORA_SR_INTERFACE_H
#define VELMORA_SR_INTERFACE_H

#include "velmora_sr/export.h"
#include "velmora_sr/records.h"

#endif  // VELMORA_SR_INTERFACE_H
