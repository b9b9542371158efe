#include "tests/testing_host/testing_host.h"

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>

namespace vor::testing {

TempDir::TempDir() {
  char pattern[] = "/tmp/vor-test-XXXXXX";
  path = ::mkdtemp(pattern) != nullptr ? pattern : "/nonexistent";
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

std::string TempDir::Write(const std::string& name, const std::string& text) const {
  const std::filesystem::path file = path + "/" + name;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
  return file.string();
}

TestingHost::TestingHost() {
  Register(zel::IAllocator::kIid, allocator.get());
  Register(zel::ITracer::kIid, tracer.get());
}

void* CountingAllocator::Alloc(std::size_t size) {
  const std::uint64_t n = allocations_.fetch_add(1) + 1;
  if (failAlways_.load() || n == failAt_.load()) return nullptr;
  void* p = std::malloc(size != 0 ? size : 1);
  if (p == nullptr) return nullptr;
  std::lock_guard<std::mutex> lock(mutex_);
  blocks_.insert(p);
  return p;
}

// The module never reallocates; a call means it started to, unseen by these tests.
void* CountingAllocator::Realloc(void*, std::size_t) { std::abort(); }

void CountingAllocator::Free(void* p) {
  if (p == nullptr) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (blocks_.erase(p) == 0) std::abort();  // not ours, or freed twice
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

zel::result_t CapturingTracer::BeginRecord(std::uint32_t level, zel::TraceRecord* record, std::uint32_t capacity) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (failure_ != 0) return failure_;
  if (record == nullptr || capacity == 0) return zel::kErrInvalidArgument;
  if (level > threshold_) return zel::kErrTraceLevelProhibited;
  char* text = new (std::nothrow) char[capacity];
  if (text == nullptr) return zel::kErrOutOfMemory;
  *record = {this, text, capacity, 0, level, 0, nullptr};
  return 0;
}

void CapturingTracer::Commit(zel::TraceRecord* record) {
  std::unique_ptr<char[]> text(record->text);
  std::lock_guard<std::mutex> lock(mutex_);
  const std::uint32_t length = record->length < record->capacity ? record->length : 0;
  entries_.push_back({record->level, std::string(text.get(), length)});
}

void CapturingTracer::set_threshold(std::uint32_t threshold) {
  std::lock_guard<std::mutex> lock(mutex_);
  threshold_ = threshold;
}

void CapturingTracer::set_failure(zel::result_t code) {
  std::lock_guard<std::mutex> lock(mutex_);
  failure_ = code;
}

std::vector<TraceEntry> CapturingTracer::entries() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return entries_;
}

std::vector<std::string> CapturingTracer::lines() const {
  std::vector<std::string> out;
  for (const TraceEntry& entry : entries()) out.push_back(entry.text);
  return out;
}

std::vector<std::string> CapturingTracer::lines(std::uint32_t level) const {
  std::vector<std::string> out;
  for (const TraceEntry& entry : entries()) {
    if (entry.level == level) out.push_back(entry.text);
  }
  return out;
}

bool CapturingTracer::Contains(const std::string& text) const {
  for (const std::string& line : lines()) {
    if (line.find(text) != std::string::npos) return true;
  }
  return false;
}

void CapturingTracer::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  entries_.clear();
}

void RefusingLocator::Refuse(std::uint32_t iid, zel::result_t code) {
  std::lock_guard<std::mutex> lock(mutex_);
  refused_.insert(iid);
  code_ = code;
}

void RefusingLocator::Allow(std::uint32_t iid) {
  std::lock_guard<std::mutex> lock(mutex_);
  refused_.erase(iid);
}

void RefusingLocator::RefuseAfter(int n) {
  std::lock_guard<std::mutex> lock(mutex_);
  remaining_ = n;
}

zel::result_t RefusingLocator::GetInterface(std::uint32_t iid, std::uint32_t serviceId, void** out) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    asked_.push_back(iid);
    if (refused_.count(iid) != 0 || remaining_ == 0) {
      if (out != nullptr) *out = nullptr;
      return code_;
    }
  }
  const zel::result_t code = ServiceLocator::GetInterface(iid, serviceId, out);
  std::lock_guard<std::mutex> lock(mutex_);
  if (remaining_ > 0 && static_cast<std::int32_t>(code) >= 0) --remaining_;
  return code;
}

std::vector<std::uint32_t> RefusingLocator::asked() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return asked_;
}

void RefusingLocator::ResetCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  asked_.clear();
}

}  // namespace vor::testing
