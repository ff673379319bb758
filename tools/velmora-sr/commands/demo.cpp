// velmora-sr demo: two noisy frames of a drawn scene, fused and compared with the truth.
#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "colour.h"
#include "commands/commands.h"
#include "demo/camera.h"
#include "demo/comparison.h"
#include "demo/page.h"
#include "demo/quality.h"
#include "demo/reference.h"
#include "demo/scene.h"
#include "engine/enlarger.h"
#include "engine/pair_fuser.h"
#include "errors.h"
#include "formats/png.h"
#include "interrupt.h"
#include "output_file.h"
#include "size_limits.h"
#include "status.h"
#include "streams.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "Draws a scene with a ball that moves, takes two noisy frames of half the size with a camera "
    "that shakes, and makes one picture of both as 'velmora-sr fuse' does. Writes into DIR (made "
    "if missing): truth.png, the scene; frame.png and second.png, the frames; of the part that "
    "both show bicubic.png and enlarged.png, the first frame enlarged by plain bicubic "
    "interpolation and by the library, fused.png, both frames together, and mask.png, the weight "
    "of the first frame in de-ghosting; comparison.png, details side by side; index.html, a page "
    "with the comparison that needs no other file. Tells PSNR and SSIM against the truth.";

constexpr Size kFrame = {640, 480};
constexpr double kNoise = 8;
// Half a pixel and 0.06 degrees: frames of this size are registered at a quarter of it, which finds
// small motions to a fraction of a pixel and larger ones less well.
constexpr Motion kShake = {0.5, -0.5, 0.001};
// Where the ball is in the frames, in pixels of the truth.
constexpr Point kBallFirst = {690, 330};
constexpr Point kBallSecond = {762, 362};
constexpr std::size_t kLargestPng = std::size_t{64} << 20;

Size outputSize(Region region) {
  // Samples of the output lie on every sample of the frame, and half way between.
  return {2 * region.size().width - 1, 2 * region.size().height - 1};
}

Picture withBall(Canvas scene, Point centre) {
  drawBall(scene, centre);
  return fromRgb(scene.size(), scene.rgb());
}

Plane cut(const Plane& plane, int left, int top, Size size) {
  Plane result(size);
  copyRows(plane.row(top) + left, plane.size.width, result.row(0), size.width, size.width,
           size.height);
  return result;
}

// Left and top bounds are even.
Picture cut(const Picture& picture, int left, int top, Size size) {
  Picture result;
  result.y = cut(picture.y, left, top, size);
  result.u = cut(picture.u, left / 2, top / 2, chromaSize(size));
  result.v = cut(picture.v, left / 2, top / 2, chromaSize(size));
  return result;
}

void savePicture(const std::filesystem::path& path, const Picture& picture) {
  const auto writer = createPng(path.string());
  writer->write(picture);
  writer->finish();
  interrupt::check();
}

Failure cannotMake(const std::string& folder, const std::string& reason) {
  return Failure(folder + ": cannot make this folder: " + reason);
}

// Tells at once what would be in the way of the results.
void requireFree(const std::string& folder) {
  std::error_code error;
  const auto found = std::filesystem::status(folder, error);
  if (exists(found) && !is_directory(found)) {
    throw cannotMake(folder, "a file of this name is in the way");
  }
}

void makeFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw cannotMake(folder, error.message());
}

struct Frames {
  Picture truth;        // when the first frame was taken
  Picture secondTruth;  // when the second was
  Picture first;
  Picture second;
};

Frames takeFrames() {
  const Canvas scene = sceneTruth();
  interrupt::check();
  Frames frames;
  frames.truth = withBall(scene, kBallFirst);
  frames.secondTruth = withBall(scene, kBallSecond);
  frames.first = photographed(frames.truth, kFrame, {}, kNoise, 1);
  frames.second = photographed(frames.secondTruth, kFrame, kShake, kNoise, 2);
  interrupt::check();
  return frames;
}

// Everything of the part of the first frame that both frames show.
struct Results {
  Picture truth, secondTruth;
  Picture first, bicubic, enlarged, mask;
  FusionResult fusion;
};

Results enlarge(const Frames& frames) {
  FusionRequest request;
  request.region = wholeOf(kFrame);
  request.outputSize = outputSize;
  request.ghost = thresholdsFor(frames.first, frames.second);
  request.wantWeights = true;
  Results results;
  results.fusion = fusePair(frames.first, frames.second, request);
  if (!results.fusion.failure.empty()) {
    throw Failure("the frames of the demo were not fused: " + results.fusion.failure);
  }
  interrupt::check();
  const Region region = results.fusion.region;
  const Size size = outputSize(region);
  Enlarger(kFrame, region, size, {}).enlarge(frames.first, results.enlarged);
  results.first = cut(frames.first, region.left, region.top, region.size());
  results.bicubic = bicubicEnlarged(results.first, size);
  results.truth = cut(frames.truth, 2 * region.left, 2 * region.top, size);
  results.secondTruth = cut(frames.secondTruth, 2 * region.left, 2 * region.top, size);
  results.mask.reset(region.size());
  results.mask.grey = true;
  results.mask.y = cut(results.fusion.weights, region.left, region.top, region.size());
  interrupt::check();
  return results;
}

struct Measured {
  Quality bicubic, enlarged, fused;  // where nothing moves
  Quality ballEnlarged, ballFused;   // where the ball is in either frame
};

Measured measure(const Results& results) {
  const Region region = results.fusion.region;
  const auto moving = [&](int x, int y) {
    const auto near = [&](Point ball) {
      const float dx = static_cast<float>(x + 2 * region.left) - ball.x;
      const float dy = static_cast<float>(y + 2 * region.top) - ball.y;
      constexpr float kNear = kBallRadius + 16;  // the windows and the filters reach beyond it
      return dx * dx + dy * dy <= kNear * kNear;
    };
    return near(kBallFirst) || near(kBallSecond);
  };
  const auto still = [&](int x, int y) { return !moving(x, y); };
  const Plane& truth = results.truth.y;
  const Plane& fused = results.fusion.picture.y;
  // De-ghosting takes what moved from the second frame.
  return {qualityOf(results.bicubic.y, truth, still), qualityOf(results.enlarged.y, truth, still),
          qualityOf(fused, truth, still), qualityOf(results.enlarged.y, truth, moving),
          qualityOf(fused, results.secondTruth.y, moving)};
}

std::string brief(const Quality& quality) {
  return format("%.2f dB, SSIM %.3f", quality.psnr, quality.ssim);
}

PageRow row(const char* name, const Quality& quality) {
  return {name, format("%.2f", quality.psnr), format("%.4f", quality.ssim)};
}

Canvas comparisonOf(const Results& results, const Measured& measured) {
  const FusionResult& fusion = results.fusion;
  const std::array panels = {
      Panel{"First frame", text(kFrame) + format(", noise %g", kNoise), &results.first},
      Panel{"Bicubic", brief(measured.bicubic), &results.bicubic},
      Panel{"One frame", brief(measured.enlarged), &results.enlarged},
      Panel{"Fused", brief(measured.fused), &fusion.picture},
      Panel{"De-ghost mask", format("%.1f %% replaced", 100 * fusion.replacedShare), &results.mask},
      Panel{"Truth", "of the first frame", &results.truth},
  };
  // In pixels of the truth: the ball in both frames, edges, leaves, the map.
  std::array details = {Detail{646, 280}, Detail{380, 470}, Detail{1000, 60}, Detail{40, 770}};
  for (Detail& detail : details) {
    detail.left = std::max(detail.left - 2 * fusion.region.left, 0);
    detail.top = std::max(detail.top - 2 * fusion.region.top, 0);
  }
  return sideBySide(panels, details, {168, 132}, 2);
}

void run(const std::string& folder) {
  requireFree(folder);
  const std::filesystem::path base(folder);
  for (const char* name : {"truth.png", "frame.png", "second.png", "bicubic.png", "enlarged.png",
                           "fused.png", "mask.png", "comparison.png", "index.html"})
    requireReplaceable((base / name).string());
  requireAcceptable(kSceneSize, (base / "truth.png").string());
  const Frames frames = takeFrames();
  const Results results = enlarge(frames);
  const Measured measured = measure(results);
  makeFolder(folder);

  savePicture(base / "truth.png", frames.truth);
  savePicture(base / "frame.png", frames.first);
  savePicture(base / "second.png", frames.second);
  savePicture(base / "bicubic.png", results.bicubic);
  savePicture(base / "enlarged.png", results.enlarged);
  savePicture(base / "fused.png", results.fusion.picture);
  savePicture(base / "mask.png", results.mask);
  const std::string comparison = (base / "comparison.png").string();
  const Canvas canvas = comparisonOf(results, measured);
  writeRgbPng(comparison, canvas.size(), canvas.rgb());

  const std::array rows = {
      row("bicubic, first frame", measured.bicubic),
      row("velmora-sr, one frame", measured.enlarged),
      row("velmora-sr, fused", measured.fused),
      row("moving ball, one frame", measured.ballEnlarged),
      row("moving ball, fused", measured.ballFused),
  };
  const GhostThresholds ghost = results.fusion.ghost;
  const std::string introduction =
      "Two frames of " + text(kFrame) + format(" with noise of sigma %g, ", kNoise) +
      text(results.fusion.region.size()) + " of them enlarged to " +
      text(results.fusion.picture.size()) +
      format("; de-ghosting %d,%d replaced %.1f %%. Luma against the truth:", ghost.low, ghost.high,
             100 * results.fusion.replacedShare);
  const std::string remark =
      "The first three rows leave out where the ball is in either frame. There one frame is "
      "compared with the scene of the first frame, the fused picture with that of the second, from "
      "which de-ghosting takes what moved.";
  OutputFile file((base / "index.html").string());
  file.write(page(introduction, rows, remark, readFile(comparison, kLargestPng)));
  file.commit();

  status().note(introduction);
  status().note(format("%-24s %8s %8s", "", "PSNR, dB", "SSIM"));
  for (const PageRow& line : rows) {
    status().note(format("%-24s %8s %8s", line.name.c_str(), line.psnr.c_str(), line.ssim.c_str()));
  }
  status().note("side by side: " + comparison + ", " + (base / "index.html").string());
}

}  // namespace

void addDemo(CLI::App& app) {
  auto folder = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("demo", "Show what the library does, on a scene that the tool draws");
  command->footer(kHelp);
  command->add_option("DIR", *folder, "Folder for the pictures")->required();
  command->callback([folder] { run(*folder); });
}

}  // namespace velmora::tool
