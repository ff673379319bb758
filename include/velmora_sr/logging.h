// The switchable logger of the registration code, and the file dump of the process driver.
#ifndef VELMORA_SR_LOGGING_H
#define VELMORA_SR_LOGGING_H

#include <cstdint>

#include "velmora_sr/export.h"

VELMORA_API const char* InitLogParams(const char* path, int mode);
VELMORA_API void LogFxn(const char* path, const char* text, ...);
VELMORA_API void LogMsg(const char* file, int line, int level, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));
VELMORA_API void LogVersion();
VELMORA_API void dump_to_file(const char* path, const uint8_t* plane1, int size1,
                              const uint8_t* plane2, int size2);

#endif  // VELMORA_SR_LOGGING_H
