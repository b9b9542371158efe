// The host's locator, storage and XML factory failing at each step of each
// scenario that uses them.
#include <algorithm>
#include <cstdint>

#include "host/xml_factory.h"
#include "tests/sweep/sweep_fixture.h"

namespace vor::testing {
namespace {

// Every interface the service may ask the host for.
constexpr std::uint32_t kServiceInterfaces[] = {
    zel::IAllocator::kIid,  zel::ITracer::kIid,       zel::ILumoFileFactory::kIid,
    zel::IXmlFactory::kIid, zel::IFeatureFlags::kIid, zel::IEnvironment::kIid};

Fault PlanFault(const PlanRef& plan, std::uint64_t k) {
  return Fault{[plan, k] { plan->FailAt(k); }, [plan, k] { return plan->steps() >= k; },
               [plan] { plan->FailAt(0); }};
}

TEST_F(SweepTest, LocatorRefusesEachRequestInTurn) {
  RefusingLocator* locator = host_.locator.get();
  for (Scenario scenario : kAllScenarios) {
    // Step k lets the first k - 1 requests through and refuses the rest.
    const std::uint64_t points = Sweep(scenario, [=](std::uint64_t k) {
      const int answered = static_cast<int>(k - 1);
      return Fault{[=] {
                     locator->ResetCount();
                     locator->RefuseAfter(answered);
                   },
                   [=] { return locator->asks() > static_cast<std::uint64_t>(answered); },
                   [=] { locator->RefuseAfter(-1); }};
    });
    Report("locator refusing after n answers", scenario, points);
  }
}

TEST_F(SweepTest, LocatorRefusesEachInterface) {
  // A healthy pass first: the service asks for nothing beyond the known set.
  host_.locator->ResetCount();
  const Fault none{[] {}, [] { return false; }, [] {}};
  for (Scenario scenario : kAllScenarios) Run(scenario, none);
  const std::set<std::uint32_t> asked = host_.locator->asked();
  for (std::uint32_t iid : asked) {
    EXPECT_NE(std::find(std::begin(kServiceInterfaces), std::end(kServiceInterfaces), iid),
              std::end(kServiceInterfaces))
        << "unexpected request for interface 0x" << std::hex << iid;
  }
  EXPECT_EQ(asked.size(), std::size(kServiceInterfaces)) << "some interface is never asked for";

  RefusingLocator* locator = host_.locator.get();
  for (Scenario scenario : kAllScenarios) {
    std::uint64_t points = 0;
    for (std::uint32_t iid : kServiceInterfaces) {
      const bool hit = Run(scenario, Fault{[=] {
                                             locator->ResetCount();
                                             locator->Refuse(iid);
                                           },
                                           [=] { return locator->asked().count(iid) != 0; },
                                           [=] { locator->Allow(iid); }});
      if (hit) ++points;
    }
    Report("locator refusing one interface", scenario, points);
  }
}

TEST_F(SweepTest, StorageFailsAtEachStep) {
  storagePlan_ = std::make_shared<FaultPlan>();
  for (Scenario scenario : {Scenario::kVerify, Scenario::kProcessListUpdate}) {
    const std::uint64_t points =
        Sweep(scenario, [this](std::uint64_t k) { return PlanFault(storagePlan_, k); });
    Report("storage", scenario, points);
    EXPECT_GT(points, 0u) << ScenarioName(scenario) << " never used the storage";
  }
}

TEST_F(SweepTest, XmlFactoryFailsAtEachStep) {
  auto plan = std::make_shared<FaultPlan>();
  host_.Register(zel::IXmlFactory::kIid,
                 host::MakeHostObject<FaultyXmlFactory>(
                     Ref<zel::IXmlFactory>(host::MakeHostObject<host::XmlFactory>().get()), plan)
                     .get());
  const std::uint64_t points =
      Sweep(Scenario::kProcessListUpdate, [&](std::uint64_t k) { return PlanFault(plan, k); });
  Report("XML factory", Scenario::kProcessListUpdate, points);
  EXPECT_GT(points, 0u) << "the process list was read without the XML factory";
}

}  // namespace
}  // namespace vor::testing
