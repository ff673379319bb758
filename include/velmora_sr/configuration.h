// Configuration: the XML thresholds and the kernel file.
#ifndef VELMORA_SR_CONFIGURATION_H
#define VELMORA_SR_CONFIGURATION_H

#include "velmora_sr/export.h"
#include "velmora_sr/velmora_sr.h"

VELMORA_API Velmora_SR_ESR_RET ParseConfigFile(const char* configPath, const char* kernelPath);
VELMORA_API void LoadDefaultKernelFile();

#endif  // VELMORA_SR_CONFIGURATION_H
