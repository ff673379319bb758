#include "output_folder.h"

#include <filesystem>
#include <set>
#include <system_error>

#include "arguments.h"
#include "batch.h"
#include "errors.h"

namespace velmora::tool {
namespace {

constexpr int kMostJobs = 64;

int jobsAtOnce(const std::string& jobs) {
  return jobs.empty() ? 1 : parseNumber("--jobs", jobs, 1, kMostJobs);
}

}  // namespace

void OutputFolder::check() const {
  static_cast<void>(jobsAtOnce(jobs));
  if (!pattern.empty() &&
      (pattern.find("%s") == std::string::npos || pattern.find('/') != std::string::npos)) {
    throw UsageError("--name: \"" + pattern +
                     "\" is no name for many files; give one with %s for that of the input, "
                     "for example %s_2x.png");
  }
}

std::string OutputFolder::file(const std::string& stem, const std::string& name) const {
  std::string result = pattern.empty() ? name : pattern;
  if (!pattern.empty()) {
    for (std::size_t at = 0; (at = result.find("%s", at)) != std::string::npos; at += stem.size())
      result.replace(at, 2, stem);
  }
  return (std::filesystem::path(path) / result).string();
}

std::optional<std::size_t> OutputFolder::split(const std::vector<std::string>& names,
                                               const std::vector<std::string>& outputs,
                                               const std::vector<NamedFile>& inputs,
                                               const char* unit) const {
  std::vector<NamedFile> written;
  std::set<std::string> different;
  for (const std::string& output : outputs) {
    written.push_back({"--output-dir", output});
    // The folder, by which files are told apart, may not be there yet.
    if (!different.insert(output).second) {
      throw UsageError("--output-dir: two files would be \"" + output +
                       "\"; give each input a name of its own");
    }
  }
  requireSeparateFiles(written, inputs);
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error) throw Failure(path + ": cannot make this folder: " + error.message());
  return splitIntoJobs(names, jobsAtOnce(jobs), unit);
}

}  // namespace velmora::tool
