// Frames to work on: a textured scene with edges, and the same scene seen after a small motion.
#ifndef VELMORA_BENCH_PEERS_SCENE_H
#define VELMORA_BENCH_PEERS_SCENE_H

#include <cstdint>
#include <vector>

namespace velmora::bench {

struct Nv12Frame {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> bytes;  ///< luma, then pairs U V
  [[nodiscard]] const uint8_t* chroma() const { return bytes.data() + width * height; }
};

/// The scene sampled at (x * cos a - y * sin a) * zoom + (dx, dy), with noise; the same frame for
/// the same arguments.
struct Motion {
  double dx = 0, dy = 0, angle = 0, zoom = 1;
};
Nv12Frame renderScene(int width, int height, const Motion& motion, double noiseSigma,
                      uint64_t seed);

}  // namespace velmora::bench

#endif  // VELMORA_BENCH_PEERS_SCENE_H
