#include "timings.h"

#include <sys/resource.h>

#include <new>

#include "engine/block_pool.h"
#include "status.h"

namespace velmora::tool::timings {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

struct Entry {
  std::string name;
  long calls = 0;
  Milliseconds time{};
};

std::vector<Entry>& entries() {
  static std::vector<Entry> list;
  return list;
}

const std::chrono::steady_clock::time_point programStart = std::chrono::steady_clock::now();

std::string line(const Entry& entry) {
  return format("%-22s %6ld %11.2f %11.2f", entry.name.c_str(), entry.calls, entry.time.count(),
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
  for (Entry& entry : entries()) {
    if (entry.name != name_) continue;
    ++entry.calls;
    entry.time += time;
    return;
  }
  try {
    entries().push_back({name_, 1, time});
  } catch (const std::bad_alloc&) {
    // A step less in the table; nothing leaves a destructor.
  }
}

std::vector<std::string> report() {
  std::vector<std::string> lines = {
      format("%-22s %6s %11s %11s", "step", "calls", "ms", "ms per call")};
  for (const Entry& entry : entries())
    lines.push_back(line(entry));
  lines.push_back(line({"whole run", 1, std::chrono::steady_clock::now() - programStart}));
  lines.push_back(format("most memory: %.1f MiB handed to the library, %.1f MiB of the whole tool",
                         mebibytes(block_pool::peakBytes()), mebibytes(largestResidentSet())));
  return lines;
}

}  // namespace velmora::tool::timings
