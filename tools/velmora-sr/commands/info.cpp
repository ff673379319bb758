// velmora-sr info: what a picture, a kernel file or a configuration file holds.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "engine/configuration_file.h"
#include "engine/kernel_file.h"
#include "errors.h"
#include "formats/foreign.h"
#include "frame_io.h"
#include "json.h"
#include "size_limits.h"
#include "status.h"
#include "streams.h"
#include "velmora_sr/kernel_tables.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "Pictures and clips: format, size, frames. Kernel files: phases, the sums of the rows, and "
    "which built-in rule they follow. Configuration files: the thresholds that the library takes "
    "from them, and which are defaults.";

constexpr std::size_t kLargestFile = std::size_t{64} << 20;
constexpr std::size_t kStartBytes = 4096;

struct Fact {
  std::string key;
  std::string value;
  std::string members = {};  // of the JSON object, where the value is more than a text
};
using Facts = std::vector<Fact>;

std::string textOf(const Facts& facts) {
  std::string text;
  for (const Fact& fact : facts) {
    const std::size_t width = fact.key.size();
    text += fact.key + std::string(width < 14 ? 14 - width : 1, ' ') + fact.value + "\n";
  }
  return text;
}

// One object on one line. Notes, of which there may be several, are an array.
std::string jsonOf(const std::string& file, const Facts& facts) {
  std::string json = "{\"file\":" + jsonString(file);
  std::string notes;
  for (const auto& [key, value, members] : facts) {
    if (key == "note") {
      notes += (notes.empty() ? "" : ",") + jsonString(value);
      continue;
    }
    std::string name = key;
    std::replace(name.begin(), name.end(), ' ', '_');
    json += "," + (members.empty() ? jsonString(name) + ":" + jsonString(value) : members);
  }
  if (!notes.empty()) json += ",\"notes\":[" + notes + "]";
  return json + "}\n";
}

std::string member(const char* name, int64_t value) {
  return jsonString(name) + ":" + std::to_string(value);
}

// --- Kernel files ---

int16_t int16At(const std::vector<uint8_t>& bytes, std::size_t offset) {
  return static_cast<int16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

/// A table that the library made for its caller.
class MadeTable {
 public:
  MadeTable(int16_t** rows, int count) : rows_(rows), count_(count) {
    if (rows == nullptr) throw Failure("out of memory while making kernels to compare with");
  }
  ~MadeTable() {
    for (int i = 0; i < count_; ++i)
      delete[] rows_[i];
    delete[] rows_;
  }
  MadeTable(const MadeTable&) = delete;
  MadeTable& operator=(const MadeTable&) = delete;
  const int16_t* row(int i) const { return rows_[i]; }

 private:
  int16_t** rows_;
  int count_;
};

/// One line on a table of the file: the range of its row sums, and whether it is the rule's.
std::string describeTable(const std::vector<uint8_t>& bytes, std::size_t offset, int rows,
                          int values, const MadeTable& rule) {
  int low = std::numeric_limits<int>::max();
  int high = std::numeric_limits<int>::min();
  bool asRule = true;
  bool sumsFit = true;
  const int taps = values == 17 ? 16 : values;
  for (int i = 0; i < rows; ++i) {
    int sum = 0;
    for (int k = 0; k < values; ++k) {
      const int16_t value = int16At(bytes, offset + 2 * (static_cast<std::size_t>(i) * values + k));
      if (k < taps) sum += value;
      if (k == 16) sumsFit = sumsFit && value == sum;
      asRule = asRule && value == rule.row(i)[k];
    }
    low = std::min(low, sum);
    high = std::max(high, sum);
  }
  std::string text = std::to_string(rows) + " rows, sums " + std::to_string(low) + " to " +
                     std::to_string(high) + " (4096 is 1.0)";
  if (!sumsFit) text += ", weights are NOT the sums of the taps";
  return text + (asRule ? ", as the built-in rule makes them" : ", not the built-in rule's");
}

Facts describeKernels(const std::vector<uint8_t>& bytes, int phases) {
  G_QUANTIZATION = phases;  // no tables are installed, so nobody else reads it
  const int pairs = phases * phases;
  const std::size_t sharp = 4 + static_cast<std::size_t>(pairs) * 34;
  const std::size_t plain = sharp + static_cast<std::size_t>(phases) * 8;
  const MadeTable pairRule(CreateLanczosLUT2D(4, 2, 0.2f), pairs);
  const MadeTable lumaRule(CreateLanczosLUT1D(4, 2, 0.2f), phases);
  const MadeTable chromaRule(CreateLanczosLUT1D(4, 2, 0), phases);
  return {{"kind", "kernel file"},
          {"phases", std::to_string(phases) + (phases == 50 ? " (as built in)" : ""),
           member("phases", phases)},
          {"two frames", describeTable(bytes, 4, pairs, 17, pairRule)},
          {"luma", describeTable(bytes, sharp, phases, 4, lumaRule)},
          {"chroma", describeTable(bytes, plain, phases, 4, chromaRule)}};
}

// --- Configuration files ---

std::string describeThreshold(const ConfigurationFile::Threshold& threshold) {
  const std::string value = std::to_string(threshold.value);
  if (!threshold.text) return value + " (default: no " + threshold.path + ")";
  return value + " (from \"" + *threshold.text + "\")";
}

Facts describeConfiguration(const std::vector<uint8_t>& bytes) {
  const ConfigurationFile file = readConfiguration(bytes);
  Facts facts = {
      {"kind", "configuration file"},
      {"LowThr", describeThreshold(file.low)},
      {"HighThr", describeThreshold(file.high)},
      {"taken", std::to_string(file.taken.low) + " and " + std::to_string(file.taken.high),
       "\"taken\":[" + std::to_string(file.taken.low) + "," + std::to_string(file.taken.high) +
           "]"}};
  for (const std::string& fault : file.faults)
    facts.push_back({"note", fault});
  for (const std::string& element : file.unknown)
    facts.push_back({"note", element + " is unknown and means nothing"});
  return facts;
}

// --- Pictures ---

Facts describePicture(const StreamInfo& info) {
  const auto& [width, height] = info.size;
  const bool full = info.range == Range::full;
  Facts facts = {{"kind", isPictureFormat(info.format) ? "picture" : "frames"},
                 {"format", name(info.format)},
                 {"size", text(info.size), member("width", width) + "," + member("height", height)},
                 {"range", full ? "full (0..255)" : "limited (16..235)",
                  full ? "\"range\":\"full\"" : "\"range\":\"limited\""}};
  if (info.grey) facts.push_back({"colour", "none: grey", "\"grey\":true"});
  if (info.transparent) facts.push_back({"transparency", "yes", "\"transparent\":true"});
  if (info.depth > 8) {
    facts.push_back({"depth", std::to_string(info.depth) + " bits, of which 8 are used",
                     member("depth", info.depth)});
  }
  if (info.frames) {
    facts.push_back({"frames", std::to_string(*info.frames), member("frames", *info.frames)});
  }
  if (!info.y4mParameters.empty()) facts.push_back({"parameters", info.y4mParameters});
  const auto bytes = [&](const char* key, const std::vector<uint8_t>& part, const char* what) {
    if (part.empty()) return;
    const std::string count = std::to_string(part.size());
    facts.push_back({key, count + what, jsonString(key) + ":" + count});
  };
  const Metadata& metadata = info.metadata;
  bytes("profile", metadata.iccProfile, " bytes of ICC");
  bytes("Exif", metadata.exif, " bytes");
  bytes("XMP", metadata.xmp, " bytes");
  if (const auto& resolution = metadata.resolution) {
    const double x = resolution->x * 0.0254;
    const double y = resolution->y * 0.0254;
    facts.push_back({"resolution", format("%.5g x %.5g per inch", x, y),
                     format("\"pixels_per_inch\":[%.5g,%.5g]", x, y)});
  }
  return facts;
}

struct Options {
  std::string path;
  bool json = false;
  FrameOptions frames;
};

Facts factsOf(const Options& options) {
  std::unique_ptr<ByteSource> source;
  if (const auto reader = openHeader(options.frames.input(options.path), source)) {
    return describePicture(reader->info());
  }
  // Neither a picture nor a clip; what else may be read is small.
  const auto ahead = source->peek(kStartBytes);
  const std::vector<uint8_t> start(ahead.begin(), ahead.end());
  if (readKernelFile(start).phases != 0) {
    const std::vector<uint8_t> bytes = source->readAll(kLargestFile);
    const KernelFile kernels = readKernelFile(bytes);
    if (!kernels.fault.empty()) throw Failure(source->name() + ": " + kernels.fault);
    return describeKernels(bytes, kernels.phases);
  }
  if (!looksLikeXml(start)) throw foreignContent(*source);
  return describeConfiguration(source->readAll(kLargestFile));
}

void run(const Options& options) {
  const Facts facts = factsOf(options);
  printData(options.json ? jsonOf(options.path, facts) : textOf(facts));
}

}  // namespace

void addInfo(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand(
      "info", "Tell what a picture, a kernel file or a configuration file holds");
  command->footer(kHelp);
  command->add_option("FILE", options->path, "The file, or - for a clip on standard input")
      ->required();
  command->add_flag("--json", options->json, "One JSON object on one line instead of text");
  addInputOptions(*command, options->frames);
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
