// The session's tracer. Lines up to the session's level go to its callback;
// besides, a thread may collect the lines of its own calls (the explanation of
// one decision, the facts of starting an instance) without seeing other
// threads' lines. Control characters, backslashes and invalid UTF-8 inside a
// record are escaped for the callback (vor/utf.h), so that one record stays
// one line and no text steers a terminal.
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

  // Takes the lines a thread collects, as the module wrote them.
  class LineSink {
   public:
    virtual void Take(std::uint32_t level, std::string_view line) noexcept = 0;

   protected:
    ~LineSink() = default;
  };

  // While alive, the lines up to `level` that this thread's calls write go to
  // `sink` as well. It lends the module the buffer of one record at a time,
  // so a collection loses no line for want of memory.
  class Collect {
   public:
    Collect(SessionTracer& tracer, std::uint32_t level, LineSink& sink) noexcept;
    ~Collect();
    Collect(const Collect&) = delete;
    Collect& operator=(const Collect&) = delete;

   private:
    friend class SessionTracer;
    const SessionTracer* tracer_;
    std::uint32_t level_;
    LineSink* sink_;
    Collect* outer_;
    bool lent_ = false;
    char buffer_[512];
  };

  zel::result_t BeginRecord(std::uint32_t level, zel::TraceRecord* record,
                            std::uint32_t capacity) override;

  // Appends `text` to `line`, escaped as utf::Escape does.
  static void AppendEscaped(std::string& line, std::string_view text);

 private:
  void Commit(zel::TraceRecord* record) override;

  std::uint32_t level_;
  Callback callback_;
};

// A LineSink that keeps every line in `lines`, escaped as for the callback or
// as written. A line that cannot be kept for want of memory is lost.
class LineList final : public SessionTracer::LineSink {
 public:
  explicit LineList(std::vector<std::string>& lines, bool escaped = true)
      : lines_(lines), escaped_(escaped) {}
  void Take(std::uint32_t level, std::string_view line) noexcept override;

 private:
  std::vector<std::string>& lines_;
  bool escaped_;
};

}  // namespace vor::host

#endif  // VOR_HOST_SESSION_TRACER_H_
