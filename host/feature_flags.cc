#include "host/feature_flags.h"

#include <mutex>
#include <new>

namespace vor::host {

std::optional<std::pair<std::string, std::string>> ParseAssignment(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos || equals == 0) return std::nullopt;
  return std::pair<std::string, std::string>(text.substr(0, equals), text.substr(equals + 1));
}

void FeatureFlags::Set(std::string name, std::string value) {
  std::unique_lock<std::shared_mutex> hold(mutex_);
  flags_.insert_or_assign(std::move(name), std::move(value));
}

zel::result_t FeatureFlags::GetFlag(const char* name, zel::IStringOut* value) {
  if (name == nullptr || value == nullptr) return zel::kErrInvalidArgument;
  std::shared_lock<std::shared_mutex> hold(mutex_);
  const auto found = flags_.find(std::string_view(name));
  if (found == flags_.end()) return kNotSet;
  return value->Assign(found->second.data(), found->second.size());
}

}  // namespace vor::host
