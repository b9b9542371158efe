// A service locator that serves registered objects by (interface id, service id).
#ifndef VOR_HOST_SERVICE_LOCATOR_H_
#define VOR_HOST_SERVICE_LOCATOR_H_

#include <cstdint>
#include <shared_mutex>
#include <vector>

#include "host/host_object.h"
#include "vor/object.h"
#include "vor/ref.h"

namespace vor::host {

class ServiceLocator : public HostObject<zel::IServiceLocator> {
 public:
  // Serves `object` (queried for `iid` on each request) as service `serviceId`
  // of `iid`; a later registration of the same pair replaces the earlier one.
  void Register(std::uint32_t iid, std::uint32_t serviceId, zel::IObject* object);
  void Unregister(std::uint32_t iid, std::uint32_t serviceId);

  zel::result_t GetInterface(std::uint32_t iid, std::uint32_t serviceId, void** out) override;

 private:
  struct Entry {
    std::uint32_t iid;
    std::uint32_t serviceId;
    Ref<zel::IObject> object;
  };

  std::shared_mutex mutex_;
  std::vector<Entry> entries_;
};

}  // namespace vor::host

#endif  // VOR_HOST_SERVICE_LOCATOR_H_
