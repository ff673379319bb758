// The threads of one call on a handle: the library's own, started and joined by the call, or the
// host's executor.
#ifndef VELMORA_SRC_BURST_HANDLE_CALL_WORKERS_H
#define VELMORA_SRC_BURST_HANDLE_CALL_WORKERS_H

#include <memory>

#include "burst/workers.h"
#include "velmora_sr/burst.h"

namespace velmora::burst {

struct CallWorkersSettings {
  int32_t threads = 1;                                 ///< at least 1, the calling one included
  const Velmora_SR_BurstExecutor* executor = nullptr;  ///< null: the library's own threads
  Velmora_SR_BurstProgress progress = nullptr;
  void* progressUser = nullptr;
};

/// Throws std::bad_alloc. Threads that cannot be started are done without.
std::unique_ptr<Workers> callWorkers(const CallWorkersSettings& settings);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_HANDLE_CALL_WORKERS_H
