// The code tables of docs/result-codes.md are held to the one table of
// vor/result.h: every row names a code of the table with its number and
// text, and every code of the table has its row.
#include "runtime/result.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "runtime/errno_result.h"

namespace zel {
namespace {

// The groups of every line of `file` that matches `pattern` (group 0: the line).
std::vector<std::vector<std::string>> Matches(const char* file, const char* pattern) {
  std::ifstream in(std::string(VOR_SOURCE_DIR) + file);
  std::vector<std::vector<std::string>> out;
  std::smatch m;
  for (std::string line; std::getline(in, line);) {
    if (std::regex_match(line, m, std::regex(pattern))) out.emplace_back(m.begin(), m.end());
  }
  return out;
}

TEST(ResultCodeTest, DocumentedRowsMatchHeaderAndTexts) {
  std::map<std::string, result_t> names = {{"VOR_OK", VOR_OK}, {"VOR_FALSE", VOR_FALSE}};
#define VOR_RESULT_NAME(name, Camel, text) names[#name] = name;
  VOR_RESULT_CODES(VOR_RESULT_NAME)
#undef VOR_RESULT_NAME
  const auto rows = Matches("/docs/result-codes.md", R"(\| `0x(\w{8})` \| `(VOR_\w+)` \| (.+) \|)");
  for (const auto& row : rows) {
    SCOPED_TRACE(row[0]);
    const result_t code = std::stoul(row[1], nullptr, 16);
    ASSERT_EQ(names.count(row[2]), 1u) << "documented but not in the header";
    EXPECT_EQ(names[row[2]], code);
    EXPECT_EQ(GetResultCodeMessage(code), row[3]);
    names.erase(row[2]);
  }
  EXPECT_GT(rows.size(), 70u);
  EXPECT_TRUE(names.empty()) << names.begin()->first << " is not documented";
  // Every other code of both facilities reads "Unknown result code".
  std::size_t with_text = 2;  // VOR_OK and VOR_FALSE
  for (result_t code = 0x80000000; code < 0x80020000; ++code) {
    with_text += GetResultCodeMessage(code) != "Unknown result code";
  }
  EXPECT_EQ(with_text, rows.size());
  for (result_t code : {0x2u, 0x7fffffffu, 0x00010100u, 0x00010101u, 0x80020000u, 0x80060002u,
                        0xffffffffu}) {
    EXPECT_EQ(GetResultCodeMessage(code), "Unknown result code") << std::hex << code;
  }
}

TEST(ResultCodeTest, FailureBitInCAndCpp) {
  for (result_t code : {0x0u, 0x1u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
    EXPECT_EQ(Failed(code), code >= 0x80000000u) << std::hex << code;
    EXPECT_EQ(vor_failed(code), Failed(code));
    EXPECT_EQ(vor_succeeded(code), Succeeded(code));
  }
}

// The errno table of the same document.
TEST(ErrnoToResultTest, DocumentedNumbersMapToTheirCodes) {
  const auto rows = Matches("/docs/result-codes.md", R"(\| `(-?\d+)`(?: \w+)? \| `0x(\w{8})`.*)");
  EXPECT_GT(rows.size(), 20u);
  for (const auto& row : rows) EXPECT_EQ(ErrnoToResult(std::stoi(row[1])), std::stoul(row[2], nullptr, 16)) << row[0];
}

}  // namespace
}  // namespace zel
