#include "engine/block_pool.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

namespace velmora::tool::block_pool {
namespace {

struct Block {
  void* data;
  std::size_t size;
  bool used;
};

// A handful of blocks at a time: a plain list is the fastest search.
struct Pool {
  std::mutex mutex;
  std::vector<Block> blocks;
  std::size_t held = 0;
  std::size_t peak = 0;

  ~Pool() {
    for (const Block& block : blocks)
      std::free(block.data);
  }
};

Pool& pool() {
  static Pool instance;
  return instance;
}

void trimLocked(Pool& p) {
  std::erase_if(p.blocks, [&](const Block& block) {
    if (block.used) return false;
    std::free(block.data);
    p.held -= block.size;
    return true;
  });
}

}  // namespace

void* allocate(uint32_t size, const char*, int32_t) {
  Pool& p = pool();
  const std::lock_guard lock(p.mutex);
  // The smallest free block that fits without wasting more than half of itself.
  Block* best = nullptr;
  for (Block& block : p.blocks) {
    const bool fits = !block.used && block.size >= size && block.size / 2 <= size;
    if (fits && (best == nullptr || block.size < best->size)) best = &block;
  }
  if (best != nullptr) {
    best->used = true;
    return best->data;
  }
  const std::size_t bytes = std::max<std::size_t>(size, 1);
  void* data = std::malloc(bytes);
  if (data == nullptr) {
    trimLocked(p);
    data = std::malloc(bytes);
  }
  if (data == nullptr) return nullptr;
  try {
    p.blocks.push_back({data, bytes, true});
  } catch (const std::bad_alloc&) {
    std::free(data);
    return nullptr;
  }
  p.held += bytes;
  p.peak = std::max(p.peak, p.held);
  return data;
}

void release(void* data, const char*, int32_t) {
  Pool& p = pool();
  const std::lock_guard lock(p.mutex);
  for (Block& block : p.blocks) {
    if (block.data == data) block.used = false;
  }
}

std::size_t peakBytes() {
  Pool& p = pool();
  const std::lock_guard lock(p.mutex);
  return p.peak;
}

void trim() {
  Pool& p = pool();
  const std::lock_guard lock(p.mutex);
  trimLocked(p);
}

}  // namespace velmora::tool::block_pool
