// The working block that handles may share: sized by SR_Query, allocated by SR_MemManagement.
#ifndef VELMORA_SRC_INTERFACE_SOURCE_WORKING_MEMORY_H
#define VELMORA_SRC_INTERFACE_SOURCE_WORKING_MEMORY_H

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace velmora {

struct HeapRelease {
  void operator()(void* block) const { std::free(block); }
};

struct WorkingMemory {
  uint32_t size = 0;
  std::unique_ptr<void, HeapRelease> block;  ///< on the C heap
};

/// Process-wide, like everything the entry points share. No stage needs the block today and the
/// entry points do not allocate it, so it stays empty unless a host calls SR_MemManagement.
inline WorkingMemory workingMemory;

}  // namespace velmora

#endif  // VELMORA_SRC_INTERFACE_SOURCE_WORKING_MEMORY_H
