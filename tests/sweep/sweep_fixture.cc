#include "tests/sweep/sweep_fixture.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/host_object.h"

namespace vor::testing {

namespace {

bool Legal(zel::result_t code) { return code == zel::kOk || zel::Failed(code); }

constexpr char kListUpdateWarning[] = "vor: Can't update vor process list from storage";

}  // namespace

const char* ScenarioName(Scenario scenario) {
  static const char* const kNames[] = {"CreateInstance", "SetStorage+Verify", "file check",
                                       "process check", "process list update"};
  return kNames[static_cast<int>(scenario)];
}

void SweepTest::SetUp() {
  ServiceTest::SetUp();
  host_.Register(zel::IFeatureFlags::kIid, host::MakeHostObject<host::FeatureFlags>().get());
  host_.Register(zel::IEnvironment::kIid, host::MakeHostObject<host::Environment>().get());
  child_ = std::make_unique<Child>();
  const std::string listed = dir_ + "/listed";
  ASSERT_EQ(mkdir(listed.c_str(), 0700), 0);
  WriteFile("listed/vor_proc.xms",
            std::string("<vor_process_list><vor_process_entry flags=\"1\" path=\"") + child_->image() +
                "\"/></vor_process_list>");
  listedStorage_ = host::MakeHostObject<host::DirectoryStorage>(listed);
  // Long enough that the file list converts it on the heap.
  longPath_ = u"/usr/lib/" + std::u16string(300, u'x') + u"/libnothing.so.1";
}

void SweepTest::TearDown() {
  ReleaseService();
  child_.reset();
  ServiceTest::TearDown();
}

zel::result_t SweepTest::TryCreate() {
  Ref<zel::IObjectFactory> factory;
  zel::result_t code = module_.GetObjectFactory(host_.locator.get(), kCorvaneClassId, factory.put());
  if (code != 0) return code;
  code = factory->CreateInstance(host_.locator.get(), 0, service_.put_void());
  if (code != 0) return code;
  using namespace app_core::service_manager;
  EXPECT_EQ(service_->QueryInterface(IObjectState::kIid, state_.put_void()), 0u);
  EXPECT_EQ(service_->QueryInterface(IStorageObjectState::kIid, storageState_.put_void()), 0u);
  EXPECT_EQ(service_->QueryInterface(IStorageUpdateDelegate::kIid, updates_.put_void()), 0u);
  return 0;
}

void SweepTest::ReleaseService() {
  updates_.reset();
  storageState_.reset();
  state_.reset();
  service_.reset();
  faultyStorage_.reset();
}

zel::IStorage* SweepTest::StorageFor(Scenario scenario) {
  zel::IStorage* plain = scenario == Scenario::kProcessListUpdate
                             ? static_cast<zel::IStorage*>(listedStorage_.get())
                             : static_cast<zel::IStorage*>(storage_.get());
  if (!storagePlan_) return plain;
  faultyStorage_ = Ref<zel::IStorage>::Adopt(
      host::MakeHostObject<FaultyStorage>(Ref<zel::IStorage>(plain), storagePlan_).detach());
  return faultyStorage_.get();
}

void SweepTest::ExpectAnswer(zel::result_t code, bool critical, bool expected,
                             const std::string& what) {
  EXPECT_TRUE(Legal(code)) << what << ": 0x" << std::hex << code;
  if (code != 0) {
    EXPECT_FALSE(critical) << what << ": a failed check answered critical";
  } else {
    EXPECT_EQ(critical, expected) << what << ": a successful check gave the wrong answer";
  }
}

void SweepTest::CheckFiles(const char* when) {
  bool critical = true;
  zel::result_t code = CheckFile(longPath_, critical);
  ExpectAnswer(code, critical, false, std::string(when) + " long path");
  code = CheckFile(u"/usr/bin/ls", critical);
  ExpectAnswer(code, critical, true, std::string(when) + " /usr/bin/ls");
}

void SweepTest::CheckProcesses(const char* when, std::optional<bool> childListed) {
  bool critical = true;
  zel::result_t code = CheckPid(static_cast<std::uint32_t>(getpid()), critical);
  ExpectAnswer(code, critical, true, std::string(when) + " own process");
  code = CheckPid(child_->pid(), critical);
  if (childListed) {
    ExpectAnswer(code, critical, *childListed, std::string(when) + " child");
  } else {
    EXPECT_TRUE(Legal(code)) << when << " child: 0x" << std::hex << code;
    if (code != 0) {
      EXPECT_FALSE(critical) << when << " child: a failed check answered critical";
    }
  }
}

bool SweepTest::Run(Scenario scenario, const Fault& fault) {
  host_.tracer->Clear();
  const std::int64_t blocks = host_.allocator->live_blocks();
  zel::IStorage* storage = StorageFor(scenario);
  if (storagePlan_) storagePlan_->FailAt(0);
  if (scenario != Scenario::kCreate) {
    EXPECT_EQ(TryCreate(), 0u);
    if (!service_) return false;
  }
  const bool started = scenario == Scenario::kFileCheck || scenario == Scenario::kProcessCheck;
  if (started) {
    EXPECT_EQ(SetStorage(storage), 0u);
    EXPECT_EQ(Verify(), 0u);
  }

  fault.arm();
  zel::result_t code = 0;
  switch (scenario) {
    case Scenario::kCreate:
      code = TryCreate();
      break;
    case Scenario::kVerify:
    case Scenario::kProcessListUpdate:
      code = SetStorage(storage);
      if (code == 0) code = Verify();
      break;
    case Scenario::kFileCheck:
      CheckFiles("under the fault:");
      break;
    case Scenario::kProcessCheck:
      CheckProcesses("under the fault:", false);
      break;
  }
  const bool hit = fault.hit();
  fault.disarm();
  if (storagePlan_) storagePlan_->FailAt(0);
  EXPECT_TRUE(Legal(code)) << ScenarioName(scenario) << ": 0x" << std::hex << code;

  // Once the fault is gone the service must work, whatever it went through.
  switch (scenario) {
    case Scenario::kCreate:
      if (code != 0) {
        EXPECT_EQ(TryCreate(), 0u) << "no service after the fault";
      }
      EXPECT_TRUE(service_ && state_ && storageState_ && updates_);
      break;
    case Scenario::kVerify:
      if (code != 0) {
        EXPECT_EQ(SetStorage(storage), 0u);
        EXPECT_EQ(Verify(), 0u) << "a failed Verify must be repeatable";
      }
      CheckFiles("after the fault:");
      break;
    case Scenario::kProcessListUpdate:
      if (code != 0) {
        EXPECT_EQ(SetStorage(storage), 0u);
        EXPECT_EQ(Verify(), 0u) << "a failed Verify must be repeatable";
        CheckProcesses("after a failed Verify:", true);
      } else if (tracerWorks_) {
        // A refused update keeps the empty list in force. One that went
        // through may lack entries the walk could not read: it skips them.
        const bool refused = host_.tracer->Contains(kListUpdateWarning);
        CheckProcesses("after the update:",
                       refused ? std::optional<bool>(false) : std::optional<bool>());
      }
      break;
    case Scenario::kFileCheck:
      CheckFiles("after the fault:");
      break;
    case Scenario::kProcessCheck:
      CheckProcesses("after the fault:", false);
      break;
  }

  ReleaseService();
  EXPECT_EQ(host_.allocator->live_blocks(), blocks) << ScenarioName(scenario) << " leaked";
  EXPECT_EQ(module_.CanUnloadModule(), 0u) << ScenarioName(scenario) << " left an object alive";
  return hit;
}

std::uint64_t SweepTest::Sweep(Scenario scenario,
                               const std::function<Fault(std::uint64_t)>& make) {
  std::uint64_t points = 0;
  for (std::uint64_t k = 1;; ++k) {
    const bool hit = Run(scenario, make(k));
    if (HasFailure()) {
      ADD_FAILURE() << ScenarioName(scenario) << " failed with the fault at step " << k;
      break;
    }
    if (!hit) break;
    ++points;
  }
  return points;
}

void SweepTest::Report(const std::string& what, Scenario scenario, std::uint64_t points) {
  std::printf("[  sweep   ] %s, %s: %llu failure points\n", what.c_str(), ScenarioName(scenario),
              static_cast<unsigned long long>(points));
}

Fault SweepTest::AllocationFault(std::uint64_t k) {
  CountingAllocator* allocator = host_.allocator.get();
  return Fault{[allocator, k] { allocator->FailAt(k); },
               [allocator, k] { return allocator->allocations() >= k; },
               [allocator] { allocator->FailNever(); }};
}

}  // namespace vor::testing
