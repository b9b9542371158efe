// Decisions on several threads while updates swap valid and invalid lists.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "proclist/vor_process_list.h"
#include "runtime/result.h"
#include "tests/proclist/live_process.h"

namespace vor {
namespace {

TEST(VorProcessListConcurrency, DecisionsWhileUpdatesSwapLists) {
  testing::ProcessListHost host;
  host.tracer->set_threshold(zel::kTraceWarning);  // keep the run short
  VorProcessList list(host.locator.get());
  ASSERT_EQ(list.Init(host.allocator.get(), host.release), zel::kOk);
  const std::string valid =
      R"(<vor_process_list><vor_process_entry flags="1" path="/usr/sbin/sshd"/>)"
      R"(<vor_process_entry flags="3" path="/a" parent_path="/b"/></vor_process_list>)";
  host.WriteList(valid);
  ASSERT_EQ(list.UpdateFromStorage(host.storage.get()), zel::kOk);
  ProcessCheckRecord sshd;
  sshd.process.pid = 4242;
  sshd.process.imagePath.assign("/usr/sbin/sshd");
  sshd.process.mntNamespace.assign(testing::ReadLink("/proc/self/ns/mnt"));
  ProcessCheckRecord other = sshd;
  other.process.imagePath.assign("/usr/bin/other");

  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0}, decisions{0};
  std::vector<std::thread> deciders;
  for (int t = 0; t < 4; ++t) {
    deciders.emplace_back([&, t] {
      // Every list that is ever in force holds sshd and not "other".
      for (bool critical = false; !stop; ++decisions) {
        if (list.IsCriticalProcess(sshd, critical) != zel::kOk || !critical) ++wrong;
        if (list.IsCriticalProcess(other, critical) != zel::kOk || critical) ++wrong;
        if (t == 0 && (list.IsCriticalProcessByPid(::getpid(), critical) != zel::kOk || !critical)) ++wrong;
      }
    });
  }
  int applied = 0;
  for (int round = 0; round < 200; ++round) {
    host.WriteList(round % 2 == 0 ? "<vor_process_list><vor_process_entry flags=\"1\"/>" : valid);
    if (list.UpdateFromStorage(host.storage.get()) == zel::kOk) ++applied;
  }
  stop = true;
  for (std::thread& thread : deciders) thread.join();
  EXPECT_EQ(applied, 100);
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_GT(decisions.load(), 0);
  EXPECT_EQ(list.entries().size(), 2u);
}

}  // namespace
}  // namespace vor
