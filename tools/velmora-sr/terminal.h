// Text for the user's terminal, in which nothing but the tool itself can steer the terminal.
#ifndef VELMORA_TOOL_TERMINAL_H
#define VELMORA_TOOL_TERMINAL_H

#include <initializer_list>
#include <string>
#include <string_view>

namespace velmora::tool::terminal {

/// The text with control characters (C0, DEL and C1) and bytes that are no UTF-8 as escapes: "\n",
/// "\t", "\r", else "\x1b"; everything else stays readable. Line feeds may be kept.
std::string printable(std::string_view text, bool keepLineFeeds = false);

/// Writes the parts as one line to standard error, as printable() makes them. Allocates nothing, so
/// that it can tell of a lack of memory; what cannot be written is lost.
void writeLine(std::initializer_list<std::string_view> parts) noexcept;

/// Writes bytes to standard error as they are: for the tool's own control sequences.
void writeControl(std::string_view bytes) noexcept;

}  // namespace velmora::tool::terminal

#endif  // VELMORA_TOOL_TERMINAL_H
