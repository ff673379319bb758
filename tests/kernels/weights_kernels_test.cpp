#include "burst/weights/functions.h"
#include "kernels/trial.h"

namespace velmora::test {
namespace {

using namespace burst;
using Family = WeightFunctions;

void findInside(decltype(Family::findInside) kernel, Trial& t) {
  const auto* x = t.filled<int32_t>(t.count, -5, 60);
  const auto* y = t.filled<int32_t>(t.count, -5, 60);
  kernel(x, y, 50, 55, t.count, t.buffer<uint8_t>(t.count));
}

void subtract(decltype(Family::subtract) kernel, Trial& t) {
  const auto* warped = t.filled<int16_t>(t.count, INT16_MIN, INT16_MAX);
  const auto* reference = t.filled<uint8_t>(t.count, 0, 255);
  kernel(warped, reference, t.count, t.buffer<int16_t>(t.count));
}

void slide(decltype(Family::slide) kernel, Trial& t) {
  const int16_t* differences[2];
  const uint8_t* samples[2];
  for (int i = 0; i < 2; ++i) {
    differences[i] = t.filled<int16_t>(t.count, -8191, 8191);
    samples[i] = t.filled<uint8_t>(t.count, 0, 255);
  }
  const ColumnSums sums = {t.filled<int32_t>(t.count, -32764, 32764),
                           t.filled<int32_t>(t.count, 4 * 8191 * 8191, 4 * 8191 * 8191),
                           t.filled<int32_t>(t.count, 0, 1020),
                           t.filled<int32_t>(t.count, 0, 4 * 65025)};
  kernel(differences[0], samples[0], differences[1], samples[1], t.count, sums);
}

// Sums that weigh something, and the largest there are.
void weigh(decltype(Family::weigh) kernel, Trial& t) {
  const int32_t columns = t.count + 4;
  const bool small = t.round == 0;
  const ColumnSums sums = {t.filled<int32_t>(columns, small ? -300 : -40955, small ? 300 : 40955),
                           t.filled<int32_t>(columns, 0, small ? 300000 : 5 * 8191 * 8191),
                           t.filled<int32_t>(columns, small ? 600 : 0, small ? 700 : 1275),
                           t.filled<int32_t>(columns, small ? 80000 : 0, small ? 90000 : 325125)};
  const auto* inside = t.filled<uint8_t>(t.count, 0, 1);
  const auto noise = static_cast<float>(t.range(0, 100));
  kernel(sums, inside, {noise, 2 * noise, 2 * noise / 25 + 0.5f}, t.count,
         t.buffer<uint8_t>(t.count));
}

void ofNine(decltype(Family::meanOf9) kernel, Trial& t) {
  const uint8_t* rows[3];
  for (auto& row : rows)
    row = t.filled<uint8_t>(t.count + 2, 0, 255);
  kernel(rows, t.count, t.buffer<uint8_t>(t.count));
}

constexpr const Family& (*kFamily)(CpuSet) = weightFunctions;
const Entry kEntries[] = {
    entry("findInside", 1, kFamily, &Family::findInside, findInside),
    entry("subtract", 1, kFamily, &Family::subtract, subtract),
    entry("slide", 1, kFamily, &Family::slide, slide),
    entry("weigh", 2, kFamily, &Family::weigh, weigh),
    entry("smallestOf9", 1, kFamily, &Family::smallestOf9, ofNine),
    entry("meanOf9", 1, kFamily, &Family::meanOf9, ofNine),
};
static_assert(std::size(kEntries) * sizeof(void (*)()) == sizeof(Family));

const auto kName = [](const auto& entry) { return std::string(entry.param.name); };
INSTANTIATE_TEST_SUITE_P(BurstWeights, KernelVariants, testing::ValuesIn(kEntries), kName);

}  // namespace
}  // namespace velmora::test
