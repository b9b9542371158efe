// Every release-file tree of data/release_trees.txt, searched in process (and
// again with each allocation failing in turn) and by the built vorctl.
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/lumo_file_factory.h"
#include "host/session_tracer.h"
#include "osinfo/release_parser.h"
#include "tests/osinfo/temp_tree.h"
#include "tests/testing_host/command.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using Lines = std::vector<std::string>;

struct Tree {
  std::string label;
  std::string answer;  // "name|version"; empty when nothing usable is found
  std::vector<std::array<std::string, 3>> files;  // kind, path below the root, content or target
  Lines trace;  // a run of trace lines the search must produce
  Lines oom;    // error lines that must show up while allocations fail
};

// C escapes \n \r \t \0 \xHH; any other escaped character stands for itself.
std::string Unescape(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
    } else if (text[++i] == 'x') {
      out += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    } else {
      const std::size_t k = std::string_view("nrt0").find(text[i]);
      out += k == std::string_view::npos ? text[i] : std::string_view("\n\r\t\0", 4)[k];
    }
  }
  return out;
}

std::vector<Tree> ReadTrees() {
  std::ifstream in(VOR_SOURCE_DIR "/tests/osinfo/data/release_trees.txt");
  std::vector<Tree> trees;
  std::string* content = nullptr;
  Lines* lines = nullptr;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("== ")) {
      trees.emplace_back().label = line.substr(3);
      content = nullptr, lines = nullptr;
    } else if (line.starts_with("-- answer ")) {
      trees.back().answer = Unescape(line.substr(10));
    } else if (line.starts_with("-- ")) {
      std::istringstream words(line.substr(3));
      std::string kind, path, target;
      words >> kind >> path >> target;
      Tree& tree = trees.back();
      lines = kind == "trace" ? &tree.trace : kind == "oom" ? &tree.oom : nullptr;
      content = lines ? nullptr : &tree.files.emplace_back(std::array{kind, path, target})[2];
    } else if (!line.empty() && lines) {
      lines->push_back(Unescape(line));
    } else if (!line.empty() && content) {  // a backslash at the end: no line end
      const std::string text = Unescape(line);
      *content += text.ends_with('\\') ? text.substr(0, text.size() - 1) : text + "\n";
    }
  }
  return trees;
}

// The lines as one text; `escaped` as the reference host prints them.
std::string Joined(const Lines& lines, bool escaped = false) {
  std::string text;
  for (const std::string& line : lines) {
    escaped ? host::SessionTracer::AppendEscaped(text, line) : void(text += line);
    text += '\n';
  }
  return text;
}

struct Search {
  // Searches below `root` into host-allocated strings; the n-th allocation fails.
  Search(testing::TestingHost& host, const std::string& root, std::uint64_t n) {
    host.tracer->Clear();
    const Ref<host::LumoFileFactory> files = host::LumoFileFactory::Create(root, nullptr);
    zel::string name(host.allocator.get()), version(host.allocator.get());
    name.assign("stale"), version.assign("stale");
    host.allocator->FailAt(n);
    code = FindReleaseInfo(host.locator.get(), files.get(), name, version);
    failed = host.allocator->allocations() >= n;
    host.allocator->FailNever();
    answer = std::string(name.view()) + (code == 0 ? "|" : "") + std::string(version.view());
    trace = Joined(host.tracer->lines());
  }
  zel::result_t code;
  bool failed;
  std::string answer, trace;
};

TEST(ReleaseTreeTest, EachTreeGivesItsAnswerAndTrace) {
  const std::vector<Tree> trees = ReadTrees();
  ASSERT_GE(trees.size(), 40u);
  for (const Tree& tree : trees) {
    SCOPED_TRACE(tree.label);
    const testing::TempTree temp;
    const std::string root = (temp.root / "root").string();
    std::filesystem::create_directories(root);
    for (const auto& [kind, path, content] : tree.files) {  // "@" in a link target: the temp dir
      temp.Add("root/" + path, content.starts_with('@') ? temp.root.string() + content.substr(1) : content, kind);
    }
    const zel::result_t code = tree.answer.empty() ? zel::kErrNotFound : zel::kOk;
    const std::string block = Joined(tree.trace);
    testing::TestingHost host;
    host.tracer->set_threshold(zel::kTraceInfo);
    std::set<std::string> errors;
    for (std::uint64_t n = 1;; ++n) {
      const Search got(host, root, n);
      EXPECT_EQ(host.allocator->live_blocks(), 0) << "allocation " << n;
      for (const std::string& line : host.tracer->lines(zel::kTraceError)) errors.insert(line);
      if (!got.failed) {
        EXPECT_EQ(got.code, code);
        EXPECT_EQ(got.answer, tree.answer);
        EXPECT_NE(got.trace.find(block), std::string::npos) << got.trace;
        break;
      }
      if (got.code != 0) {  // no half answer
        EXPECT_EQ(got.answer, "") << "allocation " << n;
        EXPECT_TRUE(got.code == zel::kErrOutOfMemory || got.code == zel::kErrNotFound) << n;
      }
    }
    if (getenv("DUMP")) for (auto& e : errors) printf("%s\n", e.c_str());
    for (const std::string& line : tree.oom) EXPECT_TRUE(errors.contains(line)) << line;

    const std::size_t bar = tree.answer.find('|');
    const std::string name = tree.answer.substr(0, bar);
    const std::string version = bar == std::string::npos ? "" : tree.answer.substr(bar + 1);
    const std::string sysroot = "--sysroot " + testing::ShellQuote(root);
    const testing::CommandResult json = testing::RunVorctl(sysroot + " --trace info --json os-release");
    EXPECT_EQ(json.status, code == 0 ? 0 : 3);
    EXPECT_EQ(nlohmann::json::parse(json.out, nullptr, false),
              (nlohmann::json{{"name", name}, {"version", version},
                              {"result", code == 0 ? "0x00000000" : "0x8000004c"},
                              {"message", code == 0 ? "No error" : "Not found"}}));
    EXPECT_NE(json.err.find(Joined(tree.trace, true)), std::string::npos) << json.err;
    const testing::CommandResult text = testing::RunVorctl(sysroot + " os-release");
    EXPECT_EQ(text.out + text.err, code == 0 ? "name:    " + name + "\nversion: " + version + "\n"
                                             : "vorctl: no usable OS release file: Not found (0x8000004c)\n");
  }
}

}  // namespace
}  // namespace vor
