#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cfenv>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "burst/drawn_frame.h"
#include "burst/handle/call_workers.h"
#include "interface/session.h"
#include "thread_pool/thread_faults.h"
#include "velmora_sr/burst.h"

namespace velmora::test {
namespace {

using burst::Size;

constexpr Size kSize = {64, 48};
using Params = Velmora_SR_BurstParams;
constexpr int32_t kBad = VELMORA_SR_BURST_BAD_ARGUMENT;

/// What a host gives: memory that runs out, a progress function that stops.
struct Host {
  int requests = 0, live = 0, failAt = -1;
  int told = 0, stopAt = -1, beginnings = 0;
  double share = 0;
  pthread_t thread = pthread_self();
  Velmora_SR_BurstAllocator allocator = {alloc, free, this};

  static void* alloc(void* user, std::size_t size) {
    auto* const host = static_cast<Host*>(user);
    if (host->requests++ == host->failAt) return nullptr;
    ++host->live;
    return std::memset(std::malloc(size), 0xA5, size);
  }
  static void free(void* user, void* block) {
    --static_cast<Host*>(user)->live;
    std::free(block);
  }
  static int32_t progress(void* user, double share) {
    auto* const host = static_cast<Host*>(user);
    EXPECT_TRUE(pthread_equal(pthread_self(), host->thread));
    EXPECT_LE(share, 1);
    host->beginnings += host->told == 0 || share < host->share ? 1 : 0;
    host->share = share;
    return host->told++ == host->stopAt ? 1 : 0;
  }
};

Params defaults(Host* host = nullptr) {
  Params params = {};
  params.size = sizeof params;
  params.width = kSize.width;
  params.height = kSize.height;
  params.threads = 1;
  params.noise = -1;
  params.sharpened = -1;
  if (host != nullptr) {
    params.allocator = &host->allocator;
    params.progress = Host::progress;
    params.progressUser = host;
  }
  return params;
}

Velmora_SR_BurstFrame recordOf(const DrawnFrame& drawn) {
  const auto& [y, u, v] = drawn.frame.planes;
  return {y.data, u.data, v.data, y.pitch, u.pitch, v.pitch, 1, 1, 1};
}

/// An NV12 picture of twice the size with its memory.
struct Picture {
  Velmora_SR_BurstPicture record() {
    uint8_t* const uv = bytes.data() + 4 * kSize.width * kSize.height;
    return {bytes.data(), uv, uv + 1, 2 * kSize.width, 2 * kSize.width, 2 * kSize.width, 0, 2, 2};
  }
  std::vector<uint8_t> bytes = std::vector<uint8_t>(6 * kSize.width * kSize.height, 0x5A);
};

/// Four frames of a scene, moved and noisy, one of something else, and one of another colour.
const DrawnFrame& frame(std::size_t i) {
  const auto other = [](int32_t, burst::Point at) {
    return 128 + 90 * std::sin(0.9 * at.x * std::sin(0.05 * at.y)) * std::cos(0.7 * at.y);
  };
  const auto coloured = [](int32_t plane, burst::Point at) {
    return waves(plane, at) + (plane == 0 ? 0 : 70);
  };
  static const DrawnFrame frames[] = {{kSize, waves, moved(0, 0).homography, 3, 1},
                                      {kSize, waves, moved(1.3, -0.6).homography, 3, 2},
                                      {kSize, waves, moved(-0.4, 1.7).homography, 3, 3},
                                      {kSize, waves, moved(0.7, 0.8).homography, 3, 4},
                                      {kSize, other, moved(0, 0).homography, 3, 5},
                                      {kSize, coloured, moved(0.5, 0.5).homography, 3, 6}};
  return frames[i];
}

struct Handle {
  explicit Handle(const Params& params) { code = VELMORA_SR_BurstCreate(&params, &burst); }
  ~Handle() { VELMORA_SR_BurstDestroy(&burst); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  int32_t add(std::size_t i) {
    const Velmora_SR_BurstFrame record = recordOf(frame(i));
    return code = VELMORA_SR_BurstAdd(burst, &record, &ids[i]);
  }
  /// Adds frames and renders around the first.
  std::vector<uint8_t> render(const std::vector<std::size_t>& frames) {
    for (const std::size_t i : frames) {
      if (ids[i] == 0 && add(i) != 0) return {};
    }
    Picture picture;
    const Velmora_SR_BurstPicture record = picture.record();
    code = VELMORA_SR_BurstRender(burst, ids[frames[0]], &record);
    return code == 0 ? picture.bytes : std::vector<uint8_t>();
  }
  Velmora_SR_BurstFrameReport report(std::size_t i) const {
    Velmora_SR_BurstFrameReport report = {};
    report.size = sizeof report;
    EXPECT_EQ(VELMORA_SR_BurstFrameReport(burst, ids[i], &report), 0);
    return report;
  }
  Velmora_SR_BurstReport report() const {
    Velmora_SR_BurstReport report = {};
    report.size = sizeof report;
    EXPECT_EQ(VELMORA_SR_BurstReport(burst, &report), 0);
    return report;
  }
  std::string message() const { return VELMORA_SR_BurstMessage(burst); }

  Velmora_SR_Burst* burst = nullptr;
  int32_t code;
  int32_t ids[6] = {};
};

/// Parameters that differ from the defaults in some fields.
struct Change {
  int32_t Params::*field;
  int32_t value;
};
using Changes = std::vector<Change>;
using P = Params;

TEST(BurstHandle, TakesOnlyParametersInTheirRanges) {
  struct Newer {
    Params params = defaults();
    uint64_t more = 7;
  };
  const auto created = [](const Changes& changes, float noise, float sharpened, uint32_t size) {
    Newer newer;
    newer.params.size = size;
    newer.params.noise = noise;
    newer.params.sharpened = sharpened;
    for (const Change& change : changes)
      newer.params.*change.field = change.value;
    const Handle handle(newer.params);
    EXPECT_EQ(handle.burst == nullptr, handle.code != 0);
    EXPECT_EQ(handle.message().empty(), handle.code == 0);
    return handle.code;
  };
  // Wrong alone, and together.
  for (const Change& change : Changes{{&P::width, 15},
                                      {&P::height, 65536},
                                      {&P::left, 1},
                                      {&P::regionWidth, 64},
                                      {&P::outputWidth, 64},
                                      {&P::effort, 2},
                                      {&P::threads, 65},
                                      {&P::threads, -1}})
    EXPECT_EQ(created({change}, -1, -1, sizeof(Params)), kBad) << change.value;
  const Changes wrong[] = {{{&P::width, 65535}, {&P::height, 65535}},
                           {{&P::left, 1}, {&P::regionWidth, 64}, {&P::regionHeight, 48}},
                           {{&P::top, INT32_MAX}, {&P::regionWidth, 16}, {&P::regionHeight, 16}},
                           {{&P::top, -1}, {&P::regionWidth, 16}, {&P::regionHeight, 16}},
                           {{&P::regionWidth, 15}, {&P::regionHeight, 16}},
                           {{&P::outputWidth, 63}, {&P::outputHeight, 48}},
                           {{&P::outputWidth, 64}, {&P::outputHeight, 193}}};
  const uint32_t size = sizeof(Params);
  for (const Changes& changes : wrong)
    EXPECT_EQ(created(changes, -1, -1, size), kBad) << changes[0].value;
  const float none = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(created({}, none, -1, size), kBad);
  EXPECT_EQ(created({}, 65, -1, size), kBad);
  EXPECT_EQ(created({}, -1, none, size), kBad);
  EXPECT_EQ(created({}, -1, -0.7f, size), kBad);
  EXPECT_EQ(created({}, -1, 1.1f, size), kBad);
  EXPECT_EQ(created({}, -1, -1, size - 1), kBad);
  EXPECT_EQ(created({{&P::width, 17}, {&P::height, 16}}, 64, 1, size), 0);
  EXPECT_EQ(created({{&P::top, 32}, {&P::regionWidth, 64}, {&P::regionHeight, 16}}, 0, 0, size), 0);
  EXPECT_EQ(created({{&P::outputWidth, 256}, {&P::outputHeight, 48}, {&P::threads, 0}}, -1, -0.6f,
                    sizeof(Newer)),
            0);
}

TEST(BurstHandle, RefusesFramesAndPicturesAndStaysAsItWas) {
  Handle handle(defaults());
  const std::vector<uint8_t> expected = handle.render({0, 1});
  ASSERT_FALSE(expected.empty()) << handle.message();
  const std::function<void(Velmora_SR_BurstFrame&)> wrongFrames[] = {
      [](auto& f) { f.y = nullptr; },
      [](auto& f) { f.v = nullptr; },
      [](auto& f) { f.yStride = 63; },
      [](auto& f) { f.uStride = -31; },
      [](auto& f) { f.vStep = 2; },
      [](auto& f) { f.yStep = -1; },
      [](auto& f) { f.uStep = INT32_MAX; },
      [](auto& f) { f.yStride = PTRDIFF_MIN; },
      [](auto& f) { f.yStride = PTRDIFF_MAX; }};
  for (std::size_t i = 0; i < std::size(wrongFrames); ++i) {
    Velmora_SR_BurstFrame record = recordOf(frame(2));
    wrongFrames[i](record);
    int32_t id = 99;
    EXPECT_EQ(VELMORA_SR_BurstAdd(handle.burst, &record, &id), kBad) << i;
    EXPECT_EQ(id, 99);
    EXPECT_NE(handle.message(), "") << i;
  }
  // Pictures that would write a sample twice, or over a frame.
  auto* const held = const_cast<uint8_t*>(frame(1).values[2].data());
  const std::function<void(Velmora_SR_BurstPicture&)> wrongPictures[] = {
      [](auto& p) { p.u = nullptr; },
      [](auto& p) { p.v = p.u; },
      [](auto& p) { p.u = p.y + 4 * kSize.width * kSize.height - 1; },
      [](auto& p) { p.v = p.u + 2 * kSize.width; },
      [](auto& p) { p.uStride = 2 * kSize.width - 2; },
      [held](auto& p) { p.u = held, p.uStep = 1; },
      [held](auto& p) { p.y = held + 32 * 24 - 1; }};
  for (std::size_t i = 0; i < std::size(wrongPictures); ++i) {
    Picture picture;
    const std::vector<uint8_t> before = picture.bytes;
    Velmora_SR_BurstPicture record = picture.record();
    wrongPictures[i](record);
    EXPECT_EQ(VELMORA_SR_BurstRender(handle.burst, handle.ids[0], &record), kBad) << i;
    EXPECT_NE(handle.message(), "") << i;
    EXPECT_EQ(picture.bytes, before) << i;
  }
  int32_t id = 0;
  EXPECT_EQ(VELMORA_SR_BurstAdd(nullptr, nullptr, &id), kBad);
  Velmora_SR_BurstReport small = {};
  EXPECT_EQ(VELMORA_SR_BurstReport(handle.burst, &small), kBad);
  for (const int32_t none : {0, -1, 77}) {
    EXPECT_EQ(VELMORA_SR_BurstDrop(handle.burst, none), VELMORA_SR_BURST_NO_FRAME);
    EXPECT_NE(handle.message().find(std::to_string(none)), std::string::npos);
  }
  EXPECT_EQ(handle.render({0, 1}), expected);
  EXPECT_EQ(handle.message(), "");
  EXPECT_EQ(handle.report().framesUsed, 2);
  const Velmora_SR_BurstFrame more = recordOf(frame(2));
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(VELMORA_SR_BurstAdd(handle.burst, &more, &id), 0);
  EXPECT_EQ(VELMORA_SR_BurstAdd(handle.burst, &more, &id), VELMORA_SR_BURST_FULL);
}

// Neither sanitizers nor the emulator let a thread start in a forked child for sure, and calls take
// many times as long there.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__) || defined(VELMORA_TESTS_EMULATED)
constexpr int kStrides = 2;
constexpr int kForkedThreads = 1;
#else
constexpr int kStrides = 16;
constexpr int kForkedThreads = 2;
#endif

TEST(BurstHandle, LivesOnWhenMemoryRunsOutOrTheHostStopsACall) {
  const std::vector<uint8_t> expected = Handle(defaults()).render({0, 1});
  ASSERT_FALSE(expected.empty());
  for (const bool memory : {true, false}) {
    int failures = 0;
    for (bool done = false; !done; ++failures) {
      Host host;
      {
        // Every request and every word at first, then in growing strides.
        const int n = failures + failures * failures / kStrides;
        Handle handle(defaults(&host));
        (memory ? host.failAt : host.stopAt) = n + (memory ? 1 : 0);
        const std::vector<uint8_t> first = handle.render({0, 1});
        done = handle.code == 0;
        if (!done) {
          EXPECT_EQ(handle.code, memory ? VELMORA_SR_BURST_NO_MEMORY : VELMORA_SR_BURST_CANCELLED);
          EXPECT_NE(handle.message(), "");
          EXPECT_EQ(handle.report().framesUsed, 0);
        }
        host.failAt = host.stopAt = -1;
        EXPECT_EQ(handle.render({0, 1}), expected) << n;
        EXPECT_EQ(host.share, 1);
      }
      ASSERT_EQ(host.live, 0);
    }
    EXPECT_GT(failures, 5);
  }
  Host empty;
  empty.failAt = 0;
  EXPECT_EQ(Handle(defaults(&empty)).code, VELMORA_SR_BURST_NO_MEMORY);
}

TEST(BurstHandle, GivesTheSamePictureWhateverHappenedBefore) {
  for (const float noise : {-1.0f, 3.0f}) {
    Params params = defaults();
    params.noise = noise;
    const std::vector<uint8_t> expected = Handle(params).render({0, 1, 2, 3});
    EXPECT_EQ(Handle(params).render({0, 3, 2, 1}), expected) << "another order";
    // A window that slides: each picture is what a new handle makes.
    Handle window(params);
    for (const std::size_t reference : {1, 0})
      window.render({reference, 4, 0, 1});
    EXPECT_EQ(VELMORA_SR_BurstDrop(window.burst, window.ids[4]), 0);
    EXPECT_EQ(window.render({0, 3, 2, 1}), expected);
    EXPECT_EQ(window.render({0}), expected) << "with what is kept";
    EXPECT_EQ(window.render({3}), Handle(params).render({3, 1, 0, 2}));
  }
}

/// Runs jobs backwards, on threads that round upwards.
void runBackwards(void*, void (*job)(void*, int32_t), void* context, int32_t count) {
  std::thread([=] {
    std::fesetround(FE_UPWARD);
    for (int32_t i = count - 1; i > 0; --i)
      job(context, i);
  }).join();
  job(context, 0);
}

TEST(BurstHandle, GivesTheSamePictureOnAnyThreads) {
  const std::vector<uint8_t> expected = Handle(defaults()).render({0, 1, 2});
  const Velmora_SR_BurstExecutor executor = {runBackwards, nullptr};
  for (const int failAt : {-1, 0, 1, 2}) {
    threadFaults = {};
    threadFaults.failCreateAt = failAt;
    Host host;
    Params params = defaults(&host);
    params.threads = 3;
    EXPECT_EQ(Handle(params).render({0, 1, 2}), expected) << failAt;
    EXPECT_EQ(threadFaults.created, threadFaults.joined);
    EXPECT_EQ(threadFaults.liveAttributes, 0);
    EXPECT_EQ(host.beginnings, 4);
    EXPECT_TRUE(failAt < 0 ? threadFaults.created >= 2 : threadFaults.created == failAt);
    params.executor = &executor;
    std::fesetround(FE_UPWARD);
    EXPECT_EQ(Handle(params).render({0, 1, 2}), expected);
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    std::fesetround(FE_TONEAREST);
  }
  threadFaults = {};
  const Velmora_SR_BurstExecutor throws = {
      [](void*, void (*)(void*, int32_t), void*, int32_t) { throw 1; }, nullptr};
  Params params = defaults();
  params.threads = 2;
  params.executor = &throws;
  Handle handle(params);
  handle.render({0, 1});
  EXPECT_EQ(handle.code, VELMORA_SR_BURST_INTERNAL);
}

TEST(BurstHandle, RunsEachPartOnceAndRoundsToNearestInAll) {
  for (const auto run :
       {static_cast<decltype(Velmora_SR_BurstExecutor::run)>(nullptr), runBackwards}) {
    std::fesetround(run == nullptr ? FE_UPWARD : FE_TONEAREST);  // what new threads begin with
    burst::CallWorkers workers({.threads = 3, .executor = {run, nullptr}});
    std::vector<double> values(100, 0);
    const volatile double three = 3;
    workers.run(100, 1, [&](int32_t i, int32_t worker) {
      values[static_cast<std::size_t>(i)] += worker == 0 && run == nullptr ? 1.0 / 3 : 1 / three;
      std::this_thread::yield();
    });
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(values, std::vector<double>(100, 1.0 / 3));
    EXPECT_THROW(workers.run(100, 1,
                             [](int32_t i, int32_t) {
                               if (i == 7) throw std::bad_alloc();
                             }),
                 std::bad_alloc);
    int32_t calls = 0;
    workers.run(1, 1, [&](int32_t, int32_t) { ++calls; });
    EXPECT_EQ(calls, 1);
  }
}

TEST(BurstHandle, LeavesOutWhatShowsSomethingElseAndSaysSo) {
  Handle handle(defaults());
  const std::vector<uint8_t> picture = handle.render({0, 1, 4, 2});
  EXPECT_EQ(handle.report().framesUsed, 3);
  EXPECT_LT(handle.report(4).use, 0);
  EXPECT_NE(std::string(handle.report(4).reason), "");
  EXPECT_EQ(handle.report(0).use, VELMORA_SR_BURST_REFERENCE);
  EXPECT_EQ(handle.report(1).use, VELMORA_SR_BURST_USED);
  EXPECT_NEAR(handle.report(1).homography[2], 1.3, 0.3);
  EXPECT_NEAR(handle.report(1).homography[5], -0.6, 0.3);
  EXPECT_NEAR(handle.report(0).share + handle.report(1).share + handle.report(2).share, 1, 1e-12);
  EXPECT_GT(handle.report(1).meanWeight, 0.5);
  EXPECT_NEAR(handle.report().noise, 3, 1.5);

  // With rows one byte longer, which stays.
  const auto drawn = [&](std::size_t i) {
    std::vector<uint8_t> weights((kSize.width + 1) * kSize.height, 1);
    EXPECT_EQ(VELMORA_SR_BurstWeights(handle.burst, handle.ids[i], weights.data(), kSize.width + 1),
              0);
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    return (sum - kSize.height) / (255.0 * kSize.width * kSize.height);
  };
  EXPECT_EQ(drawn(0), 1);
  EXPECT_NEAR(drawn(1), handle.report(1).meanWeight, 0.01);
  EXPECT_EQ(drawn(4), 0);

  EXPECT_EQ(VELMORA_SR_BurstDrop(handle.burst, handle.ids[4]), 0);
  EXPECT_EQ(handle.render({0}), picture);
  // Where none is left, even the noise is that of the reference alone.
  Handle coloured(defaults());
  EXPECT_EQ(coloured.render({0, 4, 5}), Handle(defaults()).render({0}));
  EXPECT_EQ(coloured.report(5).use, VELMORA_SR_BURST_LOW_WEIGHT);
}

TEST(BurstHandle, WorksBesideOthersAndInAForkedChild) {
  threadFaults = {};
  const std::vector<uint8_t> expected = Handle(defaults()).render({0, 1, 2});
  const Session camera(64, 48, 0);
  const Velmora_SR_BurstExecutor executor = {runBackwards, nullptr};
  const auto work = [&](const Velmora_SR_BurstExecutor* own) {
    Params params = defaults();
    params.threads = 3;
    params.executor = own;
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(Handle(params).render({0, 1, 2}), expected);
  };
  const std::vector<uint8_t> grey(frameBytes(64, 48), 100);
  Call before(64, 48, VELMORA_SR_FORMAT_NV12, whole(64, 48), 96, 72, grey);
  Call beside(64, 48, VELMORA_SR_FORMAT_NV12, whole(64, 48), 96, 72, grey);
  EXPECT_EQ(before.run(camera), 0);
  std::thread first(work, nullptr);
  std::thread second(work, &executor);
  EXPECT_EQ(beside.run(camera), 0);
  first.join();
  second.join();
  EXPECT_EQ(beside.data, before.data);

  Params params = defaults();
  params.threads = kForkedThreads;
  Handle handle(params);
  EXPECT_EQ(handle.render({0, 1, 2}), expected);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(handle.render({0, 1, 2}) == expected ? 0 : 1);
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(handle.render({0, 1, 2}), expected);
}

}  // namespace
}  // namespace velmora::test
