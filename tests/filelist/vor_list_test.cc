#include "filelist/vor_list.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/directory_storage.h"
#include "tests/testing_host/testing_host.h"
#include "vor/utf.h"

namespace vor {
namespace {

using Lines = std::vector<std::string>;

struct Scenario {
  std::string name;
  Lines commands;
};
void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }

std::vector<Scenario> LoadScenarios() {
  std::ifstream in(VOR_SOURCE_DIR "/tests/filelist/data/list_scenarios.txt");
  std::vector<Scenario> scenarios;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("list ")) scenarios.push_back({line.substr(5, line.find(' ', 5) - 5), {}});
    if (!scenarios.empty() && !line.empty() && !line.starts_with('#')) {
      scenarios.back().commands.push_back(line);
    }
  }
  return scenarios;
}

class ListScenario : public ::testing::TestWithParam<Scenario> {
 protected:
  testing::TestingHost host;
  Ref<host::DirectoryStorage> storage = host::MakeHostObject<host::DirectoryStorage>("");  // holds nothing
};

TEST_P(ListScenario, Runs) {
  std::vector<LibraryDirectory> directories;
  std::unique_ptr<VorList> list;
  std::set<std::u16string> present;
  std::size_t probes = 0, traced = 0;
  std::string self;  // the list's address as its trace lines print it
  for (const std::string& command : GetParam().commands) {
    SCOPED_TRACE(command);
    std::istringstream in(command);
    std::string op, word, rest;
    in >> op;
    std::getline(in >> std::ws, rest);
    for (const auto& [name, value] : {std::pair{"%list", self}, {"%storage", testing::Hex(storage.get())}}) {
      if (const auto at = rest.find(name); at != std::string::npos) rest.replace(at, std::strlen(name), value);
    }
    std::istringstream args(rest);
    const auto code = [&](const std::string& text) { return std::stoul(text, nullptr, 16); };
    const auto reset = [&] { host.tracer->Clear(), probes = traced = 0; };
    if (op == "list") {
      args >> word;
      for (std::size_t row; args >> row;) directories.push_back(kLibraryDirectories[row]);
      if (directories.empty()) directories.assign(std::begin(kLibraryDirectories), std::end(kLibraryDirectories));
      for (LibraryDirectory& row : directories) row.exists = 0;
      list = std::make_unique<VorList>(host.locator.get());
      self = testing::Hex(list.get());
      list->SetLibraryDirectories(directories);
      list->SetDirectoryProbe([&](const char16_t* dir) { return ++probes, present.count(dir) != 0; });
    } else if (op == "destroy") {
      reset();
      list.reset();
      EXPECT_EQ(host.allocator->live_blocks(), 0);
    } else if (op == "present") {
      present.clear();
      for (std::string dir; args >> dir;) present.insert(std::u16string(dir.begin(), dir.end()));
    } else if (op == "machine") {
      list->SetDirectoryProbe(IsDirectoryOrLinkToDirectory);
    } else if (op == "require") {
      struct stat status;
      if (stat(rest.c_str(), &status) != 0) GTEST_SKIP() << rest << " is not on this machine";
    } else if (op == "init") {
      std::string name, version, expected;
      args >> name >> version >> expected;
      reset();
      const OsReleaseInfo release{zel::string(name == "-" ? "" : name), zel::string(version == "-" ? "" : version)};
      EXPECT_EQ(list->Init(name == "null" ? nullptr : host.allocator.get(), release), code(expected));
    } else if (op == "update" || op == "update-null") {
      reset();
      EXPECT_EQ(list->Update(op == "update" ? storage.get() : nullptr), code(rest));
    } else if (op == "probes") {
      EXPECT_EQ(probes, std::stoul(rest));
    } else if (op == "traced") {
      const Lines lines = host.tracer->lines();
      const auto at = std::find(lines.begin() + std::min(traced, lines.size()), lines.end(), rest);
      EXPECT_NE(at, lines.end()) << "not traced after the previous traced line";
      traced = at - lines.begin() + 1;
    } else if (op == "untraced") {
      EXPECT_FALSE(host.tracer->Contains(rest));
    } else if (op == "count") {
      std::uint32_t level, count;
      args >> level >> count;
      EXPECT_EQ(host.tracer->lines(level).size(), count);
    } else if (op == "in" || op == "out" || op == "lookup") {
      std::string path = rest, expected = "0";
      if (op == "lookup") args >> expected, path = rest.substr(std::min(rest.size(), expected.size() + 1));
      std::u16string wide;
      utf::Utf8ToUtf16(path, [&](char16_t c) { wide.push_back(c); });
      for (int narrow = 0; narrow < 2; ++narrow) {
        host.tracer->Clear();
        bool found = op == "out";
        EXPECT_EQ(narrow ? list->IsInList(path, found) : list->IsInListWide(wide, found), code(expected));
        EXPECT_EQ(found, op == "in");
        const std::string answer = op == "in" ? "> was for in list" : "> wasn't for in list";
        EXPECT_EQ(host.tracer->lines(), op == "lookup" ? Lines{} : Lines{"vor: Path <" + path + answer});
      }
    } else if (op == "ready") {
      EXPECT_EQ(list->IsReady(), rest == "1");
    } else if (op == "paths") {
      Lines paths{"stale"};
      EXPECT_EQ(list->CopySortedPaths(paths), code(rest));
      EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end()));
      EXPECT_TRUE(code(rest) != 0 ? paths.empty() : std::count(paths.begin(), paths.end(), "stale") == 0);
    } else if (op == "existing") {
      Lines expected, copied{"stale"};
      for (std::string dir; args >> dir;) expected.push_back(dir);
      list->CopyExistingLibraryDirectories(copied);
      EXPECT_EQ(copied, expected);
    } else if (op == "resolved" || op == "unresolved") {
      char resolved[PATH_MAX];
      if (realpath(rest.c_str(), resolved) == nullptr || rest == resolved) continue;
      Lines paths;
      ASSERT_EQ(list->CopySortedPaths(paths), 0u);
      EXPECT_EQ(std::binary_search(paths.begin(), paths.end(), resolved), op == "resolved") << resolved;
    } else {
      FAIL() << "unknown command";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Data, ListScenario, ::testing::ValuesIn(LoadScenarios()),
                         [](const auto& row) { return row.param.name; });

class VorListTest : public ::testing::Test {
 protected:
  testing::TestingHost host;
  Ref<host::DirectoryStorage> storage = host::MakeHostObject<host::DirectoryStorage>("");  // holds nothing
};

TEST_F(VorListTest, WidePathsConvertOnTheStackOrThroughTheInitAllocator) {
  auto initAllocator = host::MakeHostObject<testing::CountingAllocator>();
  VorList list(host.locator.get());
  ASSERT_EQ(list.Init(initAllocator.get(), {zel::string("Debian"), zel::string("12")}), 0u);
  ASSERT_EQ(list.Update(storage.get()), 0u);
  host.tracer->Clear();
  bool found = true;
  // Unpaired surrogates fail the conversion; a pair is fine.
  EXPECT_EQ(list.IsInListWide(u"/bin/\xd800x", found), zel::kErrInvalidSymbol);
  EXPECT_FALSE(found);
  EXPECT_EQ(host.tracer->lines(300), Lines{"vor: Can't convert to UTF-8 </bin/\xef\xbf\xbdx> with error 0x80000300"});
  EXPECT_EQ(list.IsInListWide(u"/b\xdbff", found), zel::kErrInvalidSymbol);
  EXPECT_EQ(list.IsInListWide(u"/\xdc00/", found), zel::kErrInvalidSymbol);
  EXPECT_EQ(list.IsInListWide(u"/\xd83d\xde00", found), 0u);
  EXPECT_EQ(initAllocator->allocations(), 0u) << "short paths convert on the stack";

  // Longer than the stack buffer: converted through the Init allocator.
  const std::u16string longPath = u"/usr/bin/" + std::u16string(300, u'a');
  EXPECT_EQ(list.IsInListWide(longPath, found), 0u);
  EXPECT_GE(initAllocator->allocations(), 1u);
  EXPECT_EQ(initAllocator->live_blocks(), 0);
  EXPECT_EQ(list.IsInListWide(longPath + char16_t(0xdc01), found), zel::kErrInvalidSymbol);
  initAllocator->FailAlways();
  host.tracer->Clear();
  EXPECT_EQ(list.IsInListWide(longPath, found), zel::kErrOutOfMemory);
  const Lines errors = host.tracer->lines(300);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_TRUE(errors[0].starts_with("vor: Can't convert to UTF-8 </usr/bin/aaa")) << errors[0];
  EXPECT_TRUE(errors[0].ends_with("a> with error 0x80000041")) << errors[0];
  EXPECT_EQ(list.IsInListWide(u"/usr/sbin/NetworkManager", found), 0u) << "short paths need no memory";
  EXPECT_TRUE(found);
}

// The `exists` bytes of the real table are shared by every list in the
// process and never cleared; run in a child so the rest stays untouched.
TEST_F(VorListTest, ExistsBytesAreProcessWide) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        VorList first(host.locator.get());
        VorList second(host.locator.get());
        first.SetDirectoryProbe([](const char16_t* dir) { return std::u16string_view(dir) == u"/lib/i386-linux-gnu"; });
        second.SetDirectoryProbe([](const char16_t*) { return false; });
        bool ok = first.Init(host.allocator.get(), {}) == 0 && second.Init(host.allocator.get(), {}) == 0 &&
                  first.Update(storage.get()) == 0 && second.Update(storage.get()) == 0;
        bool found = false;
        ok = ok && second.IsInList("/lib/i386-linux-gnu/libc.so.6", found) == 0 && found;
        ok = ok && kLibraryDirectories[0].exists == 1 && kLibraryDirectories[1].exists == 0;
        std::fprintf(stderr, ok ? "shared\n" : "not shared\n");
        std::exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "shared");
}

// The default probe: directories and links to them count, nothing else does.
TEST(DirectoryProbeTest, DirectoriesAndLinksToThem) {
  std::string dots = "/";
  while (dots.size() + 2 < PATH_MAX) dots += "./";  // PATH_MAX - 1 bytes naming "/"
  const std::pair<std::u16string, bool> rows[] = {
      {u"/", true}, {u"/proc/self/cwd", true}, {u"/proc/self/exe", false}, {u"/etc/passwd", false},
      {u"/no/such/dir", false}, {u"/proc/self/\xd800", false},
      {std::u16string(dots.begin(), dots.end()), true}, {std::u16string(dots.begin(), dots.end()) + u".", false},
  };
  for (const auto& [path, expected] : rows) {
    EXPECT_EQ(IsDirectoryOrLinkToDirectory(path.c_str()), expected) << path.size();
  }
  EXPECT_FALSE(IsDirectoryOrLinkToDirectory(nullptr));
}

}  // namespace
}  // namespace vor
