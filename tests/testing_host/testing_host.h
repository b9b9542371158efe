// A complete testing host: counting allocator, capturing tracer and a locator
// that serves both and refuses what a test asks it to.
#ifndef VOR_TESTS_TESTING_HOST_TESTING_HOST_H_
#define VOR_TESTS_TESTING_HOST_TESTING_HOST_H_

#include "tests/testing_host/capturing_tracer.h"
#include "tests/testing_host/counting_allocator.h"
#include "tests/testing_host/refusing_locator.h"
#include "vor/ref.h"

namespace vor::testing {

struct TestingHost {
  TestingHost();

  // Registers `object` as the default service of `iid`.
  void Register(std::uint32_t iid, zel::IObject* object, std::uint32_t serviceId = 0);

  Ref<CountingAllocator> allocator;
  Ref<CapturingTracer> tracer;
  Ref<RefusingLocator> locator;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_TESTING_HOST_TESTING_HOST_H_
