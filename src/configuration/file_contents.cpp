// Reading of whole files.
#include "configuration/file_contents.h"

#include <sys/stat.h>

#include <array>

namespace velmora {

File openForReading(const char* path) {
  if (path == nullptr) return nullptr;
  File file(std::fopen(path, "rb"));
  struct stat status = {};
  if (file != nullptr && (fstat(fileno(file.get()), &status) != 0 || S_ISDIR(status.st_mode))) {
    file.reset();
  }
  return file;
}

ReadResult readWholeFile(const char* path, std::size_t limit, std::string& contents) {
  contents.clear();
  const File file = openForReading(path);
  if (file == nullptr) return ReadResult::kFailed;
  std::array<char, 16384> block{};
  for (;;) {
    const std::size_t count = std::fread(block.data(), 1, block.size(), file.get());
    if (count > limit - contents.size()) return ReadResult::kTooLarge;
    contents.append(block.data(), count);
    if (count < block.size()) break;
  }
  return std::ferror(file.get()) == 0 ? ReadResult::kWhole : ReadResult::kFailed;
}

}  // namespace velmora
