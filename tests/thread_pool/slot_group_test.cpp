#include "thread_pool/slot_group.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "thread_faults.h"

namespace {

using velmora::runOnSlots;
using velmora::runOnSlotsOnly;
using velmora::test::startPool;
using velmora::test::stopPool;

constexpr std::array<int32_t, 3> kSlots = {13, 15, 2};

/// What ran, by index; each share writes its own entry only.
struct Shares {
  std::array<int, 17> runs = {};
  std::array<std::thread::id, 17> threads = {};

  static void run(void* arg, int32_t index) {
    auto& shares = *static_cast<Shares*>(arg);
    const auto i = static_cast<std::size_t>(index);
    ++shares.runs[i];
    shares.threads[i] = std::this_thread::get_id();
  }
};

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

TEST_P(SlotGroup, RunsEachShareOnceAndTheCallersOnTheCaller) {
  Shares shares;
  for (int round = 1; round <= 3; ++round) {
    runOnSlots(kSlots, Shares::run, &shares, 16);
    for (const int index : {13, 15, 2, 16})
      EXPECT_EQ(shares.runs[static_cast<std::size_t>(index)], round) << index;
  }
  EXPECT_EQ(shares.runs[0] + shares.runs[1] + shares.runs[12] + shares.runs[14], 0);
  EXPECT_EQ(shares.threads[16], std::this_thread::get_id());
  for (const std::size_t slot : {13u, 15u, 2u})
    EXPECT_EQ(shares.threads[slot] != std::this_thread::get_id(), GetParam()) << slot;
}

TEST_P(SlotGroup, GivesEachShareItsOwnArgument) {
  std::array<Shares, 4> shares;
  const std::array<void*, 4> arguments = {&shares[0], &shares[1], &shares[2], &shares[3]};
  runOnSlots(kSlots, Shares::run, arguments, 7);
  void* plain[] = {&shares[0], &shares[1], &shares[2], &shares[3]};
  runOnSlots(kSlots, Shares::run, plain, 7);
  constexpr std::array<std::size_t, 4> kIndices = {13, 15, 2, 7};
  for (std::size_t k = 0; k < 4; ++k) {
    for (std::size_t index = 0; index < 17; ++index)
      EXPECT_EQ(shares[k].runs[index], index == kIndices[k] ? 2 : 0) << k << " " << index;
  }
}

TEST_P(SlotGroup, WithoutAShareForTheCaller) {
  Shares shares;
  runOnSlotsOnly(kSlots, Shares::run, &shares);
  int total = 0;
  for (const int runs : shares.runs)
    total += runs;
  EXPECT_EQ(total, 3);
  EXPECT_EQ(shares.runs[13] + shares.runs[15] + shares.runs[2], 3);
}

TEST_P(SlotGroup, AnEmptyGroupRunsTheCallersShare) {
  Shares shares;
  runOnSlots({}, Shares::run, &shares, 5);
  EXPECT_EQ(shares.runs[5], 1);
}

TEST_P(SlotGroup, WaitsForItsSlotsWhenTheCallersShareThrows) {
  std::atomic<int> finished = 0;
  const SR_ThreadJob job = [](void* arg, int32_t index) {
    if (index == 16) throw std::runtime_error("share");
    std::this_thread::yield();
    ++*static_cast<std::atomic<int>*>(arg);
  };
  EXPECT_THROW(runOnSlots(kSlots, job, &finished, 16), std::runtime_error);
  EXPECT_EQ(finished, 3);
  Shares shares;  // the slots are free again
  runOnSlotsOnly(kSlots, Shares::run, &shares);
  EXPECT_EQ(shares.runs[13], 1);
}

// Two passes like the stages': the second reads what other bands of the first wrote.
TEST_P(SlotGroup, PassesSeeEachOthersResults) {
  struct Planes {
    std::vector<int> first = std::vector<int>(4096);
    std::vector<int> second = std::vector<int>(4096);
  };
  for (int round = 0; round < 50; ++round) {
    Planes planes;
    constexpr std::array<int32_t, 3> kBands = {13, 14, 15};
    runOnSlots(
        kBands,
        [](void* arg, int32_t index) {
          auto& p = *static_cast<Planes*>(arg);
          const auto band = static_cast<std::size_t>(index - 12) * 1024;
          for (std::size_t i = band; i < band + 1024; ++i)
            p.first[i] = static_cast<int>(i);
        },
        &planes, 12);
    runOnSlots(
        kBands,
        [](void* arg, int32_t index) {
          auto& p = *static_cast<Planes*>(arg);
          const auto band = static_cast<std::size_t>(index - 12) * 1024;
          for (std::size_t i = band; i < band + 1024; ++i)
            p.second[i] = p.first[4095 - i];
        },
        &planes, 12);
    for (std::size_t i = 0; i < 4096; ++i)
      ASSERT_EQ(planes.second[i], static_cast<int>(4095 - i));
  }
}

}  // namespace
