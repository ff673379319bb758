// The façade of the system log.
#include "logging/log.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "velmora_sr/platform.h"
#include "velmora_sr/records.h"

namespace velmora {
namespace {

/// Source path that failure lines name, whichever file the step lives in: log parsers match on it.
constexpr const char* kSourcePath = "src/interface/source/SRInterface";

struct Free {
  void operator()(char* text) const { std::free(text); }
};

/// Formats a line and hands it over as data: paths may hold per cent signs. `prefixed` lines begin
/// with the tag. A line that does not fit the stack goes through the heap; without memory it is
/// cut.
void write(const char* tag, Priority priority, bool prefixed, const char* format,
           std::va_list arguments) {
  std::array<char, 2304> line{};
  std::va_list again;
  va_copy(again, arguments);
  char* text = line.data();
  const int length = std::vsnprintf(text, line.size(), format, arguments);
  std::unique_ptr<char, Free> longer;
  if (length >= static_cast<int>(line.size())) {
    const auto size = static_cast<std::size_t>(length) + 1;
    longer.reset(static_cast<char*>(std::malloc(size)));
    if (longer != nullptr) {
      text = longer.get();
      std::vsnprintf(text, size, format, again);
    }
  }
  va_end(again);
  const char* const prefix = prefixed ? tag : "";
  const char* const separator = prefixed ? ": " : "";
  const std::size_t shown = std::strlen(text);
  const int number = static_cast<int>(priority);
  const bool cut = longer == nullptr && length >= static_cast<int>(line.size());
  if (!cut && length > 0 && shown < static_cast<std::size_t>(length)) {
    // A NUL among the characters: what stands behind it is part of the line.
    __android_log_print(number, tag, "%s%s%s%c%s", prefix, separator, text, '\0', text + shown + 1);
  } else {
    __android_log_print(number, tag, "%s%s%s", prefix, separator, text);
  }
}

}  // namespace

void logLine(Priority priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  write(kLogTag, priority, false, format, arguments);
  va_end(arguments);
}

void logTagged(Priority priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  write(kLogTag, priority, true, format, arguments);
  va_end(arguments);
}

void logUnder(const char* tag, Priority priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  write(tag, priority, false, format, arguments);
  va_end(arguments);
}

void logFailure(Priority priority, const char* text, FailureStep step, const char* function) {
  std::array<char, 1024> line{};
  std::snprintf(line.data(), line.size(), "%s: %s in Line: %d, in Function: %s, in File: %s\n",
                kLogTag, text, static_cast<int>(step), function, kSourcePath);
  logLine(priority, "%s", line.data());
}

void logFailure(Priority priority, Velmora_SR_ESR_RET code, FailureStep step,
                const char* function) {
  logFailure(priority, GetRetInfo(code), step, function);
}

void logSourceFailure(const char* text, int line, const char* function, const char* file) {
  logLine(Priority::error, "%s msg: %s in Line: %d, in Function: %s, in File: %s\n", kLogTag, text,
          line, function, file);
}

Velmora_SR_ESR_RET logged(Velmora_SR_ESR_RET result, const char* function) {
  if (result != SR_RET_SUCCEED) {
    logTagged(Priority::error, "%s: %s\n", function, GetRetInfo(result));
  }
  return result;
}

void printProgress(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
}

}  // namespace velmora
