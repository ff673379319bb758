#include "support/new_faults.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace velmora::test {
namespace {

thread_local std::ptrdiff_t failIndex = -1;
thread_local std::ptrdiff_t requestCount = 0;
thread_local bool failOnce = false;
thread_local NewFaults::Forms failForms = NewFaults::Forms::kAll;
std::atomic<std::ptrdiff_t> liveBlocks{0};

bool refused() {
  const std::ptrdiff_t index = requestCount++;
  return failIndex >= 0 && (failOnce ? index == failIndex : index >= failIndex);
}

void* take(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block != nullptr) ++liveBlocks;
  return block;
}

void* request(std::size_t size) {
  return refused() ? nullptr : take(size);
}

void* requestOrThrow(std::size_t size) {
  const bool fails = failForms == NewFaults::Forms::kAll && refused();
  void* block = fails ? nullptr : take(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void giveBack(void* block) {
  if (block != nullptr) --liveBlocks;
  std::free(block);
}

}  // namespace

NewFaults::NewFaults(std::ptrdiff_t failFrom, Forms forms) {
  requestCount = 0;
  failForms = forms;
  failOnce = false;
  failIndex = failFrom;
}
NewFaults::~NewFaults() {
  failIndex = -1;
}
void NewFaults::once() {
  failOnce = true;
}
std::ptrdiff_t liveNewBlocks() {
  return liveBlocks;
}

}  // namespace velmora::test

void* operator new(std::size_t size) {
  return velmora::test::requestOrThrow(size);
}
void* operator new[](std::size_t size) {
  return velmora::test::requestOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return velmora::test::request(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return velmora::test::request(size);
}
void operator delete(void* block) noexcept {
  velmora::test::giveBack(block);
}
void operator delete[](void* block) noexcept {
  velmora::test::giveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
  velmora::test::giveBack(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  velmora::test::giveBack(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  velmora::test::giveBack(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  velmora::test::giveBack(block);
}
