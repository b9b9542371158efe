// The session's tracer. Lines up to the session's level go to its callback;
// besides, a thread may collect the lines of its own calls (the explanation of
// one decision) without seeing other threads' lines. Control characters inside
// a record are escaped, so that one record stays one line.
#ifndef VOR_HOST_SESSION_TRACER_H_
#define VOR_HOST_SESSION_TRACER_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/host_object.h"
#include "vor/host_services.h"

namespace vor::host {

class SessionTracer : public HostObject<zel::ITracer>, private zel::ITraceSink {
 public:
  using Callback = std::function<void(std::uint32_t level, std::string_view line)>;

  SessionTracer(std::uint32_t level, Callback callback);
  ~SessionTracer() override;

  // While alive, the lines up to `level` that this thread's calls write are
  // appended to `lines` as well; `raw` keeps them as the module wrote them
  // (for callers that read facts out of them), not escaped into one line.
  class Collect {
   public:
    Collect(SessionTracer& tracer, std::uint32_t level, std::vector<std::string>& lines,
            bool raw = false);
    ~Collect();
    Collect(const Collect&) = delete;
    Collect& operator=(const Collect&) = delete;

   private:
    const void* previousOwner_;
    std::uint32_t previousLevel_;
    std::vector<std::string>* previousLines_;
    bool previousRaw_;
  };

  zel::result_t BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                            std::uint32_t capacity) override;

  // Appends `text` to `line` with control characters escaped.
  static void AppendEscaped(std::string& line, std::string_view text);

 private:
  void Commit(zel::TraceRecord* record) override;

  std::uint32_t level_;
  Callback callback_;
};

}  // namespace vor::host

#endif  // VOR_HOST_SESSION_TRACER_H_
