// Captures the library's log lines and sets its system properties, by standing in for the platform.
#ifndef VELMORA_TESTS_SUPPORT_LOG_CAPTURE_H
#define VELMORA_TESTS_SUPPORT_LOG_CAPTURE_H

#include <string>
#include <vector>

namespace velmora::test {

struct LogLine {
  int priority;
  std::string tag;
  std::string text;
  bool operator==(const LogLine&) const = default;
};

/// Prints a line the way a test failure should show it.
void PrintTo(const LogLine& line, std::ostream* out);

/// Collects all log lines from its construction on; one at a time.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// The lines so far; forgets them.
  std::vector<LogLine> take();
  /// The texts of the lines so far; forgets them.
  std::vector<std::string> takeTexts();
};

/// Sets what __system_property_get answers for a name; an empty value unsets it.
void setSystemProperty(const std::string& name, const std::string& value);

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_LOG_CAPTURE_H
