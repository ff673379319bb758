// velmora-sr fuse --bursts: every subfolder is a burst.
#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "commands/fuse.h"
#include "errors.h"
#include "file_names.h"
#include "status.h"

namespace velmora::tool {
namespace {

namespace fs = std::filesystem;

// What lies in a folder, by name.
std::vector<fs::directory_entry> entriesOf(const fs::path& folder) {
  std::vector<fs::directory_entry> entries;
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
    entries.push_back(*at);
  if (error) throw Failure(folder.string() + ": cannot read this folder: " + error.message());
  std::sort(entries.begin(), entries.end());
  return entries;
}

bool isHidden(const fs::path& path) {
  return path.filename().string().starts_with('.');
}

std::vector<std::string> picturesIn(const fs::path& folder) {
  std::vector<std::string> pictures;
  for (const fs::directory_entry& entry : entriesOf(folder)) {
    std::error_code error;
    const std::string path = entry.path().string();
    const auto format = formatByExtension(path);
    if (!entry.is_regular_file(error) || isHidden(path) || !format || !isPictureFormat(*format)) {
      continue;
    }
    pictures.push_back(path);
  }
  return pictures;
}

struct Burst {
  std::string folder;
  std::vector<std::string> pictures;
};

// The folder of the outputs may be one of the subfolders, with pictures of an earlier call.
std::vector<Burst> burstsIn(const std::string& folder, const std::string& outputs) {
  std::vector<Burst> bursts;
  for (const fs::directory_entry& entry : entriesOf(folder)) {
    std::error_code error;
    if (!entry.is_directory(error) || isHidden(entry.path())) continue;
    if (fs::equivalent(entry.path(), outputs, error)) continue;
    Burst burst{entry.path().string(), picturesIn(entry.path())};
    if (burst.pictures.size() < 2) {
      status().warn(burst.folder + ": passed over, holds " +
                    (burst.pictures.empty() ? "no picture" : "one picture only"));
      continue;
    }
    bursts.push_back(std::move(burst));
  }
  if (bursts.empty()) {
    throw Failure(folder + ": no subfolder holds two pictures or more");
  }
  return bursts;
}

}  // namespace

// Every burst in a process of its own, which comes back from here to make that picture.
void fuseFolders(const FuseOptions& options) {
  options.folder.check();
  const std::vector<Burst> bursts = burstsIn(options.bursts, options.folder.path);
  std::vector<std::string> names;
  std::vector<std::string> outputs;
  std::vector<NamedFile> inputs;
  for (const Burst& burst : bursts) {
    const std::string name = fs::path(burst.folder).filename().string();
    names.push_back(burst.folder);
    outputs.push_back(options.folder.file(name, name + ".png"));
    for (const std::string& picture : burst.pictures)
      inputs.push_back({"--bursts", picture});
  }
  const auto job = options.folder.split(names, outputs, inputs, "burst");
  if (!job) return;
  FuseOptions one = options;
  one.frames.output = outputs[*job];
  one.inputs = bursts[*job].pictures;
  checkInputs(one);
  fuseOne(one);
}

}  // namespace velmora::tool
