// The reference host's allocator, the session's tracer and the service locator.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

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

}  // namespace
}  // namespace vor::host
