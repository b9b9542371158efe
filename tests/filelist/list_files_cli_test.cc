// vorctl list-files, run as a program: the printed set is the one the list
// builds in this process, sorted, in text and JSON.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

#include "filelist/vor_list.h"
#include "tests/filelist/empty_storage.h"
#include "tests/testing_host/command.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

TEST(ListFilesCommand, PrintsTheSortedSet) {
  testing::TestingHost host;
  VorList list(host.locator.get());
  std::vector<std::string> expected;
  ASSERT_EQ(list.Init(host.allocator.get(), OsReleaseInfo{}), 0u);
  ASSERT_EQ(list.Update(host::MakeHostObject<testing::EmptyStorage>().get()), 0u);
  ASSERT_EQ(list.CopySortedPaths(expected), 0u);
  ASSERT_GT(expected.size(), 500u);
  std::string lines;
  for (const std::string& path : expected) lines += path + "\n";

  const testing::CommandResult text = testing::RunVorctl("list-files");
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.out, lines);
  const testing::CommandResult json = testing::RunVorctl("--json list-files");
  EXPECT_EQ(json.status, 0) << json.err;
  EXPECT_EQ(nlohmann::json::parse(json.out, nullptr, false), nlohmann::json(expected));
  EXPECT_EQ(testing::RunVorctl("--storage /nonexistent/vor/storage list-files").status, 2);
}

}  // namespace
}  // namespace vor
