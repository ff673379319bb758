// Runs several ways to do one job in turn and compares their best times.
#ifndef VELMORA_BENCH_PEERS_TIMING_H
#define VELMORA_BENCH_PEERS_TIMING_H

#include <functional>
#include <string>
#include <vector>

namespace velmora::bench {

/// From here on the tables keep standard output to themselves: the library prints progress lines of
/// its own there, which go nowhere.
void keepTableApart();

/// Restricts the process, threads made later included, to the first `count` processors.
void useProcessors(int count);

struct Contestant {
  std::string name;
  std::function<void()> run;
};

/// Runs the contestants A B C A B C ... for `rounds` rounds after one warm-up each and prints one
/// line per contestant: best and median milliseconds, the first one's best as a ratio of its best,
/// and the same for the processor time of all threads, which other work on the machine disturbs
/// less.
void compare(const std::string& job, int processors, int rounds,
             const std::vector<Contestant>& contestants);

}  // namespace velmora::bench

#endif  // VELMORA_BENCH_PEERS_TIMING_H
