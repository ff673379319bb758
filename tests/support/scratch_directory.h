// A directory of one test's own, removed with everything in it.
#ifndef VELMORA_TESTS_SUPPORT_SCRATCH_DIRECTORY_H
#define VELMORA_TESTS_SUPPORT_SCRATCH_DIRECTORY_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>

namespace velmora::test {

class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "velmora_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no scratch directory");
    directory_ = pattern;
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  /// Path of a file in it.
  [[nodiscard]] std::string path(const std::string& name) const {
    return (directory_ / name).string();
  }
  [[nodiscard]] std::size_t fileCount() const {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(directory_), {}));
  }

 private:
  std::filesystem::path directory_;
};

/// All bytes of a file; empty when there is none.
inline std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

inline void writeFile(const std::string& path, std::span<const uint8_t> bytes) {
  writeFile(path, std::string(bytes.begin(), bytes.end()));
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_SCRATCH_DIRECTORY_H
