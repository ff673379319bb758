// An output file that appears complete or not at all.
#ifndef VELMORA_TOOL_OUTPUT_FILE_H
#define VELMORA_TOOL_OUTPUT_FILE_H

#include <cstdint>
#include <span>
#include <string>

namespace velmora::tool {

/// Writes beside the wanted file and renames at commit; without a commit the unfinished file is
/// removed. "-" is the data stream, and an existing path that is no regular file (a pipe, a device)
/// is written directly. At most one unfinished file is known to the signal handler at a time.
class OutputFile {
 public:
  /// Throws Failure when the file cannot be made, UsageError when "-" is a terminal.
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  [[nodiscard]] const std::string& name() const { return name_; }
  void write(std::span<const uint8_t> bytes);
  void write(const std::string& text);
  /// Puts the finished file in place.
  void commit();

 private:
  std::string name_;       // for messages
  std::string target_;     // where the file shall be, links resolved
  std::string temporary_;  // where it is until commit; empty when written directly
  int descriptor_ = -1;
  bool owned_ = false;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_OUTPUT_FILE_H
