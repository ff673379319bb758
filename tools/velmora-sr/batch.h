// Many jobs of one kind, each in a process of its own: the library has one live handle per process.
#ifndef VELMORA_TOOL_BATCH_H
#define VELMORA_TOOL_BATCH_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// Splits the process: in the child of a job returns its number, and the child goes on to do that
/// job alone. In the parent returns nothing, when all children have ended; up to `atOnce` run at a
/// time. What they say is passed on line by line, progress is shown. `names` are those of the jobs
/// for messages, `unit` is what one is called there. Throws Failure, after the last one, when some
/// failed, and Interrupted when a signal kept jobs from starting. Call before the process has
/// threads.
std::optional<std::size_t> splitIntoJobs(const std::vector<std::string>& names, int atOnce,
                                         const char* unit);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_BATCH_H
