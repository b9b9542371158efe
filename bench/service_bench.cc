// The service as a host sees it: libvor.so loaded by libvor-host's session,
// the tracer off, file and process checks through the session, each beside a
// bare baseline in the same run (a plain std::unordered_set<std::string>
// lookup of the path; the minimal /proc reads a process decision needs). Also
// a host's start-up: a new service instance created and verified (Reload).
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench_support.h"
#include "module/tool_facts.h"
#include "vor/host_services.h"
#include "vor/ref.h"
#include "vor/session.hpp"

namespace {

using vor::bench::Reap;
using vor::bench::SpawnSleeper;
using vor::bench::Wide;

// One session on the built module, and the paths to ask about.
struct Service {
  Service() {
    vor::host::SessionOptions options;
    options.modulePath = VOR_MODULE_PATH;
    vor::host::Session::Open(options, session);
    if (session) FindPaths();
  }

  // Hits: the list's own paths, as the module's code builds them for this
  // machine, that the service confirms; misses: real files it does not list.
  void FindPaths() {
    vor::Ref<zel::IAllocator> allocator;
    session->locator()->GetInterface(zel::IAllocator::kIid, 0, allocator.put_void());
    const vor::facts::FileSet set =
        vor::facts::BuildFileSet(session->locator(), allocator.get(), session->storage());
    baseline.insert(set.paths.begin(), set.paths.end());
    for (const std::string& path : set.paths) {
      const vor::host::Answer answer = session->CheckFile(path);
      if (path.size() >= 20 && path.size() <= 120 && answer.result == VOR_OK && answer.critical) {
        hits.push_back(path);
      }
    }
    std::error_code error;
    for (const char* root : {"/usr/share/doc", "/usr/lib/x86_64-linux-gnu", "/usr/include"}) {
      for (auto it = std::filesystem::recursive_directory_iterator(root, error);
           !error && it != std::filesystem::recursive_directory_iterator() && misses.size() < 512;
           it.increment(error)) {
        const std::string path = it->path().string();
        if (path.size() < 20 || path.size() > 120 || baseline.count(path)) continue;
        const vor::host::Answer answer = session->CheckFile(path);
        if (answer.result == VOR_OK && !answer.critical) misses.push_back(path);
      }
    }
    for (const std::string& path : hits) wideHits.push_back(Wide(path));
    for (const std::string& path : misses) wideMisses.push_back(Wide(path));
  }

  std::unique_ptr<vor::host::Session> session;
  std::unordered_set<std::string> baseline;
  std::vector<std::string> hits;
  std::vector<std::string> misses;
  // The same paths in UTF-16, as the baseline converts them back.
  std::vector<std::u16string> wideHits;
  std::vector<std::u16string> wideMisses;
};

Service& TheService() {
  static Service service;
  return service;
}

template <class Paths = std::vector<std::string>>
bool Ready(benchmark::State& state, const Paths* paths = nullptr) {
  Service& service = TheService();
  if (!service.session) {
    state.SkipWithError("the module could not be loaded or verified");
    return false;
  }
  if (paths != nullptr && paths->empty()) {
    state.SkipWithError("no paths to look up");
    return false;
  }
  return true;
}

void CheckFiles(benchmark::State& state, const std::vector<std::string>& paths, bool expected) {
  if (!Ready(state, &paths)) return;
  vor::host::Session& session = *TheService().session;
  std::size_t i = 0;
  for (auto _ : state) {
    const vor::host::Answer answer = session.CheckFile(paths[i++ % paths.size()]);
    if (answer.result != VOR_OK || answer.critical != expected) state.SkipWithError("wrong answer");
    benchmark::DoNotOptimize(answer);
  }
  state.SetItemsProcessed(state.iterations());
}

void LookUpInBaseline(benchmark::State& state, const std::vector<std::u16string>& paths,
                      bool expected) {
  if (!Ready(state, &paths)) return;
  vor::bench::RunBaselineLookups(state, TheService().baseline, paths, expected);
}

void BM_ServiceBaselineHit(benchmark::State& state) {
  LookUpInBaseline(state, TheService().wideHits, true);
}
void BM_ServiceFileHit(benchmark::State& state) { CheckFiles(state, TheService().hits, true); }
void BM_ServiceBaselineMiss(benchmark::State& state) {
  LookUpInBaseline(state, TheService().wideMisses, false);
}
void BM_ServiceFileMiss(benchmark::State& state) { CheckFiles(state, TheService().misses, false); }
BENCHMARK(BM_ServiceBaselineHit);
BENCHMARK(BM_ServiceFileHit);
BENCHMARK(BM_ServiceBaselineMiss);
BENCHMARK(BM_ServiceFileMiss);

// What any decision about a process must read: exe and ns/mnt of the process
// and of its parent, and the status file.
void BM_ServiceBaselineProcReads(benchmark::State& state) {
  vor::bench::RunMinimalProcReads(state);
}
BENCHMARK(BM_ServiceBaselineProcReads);

void BM_ServiceProcess(benchmark::State& state) {
  if (!Ready(state)) return;
  vor::host::Session& session = *TheService().session;
  const pid_t child = SpawnSleeper();
  for (auto _ : state) {
    const vor::host::Answer answer = session.CheckPid(static_cast<std::uint32_t>(child));
    if (answer.result != VOR_OK || answer.critical) state.SkipWithError("wrong answer");
    benchmark::DoNotOptimize(answer);
  }
  Reap(child);
}
BENCHMARK(BM_ServiceProcess);

// A host's start-up: a new service instance, its storage and Verify, which
// reads the OS release and builds both lists, swapped in by Reload.
void BM_ServiceCreateAndVerify(benchmark::State& state) {
  if (!Ready(state)) return;
  Service& service = TheService();
  for (auto _ : state) {
    if (service.session->Reload() != VOR_OK) state.SkipWithError("CreateInstance or Verify failed");
  }
  state.counters["hit_paths"] = static_cast<double>(service.hits.size());
  state.counters["miss_paths"] = static_cast<double>(service.misses.size());
}
BENCHMARK(BM_ServiceCreateAndVerify)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
