#include "host/malloc_allocator.h"

#include <cstdlib>

#include "host/host_failures.h"

namespace vor::host {
namespace {

void* Counted(void* block) {
  if (block == nullptr) NoteHostFailure(VOR_E_OUT_OF_MEMORY);
  return block;
}

}  // namespace

// malloc(0) may return null, which the module would read as out of memory.
void* MallocAllocator::Alloc(std::size_t size) { return Counted(std::malloc(size != 0 ? size : 1)); }

void* MallocAllocator::Realloc(void* p, std::size_t size) {
  return Counted(std::realloc(p, size != 0 ? size : 1));
}

void MallocAllocator::Free(void* p) { std::free(p); }

}  // namespace vor::host
