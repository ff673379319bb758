// The tag of all direct log lines, and the one line in which internal steps report a failure.
#ifndef VELMORA_SRC_COMMON_FAILURE_LINE_H
#define VELMORA_SRC_COMMON_FAILURE_LINE_H

#include "velmora_sr/velmora_sr.h"

namespace velmora {

/// Tag of the lines that the interface and the configuration write to the system log. Most of these
/// lines repeat it as their first word.
inline constexpr const char* kLogTag = "NB7UO_ZELK";

/// Priorities of the system log that these lines use.
inline constexpr int kLogInfo = 4;
inline constexpr int kLogError = 6;

/// Source path that failure lines name, whichever file the step lives in: log parsers match on it.
inline constexpr const char* kLogSourcePath = "src/interface/source/SRInterface";

/// Writes "TAG: TEXT in Line: LINE, in Function: FUNCTION, in File: PATH\n" to the system log.
/// `line` is the fixed number of the step in the log protocol, not a line of today's source. A text
/// that would make the line longer than 1023 bytes is cut.
void logFailureLine(int priority, const char* text, int line, const char* function);

/// The same with the text of a result code (GetRetInfo).
void logFailureLine(int priority, Velmora_SR_ESR_RET code, int line, const char* function);

}  // namespace velmora

#endif  // VELMORA_SRC_COMMON_FAILURE_LINE_H
