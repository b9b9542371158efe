// Trace lines. A line is built only when the host tracer has its level
// enabled, straight into the host's record (at most capacity - 1 bytes and never
// more than kTraceCapacity - 1, longer text is cut), and a record that was begun
// is committed exactly once.
//
//   ZEL_TRACE(trace_, kTraceInfo) << "Path <" << path << "> is critical";
//
// The operands after ZEL_TRACE are not evaluated when the level is disabled.
#ifndef VOR_RUNTIME_TRACE_H_
#define VOR_RUNTIME_TRACE_H_

#include <concepts>
#include <cstdint>
#include <string_view>

#include "runtime/format.h"
#include "vor/host_services.h"
#include "vor/ref.h"

namespace zel {

inline constexpr std::uint32_t kTraceCapacity = 512;

// A host tracer (may be absent) with the component prefix of its lines.
class Tracer {
 public:
  Tracer() = default;
  Tracer(vor::Ref<ITracer> sink, std::string_view prefix)
      : sink_(std::move(sink)), prefix_(prefix) {}

  ITracer* sink() const { return sink_.get(); }
  std::string_view prefix() const { return prefix_; }

 private:
  vor::Ref<ITracer> sink_;
  std::string_view prefix_;  // a literal
};

class TraceLine {
 public:
  // Begins a record when `level` is enabled and writes the tracer's prefix.
  TraceLine(const Tracer& tracer, std::uint32_t level) noexcept;
  TraceLine(ITracer* tracer, std::uint32_t level) noexcept;
  ~TraceLine();
  TraceLine(const TraceLine&) = delete;
  TraceLine& operator=(const TraceLine&) = delete;

  explicit operator bool() const { return open_; }

  TraceLine& operator<<(std::string_view text) noexcept;
  TraceLine& operator<<(const char* text) noexcept;
  TraceLine& operator<<(char c) noexcept { return *this << std::string_view(&c, 1); }
  // UTF-16 text, written as UTF-8; an unpaired surrogate shows as U+FFFD.
  TraceLine& operator<<(std::u16string_view text) noexcept;
  TraceLine& operator<<(const char16_t* text) noexcept;
  TraceLine& operator<<(Hex hex) noexcept;
  TraceLine& operator<<(Ptr ptr) noexcept;
  template <std::integral T>
    requires(!std::same_as<T, char> && !std::same_as<T, bool>)
  TraceLine& operator<<(T value) noexcept {
    char digits[24];
    char* end = digits + sizeof digits;
    const bool negative = value < 0;
    const std::uint64_t magnitude =
        negative ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    char* first = FormatUnsigned(magnitude, 10, end);
    if (negative) *--first = '-';
    return *this << std::string_view(first, end - first);
  }

 private:
  void Begin(ITracer* tracer, std::uint32_t level) noexcept;

  TraceRecord record_{};
  std::uint32_t limit_ = 0;  // bytes the text may hold before its NUL
  bool open_ = false;
};

}  // namespace zel

#define ZEL_TRACE(tracer, level)                                       \
  if (::zel::TraceLine zel_trace_line_{(tracer), (level)}; !zel_trace_line_) { \
  } else                                                               \
    zel_trace_line_

#endif  // VOR_RUNTIME_TRACE_H_
