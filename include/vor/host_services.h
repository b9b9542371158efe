// Services the module asks of the host's service locator: memory, tracing,
// feature flags and environment expansion, plus the caller-owned text sinks
// through which a host hands text back without any change of memory owner.
#ifndef VOR_HOST_SERVICES_H_
#define VOR_HOST_SERVICES_H_

#include <cstddef>
#include <cstdint>

#include "vor/object.h"

namespace zel {

class IStringOut {
 public:
  virtual result_t Assign(const char* data, std::size_t size) = 0;  // slot 0

 protected:
  ~IStringOut() = default;
};

class IWideStringOut {
 public:
  virtual result_t Assign(const char16_t* data, std::size_t size) = 0;  // slot 0

 protected:
  ~IWideStringOut() = default;
};

class IAllocator : public IObject {
 public:
  static constexpr std::uint32_t kIid = 0x9cca5603;

  virtual void* Alloc(std::size_t size) = 0;              // slot 3; null on failure
  virtual void* Realloc(void* p, std::size_t size) = 0;   // slot 4
  virtual void Free(void* p) = 0;                         // slot 5

 protected:
  ~IAllocator() = default;
};

struct TraceRecord;

class ITraceSink {
 public:
  virtual void Commit(TraceRecord* record) = 0;  // slot 0

 protected:
  ~ITraceSink() = default;
};

// Filled by ITracer::BeginRecord; the module writes `text`, sets `length` and
// commits the record to `sink` exactly once.
struct TraceRecord {
  ITraceSink* sink;
  char* text;
  std::uint32_t capacity;
  std::uint32_t length;  // bytes written, NUL excluded
  std::uint32_t level;
  std::uint32_t reserved;
  void* context;  // the tracer's own
};

static_assert(sizeof(TraceRecord) == 40);
static_assert(offsetof(TraceRecord, sink) == 0);
static_assert(offsetof(TraceRecord, text) == 8);
static_assert(offsetof(TraceRecord, capacity) == 16);
static_assert(offsetof(TraceRecord, length) == 20);
static_assert(offsetof(TraceRecord, level) == 24);
static_assert(offsetof(TraceRecord, reserved) == 28);
static_assert(offsetof(TraceRecord, context) == 32);

// Trace levels the module writes at.
inline constexpr std::uint32_t kTraceError = 300;
inline constexpr std::uint32_t kTraceWarning = 500;
inline constexpr std::uint32_t kTraceInfo = 700;
inline constexpr std::uint32_t kTraceDebug = 800;

class ITracer : public IObject {
 public:
  static constexpr std::uint32_t kIid = 0x6ef3329b;

  // Returns 0 and fills `record` when `level` is enabled; anything else means
  // disabled, and then the record is not to be committed.
  virtual result_t BeginRecord(std::uint32_t level, TraceRecord* record,
                               std::uint32_t capacity) = 0;  // slot 3

 protected:
  ~ITracer() = default;
};

class IFeatureFlags : public IObject {
 public:
  static constexpr std::uint32_t kIid = 0x1cae12ab;

  // A failure means "not set".
  virtual result_t GetFlag(const char* name, IStringOut* value) = 0;  // slot 3

 protected:
  ~IFeatureFlags() = default;
};

class IEnvironment : public IObject {
 public:
  static constexpr std::uint32_t kIid = 0x6dd4bcbb;

  // Expands %NAME% placeholders; unknown names stay as they are.
  virtual result_t ExpandStrings(const char16_t* text, IWideStringOut* out) = 0;  // slot 3

 protected:
  ~IEnvironment() = default;
};

}  // namespace zel

#endif  // VOR_HOST_SERVICES_H_
