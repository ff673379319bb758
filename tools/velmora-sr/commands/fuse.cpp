// velmora-sr fuse: two frames of one scene into one larger picture.
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "colour.h"
#include "commands/commands.h"
#include "engine/enlarger.h"
#include "engine/pair_fuser.h"
#include "errors.h"
#include "file_names.h"
#include "formats/png.h"
#include "interrupt.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "FIRST and SECOND are frames of one scene and one size, in the formats of 'velmora-sr "
    "upscale'; "
    "of a clip the first frame is taken. The picture shows the part of FIRST that SECOND shows, "
    "too, at the scale asked for; with --size the size stands and the scale follows. Where "
    "something moved between the frames, de-ghosting takes it from SECOND. Frames that cannot be "
    "registered, or are smaller than 400x400, are no error: FIRST is enlarged alone, and the "
    "status line says why. Otherwise it says how sure the registration is: matches that agree, "
    "motion of the farthest corner, and the residual, the mean difference of the frames, before "
    "and after.";

struct Options {
  std::string first;
  std::string second;
  std::string ghost;
  std::string mask;
  bool stereo = false;
  FrameOptions frames;

  [[nodiscard]] bool measureNoise() const {
    return ghost == "auto" || (ghost.empty() && frames.tuning.configuration.empty());
  }
  void check() const {
    frames.check();
    if (!ghost.empty() && ghost != "auto") parseThresholds("--ghost", ghost);
    if (first == "-" && second == "-") {
      throw UsageError("only one of the two frames can come from standard input");
    }
    if (!mask.empty() && formatByExtension(mask) != FileFormat::png) {
      throw UsageError("--mask: \"" + mask + "\" should end in .png");
    }
  }
};

struct Frame {
  std::unique_ptr<FrameReader> reader;
  Picture picture;
};

Frame readFrame(const Options& options, const std::string& path) {
  Frame frame{openInput(options.frames.input(path)), {}};
  if (!frame.reader->next(frame.picture)) {
    throw Failure(frame.reader->name() + ": holds no frame");
  }
  return frame;
}

Picture maskOf(const FusionResult& result, Size size) {
  Picture mask(size);
  mask.grey = true;
  if (result.failure.empty()) {
    mask.y = result.weights;
  } else {
    mask.y.reset(size, 255);
  }
  return mask;
}

std::string bounds(Region region) {
  return format("%d,%d,%d,%d", region.left, region.top, region.right, region.bottom);
}

std::string outcome(const FusionResult& result) {
  if (!result.failure.empty()) return "not fused: " + result.failure + "; first frame enlarged";
  return "fused; registered " + bounds(result.registered) +
         format(
             "; %zu of %zu matches agree, corners move by up to %.1f pixels, residual %.2f "
             "before and %.2f after; de-ghosting %d,%d replaced %.1f %%",
             result.inliers, result.matches, result.largestMotion, result.residual.before,
             result.residual.after, result.ghost.low, result.ghost.high,
             100 * result.replacedShare);
}

std::string doubt(const FusionResult& result) {
  return result.doubt + format(" (mean luma %.0f and %.0f, %.0f %% replaced)",
                               result.residual.firstMean, result.residual.secondMean,
                               100 * result.replacedShare);
}

// Distances between the first and last samples, which land on each other.
std::string scales(Region region, Size size) {
  const auto along = [](int from, int to) {
    return from > 1 ? static_cast<double>(to - 1) / (from - 1) : static_cast<double>(to);
  };
  return format(", scale %.3f x %.3f", along(region.size().width, size.width),
                along(region.size().height, size.height));
}

// Fusion leaves out the alpha: that of the first frame stands.
Plane enlargedAlpha(const Picture& picture, Region region, Size size, const Tuning& tuning) {
  Picture alpha(picture.size());
  alpha.y = picture.alpha;
  alpha.grey = true;
  Picture enlarged;
  Enlarger(picture.size(), region, size, tuning).enlarge(alpha, enlarged);
  return std::move(enlarged.y);
}

void run(const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  options.frames.requireSeparate({{"--mask", options.mask}},
                                 {{"FIRST", options.first}, {"SECOND", options.second}});
  options.check();
  FusionRequest fusion;
  fusion.tuning = readTuning(options.frames.tuning);
  const OutputRequest request = options.frames.outputRequest();
  Frame first = readFrame(options, options.first);
  Frame second = readFrame(options, options.second);
  const StreamInfo& in = first.reader->info();
  if (second.picture.size() != in.size) {
    throw Failure("the frames differ in size: " + first.reader->name() + " is " + text(in.size) +
                  ", " + second.reader->name() + " is " + text(second.picture.size()));
  }
  const FileFormat format = outputFormat(request, in.format);
  convertRange(second.picture, first.picture.range);

  fusion.scene = options.stereo ? VELMORA_SR_SCENE_LEFT_RIGHT : VELMORA_SR_SCENE_LEFT_LEFT;
  fusion.region = options.frames.regionIn(in.size);
  fusion.outputSize = [&](Region region) { return options.frames.outputSize(region); };
  fusion.wantWeights = !options.mask.empty();
  static_cast<void>(fusion.outputSize(fusion.region));
  if (options.measureNoise()) {
    fusion.ghost = thresholdsFor(first.picture, second.picture);
  } else if (!options.ghost.empty()) {
    fusion.ghost = parseThresholds("--ghost", options.ghost);
  }
  FusionResult result = fusePair(first.picture, second.picture, fusion);
  interrupt::check();

  if (!first.picture.alpha.samples.empty() && result.picture.alpha.samples.empty()) {
    result.picture.alpha =
        enlargedAlpha(first.picture, result.region, result.picture.size(), fusion.tuning);
  }
  const StreamInfo out = outputInfo(in, result.picture.size(), format);
  const auto writer = openOutput(request, out);
  const auto mask = options.mask.empty() ? nullptr : createPng(options.mask);
  writer->write(result.picture);
  if (mask) mask->write(maskOf(result, in.size));
  if (!result.doubt.empty()) status().warn(doubt(result));
  writer->finish();
  if (mask) mask->finish();

  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  status().done([&] {
    return first.reader->name() + ": " + outcome(result) + "; " + bounds(result.region) + " (" +
           text(result.region.size()) + ") to " + text(out.size) +
           (options.frames.size.empty() ? "" : scales(result.region, out.size)) +
           tool::format(", %.2f s", time.count()) + lossesOf(out);
  });
}

}  // namespace

void addFuse(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("fuse", "Make one larger picture of two frames of a scene");
  command->footer(kHelp);
  command->add_option("FIRST", options->first, "The frame to enlarge, - for standard input")
      ->required();
  command->add_option("SECOND", options->second, "Another frame of the same scene")->required();
  addOutputOptions(*command, options->frames);
  addGeometryOptions(*command, options->frames);
  command->add_flag("--stereo", options->stereo,
                    "The frames are those of two cameras, left and right, not two of one camera");
  auto* ghost =
      command
          ->add_option("--ghost", options->ghost,
                       "De-ghosting: frames that differ by less than LOW are fused as they are, "
                       "from HIGH on the second frame takes over; auto sets both above the "
                       "noise of the frames (auto)")
          ->type_name("auto|LOW,HIGH");
  command
      ->add_option("--mask", options->mask,
                   "Write the weight of the first frame in de-ghosting as a picture (PNG): white "
                   "kept, black replaced by the second")
      ->type_name("FILE");
  addInputOptions(*command, options->frames);
  addTuningOptions(*command, options->frames);
  command->get_option("--config")->excludes(ghost);
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
