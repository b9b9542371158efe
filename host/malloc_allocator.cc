#include "host/malloc_allocator.h"

#include <cstdlib>

namespace vor::host {

// malloc(0) may return null, which the module would read as out of memory.
void* MallocAllocator::Alloc(std::size_t size) { return std::malloc(size != 0 ? size : 1); }

void* MallocAllocator::Realloc(void* p, std::size_t size) {
  return std::realloc(p, size != 0 ? size : 1);
}

void MallocAllocator::Free(void* p) { std::free(p); }

}  // namespace vor::host
