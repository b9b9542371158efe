// vorctl list-files, run as a program: the printed set is the one the list
// builds in this process, sorted, in text and JSON.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
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
  Ref<testing::EmptyStorage> storage = host::MakeHostObject<testing::EmptyStorage>();
  VorList list(host.locator.get());
  std::vector<std::string> expected;
  ASSERT_EQ(list.Init(host.allocator.get(), OsReleaseInfo{}), 0u);
  ASSERT_EQ(list.Update(storage.get()), 0u);
  ASSERT_EQ(list.CopySortedPaths(expected), 0u);
  ASSERT_GT(expected.size(), 500u);
  ASSERT_TRUE(std::is_sorted(expected.begin(), expected.end()));

  const testing::CommandResult text = testing::RunVorctl("list-files");
  ASSERT_EQ(text.status, 0) << text.err;
  std::vector<std::string> lines;
  std::istringstream stream(text.out);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  EXPECT_EQ(lines, expected);

  const testing::CommandResult json = testing::RunVorctl("--json list-files");
  ASSERT_EQ(json.status, 0) << json.err;
  const nlohmann::json parsed = nlohmann::json::parse(json.out, nullptr, false);
  ASSERT_TRUE(parsed.is_array());
  EXPECT_EQ(parsed.get<std::vector<std::string>>(), expected);

  EXPECT_EQ(testing::RunVorctl("--storage /nonexistent/vor/storage list-files").status, 2);
}

}  // namespace
}  // namespace vor
