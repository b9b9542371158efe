// Pieces the benchmark suites share: a host allocator that counts what it
// holds, a tracer with every level off, a sleeping child process, and the
// minimal /proc reads that are the baseline of every process decision.
#ifndef VOR_BENCH_BENCH_SUPPORT_H_
#define VOR_BENCH_BENCH_SUPPORT_H_

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>

#include "host/host_object.h"
#include "vor/host_services.h"

namespace vor::bench {

// Counts the bytes and blocks it has handed out and not yet taken back.
class CountingAllocator : public host::HostObject<zel::IAllocator> {
 public:
  void* Alloc(std::size_t size) override;
  void* Realloc(void* p, std::size_t size) override;
  void Free(void* p) override;
  std::size_t bytes() const { return bytes_.load(); }
  std::size_t blocks() const { return blocks_.load(); }

 private:
  static constexpr std::size_t kHeader = 16;
  std::atomic<std::size_t> bytes_{0};
  std::atomic<std::size_t> blocks_{0};
};

// Every level off, as a host runs at its default level.
class SilentTracer : public host::HostObject<zel::ITracer> {
 public:
  zel::result_t BeginRecord(std::uint32_t, zel::TraceRecord*, std::uint32_t) override {
    return zel::kErrTraceLevelProhibited;
  }
};

std::u16string Wide(std::string_view utf8);

// A sleeping child: a process that is not this one and has a real parent.
pid_t SpawnSleeper();
void Reap(pid_t pid);

// The file checks' baseline: each UTF-16 path converted to UTF-8 and looked up
// in a plain std::unordered_set<std::string>. `first` spreads threads apart.
void RunBaselineLookups(benchmark::State& state, const std::unordered_set<std::string>& set,
                        const std::vector<std::u16string>& paths, bool expected,
                        std::size_t first = 0);

// What any decision about a process must read: exe and ns/mnt of the process
// and of its parent, and one read of the status file.
void RunMinimalProcReads(benchmark::State& state);

}  // namespace vor::bench

#endif  // VOR_BENCH_BENCH_SUPPORT_H_
