// The service as a host sees it: libvor.so loaded with dlopen, the tracer
// off, CheckCriticalFile and CheckCriticalProcess through the published
// interface, each beside a bare baseline in the same run (a plain
// std::unordered_set<std::string> lookup of the UTF-8 path; the minimal /proc
// reads a process decision needs). Also CreateInstance+Verify and the host
// memory the service holds once verified.
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench_support.h"
#include "filelist/vor_list.h"
#include "host/directory_storage.h"
#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/host_object.h"
#include "host/lumo_file_factory.h"
#include "host/service_locator.h"
#include "host/xml_factory.h"
#include "osinfo/os_release_info.h"
#include "vor/corvane.h"
#include "vor/module.h"
#include "vor/utf.h"

namespace {

using vor::Ref;
using vor::bench::CountingAllocator;
using vor::bench::Reap;
using vor::bench::SilentTracer;
using vor::bench::SpawnSleeper;
using vor::bench::Wide;
using vor::host::MakeHostObject;

// The loaded module, a reference host and one verified service.
struct Service {
  Service()
      : allocator(MakeHostObject<CountingAllocator>()),
        locator(MakeHostObject<vor::host::ServiceLocator>()),
        storage(MakeHostObject<vor::host::DirectoryStorage>(std::string())) {
    zel::result_t code = 0;
    files = vor::host::LumoFileFactory::Create("/", &code);
    locator->Register(zel::IAllocator::kIid, 0, allocator.get());
    locator->Register(zel::ITracer::kIid, 0, MakeHostObject<SilentTracer>().get());
    locator->Register(zel::ILumoFileFactory::kIid, zel::ILumoFileFactory::kServiceId, files.get());
    locator->Register(zel::IXmlFactory::kIid, 0, MakeHostObject<vor::host::XmlFactory>().get());
    locator->Register(zel::IFeatureFlags::kIid, 0, MakeHostObject<vor::host::FeatureFlags>().get());
    locator->Register(zel::IEnvironment::kIid, 0, MakeHostObject<vor::host::Environment>().get());

    void* module = ::dlopen(VOR_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);  // kept for the run
    if (module != nullptr) {
      getFactory = reinterpret_cast<zelGetObjectFactoryFn>(::dlsym(module, "zelGetObjectFactory"));
    }
    if (getFactory != nullptr) service = CreateAndVerify();
    verifiedBytes = allocator->bytes();
    verifiedBlocks = allocator->blocks();
    if (service) FindPaths();
  }

  // A new verified service, or none.
  Ref<vor::ICorvane2> CreateAndVerify() {
    using namespace app_core::service_manager;
    Ref<zel::IObjectFactory> factory;
    Ref<vor::ICorvane2> created;
    Ref<IStorageObjectState> storageState;
    Ref<IObjectState> state;
    if (getFactory(locator.get(), vor::kCorvaneClassId, factory.put()) != 0 ||
        factory->CreateInstance(locator.get(), 0, created.put_void()) != 0 ||
        created->QueryInterface(IStorageObjectState::kIid, storageState.put_void()) != 0 ||
        created->QueryInterface(IObjectState::kIid, state.put_void()) != 0 ||
        storageState->SetStorage(storage.get()) != 0 || state->Verify() != 0) {
      return nullptr;
    }
    return created;
  }

  // Hits: the list's own paths, as a white-box list of this machine builds
  // them, that the service confirms; misses: real files it does not list.
  void FindPaths() {
    vor::VorList list(locator.get());
    list.Init(allocator.get(), vor::OsReleaseInfo{});
    list.Update(storage.get());
    std::vector<std::string> paths;
    list.CopySortedPaths(paths);
    baseline.insert(paths.begin(), paths.end());
    int context = 0;
    for (const std::string& path : paths) {
      bool critical = false;
      const std::u16string wide = Wide(path);
      if (path.size() >= 20 && path.size() <= 120 &&
          service->CheckCriticalFile(&context, wide.c_str(), &critical) == 0 && critical) {
        hits.push_back(wide);
      }
    }
    std::error_code error;
    for (const char* root : {"/usr/share/doc", "/usr/lib/x86_64-linux-gnu", "/usr/include"}) {
      for (auto it = std::filesystem::recursive_directory_iterator(root, error);
           !error && it != std::filesystem::recursive_directory_iterator() && misses.size() < 512;
           it.increment(error)) {
        const std::string path = it->path().string();
        bool critical = true;
        const std::u16string wide = Wide(path);
        if (path.size() >= 20 && path.size() <= 120 && !baseline.count(path) &&
            service->CheckCriticalFile(&context, wide.c_str(), &critical) == 0 && !critical) {
          misses.push_back(wide);
        }
      }
    }
  }

  Ref<CountingAllocator> allocator;
  Ref<vor::host::ServiceLocator> locator;
  Ref<vor::host::DirectoryStorage> storage;
  Ref<vor::host::LumoFileFactory> files;
  zelGetObjectFactoryFn getFactory = nullptr;
  Ref<vor::ICorvane2> service;
  std::size_t verifiedBytes = 0;
  std::size_t verifiedBlocks = 0;
  std::unordered_set<std::string> baseline;
  std::vector<std::u16string> hits;
  std::vector<std::u16string> misses;
};

Service& TheService() {
  static Service service;
  return service;
}

bool Ready(benchmark::State& state, const std::vector<std::u16string>* paths = nullptr) {
  Service& service = TheService();
  if (!service.service) {
    state.SkipWithError("the module could not be loaded or verified");
    return false;
  }
  if (paths != nullptr && paths->empty()) {
    state.SkipWithError("no paths to look up");
    return false;
  }
  return true;
}

void CheckFiles(benchmark::State& state, const std::vector<std::u16string>& paths, bool expected) {
  if (!Ready(state, &paths)) return;
  vor::ICorvane2* service = TheService().service.get();
  int context = 0;
  std::size_t i = 0;
  for (auto _ : state) {
    bool critical = !expected;
    const zel::result_t code =
        service->CheckCriticalFile(&context, paths[i++ % paths.size()].c_str(), &critical);
    if (code != 0 || critical != expected) state.SkipWithError("wrong answer");
    benchmark::DoNotOptimize(critical);
  }
  state.SetItemsProcessed(state.iterations());
}

void LookUpInBaseline(benchmark::State& state, const std::vector<std::u16string>& paths,
                      bool expected) {
  if (!Ready(state, &paths)) return;
  vor::bench::RunBaselineLookups(state, TheService().baseline, paths, expected);
}

void BM_ServiceBaselineHit(benchmark::State& state) {
  LookUpInBaseline(state, TheService().hits, true);
}
void BM_ServiceFileHit(benchmark::State& state) { CheckFiles(state, TheService().hits, true); }
void BM_ServiceBaselineMiss(benchmark::State& state) {
  LookUpInBaseline(state, TheService().misses, false);
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
  vor::ICorvane2* service = TheService().service.get();
  const pid_t child = SpawnSleeper();
  int context = 0;
  for (auto _ : state) {
    bool critical = true;
    const zel::result_t code =
        service->CheckCriticalProcess(&context, static_cast<std::uint32_t>(child), &critical);
    if (code != 0 || critical) state.SkipWithError("wrong answer");
    benchmark::DoNotOptimize(critical);
  }
  Reap(child);
}
BENCHMARK(BM_ServiceProcess);

// A host's start-up: a new service object, its storage and Verify, which
// reads the OS release and builds both lists.
void BM_ServiceCreateAndVerify(benchmark::State& state) {
  if (!Ready(state)) return;
  Service& service = TheService();
  for (auto _ : state) {
    Ref<vor::ICorvane2> created = service.CreateAndVerify();
    if (!created) state.SkipWithError("CreateInstance or Verify failed");
  }
  state.counters["host_bytes_after_verify"] = static_cast<double>(service.verifiedBytes);
  state.counters["host_blocks_after_verify"] = static_cast<double>(service.verifiedBlocks);
  state.counters["hit_paths"] = static_cast<double>(service.hits.size());
  state.counters["miss_paths"] = static_cast<double>(service.misses.size());
}
BENCHMARK(BM_ServiceCreateAndVerify)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
