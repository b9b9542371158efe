#include "host/environment.h"

#include <mutex>
#include <new>
#include <optional>

#include "vor/utf.h"

namespace vor::host {
namespace {

std::optional<std::u16string> ToWide(std::string_view text) {
  std::u16string wide;
  if (!utf::Utf8ToUtf16(text, [&wide](char16_t c) { wide.push_back(c); })) return std::nullopt;
  return wide;
}

}  // namespace

bool Environment::Set(std::string_view name, std::string_view value) {
  std::optional<std::u16string> wideName = ToWide(name);
  std::optional<std::u16string> wideValue = ToWide(value);
  if (!wideName || !wideValue) return false;
  std::unique_lock<std::shared_mutex> hold(mutex_);
  values_.insert_or_assign(std::move(*wideName), std::move(*wideValue));
  return true;
}

std::u16string Environment::Expand(std::u16string_view text) const {
  std::shared_lock<std::shared_mutex> hold(mutex_);
  std::u16string out;
  std::size_t i = 0;
  while (i < text.size()) {
    if (text[i] == u'%') {
      const std::size_t close = text.find(u'%', i + 1);
      if (close != std::u16string_view::npos) {
        const auto found = values_.find(text.substr(i + 1, close - i - 1));
        if (found != values_.end()) {
          out += found->second;
          i = close + 1;
          continue;
        }
      }
    }
    // An unknown name keeps its '%'; its closing '%' may open a known one.
    out.push_back(text[i]);
    ++i;
  }
  return out;
}

zel::result_t Environment::ExpandStrings(const char16_t* text, zel::IWideStringOut* out) {
  if (text == nullptr || out == nullptr) return zel::kErrInvalidArgument;
  try {
    const std::u16string expanded = Expand(text);
    return out->Assign(expanded.data(), expanded.size());
  } catch (const std::bad_alloc&) {
    return zel::kErrOutOfMemory;
  }
}

}  // namespace vor::host
