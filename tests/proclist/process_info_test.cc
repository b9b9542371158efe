// The /proc reader on real processes and on crafted status text.
#include "proclist/process_info.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "runtime/result.h"
#include "tests/proclist/live_process.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using Lines = std::vector<std::string>;
using testing::LiveProcess;
using testing::ReadLink;
using testing::RealPath;

class ProcessInfoTest : public ::testing::Test {
 protected:
  testing::TestingHost host;
  zel::Tracer trace{Ref<zel::ITracer>(host.tracer.get()), "vor: "};
};

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
  EXPECT_EQ(GetProcessImagePath(zel::Tracer(), ::getpid(), target), zel::kErrInvalidArgument);
  EXPECT_TRUE(host.tracer->lines().empty());
}

TEST_F(ProcessInfoTest, SpawnedChildAndParentChain) {
  const std::string sleepPath = RealPath("/bin/sleep");
  LiveProcess child({"/bin/sleep", "30"});
  ASSERT_TRUE(child.WaitForImage(sleepPath));
  const std::string pid = std::to_string(child.pid());
  const std::string mnt = ReadLink("/proc/self/ns/mnt");

  ProcessInfo info;
  ASSERT_EQ(GetProcessInfo(trace, child.pid(), info), zel::kOk);
  EXPECT_EQ(info.pid, static_cast<std::uint32_t>(child.pid()));
  EXPECT_EQ(info.imagePath.view(), sleepPath);
  EXPECT_EQ(info.mntNamespace.view(), mnt);
  EXPECT_EQ(host.tracer->lines(zel::kTraceInfo),
            (Lines{"vor: Process ID <" + pid + "> has image path <" + sleepPath + ">",
                   "vor: Process ID <" + pid + "> has namespace <mnt> -> <" + mnt + ">"}));

  host.tracer->Clear();
  std::uint32_t ppid = 0;
  ASSERT_EQ(GetProcessParentPid(trace, child.pid(), ppid), zel::kOk);
  EXPECT_EQ(ppid, static_cast<std::uint32_t>(::getpid()));
  EXPECT_TRUE(host.tracer->Contains("vor: Process ID <" + pid + "> parent process ID is <" +
                                    std::to_string(::getpid()) + ">"));
  // Each status line is traced at level 800 with three spaces.
  EXPECT_TRUE(host.tracer->Contains("vor:    <Pid> = <" + pid + ">"));

  // One level up, with the status buffer from the host allocator.
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

TEST_F(ProcessInfoTest, DeletedExecutableFallsBackToTheLinkText) {
  testing::TempDir dir;
  const std::string copy = dir.path() + "/vor sleeper";
  testing::CopyExecutable("/bin/sleep", copy);
  LiveProcess child({copy, "30"});
  ASSERT_TRUE(child.WaitForImage(copy));
  ASSERT_EQ(::unlink(copy.c_str()), 0);
  const std::string link = "/proc/" + std::to_string(child.pid()) + "/exe";
  ASSERT_EQ(ReadLink(link), copy + " (deleted)");

  zel::string path;
  ASSERT_EQ(GetProcessImagePath(trace, child.pid(), path), zel::kOk);
  EXPECT_EQ(path.view(), copy);
  EXPECT_EQ(host.tracer->lines(zel::kTraceWarning),
            Lines{"vor: Symlink target <" + link + "> is absent, try to read symlink itself..."});
}

TEST_F(ProcessInfoTest, ExitedProcessAndMissingNamespaceLink) {
  pid_t gone = LiveProcess({"/bin/true"}).pid();  // reaped: the pid is free now
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
  EXPECT_EQ(host.tracer->lines(), Lines{"vor: Process ID <" + std::to_string(::getpid()) +
                                        "> hasn't namespace <no_such_ns>"});
}

TEST_F(ProcessInfoTest, StatusLineRules) {
  struct Case {
    std::string line;
    zel::result_t code;
    std::string error;  // or the parsed "name|value"
  };
  const Case cases[] = {
      {"", zel::kErrInvalidArgument, ""},
      {"Name:\ta:b", zel::kErrUnexpected, "vor: Invalid values count <3> for line <Name:\ta:b>"},
      {"NoColonHere", zel::kErrUnexpected, "vor: Invalid values count <1> for line <NoColonHere>"},
      {"\t:value", zel::kErrUnexpected, "vor: Line <\t:value> has empty name"},
      {"Name:\t\t", zel::kErrUnexpected, "vor: Line <Name:\t\t> has empty value"},
      // Empty pieces between colons do not count; spaces are kept, tabs trimmed.
      {"::Pid::\t 12 \t:", zel::kOk, "Pid| 12 "},
      {" Pid:\t12", zel::kOk, " Pid|12"},
  };
  for (const Case& c : cases) {
    host.tracer->Clear();
    StatusField field;
    EXPECT_EQ(ParseStatusLine(trace, c.line, field), c.code) << c.line;
    const Lines errors = host.tracer->lines(zel::kTraceError);
    EXPECT_EQ(c.code == zel::kOk ? std::string(field.name) + "|" + std::string(field.value)
                                 : (errors.empty() ? "" : errors[0]),
              c.error);
    EXPECT_LE(errors.size(), 1u);
  }
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

  auto find = [&](std::string_view text) {
    StatusFields parsed;
    EXPECT_EQ(ParseStatusText(trace, text, parsed), zel::kOk);
    return FindPidsInStatus(trace, parsed, pid, ppid);
  };
  // Last occurrence wins, text after the digits is ignored, a non-digit is 0.
  EXPECT_EQ(find("Pid:\t1\nPid:\t15abc\nPPid:\tx"), zel::kOk);
  EXPECT_EQ(pid, 15u);
  EXPECT_EQ(ppid, 0u);
  // Digits that would overflow are not taken.
  EXPECT_EQ(find("Pid:\t4294967296\nPPid:\t99999999999"), zel::kOk);
  EXPECT_EQ(pid, 429496729u);
  EXPECT_EQ(ppid, 999999999u);
  host.tracer->Clear();
  EXPECT_EQ(find("Pid:\t4294967295\nPPid:\t1"), zel::kErrInvalidSignature);
  EXPECT_EQ(find("pid:\t3\nPPid:\t1"), zel::kErrInvalidSignature);
  EXPECT_EQ(host.tracer->lines(zel::kTraceError),
            Lines(2, "vor: Can't find PIDs in parsed process status!"));
  fields.clear();
  EXPECT_EQ(FindPidsInStatus(trace, fields, pid, ppid), zel::kErrInvalidArgument);

  // 64 KiB of junk with a newline-free name: one dropped line, no crash.
  EXPECT_EQ(find("Name:\t" + std::string(70000, ':') + "\nPid:\t5\nPPid:\t1\n"), zel::kOk);
  EXPECT_EQ(pid, 5u);
}

TEST_F(ProcessInfoTest, OpenExistingFileWalksPathsOverTheLimit) {
  testing::TempDir dir;
  // A directory chain longer than 4096 bytes, built relative to each step.
  const std::string component(200, 'd');
  std::string deep = dir.path();
  ASSERT_EQ(::chdir(dir.path().c_str()), 0);
  for (int i = 0; i < 25; ++i, deep += "/" + component) {
    ASSERT_EQ(::mkdir(component.c_str(), 0700), 0);
    ASSERT_EQ(::chdir(component.c_str()), 0);
  }
  const int out = ::open("status", O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ASSERT_EQ(::write(out, "deep", 4), 4);
  ::close(out);
  ASSERT_EQ(::chdir("/"), 0);
  ASSERT_GT(deep.size(), 4096u);

  int fd = -1;
  ASSERT_EQ(OpenExistingFile(fd, (deep + "/status").c_str(), O_RDONLY, 0), zel::kOk);
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
  EXPECT_EQ(OpenExistingFile(fd, "/proc/self/status", O_RDONLY, 0), zel::kOk);
  ::close(fd);
}

}  // namespace
}  // namespace vor
