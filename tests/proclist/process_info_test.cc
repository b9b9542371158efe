// The /proc reader and its pure parts: the cases of data/cases.tsv, and what
// a row cannot say.
#include "proclist/process_info.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <climits>
#include <cstdlib>

#include <gtest/gtest.h>

#include "proclist/open_existing_file.h"
#include "proclist/path_rules.h"
#include "proclist/resolve_link.h"
#include "proclist/status_parser.h"
#include "runtime/result.h"
#include "tests/proclist/live_process.h"

namespace vor {
namespace {

class ProcessInfoTest : public ::testing::Test {
 protected:
  testing::TestingHost host;
  zel::Tracer trace{Ref<zel::ITracer>(host.tracer.get()), "vor: "};
};

TEST_F(ProcessInfoTest, CaseTable) {
  testing::TempDir dir;
  const std::string copy = dir.path + "/vor sleeper";
  std::filesystem::copy_file("/bin/sleep", copy);
  // A deleted image with a link planted where its kernel text points.
  const std::string planted = dir.path + "/vor planted";
  std::filesystem::copy_file("/bin/sleep", planted);
  const testing::Child child, deleted({copy, "30"}), forged({planted, "30"});
  const std::uint32_t gone = testing::Child({"/bin/true"}).pid();  // reaped: the pid is free now
  ASSERT_EQ(::unlink(copy.c_str()), 0);
  ASSERT_EQ(::unlink(planted.c_str()), 0);
  std::filesystem::create_symlink(child.image(), planted + " (deleted)");
  // A small tree for the link resolution rows: $T/dir/file, $T/dir/sub,
  // links among them, a loop and a dangling link.
  const std::string tree = dir.path + "/tree";
  std::filesystem::create_directories(tree + "/dir/sub");
  std::ofstream(tree + "/dir/file") << "x";
  for (const auto& [name, target] : std::vector<std::pair<std::string, std::string>>{
           {"dir/sub/back", ".."}, {"abs", tree + "/dir"}, {"chain1", "chain2"},
           {"chain2", "dir/file"}, {"loop", "loop"}, {"dangling", "nowhere"}}) {
    std::filesystem::create_symlink(target, tree + "/" + name);
  }
  host.tracer->set_threshold(zel::kTraceInfo);
  for (const testing::Row& r : testing::ReadRows("cases.tsv", {
           {"SELF", std::to_string(::getpid())}, {"PARENT", std::to_string(::getppid())},
           {"MNT", testing::OwnMountNamespace()}, {"SLEEP", child.image()},
           {"CHILD", std::to_string(child.pid())}, {"DELETED", std::to_string(deleted.pid())},
           {"COPY", copy}, {"GONE", std::to_string(gone)},
           {"FORGED", std::to_string(forged.pid())}, {"PLANTED", planted}, {"T", tree}})) {
    SCOPED_TRACE(r[0]);
    host.tracer->Clear();
    zel::result_t code = 0;
    std::string value;
    if (r[1] == "line") {
      StatusField field;
      code = ParseStatusLine(trace, r[2], field);
      if (!field.name.empty()) value = std::string(field.name) + "|" + std::string(field.value);
    } else if (r[1] == "text") {
      StatusFields fields;
      std::uint32_t pid = kNoPid, ppid = kNoPid;
      code = ParseStatusText(trace, r[2], fields);
      if (zel::Succeeded(code)) code = FindPidsInStatus(trace, fields, pid, ppid);
      value = std::to_string(pid) + "|" + std::to_string(ppid) + "|" + std::to_string(fields.size());
    } else if (r[1] == "under") {
      value = IsPathUnder(r[2], r[3], r[4] == "1") ? "1" : "0";  // no code: CODE is 0
    } else if (r[1] == "resolve") {
      // As realpath(3) reads a link whose text is r[2]; realpath itself is the oracle.
      const std::string probe = tree + "/probe";
      std::filesystem::remove(probe);
      std::filesystem::create_symlink(r[2], probe);
      char resolved[kPathBufferSize];
      code = static_cast<zel::result_t>(ResolveLinkText(probe, r[2], resolved));
      if (code == 0) value = resolved;
      char expected[PATH_MAX];
      const bool found = ::realpath(probe.c_str(), expected) != nullptr;
      EXPECT_EQ(code, found ? 0 : static_cast<zel::result_t>(errno));
      if (found) {
        EXPECT_EQ(value, expected);
      }
    } else if (r[1] == "proc") {
      const std::uint32_t pid = std::stoul(r[2]);
      zel::string text;
      ProcessInfo info;
      std::uint32_t ppid = 7;
      if (r[3] == "image") code = GetProcessImagePath(trace, pid, text);
      if (r[3].starts_with("ns:")) code = GetProcessNamespace(trace, pid, r[3].substr(3), text);
      if (r[3] == "ppid") code = GetProcessParentPid(trace, pid, ppid);
      if (r[3] == "info") code = GetProcessInfo(trace, pid, info);
      value = r[3] == "ppid" ? std::to_string(ppid) : std::string(text.view());
      if (r[3].starts_with("runs:")) {
        value = IsRunningImage(GetProcessImageIdentity(pid), r[3].substr(5).c_str()) ? "1" : "0";
      }
      if (r[3] == "info") {
        value = std::to_string(info.pid) + "|" + std::string(info.imagePath.view()) + "|" +
                std::string(info.mntNamespace.view());
      }
    }
    EXPECT_EQ(code, std::stoul(r[r.size() - 3], nullptr, 16));
    EXPECT_EQ(value, r[r.size() - 2]);
    EXPECT_EQ(testing::Joined(host.tracer->lines()), r.back());
  }
}

TEST_F(ProcessInfoTest, StatusBufferFromTheHostAllocatorAndItsLines) {
  std::uint32_t ppid = 0;
  ASSERT_EQ(GetProcessParentPid(trace, ::getpid(), ppid, host.allocator.get()), zel::kOk);
  EXPECT_EQ(host.allocator->allocations(), 1u);
  EXPECT_EQ(host.allocator->live_blocks(), 0);
  // Each status line is traced at the debug level.
  EXPECT_TRUE(host.tracer->Contains("vor:    <Pid> = <" + std::to_string(::getpid()) + ">"));
  host.allocator->FailAt(1);
  EXPECT_EQ(GetProcessParentPid(trace, ::getpid(), ppid, host.allocator.get()), zel::kErrOutOfMemory);
  // A daemon host may have closed its standard input: the status file is
  // then descriptor 0, closed like any other.
  const int input = ::dup(0);
  ::close(0);
  EXPECT_EQ(GetProcessParentPid(trace, ::getpid(), ppid, nullptr), zel::kOk);
  EXPECT_EQ(::fcntl(0, F_GETFD), -1) << "descriptor 0 left open";
  ::dup2(input, 0);
  ::close(input);
  zel::string path;
  EXPECT_EQ(GetProcessImagePath(zel::Tracer(), ::getpid(), path), zel::kErrInvalidArgument);
}

TEST(OpenExistingFile, WalksPathsOverTheLimit) {
  testing::TempDir dir;
  // A directory chain longer than 4096 bytes, built relative to each step,
  // with a file whose path is exactly 4096 bytes, one past what one open takes.
  const std::string component(200, 'd');
  std::string deep = dir.path, exact;
  ASSERT_EQ(::chdir(dir.path.c_str()), 0);
  for (int i = 0; i < 45; ++i) {  // over 8192 bytes: two rounds of the walk
    ASSERT_EQ(::mkdir(component.c_str(), 0700), 0);
    ASSERT_EQ(::chdir(component.c_str()), 0);
    deep += "/" + component;
    if (exact.empty() && 4096 - deep.size() - 1 < 256) {
      exact = deep + "/" + std::string(4096 - deep.size() - 1, 'e');
      std::ofstream(exact.substr(deep.size() + 1)) << "exact";
    }
  }
  ASSERT_EQ(exact.size(), 4096u);
  std::ofstream("status") << "deep";
  ASSERT_EQ(::chdir("/"), 0);
  const auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  const auto before = descriptors();
  int fd = -1;
  ASSERT_EQ(OpenExistingFile(fd, (deep + "/status").c_str(), O_RDONLY, 0), zel::kOk);
  char buffer[8] = {};
  EXPECT_EQ(::read(fd, buffer, sizeof buffer), 4);
  EXPECT_STREQ(buffer, "deep");
  ::close(fd);
  EXPECT_EQ(descriptors(), before) << "the walk leaves no folder open";
  ASSERT_EQ(OpenExistingFile(fd, exact.c_str(), O_RDONLY, 0), zel::kOk);
  ::close(fd);
  EXPECT_EQ(OpenExistingFile(fd, (deep + "/absent").c_str(), O_RDONLY, 0), zel::kErrFileNotFound);
  EXPECT_EQ(fd, -1);
  // A component longer than the limit leaves no '/' to cut at.
  EXPECT_EQ(OpenExistingFile(fd, ("/" + std::string(5000, 'x')).c_str(), O_RDONLY, 0), zel::kErrFileNotFound);
  EXPECT_EQ(OpenExistingFile(fd, nullptr, O_RDONLY, 0), zel::kErrInvalidArgument);
  EXPECT_EQ(OpenExistingFile(fd, "/proc/self/status", O_RDONLY, 0), zel::kOk);
  ::close(fd);
}

}  // namespace
}  // namespace vor
