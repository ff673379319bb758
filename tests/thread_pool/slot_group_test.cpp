#include "thread_pool/slot_group.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "thread_faults.h"

namespace {

using velmora::runOnSlots;
using velmora::runOnSlotsOnly;
using velmora::test::startPool;
using velmora::test::stopPool;

constexpr std::array<int32_t, 3> kSlots = {13, 15, 2};

/// What ran under an index; each share writes its own entry only.
struct Run {
  void* arg = nullptr;
  std::string thread;
};
std::array<Run, 17> runs;
const std::thread::id caller = std::this_thread::get_id();

void note(void* arg, int32_t index) {
  Run& run = runs.at(static_cast<std::size_t>(index));
  run.arg = arg;
  run.thread += std::this_thread::get_id() == caller ? "c" : "w";
}

/// "INDEX:ARGUMENT THREADS;" of all that has run, argument k being &args[k].
std::string takeRuns(const char* args) {
  std::string text;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    if (runs[i].thread.empty()) continue;
    text += std::to_string(i) + ":" + std::to_string(static_cast<char*>(runs[i].arg) - args) + " " +
            runs[i].thread + ";";
    runs[i] = {};
  }
  return text;
}

/// Every test runs with and without a pool: the results are the same.
class SlotGroup : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (GetParam()) startPool();
  }
  void TearDown() override {
    if (GetParam()) stopPool();
  }
};

INSTANTIATE_TEST_SUITE_P(, SlotGroup, testing::Bool(),
                         [](const auto& test) { return test.param ? "Pool" : "NoPool"; });

TEST_P(SlotGroup, RunsEachShareOnceWithItsArgumentAndTheCallersOnTheCaller) {
  char args[4] = {};
  void* each[] = {&args[3], &args[2], &args[1], args};
  runOnSlots(kSlots, note, &args[1], 16);
  EXPECT_EQ(takeRuns(args),
            GetParam() ? "2:1 w;13:1 w;15:1 w;16:1 c;" : "2:1 c;13:1 c;15:1 c;16:1 c;");
  runOnSlots(kSlots, note, each, 7);
  EXPECT_EQ(takeRuns(args),
            GetParam() ? "2:1 w;7:0 c;13:3 w;15:2 w;" : "2:1 c;7:0 c;13:3 c;15:2 c;");
  runOnSlotsOnly(kSlots, note, args);
  EXPECT_EQ(takeRuns(args), GetParam() ? "2:0 w;13:0 w;15:0 w;" : "2:0 c;13:0 c;15:0 c;");
  runOnSlots({}, note, args, 5);
  EXPECT_EQ(takeRuns(args), "5:0 c;");
}

/// A job of which some shares throw, after all have begun.
struct Failing {
  std::vector<int32_t> throwers;
  std::atomic<int> finished = 0;

  static void run(void* arg, int32_t index) {
    auto& failing = *static_cast<Failing*>(arg);
    for (const int32_t thrower : failing.throwers)
      if (index == thrower) throw std::runtime_error(std::to_string(index));
    std::this_thread::yield();
    ++failing.finished;
  }
};

TEST_P(SlotGroup, AThrowingShareFailsTheJobWhenAllAreDone) {
  const struct {
    std::vector<int32_t> throwers;
    const char* thrown;
    bool callerTakesPart = true;
  } cases[] = {{{16}, "16"}, {{15}, "15"}, {{2, 15}, "15"}, {{13, 16}, "16"}, {{2}, "2", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.thrown);
    Failing failing = {c.throwers};
    std::string thrown;
    try {
      if (c.callerTakesPart) {
        runOnSlots(kSlots, Failing::run, &failing, 16);
      } else {
        runOnSlotsOnly(kSlots, Failing::run, &failing);
      }
    } catch (const std::runtime_error& error) {
      thrown = error.what();
    }
    EXPECT_EQ(thrown, c.thrown);
    EXPECT_EQ(failing.finished + static_cast<int>(c.throwers.size()), c.callerTakesPart ? 4 : 3);
    EXPECT_NO_THROW(runOnSlotsOnly(kSlots, note, nullptr)) << "what they threw is forgotten";
    EXPECT_EQ(takeRuns(nullptr).size(), 20u);
  }
}

}  // namespace
