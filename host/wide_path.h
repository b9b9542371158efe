// A UTF-8 path as the NUL-terminated UTF-16 the module's checks take. Short
// paths (nearly all) are widened in place; a longer one takes the heap. No
// per-thread buffer: a thread's first check allocates nothing that could
// abort it.
#ifndef VOR_HOST_WIDE_PATH_H_
#define VOR_HOST_WIDE_PATH_H_

#include <memory>
#include <string_view>

#include "vor/result.h"

namespace vor::host {

class WidePath {
 public:
  WidePath() = default;
  WidePath(const WidePath&) = delete;
  WidePath& operator=(const WidePath&) = delete;

  // VOR_OK; VOR_E_INVALID_SYMBOL for text that is not UTF-8; throws
  // std::bad_alloc when a long path does not fit in memory.
  zel::result_t Assign(std::string_view utf8);
  const char16_t* c_str() const { return data_; }

 private:
  static constexpr std::size_t kInline = 1024;
  char16_t inline_[kInline];
  std::unique_ptr<char16_t[]> heap_;
  char16_t* data_ = inline_;
};

}  // namespace vor::host

#endif  // VOR_HOST_WIDE_PATH_H_
