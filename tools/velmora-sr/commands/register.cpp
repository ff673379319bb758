// velmora-sr register: what registration makes of two pictures, and why it fails.
#include <memory>
#include <string>

#include "commands/commands.h"
#include "engine/registration.h"
#include "errors.h"
#include "file_names.h"
#include "formats/png.h"
#include "output_file.h"
#include "registration/registration_picture.h"
#include "registration/registration_report.h"
#include "size_limits.h"
#include "status.h"
#include "streams.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "Registers the second picture to the first as the two-frame modes of the library do: SURF key "
    "points, matches, RANSAC, refined homography, the rectangle that both cover. The homography "
    "leads from pixels of the first picture to positions in the second. Exit status 1 when the "
    "pictures cannot be registered; what was found until then is reported all the same.";

struct Options {
  std::string first;
  std::string second;
  std::string json;
  std::string picture;
  FrameOptions frames;
};

void checkOptions(const Options& options) {
  options.frames.check();
  if (options.first == "-" && options.second == "-") {
    throw UsageError("only one of the two pictures can come from standard input");
  }
  if (!options.picture.empty() && formatByExtension(options.picture) != FileFormat::png) {
    throw UsageError("--picture: \"" + options.picture + "\" should end in .png");
  }
}

Picture readFirstFrame(const Options& options, const std::string& path) {
  const auto reader = openInput(options.frames.input(path));
  Picture picture;
  if (!reader->next(picture)) throw Failure(reader->name() + ": holds no frame");
  return picture;
}

void writeJson(const std::string& path, const std::string& json) {
  OutputFile file(path);
  file.write(json);
  file.commit();
}

void run(const Options& options) {
  requireSeparateFiles({{"--json", options.json}, {"--picture", options.picture}},
                       {{"FIRST", options.first}, {"SECOND", options.second}});
  requireReplaceable(options.json);
  requireReplaceable(options.picture);
  checkOptions(options);
  Picture first = readFirstFrame(options, options.first);
  Picture second = readFirstFrame(options, options.second);
  const Size size = first.size();
  if (second.size() != size) {
    throw Failure("the pictures differ in size: " + options.first + " is " + text(size) + ", " +
                  options.second + " is " + text(second.size()));
  }
  if (size.width < kSmallestSide || size.height < kSmallestSide) {
    status().warn("registration is meant for frames of at least 400x400, these are " + text(size));
  }

  const RegistrationReport report = registerFrames(first.y, second.y);
  if (!options.picture.empty()) {
    const Canvas canvas = registrationPicture(report, first.y, second.y);
    writeRgbPng(options.picture, canvas.size(), canvas.rgb());
  }
  if (!options.json.empty()) {
    writeJson(options.json, reportJson(report, options.first, options.second));
  }
  // Standard output holds one kind of data.
  if (options.json != "-" && !status().quiet()) {
    printData(reportText(report, options.first, options.second));
  }
  if (report.failure) {
    throw Failure(options.first + ", " + options.second + ": not registered, failed at " +
                  name(report.failure->stage) + ": " + report.failure->reason);
  }
}

}  // namespace

void addRegister(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand(
      "register", "Find the motion between two pictures, and show why it cannot be found");
  command->footer(kHelp);
  command->add_option("FIRST", options->first, "The reference picture, - for standard input")
      ->required();
  command->add_option("SECOND", options->second, "The picture that is registered to it")
      ->required();
  command
      ->add_option("--json", options->json,
                   "Also write the report as JSON; - for standard output, instead of the text")
      ->type_name("FILE");
  command
      ->add_option("--picture", options->picture,
                   "Draw both pictures with key points, matches and the registered rectangle (PNG)")
      ->type_name("FILE");
  addInputOptions(*command, options->frames);
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
