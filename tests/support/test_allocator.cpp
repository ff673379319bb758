#include "support/test_allocator.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>

namespace velmora::test {
namespace {

constexpr std::size_t kCanary = 64;
constexpr uint8_t kCanaryByte = 0xC5;
constexpr uint8_t kFillByte = 0xA7;

struct State {
  std::map<void*, uint32_t> live;
  std::vector<uint32_t> requests;
  std::string faults;
  std::size_t liveBytes = 0;
  std::size_t peakBytes = 0;
  int failIn = -1;
};

State& state() {
  static State s;
  return s;
}

bool canariesIntact(const uint8_t* block, uint32_t size) {
  for (std::size_t i = 0; i < kCanary; ++i) {
    if (block[i] != kCanaryByte || block[kCanary + size + i] != kCanaryByte) return false;
  }
  return true;
}

void checkTag(const char* tag, int32_t reserved) {
  if (tag == nullptr || std::strcmp(tag, "SR_Process") != 0) state().faults += "wrong tag; ";
  if (reserved != 0) state().faults += "reserved not 0; ";
}

}  // namespace

void* TestAllocator::alloc(uint32_t size, const char* tag, int32_t reserved) {
  checkTag(tag, reserved);
  state().requests.push_back(size);
  if (state().failIn >= 0 && state().failIn-- == 0) return nullptr;
  auto* block = static_cast<uint8_t*>(std::malloc(size + 2 * kCanary));
  if (block == nullptr) return nullptr;
  std::memset(block, kCanaryByte, kCanary);
  std::memset(block + kCanary, kFillByte, size);
  std::memset(block + kCanary + size, kCanaryByte, kCanary);
  state().live[block + kCanary] = size;
  state().liveBytes += size;
  state().peakBytes = std::max(state().peakBytes, state().liveBytes);
  return block + kCanary;
}

void TestAllocator::free(void* ptr, const char* tag, int32_t reserved) {
  checkTag(tag, reserved);
  const auto found = state().live.find(ptr);
  if (found == state().live.end()) {
    state().faults += "unknown block returned; ";
    return;
  }
  uint8_t* block = static_cast<uint8_t*>(ptr) - kCanary;
  if (!canariesIntact(block, found->second)) {
    state().faults += "canary of a " + std::to_string(found->second) + " byte block overwritten; ";
  }
  state().liveBytes -= found->second;
  state().live.erase(found);
  std::free(block);
}

void TestAllocator::reset() {
  for (const auto& [ptr, size] : state().live)
    std::free(static_cast<uint8_t*>(ptr) - kCanary);
  state() = {};
}

void TestAllocator::failRequest(int n) {
  state().failIn = n;
}
const std::vector<uint32_t>& TestAllocator::requests() {
  return state().requests;
}
std::size_t TestAllocator::live() {
  return state().live.size();
}
std::size_t TestAllocator::peakBytes() {
  return state().peakBytes;
}
std::string TestAllocator::faults() {
  return state().faults;
}

}  // namespace velmora::test
