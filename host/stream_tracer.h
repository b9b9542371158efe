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
#include <vector>

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

  // Also keeps the lines up to `level` until StopCapture, whatever the
  // stream's threshold: the lines of one decision, for a person to read.
  void StartCapture(std::uint32_t level);
  std::vector<std::string> StopCapture();
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
  bool capturing_ = false;
  std::uint32_t captureLevel_ = 0;
  std::vector<std::string> captured_;
};

}  // namespace vor::host

#endif  // VOR_HOST_STREAM_TRACER_H_
