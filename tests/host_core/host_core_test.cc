// The reference host's allocator, the session's tracer, the service locator,
// and the path a file check asks about first.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "host/file_entry.h"
#include "host/host_object.h"
#include "host/malloc_allocator.h"
#include "host/service_locator.h"
#include "host/session_tracer.h"

namespace vor::host {
namespace {

void Write(zel::ITracer* tracer, std::uint32_t level, const std::string& text) {
  zel::TraceRecord record{};
  if (tracer->BeginRecord(level, &record, 512) != 0) return;
  ASSERT_GE(record.capacity, text.size() + 1);
  text.copy(record.text, text.size());
  record.length = static_cast<std::uint32_t>(text.size());
  record.sink->Commit(&record);
}

TEST(SessionTracerTest, CallsBackUpToItsLevelAndCollectsOnlyThisThreadsLines) {
  std::vector<std::string> called;
  auto tracer = MakeHostObject<SessionTracer>(
      700, [&called](std::uint32_t, std::string_view line) { called.emplace_back(line); });
  std::vector<std::string> collected;
  {
    LineList list(collected);
    SessionTracer::Collect collect(*tracer.get(), 800, list);
    Write(tracer.get(), 300, "vor: first");
    Write(tracer.get(), 800, "vor: detailed");
    std::thread([&] { Write(tracer.get(), 300, "vor: other thread"); }).join();
  }
  Write(tracer.get(), 800, "vor: nobody asks");
  Write(tracer.get(), 700, "vor: x.cc(1): m. Call stack:\n\tdone\r\x01");
  EXPECT_EQ(called, (std::vector<std::string>{"vor: first", "vor: other thread",
                                              "vor: x.cc(1): m. Call stack:\\n\\tdone\\r\\x01"}));
  EXPECT_EQ(collected, (std::vector<std::string>{"vor: first", "vor: detailed"}));
  zel::TraceRecord record{};
  EXPECT_NE(tracer->BeginRecord(800, &record, 512), 0u) << "above the level, nobody collecting";
}

TEST(ServiceLocatorTest, ServesRegisteredServicesByInterfaceAndServiceId) {
  auto locator = MakeHostObject<ServiceLocator>();
  auto allocator = MakeHostObject<MallocAllocator>();
  locator->Register(zel::IAllocator::kIid, 7, allocator.get());

  void* out = reinterpret_cast<void*>(0x1);
  EXPECT_NE(locator->GetInterface(zel::IAllocator::kIid, 0, &out), 0u);
  EXPECT_EQ(out, nullptr);
  ASSERT_EQ(locator->GetInterface(zel::IAllocator::kIid, 7, &out), 0u);
  EXPECT_EQ(out, static_cast<zel::IAllocator*>(allocator.get()));
  auto* served = static_cast<zel::IAllocator*>(out);
  void* block = served->Alloc(0);
  EXPECT_NE(block, nullptr) << "a zero-byte request is not an out-of-memory";
  served->Free(block);
  served->Release();

  locator->Unregister(zel::IAllocator::kIid, 7);
  EXPECT_NE(locator->GetInterface(zel::IAllocator::kIid, 7, &out), 0u);
  EXPECT_NE(locator->GetInterface(zel::IAllocator::kIid, 7, nullptr), 0u);
}

// Typed, then the path asked first, the directory resolved for the entry and
// the final name ("-" for empty).
struct AskedRow {
  std::string typed, text, directory, name;
};

TEST(AskedPathTest, CleanedLexicallyWithDotDotKept) {
  std::vector<AskedRow> rows = {
      {"/usr/bin/ls", "/usr/bin/ls", "/usr/bin", "ls"},
      {"//usr//bin/./ls", "/usr/bin/ls", "/usr/bin", "ls"},
      {"/ls", "/ls", "/", "ls"},
      {"/usr/bin/.ls", "/usr/bin/.ls", "/usr/bin", ".ls"},
      {"/usr/../bin/..ls", "/usr/../bin/..ls", "/usr/../bin", "..ls"},
      {"/usr/bin/.", "/usr/bin", "/usr/bin", "-"},
      {"/usr/bin/..", "/usr/bin/..", "/usr/bin/..", "-"},
      {"/.", "/", "/", "-"},
      {"/usr/./bin/", "/usr/bin/", "-", "-"},
      {"/", "/", "-", "-"},
      {"", "", "-", "-"},
  };
  // Around the 62 bytes each block of the scan judges, and its 64.
  for (std::size_t size = 56; size <= 70; ++size) {
    const std::string x = "/" + std::string(size, 'x');
    rows.push_back({x + "//a", x + "/a", x, "a"});
    rows.push_back({x + "/./a", x + "/a", x, "a"});
    rows.push_back({x + "/.", x, x, "-"});
    rows.push_back({x + "/.a/b", x + "/.a/b", x + "/.a", "b"});
  }
  for (const AskedRow& row : rows) {
    std::string scratch;
    AskedPath asked;
    ASSERT_EQ(MakeAskedPath(row.typed, scratch, asked), zel::kOk) << row.typed;
    const auto shown = [](std::string_view part) { return part.empty() ? "-" : std::string(part); };
    EXPECT_EQ(asked.text, row.text) << row.typed;
    EXPECT_EQ(shown(asked.directory), row.directory) << row.typed;
    EXPECT_EQ(shown(asked.name), row.name) << row.typed;
  }
}

}  // namespace
}  // namespace vor::host
