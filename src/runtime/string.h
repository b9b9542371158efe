// zel::basic_string_t: the module's string, NUL-terminated, with 15 characters
// inline before its first allocation, allocating through the host allocator.
// Growth that would overflow throws std::length_error with the framework's texts.
#ifndef VOR_RUNTIME_STRING_H_
#define VOR_RUNTIME_STRING_H_

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>

#include "runtime/host_allocator.h"

namespace zel {

template <class Char>
class basic_string_t
    : public std::basic_string<Char, std::char_traits<Char>, HostAllocator<Char>> {
  using Base = std::basic_string<Char, std::char_traits<Char>, HostAllocator<Char>>;

 public:
  using view_type = std::basic_string_view<Char>;

  basic_string_t() = default;
  explicit basic_string_t(IAllocator* host) : Base(HostAllocator<Char>(host)) {}
  basic_string_t(view_type text, IAllocator* host = nullptr)
      : Base(HostAllocator<Char>(host)) {
    if (text.size() > Base::max_size()) {
      throw std::length_error("zel::basic_string_t constructor");
    }
    Base::assign(text.data(), text.size());
  }

  basic_string_t& assign(view_type text) {
    if (text.size() > Base::max_size()) {
      throw std::length_error("zel::basic_string_t constructor");
    }
    Base::assign(text.data(), text.size());
    return *this;
  }
  basic_string_t& append(view_type text) {
    reserve_extra(text.size());
    Base::append(text.data(), text.size());
    return *this;
  }
  basic_string_t& operator+=(view_type text) { return append(text); }
  basic_string_t& operator+=(Char c) {
    reserve_extra(1);
    Base::push_back(c);
    return *this;
  }

  // Makes room for `extra` more characters.
  void reserve_extra(std::size_t extra) {
    if (extra > Base::max_size() - Base::size()) {
      throw std::length_error("zel::basic_string_t::reserve_extra()");
    }
    if (Base::size() + extra > Base::capacity()) {
      Base::reserve(std::max(Base::size() + extra, 2 * Base::capacity()));
    }
  }
  // Opens a gap of `extra` characters at `pos`, filled with `fill`.
  void resize_extra_at(std::size_t pos, std::size_t extra, Char fill = Char()) {
    if (pos > Base::size() || extra > Base::max_size() - Base::size()) {
      throw std::length_error("zel::basic_string_t::resize_extra_at");
    }
    Base::insert(pos, extra, fill);
  }

  view_type view() const { return view_type(Base::data(), Base::size()); }
  IAllocator* host() const { return Base::get_allocator().host(); }
};

using string = basic_string_t<char>;
using u16string = basic_string_t<char16_t>;

}  // namespace zel

template <class Char>
struct std::hash<zel::basic_string_t<Char>> {
  std::size_t operator()(const zel::basic_string_t<Char>& s) const noexcept {
    return std::hash<std::basic_string_view<Char>>()(s.view());
  }
};

#endif  // VOR_RUNTIME_STRING_H_
