// Everything the library says: lines of the system log under its tag, the line in which a step
// reports its failure, and progress on standard output.
#ifndef VELMORA_SRC_LOGGING_LOG_H
#define VELMORA_SRC_LOGGING_LOG_H

#include "velmora_sr/velmora_sr.h"

namespace velmora {

/// Tag of the lines in the system log. Most of them repeat it as their first word.
inline constexpr const char* kLogTag = "NB7UO_ZELK";

/// Priorities of the system log that these lines use.
enum class Priority : int { info = 4, error = 6 };

/// Writes one line, formatted as by printf, whatever its length.
[[gnu::format(printf, 2, 3)]] void logLine(Priority priority, const char* format, ...);

/// The same with "TAG: " before the text.
[[gnu::format(printf, 2, 3)]] void logTagged(Priority priority, const char* format, ...);

/// The same under another tag than the library's.
[[gnu::format(printf, 3, 4)]] void logUnder(const char* tag, Priority priority, const char* format,
                                            ...);

/// The numbers that failure lines carry: each names a step of the log protocol, which log parsers
/// know, not a line of today's sources.
enum class FailureStep : int {
  memory = 91,               ///< SR_MemManagement: no working block
  defaultTables = 130,       ///< LoadDefaultKernelFile: built-in kernel tables in use, or none
  defaultThresholds = 176,   ///< ParseConfigFile: built-in thresholds in use
  parseConfiguration = 332,  ///< SR_Initializtion: reading the configuration
  checkParameters = 340,     ///< SR_Initializtion: checking the thresholds
  startThreads = 352         ///< SR_Initializtion: starting the worker threads
};

/// Writes "TAG: TEXT in Line: STEP, in Function: FUNCTION, in File: PATH\n". A text that would make
/// the line longer than 1023 bytes is cut.
void logFailure(Priority priority, const char* text, FailureStep step, const char* function);
/// The same with the text of a result code (GetRetInfo).
void logFailure(Priority priority, Velmora_SR_ESR_RET code, FailureStep step, const char* function);

/// Writes "TAG msg: TEXT in Line: LINE, in Function: FUNCTION, in File: FILE\n" as an error: the
/// failure line of the registration, which names the line of its source.
void logSourceFailure(const char* text, int line, const char* function, const char* file);

/// Passes the result of a stage on; logs "TAG: FUNCTION: TEXT\n" as an error unless it is a
/// success.
Velmora_SR_ESR_RET logged(Velmora_SR_ESR_RET result, const char* function);

/// Writes to standard output, formatted as by printf. Many of these texts end without a line feed.
[[gnu::format(printf, 1, 2)]] void printProgress(const char* format, ...);

}  // namespace velmora

#endif  // VELMORA_SRC_LOGGING_LOG_H
