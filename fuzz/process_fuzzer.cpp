// The calls of a camera host: creation with tuning, registration, process calls, reports. The bytes
// choose sizes, formats, regions and scenes, draw the frames, and let the allocator fail.
//
// The host itself keeps to the interface: buffers are as large as the sizes say, since the library
// cannot check that.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bytes.h"
#include "frames.h"
#include "harness.h"
#include "velmora_sr/report.h"
#include "velmora_sr/velmora_sr.h"

namespace {

using namespace velmora::fuzz;
using Samples = std::vector<uint8_t>;

constexpr uint8_t kUntouched = 0x5A;

// The allocator of the host. Blocks begin with `filling`, so that results which depend on what was
// not written differ from run to run.
struct {
  std::ptrdiff_t live = 0;
  int untilFailure = 0;  // requests that succeed before one fails; below 0: all do
  uint8_t filling = 0;
} heap;

void* take(uint32_t size, const char*, int32_t) {
  if (heap.untilFailure-- == 0) return nullptr;
  void* const block = std::malloc(size);
  if (block == nullptr) return nullptr;
  std::memset(block, heap.filling, size);
  ++heap.live;
  return block;
}

void giveBack(void* block, const char*, int32_t) {
  --heap.live;
  std::free(block);
}

struct Size {
  int32_t width = 0;
  int32_t height = 0;

  [[nodiscard]] std::size_t bytes() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3 / 2;
  }
};

// Sizes that every call has to refuse: none, negative, or beyond what 32 bits count.
Size impossibleSize(Bytes& bytes) {
  return bytes.oneOf({Size{0, 480}, Size{480, -1}, Size{INT32_MIN, INT32_MIN}, Size{40000, 40000},
                      Size{INT32_MAX, INT32_MAX}, Size{1, INT32_MAX}});
}

bool isPossible(Size size) {
  return size.width > 0 && size.width < 10000 && size.height > 0 && size.height < 10000;
}

Size frameSize(Bytes& bytes) {
  const uint8_t kind = bytes.byte();
  if (kind % 8 == 7) return impossibleSize(bytes);
  const int32_t least = kind % 8 == 6 ? 1 : (kind % 8 == 5 ? 100 : 400);
  const int32_t width = least + bytes.range(0, 127);
  return {width, least + bytes.range(0, 127)};
}

Size outputSize(Bytes& bytes, Size frame) {
  const uint8_t kind = bytes.byte();
  if (kind % 8 == 7) return impossibleSize(bytes);
  if (kind % 8 == 6) return frame;
  const int32_t width = bytes.range(1, 800);
  return {width, bytes.range(1, 800)};
}

// A frame as the camera path takes it, 8 bits, chroma rounded down.
Samples packed(const Frame& frame, Size size, int32_t format) {
  Samples made(frame.y.samples);
  made.reserve(size.bytes());
  if (format == VELMORA_SR_FORMAT_PLANAR) {
    made.insert(made.end(), frame.u.samples.begin(), frame.u.samples.end());
    made.insert(made.end(), frame.v.samples.begin(), frame.v.samples.end());
  } else {
    const Samples pairs = inPairs(frame.u, frame.v);
    made.insert(made.end(), pairs.begin(), pairs.end());
  }
  made.resize(size.bytes());
  made.shrink_to_fit();
  return made;
}

Samples draw(Bytes& bytes, Size size, int32_t format) {
  if (!isPossible(size)) return {};
  return packed(drawFrame(bytes, size.width, size.height, size.width / 2, size.height / 2), size,
                format);
}

// The thresholds of a configuration and some bytes of a kernel file, if the input wants any.
class Tuning {
 public:
  explicit Tuning(Bytes& bytes) {
    if (!bytes.flag()) return;
    const std::string low = std::to_string(bytes.range(-10, 300));
    const std::string high = std::to_string(bytes.range(-10, 300));
    configuration_ = "<?xml version='1.0'?><Config><GhostCorrection><LowThr>" + low +
                     "</LowThr><HighThr>" + high + "</HighThr></GhostCorrection></Config>";
    record_.configuration = reinterpret_cast<const uint8_t*>(configuration_.data());
    record_.configurationSize = static_cast<uint32_t>(configuration_.size());
    const uint8_t phases = bytes.byte();
    if (phases % 4 == 0) return;
    kernels_ = {static_cast<uint8_t>(phases % 4), 0, 0, 0};
    const auto taps = bytes.take(400);
    kernels_.insert(kernels_.end(), taps.begin(), taps.end());
    record_.kernels = kernels_.data();
    record_.kernelsSize = static_cast<uint32_t>(kernels_.size());
  }
  Tuning(const Tuning&) = delete;
  Tuning& operator=(const Tuning&) = delete;

  [[nodiscard]] const Velmora_SR_Tuning* record() const { return &record_; }

 private:
  std::string configuration_;
  Samples kernels_;
  Velmora_SR_Tuning record_ = {};
};

// What runs leave behind, to be compared.
class Trace {
 public:
  void add(int64_t number) { numbers_.push_back(number); }
  void add(const Samples& samples) { add(static_cast<int64_t>(checkSum(samples))); }
  bool operator==(const Trace&) const = default;

 private:
  std::vector<int64_t> numbers_;
};

Velmora_SR_Report reportOf(const SR_ParamsPublic* handle, Trace& trace) {
  Velmora_SR_Report report = {};
  report.size = sizeof report;
  require(VELMORA_SR_GetReport(handle, &report) == 0, "a call has a report");
  require(report.reason != nullptr, "a reason is never null");
  require(report.written == 1 || report.fused == 0, "what is fused is written");
  require(report.inlierCount <= report.matchCount && report.matchCount <= report.keyPointCount[1],
          "a match has a key point");
  for (int32_t i = 0; i < report.matchCount && report.matches != nullptr; ++i) {
    const Velmora_SR_Match& match = report.matches[i];
    require(match.first >= 0 && match.first < report.keyPointCount[0] && match.second >= 0 &&
                match.second < report.keyPointCount[1],
            "a match names key points");
  }
  for (const int32_t number :
       {report.result, report.written, report.fused, report.registered, report.stage, report.cause,
        report.keyPointCount[0], report.matchCount, report.inlierCount, report.left, report.right})
    trace.add(number);
  return report;
}

// One call with frames and an output of its own.
class Call {
 public:
  Call(Bytes& bytes, Size size) : size_(size) {
    const int32_t format = bytes.oneOf<int32_t>({4, 5, 4, 0, 4, 5, 0, 9});
    first_ = draw(bytes, size, format);
    input_.width = size.width;
    input_.height = size.height;
    input_.format = format;
    placeSecond(bytes, format);
    placeRegion(bytes);
    outputSize_ = outputSize(bytes, size);
    output_ = {outputSize_.width, outputSize_.height, format, nullptr, 0, 0, 0, 0};
    if (isPossible(outputSize_)) made_.assign(outputSize_.bytes(), kUntouched);
    output_.data = made_.data();
    if (bytes.range(0, 31) == 31) output_.data = nullptr;
    frameCount_ = bytes.oneOf({2, 2, 2, 1, 2, 3, 2, 0});
  }

  void run(SR_ParamsPublic* handle, bool registerFirst, Trace& trace) {
    if (registerFirst) {
      const Samples before = first_;
      const int32_t code = VELMORA_SR_Register(handle, &input_, frameCount_);
      require(code <= 0 && code >= -4, "codes go from 0 to -4");
      require(heap.live == 0, "a registration gives its blocks back");
      require(before == first_, "a registration changes no frame");
      trace.add(code);
      const Velmora_SR_Report report = reportOf(handle, trace);
      require(report.written == 0 && report.fused == 0, "a registration writes nothing");
    }
    const Samples second = second_;
    const Samples first = first_;
    const int32_t code = VELMORA_SR_Process(handle, &input_, frameCount_, &output_);
    require(code <= 0 && code >= -4, "codes go from 0 to -4");
    require(heap.live == 0, "a call gives its blocks back");
    require(second == second_, "the second frame never changes");
    if (handle->srScene == VELMORA_SR_SCENE_SINGLE)
      require(first == first_, "one frame never changes");
    const Velmora_SR_Report report = reportOf(handle, trace);
    require(report.result == code, "the report has the code");
    require(code == 0 || report.written == 0, "what is refused writes nothing");
    if (report.written == 0) {
      require(allAre(made_, kUntouched), "an output that is not written keeps its bytes");
    } else {
      require(report.stage == 0 || report.fused == 0, "what is fused has no failure");
    }
    trace.add(code);
    trace.add(first_);
    trace.add(made_);
  }

 private:
  void placeSecond(Bytes& bytes, int32_t format) {
    const uint8_t kind = bytes.byte();
    uint8_t* second = nullptr;
    switch (kind % 8) {
      case 7:  // the same frame
        second = first_.data();
        break;
      case 6:  // inside the first one's block
        if (!first_.empty()) {
          const auto shift = static_cast<std::size_t>(bytes.range(1, 1000));
          first_.resize(size_.bytes() + shift, 128);
          second = first_.data() + shift;
        }
        break;
      case 5:  // none
        break;
      default:
        second_ = draw(bytes, size_, format);
        second = second_.data();
    }
    // A size that is refused is refused before a frame is looked at.
    static uint8_t anything = 0;
    input_.leftData = first_.empty() ? &anything : first_.data();
    if (bytes.range(0, 31) == 31) input_.leftData = nullptr;
    input_.rightData = first_.empty() ? &anything : second;
    input_.leftData2 = input_.rightData;
  }

  void placeRegion(Bytes& bytes) {
    const uint8_t kind = bytes.byte();
    if (kind % 4 == 3) {
      input_.vrDepthStartW = bytes.integer();
      input_.vrDepthStartH = bytes.integer();
      input_.vrDepthEndW = bytes.integer();
      input_.vrDepthEndH = bytes.integer();
      return;
    }
    if (!isPossible(size_)) return;
    input_.vrDepthEndW = size_.width - 1;
    input_.vrDepthEndH = size_.height - 1;
    if (kind % 4 != 2) return;
    input_.vrDepthStartW = bytes.range(-2, 300);
    input_.vrDepthStartH = bytes.range(-2, 300);
    input_.vrDepthEndW -= bytes.range(-2, 300);
    input_.vrDepthEndH -= bytes.range(-2, 300);
  }

  Size size_;
  Size outputSize_;
  Samples first_;
  Samples second_;
  Samples made_;
  Velmora_SR_InputFrames input_ = {};
  Velmora_SR_OutputFrame output_ = {};
  int32_t frameCount_ = 2;
};

Trace run(Bytes bytes, uint8_t filling) {
  constexpr int kCalls = 3;
  Trace trace;
  heap = {0, -1, filling};
  const Size size = frameSize(bytes);
  const int32_t scene = bytes.oneOf<int32_t>({0, 1, 2, 2, 1, 2, 0, 9});
  const Tuning tuning(bytes);
  const bool allocates = bytes.range(0, 31) != 31;
  const Velmora_SR_CreateParams params = {
      size.width, size.height, scene, allocates ? take : nullptr, allocates ? giveBack : nullptr,
      nullptr,    nullptr};
  SR_ParamsPublic* handle = nullptr;
  require(VELMORA_SR_CreateFromMemory(&params, tuning.record(), &handle) == 0,
          "a handle can be created");
  Samples weights;
  if (bytes.flag() && isPossible(size)) {
    weights.resize(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
    require(VELMORA_SR_RequestWeights(handle, weights.data()) == 0, "weights can be asked for");
  }
  for (int i = 0; i < kCalls && (i == 0 || !bytes.empty()); ++i) {
    const bool registers = bytes.flag();
    const uint8_t failing = bytes.byte();
    heap.untilFailure = failing % 4 == 3 ? failing / 4 : -1;
    Call call(bytes, i == 0 || bytes.flag() ? size : frameSize(bytes));
    call.run(handle, registers, trace);
    trace.add(weights);
  }
  require(VELMORA_SR_Destroy(&handle) == 0 && handle == nullptr, "a handle can be destroyed");
  return trace;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  const bool twice = bytes.flag();
  const Trace trace = run(bytes, 0xA5);
  if (twice) require(run(bytes, 0x11) == trace, "the same input gives the same output");
  return 0;
}
