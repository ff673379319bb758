// The logger of the registration code, silent until the host installs it.
#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "logging/log.h"
#include "velmora_sr/logging.h"

namespace {

using LogFunction = void (*)(const char* filePath, const char* text, ...);

constexpr const char* kTag = "libimgproc";
constexpr std::size_t kLineSize = 4096;  // terminator included

enum Level { kOff = -1, kLevelError = 0, kLevelWarning = 1, kLevelInfo = 2, kLevelDebug = 3 };
constexpr int kFileMode = 3;

LogFunction logFunction = nullptr;
int maximumLevel = 0;
const char* s_pFileName = nullptr;  // the host's pointer; null for the system log

const char* levelName(int level) {
  switch (level) {
    case kLevelError:
      return "error";
    case kLevelWarning:
      return "warning";
    case kLevelInfo:
      return "info";
    case kLevelDebug:
      return "debug";
    default:
      return "unknown";
  }
}

/// Appends to a file; false when not all of it got there.
bool appendToFile(const char* path, const char* format, std::va_list args) {
  std::FILE* file = std::fopen(path, "a+");
  if (file == nullptr) return false;
  const bool written = std::vfprintf(file, format, args) >= 0;
  return (std::fclose(file) == 0) && written;
}

void writeToSystemLog(const char* format, std::va_list args) {
  char line[kLineSize];
  if (std::vsnprintf(line, sizeof line, format, args) < 0) return;
  velmora::logUnder(kTag, velmora::Priority::error, "%s", line);
}

}  // namespace

const char* InitLogParams(const char* path, int mode) {
  logFunction = LogFxn;
  maximumLevel = mode;
  s_pFileName = mode == kFileMode ? path : nullptr;
  return s_pFileName;
}

void LogFxn(const char* path, const char* text, ...) {
  if (text == nullptr) return;
  std::va_list args;
  va_start(args, text);
  std::va_list argsForFile;
  va_copy(argsForFile, args);
  const bool inFile = path != nullptr && appendToFile(path, text, argsForFile);
  va_end(argsForFile);
  if (!inFile) writeToSystemLog(text, args);
  va_end(args);
}

void LogMsg(const char* file, int line, int level, const char* fmt, ...) {
  if (logFunction == nullptr || level == kOff || level == kLevelDebug || level > maximumLevel) {
    return;
  }
  char text[kLineSize] = {};
  constexpr std::size_t kRoom = kLineSize - 1;  // the last byte but the terminator is a line feed's
  const int prefixLength =
      level == kLevelInfo
          ? std::snprintf(text, kRoom, ">>BRISOLE2[%s] : ", levelName(level))
          : std::snprintf(text, kRoom, ">>BRISOLE2[%s][%s][%d] : ", levelName(level),
                          file == nullptr ? "" : file, line);
  std::size_t length = std::min(static_cast<std::size_t>(std::max(prefixLength, 0)), kRoom - 1);

  if (fmt != nullptr) {
    std::va_list args;
    va_start(args, fmt);
    const int messageLength = std::vsnprintf(text + length, kRoom - length, fmt, args);
    va_end(args);
    length = std::min(length + static_cast<std::size_t>(std::max(messageLength, 0)), kRoom - 1);
  }
  text[length] = '\n';
  text[length + 1] = '\0';
  // As data: a per cent sign in a file name or message must not be taken for a format.
  logFunction(s_pFileName, "%s", text);
}

void LogVersion() {
  // Build constants, like the interface's: hosts tell builds apart by these very lines.
  velmora::logUnder(kTag, velmora::Priority::info,
                    "qerym: Brisole PostProcess Version : __%s__%s__%s__%s__ \n", "BRISOLE2_v1.0",
                    "Mar  2 2015", "11:57:00", "gcc");
}
