// A host loads, uses and unloads the module on every update for months: each
// cycle must give back the heap, descriptors, threads and mappings it took.
#include <malloc.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "tests/module/service_fixture.h"

namespace vor::testing {
namespace {

constexpr int kWarmUpCycles = 2;  // the test process's own one-time allocations
constexpr int kCycles = 200;
constexpr std::size_t kMaxHeapGrowthPerCycle = 256;
constexpr int kChecksPerThread = 20;

struct ProcessState {
  std::size_t heapInUse = 0;
  int fds = 0;
  int threads = 0;
};

ProcessState Snapshot() {
  ProcessState state;
  state.heapInUse = mallinfo2().uordblks;  // first, before this function allocates
  for ([[maybe_unused]] const auto& fd : std::filesystem::directory_iterator("/proc/self/fd")) {
    ++state.fds;
  }
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("Threads:")) state.threads = std::stoi(line.substr(8));
  }
  return state;
}

bool ModuleMapped() {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("/libvor.so") != std::string::npos) return true;
  }
  return false;
}

// One host's whole use of the module, from dlopen to dlclose.
void RunCycle(const std::string& storageDir) {
  TestingHost host;
  ASSERT_NO_FATAL_FAILURE(RegisterFileServices(host));
  auto storage = host::MakeHostObject<host::DirectoryStorage>(storageDir);
  LoadedModule module;
  ASSERT_NE(module.GetObjectFactory, nullptr);
  EXPECT_TRUE(ModuleMapped()) << "the mapping check must see a loaded module";
  {
    using namespace app_core::service_manager;
    Ref<zel::IObjectFactory> factory;
    Ref<ICorvane2> service;
    Ref<IStorageObjectState> storageState;
    Ref<IObjectState> state;
    ASSERT_EQ(module.GetObjectFactory(host.locator.get(), kCorvaneClassId, factory.put()), 0u);
    ASSERT_EQ(factory->CreateInstance(host.locator.get(), 0, service.put_void()), 0u);
    ASSERT_EQ(service->QueryInterface(IStorageObjectState::kIid, storageState.put_void()), 0u);
    ASSERT_EQ(service->QueryInterface(IObjectState::kIid, state.put_void()), 0u);
    ASSERT_EQ(storageState->SetStorage(storage.get()), 0u);
    ASSERT_EQ(state->Init(), 0u);
    ASSERT_EQ(state->Verify(), 0u);

    std::thread files([&service] {
      int context = 0;
      for (int i = 0; i < kChecksPerThread; ++i) {
        bool critical = false;
        EXPECT_EQ(service->CheckCriticalFile(&context, u"/usr/bin/ls", &critical), 0u);
        EXPECT_TRUE(critical);
        EXPECT_EQ(service->CheckCriticalFile(&context, u"/nonexistent/vor/ls", &critical), 0u);
        EXPECT_FALSE(critical);
      }
    });
    std::thread processes([&service] {
      const auto self = static_cast<std::uint32_t>(getpid());
      int context = 0;
      for (int i = 0; i < kChecksPerThread; ++i) {
        bool critical = false;
        EXPECT_EQ(service->CheckCriticalProcess(&context, self, &critical), 0u);
      }
    });
    files.join();
    processes.join();
  }
  EXPECT_EQ(host.allocator->live_blocks(), 0);
}  // ~LoadedModule: zelCanUnloadModule() must be 0, then dlclose

TEST(UnloadCycleTest, LoadUseUnloadLeavesTheProcessAsItFoundIt) {
  char dir[] = "/tmp/vor-unload-XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  std::ofstream(std::string(dir) + "/vor_proc.xms")  // Verify reads it through the XML factory
      << R"(<vor_process_list><vor_process_entry flags="1" path="/usr/bin/true"/>)"
         "</vor_process_list>";

  ProcessState before;
  for (int i = 0; i < kCycles && !HasFailure(); ++i) {
    SCOPED_TRACE("cycle " + std::to_string(i));
    if (i == kWarmUpCycles) before = Snapshot();
    RunCycle(dir);
  }
  const ProcessState after = Snapshot();
  std::filesystem::remove_all(dir);
  ASSERT_FALSE(HasFailure());

  const int measured = kCycles - kWarmUpCycles;
  const double perCycle =
      (static_cast<double>(after.heapInUse) - static_cast<double>(before.heapInUse)) / measured;
  std::printf("heap in use: %zu -> %zu bytes over %d cycles, %.1f bytes per cycle\n",
              before.heapInUse, after.heapInUse, measured, perCycle);
  EXPECT_LE(after.heapInUse, before.heapInUse + kMaxHeapGrowthPerCycle * measured);
  EXPECT_EQ(after.fds, before.fds);
  EXPECT_EQ(after.threads, before.threads);
  EXPECT_FALSE(ModuleMapped());
}

}  // namespace
}  // namespace vor::testing
