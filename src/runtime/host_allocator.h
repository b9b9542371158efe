// A standard allocator that takes memory from the host's IAllocator, or from
// the C heap when no host allocator is attached. It holds no reference: the
// object that owns the container keeps the allocator alive for longer.
#ifndef VOR_RUNTIME_HOST_ALLOCATOR_H_
#define VOR_RUNTIME_HOST_ALLOCATOR_H_

#include <cstdlib>
#include <limits>
#include <new>

#include "vor/host_services.h"

namespace zel {

template <class T>
class HostAllocator {
 public:
  using value_type = T;

  HostAllocator() = default;
  explicit HostAllocator(IAllocator* host) : host_(host) {}
  template <class U>
  HostAllocator(const HostAllocator<U>& other) : host_(other.host()) {}

  T* allocate(std::size_t n) {
    if (n > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_array_new_length();
    void* p = host_ != nullptr ? host_->Alloc(n * sizeof(T)) : std::malloc(n * sizeof(T));
    if (p == nullptr) throw std::bad_alloc();
    return static_cast<T*>(p);
  }
  void deallocate(T* p, std::size_t) noexcept {
    if (host_ != nullptr) {
      host_->Free(p);
    } else {
      std::free(p);
    }
  }

  IAllocator* host() const { return host_; }
  template <class U>
  bool operator==(const HostAllocator<U>& other) const {
    return host_ == other.host();
  }

 private:
  IAllocator* host_ = nullptr;
};

}  // namespace zel

#endif  // VOR_RUNTIME_HOST_ALLOCATOR_H_
