// The tool's data streams: standard output kept clean for data, and input that can be looked at
// before it is read.
#ifndef VELMORA_TOOL_STREAMS_H
#define VELMORA_TOOL_STREAMS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// Takes standard output for data: keeps a private copy of the descriptor and points descriptor 1,
/// which the library prints to, at nothing. Call once, before anything else is opened.
void claimStandardOutput();

/// Sends what the library prints to standard error instead of nowhere.
void showLibraryOutput();

/// The private copy of standard output; -1 when the tool was started without one.
int dataOutput();

/// Writes text to the data stream, as terminal::printable() makes it. A reader that has seen enough
/// and gone away is no failure.
void printData(std::string_view text);

/// open() of what may be a pipe whose other end is not there yet: a signal to stop ends the wait.
int openStream(const std::string& path, int flags);

/// Writes all bytes to a descriptor; `name` is for the message of the Failure it throws.
void writeAll(int descriptor, std::span<const uint8_t> bytes, const std::string& name);

/// A file or, for "-", standard input, read front to back.
class ByteSource {
 public:
  /// Throws Failure when the file cannot be opened, UsageError when standard input is a terminal.
  explicit ByteSource(const std::string& path);
  ~ByteSource();
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  /// The name for messages.
  [[nodiscard]] const std::string& name() const { return name_; }
  /// Length of a regular file; nothing for pipes.
  [[nodiscard]] std::optional<uint64_t> length() const { return length_; }
  /// Up to `count` bytes that the next read will deliver; fewer at the end only.
  std::span<const uint8_t> peek(std::size_t count);
  // What follows throws InputBroken when the system cannot read on.

  /// Fills `bytes`; returns how many there were (fewer at the end only).
  std::size_t read(std::span<uint8_t> bytes);
  /// Passes over up to `count` bytes; returns how many there were (fewer at the end only).
  uint64_t skip(uint64_t count);
  /// Everything that is left; throws Failure above `limit` bytes.
  std::vector<uint8_t> readAll(std::size_t limit);
  /// The text up to the next line feed, which is taken and left out. Nothing at the end; throws
  /// InputBroken when a line exceeds `limit` bytes or ends without a line feed.
  std::optional<std::string> readLine(std::size_t limit);

 private:
  std::size_t readSome(std::span<uint8_t> bytes);

  std::string name_;
  int descriptor_ = -1;
  bool owned_ = false;
  std::optional<uint64_t> length_;
  std::vector<uint8_t> ahead_;  // read, not yet delivered, from aheadBegin_ on
  std::size_t aheadBegin_ = 0;
};

/// Reads a whole file; throws Failure naming it.
std::vector<uint8_t> readFile(const std::string& path, std::size_t limit);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_STREAMS_H
