// A small host for the fuzzers: the C heap allocator, a tracer that checks
// every record the module commits, the reference XML factory, and streams,
// a storage and a file factory over bytes held in memory.
#ifndef VOR_FUZZ_FUZZ_HOST_H_
#define VOR_FUZZ_FUZZ_HOST_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/host_object.h"
#include "host/malloc_allocator.h"
#include "host/service_locator.h"
#include "host/xml_factory.h"
#include "tests/testing_host/fake_file_factory.h"
#include "vor/host_services.h"
#include "vor/io.h"
#include "vor/ref.h"

// Stops the run with a message; libFuzzer keeps the input that got here.
#define FUZZ_CHECK(condition)                                                   \
  do {                                                                          \
    if (!(condition)) ::vor::fuzz::CheckFailed(#condition, __FILE__, __LINE__); \
  } while (false)

namespace vor::fuzz {

[[noreturn]] void CheckFailed(const char* condition, const char* file, int line);

// Hands out a heap buffer of exactly the record's capacity (so an overrun is
// an ASan report), filled with a marker byte, and on Commit checks that the
// text ends with a NUL inside the buffer at `length`. Keeps the last line.
class CheckingTracer : public host::HostObject<zel::ITracer>, private zel::ITraceSink {
 public:
  zel::result_t BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                            std::uint32_t capacity) override;

  // The capacity given instead of the one asked for (kAsAsked: no change),
  // and whether the record carries no text buffer at all.
  static constexpr std::uint32_t kAsAsked = 0xffffffff;
  void set_capacity(std::uint32_t capacity) { capacity_ = capacity; }
  void set_null_text(bool nullText) { nullText_ = nullText; }
  // Levels above it answer "disabled".
  void set_threshold(std::uint32_t threshold) { threshold_ = threshold; }

  std::size_t begun() const { return begun_; }
  std::size_t committed() const { return committed_; }
  const std::string& last_line() const { return lastLine_; }

 private:
  void Commit(zel::TraceRecord* record) override;

  std::uint32_t capacity_ = kAsAsked;
  bool nullText_ = false;
  std::uint32_t threshold_ = 1000;
  std::size_t begun_ = 0;
  std::size_t committed_ = 0;
  std::string lastLine_;
};

// A storage holding named streams over bytes; each Open reads from the start.
class MemoryStorage : public host::HostObject<zel::IStorage> {
 public:
  MemoryStorage() : files_(host::MakeHostObject<testing::FakeFileFactory>()) {}
  void Put(const std::u16string& name, std::string content) { files_->Add(name, std::move(content)); }
  zel::result_t Open(const char16_t* name, std::uint32_t mode, zel::IIo** out) override;

 private:
  Ref<testing::FakeFileFactory> files_;
};

// One in-memory stream over `content`, as a host hands a document to parse.
Ref<zel::IIo> MemoryStream(std::string content);

// Allocator, tracer and XML factory registered in a reference service locator.
struct FuzzHost {
  FuzzHost();

  Ref<host::MallocAllocator> allocator;
  Ref<CheckingTracer> tracer;
  Ref<host::XmlFactory> xml;
  Ref<host::ServiceLocator> locator;
};

// One host for the whole run: building it per input would only slow the
// fuzzer down, and the module keeps no state in it between calls.
FuzzHost& SharedHost();

}  // namespace vor::fuzz

#endif  // VOR_FUZZ_FUZZ_HOST_H_
