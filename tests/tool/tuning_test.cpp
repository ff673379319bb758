#include "engine/tuning.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "errors.h"
#include "support/scratch_directory.h"

namespace velmora::tool {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

std::string config(const std::string& inside) {
  return "<?xml version=\"1.0\"?><Config>" + inside + "</Config>";
}
std::string thresholds(const std::string& low, const std::string& high) {
  return config("<GhostCorrection><LowThr>" + low + "</LowThr><HighThr>" + high +
                "</HighThr></GhostCorrection>");
}

TEST(Tuning, TakesOnlyWhatTheLibraryTakesAsItStands) {
  const test::ScratchDirectory folder;
  const std::string path = folder.path("c.xml");
  const struct {
    std::string content, refusal;
    GhostThresholds taken;
  } cases[] = {
      {thresholds("3", " 9\n"), "", {3, 9}},
      {thresholds("0", "255"), "", {0, 255}},
      {config("<ghostcorrection><HighThr>7</HighThr></ghostcorrection>"), "", {1, 7}},
      {"LowThr=3", "is no XML configuration file", {}},
      {"", "is no XML configuration file", {}},
      {thresholds("9", "3"), "0 <= LowThr <= HighThr <= 255 does not hold", {}},
      {thresholds("3", "300"), "0 <= LowThr <= HighThr <= 255 does not hold", {}},
      {config("<GhostCorrection><LowThr>6</LowThr></GhostCorrection>"), "does not hold", {}},
      {thresholds("3", "9x"), "HighThr is \"9x\", which is no number", {}},
      {thresholds("3", "9").substr(21), "without an <?xml ...?> line", {}},
      {thresholds("3", "9").substr(0, 60), "not well-formed XML: look at line 1, column", {}},
      {"<?xml version=\"1.0\"?><Other/>", "there is no Config element", {}},
  };
  for (const auto& c : cases) {
    test::writeFile(path, c.content);
    if (!c.refusal.empty()) {
      EXPECT_THAT([&] { readTuning({path, ""}); }, ThrowsMessage<Failure>(HasSubstr(c.refusal)));
      continue;
    }
    const Tuning tuning = readTuning({path, ""});
    EXPECT_EQ(std::string(tuning.configuration.begin(), tuning.configuration.end()), c.content);
    EXPECT_EQ(tuning.ghost.low, c.taken.low) << c.content;
    EXPECT_EQ(tuning.ghost.high, c.taken.high) << c.content;
  }
  std::vector<uint8_t> kernel(4 + 2 * 2 * 34 + 2 * 2 * 8);
  const auto phasesOf = [&](uint8_t low, uint8_t high) {
    kernel[0] = low;
    kernel[3] = high;
    test::writeFile(path, kernel);
    return readTuning({"", path}).phases;
  };
  EXPECT_EQ(phasesOf(2, 0), 2);
  for (const uint8_t wrong : {uint8_t{0}, uint8_t{255}})
    EXPECT_THAT([&] { phasesOf(wrong, wrong); },
                ThrowsMessage<Failure>(HasSubstr("a count of 1 to 1024")));
  kernel.pop_back();
  EXPECT_THAT([&] { phasesOf(2, 0); }, ThrowsMessage<Failure>(HasSubstr("has 171 bytes, but")));
  for (const TuningFiles& files : {TuningFiles{folder.path("none"), ""}, {"", folder.path("none")}})
    EXPECT_THAT([&] { readTuning(files); }, ThrowsMessage<Failure>(HasSubstr("cannot open")));
}

}  // namespace
}  // namespace velmora::tool
