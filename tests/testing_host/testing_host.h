// The testing host: an allocator that counts live blocks and can fail, a
// tracer that keeps every line it is given, and a locator that serves both
// and refuses what a test asks it to; with the small helpers every suite
// shares (a fresh folder, numbers and lines as trace text).
#ifndef VOR_TESTS_TESTING_HOST_TESTING_HOST_H_
#define VOR_TESTS_TESTING_HOST_TESTING_HOST_H_

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "host/host_object.h"
#include "host/service_locator.h"
#include "vor/host_services.h"
#include "vor/ref.h"

namespace vor::testing {

class CountingAllocator : public host::HostObject<zel::IAllocator> {
 public:
  void* Alloc(std::size_t size) override;
  void* Realloc(void*, std::size_t) override;
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
  std::unordered_set<void*> blocks_;
  std::atomic<std::uint64_t> allocations_{0};
  std::atomic<std::uint64_t> failAt_{0};
  std::atomic<bool> failAlways_{false};
};

struct TraceEntry {
  std::uint32_t level;
  std::string text;
};

class CapturingTracer : public host::HostObject<zel::ITracer>, private zel::ITraceSink {
 public:
  // Levels above `threshold` are disabled.
  explicit CapturingTracer(std::uint32_t threshold = 1000) : threshold_(threshold) {}

  zel::result_t BeginRecord(std::uint32_t level, zel::TraceRecord* record, std::uint32_t capacity) override;

  void set_threshold(std::uint32_t threshold);
  // Every BeginRecord fails with `code` while set (0 turns it off).
  void set_failure(zel::result_t code);

  std::vector<TraceEntry> entries() const;
  std::vector<std::string> lines() const;
  // Lines at exactly `level`.
  std::vector<std::string> lines(std::uint32_t level) const;
  // True when some line contains `text`.
  bool Contains(const std::string& text) const;
  void Clear();

 private:
  void Commit(zel::TraceRecord* record) override;

  mutable std::mutex mutex_;
  std::uint32_t threshold_;
  zel::result_t failure_ = 0;
  std::vector<TraceEntry> entries_;
};

class RefusingLocator : public host::ServiceLocator {
 public:
  // GetInterface for `iid` answers `code` until Allow(iid).
  void Refuse(std::uint32_t iid, zel::result_t code = zel::kErrNotFound);
  void Allow(std::uint32_t iid);
  // Refuses every interface asked after the first `n` successful answers
  // (counted from now); a negative value turns it off.
  void RefuseAfter(int n);

  zel::result_t GetInterface(std::uint32_t iid, std::uint32_t serviceId, void** out) override;

  // The interfaces asked for since the last ResetCount, one per request.
  std::vector<std::uint32_t> asked() const;
  void ResetCount();

 private:
  mutable std::mutex mutex_;
  std::set<std::uint32_t> refused_;
  zel::result_t code_ = zel::kErrNotFound;
  int remaining_ = -1;
  std::vector<std::uint32_t> asked_;
};

// A fresh folder under /tmp, removed with its content.
struct TempDir {
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  // Writes `text` to path/name, creating folders on the way; returns the file's path.
  std::string Write(const std::string& name, const std::string& text) const;
  std::string path;
};

// "0x" and the lowercase hexadecimal digits, as trace lines print numbers and addresses.
inline std::string Hex(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
  return text;
}
inline std::string Hex(const void* address) { return Hex(reinterpret_cast<std::uintptr_t>(address)); }

// The lines as one text, `between` between each two.
inline std::string Joined(const std::vector<std::string>& lines, const char* between = "\n") {
  std::string text;
  for (const std::string& line : lines) text += (text.empty() ? "" : between) + line;
  return text;
}

struct TestingHost {
  TestingHost();

  // Registers `object` as the default service of `iid`.
  void Register(std::uint32_t iid, zel::IObject* object, std::uint32_t serviceId = 0) {
    locator->Register(iid, serviceId, object);
  }

  Ref<CountingAllocator> allocator = host::MakeHostObject<CountingAllocator>();
  Ref<CapturingTracer> tracer = host::MakeHostObject<CapturingTracer>();
  Ref<RefusingLocator> locator = host::MakeHostObject<RefusingLocator>();
};

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_TESTING_HOST_H_
