// Working memory for the library: blocks are kept when they come back and handed out again, so that
// a clip touches fresh memory for its first frame only.
#ifndef VELMORA_TOOL_ENGINE_BLOCK_POOL_H
#define VELMORA_TOOL_ENGINE_BLOCK_POOL_H

#include <cstddef>
#include <cstdint>

namespace velmora::tool::block_pool {

/// The allocator pair of the library; process-wide, because the pair carries no context. Neither
/// throws.
void* allocate(uint32_t size, const char* tag, int32_t reserved);
void release(void* data, const char* tag, int32_t reserved);

/// Most bytes ever held at once.
std::size_t peakBytes();

/// Gives blocks that are not in use back to the system.
void trim();

}  // namespace velmora::tool::block_pool

#endif  // VELMORA_TOOL_ENGINE_BLOCK_POOL_H
