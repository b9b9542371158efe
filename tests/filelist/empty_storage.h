// A storage object that holds nothing, for the updates that require one.
#ifndef VOR_TESTS_FILELIST_EMPTY_STORAGE_H_
#define VOR_TESTS_FILELIST_EMPTY_STORAGE_H_

#include "host/host_object.h"
#include "vor/io.h"

namespace vor::testing {

class EmptyStorage : public host::HostObject<zel::IStorage> {
 public:
  zel::result_t Open(const char16_t*, std::uint32_t, zel::IIo**) override { return zel::kErrFileNotFound; }
};

}  // namespace vor::testing

#endif  // VOR_TESTS_FILELIST_EMPTY_STORAGE_H_
