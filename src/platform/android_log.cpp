// Stand-in for the Android log outside Android: lines go to standard error, filtered the way logcat
// filters them.
#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "velmora_sr/platform.h"

namespace {

constexpr int kVerbose = 2;
constexpr int kDebug = 3;
constexpr int kWarning = 5;
constexpr int kSilent = 8;
constexpr std::string_view kPriorityLetters = "VDIWEFS";  // from kVerbose to kSilent

char letterOf(int priority) {
  if (priority < kVerbose || priority >= kSilent) return '?';
  return kPriorityLetters[static_cast<std::size_t>(priority - kVerbose)];
}

/// The priority that the text after a rule's colon names, by its letter in either case or by its
/// number; 0 when it names none.
int priorityNamed(std::string_view text) {
  if (text.size() != 1) return 0;
  const char letter = text.front();
  if (letter >= '0' + kVerbose && letter <= '0' + kSilent) return letter - '0';
  const auto found =
      kPriorityLetters.find(static_cast<char>(std::toupper(static_cast<unsigned char>(letter))));
  return found == std::string_view::npos ? 0 : kVerbose + static_cast<int>(found);
}

/// The lowest priority that the rules let through for a tag. Rules are "TAG:P" or "TAG" (all of its
/// lines) or "*:P" or "*" (debug and up, for tags without a rule), between blanks or commas; a
/// later rule beats an earlier one, and one that cannot be understood is skipped.
int thresholdFor(std::string_view tag, std::string_view rules) {
  constexpr std::string_view kBlanks = " \t\r\n,";
  int general = kWarning;
  int own = 0;
  while (!rules.empty()) {
    const auto end = std::min(rules.find_first_of(kBlanks), rules.size());
    const std::string_view rule = rules.substr(0, end);
    rules.remove_prefix(std::min(end + 1, rules.size()));

    const auto colon = rule.rfind(':');
    const std::string_view name = rule.substr(0, colon);
    const bool isGeneral = name == "*";
    int priority = isGeneral ? kDebug : kVerbose;
    if (colon != std::string_view::npos) priority = priorityNamed(rule.substr(colon + 1));
    if (priority == 0 || name.empty()) continue;
    if (isGeneral) general = priority;
    if (name == tag) own = priority;
  }
  return own == 0 ? general : own;
}

bool isWanted(int priority, std::string_view tag) {
  const char* rules = std::getenv("ANDROID_LOG_TAGS");
  const int threshold = thresholdFor(tag, rules == nullptr ? "" : rules);
  return threshold < kSilent && priority >= threshold;
}

/// Puts the prefix before every line of the text; a line feed at its end opens no further line.
std::string prefixedLines(int priority, std::string_view tag, std::string_view text) {
  std::string lines;
  do {
    const auto end = std::min(text.find('\n'), text.size());
    lines += letterOf(priority);
    lines += '/';
    lines += tag;
    lines += ": ";
    lines += text.substr(0, end);
    lines += '\n';
    text.remove_prefix(std::min(end + 1, text.size()));
  } while (!text.empty());
  return lines;
}

}  // namespace

extern "C" __attribute__((weak)) int __android_log_print(int prio, const char* tag, const char* fmt,
                                                         ...) {
  if (fmt == nullptr) return -1;
  if (tag == nullptr) tag = "";
  if (!isWanted(prio, tag)) return 0;

  std::va_list args;
  va_start(args, fmt);
  std::va_list argsForLength;
  va_copy(argsForLength, args);
  const int length = std::vsnprintf(nullptr, 0, fmt, argsForLength);
  va_end(argsForLength);

  int written = -1;
  if (length >= 0) {
    try {
      std::string text(static_cast<std::size_t>(length), '\0');
      std::vsnprintf(text.data(), text.size() + 1, fmt, args);
      // One write for the whole message, so that messages of several threads do not mix.
      const std::string lines = prefixedLines(prio, tag, text);
      if (std::fwrite(lines.data(), 1, lines.size(), stderr) == lines.size()) {
        written = static_cast<int>(lines.size());
      }
    } catch (...) {
      written = -1;  // out of memory: a log line is not worth ending the host
    }
  }
  va_end(args);
  return written;
}
