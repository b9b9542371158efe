// The /proc reader on real processes and on crafted status text.
#include "proclist/process_info.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <signal.h>

#include "runtime/result.h"
#include "tests/proclist/live_process.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using testing::LiveProcess;
using testing::TempDir;

class ProcessInfoTest : public ::testing::Test {
 protected:
  testing::TestingHost host;
  zel::Tracer trace{Ref<zel::ITracer>(host.tracer.get()), "vor: "};
};

std::string RealPath(const std::string& path) {
  char buffer[PATH_MAX] = {};
  return ::realpath(path.c_str(), buffer) != nullptr ? buffer : "";
}

std::string ReadLink(const std::string& path) {
  char buffer[PATH_MAX] = {};
  const ssize_t n = ::readlink(path.c_str(), buffer, sizeof buffer - 1);
  return n > 0 ? std::string(buffer, n) : "";
}

TEST_F(ProcessInfoTest, InvalidPidsAreRefusedBeforeReadingProc) {
  for (std::uint32_t pid : {0u, kNoPid}) {
    zel::string path("stale");
    std::uint32_t ppid = 7;
    ProcessInfo info;
    info.pid = 5;
    EXPECT_EQ(GetProcessImagePath(trace, pid, path), zel::kErrInvalidArgument);
    EXPECT_TRUE(path.empty());
    EXPECT_EQ(GetProcessNamespace(trace, pid, "mnt", path), zel::kErrInvalidArgument);
    EXPECT_EQ(GetProcessInfo(trace, pid, info), zel::kErrInvalidArgument);
    EXPECT_EQ(info.pid, kNoPid);
    EXPECT_EQ(GetProcessParentPid(trace, pid, ppid), zel::kErrInvalidArgument);
    EXPECT_EQ(ppid, 7u);
  }
  zel::string target;
  EXPECT_EQ(GetProcessNamespace(trace, 1, "", target), zel::kErrInvalidArgument);
  zel::Tracer silent;
  EXPECT_EQ(GetProcessImagePath(silent, ::getpid(), target), zel::kErrInvalidArgument);
  EXPECT_TRUE(host.tracer->lines().empty());
}

TEST_F(ProcessInfoTest, SpawnedChildAndParentChain) {
  // sh runs sleep as its child (the trailing ":" keeps sh from exec'ing it).
  LiveProcess shell({"/bin/sh", "-c", "/bin/sleep 30; :"});
  ASSERT_GT(shell.pid(), 0);
  const std::string sleepPath = RealPath("/bin/sleep");
  ASSERT_TRUE(shell.WaitForImage(RealPath("/bin/sh")));

  // Find sleep among the processes whose parent is the shell.
  std::uint32_t sleeper = 0;
  for (int attempt = 0; attempt < 500 && sleeper == 0; ++attempt) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
      const std::string name = entry.path().filename();
      if (name.find_first_not_of("0123456789") != std::string::npos) continue;
      std::uint32_t ppid = 0;
      const auto pid = static_cast<std::uint32_t>(std::stoul(name));
      if (GetProcessParentPid(trace, pid, ppid) == zel::kOk &&
          ppid == static_cast<std::uint32_t>(shell.pid()) &&
          ReadLink("/proc/" + name + "/exe") == sleepPath) {
        sleeper = pid;
      }
    }
    if (sleeper == 0) ::usleep(2000);
  }
  ASSERT_NE(sleeper, 0u) << "sleep never appeared under the shell";

  ProcessInfo info;
  ASSERT_EQ(GetProcessInfo(trace, sleeper, info), zel::kOk);
  EXPECT_EQ(info.pid, sleeper);
  EXPECT_EQ(info.imagePath.view(), sleepPath);
  EXPECT_EQ(info.mntNamespace.view(), ReadLink("/proc/self/ns/mnt"));

  host.tracer->Clear();
  std::uint32_t ppid = 0;
  ASSERT_EQ(GetProcessParentPid(trace, sleeper, ppid), zel::kOk);
  EXPECT_EQ(ppid, static_cast<std::uint32_t>(shell.pid()));
  const std::string s = std::to_string(sleeper);
  EXPECT_TRUE(host.tracer->Contains("vor: Process ID <" + s + "> parent process ID is <" +
                                    std::to_string(shell.pid()) + ">"));
  // Each status line is traced at level 800 with three spaces.
  EXPECT_TRUE(host.tracer->Contains("vor:    <Pid> = <" + s + ">"));

  ASSERT_EQ(GetProcessParentPid(trace, shell.pid(), ppid), zel::kOk);
  EXPECT_EQ(ppid, static_cast<std::uint32_t>(::getpid()));

  host.tracer->Clear();
  zel::string path;
  ASSERT_EQ(GetProcessImagePath(trace, sleeper, path), zel::kOk);
  EXPECT_EQ(host.tracer->lines(),
            std::vector<std::string>{"vor: Process ID <" + s + "> has image path <" + sleepPath + ">"});
  // The grandchild outlives the shell and would hold the test's output open.
  ::kill(static_cast<pid_t>(sleeper), SIGKILL);
}

TEST_F(ProcessInfoTest, DeletedExecutableFallsBackToTheLinkText) {
  TempDir dir;
  const std::string copy = dir.path() + "/vor sleeper";
  testing::CopyExecutable("/bin/sleep", copy);
  LiveProcess child({copy, "30"});
  ASSERT_TRUE(child.WaitForImage(copy));
  ASSERT_EQ(::unlink(copy.c_str()), 0);
  ASSERT_EQ(ReadLink("/proc/" + std::to_string(child.pid()) + "/exe"), copy + " (deleted)");

  zel::string path;
  ASSERT_EQ(GetProcessImagePath(trace, child.pid(), path), zel::kOk);
  EXPECT_EQ(path.view(), copy);
  const std::string link = "/proc/" + std::to_string(child.pid()) + "/exe";
  const auto warnings = host.tracer->lines(zel::kTraceWarning);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0],
            "vor: Symlink target <" + link + "> is absent, try to read symlink itself...");
}

TEST_F(ProcessInfoTest, ChildInANewMountNamespace) {
  LiveProcess child({"/bin/sleep", "30"}, /*newMountNamespace=*/true);
  if (child.unshareError() != 0) {
    GTEST_SKIP() << "the kernel refused unshare(CLONE_NEWNS): "
                 << std::strerror(child.unshareError());
  }
  ASSERT_TRUE(child.WaitForImage(RealPath("/bin/sleep")));
  ProcessInfo mine;
  ProcessInfo theirs;
  ASSERT_EQ(GetProcessInfo(trace, ::getpid(), mine), zel::kOk);
  ASSERT_EQ(GetProcessInfo(trace, child.pid(), theirs), zel::kOk);
  EXPECT_EQ(theirs.mntNamespace.view().substr(0, 5), "mnt:[");
  EXPECT_NE(theirs.mntNamespace.view(), mine.mntNamespace.view());
  EXPECT_TRUE(host.tracer->Contains("vor: Process ID <" + std::to_string(child.pid()) +
                                    "> has namespace <mnt> -> <" +
                                    std::string(theirs.mntNamespace.view()) + ">"));
}

TEST_F(ProcessInfoTest, ExitedProcessAndMissingNamespaceLink) {
  pid_t gone = 0;
  {
    LiveProcess child({"/bin/true"});
    gone = child.pid();
  }  // reaped: the pid is free now
  ProcessInfo info;
  EXPECT_EQ(GetProcessInfo(trace, gone, info), zel::kErrFileNotFound);
  EXPECT_EQ(info.pid, kNoPid);
  std::uint32_t ppid = 0;
  EXPECT_EQ(GetProcessParentPid(trace, gone, ppid), zel::kErrFileNotFound);
  EXPECT_TRUE(host.tracer->Contains("vor: Can't open existing file </proc/" +
                                    std::to_string(gone) + "/status> with error 0x80010102"));

  host.tracer->Clear();
  zel::string target("x");
  EXPECT_EQ(GetProcessNamespace(trace, ::getpid(), "no_such_ns", target), zel::kOk);
  EXPECT_TRUE(target.empty());
  EXPECT_EQ(host.tracer->lines(),
            std::vector<std::string>{"vor: Process ID <" + std::to_string(::getpid()) +
                                     "> hasn't namespace <no_such_ns>"});
}

TEST_F(ProcessInfoTest, StatusLineRules) {
  StatusField field;
  EXPECT_EQ(ParseStatusLine(trace, "", field), zel::kErrInvalidArgument);
  EXPECT_EQ(ParseStatusLine(trace, "Name:\ta:b", field), zel::kErrUnexpected);
  EXPECT_EQ(ParseStatusLine(trace, "NoColonHere", field), zel::kErrUnexpected);
  EXPECT_EQ(ParseStatusLine(trace, "\t:value", field), zel::kErrUnexpected);
  EXPECT_EQ(ParseStatusLine(trace, "Name:\t\t", field), zel::kErrUnexpected);
  EXPECT_EQ(host.tracer->lines(zel::kTraceError),
            (std::vector<std::string>{"vor: Invalid values count <3> for line <Name:\ta:b>",
                                      "vor: Invalid values count <1> for line <NoColonHere>",
                                      "vor: Line <\t:value> has empty name",
                                      "vor: Line <Name:\t\t> has empty value"}));

  // Empty pieces between colons do not count; spaces are kept, tabs trimmed.
  ASSERT_EQ(ParseStatusLine(trace, "::Pid::\t 12 \t:", field), zel::kOk);
  EXPECT_EQ(field.name, "Pid");
  EXPECT_EQ(field.value, " 12 ");
  ASSERT_EQ(ParseStatusLine(trace, " Pid:\t12", field), zel::kOk);
  EXPECT_EQ(field.name, " Pid");
}

TEST_F(ProcessInfoTest, StatusTextAndPidRules) {
  StatusFields fields;
  EXPECT_EQ(ParseStatusText(trace, "", fields), zel::kErrInvalidArgument);
  ASSERT_EQ(ParseStatusText(trace, "\n\nName:\tx:y\nPid:\t42\n\n PPid:\t9\nPPid:\t7", fields),
            zel::kOk);
  ASSERT_EQ(fields.size(), 3u);
  std::uint32_t pid = 0;
  std::uint32_t ppid = 0;
  ASSERT_EQ(FindPidsInStatus(trace, fields, pid, ppid), zel::kOk);
  EXPECT_EQ(pid, 42u);
  EXPECT_EQ(ppid, 7u);  // " PPid" is another name

  auto find = [&](std::string_view text, std::uint32_t& p, std::uint32_t& pp) {
    StatusFields parsed;
    EXPECT_EQ(ParseStatusText(trace, text, parsed), zel::kOk);
    return FindPidsInStatus(trace, parsed, p, pp);
  };
  // Last occurrence wins, text after the digits is ignored, a non-digit is 0.
  EXPECT_EQ(find("Pid:\t1\nPid:\t15abc\nPPid:\tx", pid, ppid), zel::kOk);
  EXPECT_EQ(pid, 15u);
  EXPECT_EQ(ppid, 0u);
  // Digits that would overflow are not taken.
  EXPECT_EQ(find("Pid:\t4294967296\nPPid:\t99999999999", pid, ppid), zel::kOk);
  EXPECT_EQ(pid, 429496729u);
  EXPECT_EQ(ppid, 999999999u);
  host.tracer->Clear();
  EXPECT_EQ(find("Pid:\t4294967295\nPPid:\t1", pid, ppid), zel::kErrInvalidSignature);
  EXPECT_EQ(find("pid:\t3\nPPid:\t1", pid, ppid), zel::kErrInvalidSignature);
  EXPECT_EQ(host.tracer->lines(zel::kTraceError),
            std::vector<std::string>(2, "vor: Can't find PIDs in parsed process status!"));
  fields.clear();
  EXPECT_EQ(FindPidsInStatus(trace, fields, pid, ppid), zel::kErrInvalidArgument);

  // 64 KiB of junk with a newline-free name: one dropped line, no crash.
  std::string junk = "Name:\t" + std::string(70000, ':') + "\nPid:\t5\nPPid:\t1\n";
  EXPECT_EQ(find(junk, pid, ppid), zel::kOk);
  EXPECT_EQ(pid, 5u);
}

TEST_F(ProcessInfoTest, OpenExistingFileWalksPathsOverTheLimit) {
  TempDir dir;
  ASSERT_FALSE(dir.path().empty());
  // Build a directory chain longer than 4096 bytes in total.
  const std::string component(200, 'd');
  std::string deep = dir.path();
  ASSERT_EQ(::chdir(dir.path().c_str()), 0);
  for (int i = 0; i < 25; ++i) {
    ASSERT_EQ(::mkdir(component.c_str(), 0700), 0);
    ASSERT_EQ(::chdir(component.c_str()), 0);
    deep += "/" + component;
  }
  {
    const int out = ::open("status", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(out, 0);
    ASSERT_EQ(::write(out, "deep", 4), 4);
    ::close(out);
  }
  ASSERT_EQ(::chdir("/"), 0);
  const std::string file = deep + "/status";
  ASSERT_GT(file.size(), 4096u);

  int fd = -1;
  ASSERT_EQ(OpenExistingFile(fd, file.c_str(), O_RDONLY, 0), zel::kOk);
  char buffer[8] = {};
  EXPECT_EQ(::read(fd, buffer, sizeof buffer), 4);
  EXPECT_STREQ(buffer, "deep");
  ::close(fd);

  EXPECT_EQ(OpenExistingFile(fd, (deep + "/absent").c_str(), O_RDONLY, 0), zel::kErrFileNotFound);
  EXPECT_EQ(fd, -1);
  // A component longer than the limit leaves no '/' to cut at.
  const std::string noSlash = "/" + std::string(5000, 'x');
  EXPECT_EQ(OpenExistingFile(fd, noSlash.c_str(), O_RDONLY, 0), zel::kErrFileNotFound);
  EXPECT_EQ(OpenExistingFile(fd, nullptr, O_RDONLY, 0), zel::kErrInvalidArgument);
  // Short paths go through one open.
  EXPECT_EQ(OpenExistingFile(fd, "/proc/self/status", O_RDONLY, 0), zel::kOk);
  ::close(fd);
}

TEST_F(ProcessInfoTest, StatusBufferComesFromTheHostAllocator) {
  std::uint32_t ppid = 0;
  const std::size_t before = host.allocator->allocations();
  ASSERT_EQ(GetProcessParentPid(trace, ::getpid(), ppid, host.allocator.get()), zel::kOk);
  EXPECT_EQ(ppid, static_cast<std::uint32_t>(::getppid()));
  EXPECT_EQ(host.allocator->allocations(), before + 1);
  EXPECT_EQ(host.allocator->live_blocks(), 0);

  host.allocator->FailAt(1);
  EXPECT_EQ(GetProcessParentPid(trace, ::getpid(), ppid, host.allocator.get()),
            zel::kErrOutOfMemory);
  host.allocator->FailNever();
}

}  // namespace
}  // namespace vor
