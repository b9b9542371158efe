// IsCriticalProcessByPid on a live process with a 100-entry list, beside the
// minimal /proc reads any such decision needs: readlink of exe and ns/mnt for
// the process and its parent, and one read of status.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/bench_support.h"
#include "host/directory_storage.h"
#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/host_object.h"
#include "host/malloc_allocator.h"
#include "host/service_locator.h"
#include "host/xml_factory.h"
#include "proclist/vor_process_list.h"

namespace {

using vor::bench::Reap;
using vor::bench::SpawnSleeper;
using vor::host::MakeHostObject;

void BM_MinimalProcReads(benchmark::State& state) { vor::bench::RunMinimalProcReads(state); }
BENCHMARK(BM_MinimalProcReads);

void BM_IsCriticalProcessByPid(benchmark::State& state) {
  auto locator = MakeHostObject<vor::host::ServiceLocator>();
  auto allocator = MakeHostObject<vor::host::MallocAllocator>();
  auto tracer = MakeHostObject<vor::bench::SilentTracer>();
  auto xml = MakeHostObject<vor::host::XmlFactory>();
  auto flags = MakeHostObject<vor::host::FeatureFlags>();
  auto environment = MakeHostObject<vor::host::Environment>();
  locator->Register(zel::IAllocator::kIid, 0, allocator.get());
  locator->Register(zel::ITracer::kIid, 0, tracer.get());
  locator->Register(zel::IXmlFactory::kIid, 0, xml.get());
  locator->Register(zel::IFeatureFlags::kIid, 0, flags.get());
  locator->Register(zel::IEnvironment::kIid, 0, environment.get());

  char dir[] = "/tmp/vor_proclist_bench_XXXXXX";
  if (::mkdtemp(dir) == nullptr) {
    state.SkipWithError("mkdtemp failed");
    return;
  }
  {
    // 100 entries, none of which matches the child, so every decision walks
    // the whole list.
    std::ofstream out(std::string(dir) + "/vor_proc.xms");
    out << "<vor_process_list>\n";
    for (int i = 0; i < 100; ++i) {
      out << "  <vor_process_entry flags=\"" << (i % 3 + 1) << "\" path=\"/usr/lib/app" << i
          << "/bin/daemon\" parent_path=\"/usr/lib/app" << i << "/bin/launcher\"/>\n";
    }
    out << "</vor_process_list>\n";
  }
  auto storage = MakeHostObject<vor::host::DirectoryStorage>(dir);
  vor::VorProcessList list(locator.get());
  const vor::OsReleaseInfo release{zel::string("Debian GNU/Linux"), zel::string("12")};
  if (list.Init(allocator.get(), release) != 0 || list.UpdateFromStorage(storage.get()) != 0) {
    state.SkipWithError("process list setup failed");
    return;
  }
  const pid_t child = SpawnSleeper();
  for (auto _ : state) {
    bool critical = true;
    benchmark::DoNotOptimize(list.IsCriticalProcessByPid(static_cast<std::uint32_t>(child), critical));
    benchmark::DoNotOptimize(critical);
  }
  Reap(child);
  std::remove((std::string(dir) + "/vor_proc.xms").c_str());
  ::rmdir(dir);
}
BENCHMARK(BM_IsCriticalProcessByPid);

}  // namespace

BENCHMARK_MAIN();
