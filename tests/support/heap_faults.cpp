#include "support/heap_faults.h"

#include <algorithm>
#include <array>
#include <mutex>

extern "C" {
void* __real_malloc(std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void __wrap_free(void* block);
}

namespace {

std::mutex mutex;
bool watching = false;
int failIn = -1;
int requestCount = 0;

// Blocks taken and not freed. No container that would allocate: it might come back here.
std::array<void*, 1024> blocks;
std::size_t blockCount = 0;

void remember(void* block) {
  if (block != nullptr && blockCount < blocks.size()) blocks[blockCount++] = block;
}

void forget(void* block) {
  auto* const end = blocks.data() + blockCount;
  auto* const found = std::find(blocks.data(), end, block);
  if (found == end) return;
  *found = blocks[--blockCount];
}

}  // namespace

namespace velmora::test {

HeapFaults::HeapFaults(int failing) {
  const std::lock_guard lock(mutex);
  watching = true;
  failIn = failing;
  requestCount = 0;
  blockCount = 0;
}

HeapFaults::~HeapFaults() {
  const std::lock_guard lock(mutex);
  watching = false;
}

int HeapFaults::requests() const {
  const std::lock_guard lock(mutex);
  return requestCount;
}

std::size_t HeapFaults::live() const {
  const std::lock_guard lock(mutex);
  return blockCount;
}

}  // namespace velmora::test

void* __wrap_malloc(std::size_t size) {
  const std::lock_guard lock(mutex);
  if (!watching) return __real_malloc(size);
  ++requestCount;
  if (failIn >= 0 && failIn-- == 0) return nullptr;
  void* block = __real_malloc(size);
  remember(block);
  return block;
}

void __wrap_free(void* block) {
  const std::lock_guard lock(mutex);
  if (watching) forget(block);
  __real_free(block);
}
