// The host environment from configuration (vorctl --env NAME=VALUE): expands
// %NAME% placeholders; names it does not know are left as they are.
#ifndef VOR_HOST_ENVIRONMENT_H_
#define VOR_HOST_ENVIRONMENT_H_

#include <map>
#include <shared_mutex>
#include <string>
#include <string_view>

#include "host/host_object.h"
#include "vor/host_services.h"

namespace vor::host {

class Environment : public HostObject<zel::IEnvironment> {
 public:
  // Name and value as UTF-8; false when either is not valid UTF-8.
  bool Set(std::string_view name, std::string_view value);

  zel::result_t ExpandStrings(const char16_t* text, zel::IWideStringOut* out) override;

  // The expansion itself, for callers inside the host.
  std::u16string Expand(std::u16string_view text) const;

 private:
  mutable std::shared_mutex mutex_;
  std::map<std::u16string, std::u16string, std::less<>> values_;
};

}  // namespace vor::host

#endif  // VOR_HOST_ENVIRONMENT_H_
