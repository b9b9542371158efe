// A tracer that writes every record whose level is at or below a threshold as
// one line to a stream. Control characters inside a record (an exception's
// call stack, a process name with a line break) are escaped so that one
// record stays one line.
#ifndef VOR_HOST_STREAM_TRACER_H_
#define VOR_HOST_STREAM_TRACER_H_

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

#include "host/host_object.h"
#include "vor/host_services.h"

namespace vor::host {

class StreamTracer : public HostObject<zel::ITracer>, private zel::ITraceSink {
 public:
  // Writes to `stream`, which the tracer neither owns nor closes.
  StreamTracer(std::FILE* stream, std::uint32_t threshold);
  // Opens (truncates) `path`; check ok() afterwards.
  StreamTracer(const std::string& path, std::uint32_t threshold);
  ~StreamTracer() override;

  bool ok() const { return stream_ != nullptr; }
  zel::result_t BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                            std::uint32_t capacity) override;

  // Appends `text` to `line` with control characters escaped.
  static void AppendEscaped(std::string& line, const char* text, std::size_t length);

 private:
  void Commit(zel::TraceRecord* record) override;

  std::FILE* stream_;
  bool owned_;
  std::uint32_t threshold_;
  std::mutex mutex_;
};

}  // namespace vor::host

#endif  // VOR_HOST_STREAM_TRACER_H_
