// velmora-sr fuse: frames of one scene into one larger picture; here its options, and two frames by
// the library's calls for cameras.
#include "commands/fuse.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <initializer_list>
#include <utility>

#include "colour.h"
#include "commands/commands.h"
#include "engine/enlarger.h"
#include "engine/pair_fuser.h"
#include "errors.h"
#include "file_names.h"
#include "formats/png.h"
#include "interrupt.h"
#include "output_file.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "FIRST and MORE are frames of one scene and one size, 2 or more, in the formats of 'velmora-sr "
    "upscale'; of a clip the first frame is taken, and of more than eight frames the eight "
    "sharpest. The picture shows all of the reference frame, exactly at the scale asked for, 1 to "
    "4. What has moved is as the reference shows it. A frame that does not fit is left out; a "
    "status line for each tells what became of it: its share of the picture, the motion of the "
    "farthest corner, the residual (the difference from the reference, before and after), the gain "
    "that matches its exposure.\n"
    "--method camera does what the library's calls for two camera frames do: the picture shows the "
    "part of FIRST that the second frame shows, too; with --size the size stands and the scale "
    "follows. Where something moved, de-ghosting takes it from the second frame. Frames that "
    "cannot "
    "be registered, or are smaller than 400x400, are no error: FIRST is enlarged alone, and the "
    "status line says why. Otherwise it says how sure the registration is.\n"
    "--bursts takes every subfolder of DIR that holds two pictures or more (PNG, JPEG, TIFF, WebP, "
    "by their names) as a burst, and goes on after one that fails.";

bool measureNoise(const FuseOptions& options) {
  return options.ghost == "auto" ||
         (options.ghost.empty() && options.frames.tuning.configuration.empty());
}

// Options of the other method would be passed over in silence.
void refuseOptionsOf(const char* other, const char* method,
                     std::initializer_list<std::pair<const char*, bool>> options) {
  for (const auto& [option, given] : options) {
    if (!given) continue;
    throw UsageError(std::string(option) + " goes with --method " + other + ", not with " + method);
  }
}

void checkMethod(const FuseOptions& options) {
  const std::string& method = options.method;
  if (!method.empty() && method != "burst" && method != "camera") {
    throw UsageError("--method: \"" + method + "\" is no method; give burst or camera");
  }
  if (!options.camera()) {
    refuseOptionsOf("camera", "burst",
                    {{"--ghost", !options.ghost.empty()},
                     {"--stereo", options.stereo},
                     {"--config", !options.frames.tuning.configuration.empty()},
                     {"--kernel", !options.frames.tuning.kernels.empty()}});
    return;
  }
  refuseOptionsOf("burst", "camera",
                  {{"--reference", !options.reference.empty()},
                   {"--noise", !options.burst.noise.empty()},
                   {"--sharpened", !options.burst.sharpened.empty()},
                   {"--effort", !options.burst.effort.empty()},
                   {"--threads", !options.burst.threads.empty()}});
}

void check(const FuseOptions& options) {
  if (options.bursts.empty() && options.frames.output.empty()) {
    throw UsageError("--output is required, or --output-dir with --bursts");
  }
  checkMethod(options);
  options.frames.check();
  options.burst.check("--noise");
  if (!options.ghost.empty() && options.ghost != "auto") parseThresholds("--ghost", options.ghost);
  if (!options.mask.empty() && formatByExtension(options.mask) != FileFormat::png) {
    throw UsageError("--mask: \"" + options.mask + "\" should end in .png");
  }
  if (options.json == "-" && options.frames.output == "-") {
    throw UsageError("standard output holds one kind of data: give -o or --json a file");
  }
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

// --method camera.
void fusePairOfCamera(const FuseOptions& options) {
  const auto start = std::chrono::steady_clock::now();
  options.frames.requireSeparate({{"--mask", options.mask}, {"--json", options.json}},
                                 options.inputFiles());
  FusionRequest fusion;
  fusion.tuning = readTuning(options.frames.tuning);
  const OutputRequest request = options.frames.outputRequest();
  FuseFrame first = readFuseFrame(options, options.inputs[0], nullptr);
  FuseFrame second = readFuseFrame(options, options.inputs[1], &first);
  const StreamInfo& in = first.reader->info();
  const FileFormat format = outputFormat(request, in.format);
  convertRange(second.picture, first.picture.range);

  fusion.scene = options.stereo ? VELMORA_SR_SCENE_LEFT_RIGHT : VELMORA_SR_SCENE_LEFT_LEFT;
  fusion.region = options.frames.regionIn(in.size);
  fusion.outputSize = [&](Region region) { return options.frames.outputSize(region); };
  fusion.wantWeights = !options.mask.empty();
  static_cast<void>(fusion.outputSize(fusion.region));
  if (measureNoise(options)) {
    fusion.ghost = thresholdsFor(first.picture, second.picture);
  } else if (!options.ghost.empty()) {
    fusion.ghost = parseThresholds("--ghost", options.ghost);
  }
  FusionResult result = fusePair(first.picture, second.picture, fusion);
  interrupt::check();

  if (result.picture.alpha.samples.empty()) {
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
  std::array<FrameVerdict, 2> frames = verdictsOf(result);
  frames[0].file = first.reader->name();
  frames[1].file = second.reader->name();
  frames[1].number = 2;
  writeFusionJson(options, {"camera", options.frames.output, result.region, out.size, {}, frames});
  if (options.strict) requireAllUsed(frames);
}

void run(const FuseOptions& options) {
  if (options.bursts.empty()) checkInputs(options);
  check(options);
  if (options.bursts.empty()) {
    fuseOne(options);
  } else {
    fuseFolders(options);
  }
}

}  // namespace

void checkInputs(const FuseOptions& options) {
  const std::size_t count = options.inputs.size();
  if (count < 2) {
    throw UsageError("give two frames or more; upscale, also with --denoise, enlarges one");
  }
  if (options.camera() && count > 2) {
    throw UsageError("--method camera takes two frames, not " + std::to_string(count));
  }
  if (!options.reference.empty() && options.reference != "best") {
    parseNumber("--reference", options.reference, 1, static_cast<int>(count));
  }
  if (std::count(options.inputs.begin(), options.inputs.end(), "-") > 1) {
    throw UsageError("only one of the frames can come from standard input");
  }
}

void fuseOne(const FuseOptions& options) {
  if (options.camera()) {
    fusePairOfCamera(options);
  } else {
    fuseWithBurst(options);
  }
}

FuseFrame readFuseFrame(const FuseOptions& options, const std::string& path,
                        const FuseFrame* first) {
  FuseFrame frame{openInput(options.frames.input(path)), {}};
  if (!frame.reader->next(frame.picture)) {
    throw Failure(frame.reader->name() + ": holds no frame");
  }
  if (first != nullptr && frame.picture.size() != first->reader->info().size) {
    throw Failure("the frames differ in size: " + first->reader->name() + " is " +
                  text(first->reader->info().size) + ", " + frame.reader->name() + " is " +
                  text(frame.picture.size()));
  }
  return frame;
}

void writeFusionJson(const FuseOptions& options, const Fusion& fusion) {
  if (options.json.empty()) return;
  OutputFile file(options.json);
  file.write(fusionJson(fusion));
  file.commit();
}

void addFuse(CLI::App& app) {
  auto options = std::make_shared<FuseOptions>();
  CLI::App* command =
      app.add_subcommand("fuse", "Make one larger picture of several frames of a scene");
  command->footer(kHelp);
  auto* frames = command->add_option("FRAMES", options->inputs,
                                     "FIRST [MORE...]: frames of one scene, - for standard input");
  addOutputOptions(*command, options->frames);
  addFolderOptions(*command, options->folder,
                   "--bursts: folder for the pictures, made if missing. A burst that fails does "
                   "not stop the others",
                   "Name of each picture in that folder, with %s for the name of the subfolder "
                   "(%s.png)",
                   "How many bursts are fused at a time, each by a process (1)");
  auto* bursts = command
                     ->add_option("--bursts", options->bursts,
                                  "Make a picture of every subfolder of DIR, of the pictures in it "
                                  "in the order of their names")
                     ->type_name("DIR")
                     ->excludes(frames)
                     ->needs(command->get_option("--output-dir"));
  command->get_option("--output-dir")->needs(bursts);
  addGeometryOptions(*command, options->frames);
  command
      ->add_option("--method", options->method,
                   "burst, or camera: two frames as the library's calls for cameras fuse them "
                   "(burst)")
      ->type_name("METHOD");
  command
      ->add_option("--reference", options->reference,
                   "The frame that the picture shows, counted from 1, or the sharpest (1)")
      ->type_name("N|best");
  command
      ->add_option("--noise", options->burst.noise,
                   "Standard deviation of the luma's noise in grey levels, measured if auto (auto)")
      ->type_name("auto|SIGMA");
  addBurstOptions(*command, options->burst);
  command
      ->add_option(
          "--mask", options->mask,
          "Draw how much each frame counted, white most, as a picture per frame with its "
          "number in the name: m.png makes m-1.png, m-2.png, ...; with --method camera one "
          "picture: white kept of the first frame, black replaced by the second")
      ->type_name("FILE");
  command
      ->add_option("--json", options->json,
                   "Also write what became of the frames as JSON; - for standard output")
      ->type_name("FILE");
  command->add_flag("--strict", options->strict,
                    "Exit status 1 when a frame was not used; the picture is written all the same");
  command->add_flag("--stereo", options->stereo,
                    "--method camera: the frames are those of two cameras, left and right, not two "
                    "of one camera");
  auto* ghost =
      command
          ->add_option("--ghost", options->ghost,
                       "--method camera: frames that differ by less than LOW are fused as they "
                       "are, from HIGH on the second frame takes over; auto sets both above the "
                       "noise of the frames (auto)")
          ->type_name("auto|LOW,HIGH");
  addInputOptions(*command, options->frames);
  addTuningOptions(*command, options->frames);
  command->get_option("--config")->excludes(ghost);
  // Many bursts would write the same files.
  bursts->excludes(command->get_option("--mask"))->excludes(command->get_option("--json"));
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
