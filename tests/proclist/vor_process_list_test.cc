// The critical process decision: the rules from data/decisions.tsv, the
// list's own lifecycle. Updates from storage are the stress test's and the
// service scenarios'.
#include "proclist/vor_process_list.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include <gtest/gtest.h>

#include "runtime/exception.h"
#include "runtime/result.h"
#include "tests/proclist/live_process.h"

namespace vor {
namespace {

// An environment service that cannot expand anything.
struct FailingEnvironment : host::HostObject<zel::IEnvironment> {
  zel::result_t ExpandStrings(const char16_t*, zel::IWideStringOut*) override { return zel::kErrMedia; }
};
// Services that throw from inside the question, as a broken host's may.
struct ThrowingEnvironment : host::HostObject<zel::IEnvironment> {
  zel::result_t ExpandStrings(const char16_t*, zel::IWideStringOut*) override { throw std::runtime_error("env"); }
};
struct ThrowingFlags : host::HostObject<zel::IFeatureFlags> {
  zel::result_t GetFlag(const char*, zel::IStringOut*) override { throw std::runtime_error("flags"); }
};

TEST(VorProcessList, DecisionTable) {
  // First: as root it moves this process to a mount namespace of its own.
  const testing::TempDir dir;
  const testing::ScriptedProcesses scene(VOR_SOURCE_DIR "/tests/proclist/data/processes.sh", dir.path);
  ASSERT_EQ(scene.status(), 0);
  const testing::Child child;
  std::map<std::string, std::string> vars = scene.values();
  vars.insert({{"SELF", std::to_string(::getpid())}, {"MNT", testing::OwnMountNamespace()},
               {"CHILD", std::to_string(child.pid())}, {"SLEEP", child.image()},
               {"TESTEXE", std::filesystem::canonical("/proc/self/exe").string()}});
  for (const testing::Row& r : testing::ReadRows("decisions.tsv", vars)) {
    SCOPED_TRACE(r[0]);
    // A name the scene did not give is one of its root-only processes.
    if (std::any_of(r.begin() + 1, r.end(), [](const std::string& f) { return f.find('$') != std::string::npos; })) {
      std::printf("skipped, needs root (mounts, namespaces): %s\n", r[0].c_str());
      continue;
    }
    testing::ProcessListHost host;
    VorProcessList list(host.locator.get());
    ASSERT_EQ(list.Init(host.allocator.get(), host.release), zel::kOk);
    if (r[1] == "refused") host.locator->Refuse(zel::IFeatureFlags::kIid);
    if (r[1] == "throws") host.Register(zel::IFeatureFlags::kIid, host::MakeHostObject<ThrowingFlags>().get());
    if (r[1] != "refused" && r[1] != "throws" && !r[1].empty())
      host.flags->Set("disable_vor.process.namespaces.workaround", r[1]);
    if (r[2] == "refused") host.locator->Refuse(zel::IEnvironment::kIid);
    if (r[2] == "fails") host.Register(zel::IEnvironment::kIid, host::MakeHostObject<FailingEnvironment>().get());
    if (r[2] == "throws") host.Register(zel::IEnvironment::kIid, host::MakeHostObject<ThrowingEnvironment>().get());
    const bool typed = r[2] != "refused" && r[2] != "fails" && r[2] != "throws";
    if (typed && !r[2].empty()) host.environment->Set("ProductType", r[2]);
    if (!r[3].empty()) {
      host.WriteList(r[3]);
      ASSERT_EQ(list.UpdateFromStorage(host.storage.get()), zel::kOk);
    }
    host.tracer->Clear();
    bool critical = true;
    zel::result_t code = 0;
    if (r[5] == "bypid") {
      code = list.IsCriticalProcessByPid(std::stoul(r[4]), critical);
    } else {
      ProcessCheckRecord record;
      record.process.pid = std::stoul(r[4]);
      record.process.imagePath.assign(r[5]);
      record.parentPid = std::stoul(r[6]);
      record.parentImagePath.assign(r[7]);
      record.process.mntNamespace.assign(r[8]);
      code = list.IsCriticalProcess(record, critical);
    }
    if (r[9] == "failed") {
      EXPECT_TRUE(zel::Failed(code));
    } else {
      EXPECT_EQ(code, r[9] == "critical" || r[9] == "normal" ? zel::kOk : std::stoul(r[9], nullptr, 16));
    }
    EXPECT_EQ(critical, r[9] == "critical");
    std::istringstream lines(r[10]);
    for (std::string line; std::getline(lines, line);) EXPECT_TRUE(host.tracer->Contains(line)) << line;
    EXPECT_TRUE(r[11].empty() || !host.tracer->Contains(r[11]));
  }
}

TEST(VorProcessList, InitAndReadiness) {
  testing::ProcessListHost host;
  // The lifecycle's trace lines are the file list's too: its scenarios check them.
  VorProcessList list(host.locator.get());
  bool critical = true;
  EXPECT_FALSE(list.IsReady());
  EXPECT_EQ(list.IsCriticalProcessByPid(::getpid(), critical), zel::kErrNotInitialized);
  EXPECT_FALSE(critical);
  EXPECT_EQ(list.UpdateFromStorage(host.storage.get()), zel::kErrNotInitialized);
  EXPECT_EQ(list.Init(nullptr, host.release), zel::kErrInvalidArgument);
  EXPECT_FALSE(list.IsReady());
  ASSERT_EQ(list.Init(host.allocator.get(), OsReleaseInfo()), zel::kOk);
  EXPECT_TRUE(list.IsReady());
  EXPECT_EQ(list.Init(host.allocator.get(), host.release), zel::kErrAlreadyExists);
  EXPECT_EQ(list.IsCriticalProcessByPid(0, critical), zel::kErrInvalidArgument);
  // Without a tracer the list cannot be made.
  host.locator->Refuse(zel::ITracer::kIid);
  EXPECT_THROW(VorProcessList refused(host.locator.get()), zel::GetInterfaceException);
}

}  // namespace
}  // namespace vor
