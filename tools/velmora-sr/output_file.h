// An output file that appears complete or not at all.
#ifndef VELMORA_TOOL_OUTPUT_FILE_H
#define VELMORA_TOOL_OUTPUT_FILE_H

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "interrupt.h"

namespace velmora::tool {

/// Whether a file that exists is kept: an output of its name is then refused. What --force turns
/// off; set before any other thread runs.
inline bool keepsExisting = false;

/// Throws Failure when an output of this name would replace a file that is to be kept.
void requireReplaceable(const std::string& path);

/// Writes into a file without a name and gives it its name at commit; without a commit nothing is
/// left, whatever ends the process. Where the system has no such files one of a name of its own
/// stands beside the wanted one until then. A file that is replaced passes on its permissions and,
/// where the system allows it, its owner and group; other hard links keep the old one. Symbolic
/// links are followed. "-" is the data stream, and an existing path that is no regular file (a
/// pipe, a device) is written directly.
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
  /// Puts the finished file in place, when its contents have reached the disk.
  void commit();

 private:
  void create(mode_t mode);
  void close();
  void flushToDisk();
  void place();
  [[nodiscard]] int linkTo(const std::string& path) const;
  [[nodiscard]] std::string temporaryName(int attempt) const;

  std::string name_;    // for messages
  std::string target_;  // where the file shall be, links resolved; empty when written directly
  std::string folder_;  // of the target, with its slash
  std::optional<interrupt::UnfinishedFile> named_;  // the file until commit, if it needs a name
  int descriptor_ = -1;
  bool owned_ = false;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_OUTPUT_FILE_H
