/* Platform services that the library calls: the system log and the system properties. C99 and C++.
 *
 * On Android both come from the system. Elsewhere the library brings its own, weak and with default
 * visibility, so that a host program can define functions of these names and receive the calls. */
#ifndef VELMORA_SR_PLATFORM_H
#define VELMORA_SR_PLATFORM_H

#include "velmora_sr/export.h"

#if defined(__ANDROID__)
#include <android/log.h>
#include <sys/system_properties.h>
#else
#ifdef __cplusplus
extern "C" {
#endif

/* Writes one log line in printf style. The library's own version writes "P/TAG: text" and a line
 * feed to standard error, P being the letter of the priority (2 V, 3 D, 4 I, 5 W, 6 E, 7 F), if the
 * environment variable ANDROID_LOG_TAGS lets it through ("TAG:P TAG:P *:P", S silences); without
 * the variable lines below W are dropped. Returns a positive number when written, else 0 or below.
 */
VELMORA_API int __android_log_print(int prio, const char* tag, const char* fmt, ...)
#if defined(__GNUC__) || defined(__clang__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

/* Looks a property up; the library's own version takes the environment variable of the same name.
 * Writes at most 92 bytes, terminator included, to value and returns the text's length (0: unset).
 */
VELMORA_API int __system_property_get(const char* name, char* value);

#ifdef __cplusplus
} /* extern "C" */
#endif
#endif

#endif /* VELMORA_SR_PLATFORM_H */
