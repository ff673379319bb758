#include "timing.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace velmora::bench {
namespace {

FILE* table = stdout;

}  // namespace

void keepTableApart() {
  std::fflush(stdout);
  table = fdopen(dup(STDOUT_FILENO), "w");
  const int nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, STDOUT_FILENO);
  close(nowhere);
}

void useProcessors(int count) {
  cpu_set_t set;
  CPU_ZERO(&set);
  for (int i = 0; i < count; ++i)
    CPU_SET(i, &set);
  sched_setaffinity(0, sizeof set, &set);
}

void compare(const std::string& job, int processors, int rounds,
             const std::vector<Contestant>& contestants) {
  std::vector<std::vector<double>> times(contestants.size());
  for (int round = -1; round < rounds; ++round) {
    for (std::size_t i = 0; i < contestants.size(); ++i) {
      const auto start = std::chrono::steady_clock::now();
      contestants[i].run();
      const std::chrono::duration<double, std::milli> time =
          std::chrono::steady_clock::now() - start;
      if (round >= 0) times[i].push_back(time.count());
    }
  }
  std::fprintf(table, "\n%s, %d thread%s\n", job.c_str(), processors, processors == 1 ? "" : "s");
  std::fprintf(table, "| %-34s | %9s | %9s | %12s |\n", "who", "best ms", "median ms",
               "ours / theirs");
  const double ours = *std::min_element(times[0].begin(), times[0].end());
  for (std::size_t i = 0; i < contestants.size(); ++i) {
    std::sort(times[i].begin(), times[i].end());
    std::fprintf(table, "| %-34s | %9.2f | %9.2f | %12.2f |\n", contestants[i].name.c_str(),
                 times[i].front(), times[i][times[i].size() / 2], ours / times[i].front());
  }
  std::fflush(table);
}

}  // namespace velmora::bench
