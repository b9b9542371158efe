// Eight threads ask file and process questions of the service, of a file list
// and of a process list while other threads hand the service updates, repeat
// Verify, rebuild the file list and swap the process list between two valid
// documents and an invalid one. Every answer must be the one a single thread
// gets for the list state in force: never a half-built list.
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "host/directory_storage.h"
#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/host_object.h"
#include "filelist/vor_list.h"
#include "proclist/vor_process_list.h"
#include "tests/module/service_fixture.h"
#include "tests/testing_host/child.h"

namespace vor::testing {
namespace {

constexpr int kCheckers = 8;
constexpr int kListRounds = 90;

std::string ListNaming(const std::string& image) {
  return "<vor_process_list><vor_process_entry flags=\"1\" path=\"" + image +
         "\"/></vor_process_list>";
}

using StressTest = ServiceTest;

TEST_F(StressTest, AnswersHoldWhileUpdatesRun) {
  const Child sleeper;
  const Child tailer({"/usr/bin/tail", "-f", "/dev/null"});  // a second long-lived image
  const std::string& sleepImage = sleeper.image();
  const std::string& tailImage = tailer.image();

  host_.tracer->set_threshold(zel::kTraceWarning);  // keeps the captured lines few
  host_.Register(zel::IFeatureFlags::kIid, host::MakeHostObject<host::FeatureFlags>().get());
  host_.Register(zel::IEnvironment::kIid, host::MakeHostObject<host::Environment>().get());

  // The service: its storage lists the sleeper, and holds the test sample.
  dir_.Write("vor_proc.xms", ListNaming(sleepImage));
  const std::string sample = dir_.Write("qz_special_detection_test_trojana", "Velmorant Lab vor test file");
  StartService();
  dir_.Write("other/vor_proc.xms", "<vor_process_list><vor_process_entry flags=\"1\"/>");
  auto otherStorage = host::MakeHostObject<host::DirectoryStorage>(dir_.path + "/other");

  // The process list of the module's own code, swapped between list A (the
  // sleeper), list B (the tailer) and an invalid list that changes nothing.
  dir_.Write("swapped/vor_proc.xms", ListNaming(sleepImage));
  auto swappedStorage = host::MakeHostObject<host::DirectoryStorage>(dir_.path + "/swapped");
  VorProcessList list(host_.locator.get());
  const OsReleaseInfo release{zel::string("Debian GNU/Linux"), zel::string("12")};
  ASSERT_EQ(list.Init(host_.allocator.get(), release), 0u);
  ASSERT_EQ(list.UpdateFromStorage(swappedStorage.get()), 0u);

  VorList fileList(host_.locator.get());
  ASSERT_EQ(fileList.Init(host_.allocator.get(), release), 0u);
  ASSERT_EQ(fileList.Update(storage_.get()), 0u);

  const std::pair<std::u16string, bool> files[] = {{u"/usr/bin/ls", true},
                                                    {u"/nonexistent/vor-stress/ls", false},
                                                    {u"/usr/lib/" + std::u16string(300, u'x'), false},
                                                    {std::u16string(sample.begin(), sample.end()), true}};
  const std::pair<std::uint32_t, bool> processes[] = {
      {static_cast<std::uint32_t>(getpid()), true}, {sleeper.pid(), true}, {tailer.pid(), false}};

  // The swapped list's state: `sequence` is odd while an update runs, and
  // `sleeperListed` tells which valid list is in force when it is even.
  std::atomic<std::uint64_t> sequence{0};
  std::atomic<bool> sleeperListed{true};
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::atomic<int> stableChecks{0};
  std::atomic<int> rounds{0};

  std::vector<std::thread> threads;
  for (int t = 0; t < kCheckers; ++t) {
    threads.emplace_back([&, t] {
      int context = 0;
      while (!stop.load()) {
        for (const auto& [path, expected] : files) {
          bool critical = !expected;
          if (service_->CheckCriticalFile(&context, path.c_str(), &critical) != 0 || critical != expected) ++wrong;
        }
        bool listed = false;
        if (fileList.IsInListWide(u"/usr/bin/ls", listed) != 0 || !listed) ++wrong;
        if (fileList.IsInListWide(u"/usr/bin/LS", listed) != 0 || listed) ++wrong;
        std::vector<std::string> paths;
        if (t == 1 && (fileList.CopySortedPaths(paths) != 0 || paths.size() < 500)) ++wrong;
        const auto& [pid, expected] = processes[static_cast<std::size_t>(t) % std::size(processes)];
        bool critical = !expected;
        if (service_->CheckCriticalProcess(&context, pid, &critical) != 0 || critical != expected) ++wrong;

        const std::uint64_t before = sequence.load();
        const bool sleeperExpected = sleeperListed.load();
        bool sleeperCritical = false, tailerCritical = false;
        if (list.IsCriticalProcessByPid(sleeper.pid(), sleeperCritical) != 0 ||
            list.IsCriticalProcessByPid(tailer.pid(), tailerCritical) != 0) {
          ++wrong;
        }
        if (before % 2 == 0 && sequence.load() == before) {
          if (sleeperCritical != sleeperExpected || tailerCritical == sleeperExpected) ++wrong;
          ++stableChecks;
        }
        ++rounds;
      }
    });
  }
  threads.emplace_back([&] {
    while (!stop.load()) {
      if (updates_->VerifyUpdate(otherStorage.get()) != 0) ++wrong;
      if (updates_->HandleUpdate(otherStorage.get()) != 0) ++wrong;
      if (updates_->HandleUpdate(storage_.get()) != 0) ++wrong;
      if (updates_->RollbackUpdate() != 0) ++wrong;
    }
  });
  threads.emplace_back([&] {
    while (!stop.load()) {
      if (state_->Verify() != 0) ++wrong;  // initialised: returns at once
      if (fileList.Update(storage_.get()) != 0) ++wrong;
    }
  });

  // List A, invalid, list B, invalid, ...: an invalid list keeps the one before.
  int applied = 0;
  for (int round = 0; round < kListRounds; ++round) {
    const bool valid = round % 2 == 0;
    const bool sleeperNext = round % 4 == 0;
    dir_.Write("swapped/vor_proc.xms",
              valid ? ListNaming(sleeperNext ? sleepImage : tailImage)
                    : "<vor_process_list><vor_process_entry flags=\"1\"/>");
    sequence.fetch_add(1);
    const zel::result_t code = list.UpdateFromStorage(swappedStorage.get());
    if (code == 0) {
      sleeperListed.store(sleeperNext);
      ++applied;
    }
    sequence.fetch_add(1);
    EXPECT_EQ(code == 0, valid) << "round " << round << ": 0x" << std::hex << code;
    std::this_thread::yield();
  }
  // Let the checkers see the last state for a while before stopping them.
  const int seen = rounds.load();
  while (rounds.load() < seen + 4 * kCheckers) std::this_thread::yield();
  stop.store(true);
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(applied, (kListRounds + 1) / 2);
  EXPECT_GT(stableChecks.load(), 0) << "no check saw a settled list";
  // The service took updates but its answers are those of its first Verify.
  bool critical = false;
  int context = 0;
  EXPECT_EQ(service_->CheckCriticalProcess(&context, sleeper.pid(), &critical), 0u);
  EXPECT_TRUE(critical);
}

}  // namespace
}  // namespace vor::testing
