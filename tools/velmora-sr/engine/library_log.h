// The library's log, caught by the tool: shown with --verbose, searched for errors, silent
// otherwise.
#ifndef VELMORA_TOOL_ENGINE_LIBRARY_LOG_H
#define VELMORA_TOOL_ENGINE_LIBRARY_LOG_H

#include <string>
#include <vector>

namespace velmora::tool::library_log {

struct Line {
  int priority;  ///< 4 information, 6 error
  std::string text;
};

/// Writes every line to standard error in brief form ("I/TAG: text") as it comes.
void show();

/// The lines since the last call, oldest first; forgets them. Throws std::bad_alloc when one of
/// them could not be kept.
std::vector<Line> take();

/// Forgets the lines since the last call.
void forget() noexcept;

}  // namespace velmora::tool::library_log

#endif  // VELMORA_TOOL_ENGINE_LIBRARY_LOG_H
