// What each peer offers; a peer that is not built has no functions.
#ifndef VELMORA_BENCH_PEERS_PEERS_H
#define VELMORA_BENCH_PEERS_PEERS_H

#include <functional>
#include <vector>

#include "scene.h"

namespace velmora::bench {

/// NV12 to NV12 with Lanczos of order 2; I420 on both sides when `planar` (then the frame's chroma
/// is taken as it would be after de-interleaving, outside the timed part).
std::function<void()> zimgResize(const Nv12Frame& frame, int outWidth, int outHeight, int threads);
std::function<void()> swscaleResize(const Nv12Frame& frame, int outWidth, int outHeight,
                                    int threads, bool planar);

enum class Detector { akaze, orb };
/// Registers second onto first on quarter-size luma (features, brute-force matching with ratio
/// test, RANSAC homography), warps its luma onto the output grid (cubic), averages it with the
/// enlarged first luma, enlarges the first chroma (cubic).
std::function<void()> opencvTwoFrames(const Nv12Frame& first, const Nv12Frame& second, int outWidth,
                                      int outHeight, Detector detector, int threads);
/// Registers all frames onto the first by SIFT, warps them to twice the size (Lanczos4) and takes
/// the mean, luma and chroma; non-local means against `noise` not at all, on each frame before, or
/// on the mean against what it leaves.
enum class Denoising { none, before, after };
std::function<void()> opencvBurst(const std::vector<Nv12Frame>& frames, Denoising denoising,
                                  double noise, int threads);
/// BTV-L1 super-resolution of luma.
std::function<void()> opencvBtvL1(const std::vector<Nv12Frame>& frames, int threads);
/// SIFT key points and descriptors of two luma planes.
std::function<void()> opencvSift(const Nv12Frame& first, const Nv12Frame& second, int threads);
/// SURF key points and descriptors of two luma planes.
std::function<void()> dlibSurf(const Nv12Frame& first, const Nv12Frame& second);

}  // namespace velmora::bench

#endif  // VELMORA_BENCH_PEERS_PEERS_H
