// The allocation and host failure sweeps' fixture: the service through the
// loaded module, five scenarios, and one run of a scenario with a fault armed
// around its step. Every run checks that the step ends in 0 or a failure code,
// that a failed check answers "not critical", that a successful one gives the
// healthy answer, that the service recovers once the fault is gone, and that
// releasing it gives back every block and leaves the module unloadable.
#ifndef VOR_TESTS_SWEEP_SWEEP_FIXTURE_H_
#define VOR_TESTS_SWEEP_SWEEP_FIXTURE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tests/module/service_fixture.h"
#include "tests/testing_host/child.h"
#include "tests/testing_host/faults.h"

namespace vor::testing {

enum class Scenario { kCreate, kVerify, kFileCheck, kProcessCheck, kProcessListUpdate };

inline constexpr Scenario kAllScenarios[] = {Scenario::kCreate, Scenario::kVerify,
                                             Scenario::kFileCheck, Scenario::kProcessCheck,
                                             Scenario::kProcessListUpdate};

const char* ScenarioName(Scenario scenario);

// A fault: armed just before the scenario's step, asked whether it struck,
// then disarmed before the checks that follow.
struct Fault {
  std::function<void()> arm;
  std::function<bool()> hit;
  std::function<void()> disarm;
};

class SweepTest : public ServiceTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Runs `scenario` once with `fault`; true when the fault struck.
  bool Run(Scenario scenario, const Fault& fault);
  // Runs `scenario` with make(1), make(2), ... until a run is not struck;
  // returns the number of runs that were.
  std::uint64_t Sweep(Scenario scenario, const std::function<Fault(std::uint64_t)>& make);
  // Prints and records the failure points one sweep exercised.
  void Report(const std::string& what, Scenario scenario, std::uint64_t points);

  // The allocator failing its k-th allocation.
  Fault AllocationFault(std::uint64_t k);

  // The service's storage calls pass through FaultyStorage with this plan when set.
  std::shared_ptr<FaultPlan> storagePlan_;
  // Lines about the process list are only checked while the tracer works.
  bool tracerWorks_ = true;

 private:
  zel::result_t TryCreate();
  void ReleaseService();
  zel::IStorage* StorageFor(Scenario scenario);
  void ExpectAnswer(zel::result_t code, bool critical, bool expected, const std::string& what);
  void CheckFiles(const char* when);
  // No `childListed`: either answer is right, but a failure never reads critical.
  void CheckProcesses(const char* when, std::optional<bool> childListed);

  std::unique_ptr<Child> child_;
  std::u16string longPath_;
  Ref<host::DirectoryStorage> listedStorage_;  // holds a list naming the child's image
  Ref<zel::IStorage> faultyStorage_;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_SWEEP_SWEEP_FIXTURE_H_
