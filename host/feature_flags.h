// Host feature flags from configuration (vorctl --flag NAME=VALUE).
#ifndef VOR_HOST_FEATURE_FLAGS_H_
#define VOR_HOST_FEATURE_FLAGS_H_

#include <map>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <utility>

#include "host/host_object.h"
#include "vor/host_services.h"

namespace vor::host {

// Splits "NAME=VALUE" at its first '='; nullopt without '=' or with an empty
// name. The value may be empty and may hold further '=' characters.
std::optional<std::pair<std::string, std::string>> ParseAssignment(std::string_view text);

class FeatureFlags : public HostObject<zel::IFeatureFlags> {
 public:
  static constexpr zel::result_t kNotSet = zel::kErrNotFound;

  void Set(std::string name, std::string value);
  // The flag's value, or kNotSet for an unknown name.
  zel::result_t GetFlag(const char* name, zel::IStringOut* value) override;

 private:
  std::shared_mutex mutex_;
  std::map<std::string, std::string, std::less<>> flags_;
};

}  // namespace vor::host

#endif  // VOR_HOST_FEATURE_FLAGS_H_
