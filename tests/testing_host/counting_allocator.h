// An allocator that counts live blocks and can fail its Nth allocation, for
// leak checks and allocation-failure sweeps.
#ifndef VOR_TESTS_TESTING_HOST_COUNTING_ALLOCATOR_H_
#define VOR_TESTS_TESTING_HOST_COUNTING_ALLOCATOR_H_

#include <atomic>
#include <cstdint>
#include <mutex>
#include <unordered_map>

#include "host/host_object.h"
#include "vor/host_services.h"

namespace vor::testing {

class CountingAllocator : public host::HostObject<zel::IAllocator> {
 public:
  void* Alloc(std::size_t size) override;
  void* Realloc(void* p, std::size_t size) override;
  void Free(void* p) override;

  // Allocations counted from now: the `n`-th (1-based) returns null; 0 never fails.
  void FailAt(std::uint64_t n);
  // From now on every allocation fails (until FailAt or FailNever).
  void FailAlways();
  void FailNever() { FailAt(0); }

  std::int64_t live_blocks() const;
  // Allocation requests since the last FailAt/FailAlways/FailNever.
  std::uint64_t allocations() const { return allocations_.load(); }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<void*, std::size_t> blocks_;
  std::atomic<std::uint64_t> allocations_{0};
  std::atomic<std::uint64_t> failAt_{0};
  std::atomic<bool> failAlways_{false};
};

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_COUNTING_ALLOCATOR_H_
