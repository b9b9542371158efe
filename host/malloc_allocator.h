// The host allocator over the C heap.
#ifndef VOR_HOST_MALLOC_ALLOCATOR_H_
#define VOR_HOST_MALLOC_ALLOCATOR_H_

#include "host/host_object.h"
#include "vor/host_services.h"

namespace vor::host {

class MallocAllocator : public HostObject<zel::IAllocator> {
 public:
  void* Alloc(std::size_t size) override;
  void* Realloc(void* p, std::size_t size) override;
  void Free(void* p) override;
};

}  // namespace vor::host

#endif  // VOR_HOST_MALLOC_ALLOCATOR_H_
