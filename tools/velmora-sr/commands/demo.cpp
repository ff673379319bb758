// velmora-sr demo: noisy frames of a scene, fused and compared with the truth.
#include <algorithm>
#include <array>
#include <chrono>
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
#include "demo/photo.h"
#include "demo/quality.h"
#include "demo/reference.h"
#include "demo/scene.h"
#include "engine/burst_fuser.h"
#include "engine/enlarger.h"
#include "engine/pair_fuser.h"
#include "engine/sharpness.h"
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
    "Draws a scene, or takes a photo (--photo), lets a ball move before it, takes four noisy "
    "frames of half the size with a camera "
    "that shakes, and makes pictures of one, two and four of them as 'velmora-sr upscale --denoise "
    "auto' and 'velmora-sr fuse' do. Writes into DIR (made if missing): truth.png, the scene; "
    "frame.png, second.png, third.png and fourth.png, the frames; one.png, two.png and four.png, "
    "the pictures; weights-2.png to weights-4.png, how much the frames counted in four.png. Of the "
    "part that both frames of 'fuse --method camera' show: bicubic.png and enlarged.png, the first "
    "frame enlarged by plain bicubic interpolation and by upscale, fused.png, two frames together, "
    "and mask.png, the weight of the first frame in de-ghosting. comparison.png has details side "
    "by side; index.html is a page with a slider between bicubic.png and four.png, the comparison "
    "and the weights; it "
    "needs no other file. Tells PSNR and "
    "SSIM against the truth.";

constexpr Size kTruth = {1280, 960};
constexpr Size kFrame = {640, 480};
constexpr double kNoise = 8;
// Half a pixel and 0.06 degrees: frames of this size are registered at a quarter of it, which finds
// small motions to a fraction of a pixel and larger ones less well.
constexpr std::array<Motion, 4> kShakes = {
    {{}, {0.5, -0.5, 0.001}, {-2.4, 1.3, -0.002, 1.001}, {3.2, 2.1, 0.003, 0.999}}};
constexpr std::array kNames = {"frame.png", "second.png", "third.png", "fourth.png"};
// Where the ball is in the frames, in pixels of the truth.
constexpr std::array<Point, 4> kBalls = {{{690, 330}, {762, 362}, {834, 394}, {906, 426}}};
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
  std::vector<BurstFrame> taken;
};

Frames takeFrames(const Canvas& scene) {
  Frames frames;
  for (std::size_t i = 0; i < kShakes.size(); ++i) {
    const Picture truth = withBall(scene, kBalls[i]);
    BurstFrame frame;
    frame.file = kNames[i];
    frame.picture = photographed(truth, kFrame, kShakes[i], kNoise, static_cast<uint32_t>(i + 1));
    frames.taken.push_back(std::move(frame));
    if (i == 0) frames.truth = truth;
    if (i == 1) frames.secondTruth = truth;
    interrupt::check();
  }
  return frames;
}

// Everything of the part of the first frame that both frames show.
struct Results {
  Picture truth, secondTruth;
  Picture first, bicubic, enlarged, mask;
  FusionResult fusion;
  // All of the frame.
  BurstResult one, two, four;
  // Milliseconds that each took.
  struct {
    double bicubic, enlarged, fused, one, two, four;
  } times = {};
};

// What `make` gives, and how long it took.
template <typename Make>
auto timed(double& milliseconds, const Make& make) {
  const auto start = std::chrono::steady_clock::now();
  auto result = make();
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
  milliseconds = time.count();
  return result;
}

// What 'fuse' makes of the first frames, and 'upscale --denoise auto' of one.
BurstResult fuseFirst(const Frames& frames, std::size_t count) {
  BurstSettings settings;
  settings.frame = kFrame;
  settings.region = wholeOf(kFrame);
  settings.output = outputSize(settings.region);
  const auto end = frames.taken.begin() + static_cast<std::ptrdiff_t>(count);
  return fuseBurst({frames.taken.begin(), end}, 0, settings, true);
}

Results enlarge(const Frames& frames) {
  const Picture& first = frames.taken[0].picture;
  const Picture& second = frames.taken[1].picture;
  FusionRequest request;
  request.region = wholeOf(kFrame);
  request.outputSize = outputSize;
  request.ghost = thresholdsFor(first, second);
  request.wantWeights = true;
  Results results;
  results.fusion = timed(results.times.fused, [&] { return fusePair(first, second, request); });
  if (!results.fusion.failure.empty()) {
    throw Failure("the frames of the demo were not fused: " + results.fusion.failure);
  }
  interrupt::check();
  const Region region = results.fusion.region;
  const Size size = outputSize(region);
  results.enlarged = timed(results.times.enlarged, [&] {
    Picture picture;
    Enlarger(kFrame, region, size, {}).enlarge(first, picture);
    return picture;
  });
  results.first = cut(first, region.left, region.top, region.size());
  results.bicubic =
      timed(results.times.bicubic, [&] { return bicubicEnlarged(results.first, size); });
  results.truth = cut(frames.truth, 2 * region.left, 2 * region.top, size);
  results.secondTruth = cut(frames.secondTruth, 2 * region.left, 2 * region.top, size);
  results.mask.reset(region.size());
  results.mask.grey = true;
  results.mask.y = cut(results.fusion.weights, region.left, region.top, region.size());
  results.one = timed(results.times.one, [&] { return fuseFirst(frames, 1); });
  results.two = timed(results.times.two, [&] { return fuseFirst(frames, 2); });
  results.four = timed(results.times.four, [&] { return fuseFirst(frames, 4); });
  interrupt::check();
  return results;
}

struct Measured {
  Quality bicubic, enlarged, fused, one, two, four;  // where nothing moves
  Quality ballBicubic, ballFused, ballFour;          // where the ball is in any frame
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
    return std::any_of(kBalls.begin(), kBalls.end(), near);
  };
  const auto still = [&](int x, int y) { return !moving(x, y); };
  const Plane& truth = results.truth.y;
  const Plane& fused = results.fusion.picture.y;
  const auto shown = [&](const BurstResult& result) {
    return cut(result.picture.y, 2 * region.left, 2 * region.top, truth.size);
  };
  const Plane four = shown(results.four);
  // De-ghosting takes what moved from the second frame, the burst stage from the first.
  return {qualityOf(results.bicubic.y, truth, still),
          qualityOf(results.enlarged.y, truth, still),
          qualityOf(fused, truth, still),
          qualityOf(shown(results.one), truth, still),
          qualityOf(shown(results.two), truth, still),
          qualityOf(four, truth, still),
          qualityOf(results.bicubic.y, truth, moving),
          qualityOf(fused, results.secondTruth.y, moving),
          qualityOf(four, truth, moving)};
}

std::string brief(const Quality& quality) {
  return format("%.2f dB, SSIM %.3f", quality.psnr, quality.ssim);
}

PageRow row(const char* name, const Quality& quality, double milliseconds = 0) {
  return {name, format("%.2f", quality.psnr), format("%.4f", quality.ssim),
          milliseconds > 0 ? format("%.0f", milliseconds) : ""};
}

constexpr Size kDetailSize = {168, 132};

bool nearBall(Detail detail) {
  return std::any_of(kBalls.begin(), kBalls.end(), [&](Point ball) {
    const float x = ball.x - static_cast<float>(detail.left);
    const float y = ball.y - static_cast<float>(detail.top);
    return x > -kBallRadius && x < kBallRadius + static_cast<float>(kDetailSize.width) &&
           y > -kBallRadius && y < kBallRadius + static_cast<float>(kDetailSize.height);
  });
}

// Parts of the scene to look at, in pixels of the truth: the ball in both frames, then those with
// most detail, one of each third of the width.
std::array<Detail, 4> detailsOf(const Plane& truth) {
  std::array<Detail, 4> details = {Detail{646, 280}};
  const int columns = truth.size.width / kDetailSize.width;
  const int rows = truth.size.height / kDetailSize.height;
  std::array<double, 4> best = {};
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < columns; ++column) {
      const Detail detail = {column * kDetailSize.width, row * kDetailSize.height};
      if (nearBall(detail)) continue;
      const auto third = static_cast<std::size_t>(1 + 3 * column / columns);
      const double sharpness = sharpnessOf(cut(truth, detail.left, detail.top, kDetailSize));
      if (sharpness <= best[third]) continue;
      best[third] = sharpness;
      details[third] = detail;
    }
  }
  return details;
}

Canvas comparisonOf(const Results& results, const Measured& measured,
                    std::array<Detail, 4> details) {
  const FusionResult& fusion = results.fusion;
  const auto shown = [&](const BurstResult& result) {
    return cut(result.picture, 2 * fusion.region.left, 2 * fusion.region.top,
               fusion.picture.size());
  };
  const Picture one = shown(results.one);
  const Picture four = shown(results.four);
  const std::array panels = {
      Panel{"First frame", text(kFrame) + format(", noise %g", kNoise), &results.first},
      Panel{"Bicubic", brief(measured.bicubic), &results.bicubic},
      Panel{"Burst of one", brief(measured.one), &one},
      Panel{"Camera, two", brief(measured.fused), &fusion.picture},
      Panel{"Burst of four", brief(measured.four), &four},
      Panel{"Truth", "of the first frame", &results.truth},
  };
  for (Detail& detail : details) {
    detail.left = std::max(detail.left - 2 * fusion.region.left, 0);
    detail.top = std::max(detail.top - 2 * fusion.region.top, 0);
  }
  return sideBySide(panels, details, kDetailSize, 2);
}

struct Options {
  std::string folder;
  std::string photo;
};

// The drawn scene keeps the parts that show what it has: edges, leaves, the map.
std::array<Detail, 4> detailsOf(const Options& options, const Plane& truth) {
  if (!options.photo.empty()) return detailsOf(truth);
  return {Detail{646, 280}, Detail{380, 470}, Detail{1000, 60}, Detail{40, 770}};
}

void run(const Options& options) {
  const std::string& folder = options.folder;
  requireFree(folder);
  const std::filesystem::path base(folder);
  for (const char* name : {"truth.png", "frame.png", "second.png", "bicubic.png", "enlarged.png",
                           "fused.png", "mask.png", "comparison.png", "index.html"})
    requireReplaceable((base / name).string());
  requireAcceptable(kSceneSize, (base / "truth.png").string());
  const Frames frames =
      takeFrames(options.photo.empty() ? sceneTruth() : photoScene(options.photo, kTruth));
  const Results results = enlarge(frames);
  const Measured measured = measure(results);
  makeFolder(folder);

  savePicture(base / "truth.png", frames.truth);
  savePicture(base / "bicubic.png", results.bicubic);
  savePicture(base / "enlarged.png", results.enlarged);
  savePicture(base / "fused.png", results.fusion.picture);
  savePicture(base / "mask.png", results.mask);
  savePicture(base / "one.png", results.one.picture);
  savePicture(base / "two.png", results.two.picture);
  savePicture(base / "four.png", results.four.picture);
  for (std::size_t i = 0; i < frames.taken.size(); ++i) {
    savePicture(base / frames.taken[i].file, frames.taken[i].picture);
    if (i == 0) continue;
    Picture weights(kFrame);
    weights.grey = true;
    weights.y = results.four.weights[i];
    savePicture(base / ("weights-" + std::to_string(i + 1) + ".png"), weights);
  }
  const std::string comparison = (base / "comparison.png").string();
  const Canvas canvas = comparisonOf(results, measured, detailsOf(options, frames.truth.y));
  writeRgbPng(comparison, canvas.size(), canvas.rgb());

  const std::array rows = {
      row("bicubic, one frame", measured.bicubic, results.times.bicubic),
      row("upscale, one frame", measured.enlarged, results.times.enlarged),
      row("fuse --method camera, two", measured.fused, results.times.fused),
      row("upscale --denoise auto, one", measured.one, results.times.one),
      row("fuse, two frames", measured.two, results.times.two),
      row("fuse, four frames", measured.four, results.times.four),
      row("moving ball, bicubic", measured.ballBicubic),
      row("moving ball, camera, two", measured.ballFused),
      row("moving ball, fuse, four", measured.ballFour),
  };
  const std::string introduction =
      "Four frames of " + text(kFrame) + format(" with noise of sigma %g become one of ", kNoise) +
      text(results.four.picture.size()) +
      format(
          ", %.1f dB closer to the scene than bicubic enlargement of one, and %.1f dB where the "
          "ball moves. Luma against the truth:",
          measured.four.psnr - measured.bicubic.psnr,
          measured.ballFour.psnr - measured.ballBicubic.psnr);
  const std::string remark =
      "The rows of the moving ball are measured where the ball is in any frame, the others "
      "elsewhere. The picture shows the ball as the first frame does; --method camera takes what "
      "moved from the second frame, and is compared with the scene of that one. All are compared "
      "over the part that both frames of --method camera show, " +
      text(results.fusion.region.size()) +
      " pixels of the frame. Times are those of this run, from frames in memory to the picture.";
  const auto saved = [&](const std::string& name, const char* caption) {
    return PagePicture{caption, readFile((base / name).string(), kLargestPng)};
  };
  const Region region = results.fusion.region;
  Page page;
  page.introduction = introduction;
  page.slider = {saved("bicubic.png", "Before: one frame, bicubic"),
                 saved("four.png", "After: four frames"),
                 results.bicubic.size(),
                 results.four.picture.size(),
                 2 * region.left,
                 2 * region.top};
  page.rows.assign(rows.begin(), rows.end());
  page.remark = remark;
  page.comparison = saved("comparison.png", "Details side by side; the ball moves");
  page.weights = {saved("weights-2.png", "How much the second frame counted: white most"),
                  saved("weights-3.png", "The third frame"),
                  saved("weights-4.png", "The fourth frame")};
  OutputFile file((base / "index.html").string());
  file.write(html(page));
  file.commit();

  status().note(introduction);
  status().note(format("%-28s %8s %8s", "", "PSNR, dB", "SSIM"));
  for (const PageRow& line : rows) {
    status().note(format("%-28s %8s %8s", line.name.c_str(), line.psnr.c_str(), line.ssim.c_str()));
  }
  status().note("side by side: " + comparison + ", " + (base / "index.html").string());
}

}  // namespace

void addDemo(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("demo", "Show what the library does, on a photo or a scene that it draws");
  command->footer(kHelp);
  command->add_option("DIR", options->folder, "Folder for the pictures")->required();
  command
      ->add_option("--photo", options->photo,
                   "The scene: the middle of this picture of 1280x960 pixels and more (drawn)")
      ->type_name("FILE");
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
