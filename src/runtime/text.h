// Text helpers for the module: UTF-16 <-> UTF-8 into framework strings, and
// IStringOut/IWideStringOut sinks through which hosts hand text back.
#ifndef VOR_RUNTIME_TEXT_H_
#define VOR_RUNTIME_TEXT_H_

#include <string_view>

#include "runtime/result.h"
#include "runtime/string.h"
#include "vor/host_services.h"

namespace zel {

// Length of a NUL-terminated wide text; 0 for null.
std::u16string_view WideView(const char16_t* text);

// Replaces `out` with the UTF-8 form of `in`. Returns 0, 0x80000300 for an
// unpaired surrogate or 0x80000041 when memory runs out. Never throws.
result_t ToUtf8(std::u16string_view in, string& out) noexcept;

// Sinks through which hosts hand text back into a framework string; Assign
// never throws: running out of memory gives 0x80000041.
template <class Out, class Char>
class BasicStringSink final : public Out {
 public:
  explicit BasicStringSink(basic_string_t<Char>& target) : target_(target) {}
  result_t Assign(const Char* data, std::size_t size) override {
    if (data == nullptr && size != 0) return kErrInvalidArgument;
    try {
      target_.assign(std::basic_string_view<Char>(data, size));
      return kOk;
    } catch (...) {
      return kErrOutOfMemory;
    }
  }

 private:
  basic_string_t<Char>& target_;
};
using StringSink = BasicStringSink<IStringOut, char>;
using WideStringSink = BasicStringSink<IWideStringOut, char16_t>;

}  // namespace zel

#endif  // VOR_RUNTIME_TEXT_H_
