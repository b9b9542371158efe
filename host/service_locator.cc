#include "host/service_locator.h"

#include <algorithm>
#include <mutex>

namespace vor::host {

void ServiceLocator::Register(std::uint32_t iid, std::uint32_t serviceId, zel::IObject* object) {
  std::unique_lock lock(mutex_);
  for (Entry& entry : entries_) {
    if (entry.iid == iid && entry.serviceId == serviceId) {
      entry.object = Ref<zel::IObject>(object);
      return;
    }
  }
  entries_.push_back({iid, serviceId, Ref<zel::IObject>(object)});
}

void ServiceLocator::Unregister(std::uint32_t iid, std::uint32_t serviceId) {
  std::unique_lock lock(mutex_);
  std::erase_if(entries_, [&](const Entry& e) { return e.iid == iid && e.serviceId == serviceId; });
}

zel::result_t ServiceLocator::GetInterface(std::uint32_t iid, std::uint32_t serviceId,
                                           void** out) {
  if (out == nullptr) return zel::kErrInvalidArgument;
  *out = nullptr;
  std::shared_lock lock(mutex_);
  for (const Entry& entry : entries_) {
    if (entry.iid == iid && entry.serviceId == serviceId) {
      return entry.object->QueryInterface(iid, out);
    }
  }
  return zel::kErrNotFound;
}

}  // namespace vor::host
