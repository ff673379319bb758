// The calls of a host of the burst stage: creation, frames in and out, pictures, reports, weights,
// in any order and with any numbers. The bytes choose sizes, layouts and steps, draw the frames,
// let the allocator fail and stop calls.
//
// The host itself keeps to the interface: planes are as large as sizes and strides say, since the
// library cannot check that.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bytes.h"
#include "frames.h"
#include "harness.h"
#include "velmora_sr/burst.h"

namespace {

using namespace velmora::fuzz;

constexpr uint8_t kUntouched = 0x5A;

// What the host's functions work on. Blocks begin with `filling`, so that results which depend on
// what was not written differ from run to run.
struct Host {
  std::ptrdiff_t live = 0;
  int untilFailure = -1;  // requests that succeed before one fails; below 0: all do
  int untilStop = -1;     // reports of progress before one stops the call; below 0: none does
  uint8_t filling = 0;
  double share = 0;
};

void* take(void* user, size_t size) {
  Host& host = *static_cast<Host*>(user);
  if (host.untilFailure-- == 0) return nullptr;
  void* const block = std::malloc(size);
  if (block == nullptr) return nullptr;
  std::memset(block, host.filling, size);
  ++host.live;
  return block;
}

void giveBack(void* user, void* block) {
  --static_cast<Host*>(user)->live;
  std::free(block);
}

// Jobs may run in any order: last one first.
void runBackwards(void*, void (*job)(void*, int32_t), void* context, int32_t count) {
  for (int32_t i = count - 1; i >= 0; --i)
    job(context, i);
}

int32_t onProgress(void* user, double share) {
  Host& host = *static_cast<Host*>(user);
  require(share >= 0 && share <= 1, "progress goes from 0 to 1");
  return host.untilStop-- == 0 ? 1 : 0;
}

// The planes of a frame or picture, each in a block of exactly the bytes that it covers.
class Layout {
 public:
  Layout(Bytes& bytes, int width, int height) {
    const int chromaWidth = (width + 1) / 2;
    const int chromaHeight = (height + 1) / 2;
    y_ = part(bytes, width, height, bytes.oneOf({1, 1, 1, 2}));
    if (bytes.flag()) {
      // U and V side by side in one block.
      u_ = part(bytes, chromaWidth, chromaHeight, 2);
      u_.block->push_back(kUntouched);
      v_ = u_;
      (bytes.flag() ? u_ : v_).first = 1;
    } else {
      u_ = part(bytes, chromaWidth, chromaHeight, bytes.oneOf({1, 1, 0, 3}));
      v_ = part(bytes, chromaWidth, chromaHeight, 1);
    }
  }

  template <typename Record>
  [[nodiscard]] Record record() const {
    return {y_.origin(), u_.origin(), v_.origin(), y_.stride, u_.stride,
            v_.stride,   y_.step,     u_.step,     v_.step};
  }

  void fill(const Frame& frame) const {
    y_.fill(frame.y);
    u_.fill(frame.u);
    v_.fill(frame.v);
  }

  // The samples and nothing else of the blocks may have changed.
  void requireGapsUntouched() const {
    for (const Part* part : {&y_, &u_, &v_}) {
      std::vector<bool> isSample(part->block->size());
      for (const Part* other : {&y_, &u_, &v_}) {
        if (other->block == part->block) other->mark(isSample);
      }
      for (std::size_t i = 0; i < isSample.size(); ++i)
        require(isSample[i] || (*part->block)[i] == kUntouched, "only samples are written");
    }
  }

  [[nodiscard]] uint64_t sum() const {
    uint64_t sum = 0;
    for (const Part* part : {&y_, &u_, &v_})
      sum = sum * 31 + checkSum(*part->block);
    return sum;
  }

 private:
  struct Part {
    std::shared_ptr<std::vector<uint8_t>> block;
    int width = 0;
    int height = 0;
    ptrdiff_t stride = 0;
    int32_t step = 1;  // 0 counts as 1
    std::size_t first = 0;

    [[nodiscard]] std::size_t place(int x, int y) const {
      const ptrdiff_t row = stride < 0 ? height - 1 - y : y;
      return first + static_cast<std::size_t>(row * std::abs(stride)) +
             static_cast<std::size_t>(x) * static_cast<std::size_t>(std::max(step, 1));
    }
    [[nodiscard]] uint8_t* origin() const { return block->data() + place(0, 0); }
    void fill(const Plane& plane) const {
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
          (*block)[place(x, y)] = plane.at(x, y);
      }
    }
    void mark(std::vector<bool>& isSample) const {
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
          isSample[place(x, y)] = true;
      }
    }
  };

  static Part part(Bytes& bytes, int width, int height, int32_t step) {
    Part made;
    made.width = width;
    made.height = height;
    made.step = step;
    const int row = (width - 1) * std::max(step, 1) + 1;
    // Room for the neighbour of the last sample where samples lie side by side.
    made.stride = row + (step == 2 ? 1 : 0) + bytes.oneOf({0, 0, 1, 13});
    const auto size = static_cast<std::size_t>((height - 1) * made.stride + row);
    made.block = std::make_shared<std::vector<uint8_t>>(size, kUntouched);
    made.block->shrink_to_fit();
    if (bytes.range(0, 3) == 3) made.stride = -made.stride;
    return made;
  }

  Part y_, u_, v_;
};

using Trace = std::vector<int64_t>;

class Session {
 public:
  Session(Bytes bytes, uint8_t filling) : bytes_(bytes) {
    host_.filling = filling;
    params_.size = sizeof params_;
    params_.width = side();
    params_.height = side();
    if (bytes_.flag()) {
      params_.left = bytes_.range(-1, 30);
      params_.top = bytes_.range(-1, 30);
      params_.regionWidth = bytes_.range(0, 90);
      params_.regionHeight = bytes_.range(0, 90);
    }
    if (bytes_.flag()) {
      params_.outputWidth = bytes_.range(0, 255);
      params_.outputHeight = bytes_.range(0, 255);
    }
    params_.effort = bytes_.range(0, 7) == 7 ? bytes_.integer() : bytes_.range(0, 1);
    params_.threads = bytes_.oneOf<int32_t>({1, 1, 1, 2, 3, 1, 1, -1});
    params_.noise = bytes_.range(0, 7) == 7 ? bytes_.real() : grade(-1, 64);
    params_.sharpened = bytes_.range(0, 7) == 7 ? bytes_.real() : grade(-110, 100) / 100;
    const Velmora_SR_BurstAllocator allocator = {take, giveBack, &host_};
    const Velmora_SR_BurstExecutor executor = {runBackwards, nullptr};
    params_.allocator = &allocator;
    if (bytes_.flag()) params_.executor = &executor;
    params_.progress = onProgress;
    params_.progressUser = &host_;
    chooseFailures();
    const int32_t code = VELMORA_SR_BurstCreate(&params_, &burst_);
    require((code == VELMORA_SR_BURST_OK) == (burst_ != nullptr), "a handle comes with OK alone");
    trace_.push_back(code);
    params_.allocator = nullptr;
    params_.executor = nullptr;
  }

  Trace run() {
    constexpr int kCalls = 24;
    for (int i = 0; i < kCalls && burst_ != nullptr && !bytes_.empty(); ++i) {
      chooseFailures();
      trace_.push_back(call());
      require(VELMORA_SR_BurstMessage(burst_) != nullptr, "a message is never null");
      const bool failed = trace_.back() != VELMORA_SR_BURST_OK;
      require(failed == (*VELMORA_SR_BurstMessage(burst_) != '\0'), "failures have a text");
      require(trace_.back() != VELMORA_SR_BURST_INTERNAL, "the library has no defect");
    }
    VELMORA_SR_BurstDestroy(&burst_);
    require(burst_ == nullptr && host_.live == 0, "a handle gives its memory back");
    return trace_;
  }

 private:
  // 16 to 96 in general, as small as the stage goes down to; now and then a size that is refused.
  int32_t side() {
    const int32_t value = bytes_.range(12, 96);
    return value < 16 ? bytes_.oneOf<int32_t>({15, 0, -5, 65536, INT32_MAX, 16}) : value;
  }

  float grade(int32_t low, int32_t high) { return static_cast<float>(bytes_.range(low, high)); }

  void chooseFailures() {
    const uint8_t what = bytes_.byte();
    host_.untilFailure = what % 8 == 7 ? what / 8 : -1;
    host_.untilStop = what % 8 == 6 ? what / 8 : -1;
  }

  int32_t call() {
    switch (bytes_.byte() % 8) {
      case 0:
      case 1:
      case 2:
        return add();
      case 3:
      case 4:
        return render();
      case 5: {
        const int32_t id = anyId();
        const int32_t code = VELMORA_SR_BurstDrop(burst_, id);
        if (code == VELMORA_SR_BURST_OK) frames_.erase(id);
        return code;
      }
      case 6:
        return weights();
      default:
        return reports();
    }
  }

  // Mostly that of a frame that is held.
  int32_t anyId() {
    const uint8_t choice = bytes_.byte();
    if (frames_.empty() || choice == 255) return bytes_.integer();
    return std::next(frames_.begin(), choice % std::ssize(frames_))->first;
  }

  int32_t add() {
    const Layout layout(bytes_, params_.width, params_.height);
    layout.fill(drawFrame(bytes_, params_.width, params_.height, (params_.width + 1) / 2,
                          (params_.height + 1) / 2));
    auto record = layout.record<Velmora_SR_BurstFrame>();
    if (bytes_.range(0, 31) == 31) record.yStride = bytes_.oneOf({0, 1, -1});
    if (bytes_.range(0, 31) == 31) record.uStep = bytes_.oneOf({-1, 1 << 30});
    if (bytes_.range(0, 31) == 31) record.v = nullptr;
    int32_t id = 0;
    const int32_t code = VELMORA_SR_BurstAdd(burst_, &record, &id);
    if (code == VELMORA_SR_BURST_OK) {
      require(id > newest_, "a number is never used twice");
      newest_ = id;
      frames_.emplace(id, layout);
    }
    return code;
  }

  int32_t render() {
    const int width = params_.outputWidth > 0 ? params_.outputWidth : 2 * regionWidth();
    const int height = params_.outputHeight > 0 ? params_.outputHeight : 2 * regionHeight();
    const Layout layout(bytes_, width, height);
    const auto picture = layout.record<Velmora_SR_BurstPicture>();
    const uint64_t before = layout.sum();
    const int32_t code = VELMORA_SR_BurstRender(burst_, anyId(), &picture);
    layout.requireGapsUntouched();
    require(
        code == VELMORA_SR_BURST_OK || code == VELMORA_SR_BURST_CANCELLED || layout.sum() == before,
        "a picture that fails is untouched");
    if (code == VELMORA_SR_BURST_OK) trace_.push_back(static_cast<int64_t>(layout.sum()));
    return code;
  }

  [[nodiscard]] int regionWidth() const {
    return params_.regionWidth > 0 ? params_.regionWidth : params_.width;
  }
  [[nodiscard]] int regionHeight() const {
    return params_.regionHeight > 0 ? params_.regionHeight : params_.height;
  }

  int32_t weights() {
    const ptrdiff_t stride = params_.width + bytes_.range(-1, 6);
    const auto rows = static_cast<std::size_t>(params_.height - 1);
    std::vector<uint8_t> made(rows * static_cast<std::size_t>(stride) +
                              static_cast<std::size_t>(params_.width));
    made.shrink_to_fit();
    const int32_t code = VELMORA_SR_BurstWeights(burst_, anyId(), made.data(), stride);
    trace_.push_back(static_cast<int64_t>(checkSum(made)));
    return code;
  }

  int32_t reports() {
    Velmora_SR_BurstReport report = {};
    report.size = static_cast<uint32_t>(bytes_.range(0, sizeof report));
    if (bytes_.flag()) report.size = sizeof report;
    int32_t code = VELMORA_SR_BurstReport(burst_, &report);
    if (code != VELMORA_SR_BURST_OK) return code;
    require(report.framesUsed <= VELMORA_SR_BURST_FRAMES, "eight frames are the most");
    require(report.memory <= report.peakMemory, "the peak is the most");
    Velmora_SR_BurstFrameReport frame = {};
    frame.size = sizeof frame;
    code = VELMORA_SR_BurstFrameReport(burst_, anyId(), &frame);
    if (code != VELMORA_SR_BURST_OK) return code;
    require(frame.reason != nullptr, "a reason is never null");
    require(frame.meanWeight >= 0 && frame.meanWeight <= 1, "a mean weight is 0 to 1");
    require(frame.share >= 0 && frame.share <= 1, "a share is 0 to 1");
    trace_.push_back(frame.use);
    return code;
  }

  Bytes bytes_;
  Host host_;
  Velmora_SR_BurstParams params_ = {};
  Velmora_SR_Burst* burst_ = nullptr;
  std::map<int32_t, Layout> frames_;
  int32_t newest_ = 0;
  Trace trace_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  const bool twice = bytes.flag();
  const Trace trace = Session(bytes, 0xA5).run();
  if (twice) require(Session(bytes, 0x11).run() == trace, "the same input gives the same output");
  return 0;
}
