#include "filelist/vor_list.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "runtime/exception.h"
#include "tests/filelist/empty_storage.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using testing::TestingHost;

std::string Hex(const void* p) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%llx",
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(p)));
  return text;
}

OsReleaseInfo Release(const char* name, const char* version) {
  return {zel::string(name), zel::string(version)};
}

bool Contains(const std::vector<std::string>& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// A list on a private copy of the directory table, so that `exists` bytes set
// by one case never leak into another; `present` plays the machine.
class ListOnMachine {
 public:
  explicit ListOnMachine(TestingHost& host) : list(host.locator.get()) {
    std::copy(std::begin(kLibraryDirectories), std::end(kLibraryDirectories), directories);
    for (LibraryDirectory& row : directories) row.exists = 0;
    list.SetLibraryDirectories(directories);
    list.SetDirectoryProbe([this](const char16_t* dir) {
      probed.emplace_back(dir);
      return present.count(dir) != 0;
    });
  }

  std::set<std::string> Update(zel::IStorage* storage) {
    probed.clear();
    EXPECT_EQ(list.Update(storage), 0u);
    std::vector<std::string> paths;
    EXPECT_EQ(list.CopySortedPaths(paths), 0u);
    EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end()));
    return {paths.begin(), paths.end()};
  }

  LibraryDirectory directories[kLibraryDirectoryCount];
  std::set<std::u16string> present;
  std::vector<std::u16string> probed;
  VorList list;
};

class VorListTest : public ::testing::Test {
 protected:
  VorListTest() : storage(host::MakeHostObject<testing::EmptyStorage>()) {}

  TestingHost host;
  Ref<testing::EmptyStorage> storage;
};

TEST_F(VorListTest, LifecycleStatesAndTraces) {
  const auto blocksBefore = host.allocator->live_blocks();
  {
    VorList list(host.locator.get());
    const std::string address = Hex(&list);
    EXPECT_EQ(host.tracer->lines(800), std::vector<std::string>{"vor: VorList " + address + " was created"});

    bool found = true;
    EXPECT_FALSE(list.IsReady());
    EXPECT_EQ(list.IsInList("/usr/bin/ls", found), 0x8000006bu);
    EXPECT_FALSE(found);
    found = true;
    EXPECT_EQ(list.IsInListWide(u"/usr/bin/ls", found), 0x8000006bu);
    EXPECT_FALSE(found);
    EXPECT_EQ(list.Update(storage.get()), 0x8000006bu);
    std::vector<std::string> paths{"stale"};
    EXPECT_EQ(list.CopySortedPaths(paths), 0x8000006bu);
    EXPECT_TRUE(paths.empty());

    EXPECT_EQ(list.Init(nullptr, Release("Debian", "12")), 0x80000046u);
    EXPECT_FALSE(list.IsReady());

    host.tracer->Clear();
    ASSERT_EQ(list.Init(host.allocator.get(), Release("", "")), 0u);
    EXPECT_EQ(host.tracer->lines(), (std::vector<std::string>{
                                        "vor: OS release is unknown. Some functions will be disabled.",
                                        "vor: Begin vor list init...",
                                        "vor: vor list init status is ok"}));
    EXPECT_EQ(host.tracer->lines(500).size(), 1u);
    EXPECT_TRUE(list.IsReady());

    // Ready but never updated: the set is empty.
    found = true;
    EXPECT_EQ(list.IsInList("/usr/bin/ls", found), 0u);
    EXPECT_FALSE(found);

    EXPECT_EQ(list.Init(host.allocator.get(), Release("Debian", "12")), 0x80010105u);
    EXPECT_EQ(list.Update(nullptr), 0x80000046u);

    host.tracer->Clear();
    ASSERT_EQ(list.Update(storage.get()), 0u);
    const std::vector<std::string> lines = host.tracer->lines(700);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "vor: Begin updating vor list from storage " + Hex(storage.get()) + "...");
    EXPECT_EQ(lines.back(), "vor: vor list update status is ok");
    EXPECT_EQ(list.IsInList("/usr/bin/ls", found), 0u);
    EXPECT_TRUE(found);

    // A refused update leaves the set as it was.
    EXPECT_EQ(list.Update(nullptr), 0x80000046u);
    EXPECT_EQ(list.IsInList("/usr/bin/ls", found), 0u);
    EXPECT_TRUE(found);

    host.tracer->Clear();
    found = true;
    EXPECT_EQ(list.IsInList("", found), 0x80000046u);
    EXPECT_FALSE(found);
    EXPECT_EQ(list.IsInListWide(u"", found), 0x80000046u);
    EXPECT_TRUE(host.tracer->lines().empty());
    host.tracer->Clear();
  }
  EXPECT_EQ(host.tracer->lines(800).size(), 1u);
  EXPECT_TRUE(host.tracer->Contains(" was destroyed"));
  EXPECT_EQ(host.allocator->live_blocks(), blocksBefore);
}

TEST_F(VorListTest, ConstructionNeedsAllocatorAndTracer) {
  host.locator->Refuse(zel::IAllocator::kIid, 0x8000004c);
  EXPECT_THROW(VorList list(host.locator.get()), zel::GetInterfaceException);
  host.locator->Allow(zel::IAllocator::kIid);
  host.locator->Refuse(zel::ITracer::kIid, 0x80000001);
  EXPECT_THROW(VorList list(host.locator.get()), zel::GetInterfaceException);
}

TEST_F(VorListTest, ExactMatchOnly) {
  VorList list(host.locator.get());
  ASSERT_EQ(list.Init(host.allocator.get(), Release("Debian", "12")), 0u);
  ASSERT_EQ(list.Update(storage.get()), 0u);
  host.tracer->Clear();

  bool found = false;
  EXPECT_EQ(list.IsInList("/usr/bin/ls", found), 0u);
  EXPECT_TRUE(found);
  for (const char* miss : {"/USR/BIN/LS", "/usr/bin/ls/", "/usr/bin/../bin/ls", "/usr/bin/l",
                           "usr/bin/ls", "/usr/bin/ls ", "/etc/ld.so.conf.d/x86_64-linux-gnu.conf",
                           "/lib/i386-linux-gnu/ld-linux.so.2", "/lib32/ld-linux.so.2",
                           "%OS_LIB_PATH%/libc.so.6"}) {
    EXPECT_EQ(list.IsInList(miss, found), 0u);
    EXPECT_FALSE(found) << miss;
  }
  // The %OS_ARCH% row is never expanded, so it stands in the list as written.
  for (const char* hit : {"/etc/ld.so.conf.d/%OS_ARCH%-gnu.conf", "/usr/bin/[", "/bin/ls",
                          "/lib/systemd/systemd-binfmt", "/lib64/ld-linux-x86-64.so.2",
                          "/lib/x86_64-linux-gnu/libc.so.6", "/etc/passwd"}) {
    EXPECT_EQ(list.IsInList(hit, found), 0u);
    EXPECT_TRUE(found) << hit;
  }
  const std::vector<std::string> lines = host.tracer->lines(700);
  EXPECT_EQ(lines[0], "vor: Path </usr/bin/ls> was for in list");
  EXPECT_EQ(lines[1], "vor: Path </USR/BIN/LS> wasn't for in list");

  // Tracing off: nothing is built, the answer is the same.
  host.tracer->set_threshold(0);
  host.tracer->Clear();
  EXPECT_EQ(list.IsInListWide(u"/usr/bin/ls", found), 0u);
  EXPECT_TRUE(found);
  EXPECT_EQ(host.tracer->begun(), 0u);
}

TEST_F(VorListTest, WidePaths) {
  Ref<testing::CountingAllocator> initAllocator = host::MakeHostObject<testing::CountingAllocator>();
  VorList list(host.locator.get());
  ASSERT_EQ(list.Init(initAllocator.get(), Release("Debian", "12")), 0u);
  ASSERT_EQ(list.Update(storage.get()), 0u);
  initAllocator->FailNever();
  host.tracer->Clear();

  bool found = false;
  EXPECT_EQ(list.IsInListWide(u"/usr/sbin/NetworkManager", found), 0u);
  EXPECT_TRUE(found);
  EXPECT_EQ(list.IsInListWide(u"/usr/bin/l\u00e9", found), 0u);
  EXPECT_FALSE(found);
  EXPECT_EQ(host.tracer->lines(700).back(), "vor: Path </usr/bin/l\xc3\xa9> wasn't for in list");
  EXPECT_EQ(initAllocator->allocations(), 0u) << "short paths convert on the stack";

  // An unpaired surrogate fails the conversion with its trace line.
  host.tracer->Clear();
  found = true;
  const char16_t lone[] = {u'/', u'b', u'i', u'n', u'/', 0xd800, u'x', 0};
  EXPECT_EQ(list.IsInListWide(lone, found), 0x80000300u);
  EXPECT_FALSE(found);
  EXPECT_EQ(host.tracer->lines(300),
            std::vector<std::string>{"vor: Can't convert to UTF-8 </bin/\xef\xbf\xbdx> with error 0x80000300"});
  const char16_t trailingHigh[] = {u'/', u'b', 0xdbff, 0};
  EXPECT_EQ(list.IsInListWide(trailingHigh, found), 0x80000300u);
  const char16_t loneLow[] = {u'/', 0xdc00, u'/', 0};
  EXPECT_EQ(list.IsInListWide(loneLow, found), 0x80000300u);
  const char16_t pair[] = {u'/', 0xd83d, 0xde00, 0};
  EXPECT_EQ(list.IsInListWide(pair, found), 0u);

  // Longer than the stack buffer: converted through the Init allocator.
  std::u16string longPath = u"/usr/bin/";
  longPath.append(300, u'a');
  EXPECT_EQ(list.IsInListWide(longPath, found), 0u);
  EXPECT_FALSE(found);
  EXPECT_GE(initAllocator->allocations(), 1u);
  EXPECT_EQ(initAllocator->live_blocks(), 0);
  std::u16string longBroken = longPath + char16_t(0xdc01);
  EXPECT_EQ(list.IsInListWide(longBroken, found), 0x80000300u);

  initAllocator->FailAlways();
  host.tracer->Clear();
  EXPECT_EQ(list.IsInListWide(longPath, found), 0x80000041u);
  EXPECT_FALSE(found);
  ASSERT_EQ(host.tracer->lines(300).size(), 1u);
  EXPECT_EQ(host.tracer->lines(300)[0].substr(0, 38), "vor: Can't convert to UTF-8 </usr/bin/");
  EXPECT_EQ(host.tracer->lines(300)[0].substr(host.tracer->lines(300)[0].size() - 23),
            "> with error 0x80000041");
  EXPECT_EQ(list.IsInListWide(u"/usr/bin/ls", found), 0u) << "short paths need no memory";
  EXPECT_TRUE(found);
  initAllocator->FailNever();
}

TEST_F(VorListTest, ExpansionOnThisMachine) {
  struct stat status;
  if (stat("/lib/x86_64-linux-gnu/libc.so.6", &status) != 0) GTEST_SKIP() << "no x86-64 libc here";
  VorList list(host.locator.get());
  ASSERT_EQ(list.Init(host.allocator.get(), Release("Debian", "12")), 0u);
  host.tracer->Clear();
  ASSERT_EQ(list.Update(storage.get()), 0u);
  const std::vector<std::string> lines = host.tracer->lines(700);
  EXPECT_TRUE(Contains(lines, "vor: Library directory </lib/x86_64-linux-gnu> is existing"));
  // A fallback is not probed once a multiarch directory was found.
  EXPECT_FALSE(host.tracer->Contains("Library directory </lib64>"));
  EXPECT_FALSE(host.tracer->Contains("Library directory </lib>"));

  std::vector<std::string> paths;
  ASSERT_EQ(list.CopySortedPaths(paths), 0u);
  const std::set<std::string> set(paths.begin(), paths.end());
  EXPECT_EQ(set.size(), paths.size());
  EXPECT_TRUE(set.count("/lib/x86_64-linux-gnu/libc.so.6"));
  EXPECT_FALSE(set.count("/lib64/libc.so.6"));
  char resolved[PATH_MAX];
  ASSERT_NE(realpath("/lib/x86_64-linux-gnu/libc.so.6", resolved), nullptr);
  EXPECT_TRUE(set.count(resolved)) << resolved;
  bool found = false;
  EXPECT_EQ(list.IsInList(resolved, found), 0u);
  EXPECT_TRUE(found);
  if (realpath("/lib64/ld-linux-x86-64.so.2", resolved) != nullptr) {
    EXPECT_TRUE(set.count(resolved)) << resolved;
  }
  // Rows without link resolution add only the literal path.
  if (realpath("/lib/x86_64-linux-gnu/libmemusage.so", resolved) != nullptr &&
      std::string(resolved) != "/lib/x86_64-linux-gnu/libmemusage.so") {
    EXPECT_FALSE(set.count(resolved)) << resolved;
  }
  EXPECT_TRUE(set.count("/lib/x86_64-linux-gnu/libmemusage.so"));

  std::vector<std::string> directories;
  ASSERT_EQ(list.CopyExistingLibraryDirectories(directories), 0u);
  EXPECT_TRUE(Contains(directories, "/lib/x86_64-linux-gnu"));

  // Every path of the set comes from a row; none keeps the lib placeholder.
  for (const std::string& path : paths) {
    EXPECT_EQ(path.find("%OS_LIB_PATH%"), std::string::npos) << path;
  }

  // A second update yields the same set.
  ASSERT_EQ(list.Update(storage.get()), 0u);
  std::vector<std::string> again;
  ASSERT_EQ(list.CopySortedPaths(again), 0u);
  EXPECT_EQ(again, paths);
}

TEST_F(VorListTest, MachineShapes) {
  {
    SCOPED_TRACE("only the x86-64 multiarch directory");
    ListOnMachine machine(host);
    ASSERT_EQ(machine.list.Init(host.allocator.get(), Release("Debian", "12")), 0u);
    machine.present = {u"/lib/x86_64-linux-gnu", u"/lib64", u"/lib"};
    host.tracer->Clear();
    const std::set<std::string> set = machine.Update(storage.get());
    EXPECT_EQ(machine.probed, (std::vector<std::u16string>{u"/lib/i386-linux-gnu", u"/lib/x86_64-linux-gnu",
                                                           u"/lib/aarch64-linux-gnu"}));
    EXPECT_TRUE(Contains(host.tracer->lines(700), "vor: Library directory </lib/i386-linux-gnu> is absent"));
    EXPECT_TRUE(set.count("/lib/x86_64-linux-gnu/libc.so.6"));
    EXPECT_TRUE(set.count("/lib/x86_64-linux-gnu/libSegFault.so"));
    EXPECT_FALSE(set.count("/lib64/libc.so.6"));
    EXPECT_FALSE(set.count("/lib/libc.so.6"));
    EXPECT_FALSE(set.count("/lib/i386-linux-gnu/libc.so.6"));
    EXPECT_EQ(machine.directories[1].exists, 1);
    EXPECT_EQ(machine.directories[3].exists, 0);
  }
  {
    SCOPED_TRACE("/lib64 and /lib without multiarch directories");
    ListOnMachine machine(host);
    ASSERT_EQ(machine.list.Init(host.allocator.get(), Release("Debian", "12")), 0u);
    machine.present = {u"/lib64", u"/lib"};
    const std::set<std::string> set = machine.Update(storage.get());
    EXPECT_EQ(machine.probed.size(), 5u);
    for (const char* path : {"/lib/x86_64-linux-gnu/libutil.so.1", "/lib64/libutil.so.1",
                             "/lib/libutil.so.1", "/lib/libpcprofile.so",
                             "/etc/ld.so.conf.d/%OS_ARCH%-gnu.conf"}) {
      EXPECT_TRUE(set.count(path)) << path;
    }
    EXPECT_FALSE(set.count("/lib/aarch64-linux-gnu/libutil.so.1"));
    EXPECT_FALSE(set.count("/lib/i386-linux-gnu/libutil.so.1"));
  }
  {
    SCOPED_TRACE("i386 beside x86-64");
    ListOnMachine machine(host);
    ASSERT_EQ(machine.list.Init(host.allocator.get(), Release("Debian", "12")), 0u);
    machine.present = {u"/lib/i386-linux-gnu", u"/lib/x86_64-linux-gnu", u"/lib"};
    host.tracer->Clear();
    const std::set<std::string> set = machine.Update(storage.get());
    EXPECT_TRUE(set.count("/lib/i386-linux-gnu/libc.so.6"));
    EXPECT_TRUE(set.count("/lib/x86_64-linux-gnu/libc.so.6"));
    EXPECT_FALSE(set.count("/lib/libc.so.6"));
    EXPECT_FALSE(set.count("/lib/i386-linux-gnu/ld-linux.so.2"));
    EXPECT_EQ(host.tracer->lines(700)[1], "vor: Library directory </lib/i386-linux-gnu> is existing");
  }
  {
    SCOPED_TRACE("a directory that vanishes between two updates");
    ListOnMachine machine(host);
    ASSERT_EQ(machine.list.Init(host.allocator.get(), Release("Debian", "12")), 0u);
    machine.present = {u"/lib/i386-linux-gnu"};
    const std::set<std::string> first = machine.Update(storage.get());
    EXPECT_TRUE(first.count("/lib/i386-linux-gnu/librt.so.1"));
    machine.present.clear();
    host.tracer->Clear();
    const std::set<std::string> second = machine.Update(storage.get());
    EXPECT_TRUE(Contains(host.tracer->lines(700), "vor: Library directory </lib/i386-linux-gnu> is absent"));
    EXPECT_EQ(machine.directories[0].exists, 1);
    EXPECT_EQ(second, first);
  }
}

TEST_F(VorListTest, NoUsableDirectoryTracesTheRow) {
  // A table with only a missing i386 directory: expanded rows find nothing.
  LibraryDirectory onlyI386[] = {kLibraryDirectories[0]};
  onlyI386[0].exists = 0;
  VorList list(host.locator.get());
  list.SetLibraryDirectories(onlyI386);
  list.SetDirectoryProbe([](const char16_t*) { return false; });
  ASSERT_EQ(list.Init(host.allocator.get(), Release("Debian", "12")), 0u);
  host.tracer->Clear();
  ASSERT_EQ(list.Update(storage.get()), 0u);
  const std::vector<std::string> warnings = host.tracer->lines(500);
  EXPECT_EQ(warnings.size(), 24u);  // 23 library rows and the %OS_ARCH% row
  EXPECT_TRUE(Contains(warnings, "vor: No one path was added for vor item <%OS_LIB_PATH%/libc.so.6>"));
  EXPECT_TRUE(Contains(warnings, "vor: No one path was added for vor item </etc/ld.so.conf.d/%OS_ARCH%-gnu.conf>"));
  bool found = true;
  EXPECT_EQ(list.IsInList("/lib/i386-linux-gnu/libc.so.6", found), 0u);
  EXPECT_FALSE(found);
}

TEST_F(VorListTest, OutOfMemoryDuringUpdate) {
  VorList list(host.locator.get());
  ASSERT_EQ(list.Init(host.allocator.get(), Release("Debian", "12")), 0u);
  ASSERT_EQ(list.Update(storage.get()), 0u);
  std::vector<std::string> full;
  ASSERT_EQ(list.CopySortedPaths(full), 0u);
  for (std::uint64_t n : {1u, 2u, 100u, 700u}) {
    host.tracer->Clear();
    host.allocator->FailAt(n);
    EXPECT_EQ(list.Update(storage.get()), 0x80000041u) << n;
    host.allocator->FailNever();
    ASSERT_EQ(host.tracer->lines(300).size(), 1u);
    EXPECT_EQ(host.tracer->lines(300)[0].rfind("vor: Exception caught at line 296 => ", 0), 0u)
        << host.tracer->lines(300)[0];
    // The lock was released: lookups and a new update go through.
    bool found = true;
    EXPECT_EQ(list.IsInList("/no/such/file", found), 0u);
    EXPECT_FALSE(found);
    ASSERT_EQ(list.Update(storage.get()), 0u);
    std::vector<std::string> again;
    ASSERT_EQ(list.CopySortedPaths(again), 0u);
    EXPECT_EQ(again, full);
  }
}

// The `exists` bytes of the real table are shared by every list in the
// process and never cleared; run in a child so the rest stays untouched.
TEST_F(VorListTest, ExistsBytesAreProcessWide) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        VorList first(host.locator.get());
        VorList second(host.locator.get());
        first.SetDirectoryProbe([](const char16_t* dir) {
          return std::u16string_view(dir) == u"/lib/i386-linux-gnu";
        });
        second.SetDirectoryProbe([](const char16_t*) { return false; });
        bool ok = first.Init(host.allocator.get(), Release("a", "1")) == 0 &&
                  second.Init(host.allocator.get(), Release("a", "1")) == 0 &&
                  first.Update(storage.get()) == 0 && second.Update(storage.get()) == 0;
        bool found = false;
        ok = ok && second.IsInList("/lib/i386-linux-gnu/libc.so.6", found) == 0 && found;
        ok = ok && kLibraryDirectories[0].exists == 1 && kLibraryDirectories[1].exists == 0;
        std::fprintf(stderr, ok ? "shared\n" : "not shared\n");
        std::exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "shared");
}

}  // namespace
}  // namespace vor
