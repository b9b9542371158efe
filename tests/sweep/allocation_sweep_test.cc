// Every allocation the service makes in each scenario fails once, in turn,
// with a working tracer and with one whose every record fails.
#include "tests/sweep/sweep_fixture.h"

namespace vor::testing {
namespace {

TEST_F(SweepTest, EachAllocationFailsInTurn) {
  for (Scenario scenario : kAllScenarios) {
    const std::uint64_t points =
        Sweep(scenario, [this](std::uint64_t k) { return AllocationFault(k); });
    Report("allocation", scenario, points);
    EXPECT_GT(points, 0u) << ScenarioName(scenario) << " allocated nothing from the host";
  }
}

TEST_F(SweepTest, EachAllocationFailsInTurnWhileTheTracerFails) {
  host_.tracer->set_failure(kInjectedFault);
  tracerWorks_ = false;
  // Verify alone is left out: the list update runs the same Verify and makes
  // the same allocations, and a sweep of Verify is the longest there is.
  for (Scenario scenario : {Scenario::kCreate, Scenario::kFileCheck, Scenario::kProcessCheck,
                            Scenario::kProcessListUpdate}) {
    const std::uint64_t points =
        Sweep(scenario, [this](std::uint64_t k) { return AllocationFault(k); });
    Report("allocation with a failing tracer", scenario, points);
    EXPECT_GT(points, 0u) << ScenarioName(scenario);
  }
  EXPECT_TRUE(host_.tracer->lines().empty()) << "a failed record was committed";
}

}  // namespace
}  // namespace vor::testing
