// velmora-sr video: every frame of a clip made from those around it.
#include <algorithm>
#include <chrono>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "clip_end.h"
#include "commands/commands.h"
#include "engine/burst_window.h"
#include "engine/enlarger.h"
#include "engine/noise.h"
#include "engine/pair_fuser.h"
#include "engine/registration.h"
#include "errors.h"
#include "frame_pump.h"
#include "interrupt.h"
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
    "A Y4M keeps its range and its header. A signal to stop (Ctrl-C), or input that breaks off, "
    "leaves a clip of the frames done so far.";

constexpr int kDefaultInset = 16;
constexpr int kDefaultWindow = 3;

struct Options {
  std::string input;
  std::string method;
  std::string window;
  std::string effort;
  std::string inset;
  std::string ghost;
  FrameOptions frames;

  [[nodiscard]] bool camera() const { return method == "camera"; }
  [[nodiscard]] int windowFrames() const {
    return window.empty() ? kDefaultWindow
                          : parseNumber("--window", window, 1, BurstWindow::kMostFrames);
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
    if (!effort.empty() && effort != "normal" && effort != "fast") {
      throw UsageError("--effort: \"" + effort + "\" is no effort; give normal or fast");
    }
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
               {"--effort", effort, false},
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

bool canRegister(Size size) {
  return size.width >= kSmallestSide && size.height >= kSmallestSide;
}

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

// What became of the frames. The reasons are a handful of texts, so this stays small.
class Tally {
 public:
  void fused(long frame, const FusionResult& result) {
    ++fused_;
    replaced_ += result.replacedShare;
    if (!result.doubt.empty()) count(doubts_, frame, result.doubt);
  }
  void alone(long frame, const std::string& reason) {
    ++alone_;
    count(reasons_, frame, reason);
  }
  [[nodiscard]] std::string summary() const {
    std::string text = std::to_string(fused_) + " of " + std::to_string(fused_ + alone_) +
                       (fused_ + alone_ == 1 ? " frame fused" : " frames fused");
    if (fused_ > 0) {
      text += format(", de-ghosting replaced %.1f %%", 100 * replaced_ / double(fused_));
    }
    for (const auto& [reason, found] : reasons_)
      text += "; enlarged alone: " + framesOf(found) + " (" + reason + ")";
    for (const auto& [doubt, found] : doubts_)
      text += "; doubtful: " + framesOf(found) + " (" + doubt + ")";
    return text;
  }

 private:
  struct Reason {
    long first;
    long count;
  };
  using Reasons = std::map<std::string, Reason>;
  static void count(Reasons& reasons, long frame, const std::string& reason) {
    ++reasons.try_emplace(reason, Reason{frame, 0}).first->second.count;
  }
  static std::string framesOf(const Reason& found) {
    return "frame " + std::to_string(found.first) +
           (found.count > 1 ? " and " + std::to_string(found.count - 1) + " more" : "");
  }

  long fused_ = 0;
  long alone_ = 0;
  double replaced_ = 0;
  Reasons reasons_;
  Reasons doubts_;
};

// Makes one frame of the output at a time, all of one geometry.
class ClipFuser {
 public:
  ClipFuser(const Options& options, Size frame, Region region, Size output)
      : options_(options), frame_(frame), output_(output) {
    request_.region = region;
    request_.outputSize = [output](Region) { return output; };
    request_.tuning = readTuning(options.frames.tuning);
    request_.keepRegion = true;
    if (!options.ghost.empty() && options.ghost != "auto") {
      request_.ghost = parseThresholds("--ghost", options.ghost);
    }
    if (!canRegister(frame)) alone_.emplace(frame, region, output, request_.tuning);
  }

  /// Pictures come in the order of the clip.
  void fuse(long number, const Picture& picture, const Picture& neighbour, Picture& result) {
    if (alone_) {
      alone_->enlarge(picture, result);
      tally_.alone(number, "frames under " + text(Size{kSmallestSide, kSmallestSide}) +
                               " are too small to fuse, these are " + text(frame_));
      return;
    }
    if (options_.measureNoise()) {
      // The neighbour is the next picture, but for the last one.
      const double noise = neighbourNoise_ ? *neighbourNoise_ : noiseOf(picture);
      neighbourNoise_ = noiseOf(neighbour);
      request_.ghost = thresholdsFor(std::max(noise, *neighbourNoise_));
    }
    FusionResult fusion = fusePair(picture, neighbour, request_);
    if (fusion.failure.empty()) {
      tally_.fused(number, fusion);
    } else {
      tally_.alone(number, fusion.failure);
    }
    result = std::move(fusion.picture);
  }

  void enlargeSingle(const Picture& picture, Picture& result) {
    if (!alone_) alone_.emplace(frame_, request_.region, output_, request_.tuning);
    alone_->enlarge(picture, result);
    tally_.alone(1, "the clip has no other");
  }

  [[nodiscard]] const Tally& tally() const { return tally_; }

 private:
  const Options& options_;
  Size frame_;
  Size output_;
  FusionRequest request_;
  std::optional<Enlarger> alone_;
  std::optional<double> neighbourNoise_;
  Tally tally_;
};

// The frames of a clip, up to where it ends or breaks off: that is told when the frames before are
// written.
class ClipFrames {
 public:
  explicit ClipFrames(FramePump& pump) : pump_(pump) {}
  bool next(Picture& picture) {
    try {
      return pump_.next(picture);
    } catch (const InputBroken&) {
      broken_ = std::current_exception();
      return false;
    }
  }
  void requireWhole() const {
    if (broken_) std::rethrow_exception(broken_);
  }

 private:
  FramePump& pump_;
  std::exception_ptr broken_;
};

// Takes the frames that are made to where they go.
class Made {
 public:
  Made(FramePump& pump, std::optional<long> total) : pump_(pump), total_(total) {}
  void put(Picture& result) {
    pump_.put(result);
    status().progress(++count_, total_);
    interrupt::check();
  }
  [[nodiscard]] long count() const { return count_; }

 private:
  FramePump& pump_;
  std::optional<long> total_;
  long count_ = 0;
};

void makeAll(ClipFrames& frames, Made& made, BurstWindow& window) {
  Picture frame;
  Picture result;
  for (bool more = true;;) {
    while (more && window.wantsFrame()) {
      more = frames.next(frame);
      if (more) window.add(frame);
    }
    if (!window.render(result)) return;
    made.put(result);
  }
}

// Fuses frame by frame; three frames of the input are in hand at any time.
void makeAll(ClipFrames& frames, Made& made, ClipFuser& fuser) {
  Picture previous;
  Picture current;
  Picture next;
  Picture result;
  frames.next(current);
  for (bool more = true; more;) {
    more = frames.next(next);
    if (more || made.count() > 0) {
      fuser.fuse(made.count() + 1, current, more ? next : previous, result);
    } else {
      fuser.enlargeSingle(current, result);
    }
    made.put(result);
    std::swap(previous, current);
    std::swap(current, next);
  }
}

// Frames that are made when a signal or broken input ends the work are still written.
template <typename Maker>
void pumpAll(FrameReader& reader, FrameWriter& writer, Maker& maker, long& written) {
  FramePump pump(reader, writer, written);
  std::exception_ptr ended;
  try {
    ClipFrames frames(pump);
    Made made(pump, reader.info().frames);
    makeAll(frames, made, maker);
    frames.requireWhole();
  } catch (const Interrupted&) {
    ended = std::current_exception();
  } catch (const InputBroken&) {
    ended = std::current_exception();
  }
  pump.finish();
  if (ended) std::rethrow_exception(ended);
}

// `summary` tells what the maker made; `shown` how large, and of which part.
template <typename Maker, typename Summary>
void makeClip(FrameReader& reader, const OutputRequest& request, const StreamInfo& out,
              Maker& maker, const Summary& summary, const std::string& shown) {
  const auto writer = openOutput(request, out);
  const auto start = std::chrono::steady_clock::now();
  long done = 0;
  const std::exception_ptr cut =
      writeClip(*writer, done, [&] { pumpAll(reader, *writer, maker, done); });
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  status().done([&] {
    return reader.name() + ": " + summary() + "; " + shown +
           tool::format(", %.2f s", time.count()) + lossesOf(out);
  });
  if (cut) std::rethrow_exception(cut);
}

void run(const Options& options) {
  options.frames.requireSeparate({}, {{"IN", options.input}});
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
  const std::string sizes = text(region.size()) + ") to " + text(out.size);
  const std::string shown =
      tool::format("%d,%d,%d,%d (", region.left, region.top, region.right, region.bottom) + sizes;
  if (options.camera()) {
    ClipFuser fuser(options, in.size, region, out.size);
    makeClip(
        *reader, request, out, fuser, [&] { return fuser.tally().summary(); }, shown);
    return;
  }
  BurstSettings settings;
  settings.frame = in.size;
  settings.region = region;
  settings.output = out.size;
  settings.fast = options.effort != "normal";
  if (const std::string fault = BurstEngine::fault(settings); !fault.empty()) {
    throw UsageError("the burst stage cannot do this: " + fault +
                     "; --method camera takes other sizes, too");
  }
  BurstWindow window(settings, options.windowFrames());
  makeClip(
      *reader, request, out, window, [&] { return window.summary(); }, shown);
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
      ->add_option("--effort", options->effort,
                   "fast, or normal: twice the time, a little more quality (fast)")
      ->type_name("EFFORT");
  auto* inset =
      command
          ->add_option("--inset", options->inset,
                       "--method camera: pixels left out at each edge, so that neighbours of a "
                       "moving camera show "
                       "the rest, too; bounds are made even (16; 0 for frames under 400x400)")
          ->type_name("N");
  command->get_option("--region")->excludes(inset);
  auto* ghost =
      command
          ->add_option("--ghost", options->ghost,
                       "--method camera, de-ghosting: frames that differ by less than LOW are "
                       "fused as they are, "
                       "from HIGH on the neighbour takes over; auto sets both above the noise of "
                       "each pair of frames (auto)")
          ->type_name("auto|LOW,HIGH");
  addInputOptions(*command, options->frames);
  addTuningOptions(*command, options->frames);
  command->get_option("--config")->excludes(ghost);
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
