#include "timings.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>

#include "engine/block_pool.h"
#include "status.h"

namespace velmora::tool::timings {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

struct Entry {
  const char* name;
  long calls;
  Milliseconds time;
};

// More than there are steps; without allocations, since a step also ends when memory has run out.
std::array<Entry, 32> entries;
std::size_t entryCount = 0;
std::mutex entriesMutex;
std::size_t libraryBytes = 0;

const std::chrono::steady_clock::time_point programStart = std::chrono::steady_clock::now();

std::string line(const Entry& entry) {
  return format("%-22s %6ld %11.2f %11.2f", entry.name, entry.calls, entry.time.count(),
                entry.time.count() / static_cast<double>(entry.calls));
}

double mebibytes(std::size_t bytes) {
  return static_cast<double>(bytes) / (1 << 20);
}

// KiB on Linux.
std::size_t largestResidentSet() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
}

}  // namespace

Step::~Step() {
  const Milliseconds time = Clock::now() - start_;
  const std::lock_guard lock(entriesMutex);
  std::size_t i = 0;
  while (i < entryCount && std::strcmp(entries[i].name, name_) != 0)
    ++i;
  if (i == entries.size()) return;
  if (i == entryCount) entries[entryCount++].name = name_;
  ++entries[i].calls;
  entries[i].time += time;
}

void noteLibraryMemory(std::size_t bytes) {
  libraryBytes = std::max(libraryBytes, bytes);
}

std::vector<std::string> report() {
  std::vector<std::string> lines = {
      format("%-22s %6s %11s %11s", "step", "calls", "ms", "ms per call")};
  for (std::size_t i = 0; i < entryCount; ++i)
    lines.push_back(line(entries[i]));
  lines.push_back(line({"whole run", 1, std::chrono::steady_clock::now() - programStart}));
  // What the library asked for counts whether it was touched or not: the whole has it, too.
  const std::size_t library = std::max(block_pool::peakBytes(), libraryBytes);
  lines.push_back(format("most memory: %.1f MiB handed to the library, %.1f MiB of the whole tool",
                         mebibytes(library), mebibytes(std::max(library, largestResidentSet()))));
  return lines;
}

}  // namespace velmora::tool::timings
