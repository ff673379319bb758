#include "support/heap_faults.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>

extern "C" {
void* __real_malloc(std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void __wrap_free(void* block);
}

namespace velmora::test {
namespace {

std::mutex mutex;
bool watching = false;
Requests watched = Requests::kMalloc;
bool alsoLaterOnes = false;
int failIndex = -1;
int requestCount = 0;

// Blocks of malloc taken and not freed. No container that would allocate: it might come back here.
std::array<void*, 1024> blocks;
std::size_t blockCount = 0;

std::atomic<std::ptrdiff_t> newBlocks{0};

/// Counts a request; whether it is one that fails.
bool refused(Requests kind) {
  const bool counts = watched == kind || (watched == Requests::kNew && kind != Requests::kMalloc);
  if (!watching || !counts) return false;
  const int index = requestCount++;
  return failIndex >= 0 && (alsoLaterOnes ? index >= failIndex : index == failIndex);
}

void* takeForNew(std::size_t size, Requests kind) {
  const std::lock_guard lock(mutex);
  void* block = refused(kind) ? nullptr : __real_malloc(std::max<std::size_t>(size, 1));
  if (block != nullptr) ++newBlocks;
  return block;
}

void* takeOrThrow(std::size_t size) {
  void* block = takeForNew(size, Requests::kNew);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void giveBack(void* block) {
  if (block != nullptr) --newBlocks;
  __real_free(block);
}

}  // namespace

HeapFaults::HeapFaults(int failing, Requests kind, bool laterOnes) {
  const std::lock_guard lock(mutex);
  watching = true;
  watched = kind;
  alsoLaterOnes = laterOnes;
  failIndex = failing;
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

std::ptrdiff_t liveNewBlocks() {
  return newBlocks;
}

}  // namespace velmora::test

using namespace velmora::test;

void* __wrap_malloc(std::size_t size) {
  const std::lock_guard lock(mutex);
  if (refused(Requests::kMalloc)) return nullptr;
  void* block = __real_malloc(size);
  if (watching && block != nullptr && blockCount < blocks.size()) blocks[blockCount++] = block;
  return block;
}

// Clang makes one call of malloc and a filling with zeros.
void* __wrap_calloc(std::size_t count, std::size_t size) {
  void* block = __wrap_malloc(count * size);
  if (block != nullptr) std::memset(block, 0, count * size);
  return block;
}

void __wrap_free(void* block) {
  const std::lock_guard lock(mutex);
  if (watching) {
    auto* const end = blocks.data() + blockCount;
    auto* const found = std::find(blocks.data(), end, block);
    if (found != end) *found = blocks[--blockCount];
  }
  __real_free(block);
}

// Every form: those of a sanitizer's runtime do not call each other.
void* operator new(std::size_t size) {
  return takeOrThrow(size);
}
void* operator new[](std::size_t size) {
  return takeOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return takeForNew(size, Requests::kNothrowNew);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return takeForNew(size, Requests::kNothrowNew);
}
void operator delete(void* block) noexcept {
  giveBack(block);
}
void operator delete[](void* block) noexcept {
  giveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
  giveBack(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  giveBack(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  giveBack(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  giveBack(block);
}
