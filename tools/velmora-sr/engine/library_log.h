// The library's log, caught by the tool: shown with --verbose, silent otherwise. It is for people:
// what the tool must know it asks the library for.
#ifndef VELMORA_TOOL_ENGINE_LIBRARY_LOG_H
#define VELMORA_TOOL_ENGINE_LIBRARY_LOG_H

#include <string>
#include <vector>

namespace velmora::tool::library_log {

/// Writes every line to standard error in brief form ("I/TAG: text") as it comes.
void show();

/// Keeps the texts of the lines while it lives; those that find no memory are dropped. One at a
/// time.
class Recording {
 public:
  Recording();
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// Oldest first.
  [[nodiscard]] std::vector<std::string> lines() const;
};

}  // namespace velmora::tool::library_log

#endif  // VELMORA_TOOL_ENGINE_LIBRARY_LOG_H
