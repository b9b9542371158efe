// The critical process decision: lifecycle, the fixed rules through
// caller-made records, list updates from storage and live processes.
#include "proclist/vor_process_list.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <cstdlib>
#include <memory>

#include <gtest/gtest.h>

#include "runtime/exception.h"
#include "runtime/result.h"
#include "tests/proclist/process_list_fixture.h"

namespace vor {
namespace {

using testing::LiveProcess;
using testing::ProcessListXml;
using testing::RealPath;

class VorProcessListTest : public ::testing::Test {
 protected:
  void SetUp() override {
    list = std::make_unique<VorProcessList>(host.locator.get());
    ASSERT_EQ(list->Init(host.allocator.get(), host.release), zel::kOk);
    ASSERT_EQ(GetProcessInfo(zel::Tracer(Ref<zel::ITracer>(host.tracer.get()), "vor: "),
                             ::getpid(), self),
              zel::kOk);
    host.tracer->Clear();
  }

  // A record of another process in this mount namespace.
  ProcessCheckRecord Record(std::uint32_t pid, std::string image, std::uint32_t parentPid = 1,
                            std::string parentImage = "/sbin/init") const {
    ProcessCheckRecord record;
    record.process.pid = pid;
    record.process.imagePath.assign(image);
    record.process.mntNamespace.assign(self.mntNamespace.view());
    record.parentPid = parentPid;
    record.parentImagePath.assign(parentImage);
    return record;
  }

  bool Decide(const ProcessCheckRecord& record) {
    bool critical = true;
    EXPECT_EQ(list->IsCriticalProcess(record, critical), zel::kOk);
    return critical;
  }

  testing::ProcessListHost host;
  std::unique_ptr<VorProcessList> list;
  ProcessInfo self;
};

TEST(VorProcessListLifecycle, InitAndReadiness) {
  testing::ProcessListHost host;
  {
    VorProcessList list(host.locator.get());
    bool critical = true;
    EXPECT_FALSE(list.IsReady());
    EXPECT_EQ(list.IsCriticalProcessByPid(::getpid(), critical), zel::kErrNotInitialized);
    EXPECT_FALSE(critical);
    EXPECT_EQ(list.UpdateFromStorage(host.storage.get()), zel::kErrNotInitialized);
    EXPECT_EQ(list.Init(nullptr, host.release), zel::kErrInvalidArgument);
    EXPECT_FALSE(list.IsReady());

    OsReleaseInfo unknown;
    ASSERT_EQ(list.Init(host.allocator.get(), unknown), zel::kOk);
    EXPECT_TRUE(list.IsReady());
    EXPECT_EQ(list.Init(host.allocator.get(), host.release), zel::kErrAlreadyExists);
    EXPECT_TRUE(list.entries().empty());
  }
  const auto lines = host.tracer->lines();
  ASSERT_GE(lines.size(), 6u);
  EXPECT_TRUE(lines.front().starts_with("vor: VorProcessList 0x"));
  EXPECT_TRUE(lines.front().ends_with(" was created"));
  EXPECT_TRUE(lines.back().ends_with(" was destroyed"));
  EXPECT_EQ(lines.front().substr(0, lines.front().size() - 12),
            lines.back().substr(0, lines.back().size() - 14));
  EXPECT_EQ(host.tracer->lines(zel::kTraceWarning),
            std::vector<std::string>{
                "vor: OS release is unknown. Some functions will be disabled."});
  EXPECT_TRUE(host.tracer->Contains("vor: Begin vor process list init..."));
  EXPECT_TRUE(host.tracer->Contains("vor: vor process list init status is ok"));

  // Without a tracer the list cannot be made.
  host.locator->Refuse(zel::ITracer::kIid);
  EXPECT_THROW(VorProcessList refused(host.locator.get()), zel::GetInterfaceException);
}

TEST_F(VorProcessListTest, ArgumentsAndFixedRules) {
  bool critical = true;
  for (ProcessCheckRecord record : {Record(0, "/bin/x"), Record(kNoPid, "/bin/x"), Record(5, ""),
                                    Record(5, "/bin/x", kNoPid), Record(5, "/bin/x", 4, "")}) {
    critical = true;
    EXPECT_EQ(list->IsCriticalProcess(record, critical), zel::kErrInvalidArgument);
    EXPECT_FALSE(critical);
  }
  EXPECT_EQ(list->IsCriticalProcessByPid(0, critical), zel::kErrInvalidArgument);
  // No parent is fine with an empty parent path.
  EXPECT_FALSE(Decide(Record(5, "/bin/x", 0, "")));

  host.tracer->Clear();
  EXPECT_TRUE(Decide(Record(1, "/sbin/init", 0, "")));
  EXPECT_EQ(host.tracer->lines(), std::vector<std::string>{"vor: Process </sbin/init> is initial"});
  // Process 1 with a parent is not the initial process.
  host.tracer->Clear();
  EXPECT_FALSE(Decide(Record(1, "/sbin/init", 5, "/bin/sh")));
  EXPECT_FALSE(host.tracer->Contains("is initial"));

  host.tracer->Clear();
  EXPECT_TRUE(Decide(Record(::getpid(), "/any/thing")));
  EXPECT_EQ(host.tracer->lines(), std::vector<std::string>{"vor: Product process pid"});

  // The real process 1 cannot be judged: its parent 0 cannot be read (kept
  // asymmetric), unless this sandbox already refuses to show its image.
  char link[PATH_MAX];
  const bool initVisible = ::readlink("/proc/1/exe", link, sizeof link) > 0;
  EXPECT_TRUE(zel::Failed(list->IsCriticalProcessByPid(1, critical)));
  EXPECT_FALSE(critical);
  if (initVisible) {
    EXPECT_TRUE(host.tracer->Contains(
        "vor: Can't get process image path for parent PID <0> with error 0x80000046"));
  } else {
    EXPECT_TRUE(host.tracer->Contains("vor: Can't get process image path for PID <1> with error"));
  }
}

TEST_F(VorProcessListTest, ProductFolderGates) {
  for (const char* path : {"/opt/velmorant/bin/agent", "/var/opt/velmorant/x", "/opt/velmorant"}) {
    EXPECT_TRUE(Decide(Record(50, path))) << path;
  }
  EXPECT_FALSE(Decide(Record(50, "/opt/velmorantx/agent")));
  EXPECT_FALSE(Decide(Record(50, "/OPT/velmorant/agent")));

  // The namespaces flag and the product type switch the rule off; each row
  // sets them, decides for the agent and pins the telling line.
  struct Case {
    const char* flag;  // nullptr: unset
    const char* productType;
    bool critical;
    std::string line;
    std::string absent;
  };
  const Case cases[] = {
      {nullptr, nullptr, true, "vor: Can't query product type", "Found process namespaces"},
      {nullptr, nullptr, true, "vor: Can't found namespaces flag", "Product type is"},
      {"true", nullptr, false, "vor: Found process namespaces flag!", "product type"},
      {"TRUE", nullptr, true, "vor: Unexpected process namespaces flag <TRUE>!", "Found process"},
      {"TRUE", "mobr_linux", false, "vor: Product type is MOBRL", "Can't query"},
      {"TRUE", "MOBR_LINUX", true, "vor: Product type is <MOBR_LINUX>", "Can't query"},
  };
  for (const Case& c : cases) {
    if (c.flag != nullptr) host.flags->Set("disable_vor.process.namespaces.workaround", c.flag);
    if (c.productType != nullptr) host.environment->Set("ProductType", c.productType);
    host.tracer->Clear();
    EXPECT_EQ(Decide(Record(50, "/opt/velmorant/bin/agent")), c.critical) << c.line;
    EXPECT_TRUE(host.tracer->Contains(c.line)) << c.line;
    EXPECT_FALSE(host.tracer->Contains(c.absent)) << c.line;
    if (c.critical) {
      EXPECT_TRUE(host.tracer->Contains(
          "vor: Process from product folder </opt/velmorant/bin/agent>"));
    }
  }

  // Another mount namespace turns the rule off.
  ProcessCheckRecord other = Record(50, "/opt/velmorant/bin/agent");
  other.process.mntNamespace.assign("mnt:[1]");
  EXPECT_FALSE(Decide(other));

  // Services the host cannot give count as "not set" and "not MOBRL".
  host.locator->Refuse(zel::IFeatureFlags::kIid);
  host.locator->Refuse(zel::IEnvironment::kIid);
  host.tracer->Clear();
  EXPECT_TRUE(Decide(Record(50, "/opt/velmorant/bin/agent")));
  EXPECT_TRUE(host.tracer->Contains("vor: Can't get feature flags interface"));
  EXPECT_TRUE(host.tracer->Contains("vor: Can't get environment interface with error 0x8000004c"));
}

TEST_F(VorProcessListTest, ListEntriesAndNamespaces) {
  host.WriteList(ProcessListXml({R"(flags="1" path="/usr/sbin/sshd")",
                                 R"(flags="3" path="/usr/bin/a" parent_path="/usr/bin/pa")",
                                 R"(flags="2" path="/ignored" parent_path="/usr/bin/pb")"}));
  ASSERT_EQ(list->UpdateFromStorage(host.storage.get()), zel::kOk);
  ASSERT_EQ(list->entries().size(), 3u);
  EXPECT_TRUE(list->entries()[2].path.empty());  // not called for, not read

  host.tracer->Clear();
  EXPECT_TRUE(Decide(Record(77, "/usr/sbin/sshd")));
  EXPECT_EQ(host.tracer->lines(zel::kTraceInfo).back(), "vor: Process PID <77> is critical by list");
  EXPECT_TRUE(host.tracer->Contains("vor: Find candidate by process path </usr/sbin/sshd>"));

  EXPECT_FALSE(Decide(Record(77, "/usr/bin/a", 3, "/usr/bin/other")));
  EXPECT_TRUE(Decide(Record(77, "/usr/bin/a", 3, "/usr/bin/pa")));
  EXPECT_TRUE(Decide(Record(77, "/usr/bin/whatever", 3, "/usr/bin/pb")));
  EXPECT_FALSE(Decide(Record(77, "/usr/sbin/sshd2")));

  // A match in another namespace is traced and the walk goes on.
  ProcessCheckRecord other = Record(77, "/usr/sbin/sshd");
  other.process.mntNamespace.assign("mnt:[4026532000]");
  host.tracer->Clear();
  EXPECT_FALSE(Decide(other));
  EXPECT_TRUE(host.tracer->Contains("vor: Mismatch namespace <mnt:[4026532000]>"));

  // Flags without either bit match every process (kept as it is).
  host.WriteList(ProcessListXml({R"(flags="4")"}));
  ASSERT_EQ(list->UpdateFromStorage(host.storage.get()), zel::kOk);
  EXPECT_TRUE(Decide(Record(78, "/bin/anything")));
}

TEST_F(VorProcessListTest, FailedUpdatesKeepTheListInForce) {
  host.WriteList(ProcessListXml({R"(flags="1" path="/usr/sbin/sshd")"}));
  ASSERT_EQ(list->UpdateFromStorage(host.storage.get()), zel::kOk);
  EXPECT_EQ(list->UpdateFromStorage(nullptr), zel::kErrInvalidArgument);

  struct Case {
    std::string xml;
    zel::result_t code;
    std::string line;
  };
  const Case cases[] = {
      {ProcessListXml({R"(flags="1")"}), zel::kErrInvalidSize,
       "vor: Can't get path with error 0x8000004c"},
      {"<vor_list><vor_process_entry flags=\"1\" path=\"/x\"/></vor_list>", zel::kErrInvalidSize,
       "vor: Invalid vor process list node name!"},
      {"<vor_process_list><vor_process_entry flags=\"1\" path=\"/x\">", zel::kErrInvalidSignature,
       "vor: Can't open config with error 0x8000005a"},
      {"", zel::kErrInvalidSize, "vor: No vor process list in config!"},
      {ProcessListXml({R"(flags="one" path="/x")"}), zel::kErrInvalidSize,
       "vor: Can't get flags with error 0x8000005d"},
  };
  for (const Case& c : cases) {
    host.WriteList(c.xml);
    host.tracer->Clear();
    EXPECT_EQ(list->UpdateFromStorage(host.storage.get()), c.code) << c.xml;
    EXPECT_TRUE(host.tracer->Contains(c.line)) << c.xml;
    ASSERT_EQ(list->entries().size(), 1u);
    EXPECT_TRUE(Decide(Record(9, "/usr/sbin/sshd")));
  }

  ::unlink((host.dir.path() + "/vor_proc.xms").c_str());
  host.tracer->Clear();
  EXPECT_EQ(list->UpdateFromStorage(host.storage.get()), zel::kErrFileNotFound);
  EXPECT_TRUE(host.tracer->Contains(
      "vor: Can't open vor process list <vor_proc.xms> with error 0x80010102"));
  host.locator->Refuse(zel::IXmlFactory::kIid);
  host.WriteList(ProcessListXml({R"(flags="1" path="/y")"}));
  EXPECT_EQ(list->UpdateFromStorage(host.storage.get()), zel::kErrNotFound);
  EXPECT_TRUE(host.tracer->Contains("vor: Can't get xml factory with error 0x8000004c"));
  EXPECT_EQ(list->entries()[0].path.view(), "/usr/sbin/sshd");
}

TEST_F(VorProcessListTest, LiveProcessesByPid) {
  const std::string sleepPath = RealPath("/bin/sleep");
  LiveProcess child({"/bin/sleep", "30"});
  ASSERT_TRUE(child.WaitForImage(sleepPath));
  bool critical = true;
  ASSERT_EQ(list->IsCriticalProcessByPid(child.pid(), critical), zel::kOk);
  EXPECT_FALSE(critical);

  // By its own path, then by its parent's path (this test binary).
  host.WriteList(ProcessListXml({"flags=\"1\" path=\"" + sleepPath + "\""}));
  ASSERT_EQ(list->UpdateFromStorage(host.storage.get()), zel::kOk);
  ASSERT_EQ(list->IsCriticalProcessByPid(child.pid(), critical), zel::kOk);
  EXPECT_TRUE(critical);
  host.WriteList(ProcessListXml({"flags=\"2\" parent_path=\"" + RealPath("/proc/self/exe") + "\""}));
  ASSERT_EQ(list->UpdateFromStorage(host.storage.get()), zel::kOk);
  ASSERT_EQ(list->IsCriticalProcessByPid(child.pid(), critical), zel::kOk);
  EXPECT_TRUE(critical);

  ASSERT_EQ(list->IsCriticalProcessByPid(::getpid(), critical), zel::kOk);
  EXPECT_TRUE(critical);

  // The same entry cannot make a child in another mount namespace critical.
  host.WriteList(ProcessListXml({"flags=\"1\" path=\"" + sleepPath + "\""}));
  ASSERT_EQ(list->UpdateFromStorage(host.storage.get()), zel::kOk);
  LiveProcess isolated({"/bin/sleep", "30"}, /*newMountNamespace=*/true);
  if (isolated.unshareError() != 0) {
    GTEST_SKIP() << "the kernel refused unshare(CLONE_NEWNS): "
                 << std::strerror(isolated.unshareError());
  }
  ASSERT_TRUE(isolated.WaitForImage(sleepPath));
  host.tracer->Clear();
  ASSERT_EQ(list->IsCriticalProcessByPid(isolated.pid(), critical), zel::kOk);
  EXPECT_FALSE(critical);
  EXPECT_TRUE(host.tracer->Contains("vor: Mismatch namespace <mnt:["));
}

// Inside a private mount namespace with a tmpfs on /opt, a process started
// from /opt/velmorant is critical by the product-folder rule alone. Runs in a
// forked child so that the test process keeps its own namespace.
TEST(VorProcessListProductFolder, LiveProcessInPrivateNamespace) {
  const pid_t runner = ::fork();
  ASSERT_GE(runner, 0);
  if (runner == 0) {
    if (::unshare(CLONE_NEWNS) != 0) ::_exit(77);
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) ::_exit(77);
    if (::mount("tmpfs", "/opt", "tmpfs", 0, "size=64m") != 0) ::_exit(77);
    ::mkdir("/opt/velmorant", 0755);
    ::mkdir("/opt/velmorant/bin", 0755);
    testing::CopyExecutable("/bin/sleep", "/opt/velmorant/bin/agent");
    int status = 1;
    {
      testing::ProcessListHost host;
      VorProcessList list(host.locator.get());
      LiveProcess agent({"/opt/velmorant/bin/agent", "30"});
      LiveProcess plain({"/bin/sleep", "30"});
      bool agentCritical = false;
      bool plainCritical = true;
      if (list.Init(host.allocator.get(), host.release) == zel::kOk &&
          agent.WaitForImage("/opt/velmorant/bin/agent") &&
          plain.WaitForImage(RealPath("/bin/sleep")) &&
          list.IsCriticalProcessByPid(agent.pid(), agentCritical) == zel::kOk &&
          list.IsCriticalProcessByPid(plain.pid(), plainCritical) == zel::kOk &&
          agentCritical && !plainCritical &&
          host.tracer->Contains("vor: Process from product folder </opt/velmorant/bin/agent>")) {
        status = 0;
      }
    }
    ::_exit(status);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(runner, &status, 0), runner);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "no private mount namespace with tmpfs here";
  EXPECT_EQ(WEXITSTATUS(status), 0) << "the agent under /opt/velmorant was not judged critical";
}

}  // namespace
}  // namespace vor
