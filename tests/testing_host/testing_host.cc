#include "tests/testing_host/testing_host.h"

#include "host/host_object.h"
#include "vor/host_services.h"

namespace vor::testing {

TestingHost::TestingHost()
    : allocator(host::MakeHostObject<CountingAllocator>()),
      tracer(host::MakeHostObject<CapturingTracer>()),
      locator(host::MakeHostObject<RefusingLocator>()) {
  Register(zel::IAllocator::kIid, allocator.get());
  Register(zel::ITracer::kIid, tracer.get());
}

void TestingHost::Register(std::uint32_t iid, zel::IObject* object, std::uint32_t serviceId) {
  locator->Register(iid, serviceId, object);
}

}  // namespace vor::testing
