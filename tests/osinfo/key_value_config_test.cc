#include "osinfo/key_value_config.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "runtime/exception.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using namespace std::string_literals;
using Pairs = std::vector<std::pair<std::string, std::string>>;
using Lines = std::vector<std::string>;

class KeyValueConfigTest : public ::testing::Test {
 protected:
  // Parses with a fresh reader into a vector that holds a stale pair, so that
  // every case also shows the output is emptied first.
  zel::result_t Parse(std::string_view content, Pairs& out) {
    LinuxKeyValueConfig config(host_.locator.get());
    KeyValuePairs pairs{zel::HostAllocator<KeyValuePair>(host_.allocator.get())};
    pairs.emplace_back(zel::string("stale"), zel::string("x"));
    const zel::result_t code = config.Parse(content, pairs);
    for (const KeyValuePair& pair : pairs) {
      out.emplace_back(std::string(pair.first.view()), std::string(pair.second.view()));
    }
    return code;
  }
  // Everything but the lifetime lines, in order.
  Lines Traced() const {
    Lines lines;
    for (const testing::TraceEntry& entry : host_.tracer->entries()) {
      if (entry.level != zel::kTraceDebug) lines.push_back(entry.text);
    }
    return lines;
  }

  testing::TestingHost host_;
};

TEST_F(KeyValueConfigTest, LinesPairsAndTraces) {
  struct Case {
    std::string content;
    zel::result_t code;
    Pairs pairs;
    Lines traced;
  } cases[] = {
      // Blanks are trimmed before quotes, each end on its own.
      {"NAME=\"Ubuntu\"\n  NAME = 'x'  \nA=\"abc'\nB=\" x \"\n", 0,
       {{"NAME", "Ubuntu"}, {"NAME", "x"}, {"A", "abc"}, {"B", " x "}},
       {"rp:    <NAME> = <Ubuntu>", "rp:    <NAME> = <x>", "rp:    <A> = <abc>",
        "rp:    <B> = < x >"}},
      // The name is tested before the value.
      {"NAME=\nA=b=c\nplain text\n=x\n=\nNAME=\"\"\nQ='\"'\nOK=1", 0, {{"OK", "1"}},
       {"rp: Line <NAME=> has empty value", "rp: Invalid values count for line <A=b=c>",
        "rp: Invalid values count for line <plain text>", "rp: Line <=x> has empty name",
        "rp: Line <=> has empty name", "rp: Line <NAME=\"\"> has empty value",
        "rp: Line <Q='\"'> has empty value", "rp:    <OK> = <1>"}},
      // First-column comments are silent; an indented one without "=" fails the count first.
      {"# comment\n#NAME=x\n  # NAME=x\n\t#x\nA=1\n", 0, {{"A", "1"}},
       {"rp: Skip comment <  # NAME=x>", "rp: Invalid values count for line <\t#x>",
        "rp:    <A> = <1>"}},
      // CR is no separator: it stays in the value and stops the quote trimming.
      {"NAME=\"x\"\r\nB=y\r\n", 0, {{"NAME", "x\"\r"}, {"B", "y\r"}},
       {"rp:    <NAME> = <x\"\r>", "rp:    <B> = <y\r>"}},
      // A leading empty line reaches the line parser once; inner runs are skipped.
      {"\n\nA=1\n\n\nB=2", 0, {{"A", "1"}, {"B", "2"}},
       {"rp: Invalid values count for line <>", "rp:    <A> = <1>", "rp:    <B> = <2>"}},
      // Trailing line ends add nothing; duplicates stay, in file order.
      {"A=1\nA=2\nB=3\n\n\n", 0, {{"A", "1"}, {"A", "2"}, {"B", "3"}},
       {"rp:    <A> = <1>", "rp:    <A> = <2>", "rp:    <B> = <3>"}},
      // Bytes pass through untouched, invalid UTF-8 and NUL included.
      {"K=\xff\xfe\0z"s, 0, {{"K", "\xff\xfe\0z"s}}, {"rp:    <K> = <\xff\xfe\0z>"s}},
      // Only dropped lines is still a success; no content at all is not.
      {"junk\n", 0, {}, {"rp: Invalid values count for line <junk>"}},
      {"", zel::kErrInvalidArgument, {}, {}},
  };
  for (const Case& c : cases) {
    host_.tracer->Clear();
    Pairs pairs;
    EXPECT_EQ(Parse(c.content, pairs), c.code) << c.content;
    EXPECT_EQ(pairs, c.pairs) << c.content;
    EXPECT_EQ(Traced(), c.traced) << c.content;
  }
}

TEST_F(KeyValueConfigTest, LifetimeLinesAndMissingHostServices) {
  std::string address;
  {
    LinuxKeyValueConfig config(host_.locator.get());
    char text[32];
    std::snprintf(text, sizeof text, "%p", static_cast<void*>(&config));
    address = text;
  }
  const std::string line = "rp: LinuxKeyValueConfig " + address + " was created";
  EXPECT_EQ(host_.tracer->lines(zel::kTraceDebug), (Lines{line, line}));

  // The second round refuses both: the allocator is asked for first.
  for (const auto& [iid, code] : {std::pair{zel::ITracer::kIid, zel::kErrNotSupported},
                                  std::pair{zel::IAllocator::kIid, zel::kErrNotFound}}) {
    host_.locator->Refuse(iid, code);
    try {
      LinuxKeyValueConfig config(host_.locator.get());
      ADD_FAILURE() << "constructed without " << std::hex << iid;
    } catch (const zel::GetInterfaceException& e) {
      EXPECT_EQ(e.iid(), iid);
      EXPECT_EQ(e.code(), code);
    }
  }
}

TEST_F(KeyValueConfigTest, OutOfMemoryNeverCrashesNorLeaks) {
  // Values longer than the inline buffer, so every pair allocates.
  const std::string content =
      "NAME=\"a distribution with a long name\"\nVERSION_ID=\"12.345.6789.0123\"\n"
      "PRETTY_NAME='another rather long value here'\n";
  bool sawSplitFailure = false;
  bool sawException = false;
  for (std::uint64_t n = 1; n < 40; ++n) {
    host_.tracer->Clear();
    {
      LinuxKeyValueConfig config(host_.locator.get());
      KeyValuePairs pairs{zel::HostAllocator<KeyValuePair>(host_.allocator.get())};
      host_.allocator->FailAt(n);
      const zel::result_t code = config.Parse(content, pairs);
      host_.allocator->FailNever();
      if (code == zel::kErrOutOfMemory) {
        EXPECT_TRUE(pairs.empty());
        EXPECT_EQ(host_.tracer->lines(zel::kTraceError),
                  Lines{"rp: Exception caught at line 160 =>  std::bad_alloc"});
        sawException = true;
      } else {
        ASSERT_EQ(code, 0u);
        EXPECT_LE(pairs.size(), 3u);
        sawSplitFailure = sawSplitFailure || host_.tracer->Contains("Can't split line <NAME=");
      }
    }
    EXPECT_EQ(host_.allocator->live_blocks(), 0) << "allocation " << n;
  }
  EXPECT_TRUE(sawSplitFailure);
  EXPECT_TRUE(sawException);
}

}  // namespace
}  // namespace vor
