// velmora-sr upscale: every frame of the input enlarged by itself.
#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "batch.h"
#include "clip_end.h"
#include "commands/commands.h"
#include "engine/burst_engine.h"
#include "engine/enlarger.h"
#include "errors.h"
#include "interrupt.h"
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

constexpr int kMostJobs = 64;

struct Options {
  std::vector<std::string> inputs;
  std::string folder;
  std::string pattern;
  std::string jobs;
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
    } else if (!burst.sharpened.empty() || !burst.effort.empty()) {
      throw UsageError("--sharpened and --effort go with --denoise auto or SIGMA");
    }
    if (folder.empty()) {
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
    if (!pattern.empty() &&
        (pattern.find("%s") == std::string::npos || pattern.find('/') != std::string::npos)) {
      throw UsageError("--name: \"" + pattern +
                       "\" is no name for many files; give one with %s for that of the input, "
                       "for example %s_2x.png");
    }
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

// The name of the output in the folder for many files.
std::string outputName(const Options& options, const std::string& input) {
  const std::filesystem::path path(input);
  std::string name = options.pattern.empty() ? path.filename().string() : options.pattern;
  const std::string stem = path.stem().string();
  if (!options.pattern.empty()) {
    for (std::size_t at = 0; (at = name.find("%s", at)) != std::string::npos; at += stem.size())
      name.replace(at, 2, stem);
  }
  return (std::filesystem::path(options.folder) / name).string();
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
  const int jobs = options.jobs.empty() ? 1 : parseNumber("--jobs", options.jobs, 1, kMostJobs);
  options.frames.check();
  std::vector<NamedFile> outputs;
  std::vector<NamedFile> inputs;
  std::set<std::string> names;
  for (const std::string& file : options.inputs) {
    outputs.push_back({"--output-dir", outputName(options, file)});
    // The folder, by which files are told apart, may not be there yet.
    if (!names.insert(outputs.back().path).second) {
      throw UsageError("--output-dir: two files would be \"" + outputs.back().path +
                       "\"; give each input a name of its own");
    }
    inputs.push_back({"IN", file});
  }
  requireSeparateFiles(outputs, inputs);
  std::error_code error;
  std::filesystem::create_directories(options.folder, error);
  if (error) throw Failure(options.folder + ": cannot make this folder: " + error.message());

  const auto job = splitIntoJobs(options.inputs, jobs);
  if (!job) return;
  options.frames.output = outputs[*job].path;
  options.inputs = {options.inputs[*job]};
  enlargeOne(options);
}

void run(const Options& options) {
  options.check();
  if (options.folder.empty()) {
    enlargeOne(options);
  } else {
    enlargeMany(options);
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
  auto* output = command->get_option("--output")->required(false);
  auto* folder =
      command
          ->add_option(
              "--output-dir", options->folder,
              "Folder for the outputs of many files IN, made if missing. A file that fails "
              "does not stop the others")
          ->type_name("DIR")
          ->excludes(output);
  command
      ->add_option("--name", options->pattern,
                   "Name of each output in that folder, with %s for the name of its input without "
                   "extension: %s_2x.png (the name of the input)")
      ->type_name("NAME")
      ->needs(folder);
  command
      ->add_option("--jobs", options->jobs,
                   "How many files are enlarged at a time, each by a process (1)")
      ->type_name("N")
      ->needs(folder);
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
