#include "memory/call_buffer.h"

#include <gtest/gtest.h>

#include "support/test_allocator.h"

namespace {

using velmora::CallBuffer;
using velmora::test::TestAllocator;

TEST(CallBuffer, ReturnsItsBlockOnceAndIsEmptyWhenNothingCanBeHad) {
  TestAllocator::reset();
  {
    CallBuffer<int32_t> a({TestAllocator::alloc, TestAllocator::free}, 10);
    ASSERT_TRUE(a);
    EXPECT_EQ(TestAllocator::requests(), (std::vector<uint32_t>{40}));
    CallBuffer<int32_t> b(std::move(a));
    EXPECT_FALSE(a);
    EXPECT_EQ(b.size(), 10u);
    a = std::move(b);
    EXPECT_EQ(TestAllocator::live(), 1u);
    a.reset();
    EXPECT_EQ(a.size(), 0u);
  }
  EXPECT_EQ(TestAllocator::live(), 0u);
  EXPECT_EQ(TestAllocator::faults(), "");
  EXPECT_FALSE(CallBuffer<int32_t>({nullptr, TestAllocator::free}, 1));
  EXPECT_FALSE(CallBuffer<int32_t>({TestAllocator::alloc, nullptr}, 1));
  EXPECT_FALSE(CallBuffer<int32_t>({TestAllocator::alloc, TestAllocator::free}, 0x40000000u));
  TestAllocator::failRequest(0);
  const CallBuffer<int32_t> failed({TestAllocator::alloc, TestAllocator::free}, 1);
  EXPECT_FALSE(failed);
  EXPECT_EQ(failed.size(), 0u);
}

}  // namespace
