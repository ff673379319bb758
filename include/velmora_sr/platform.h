/* Platform services that the library calls: the system log and the system properties. C99 and C++.
 *
 * On Android both come from the system. Elsewhere the library brings its own, weak and with default
 * visibility, so that a host program can define functions of these names and receive the calls:
 * that is how to redirect the log, or to silence what every creation says at error priority.
 * examples/host_log.c does it in a dozen lines. Such a function must not throw. */
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

/* Writes one log message in printf style.
 *   prio  2 verbose, 3 debug, 4 info, 5 warning, 6 error, 7 fatal
 *   tag   who speaks; null counts as empty
 *   fmt   printf format of the text, not null (else nothing is written)
 * The library's own version writes every line of the text as "P/TAG: text" and a line feed to
 * standard error, P being one of V D I W E F. It writes the lines that ANDROID_LOG_TAGS lets
 * through: rules between blanks or commas, read at every call, later ones first. "TAG:P" lets lines
 * of that tag through from priority P on, "TAG" all of them, "*:P" lines of all other tags ("*"
 * alone from D on); S silences. Tags that no rule covers are heard from W on.
 * Returns a positive number when written, else 0 or below. Any thread. */
VELMORA_API int __android_log_print(int prio, const char* tag, const char* fmt, ...)
#if defined(__GNUC__) || defined(__clang__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

/* Looks a system property up.
 *   name   name of the property; null counts as unset
 *   value  92 bytes, or null (then nothing is written); written: the value, cut at 91 bytes, and a
 *          terminator; the empty text when unset
 * Returns the length of the text written, 0 when unset. The library's own version takes the
 * environment variable of the same name; in a process that runs with raised rights (secure_getenv)
 * every property is unset. Any thread that does not race with setenv. */
VELMORA_API int __system_property_get(const char* name, char* value);

#ifdef __cplusplus
} /* extern "C" */
#endif
#endif

#endif /* VELMORA_SR_PLATFORM_H */
