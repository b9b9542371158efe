#include "tests/testing_host/counting_allocator.h"

#include <cstdlib>
#include <cstring>

namespace vor::testing {

void* CountingAllocator::Alloc(std::size_t size) {
  const std::uint64_t n = allocations_.fetch_add(1) + 1;
  if (failAlways_.load() || n == failAt_.load()) return nullptr;
  void* p = std::malloc(size != 0 ? size : 1);
  if (p == nullptr) return nullptr;
  std::lock_guard<std::mutex> lock(mutex_);
  blocks_.emplace(p, size);
  return p;
}

void* CountingAllocator::Realloc(void* p, std::size_t size) {
  if (p == nullptr) return Alloc(size);
  void* q = Alloc(size);
  if (q == nullptr) return nullptr;
  std::size_t old_size;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    old_size = blocks_.at(p);
  }
  std::memcpy(q, p, old_size < size ? old_size : size);
  Free(p);
  return q;
}

void CountingAllocator::Free(void* p) {
  if (p == nullptr) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = blocks_.find(p);
    if (it == blocks_.end()) std::abort();  // not ours, or freed twice
    blocks_.erase(it);
  }
  std::free(p);
}

void CountingAllocator::FailAt(std::uint64_t n) {
  failAlways_.store(false);
  failAt_.store(n);
  allocations_.store(0);
}

void CountingAllocator::FailAlways() {
  allocations_.store(0);
  failAlways_.store(true);
}

std::int64_t CountingAllocator::live_blocks() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<std::int64_t>(blocks_.size());
}

}  // namespace vor::testing
