// The service object's lifetime and its slots, reached by slot number.
#include <gtest/gtest.h>

#include "tests/module/module_loader.h"
#include "tests/testing_host/testing_host.h"
#include "vor/corvane.h"

namespace vor::testing {
namespace {

constexpr char kLoading[] = "vor: Loading compver: 1.7.4.0 x86-64 (Oct 30 2025 08:50:49)";
constexpr char kUnloading[] = "vor: Unloading compver: 1.7.4.0 x86-64 (Oct 30 2025 08:50:49)";

// Calls virtual slot `slot` of `object` as a host built from the table alone would.
template <class Result, class... Args>
Result CallSlot(void* object, int slot, Args... args) {
  using Fn = Result (*)(void*, Args...);
  void** vtable = *static_cast<void***>(object);
  return reinterpret_cast<Fn>(vtable[slot])(object, args...);
}

class ServiceLifecycleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Ref<zel::IObjectFactory> factory;
    ASSERT_EQ(module_.GetObjectFactory(host_.locator.get(), kCorvaneClassId, factory.put()), 0u);
    ASSERT_EQ(factory->CreateInstance(host_.locator.get(), 0, service_.put_void()), 0u);
  }

  TestingHost host_;
  LoadedModule module_;
  Ref<ICorvane2> service_;
};

TEST_F(ServiceLifecycleTest, LoadsAndUnloadsWithTheComponentVersion) {
  EXPECT_EQ(host_.tracer->lines(700), std::vector<std::string>{kLoading});
  EXPECT_EQ(module_.CanUnloadModule(), 1u);
  EXPECT_EQ(service_->AddRef(), 2u);
  EXPECT_EQ(service_->Release(), 1u);
  service_.reset();
  EXPECT_EQ(host_.tracer->lines(700), (std::vector<std::string>{kLoading, kUnloading}));
  EXPECT_EQ(host_.allocator->live_blocks(), 0);
  EXPECT_EQ(module_.CanUnloadModule(), 0u);
}

TEST_F(ServiceLifecycleTest, SlotsAnswerInTheirDocumentedOrder) {
  void* self = service_.get();
  int context = 0;
  bool critical = true;
  // ICorvane2: 3 by path, 4 by pid, 5 file, 6 registry key, 7 registry value, 8 with parent.
  EXPECT_EQ((CallSlot<zel::result_t>(self, 3, &context, u"", &critical)), zel::kErrInvalidArgument);
  EXPECT_FALSE(critical);
  critical = true;
  EXPECT_EQ((CallSlot<zel::result_t>(self, 4, &context, 0u, &critical)), zel::kErrInvalidArgument);
  EXPECT_FALSE(critical);
  EXPECT_EQ((CallSlot<zel::result_t>(self, 4, &context, 1u, &critical)), zel::kErrNotInitialized);
  EXPECT_EQ((CallSlot<zel::result_t>(self, 5, static_cast<void*>(nullptr), u"/bin/ls", &critical)),
            zel::kErrInvalidArgument);
  EXPECT_EQ((CallSlot<zel::result_t>(self, 5, &context, u"/bin/ls", &critical)), zel::kErrNotInitialized);
  EXPECT_EQ((CallSlot<zel::result_t>(self, 6, &context, u"HKLM", &critical)), zel::kErrNotInitialized);
  EXPECT_EQ((CallSlot<zel::result_t>(self, 7, &context, u"", u"v", &critical)), zel::kErrInvalidArgument);
  // Pid 0 is accepted with a parent; the state check answers first.
  EXPECT_EQ((CallSlot<zel::result_t>(self, 8, &context, 0u, 0u, &critical)), zel::kErrNotInitialized);

  Ref<app_core::service_manager::IObjectState> state;
  ASSERT_EQ(service_->QueryInterface(app_core::service_manager::IObjectState::kIid,
                                     state.put_void()),
            0u);
  host_.tracer->Clear();
  EXPECT_EQ((CallSlot<zel::result_t>(state.get(), 4)), 0u);  // Init
  EXPECT_EQ(host_.tracer->lines(), (std::vector<std::string>{"vor: Begin init...",
                                                             "vor: Init status is ok"}));

  Ref<app_core::service_manager::IStorageObjectState> storage_state;
  ASSERT_EQ(service_->QueryInterface(app_core::service_manager::IStorageObjectState::kIid,
                                     storage_state.put_void()),
            0u);
  host_.tracer->Clear();
  EXPECT_EQ((CallSlot<zel::result_t>(storage_state.get(), 3, static_cast<zel::IStorage*>(nullptr))),
            zel::kErrInvalidArgument);
  EXPECT_EQ(host_.tracer->lines(), std::vector<std::string>{"vor: Set storage 0x0"});

  Ref<app_core::service_manager::IStorageUpdateDelegate> updates;
  ASSERT_EQ(service_->QueryInterface(app_core::service_manager::IStorageUpdateDelegate::kIid,
                                     updates.put_void()),
            0u);
  host_.tracer->Clear();
  EXPECT_EQ((CallSlot<zel::result_t>(updates.get(), 5)), 0u);  // RollbackUpdate
  EXPECT_EQ(host_.tracer->lines(), std::vector<std::string>{"vor: RollbackUpdate"});
}

}  // namespace
}  // namespace vor::testing
