// velmora-sr video: every frame of a clip made from those around it.
#include <algorithm>
#include <chrono>
#include <exception>
#include <limits>
#include <memory>
#include <optional>

#include "clip_end.h"
#include "commands/commands.h"
#include "engine/burst_window.h"
#include "engine/camera_clip.h"
#include "errors.h"
#include "frame_pump.h"
#include "interrupt.h"
#include "output_file.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "IN is a Y4M (8 bits, 4:2:0 or grey) or raw NV12, NV21 or I420 frames; - reads standard input, "
    "and writes standard output. Every frame is made from a window of the frames around it "
    "(--window): each is registered to it and weighed where it shows the same. Frames that show "
    "something else, as behind a cut, are left out. The output shows the whole of every frame. The "
    "last status line tells how many frames were used on average, and how many cuts were seen.\n"
    "With --method camera every frame is fused with the one that follows, the last with the one "
    "before. All frames of the output show the same part of the input: an inset keeps it inside "
    "what neighbours share, and a frame whose neighbour does not show all of it, or cannot be "
    "registered, is enlarged alone. So are single frames and frames smaller than 400x400. The last "
    "status line tells how many frames were fused.\n"
    "With --frames the frames asked for are those of a run over the whole clip, byte for byte: "
    "several machines can share it.\n"
    "A Y4M keeps its range and its header. A signal to stop (Ctrl-C), or input that breaks off, "
    "leaves a clip of the frames done so far.";

constexpr int kDefaultInset = 16;
constexpr int kDefaultWindow = 3;

// Frames of a clip, counted from 1.
struct FrameRange {
  long first = 1;
  long last = std::numeric_limits<long>::max();
};

struct Options {
  std::string input;
  std::string method;
  std::string window;
  std::string range;
  std::string json;
  std::string inset;
  std::string ghost;
  BurstOptions burst;
  FrameOptions frames;

  [[nodiscard]] bool camera() const { return method == "camera"; }
  [[nodiscard]] int windowFrames() const {
    return window.empty() ? kDefaultWindow
                          : parseNumber("--window", window, 1, BurstWindow::kMostFrames);
  }
  [[nodiscard]] FrameRange frameRange() const {
    FrameRange asked;
    if (range.empty()) return asked;
    constexpr int kMost = std::numeric_limits<int>::max();
    const std::size_t dash = range.find('-');
    asked.first = parseNumber("--frames", range.substr(0, dash), 1, kMost);
    if (dash == std::string::npos) {
      asked.last = asked.first;
    } else if (dash + 1 < range.size()) {
      asked.last =
          parseNumber("--frames", range.substr(dash + 1), static_cast<int>(asked.first), kMost);
    }
    return asked;
  }
  [[nodiscard]] bool measureNoise() const {
    return ghost == "auto" || (ghost.empty() && frames.tuning.configuration.empty());
  }
  void check() const {
    frames.check();
    if (!method.empty() && method != "burst" && method != "camera") {
      throw UsageError("--method: \"" + method + "\" is no method; give burst or camera");
    }
    refuseOptionsOfOtherMethod();
    static_cast<void>(windowFrames());
    static_cast<void>(frameRange());
    burst.check("--noise");
    if (!inset.empty()) parseNumber("--inset", inset, 0, kMaxSide);
    if (!ghost.empty() && ghost != "auto") parseThresholds("--ghost", ghost);
  }

 private:
  // They would be passed over in silence.
  void refuseOptionsOfOtherMethod() const {
    const struct {
      const char* name;
      const std::string& value;
      bool ofCamera;
    } all[] = {{"--window", window, false},
               {"--noise", burst.noise, false},
               {"--sharpened", burst.sharpened, false},
               {"--effort", burst.effort, false},
               {"--threads", burst.threads, false},
               {"--inset", inset, true},
               {"--ghost", ghost, true},
               {"--config", frames.tuning.configuration, true},
               {"--kernel", frames.tuning.kernels, true}};
    for (const auto& option : all) {
      if (option.value.empty() || option.ofCamera == camera()) continue;
      throw UsageError(std::string(option.name) + " goes with --method " +
                       (camera() ? "burst" : "camera") + ", not with " +
                       (camera() ? "camera" : "burst"));
    }
  }
};

// The library fuses regions with even bounds only.
Region withEvenBounds(Region region) {
  return {region.left + region.left % 2, region.top + region.top % 2,
          region.right - region.right % 2, region.bottom - region.bottom % 2};
}

// The part of every frame that is shown. Frames that cannot be registered need no inset.
Region fixedRegion(const Options& options, Size frame) {
  const bool asked = !options.inset.empty() || !options.frames.region.empty();
  if (!asked && !canRegister(frame)) return wholeOf(frame);
  Region region = options.frames.regionIn(frame);
  if (options.frames.region.empty()) {
    const int inset =
        options.inset.empty() ? kDefaultInset : parseNumber("--inset", options.inset, 0, kMaxSide);
    region = {inset, inset, frame.width - 1 - inset, frame.height - 1 - inset};
  }
  region = withEvenBounds(region);
  if (region.left > region.right || region.top > region.bottom) {
    throw UsageError((options.frames.region.empty() ? "--inset: \"" + options.inset
                                                    : "--region: \"" + options.frames.region) +
                     "\" leaves nothing of a frame of " + text(frame) + " with even bounds");
  }
  return region;
}

// Frames of a clip up to a last one, or to where it breaks off: that is told when the frames before
// are written.
class ClipFrames final : public ClipSource {
 public:
  /// What the pump delivers is the first of `range`.
  ClipFrames(FramePump& pump, FrameRange range)
      : pump_(pump), number_(range.first - 1), last_(range.last) {}
  bool next(Picture& picture) override {
    if (number_ == last_) return false;
    try {
      if (!pump_.next(picture)) return false;
    } catch (const InputBroken&) {
      broken_ = std::current_exception();
      return false;
    }
    ++number_;
    return true;
  }
  [[nodiscard]] long number() const override { return number_; }
  void requireWhole() const {
    if (broken_) std::rethrow_exception(broken_);
  }

 private:
  FramePump& pump_;
  long number_;
  long last_;
  std::exception_ptr broken_;
};

struct Job {
  FrameReader& reader;
  FrameWriter& writer;
  ClipMaker& maker;
  FrameRange range;
  OutputFile* json;  // a line for each frame, if not null
  Fusion fusion;     // what all lines have in common
};

void makeAll(const Job& job, ClipFrames& frames, FramePump& pump, long passOver) {
  std::optional<long> total = job.reader.info().frames;
  if (total) total = std::min(*total, job.range.last) - job.range.first + 1;
  for (long i = 0; i < passOver; ++i)
    if (!job.maker.skip(frames)) return;
  Picture result;
  const long wanted = job.range.last - job.range.first;  // and one more, which might not fit
  for (long made = 0; made <= wanted && job.maker.make(frames, result);) {
    pump.put(result);
    if (job.json != nullptr) {
      Fusion fusion = job.fusion;
      fusion.noise = job.maker.noise();
      fusion.frames = job.maker.verdicts();
      job.json->write(fusionJson(fusion));
    }
    status().progress(++made, total);
    interrupt::check();
  }
}

// Frames that are made when a signal or broken input ends the work are still written.
void pumpAll(const Job& job, long& written) {
  FrameRange read = job.range;
  read.first = std::max(1L, read.first - job.maker.before());
  if (read.last != FrameRange().last) read.last += job.maker.behind();
  for (long number = 1; number < read.first; ++number) {
    if (!job.reader.skip()) break;
    interrupt::check();
  }
  FramePump pump(job.reader, job.writer, written);
  std::exception_ptr ended;
  try {
    ClipFrames frames(pump, read);
    makeAll(job, frames, pump, job.range.first - read.first);
    frames.requireWhole();
  } catch (const Interrupted&) {
    ended = std::current_exception();
  } catch (const InputBroken&) {
    ended = std::current_exception();
  }
  pump.finish();
  if (ended) std::rethrow_exception(ended);
  if (written == 0) {
    throw Failure(job.reader.name() + ": holds no frame " + std::to_string(job.range.first));
  }
}

std::unique_ptr<ClipMaker> makerOf(const Options& options, const StreamInfo& in, Region region,
                                   Size output, const std::string& clip) {
  if (options.camera()) {
    CameraClipSettings settings;
    settings.frame = in.size;
    settings.region = region;
    settings.output = output;
    settings.tuning = readTuning(options.frames.tuning);
    settings.measureNoise = options.measureNoise();
    if (!options.ghost.empty() && options.ghost != "auto") {
      settings.ghost = parseThresholds("--ghost", options.ghost);
    }
    return std::make_unique<CameraClip>(settings, clip);
  }
  BurstOptions burst = options.burst;
  if (burst.effort.empty()) burst.effort = "fast";
  try {
    return std::make_unique<BurstWindow>(burst.settings(in, region, output), options.windowFrames(),
                                         clip);
  } catch (const UsageError& error) {
    throw UsageError(std::string(error.what()) + "; --method camera takes other sizes, too");
  }
}

void run(const Options& options) {
  options.frames.requireSeparate({{"--json", options.json}}, {{"IN", options.input}});
  options.check();
  const OutputRequest request = options.frames.outputRequest();
  const auto reader = openInput(options.frames.input(options.input));
  const StreamInfo& in = reader->info();
  const FileFormat format = outputFormat(request, in.format);
  if (isPictureFormat(format)) {
    throw UsageError(std::string("a ") + name(format) +
                     " holds no clip: write .y4m, or raw frames (.nv12, .nv21, .i420)");
  }
  const Region region =
      options.camera() ? fixedRegion(options, in.size) : options.frames.regionIn(in.size);
  const StreamInfo out = outputInfo(in, options.frames.outputSize(region), format);
  const auto maker = makerOf(options, in, region, out.size, reader->name());

  const auto writer = openOutput(request, out);
  std::optional<OutputFile> json;
  if (!options.json.empty()) json.emplace(options.json);
  const Fusion fusion = {
      options.camera() ? "camera" : "burst", options.frames.output, region, out.size, {}, {}};
  const Job job = {*reader, *writer, *maker, options.frameRange(), json ? &*json : nullptr, fusion};
  const auto start = std::chrono::steady_clock::now();
  long done = 0;
  const std::exception_ptr cut = writeClip(*writer, done, [&] { pumpAll(job, done); });
  if (json) json->commit();
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  status().done([&] {
    return reader->name() + ": " + maker->summary() +
           tool::format("; %d,%d,%d,%d (", region.left, region.top, region.right, region.bottom) +
           text(region.size()) + ") to " + text(out.size) + tool::format(", %.2f s", time.count()) +
           lossesOf(out);
  });
  if (cut) std::rethrow_exception(cut);
}

}  // namespace

void addVideo(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("video", "Enlarge a clip, every frame made from those around it");
  command->footer(kHelp);
  command->add_option("IN", options->input, "Clip, - for standard input")->required();
  addOutputOptions(*command, options->frames);
  addGeometryOptions(*command, options->frames);
  command
      ->add_option("--method", options->method,
                   "burst, or camera: what the library's calls for two camera frames do (burst)")
      ->type_name("METHOD");
  command
      ->add_option("--window", options->window,
                   "Frames that each is made from, 1 to 7: as many before it as behind, one more "
                   "behind where N is even (3)")
      ->type_name("N");
  command
      ->add_option("--frames", options->range,
                   "Make these frames alone, counted from 1, and as in a run over the whole clip: "
                   "101-200, 201- to the end, or one (all)")
      ->type_name("FIRST-LAST");
  command
      ->add_option("--json", options->json,
                   "Also write what became of the frames as JSON, a line for each frame made; - "
                   "for standard output")
      ->type_name("FILE");
  command
      ->add_option("--noise", options->burst.noise,
                   "Standard deviation of the luma's noise in grey levels, measured for each frame "
                   "if auto (auto)")
      ->type_name("auto|SIGMA");
  addBurstOptions(*command, options->burst, "fast");
  auto* inset =
      command
          ->add_option("--inset", options->inset,
                       "--method camera: pixels left out at each edge, so that neighbours of a "
                       "moving camera show the rest, too; bounds are made even (16; 0 for frames "
                       "under 400x400)")
          ->type_name("N");
  command->get_option("--region")->excludes(inset);
  auto* ghost =
      command
          ->add_option("--ghost", options->ghost,
                       "--method camera, de-ghosting: frames that differ by less than LOW are "
                       "fused as they are, from HIGH on the neighbour takes over; auto sets both "
                       "above the noise of "
                       "each pair of frames (auto)")
          ->type_name("auto|LOW,HIGH");
  addInputOptions(*command, options->frames);
  addTuningOptions(*command, options->frames);
  command->get_option("--config")->excludes(ghost);
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
