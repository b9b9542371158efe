// A host loads, uses and unloads the module on every update for months: each
// cycle must give back the heap, descriptors, threads and mappings it took.
#include <malloc.h>
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

// One host's whole use of the module, from dlopen to dlclose: the fixture's
// set-up and tear-down around checks from two threads.
class Cycle : public ServiceTest {
 public:
  void TestBody() override {
    SetUp();
    EXPECT_TRUE(ModuleMapped()) << "the mapping check must see a loaded module";
    dir_.Write("vor_proc.xms", R"(<vor_process_list><vor_process_entry flags="1" path="/usr/bin/true"/>)"
                              "</vor_process_list>");
    StartService();
    std::thread files([this] {
      for (int i = 0; i < kChecksPerThread; ++i) {
        bool critical = false;
        EXPECT_EQ(CheckFile(u"/usr/bin/ls", critical), 0u);
        EXPECT_TRUE(critical);
        EXPECT_EQ(CheckFile(u"/nonexistent/vor/ls", critical), 0u);
        EXPECT_FALSE(critical);
      }
    });
    for (int i = 0; i < kChecksPerThread; ++i) {
      bool critical = false;
      EXPECT_EQ(CheckPid(static_cast<std::uint32_t>(getpid()), critical), 0u);
      EXPECT_TRUE(critical);
    }
    files.join();
    TearDown();
  }
};  // ~LoadedModule: zelCanUnloadModule() must be 0, then dlclose

TEST(UnloadCycleTest, LoadUseUnloadLeavesTheProcessAsItFoundIt) {
  ProcessState before;
  for (int i = 0; i < kCycles && !HasFailure(); ++i) {
    SCOPED_TRACE("cycle " + std::to_string(i));
    if (i == kWarmUpCycles) before = Snapshot();
    Cycle().TestBody();
  }
  const ProcessState after = Snapshot();
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
