#include "osinfo/key_value_config.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "runtime/exception.h"
#include "tests/osinfo/test_support.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;
using testing::TestingHost;

class KeyValueConfigTest : public ::testing::Test {
 protected:
  // Parses `content` with a fresh reader, as the release parsers do.
  Pairs Parse(std::string_view content, zel::result_t expected = 0) {
    LinuxKeyValueConfig config(host_.locator.get());
    KeyValuePairs pairs{zel::HostAllocator<KeyValuePair>(host_.allocator.get())};
    EXPECT_EQ(config.Parse(content, pairs), expected);
    Pairs out;
    for (const KeyValuePair& pair : pairs) {
      out.emplace_back(std::string(pair.first.view()), std::string(pair.second.view()));
    }
    return out;
  }
  std::vector<std::string> Errors() const { return host_.tracer->lines(zel::kTraceError); }

  TestingHost host_;
};

TEST_F(KeyValueConfigTest, TrimsBlanksThenQuotesAndTracesEachPair) {
  EXPECT_EQ(Parse("NAME=\"Ubuntu\"\n  NAME = 'x'  \nA=\"abc'\nB=\" x \"\nC=a b\n"),
            (Pairs{{"NAME", "Ubuntu"}, {"NAME", "x"}, {"A", "abc"}, {"B", " x "}, {"C", "a b"}}));
  EXPECT_EQ(host_.tracer->lines(zel::kTraceInfo),
            (std::vector<std::string>{"rp:    <NAME> = <Ubuntu>", "rp:    <NAME> = <x>",
                                      "rp:    <A> = <abc>", "rp:    <B> = < x >",
                                      "rp:    <C> = <a b>"}));
  EXPECT_TRUE(Errors().empty());
}

TEST_F(KeyValueConfigTest, DropsLinesWithoutExactlyOneNameAndValue) {
  EXPECT_EQ(Parse("NAME=\nA=b=c\nplain text\n=x\n=\nNAME=\"\"\nQ='\"'\nOK=1"),
            (Pairs{{"OK", "1"}}));
  EXPECT_EQ(Errors(), (std::vector<std::string>{
                          "rp: Line <NAME=> has empty value",
                          "rp: Invalid values count for line <A=b=c>",
                          "rp: Invalid values count for line <plain text>",
                          "rp: Line <=x> has empty name",
                          "rp: Line <=> has empty name",  // the name is tested first
                          "rp: Line <NAME=\"\"> has empty value",
                          "rp: Line <Q='\"'> has empty value",
                      }));
}

TEST_F(KeyValueConfigTest, CommentsInFirstColumnAreSilentIndentedOnesAreTraced) {
  EXPECT_EQ(Parse("# comment\n#NAME=x\n  # NAME=x\n\t#x\nA=1\n"), (Pairs{{"A", "1"}}));
  EXPECT_EQ(host_.tracer->lines(zel::kTraceInfo),
            (std::vector<std::string>{"rp: Skip comment <  # NAME=x>", "rp:    <A> = <1>"}));
  // Without "=" an indented comment fails the split count before the comment test.
  EXPECT_EQ(Errors(), (std::vector<std::string>{"rp: Invalid values count for line <\t#x>"}));
}

TEST_F(KeyValueConfigTest, LineStructure) {
  // CR is no separator: it stays in the value and stops the quote trimming.
  EXPECT_EQ(Parse("NAME=\"x\"\r\nB=y\r\n"), (Pairs{{"NAME", "x\"\r"}, {"B", "y\r"}}));

  // Leading empty line reaches the line parser once; inner runs are skipped.
  host_.tracer->Clear();
  EXPECT_EQ(Parse("\n\nA=1\n\n\nB=2"), (Pairs{{"A", "1"}, {"B", "2"}}));
  EXPECT_EQ(Errors(), (std::vector<std::string>{"rp: Invalid values count for line <>"}));

  // Trailing line ends add nothing; duplicates stay, in file order.
  host_.tracer->Clear();
  EXPECT_EQ(Parse("A=1\nA=2\nB=3\n\n\n"), (Pairs{{"A", "1"}, {"A", "2"}, {"B", "3"}}));
  EXPECT_TRUE(Errors().empty());

  // Bytes pass through untouched, invalid UTF-8 and NUL included.
  const std::string junk("K=\xff\xfe\0z", 6);
  EXPECT_EQ(Parse(junk), (Pairs{{"K", std::string("\xff\xfe\0z", 4)}}));
}

TEST_F(KeyValueConfigTest, EmptyContentFailsAndEmptiesThePairs) {
  LinuxKeyValueConfig config(host_.locator.get());
  KeyValuePairs pairs;
  ASSERT_EQ(config.Parse("A=1", pairs), 0u);
  ASSERT_EQ(pairs.size(), 1u);
  host_.tracer->Clear();
  EXPECT_EQ(config.Parse("", pairs), 0x80000046u);
  EXPECT_TRUE(pairs.empty());
  EXPECT_TRUE(host_.tracer->lines().empty());
  // Only dropped lines: still a success, with nothing in it.
  EXPECT_EQ(config.Parse("junk\n", pairs), 0u);
  EXPECT_TRUE(pairs.empty());
}

TEST_F(KeyValueConfigTest, LifetimeLinesAndMissingHostServices) {
  std::string address;
  {
    LinuxKeyValueConfig config(host_.locator.get());
    address = testing::AddressText(&config);
  }
  const std::string line = "rp: LinuxKeyValueConfig " + address + " was created";
  EXPECT_EQ(host_.tracer->lines(zel::kTraceDebug), (std::vector<std::string>{line, line}));

  host_.locator->Refuse(zel::ITracer::kIid, 0x80000042);
  try {
    LinuxKeyValueConfig config(host_.locator.get());
    ADD_FAILURE() << "constructed without a tracer";
  } catch (const zel::GetInterfaceException& e) {
    EXPECT_EQ(e.code(), 0x80000042u);
    EXPECT_EQ(e.iid(), zel::ITracer::kIid);
  }
  host_.locator->Refuse(zel::IAllocator::kIid, 0x8000004c);
  try {
    LinuxKeyValueConfig config(host_.locator.get());
    ADD_FAILURE() << "constructed without an allocator";
  } catch (const zel::GetInterfaceException& e) {
    EXPECT_EQ(e.iid(), zel::IAllocator::kIid);  // asked first
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
      if (code == 0x80000041) {
        EXPECT_TRUE(pairs.empty());
        const std::vector<std::string> errors = Errors();
        ASSERT_EQ(errors.size(), 1u);
        EXPECT_EQ(errors[0], "rp: Exception caught at line 160 =>  std::bad_alloc");
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
