#include "runtime/text.h"

#include <new>

#include "runtime/result.h"
#include "vor/utf.h"

namespace zel {
namespace {

template <class Target, class Char>
result_t AssignText(Target& target, const Char* data, std::size_t size) noexcept {
  if (data == nullptr && size != 0) return kErrInvalidArgument;
  try {
    target.assign(std::basic_string_view<Char>(data, size));
    return kOk;
  } catch (...) {
    return kErrOutOfMemory;
  }
}

}  // namespace

std::u16string_view WideView(const char16_t* text) {
  return text != nullptr ? std::u16string_view(text) : std::u16string_view();
}

result_t ToUtf8(std::u16string_view in, string& out) noexcept {
  try {
    out.clear();
    out.reserve(in.size());
    if (!vor::utf::Utf16ToUtf8(in, [&](char c) { out += c; })) return kErrInvalidSymbol;
    return kOk;
  } catch (...) {
    return kErrOutOfMemory;
  }
}

result_t ToUtf16(std::string_view in, u16string& out) noexcept {
  try {
    out.clear();
    out.reserve(in.size());
    if (!vor::utf::Utf8ToUtf16(in, [&](char16_t c) { out += c; })) return kErrInvalidSymbol;
    return kOk;
  } catch (...) {
    return kErrOutOfMemory;
  }
}

result_t StringSink::Assign(const char* data, std::size_t size) {
  return AssignText(target_, data, size);
}

result_t WideStringSink::Assign(const char16_t* data, std::size_t size) {
  return AssignText(target_, data, size);
}

}  // namespace zel
