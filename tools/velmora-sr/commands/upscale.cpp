// velmora-sr upscale: every frame of the input enlarged by itself.
#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "clip_end.h"
#include "commands/commands.h"
#include "engine/burst_engine.h"
#include "engine/enlarger.h"
#include "errors.h"
#include "interrupt.h"
#include "output_folder.h"
#include "output_target.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "IN is a PNG, JPEG, TIFF, WebP or Y4M (8 bits, 4:2:0 or grey), found by its content, or raw "
    "NV12, NV21 or I420 frames; - reads standard input. The first and last columns and rows of the "
    "input land on the "
    "first and last of the output. Nothing is cropped: odd and small pictures are continued "
    "mirrored for the library and cut to size afterwards.\n"
    "Pictures and raw frames are taken as full-range BT.601 (JPEG) YUV with 4:2:0 chroma; a Y4M "
    "keeps its range and its header. Grey pictures stay grey. Transparency stays in a PNG, TIFF or "
    "WebP; "
    "elsewhere what is behind it becomes white. A picture is turned upright as its camera noted; "
    "Exif (without its thumbnail), "
    "XMP, colour profile and resolution go along, and the status line names what is not kept. Of a "
    "clip that goes into a PNG or JPEG the first frame is taken. A signal to stop (Ctrl-C), or "
    "input that breaks off, leaves a clip of the frames done so far.\n"
    "--denoise enlarges with the burst stage, 1 to 4 times: noise is taken out, and detail that "
    "the "
    "camera's pixels blurred is restored.";

struct Options {
  std::vector<std::string> inputs;
  OutputFolder folder;
  BurstOptions burst;  // its noise is what --denoise says
  FrameOptions frames;

  [[nodiscard]] const std::string& input() const { return inputs.front(); }
  [[nodiscard]] bool denoise() const { return !burst.noise.empty() && burst.noise != "off"; }
  void check() const {
    if (denoise()) {
      burst.check("--denoise");
      if (!frames.tuning.configuration.empty() || !frames.tuning.kernels.empty()) {
        throw UsageError("--config and --kernel go with --denoise off");
      }
    } else if (!burst.sharpened.empty() || !burst.effort.empty() || !burst.threads.empty()) {
      throw UsageError("--sharpened, --effort and --threads go with --denoise auto or SIGMA");
    }
    if (!folder.given()) {
      if (inputs.size() > 1) {
        throw UsageError('"' + inputs[1] +
                         "\" is one argument more than upscale takes; for many files "
                         "give --output-dir");
      }
      if (frames.output.empty()) {
        throw UsageError("--output is required, or --output-dir for many files");
      }
      return;
    }
    folder.check();
    for (const std::string& file : inputs) {
      if (file == "-") throw UsageError("--output-dir takes files, not standard input");
    }
  }
};

// Makes picture after picture, each by itself.
class Upscaler {
 public:
  Upscaler(Size input, Region region, Size output, const Tuning& tuning,
           const std::optional<BurstSettings>& burst)
      : region_(region), output_(output) {
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
    output.alpha = enlargedAlpha(input, region_, output_, Tuning());
  }

  // What was done about the noise of the last picture.
  [[nodiscard]] std::string remark() const { return noise_ ? format(", noise %.2f", *noise_) : ""; }

 private:
  Region region_;
  Size output_;
  std::optional<Enlarger> enlarger_;
  std::optional<BurstEngine> burst_;
  std::optional<double> noise_;
};

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

void enlargeOne(const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  const FrameOptions& frames = options.frames;
  frames.requireSeparate({}, {{"IN", options.input()}});
  frames.check();
  const Tuning tuning = readTuning(frames.tuning);
  const OutputRequest request = frames.outputRequest();
  const auto reader = openInput(frames.input(options.input()));
  const StreamInfo& in = reader->info();
  const FileFormat format = outputFormat(request, in.format);
  const Region region = frames.regionIn(in.size);
  const Size size = frames.outputSize(region);
  std::optional<BurstSettings> burst;
  if (options.denoise()) burst = options.burst.settings(in, region, size);
  if (burst) burst->showProgress = isPictureFormat(format);
  if (size.width < region.size().width || size.height < region.size().height) {
    status().warn(text(region.size()) + " becomes " + text(size) +
                  ", which is smaller: fine detail will alias, since nothing is filtered away");
  }

  const StreamInfo out = outputInfo(in, size, format);
  const auto writer = openOutput(request, out);
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
           tool::format(", %.2f s", time.count()) + lossesOf(out);
  });
  if (cut) std::rethrow_exception(cut);
}

// Every file in a process of its own, which comes back from here to enlarge that one.
void enlargeMany(Options options) {
  options.frames.check();
  std::vector<std::string> outputs;
  std::vector<NamedFile> inputs;
  for (const std::string& file : options.inputs) {
    const std::filesystem::path path(file);
    outputs.push_back(options.folder.file(path.stem().string(), path.filename().string()));
    inputs.push_back({"IN", file});
  }
  const auto job = options.folder.split(options.inputs, outputs, inputs, "file");
  if (!job) return;
  options.frames.output = outputs[*job];
  options.inputs = {options.inputs[*job]};
  enlargeOne(options);
}

void run(const Options& options) {
  options.check();
  if (options.folder.given()) {
    enlargeMany(options);
  } else {
    enlargeOne(options);
  }
}

}  // namespace

void addUpscale(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("upscale", "Enlarge a picture, or every frame of a clip by itself");
  command->footer(kHelp);
  command->add_option("IN", options->inputs, "Picture or clip, - for standard input")->required();
  addOutputOptions(*command, options->frames);
  addFolderOptions(*command, options->folder,
                   "Folder for the outputs of many files IN, made if missing. A file that fails "
                   "does not stop the others",
                   "Name of each output in that folder, with %s for the name of its input without "
                   "extension: %s_2x.png (the name of the input)",
                   "How many files are enlarged at a time, each by a process (1)");
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
