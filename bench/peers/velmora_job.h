// Our side of the jobs, through the entry points, with an allocator that keeps its blocks.
#ifndef VELMORA_BENCH_PEERS_VELMORA_JOB_H
#define VELMORA_BENCH_PEERS_VELMORA_JOB_H

#include <cstdint>
#include <vector>

#include "scene.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora::bench {

class VelmoraJob {
 public:
  /// One frame (scene 0) when second is null, else two (scene 2).
  VelmoraJob(const Nv12Frame& first, const Nv12Frame* second, int outWidth, int outHeight);
  ~VelmoraJob();
  VelmoraJob(const VelmoraJob&) = delete;
  VelmoraJob& operator=(const VelmoraJob&) = delete;

  void run();
  /// Whether the last run with two frames registered them.
  [[nodiscard]] bool registered() const;

 private:
  const Nv12Frame& first_;
  const Nv12Frame* second_;
  std::vector<uint8_t> firstCopy_;  // de-ghosting works in place
  int outWidth_, outHeight_;
  std::vector<uint8_t> out_;
  SR_ParamsPublic* handle_ = nullptr;
};

}  // namespace velmora::bench

#endif  // VELMORA_BENCH_PEERS_VELMORA_JOB_H
