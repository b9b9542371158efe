// How a trace record is begun, cut and committed, and how wide text goes in;
// the formatting of values shows in every transcript of tests/module/scenarios.
#include "runtime/trace.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/host_object.h"
#include "tests/testing_host/testing_host.h"

namespace zel {
namespace {

using vor::testing::CapturingTracer;

class TraceTest : public ::testing::Test {
 protected:
  vor::Ref<CapturingTracer> sink_ = vor::host::MakeHostObject<CapturingTracer>(700);
  Tracer trace_{vor::Ref<ITracer>(sink_.get()), "vor: "};
};

TEST_F(TraceTest, DisabledLevelBuildsNothing) {
  int evaluated = 0;
  auto count = [&] { return ++evaluated; };
  ZEL_TRACE(trace_, kTraceDebug) << "never " << count();
  EXPECT_EQ(evaluated, 0);
  EXPECT_TRUE(sink_->lines().empty());

  Tracer absent;  // no tracer at all
  ZEL_TRACE(absent, kTraceError) << "nothing " << count();
  EXPECT_EQ(evaluated, 0);
}

// A wide value is cut before a character that would not fit whole, and a
// character that exactly fills the record is still written.
TEST_F(TraceTest, CutNeverSplitsAWideCharacter) {
  for (const std::string prefix : {"a", ""}) {
    sink_->Clear();
    ZEL_TRACE(trace_, kTraceError) << prefix << std::u16string(600, u'\u00e9');
    std::string expected = "vor: " + prefix;
    while (expected.size() + 2 <= kTraceCapacity - 1) expected += "\xc3\xa9";
    EXPECT_EQ(sink_->lines().at(0), expected);
  }
}

// Unpaired surrogates become U+FFFD; the lowest and highest pairs are one character.
TEST_F(TraceTest, WideTextPairsAndReplacesSurrogates) {
  const char16_t text[] = {u'a', 0xd800, u'b', 0xdc00, 0xd800, 0xdc00, 0xdbff, 0xdfff, 0xe000, 0};
  ZEL_TRACE(trace_, kTraceInfo) << text << ' ' << static_cast<const char16_t*>(nullptr);
  EXPECT_EQ(sink_->lines().at(0),
            "vor: a\xef\xbf\xbd" "b\xef\xbf\xbd\xf0\x90\x80\x80\xf4\x8f\xbf\xbf\xee\x80\x80 (null)");
}

// A tracer whose records carry the buffer and capacity a test chooses.
class OddTracer : public vor::host::HostObject<ITracer>, private ITraceSink {
 public:
  std::uint32_t capacity = 0, length = 0;
  bool null_text = false;
  int commits = 0;
  char buffer[4096] = {};
  result_t BeginRecord(std::uint32_t level, TraceRecord* record, std::uint32_t) override {
    *record = {this, null_text ? nullptr : buffer, capacity, 0, level, 0, nullptr};
    return 0;
  }
  void Commit(TraceRecord* record) override {
    ++commits;
    length = record->length;
  }
};

// Whatever the host grants, one record is committed, holds at most 511 bytes
// and the NUL, and nothing is written outside the granted buffer.
TEST(TraceRecordTest, HostGrantsAnyBuffer) {
  const struct {
    std::uint32_t capacity;
    bool null_text;
    std::uint32_t length;
  } rows[] = {{0, true, 0}, {0, false, 0}, {1, false, 0}, {4, false, 3}, {4, true, 0},
              {511, false, 510}, {512, false, 511}, {513, false, 511}, {4096, false, 511}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.capacity << (row.null_text ? " null" : ""));
    auto odd = vor::host::MakeHostObject<OddTracer>();
    std::memset(odd->buffer, 'z', sizeof odd->buffer);
    odd->capacity = row.capacity;
    odd->null_text = row.null_text;
    { ZEL_TRACE(Tracer(vor::Ref<ITracer>(odd.get()), "vor: "), kTraceError) << std::string(600, 'x'); }
    EXPECT_EQ(odd->commits, 1);
    EXPECT_EQ(odd->length, row.length);
    const std::string expected = row.capacity == 0 || row.null_text ? "z"
        : (std::string("vor: ") + std::string(600, 'x')).substr(0, row.length) + '\0' + 'z';
    EXPECT_EQ(std::string(odd->buffer, expected.size()), expected);
  }
}

}  // namespace
}  // namespace zel
