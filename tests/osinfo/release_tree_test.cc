// Every release-file tree of data/release_trees.txt, searched in process (and
// again with each allocation failing in turn) and by the built vorctl.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/lumo_file_factory.h"
#include "host/session_tracer.h"
#include "osinfo/release_parser.h"
#include "tests/testing_host/command.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

// One "--" line of a tree and the lines under it.
struct Block { std::string kind, path, target, modes; Lines lines; };

// "\xHH" stands for that byte.
std::string Unescape(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool hex = text.compare(i, 2, "\\x") == 0 && i + 3 < text.size();
    out += hex ? static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16)) : text[i];
    i += hex ? 3 : 0;
  }
  return out;
}

// A tree: its label and its blocks.
std::vector<std::pair<std::string, std::vector<Block>>> ReadTrees() {
  std::ifstream in(VOR_SOURCE_DIR "/tests/osinfo/data/release_trees.txt");
  std::vector<std::pair<std::string, std::vector<Block>>> trees;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("== ")) {
      trees.emplace_back(line.substr(3), std::vector<Block>{});
    } else if (line.starts_with("-- ")) {
      Block& block = trees.back().second.emplace_back();
      std::istringstream(line.substr(3)) >> block.kind >> block.path >> block.target >> block.modes;
    } else if (!line.empty() && !trees.empty() && !trees.back().second.empty()) {
      trees.back().second.back().lines.push_back(Unescape(line));
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

TEST(ReleaseTreeTest, EachTreeGivesItsAnswerAndTrace) {
  const auto trees = ReadTrees();
  ASSERT_GE(trees.size(), 40u);
  // Each tree in turn at <top>/root; "@" at the start of a path stands for <top>.
  const std::string top = fs::temp_directory_path() / ("vor_osinfo_" + std::to_string(::getpid()));
  const std::string root = top + "/root";
  const auto at = [&top](const std::string& path) { return path[0] == '@' ? top + path.substr(1) : path; };
  for (const auto& [label, blocks] : trees) {
    SCOPED_TRACE(label);
    fs::remove_all(top);
    fs::create_directories(root);
    const Ref<host::LumoFileFactory> files = host::LumoFileFactory::Create(root, nullptr);
    const Ref<host::LumoFileFactory> anywhere = host::LumoFileFactory::Create("/", nullptr);
    Lines answer, trace, oom;
    for (const auto& [kind, path, target, modes, lines] : blocks) {
      const fs::path file = root + "/" + path;
      if (kind == "answer" || kind == "trace" || kind == "oom") {
        (kind == "answer" ? answer : kind == "trace" ? trace : oom) = lines;
      } else if (kind == "open") {  // straight to the factory; an "@" path without the root
        std::array<std::uint32_t, 4> m = {1, 3, 4, 0};
        std::sscanf(modes.c_str(), "%u,%u,%u,%u", &m[0], &m[1], &m[2], &m[3]);
        const Ref<host::LumoFileFactory>& factory = path[0] == '@' ? anywhere : files;
        EXPECT_EQ(factory->Open(fs::path(at(path)).u16string().c_str(), m[0], m[1], m[2], m[3],
                                Ref<zel::IIo>().put()), std::stoul(target, nullptr, 16)) << path << " " << modes;
      } else if (fs::create_directories(file.parent_path()); kind == "link") {
        fs::create_symlink(at(target), file);
      } else if (kind == "fifo") {
        ::mkfifo(file.c_str(), 0600);
      } else {
        std::string content;
        for (const std::string& line : lines) {  // a backslash at the end: no line end
          content += line.ends_with('\\') ? line.substr(0, line.size() - 1) : line + "\n";
        }
        std::ofstream(file, std::ios::binary) << "";
        if (kind == "sparse") fs::resize_file(file, std::stoull(target) - content.size());
        std::ofstream(file, std::ios::binary | std::ios::app) << content;
      }
    }
    const std::string expected = Joined(answer);  // empty when nothing is found
    std::set<std::string> errors;
    for (std::uint64_t n = 1, failed = 1; failed; ++n) {  // until no allocation is left to fail
      testing::TestingHost host;
      host.tracer->set_threshold(zel::kTraceInfo);
      {
        zel::string name(host.allocator.get()), version(host.allocator.get());
        name.assign("stale"), version.assign("stale");
        host.allocator->FailAt(n);
        const zel::result_t got = FindReleaseInfo(host.locator.get(), files.get(), name, version);
        failed = host.allocator->allocations() >= n;
        host.allocator->FailNever();
        const std::string found = got != 0 ? std::string(name.view()) + std::string(version.view())
            : Joined({"name:    " + std::string(name.view()), "version: " + std::string(version.view())});
        for (const std::string& line : host.tracer->lines(zel::kTraceError)) errors.insert(line);
        if (!failed) {
          EXPECT_EQ(got, expected.empty() ? zel::kErrNotFound : zel::kOk);
          EXPECT_EQ(found, expected);
          EXPECT_NE(Joined(host.tracer->lines()).find(Joined(trace)), std::string::npos);
        } else {  // a failure leaves no half answer
          const bool clean = found.empty() && (got == zel::kErrOutOfMemory || got == zel::kErrNotFound);
          EXPECT_TRUE(got == 0 || clean) << "allocation " << n << ": " << found;
        }
      }
      EXPECT_EQ(host.allocator->live_blocks(), 0) << "allocation " << n;
    }
    for (const std::string& line : oom) EXPECT_TRUE(errors.contains(line)) << line;

    const testing::CommandResult run =
        testing::RunVorctl("--sysroot " + testing::ShellQuote(root) + " --trace info os-release");
    EXPECT_EQ(run.status, expected.empty() ? 3 : 0);
    EXPECT_EQ(run.out, Joined(answer, true));  // vorctl shows control bytes escaped
    EXPECT_NE(run.err.find(Joined(trace, true)), std::string::npos) << run.err;
  }
  fs::remove_all(top);
}

}  // namespace
}  // namespace vor
