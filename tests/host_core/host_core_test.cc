// The reference host's allocator, tracer and service locator.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "host/host_object.h"
#include "host/malloc_allocator.h"
#include "host/service_locator.h"
#include "host/stream_tracer.h"

namespace vor::host {
namespace {

std::string ReadAll(std::FILE* stream) {
  std::rewind(stream);
  std::string text;
  char buffer[256];
  while (std::size_t n = std::fread(buffer, 1, sizeof buffer, stream)) text.append(buffer, n);
  return text;
}

void Write(zel::ITracer* tracer, std::uint32_t level, const std::string& text) {
  zel::TraceRecord record{};
  if (tracer->BeginRecord(level, &record, 512) != 0) return;
  ASSERT_GE(record.capacity, text.size() + 1);
  text.copy(record.text, text.size());
  record.length = static_cast<std::uint32_t>(text.size());
  record.sink->Commit(&record);
}

TEST(StreamTracerTest, WritesOneLinePerRecordUpToTheThreshold) {
  std::FILE* stream = std::tmpfile();
  ASSERT_NE(stream, nullptr);
  {
    auto tracer = MakeHostObject<StreamTracer>(stream, 700);
    Write(tracer.get(), 300, "vor: first");
    Write(tracer.get(), 800, "vor: too detailed");
    Write(tracer.get(), 700, "vor: x.cc(1): m. Call stack:\n\tdone\r\x01");
  }
  EXPECT_EQ(ReadAll(stream), "vor: first\nvor: x.cc(1): m. Call stack:\\n\\tdone\\r\\x01\n");
  std::fclose(stream);

  auto unopenable = MakeHostObject<StreamTracer>(std::string("/nonexistent/dir/trace"), 700);
  EXPECT_FALSE(unopenable->ok());
  zel::TraceRecord record{};
  EXPECT_NE(unopenable->BeginRecord(300, &record, 512), 0u);
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
