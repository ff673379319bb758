#include "frame_pump.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "errors.h"
#include "formats/raw.h"
#include "interrupt.h"

namespace velmora::tool {
namespace {

// Frames whose first sample counts them; breaks behind the last one if it shall.
class Numbers final : public FrameReader {
 public:
  Numbers(int count, bool broken) : count_(count), broken_(broken) {}
  const std::string& name() const override { return name_; }

 private:
  bool readFrame(Picture& picture) override {
    if (given_ == count_ && broken_) throw InputBroken("broken");
    if (given_ == count_) return false;
    picture.reset({2, 2});
    picture.y.row(0)[0] = static_cast<uint8_t>(++given_);
    return true;
  }

  std::string name_ = "numbers";
  int count_;
  bool broken_;
  int given_ = 0;
};

// Notes the numbers; has room for some.
class Notes final : public FrameWriter {
 public:
  explicit Notes(std::size_t room) : room_(room) {}
  std::vector<int> numbers;

 private:
  void writeFrame(const Picture& picture) override {
    if (numbers.size() == room_) throw Failure("full");
    numbers.push_back(picture.y.row(0)[0]);
  }
  void commit() override {}

  std::size_t room_;
};

TEST(FramePump, KeepsOrderAndTellsWhatEndsIt) {
  const struct {
    int frames;
    bool broken;
    std::size_t room;
    const char* ends;
  } cases[] = {{0, false, 9, ""},         {1, false, 9, ""},       {100, false, 100, ""},
               {30, true, 100, "broken"}, {100, false, 7, "full"}, {0, true, 0, "broken"}};
  for (const auto& c : cases) {
    Numbers reader(c.frames, c.broken);
    Notes writer(c.room);
    long written = 0;
    std::string ends;
    {
      FramePump pump(reader, writer, written);
      try {
        try {
          for (Picture picture; pump.next(picture);)
            pump.put(picture);
        } catch (const InputBroken& broken) {
          ends = broken.what();
        }
        pump.finish();
      } catch (const Failure& failure) {
        ends = failure.what();
      }
    }
    EXPECT_EQ(ends, c.ends);
    std::vector<int> expected;
    for (int i = 1; i <= std::min(c.frames, static_cast<int>(c.room)); ++i)
      expected.push_back(i);
    EXPECT_EQ(writer.numbers, expected) << c.frames;
    EXPECT_EQ(written, static_cast<long>(expected.size()));
  }
}

// A writer that fails is told of although no frame comes: nobody waits for the input then.
TEST(FramePump, LeavesAnInputThatStandsStill) {
  int ends[2] = {};
  ASSERT_EQ(pipe(ends), 0);
  interrupt::install();
  {
    const auto reader = openRaw(std::make_unique<ByteSource>("/dev/fd/" + std::to_string(ends[0])),
                                {{2, 2}, FileFormat::i420, false});
    ASSERT_EQ(write(ends[1], "yyyyuv", 6), 6);
    Notes writer(0);
    long written = 0;
    FramePump pump(*reader, writer, written);
    Picture picture;
    ASSERT_TRUE(pump.next(picture));
    pump.put(picture);
    EXPECT_THROW(pump.next(picture), Failure);
  }
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace velmora::tool
