// Runs the rows of commands.txt, vorctl's contract as a user meets it, one
// test per section; the file's head tells its format.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tests/testing_host/command.h"
#include "tests/testing_host/testing_host.h"

namespace vor::testing {
namespace {

const std::string kDir = std::string(VOR_SOURCE_DIR) + "/tests/vorctl/";
constexpr int kSkipped = 77;  // a row that cannot run on this machine, and says why

struct Row {
  std::string command;
  int status = 0;
  std::string out[2];   // stdout, stderr: exact text, or a part after '~', or "*"
};

// The rows of every section, in order.
std::map<std::string, std::vector<Row>> ReadSections() {
  std::map<std::string, std::vector<Row>> sections;
  std::vector<Row>* rows = nullptr;
  std::ifstream in(kDir + "commands.txt");
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("== ")) rows = &sections[line.substr(3)];
    if (rows == nullptr || line.size() < 2) continue;
    if (line.starts_with("$ ")) rows->push_back(Row{line.substr(2), 0, {}});
    if (rows->empty()) continue;
    Row& row = rows->back();
    if (line.starts_with("= ")) row.status = std::stoi(line.substr(2));
    const int stream = line[0] == '|' ? 0 : line[0] == '!' ? 1 : -1;
    if (stream < 0) continue;
    std::string& expected = row.out[stream];
    if (line[1] == '*') expected = "*";
    if (line[1] == ' ') expected += line.substr(2) + "\n";
    if (line[1] != '~') continue;
    expected = "~" + line.substr(3);
    for (std::size_t i; (i = expected.find("\\n")) != std::string::npos;) expected.replace(i, 2, "\n");
  }
  return sections;
}

std::string Expand(std::string text, const std::string& dir) {
  const std::string notice =
      geteuid() == 0 ? "" : "vorctl: reading other users' processes needs root: some images ('-'), "
                            "mount namespaces or verdicts could not be read\n";
  for (const auto& [name, value] : {std::pair<std::string, std::string>{"$PS_NOTICE\n", notice},
                                    {"$D", dir}}) {
    for (std::size_t i; (i = text.find(name)) != std::string::npos;) text.replace(i, name.size(), value);
  }
  return text;
}

bool Matches(const std::string& actual, const std::string& expected) {
  if (expected == "*") return true;
  if (expected.starts_with("~")) return actual.find(expected.substr(1)) != std::string::npos;
  return actual == expected;
}

class VorctlTest : public ::testing::TestWithParam<std::string> {};

TEST_P(VorctlTest, RowsHold) {
  const TempDir dir;
  const std::vector<Row> rows = ReadSections().at(GetParam());
  ASSERT_FALSE(rows.empty());
  for (const Row& row : rows) {
    // Braces: the capture of stderr covers every command of the row.
    const CommandResult run = RunCommand(". " + ShellQuote(kDir + "helpers.sh") + "; V=" +
                                         ShellQuote(VOR_VORCTL_PATH) + " D=" + ShellQuote(dir.path) +
                                         " T=" + ShellQuote(kDir) + "; { " + row.command + "\n}");
    if (run.status == kSkipped && row.status != kSkipped) GTEST_SKIP() << run.err;
    EXPECT_EQ(run.status, row.status) << row.command << "\n" << run.err;
    EXPECT_PRED2(Matches, run.out, Expand(row.out[0], dir.path)) << row.command;
    EXPECT_PRED2(Matches, run.err, Expand(row.out[1], dir.path)) << row.command;
  }
}

std::vector<std::string> SectionNames() {
  std::vector<std::string> names;
  for (const auto& [name, rows] : ReadSections()) names.push_back(name);
  return names;
}

INSTANTIATE_TEST_SUITE_P(Commands, VorctlTest, ::testing::ValuesIn(SectionNames()),
                         [](const ::testing::TestParamInfo<std::string>& row) { return row.param; });

}  // namespace
}  // namespace vor::testing
