#include "thread_pool/slot_group.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <thread>

#include "thread_faults.h"

namespace {

using velmora::runOnSlots;
using velmora::runOnSlotsOnly;

constexpr std::array<int32_t, 3> kSlots = {13, 15, 2};

/// Argument and thread of what ran under an index; each share writes its own entry only.
std::array<std::string, 17> runs;
const std::thread::id caller = std::this_thread::get_id();

/// A share with "!" throws at once; the others take a moment.
void share(void* arg, int32_t index) {
  const char letter = *static_cast<char*>(arg);
  if (letter == '!') throw std::runtime_error(std::to_string(index));
  std::this_thread::yield();
  runs.at(static_cast<std::size_t>(index)) +=
      {letter, std::this_thread::get_id() == caller ? 'c' : 'w'};
}

/// What a call throws, and " INDEX:ARGUMENT THREAD" of all shares that have run at its end.
std::string outcomeOf(const auto& call) {
  std::string text;
  try {
    call();
  } catch (const std::runtime_error& error) {
    text = error.what();
  }
  for (std::size_t i = 0; i < runs.size(); ++i) {
    if (!runs[i].empty()) text += " " + std::to_string(i) + ":" + runs[i];
    runs[i].clear();
  }
  return text;
}

TEST(SlotGroup, RunsEachShareOnceOnItsThreadAndThrowsWhenAllAreDone) {
  for (const bool pool : {true, false}) {
    if (pool) velmora::test::startPool();
    const auto expected = [pool](std::string outcome) {
      if (!pool) std::replace(outcome.begin(), outcome.end(), 'w', 'c');
      return outcome;
    };
    const struct {
      std::string args;
      const char* outcome;
    } cases[] = {{"kmnp", " 2:nw 13:kw 15:mw 16:pc"}, {"kmn!", "16 2:nw 13:kw 15:mw"},
                 {"k!np", "15 2:nw 13:kw 16:pc"},     {"k!!p", "15 13:kw 16:pc"},
                 {"!mn!", "16 2:nw 15:mw"},           {"km!p", "2 13:kw 15:mw 16:pc"}};
    for (auto [args, outcome] : cases) {
      void* each[] = {&args[0], &args[1], &args[2], &args[3]};
      EXPECT_EQ(outcomeOf([&] { runOnSlots(kSlots, share, each, 16); }), expected(outcome));
    }
    char arg[] = "k!";
    EXPECT_EQ(outcomeOf([&] { runOnSlotsOnly(kSlots, share, arg + 1); }), "13");
    EXPECT_EQ(outcomeOf([&] { runOnSlotsOnly(kSlots, share, arg); }),
              expected(" 2:kw 13:kw 15:kw"));
    EXPECT_EQ(outcomeOf([&] { runOnSlots(kSlots, share, arg, 7); }),
              expected(" 2:kw 7:kc 13:kw 15:kw"));
    EXPECT_EQ(outcomeOf([&] { runOnSlots({}, share, arg, 5); }), " 5:kc");
    if (pool) velmora::test::stopPool();
  }
}

}  // namespace
