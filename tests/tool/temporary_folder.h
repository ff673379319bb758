// A folder of a test's own, removed with everything in it at its end.
#ifndef VELMORA_TESTS_TOOL_TEMPORARY_FOLDER_H
#define VELMORA_TESTS_TOOL_TEMPORARY_FOLDER_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <vector>

namespace velmora::tool::test {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "velmora-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] std::string file(const std::string& name) const { return (path_ / name).string(); }
  [[nodiscard]] std::size_t fileCount() const {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(path_))
      ++count;
    return count;
  }

 private:
  std::filesystem::path path_;
};

inline void writeFile(const std::string& path, std::span<const uint8_t> bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

inline void writeFile(const std::string& path, const std::string& text) {
  writeFile(path, {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

inline std::string fileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace velmora::tool::test

#endif  // VELMORA_TESTS_TOOL_TEMPORARY_FOLDER_H
