// Where a run spends its time: what --timings prints.
#ifndef VELMORA_TOOL_TIMINGS_H
#define VELMORA_TOOL_TIMINGS_H

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace velmora::tool::timings {

/// Adds the time from here to the end of the scope to the step of that name. Scopes of different
/// steps may lie within each other, or run in threads of their own: each counts the whole of its
/// own.
class Step {
 public:
  /// The name is a literal, or lives as long.
  explicit Step(const char* name) : name_(name) {}
  ~Step();
  Step(const Step&) = delete;
  Step& operator=(const Step&) = delete;

 private:
  using Clock = std::chrono::steady_clock;
  const char* name_;
  Clock::time_point start_ = Clock::now();
};

/// Counts memory that the library took by itself: the most is reported.
void noteLibraryMemory(std::size_t bytes);

/// A line per step in the order of their first end (calls, milliseconds, milliseconds per call),
/// one for the time since the program started, one for the most memory held.
std::vector<std::string> report();

}  // namespace velmora::tool::timings

#endif  // VELMORA_TOOL_TIMINGS_H
