// vorctl list-files, run as a program: the printed set is the one the list
// builds in this process, sorted, in text and JSON.
#include <sys/wait.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "filelist/vor_list.h"
#include "tests/filelist/empty_storage.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

struct VorctlRun {
  int status = -1;
  std::string out;
};

VorctlRun Vorctl(const std::string& arguments) {
  VorctlRun run;
  const std::string command = std::string(VOR_VORCTL_PATH) + " " + arguments + " 2>/dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  char buffer[4096];
  std::size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) run.out.append(buffer, n);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

std::vector<std::string> BuiltHere() {
  testing::TestingHost host;
  Ref<testing::EmptyStorage> storage = host::MakeHostObject<testing::EmptyStorage>();
  VorList list(host.locator.get());
  std::vector<std::string> paths;
  EXPECT_EQ(list.Init(host.allocator.get(), OsReleaseInfo{}), 0u);
  EXPECT_EQ(list.Update(storage.get()), 0u);
  EXPECT_EQ(list.CopySortedPaths(paths), 0u);
  return paths;
}

TEST(ListFilesCommand, PrintsTheSortedSet) {
  const std::vector<std::string> expected = BuiltHere();
  ASSERT_GT(expected.size(), 500u);

  const VorctlRun text = Vorctl("list-files");
  ASSERT_EQ(text.status, 0);
  std::vector<std::string> lines;
  std::istringstream stream(text.out);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  EXPECT_EQ(lines, expected);
  EXPECT_TRUE(std::is_sorted(lines.begin(), lines.end()));
  EXPECT_EQ(std::adjacent_find(lines.begin(), lines.end()), lines.end());
  EXPECT_TRUE(std::binary_search(lines.begin(), lines.end(), "/usr/bin/ls"));
  EXPECT_TRUE(std::binary_search(lines.begin(), lines.end(), "/etc/ld.so.conf.d/%OS_ARCH%-gnu.conf"));

  const VorctlRun json = Vorctl("--json list-files");
  ASSERT_EQ(json.status, 0);
  const nlohmann::json parsed = nlohmann::json::parse(json.out, nullptr, false);
  ASSERT_TRUE(parsed.is_array());
  EXPECT_EQ(parsed.get<std::vector<std::string>>(), expected);

  EXPECT_EQ(Vorctl("--storage /nonexistent/vor/storage list-files").status, 2);
}

}  // namespace
}  // namespace vor
