// The switchable logger of the registration code, and the file dump of the process driver.
//
// Messages go through LogMsg; they are dropped until the host installs the logger with
// InitLogParams. The logger's settings are plain process-wide variables: set them before the first
// process call, or between calls, on the thread that makes them.
#ifndef VELMORA_SR_LOGGING_H
#define VELMORA_SR_LOGGING_H

#include <cstdint>

#include "velmora_sr/export.h"

/// Installs the logger: from now on LogMsg hands its lines to LogFxn.
/// @param path  file that the lines are appended to in mode 3, null for the system log; kept by
///              pointer, so it must live as long as messages are logged. Not used in other modes.
/// @param mode  the highest level that LogMsg lets through: 0 errors, 1 also warnings, 2 also
///              information; 3 is 2 with the lines going to the file. Below 0: none of them. Above
///              3: everything but debug lines, to the system log.
/// @return path in mode 3, else null
/// Cannot fail: the file is opened for each line. A later call replaces the settings; there is no
/// way to take the logger out again but a mode below 0. Not while another thread logs.
VELMORA_API const char* InitLogParams(const char* path, int mode);

/// Writes one text in printf style, without adding a line feed.
/// @param path  file to append to, opened and closed by each call; null for the system log
///              (priority 6, tag "libimgproc", cut at 4095 bytes). A text whose file cannot be
///              opened or written goes to the system log instead.
/// @param text  printf format of the text; null writes nothing. Give "%s" and the text where the
///              text may hold a per cent sign.
VELMORA_API void LogFxn(const char* path, const char* text, ...)
    __attribute__((format(printf, 2, 3)));

/// Logs one message of the registration code as one line, through the installed logger:
/// ">>BRISOLE2[info] : message" at level 2, ">>BRISOLE2[level][file][line] : message" at others.
/// The line, line feed included, is cut at 4095 bytes.
/// @param file   source file of the message; null counts as empty
/// @param line   its line
/// @param level  0 "error", 1 "warning", 2 "info"; -1 and 3 (debug) are always dropped, any other
///               value is named "unknown". Levels above the installed one are dropped.
/// @param fmt    printf format of the message, without a line feed; null counts as empty
/// No lock is held: call it from one thread at a time.
VELMORA_API void LogMsg(const char* file, int line, int level, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

/// Writes the version line of the registration code to the system log (priority 4, tag
/// "libimgproc"), whether or not the logger is installed. Returns nothing and cannot fail. The
/// library itself never calls it. Any thread.
VELMORA_API void LogVersion();

/// Writes up to two planes to one file, replacing it. What was written, or that the file could not
/// be created or written, is said in the system log under the tag "NB7UO_ZELK".
/// @param path    file to create, not null; the caller's choice, so a link is followed
/// @param plane1  size1 bytes, or null for none
/// @param size1   bytes; below 1 for none
/// @param plane2  size2 bytes that follow plane1 in the file, or null for none
/// @param size2   bytes; below 1 for none
/// Nothing is returned: a failed dump never changes the result of the call that asked for it.
VELMORA_API void dump_to_file(const char* path, const uint8_t* plane1, int size1,
                              const uint8_t* plane2, int size2);

#endif  // VELMORA_SR_LOGGING_H
