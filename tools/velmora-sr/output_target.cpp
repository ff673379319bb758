#include "output_target.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <tuple>

#include "errors.h"
#include "streams.h"

namespace velmora::tool {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxLinks = 40;  // as many as the system follows

// Equal for names of one file: its number or, of a file that is not there yet, that of its folder
// and its name in there.
using Identity = std::tuple<dev_t, ino_t, std::string>;

std::optional<Identity> identityOf(const NamedFile& file, int standardStream) {
  if (file.path.empty()) return std::nullopt;
  struct stat info = {};
  const int found =
      file.path == "-" ? fstat(standardStream, &info) : stat(file.path.c_str(), &info);
  if (found == 0) {
    if (!S_ISREG(info.st_mode)) return std::nullopt;
    return Identity{info.st_dev, info.st_ino, ""};
  }
  if (file.path == "-" || errno != ENOENT) return std::nullopt;
  const fs::path target = targetOf(file.path);
  const fs::path folder = target.has_parent_path() ? target.parent_path() : ".";
  if (stat(folder.c_str(), &info) != 0) return std::nullopt;
  return Identity{info.st_dev, info.st_ino, target.filename()};
}

std::string quoted(const NamedFile& file) {
  return std::string(file.option) + ": \"" + file.path + "\"";
}

}  // namespace

std::string targetOf(const std::string& path) {
  const auto fail = [&](int error) {
    return Failure(path + ": cannot create: " + std::strerror(error));
  };
  struct stat info = {};
  if (stat(path.c_str(), &info) != 0 && errno != ENOENT) throw fail(errno);
  fs::path target = path;
  for (int links = 0;; ++links) {
    std::error_code error;
    const fs::path next = fs::read_symlink(target, error);
    if (error) break;  // no link: a file, or nothing yet
    if (links == kMaxLinks) throw fail(ELOOP);
    target = target.parent_path() / next;
  }
  if (!target.has_filename()) throw fail(ENOENT);
  return target;
}

void requireSeparateFiles(const std::vector<NamedFile>& outputs,
                          const std::vector<NamedFile>& inputs) {
  std::vector<std::optional<Identity>> written;
  std::vector<std::optional<Identity>> read;
  written.reserve(outputs.size());
  read.reserve(inputs.size());
  for (const NamedFile& output : outputs)
    written.push_back(identityOf(output, dataOutput()));
  for (const NamedFile& input : inputs)
    read.push_back(identityOf(input, STDIN_FILENO));
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    if (!written[i]) continue;
    for (std::size_t k = 0; k < i; ++k) {
      if (written[k] != written[i]) continue;
      throw UsageError(quoted(outputs[i]) + " is the same file as that of " + outputs[k].option +
                       "; give each output a name of its own");
    }
    for (std::size_t k = 0; k < inputs.size(); ++k) {
      if (read[k] != written[i]) continue;
      throw UsageError(quoted(outputs[i]) + " is the same file as " + inputs[k].option +
                       "; give another name");
    }
  }
}

}  // namespace velmora::tool
