// The file list's hot path, IsInListWide, against a bare baseline in the same
// run: the same UTF-16 path converted to UTF-8 and looked up in a plain
// std::unordered_set<std::string>. Also the cost of an Update on this machine
// and the bytes the list holds.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "bench/bench_support.h"
#include "filelist/vor_list.h"
#include "host/directory_storage.h"
#include "host/host_object.h"
#include "host/service_locator.h"
#include "osinfo/os_release_info.h"
#include "vor/utf.h"

namespace {

using vor::Ref;
using vor::bench::CountingAllocator;
using vor::bench::SilentTracer;
using vor::bench::Wide;

struct Fixture {
  Fixture()
      : allocator(vor::host::MakeHostObject<CountingAllocator>()),
        tracer(vor::host::MakeHostObject<SilentTracer>()),
        locator(vor::host::MakeHostObject<vor::host::ServiceLocator>()),
        storage(vor::host::MakeHostObject<vor::host::DirectoryStorage>(std::string())) {
    locator->Register(zel::IAllocator::kIid, 0, allocator.get());
    locator->Register(zel::ITracer::kIid, 0, tracer.get());
    list.emplace(locator.get());
    list->Init(allocator.get(), vor::OsReleaseInfo{});
    list->Update(storage.get());

    std::vector<std::string> paths;
    list->CopySortedPaths(paths);
    baseline.insert(paths.begin(), paths.end());
    for (const std::string& path : paths) {
      if (path.size() >= 20 && path.size() <= 120) hits.push_back(Wide(path));
    }
    // Misses: real files of this machine that are not critical.
    std::error_code error;
    for (const char* root : {"/usr/share/doc", "/usr/lib/x86_64-linux-gnu", "/usr/include"}) {
      for (auto it = std::filesystem::recursive_directory_iterator(root, error);
           !error && it != std::filesystem::recursive_directory_iterator() && misses.size() < 512;
           it.increment(error)) {
        const std::string path = it->path().string();
        if (path.size() >= 20 && path.size() <= 120 && !baseline.count(path)) {
          misses.push_back(Wide(path));
        }
      }
    }
  }

  Ref<CountingAllocator> allocator;
  Ref<SilentTracer> tracer;
  Ref<vor::host::ServiceLocator> locator;
  Ref<vor::host::DirectoryStorage> storage;
  std::optional<vor::VorList> list;
  std::unordered_set<std::string> baseline;
  std::vector<std::u16string> hits;
  std::vector<std::u16string> misses;
};

Fixture& TheFixture() {
  static Fixture fixture;
  return fixture;
}

void LookUpInList(benchmark::State& state, const std::vector<std::u16string>& paths,
                  bool expected) {
  vor::VorList& list = *TheFixture().list;
  std::size_t i = state.thread_index() * 7;
  for (auto _ : state) {
    bool found = false;
    const zel::result_t code = list.IsInListWide(paths[i++ % paths.size()], found);
    if (code != 0 || found != expected) state.SkipWithError("wrong answer");
    benchmark::DoNotOptimize(found);
  }
  state.SetItemsProcessed(state.iterations());
}

void LookUpInBaseline(benchmark::State& state, const std::vector<std::u16string>& paths,
                      bool expected) {
  vor::bench::RunBaselineLookups(state, TheFixture().baseline, paths, expected,
                                  state.thread_index() * 7);
}

void BM_VorListHit(benchmark::State& state) { LookUpInList(state, TheFixture().hits, true); }
void BM_VorListMiss(benchmark::State& state) { LookUpInList(state, TheFixture().misses, false); }
void BM_BaselineHit(benchmark::State& state) { LookUpInBaseline(state, TheFixture().hits, true); }
void BM_BaselineMiss(benchmark::State& state) {
  LookUpInBaseline(state, TheFixture().misses, false);
}

BENCHMARK(BM_BaselineHit)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_VorListHit)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_BaselineMiss)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_VorListMiss)->Threads(1)->Threads(2)->UseRealTime();

// A full rebuild: directory probes, realpath calls and every insertion.
void BM_VorListUpdate(benchmark::State& state) {
  Fixture& fixture = TheFixture();
  for (auto _ : state) {
    if (fixture.list->Update(fixture.storage.get()) != 0) state.SkipWithError("update failed");
  }
  std::vector<std::string> paths;
  fixture.list->CopySortedPaths(paths);
  state.counters["paths"] = static_cast<double>(paths.size());
  state.counters["list_bytes"] = static_cast<double>(fixture.allocator->bytes());
  state.counters["hit_paths"] = static_cast<double>(fixture.hits.size());
  state.counters["miss_paths"] = static_cast<double>(fixture.misses.size());
}
BENCHMARK(BM_VorListUpdate)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
