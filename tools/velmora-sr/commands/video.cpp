// velmora-sr video: every frame of a clip fused with its neighbour.
#include <algorithm>
#include <chrono>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "clip_end.h"
#include "commands/commands.h"
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
    "IN is a Y4M (8 bits, 4:2:0) or raw NV12, NV21 or I420 frames; - reads standard input, and "
    "writes standard output. Every frame is fused with the one that follows, the last with the one "
    "before. All frames of the output show the same part of the input: an inset keeps it inside "
    "what neighbours share, and a frame whose neighbour does not show all of it, or cannot be "
    "registered, is enlarged alone. So are single frames and frames smaller than 400x400. The last "
    "status line tells how many frames were fused. A Y4M keeps its range and its header. A signal "
    "to stop (Ctrl-C), or input that breaks off, leaves a clip of the frames done so far.";

constexpr int kDefaultInset = 16;

struct Options {
  std::string input;
  std::string inset;
  std::string ghost;
  FrameOptions frames;

  [[nodiscard]] bool measureNoise() const {
    return ghost == "auto" || (ghost.empty() && frames.tuning.configuration.empty());
  }
  void check() const {
    frames.check();
    if (!inset.empty()) parseNumber("--inset", inset, 0, kMaxSide);
    if (!ghost.empty() && ghost != "auto") parseThresholds("--ghost", ghost);
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

// Fuses frame by frame; three frames of the input are in hand at any time.
void fuseAll(FramePump& pump, std::optional<long> frames, ClipFuser& fuser) {
  Picture previous;
  Picture current;
  Picture next;
  Picture result;
  // Input that breaks off ends the clip; that is told when the frames before are written.
  std::exception_ptr broken;
  const auto readNext = [&] {
    try {
      return pump.next(next);
    } catch (const InputBroken&) {
      broken = std::current_exception();
      return false;
    }
  };
  pump.next(current);
  bool more = readNext();
  for (long done = 0;;) {
    if (more || done > 0) {
      fuser.fuse(done + 1, current, more ? next : previous, result);
    } else {
      fuser.enlargeSingle(current, result);
    }
    pump.put(result);
    status().progress(++done, frames);
    interrupt::check();
    if (!more) break;
    std::swap(previous, current);
    std::swap(current, next);
    more = readNext();
  }
  if (broken) std::rethrow_exception(broken);
}

// Frames that are made when a signal or broken input ends the work are still written.
void pumpAll(FrameReader& reader, FrameWriter& writer, ClipFuser& fuser, long& written) {
  FramePump pump(reader, writer, written);
  std::exception_ptr ended;
  try {
    fuseAll(pump, reader.info().frames, fuser);
  } catch (const Interrupted&) {
    ended = std::current_exception();
  } catch (const InputBroken&) {
    ended = std::current_exception();
  }
  pump.finish();
  if (ended) std::rethrow_exception(ended);
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
  const Region region = fixedRegion(options, in.size);
  StreamInfo out = in;
  out.size = options.frames.outputSize(region);
  out.format = format;

  ClipFuser fuser(options, in.size, region, out.size);
  const auto writer = openOutput(request, format, out);
  const auto start = std::chrono::steady_clock::now();
  long done = 0;
  const std::exception_ptr cut =
      writeClip(*writer, done, [&] { pumpAll(*reader, *writer, fuser, done); });
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  status().done([&] {
    return reader->name() + ": " + fuser.tally().summary() +
           tool::format("; %d,%d,%d,%d (", region.left, region.top, region.right, region.bottom) +
           text(region.size()) + ") to " + text(out.size) + tool::format(", %.2f s", time.count());
  });
  if (cut) std::rethrow_exception(cut);
}

}  // namespace

void addVideo(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("video", "Enlarge a clip, every frame fused with its neighbour");
  command->footer(kHelp);
  command->add_option("IN", options->input, "Clip, - for standard input")->required();
  addOutputOptions(*command, options->frames);
  addGeometryOptions(*command, options->frames);
  auto* inset =
      command
          ->add_option("--inset", options->inset,
                       "Pixels left out at each edge, so that neighbours of a moving camera show "
                       "the rest, too; bounds are made even (16; 0 for frames under 400x400)")
          ->type_name("N");
  command->get_option("--region")->excludes(inset);
  auto* ghost =
      command
          ->add_option("--ghost", options->ghost,
                       "De-ghosting: frames that differ by less than LOW are fused as they are, "
                       "from HIGH on the neighbour takes over; auto sets both above the noise of "
                       "each pair of frames (auto)")
          ->type_name("auto|LOW,HIGH");
  addInputOptions(*command, options->frames);
  addTuningOptions(*command, options->frames);
  command->get_option("--config")->excludes(ghost);
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
