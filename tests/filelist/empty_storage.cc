#include "tests/filelist/empty_storage.h"

namespace vor::testing {

zel::result_t EmptyStorage::Open(const char16_t*, std::uint32_t, zel::IIo** out) {
  if (out != nullptr) *out = nullptr;
  return zel::kErrFileNotFound;
}

}  // namespace vor::testing
