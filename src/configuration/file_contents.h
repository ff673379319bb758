// Whole files.
#ifndef VELMORA_SRC_CONFIGURATION_FILE_CONTENTS_H
#define VELMORA_SRC_CONFIGURATION_FILE_CONTENTS_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace velmora {

struct FileCloser {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// Opens a file for binary reading; null for a null path, and for directories, which fopen opens.
File openForReading(const char* path);

enum class ReadResult { kWhole, kFailed, kTooLarge };

/// Reads a whole file of at most `limit` bytes. May throw std::bad_alloc.
ReadResult readWholeFile(const char* path, std::size_t limit, std::string& contents);

}  // namespace velmora

#endif  // VELMORA_SRC_CONFIGURATION_FILE_CONTENTS_H
