#include "runtime/trace.h"

#include <cstring>

#include "runtime/result.h"
#include "vor/utf.h"

namespace zel {

TraceLine::TraceLine(ITracer* tracer, std::uint32_t level) noexcept { Begin(tracer, level); }

TraceLine::TraceLine(const Tracer& tracer, std::uint32_t level) noexcept {
  Begin(tracer.sink(), level);
  *this << tracer.prefix();
}

void TraceLine::Begin(ITracer* tracer, std::uint32_t level) noexcept {
  if (tracer == nullptr) return;
  if (tracer->BeginRecord(level, &record_, kTraceCapacity) != kOk) return;
  open_ = true;
  record_.length = 0;
  // A record holds at most kTraceCapacity bytes, however large a buffer the host grants.
  const std::uint32_t room = record_.capacity < kTraceCapacity ? record_.capacity : kTraceCapacity;
  limit_ = (record_.text != nullptr && room > 0) ? room - 1 : 0;
  if (record_.text != nullptr && record_.capacity > 0) record_.text[0] = '\0';
}

TraceLine::~TraceLine() {
  if (!open_) return;
  if (record_.text != nullptr && record_.capacity > 0) record_.text[record_.length] = '\0';
  if (record_.sink != nullptr) record_.sink->Commit(&record_);
}

TraceLine& TraceLine::operator<<(std::string_view text) noexcept {
  if (!open_) return *this;
  const std::size_t room = limit_ - record_.length;
  const std::size_t n = text.size() < room ? text.size() : room;
  if (n != 0) {
    std::memcpy(record_.text + record_.length, text.data(), n);
    record_.length += static_cast<std::uint32_t>(n);
  }
  return *this;
}

TraceLine& TraceLine::operator<<(const char* text) noexcept {
  return *this << (text != nullptr ? std::string_view(text) : std::string_view("(null)"));
}

TraceLine& TraceLine::operator<<(std::u16string_view text) noexcept {
  if (!open_) return *this;
  // Converted one code point at a time so that a cut never splits a character.
  std::size_t i = 0;
  while (i < text.size() && record_.length < limit_) {
    std::size_t units = 1;
    if (text[i] >= 0xd800 && text[i] <= 0xdbff && i + 1 < text.size() &&
        text[i + 1] >= 0xdc00 && text[i + 1] <= 0xdfff) {
      units = 2;
    }
    char bytes[4];
    std::size_t n = 0;
    if (!vor::utf::Utf16ToUtf8(text.substr(i, units), [&](char c) { bytes[n++] = c; })) {
      n = 0;
      for (char c : {'\xef', '\xbf', '\xbd'}) bytes[n++] = c;
    }
    if (limit_ - record_.length < n) break;
    *this << std::string_view(bytes, n);
    i += units;
  }
  return *this;
}

TraceLine& TraceLine::operator<<(const char16_t* text) noexcept {
  if (text == nullptr) return *this << "(null)";
  return *this << std::u16string_view(text);
}

TraceLine& TraceLine::operator<<(Hex hex) noexcept {
  char digits[16];
  char* end = digits + sizeof digits;
  char* first = FormatUnsigned(hex.value, 16, end);
  return *this << std::string_view(first, end - first);
}

TraceLine& TraceLine::operator<<(Ptr ptr) noexcept {
  return *this << "0x" << Hex{reinterpret_cast<std::uintptr_t>(ptr.value)};
}

}  // namespace zel
