// velmora-sr upscale: every frame of the input enlarged by itself.
#include <chrono>
#include <exception>
#include <memory>
#include <optional>

#include "clip_end.h"
#include "commands/commands.h"
#include "engine/burst_engine.h"
#include "engine/enlarger.h"
#include "errors.h"
#include "file_names.h"
#include "interrupt.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "IN is a PNG, JPEG or Y4M (8 bits, 4:2:0), found by its content, or raw NV12, NV21 or I420 "
    "frames; - reads standard input. The first and last columns and rows of the input land on the "
    "first and last of the output. Nothing is cropped: odd and small pictures are continued "
    "mirrored for the library and cut to size afterwards.\n"
    "Pictures and raw frames are taken as full-range BT.601 (JPEG) YUV with 4:2:0 chroma; a Y4M "
    "keeps its range and its header. Grey pictures stay grey, colour profiles go along. A PNG's "
    "transparent parts are laid over white; a JPEG is turned upright as its camera noted. Of a "
    "clip that goes into a PNG or JPEG the first frame is taken. A signal to stop (Ctrl-C), or "
    "input that breaks off, leaves a clip of the frames done so far.\n"
    "--denoise enlarges with the burst stage, 1 to 4 times: noise is taken out, and detail that "
    "the "
    "camera's pixels blurred is restored.";

struct Options {
  std::string input;
  BurstOptions burst;  // its noise is what --denoise says
  FrameOptions frames;

  [[nodiscard]] bool denoise() const { return !burst.noise.empty() && burst.noise != "off"; }
  void check() const {
    frames.check();
    if (denoise()) {
      burst.check("--denoise");
      if (frames.tuning.configuration.empty() && frames.tuning.kernels.empty()) return;
      throw UsageError("--config and --kernel go with --denoise off");
    }
    if (burst.sharpened.empty() && burst.effort.empty()) return;
    throw UsageError("--sharpened and --effort go with --denoise auto or SIGMA");
  }
};

// Makes picture after picture, each by itself.
class Upscaler {
 public:
  Upscaler(Size input, Region region, Size output, const Tuning& tuning,
           const std::optional<BurstSettings>& burst) {
    if (burst) {
      burst_.emplace(*burst);
    } else {
      enlarger_.emplace(input, region, output, tuning);
    }
  }

  void enlarge(const Picture& input, Picture& output) {
    if (enlarger_) {
      enlarger_->enlarge(input, output);
      return;
    }
    const int32_t frame = burst_->add(input);
    burst_->render(frame, output);
    noise_ = burst_->report().noise;
    burst_->drop(frame);
  }

  // What was done about the noise of the last picture.
  [[nodiscard]] std::string remark() const { return noise_ ? format(", noise %.2f", *noise_) : ""; }

 private:
  std::optional<Enlarger> enlarger_;
  std::optional<BurstEngine> burst_;
  std::optional<double> noise_;
};

// Whether the output's name or format tells of a picture, for which a clip need not be read to its
// end.
bool asksForPicture(const FrameOptions& frames) {
  const auto format = frames.outputFormat.empty() ? formatByExtension(frames.output)
                                                  : formatByName(frames.outputFormat);
  return format && isPictureFormat(*format);
}

bool holdsMore(FrameReader& reader) {
  Picture ignored;
  try {
    return reader.next(ignored);
  } catch (const InputBroken&) {
    return true;
  }
}

// The first frame alone.
void upscalePicture(FrameReader& reader, Upscaler& upscaler, FrameWriter& writer,
                    FileFormat format) {
  Picture picture;
  Picture enlarged;
  reader.next(picture);
  upscaler.enlarge(picture, enlarged);
  interrupt::check();
  writer.write(enlarged);
  if (holdsMore(reader)) {
    status().warn(reader.name() + " holds more than one frame; a " + name(format) +
                  " takes the first (write .y4m to keep all)");
  }
  interrupt::check();
  writer.finish();
}

void upscaleAll(FrameReader& reader, Upscaler& upscaler, FrameWriter& writer, long& done) {
  Picture picture;
  Picture enlarged;
  while (reader.next(picture)) {
    upscaler.enlarge(picture, enlarged);
    {
      const interrupt::Hold wholeFrame;
      writer.write(enlarged);
    }
    status().progress(++done, reader.info().frames);
    interrupt::check();
  }
}

void run(const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  const FrameOptions& frames = options.frames;
  frames.requireSeparate({}, {{"IN", asksForPicture(frames) ? "" : options.input}});
  options.check();
  const Tuning tuning = readTuning(frames.tuning);
  const OutputRequest request = frames.outputRequest();
  const auto reader = openInput(frames.input(options.input));
  const StreamInfo& in = reader->info();
  const FileFormat format = outputFormat(request, in.format);
  const Region region = frames.regionIn(in.size);
  const Size size = frames.outputSize(region);
  std::optional<BurstSettings> burst;
  if (options.denoise()) burst = options.burst.settings(in, region, size);
  if (size.width < region.size().width || size.height < region.size().height) {
    status().warn(text(region.size()) + " becomes " + text(size) +
                  ", which is smaller: fine detail will alias, since nothing is filtered away");
  }

  StreamInfo out = in;
  out.size = size;
  out.format = format;
  const auto writer = openOutput(request, format, out);
  Upscaler upscaler(in.size, region, size, tuning, burst);
  long count = 0;
  std::exception_ptr cut;
  if (isPictureFormat(format)) {
    upscalePicture(*reader, upscaler, *writer, format);
  } else {
    cut = writeClip(*writer, count, [&] { upscaleAll(*reader, upscaler, *writer, count); });
  }

  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  status().done([&] {
    return reader->name() + ": " + text(region.size()) + " to " + text(size) +
           (count > 1 ? ", " + std::to_string(count) + " frames" : upscaler.remark()) +
           tool::format(", %.2f s", time.count());
  });
  if (cut) std::rethrow_exception(cut);
}

}  // namespace

void addUpscale(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("upscale", "Enlarge a picture, or every frame of a clip by itself");
  command->footer(kHelp);
  command->add_option("IN", options->input, "Picture or clip, - for standard input")->required();
  addOutputOptions(*command, options->frames);
  addGeometryOptions(*command, options->frames);
  command
      ->add_option("--denoise", options->burst.noise,
                   "Take out the noise, and restore detail: auto measures the noise, SIGMA is its "
                   "standard deviation in grey levels (off)")
      ->type_name("off|auto|SIGMA");
  addBurstOptions(*command, options->burst);
  addInputOptions(*command, options->frames);
  addTuningOptions(*command, options->frames);
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
