#include "fuzz/fuzz_host.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vor::fuzz {
namespace {

constexpr char kMarker = '\xa5';

}  // namespace

void CheckFailed(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "fuzz check failed: %s at %s:%d\n", condition, file, line);
  std::abort();
}

zel::result_t CheckingTracer::BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                                          std::uint32_t capacity) {
  FUZZ_CHECK(record != nullptr);
  if (level > threshold_) return zel::kErrTraceLevelProhibited;
  // A record still open here would be one the module never committed.
  FUZZ_CHECK(begun_ == committed_);
  const std::uint32_t given = capacity_ != kAsAsked ? capacity_ : capacity;
  char* text = nullptr;
  if (!nullText_) {
    // Exactly `given` bytes, none when it is 0: any write past them is caught.
    text = static_cast<char*>(std::malloc(given));
    FUZZ_CHECK(text != nullptr || given == 0);
    std::memset(text, kMarker, given);
  }
  *record = {this, text, given, 0xdeadbeef, level, 0, this};
  ++begun_;
  return 0;
}

void CheckingTracer::Commit(zel::TraceRecord* record) {
  FUZZ_CHECK(record != nullptr && record->sink == this && record->context == this);
  ++committed_;
  FUZZ_CHECK(committed_ == begun_);
  if (record->text == nullptr || record->capacity == 0) {
    FUZZ_CHECK(record->length == 0);
    lastLine_.clear();
    std::free(record->text);
    record->text = nullptr;
    return;
  }
  FUZZ_CHECK(record->length < record->capacity);
  FUZZ_CHECK(record->text[record->length] == '\0');
  lastLine_.assign(record->text, record->length);
  std::free(record->text);
  record->text = nullptr;
}

zel::result_t MemoryStorage::Open(const char16_t* name, std::uint32_t, zel::IIo** out) {
  if (name == nullptr || out == nullptr) return zel::kErrInvalidArgument;
  return files_->Open(name, zel::ILumoFileFactory::kAccessRead, zel::ILumoFileFactory::kShareRead,
                      zel::ILumoFileFactory::kOpenExisting, 0, out);
}

Ref<zel::IIo> MemoryStream(std::string content) {
  return testing::FakeFileFactory::StreamOver(std::move(content));
}

FuzzHost::FuzzHost()
    : allocator(host::MakeHostObject<host::MallocAllocator>()),
      tracer(host::MakeHostObject<CheckingTracer>()),
      xml(host::MakeHostObject<host::XmlFactory>(tracer.get())),
      locator(host::MakeHostObject<host::ServiceLocator>()) {
  locator->Register(zel::IAllocator::kIid, 0, allocator.get());
  locator->Register(zel::ITracer::kIid, 0, tracer.get());
  locator->Register(zel::IXmlFactory::kIid, 0, xml.get());
}

FuzzHost& SharedHost() {
  static FuzzHost* host = new FuzzHost();  // never destroyed: fuzzers exit anywhere
  return *host;
}

}  // namespace vor::fuzz
