// Text helpers for the module: UTF-16 <-> UTF-8 into framework strings, and
// IStringOut/IWideStringOut sinks through which hosts hand text back.
#ifndef VOR_RUNTIME_TEXT_H_
#define VOR_RUNTIME_TEXT_H_

#include <string_view>

#include "runtime/string.h"
#include "vor/host_services.h"

namespace zel {

// Length of a NUL-terminated wide text; 0 for null.
std::u16string_view WideView(const char16_t* text);

// Replaces `out` with the UTF-8 form of `in`. Returns 0, 0x80000300 for an
// unpaired surrogate or 0x80000041 when memory runs out. Never throws.
result_t ToUtf8(std::u16string_view in, string& out) noexcept;
// Replaces `out` with the UTF-16 form of `in`; 0x80000300 for invalid UTF-8.
result_t ToUtf16(std::string_view in, u16string& out) noexcept;

// Sinks that assign into a framework string; Assign never throws.
class StringSink final : public IStringOut {
 public:
  explicit StringSink(string& target) : target_(target) {}
  result_t Assign(const char* data, std::size_t size) override;

 private:
  string& target_;
};

class WideStringSink final : public IWideStringOut {
 public:
  explicit WideStringSink(u16string& target) : target_(target) {}
  result_t Assign(const char16_t* data, std::size_t size) override;

 private:
  u16string& target_;
};

}  // namespace zel

#endif  // VOR_RUNTIME_TEXT_H_
