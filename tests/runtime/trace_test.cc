#include "runtime/trace.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/host_object.h"
#include "tests/testing_host/capturing_tracer.h"

namespace zel {
namespace {

using vor::testing::CapturingTracer;

class TraceTest : public ::testing::Test {
 protected:
  vor::Ref<CapturingTracer> sink_ = vor::host::MakeHostObject<CapturingTracer>(700);
  Tracer trace_{vor::Ref<ITracer>(sink_.get()), "vor: "};
};

TEST_F(TraceTest, FormatsValuesWithPrefix) {
  const void* pointer = reinterpret_cast<const void*>(0x55d0c3a1e2f0);
  ZEL_TRACE(trace_, kTraceInfo) << "Path <" << std::u16string_view(u"/usr/bin/\u00e9") << "> "
                                << 42u << ' ' << -7 << " 0x" << Hex{kErrNotInitialized} << " 0x"
                                << Hex{1} << ' ' << Ptr{pointer} << ' ' << Ptr{nullptr};
  ASSERT_EQ(sink_->entries().size(), 1u);
  EXPECT_EQ(sink_->entries()[0].level, kTraceInfo);
  EXPECT_EQ(sink_->lines()[0],
            "vor: Path </usr/bin/\xc3\xa9> 42 -7 0x8000006b 0x1 0x55d0c3a1e2f0 0x0");
}

TEST_F(TraceTest, DisabledLevelBuildsNothing) {
  int evaluated = 0;
  auto count = [&] { return ++evaluated; };
  ZEL_TRACE(trace_, kTraceDebug) << "never " << count();
  EXPECT_EQ(evaluated, 0);
  EXPECT_EQ(sink_->begun(), 0u);
  EXPECT_TRUE(sink_->lines().empty());

  Tracer absent;  // no tracer at all
  ZEL_TRACE(absent, kTraceError) << "nothing " << count();
  EXPECT_EQ(evaluated, 0);
}

TEST_F(TraceTest, LongValuesAreCutInsideTheRecord) {
  const std::string long_value(2000, 'x');
  ZEL_TRACE(trace_, kTraceError) << "Path <" << long_value << ">";
  const std::string line = sink_->lines().at(0);
  EXPECT_EQ(line.size(), kTraceCapacity - 1);
  EXPECT_EQ(line.substr(0, 11), "vor: Path <");
  EXPECT_EQ(line.back(), 'x');

  // A cut never splits a UTF-8 sequence of a wide value.
  sink_->Clear();
  const std::u16string wide(600, u'\u00e9');
  ZEL_TRACE(trace_, kTraceError) << "a" << wide;
  const std::string cut = sink_->lines().at(0);
  EXPECT_LE(cut.size(), kTraceCapacity - 1);
  EXPECT_EQ((cut.size() - 6) % 2, 0u) << "half a character was written";
}

TEST_F(TraceTest, UnpairedSurrogateIsReplacedNotFatal) {
  const char16_t bad[] = {u'a', 0xd800, u'b', 0xdc00, 0};
  ZEL_TRACE(trace_, kTraceInfo) << bad << ' ' << static_cast<const char16_t*>(nullptr);
  EXPECT_EQ(sink_->lines().at(0), "vor: a\xef\xbf\xbd" "b\xef\xbf\xbd (null)");
}

// A tracer whose records carry no sink, no text, a tiny or a large capacity.
class OddTracer : public vor::host::HostObject<ITracer>, private ITraceSink {
 public:
  std::uint32_t capacity = 1, length = 0;
  int commits = 0;
  char buffer[4096] = {};
  result_t BeginRecord(std::uint32_t level, TraceRecord* record, std::uint32_t) override {
    *record = {this, capacity != 0 ? buffer : nullptr, capacity, 0, level, 0, nullptr};
    return 0;
  }
  void Commit(TraceRecord* record) override {
    ++commits;
    length = record->length;
    EXPECT_LT(record->length, capacity == 0 ? 1u : capacity);
  }
};

TEST(TraceRecordTest, TinyOrMissingBuffersAreStillCommittedOnce) {
  auto odd = vor::host::MakeHostObject<OddTracer>();
  for (std::uint32_t capacity : {0u, 1u, 4u}) {
    odd->capacity = capacity;
    odd->commits = 0;
    {
      ZEL_TRACE(Tracer(vor::Ref<ITracer>(odd.get()), "vor: "), kTraceError) << "long text";
    }
    EXPECT_EQ(odd->commits, 1) << "capacity " << capacity;
    if (capacity == 4) {
      EXPECT_STREQ(odd->buffer, "vor");
    }
  }
}

TEST(TraceRecordTest, RecordHoldsAtMost512BytesWhateverTheHostGrants) {
  auto odd = vor::host::MakeHostObject<OddTracer>();
  odd->capacity = sizeof odd->buffer;
  { ZEL_TRACE(Tracer(vor::Ref<ITracer>(odd.get()), "vor: "), kTraceError) << std::string(5000, 'x'); }
  EXPECT_EQ(odd->commits, 1);
  EXPECT_EQ(odd->length, 511u);
  EXPECT_EQ(std::strlen(odd->buffer), 511u);
}

}  // namespace
}  // namespace zel
