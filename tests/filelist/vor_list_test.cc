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

using Lines = std::vector<std::string>;

std::string Hex(const void* p) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", p);
  return text;
}

OsReleaseInfo Release(const char* name, const char* version) {
  return {zel::string(name), zel::string(version)};
}

bool Contains(const Lines& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

class VorListTest : public ::testing::Test {
 protected:
  // Init and one update; the list holds the built-in set for this machine.
  void Fill(VorList& list) {
    ASSERT_EQ(list.Init(host.allocator.get(), Release("Debian", "12")), 0u);
    ASSERT_EQ(list.Update(storage.get()), 0u);
  }
  static std::set<std::string> Paths(VorList& list) {
    std::vector<std::string> paths;
    EXPECT_EQ(list.CopySortedPaths(paths), 0u);
    EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end()));
    return {paths.begin(), paths.end()};
  }

  testing::TestingHost host;
  Ref<testing::EmptyStorage> storage = host::MakeHostObject<testing::EmptyStorage>();
};

TEST_F(VorListTest, LifecycleStatesAndTraces) {
  const auto blocksBefore = host.allocator->live_blocks();
  {
    VorList list(host.locator.get());
    EXPECT_EQ(host.tracer->lines(800), Lines{"vor: VorList " + Hex(&list) + " was created"});

    bool found = true;
    EXPECT_FALSE(list.IsReady());
    EXPECT_EQ(list.IsInList("/usr/bin/ls", found), zel::kErrNotInitialized);
    EXPECT_FALSE(found);
    found = true;
    EXPECT_EQ(list.IsInListWide(u"/usr/bin/ls", found), zel::kErrNotInitialized);
    EXPECT_FALSE(found);
    EXPECT_EQ(list.Update(storage.get()), zel::kErrNotInitialized);
    std::vector<std::string> paths{"stale"};
    EXPECT_EQ(list.CopySortedPaths(paths), zel::kErrNotInitialized);
    EXPECT_TRUE(paths.empty());
    EXPECT_EQ(list.Init(nullptr, Release("Debian", "12")), zel::kErrInvalidArgument);
    EXPECT_FALSE(list.IsReady());

    host.tracer->Clear();
    ASSERT_EQ(list.Init(host.allocator.get(), Release("", "")), 0u);
    EXPECT_EQ(host.tracer->lines(), (Lines{"vor: OS release is unknown. Some functions will be disabled.",
                                           "vor: Begin vor list init...",
                                           "vor: vor list init status is ok"}));
    EXPECT_EQ(host.tracer->lines(500).size(), 1u);
    EXPECT_TRUE(list.IsReady());
    // Ready but never updated: the set is empty.
    EXPECT_EQ(list.IsInList("/usr/bin/ls", found), 0u);
    EXPECT_FALSE(found);
    EXPECT_EQ(list.Init(host.allocator.get(), Release("Debian", "12")), zel::kErrAlreadyExists);
    EXPECT_EQ(list.Update(nullptr), zel::kErrInvalidArgument);

    host.tracer->Clear();
    ASSERT_EQ(list.Update(storage.get()), 0u);
    const Lines lines = host.tracer->lines(700);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "vor: Begin updating vor list from storage " + Hex(storage.get()) + "...");
    EXPECT_EQ(lines.back(), "vor: vor list update status is ok");
    // A refused update leaves the set as it was.
    EXPECT_EQ(list.Update(nullptr), zel::kErrInvalidArgument);
    EXPECT_EQ(list.IsInList("/usr/bin/ls", found), 0u);
    EXPECT_TRUE(found);

    host.tracer->Clear();
    EXPECT_EQ(list.IsInList("", found), zel::kErrInvalidArgument);
    EXPECT_FALSE(found);
    EXPECT_EQ(list.IsInListWide(u"", found), zel::kErrInvalidArgument);
    EXPECT_TRUE(host.tracer->lines().empty());
  }
  EXPECT_EQ(host.tracer->lines(800).size(), 1u);
  EXPECT_TRUE(host.tracer->Contains(" was destroyed"));
  EXPECT_EQ(host.allocator->live_blocks(), blocksBefore);

  host.locator->Refuse(zel::IAllocator::kIid, zel::kErrNotFound);
  EXPECT_THROW(VorList list(host.locator.get()), zel::GetInterfaceException);
  host.locator->Allow(zel::IAllocator::kIid);
  host.locator->Refuse(zel::ITracer::kIid, zel::kErrNoInterface);
  EXPECT_THROW(VorList list(host.locator.get()), zel::GetInterfaceException);
}

TEST_F(VorListTest, ExactMatchOnly) {
  VorList list(host.locator.get());
  Fill(list);
  host.tracer->Clear();
  bool found = false;
  // The %OS_ARCH% row is never expanded, so it stands in the list as written;
  // the i386-only loader rows never reach an x86-64 list.
  const struct {
    const char* path;
    bool in;
  } cases[] = {
      {"/usr/bin/ls", true},  {"/USR/BIN/LS", false}, {"/usr/bin/ls/", false},
      {"/usr/bin/../bin/ls", false}, {"usr/bin/ls", false},
      {"/etc/ld.so.conf.d/%OS_ARCH%-gnu.conf", true},
      {"/etc/ld.so.conf.d/x86_64-linux-gnu.conf", false},
      {"/lib/i386-linux-gnu/ld-linux.so.2", false}, {"/lib32/ld-linux.so.2", false},
      {"/lib64/ld-linux-x86-64.so.2", true}, {"/lib/x86_64-linux-gnu/ld-linux-x86-64.so.2", true},
      {"/lib/x86_64-linux-gnu/libc.so.6", true}, {"%OS_LIB_PATH%/libc.so.6", false},
      {"/lib/systemd/systemd-binfmt", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(list.IsInList(c.path, found), 0u);
    EXPECT_EQ(found, c.in) << c.path;
  }
  const Lines lines = host.tracer->lines(700);
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
  host.tracer->Clear();

  bool found = false;
  EXPECT_EQ(list.IsInListWide(u"/usr/sbin/NetworkManager", found), 0u);
  EXPECT_TRUE(found);
  EXPECT_EQ(list.IsInListWide(u"/usr/bin/l\u00e9", found), 0u);
  EXPECT_FALSE(found);
  EXPECT_EQ(host.tracer->lines(700).back(), "vor: Path </usr/bin/l\xc3\xa9> wasn't for in list");
  EXPECT_EQ(initAllocator->allocations(), 0u) << "short paths convert on the stack";

  // Unpaired surrogates fail the conversion; a pair is fine.
  host.tracer->Clear();
  found = true;
  EXPECT_EQ(list.IsInListWide(u"/bin/\xd800x", found), zel::kErrInvalidSymbol);
  EXPECT_FALSE(found);
  EXPECT_EQ(host.tracer->lines(300),
            Lines{"vor: Can't convert to UTF-8 </bin/\xef\xbf\xbdx> with error 0x80000300"});
  EXPECT_EQ(list.IsInListWide(u"/b\xdbff", found), zel::kErrInvalidSymbol);
  EXPECT_EQ(list.IsInListWide(u"/\xdc00/", found), zel::kErrInvalidSymbol);
  EXPECT_EQ(list.IsInListWide(u"/\xd83d\xde00", found), 0u);

  // Longer than the stack buffer: converted through the Init allocator.
  const std::u16string longPath = u"/usr/bin/" + std::u16string(300, u'a');
  EXPECT_EQ(list.IsInListWide(longPath, found), 0u);
  EXPECT_FALSE(found);
  EXPECT_GE(initAllocator->allocations(), 1u);
  EXPECT_EQ(initAllocator->live_blocks(), 0);
  EXPECT_EQ(list.IsInListWide(longPath + char16_t(0xdc01), found), zel::kErrInvalidSymbol);

  initAllocator->FailAlways();
  host.tracer->Clear();
  EXPECT_EQ(list.IsInListWide(longPath, found), zel::kErrOutOfMemory);
  EXPECT_FALSE(found);
  const Lines errors = host.tracer->lines(300);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_TRUE(errors[0].starts_with("vor: Can't convert to UTF-8 </usr/bin/aaa")) << errors[0];
  EXPECT_TRUE(errors[0].ends_with("a> with error 0x80000041")) << errors[0];
  EXPECT_EQ(list.IsInListWide(u"/usr/bin/ls", found), 0u) << "short paths need no memory";
  EXPECT_TRUE(found);
  initAllocator->FailNever();
}

TEST_F(VorListTest, ExpansionOnThisMachine) {
  struct stat status;
  if (stat("/lib/x86_64-linux-gnu/libc.so.6", &status) != 0) GTEST_SKIP() << "no x86-64 libc here";
  VorList list(host.locator.get());
  Fill(list);
  EXPECT_TRUE(Contains(host.tracer->lines(700), "vor: Library directory </lib/x86_64-linux-gnu> is existing"));
  // A fallback is not probed once a multiarch directory was found.
  EXPECT_FALSE(host.tracer->Contains("Library directory </lib64>"));
  EXPECT_FALSE(host.tracer->Contains("Library directory </lib>"));

  const std::set<std::string> set = Paths(list);
  EXPECT_TRUE(set.count("/lib/x86_64-linux-gnu/libc.so.6"));
  EXPECT_FALSE(set.count("/lib64/libc.so.6"));
  char resolved[PATH_MAX];
  ASSERT_NE(realpath("/lib/x86_64-linux-gnu/libc.so.6", resolved), nullptr);
  bool found = false;
  EXPECT_EQ(list.IsInList(resolved, found), 0u);
  EXPECT_TRUE(found) << resolved;
  if (realpath("/lib64/ld-linux-x86-64.so.2", resolved) != nullptr) {
    EXPECT_TRUE(set.count(resolved)) << resolved;
  }
  // Rows without link resolution add only the literal path.
  EXPECT_TRUE(set.count("/lib/x86_64-linux-gnu/libmemusage.so"));
  if (realpath("/lib/x86_64-linux-gnu/libmemusage.so", resolved) != nullptr &&
      std::string(resolved) != "/lib/x86_64-linux-gnu/libmemusage.so") {
    EXPECT_FALSE(set.count(resolved)) << resolved;
  }
  std::vector<std::string> directories;
  ASSERT_EQ(list.CopyExistingLibraryDirectories(directories), 0u);
  EXPECT_TRUE(Contains(directories, "/lib/x86_64-linux-gnu"));

  // A second update yields the same set.
  ASSERT_EQ(list.Update(storage.get()), 0u);
  EXPECT_EQ(Paths(list), set);
}

// Lists on private copies of the directory table (so `exists` bytes set in
// one shape never leak into another), with a probe that plays the machine.
TEST_F(VorListTest, MachineShapes) {
  const struct {
    const char* label;
    std::set<std::u16string> present;
    std::size_t probes;  // fallbacks are probed only when no multiarch directory was found
    const char* traced;
    std::vector<const char*> in, out;
  } shapes[] = {
      {"only the x86-64 multiarch directory", {u"/lib/x86_64-linux-gnu", u"/lib64", u"/lib"}, 3,
       "vor: Library directory </lib/i386-linux-gnu> is absent",
       {"/lib/x86_64-linux-gnu/libc.so.6", "/lib/x86_64-linux-gnu/libSegFault.so"},
       {"/lib64/libc.so.6", "/lib/libc.so.6", "/lib/i386-linux-gnu/libc.so.6"}},
      // Each 0x701 row then expands three times; /lib shares kArchX86 with it.
      {"/lib64 and /lib without multiarch directories", {u"/lib64", u"/lib"}, 5,
       "vor: Library directory </lib64> is existing",
       {"/lib/x86_64-linux-gnu/libutil.so.1", "/lib64/libutil.so.1", "/lib/libutil.so.1",
        "/lib/libpcprofile.so", "/etc/ld.so.conf.d/%OS_ARCH%-gnu.conf"},
       {"/lib/aarch64-linux-gnu/libutil.so.1", "/lib/i386-linux-gnu/libutil.so.1"}},
      {"i386 beside x86-64", {u"/lib/i386-linux-gnu", u"/lib/x86_64-linux-gnu", u"/lib"}, 3,
       "vor: Library directory </lib/i386-linux-gnu> is existing",
       {"/lib/i386-linux-gnu/libc.so.6", "/lib/x86_64-linux-gnu/libc.so.6"},
       {"/lib/libc.so.6", "/lib/i386-linux-gnu/ld-linux.so.2"}},
  };
  for (const auto& shape : shapes) {
    SCOPED_TRACE(shape.label);
    LibraryDirectory directories[kLibraryDirectoryCount];
    std::copy(std::begin(kLibraryDirectories), std::end(kLibraryDirectories), directories);
    for (LibraryDirectory& row : directories) row.exists = 0;
    std::size_t probes = 0;
    VorList list(host.locator.get());
    list.SetLibraryDirectories(directories);
    list.SetDirectoryProbe([&](const char16_t* dir) {
      ++probes;
      return shape.present.count(dir) != 0;
    });
    host.tracer->Clear();
    Fill(list);
    EXPECT_EQ(probes, shape.probes);
    EXPECT_TRUE(Contains(host.tracer->lines(700), shape.traced));
    const std::set<std::string> set = Paths(list);
    for (const char* path : shape.in) EXPECT_TRUE(set.count(path)) << path;
    for (const char* path : shape.out) EXPECT_FALSE(set.count(path)) << path;
  }
}

TEST_F(VorListTest, VanishedDirectoryStaysExpanded) {
  LibraryDirectory directories[kLibraryDirectoryCount];
  std::copy(std::begin(kLibraryDirectories), std::end(kLibraryDirectories), directories);
  for (LibraryDirectory& row : directories) row.exists = 0;
  bool i386 = true;
  VorList list(host.locator.get());
  list.SetLibraryDirectories(directories);
  list.SetDirectoryProbe([&](const char16_t* dir) {
    return i386 && std::u16string_view(dir) == u"/lib/i386-linux-gnu";
  });
  Fill(list);
  const std::set<std::string> first = Paths(list);
  EXPECT_TRUE(first.count("/lib/i386-linux-gnu/librt.so.1"));
  i386 = false;
  host.tracer->Clear();
  ASSERT_EQ(list.Update(storage.get()), 0u);
  EXPECT_TRUE(Contains(host.tracer->lines(700), "vor: Library directory </lib/i386-linux-gnu> is absent"));
  EXPECT_EQ(directories[0].exists, 1);
  EXPECT_EQ(Paths(list), first);
}

TEST_F(VorListTest, NoUsableDirectoryTracesTheRow) {
  // A table with only a missing i386 directory: expanded rows find nothing.
  LibraryDirectory onlyI386[] = {kLibraryDirectories[0]};
  onlyI386[0].exists = 0;
  VorList list(host.locator.get());
  list.SetLibraryDirectories(onlyI386);
  list.SetDirectoryProbe([](const char16_t*) { return false; });
  host.tracer->Clear();
  Fill(list);
  const Lines warnings = host.tracer->lines(500);
  EXPECT_EQ(warnings.size(), 24u);  // 23 library rows and the %OS_ARCH% row
  EXPECT_TRUE(Contains(warnings, "vor: No one path was added for vor item <%OS_LIB_PATH%/libc.so.6>"));
  EXPECT_TRUE(Contains(warnings, "vor: No one path was added for vor item </etc/ld.so.conf.d/%OS_ARCH%-gnu.conf>"));
  bool found = true;
  EXPECT_EQ(list.IsInList("/lib/i386-linux-gnu/libc.so.6", found), 0u);
  EXPECT_FALSE(found);
}

TEST_F(VorListTest, OutOfMemoryDuringUpdate) {
  VorList list(host.locator.get());
  Fill(list);
  const std::set<std::string> full = Paths(list);
  for (std::uint64_t n : {1u, 2u, 100u, 700u}) {
    host.tracer->Clear();
    host.allocator->FailAt(n);
    EXPECT_EQ(list.Update(storage.get()), zel::kErrOutOfMemory) << n;
    host.allocator->FailNever();
    const Lines errors = host.tracer->lines(300);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_TRUE(errors[0].starts_with("vor: Exception caught at line 296 => ")) << errors[0];
    // The lock was released: lookups and a new update go through.
    bool found = true;
    EXPECT_EQ(list.IsInList("/no/such/file", found), 0u);
    EXPECT_FALSE(found);
    ASSERT_EQ(list.Update(storage.get()), 0u);
    EXPECT_EQ(Paths(list), full);
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
