// The host references most of the module's objects hold, in the order they
// are asked for: the allocator, the tracer (with the object's line prefix) and
// the locator itself. Each object keeps its own, so this is not copyable.
#ifndef VOR_RUNTIME_HOST_PROVIDERS_H_
#define VOR_RUNTIME_HOST_PROVIDERS_H_

#include <string_view>

#include "runtime/host_access.h"
#include "runtime/trace.h"
#include "vor/host_services.h"
#include "vor/ref.h"

namespace vor {

struct HostProviders {
  // Throws GetInterfaceException when the locator lacks the allocator or tracer.
  HostProviders(zel::IServiceLocator* serviceLocator, std::string_view prefix)
      : allocator(zel::GetInterface<zel::IAllocator>(serviceLocator)),
        trace(zel::GetInterface<zel::ITracer>(serviceLocator), prefix),
        locator(serviceLocator) {}
  HostProviders(const HostProviders&) = delete;
  HostProviders& operator=(const HostProviders&) = delete;

  Ref<zel::IAllocator> allocator;
  zel::Tracer trace;
  Ref<zel::IServiceLocator> locator;
};

}  // namespace vor

#endif  // VOR_RUNTIME_HOST_PROVIDERS_H_
