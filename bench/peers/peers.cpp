// The jobs of the library side by side with other libraries, as ratios of interleaved runs.
#include "peers.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "burst_job.h"
#include "timing.h"
#include "velmora_job.h"
#include "velmora_sr/features.h"
#include "velmora_sr/records.h"

namespace velmora::bench {
namespace {

int rounds = 20;
constexpr double kBurstNoise = 3;

void resizeJob(int width, int height, int outWidth, int outHeight, int threads) {
  const Nv12Frame frame = renderScene(width, height, {}, 2, 1);
  VelmoraJob ours(frame, nullptr, outWidth, outHeight);
  std::vector<Contestant> contestants = {{"velmora_sr, NV12", [&] { ours.run(); }}};
#ifdef VELMORA_PEER_ZIMG
  contestants.push_back({"zimg Lanczos 2, NV12", zimgResize(frame, outWidth, outHeight, threads)});
#endif
#ifdef VELMORA_PEER_SWSCALE
  contestants.push_back(
      {"libswscale Lanczos 2, NV12", swscaleResize(frame, outWidth, outHeight, threads, false)});
  contestants.push_back(
      {"libswscale Lanczos 2, I420", swscaleResize(frame, outWidth, outHeight, threads, true)});
#endif
  compare("one frame, " + std::to_string(width) + "x" + std::to_string(height) + " to " +
              std::to_string(outWidth) + "x" + std::to_string(outHeight),
          threads, rounds, contestants);
}

void twoFrameJob(int width, int height, int outWidth, int outHeight, int threads) {
  const Nv12Frame first = renderScene(width, height, {}, 2, 1);
  const Nv12Frame second = renderScene(width, height, {7.3, -4.6, 0.004, 1.003}, 2, 2);
  VelmoraJob ours(first, &second, outWidth, outHeight);
  ours.run();
  if (!ours.registered())
    std::fprintf(stderr, "our frames did not register: the times below mean nothing\n");
  std::vector<Contestant> contestants = {{"velmora_sr", [&] { ours.run(); }}};
#ifdef VELMORA_PEER_OPENCV
  contestants.push_back(
      {"OpenCV AKAZE, cubic warp",
       opencvTwoFrames(first, second, outWidth, outHeight, Detector::akaze, threads)});
  contestants.push_back(
      {"OpenCV ORB, cubic warp",
       opencvTwoFrames(first, second, outWidth, outHeight, Detector::orb, threads)});
#endif
  compare("two frames, " + std::to_string(width) + "x" + std::to_string(height) + " to " +
              std::to_string(outWidth) + "x" + std::to_string(outHeight),
          threads, std::max(rounds / 2, 3), contestants);
}

// Features alone: both planes through the extraction that the registration uses.
void featureJob(int threads) {
  Nv12Frame first = renderScene(1000, 750, {}, 2, 1);
  Nv12Frame second = renderScene(1000, 750, {7.3, -4.6, 0.004, 1.003}, 2, 2);
  VelmoraJob pool(first, nullptr, 200, 200);  // starts the workers
  pool.run();
  std::vector<ST_KEYPOINT> keypoints(VELMORA_SR_MAX_KEYPOINTS);
  std::vector<int32_t> descriptors(static_cast<std::size_t>(VELMORA_SR_MAX_KEYPOINTS) *
                                   VELMORA_SR_DESCRIPTOR_LENGTH);
  const auto extract = [&](Nv12Frame& frame) {
    tagST_PIC picture = {};
    picture.width = frame.width;
    picture.height = frame.height;
    picture.data = frame.bytes.data();
    tagSURFParams parameters = {280.0F, 0.45F, 1, 2, {64, 1, 0, 20}};
    ST_IMAGEFEATURES features = {keypoints.data(), descriptors.data(), 0};
    GetSurfFeature_neon(&picture, &features, &parameters);
    return features.count;
  };
  const int count = extract(first);
  std::vector<Contestant> contestants = {{"velmora_sr, " + std::to_string(count) + " points", [&] {
                                            extract(first);
                                            extract(second);
                                          }}};
#ifdef VELMORA_PEER_DLIB
  contestants.push_back({"dlib SURF (one thread)", dlibSurf(first, second)});
#endif
#ifdef VELMORA_PEER_OPENCV
  contestants.push_back({"OpenCV SIFT", opencvSift(first, second, threads)});
#endif
  compare("features of two 1000x750 planes", threads, std::max(rounds / 2, 3), contestants);
}

void checkBurst(BurstJob& job) {
  job.run();
  if (!job.problem().empty())
    std::fprintf(stderr, "the times below mean nothing: %s\n", job.problem().c_str());
}

// One picture of twice the size from several frames.
void burstJob(int width, int height, int count, int threads) {
  const std::vector<Nv12Frame> frames = burstFrames(width, height, count);
  BurstJob ours(frames, VELMORA_SR_BURST_NORMAL, threads);
  BurstJob fast(frames, VELMORA_SR_BURST_FAST, threads);
  checkBurst(ours);
  std::vector<Contestant> contestants = {{"velmora_sr burst", [&] { ours.run(); }},
                                         {"velmora_sr burst, fast", [&] { fast.run(); }}};
#ifdef VELMORA_PEER_OPENCV
  contestants.push_back(
      {"OpenCV SIFT, Lanczos4 mean", opencvBurst(frames, Denoising::none, kBurstNoise, threads)});
  contestants.push_back({"the same, non-local means before",
                         opencvBurst(frames, Denoising::before, kBurstNoise, threads)});
  contestants.push_back({"the same, non-local means after",
                         opencvBurst(frames, Denoising::after, kBurstNoise, threads)});
#endif
  compare(std::to_string(count) + " frames, " + std::to_string(width) + "x" +
              std::to_string(height) + " enlarged by 2",
          threads, std::max(rounds / 5, 2), contestants);
}

// The same by a peer that takes most of a minute for larger frames.
void slowBurstJob(int width, int height, int count, int threads) {
  const std::vector<Nv12Frame> frames = burstFrames(width, height, count);
  BurstJob ours(frames, VELMORA_SR_BURST_NORMAL, threads);
  checkBurst(ours);
  std::vector<Contestant> contestants = {{"velmora_sr burst", [&] { ours.run(); }}};
#ifdef VELMORA_PEER_OPENCV
  contestants.push_back({"OpenCV BTV-L1, luma only", opencvBtvL1(frames, threads)});
#endif
  compare(std::to_string(count) + " frames, " + std::to_string(width) + "x" +
              std::to_string(height) + " enlarged by 2",
          threads, 1, contestants);
}

/// All jobs, or the one of that name, on so many processors.
void runJobs(const std::string& only, int threads) {
  const auto wanted = [&](const char* job) { return only == "all" || only == job; };
  useProcessors(threads);
  if (wanted("resize")) {
    resizeJob(4000, 3000, 6000, 4500, threads);
    resizeJob(1920, 1080, 3840, 2160, threads);
  }
  if (wanted("two-frames")) {
    twoFrameJob(4000, 3000, 6000, 4500, threads);
    twoFrameJob(1280, 960, 2560, 1920, threads);
  }
  if (wanted("features")) featureJob(threads);
  if (wanted("burst")) {
    burstJob(1000, 750, 2, threads);
    burstJob(1000, 750, 8, threads);
    slowBurstJob(320, 240, 2, threads);
  }
}

}  // namespace
}  // namespace velmora::bench

int main(int argc, char** argv) {
  using namespace velmora::bench;
  std::string only = "all";
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--rounds") == 0) rounds = std::max(1, std::atoi(argv[i + 1]));
    if (std::strcmp(argv[i], "--job") == 0) only = argv[i + 1];
  }
  keepTableApart();
  for (int threads = 1; threads <= 2; ++threads) {
    // A process of its own: some peers count the processors once and keep to that number.
    const pid_t child = fork();
    if (child == 0) {
      runJobs(only, threads);
      std::exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) return 1;
  }
  return 0;
}
