// One whole picture by the library's burst stage, from frames to a picture.
#ifndef VELMORA_BENCH_PEERS_BURST_JOB_H
#define VELMORA_BENCH_PEERS_BURST_JOB_H

#include <cstdint>
#include <string>
#include <vector>

#include "scene.h"
#include "velmora_sr/burst.h"

namespace velmora::bench {

/// Hand-held frames of the drawn scene, noise 3; width and height are even.
std::vector<Nv12Frame> burstFrames(int width, int height, int count);

class BurstJob {
 public:
  /// Enlarges by 2; the frames must outlive the job.
  BurstJob(const std::vector<Nv12Frame>& frames, int effort, int threads);
  ~BurstJob() { VELMORA_SR_BurstDestroy(&handle_); }
  BurstJob(const BurstJob&) = delete;
  BurstJob& operator=(const BurstJob&) = delete;

  /// A new handle, without frames.
  void create();
  void add();
  void render();
  /// All of it.
  void run() {
    create();
    add();
    render();
  }
  [[nodiscard]] Velmora_SR_BurstReport report() const;
  /// "" or what went wrong: an error, frames that were left out.
  [[nodiscard]] const std::string& problem() const { return problem_; }
  [[nodiscard]] int outWidth() const { return 2 * frames_[0].width; }
  [[nodiscard]] int outHeight() const { return 2 * frames_[0].height; }

 private:
  bool done(int32_t code);

  const std::vector<Nv12Frame>& frames_;
  int effort_;
  int threads_;
  Velmora_SR_Burst* handle_ = nullptr;
  std::vector<int32_t> ids_;
  std::vector<uint8_t> out_;
  std::string problem_;
};

}  // namespace velmora::bench

#endif  // VELMORA_BENCH_PEERS_BURST_JOB_H
