// The module's exports and class factory, driven as a host drives them.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/module/service_fixture.h"

namespace vor::testing {
namespace {

using zel::kErrNoInterface, zel::kErrNotImplemented;

// The service fixture's host and loaded module; these tests make their own objects.
class FactoryTest : public ServiceTest {
 protected:
  Ref<zel::IObjectFactory> GetFactory() {
    Ref<zel::IObjectFactory> factory;
    EXPECT_EQ(module_.GetObjectFactory(host_.locator.get(), kCorvaneClassId, factory.put()), 0u);
    return factory;
  }
};

TEST_F(FactoryTest, VersionRecordIsFortyBytesOfVersion1740) {
  static_assert(sizeof(ModuleVersionRecord) == 40);
  // A 32-bit record version 1, then two 1.7.4.0 versions as 16-bit fields, then zeros.
  const unsigned char expected[40] = {1, 0, 0, 0, 1, 0, 7, 0, 4, 0, 0, 0, 1, 0, 7, 0, 4};
  EXPECT_EQ(std::memcmp(module_.version, expected, sizeof expected), 0);
}

TEST_F(FactoryTest, UnknownClassIdsAreNotImplemented) {
  for (std::uint32_t class_id : {0u, 0x12345678u, kCorvaneClassId + 1, 0xffffffffu}) {
    auto* sentinel = reinterpret_cast<zel::IObjectFactory*>(0x1);
    zel::IObjectFactory* out = sentinel;
    EXPECT_EQ(module_.GetObjectFactory(host_.locator.get(), class_id, &out), kErrNotImplemented);
    EXPECT_EQ(out, nullptr);
  }
  EXPECT_EQ(module_.CanUnloadModule(), 0u);
}

// The factory counts as a live object until released; it answers for its own
// interfaces only, and refuses to make an object of an unknown interface.
TEST_F(FactoryTest, FactoryLivesUntilReleasedAndRefusesUnknownInterfaces) {
  Ref<zel::IObjectFactory> factory = GetFactory();
  ASSERT_TRUE(factory);
  EXPECT_EQ(module_.CanUnloadModule(), 1u);
  EXPECT_EQ(factory->AddRef(), 2u);
  EXPECT_EQ(factory->Release(), 1u);
  for (std::uint32_t iid : {0u, zel::IObjectFactory::kIid, ICorvane2::kIid}) {
    void* out = nullptr;
    EXPECT_EQ(factory->QueryInterface(iid, &out), iid == ICorvane2::kIid ? kErrNoInterface : 0u);
    EXPECT_EQ(out, iid == ICorvane2::kIid ? nullptr : factory.get());
    if (out != nullptr) static_cast<zel::IObject*>(out)->Release();
  }
  void* out = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(factory->CreateInstance(host_.locator.get(), 0x12345678, &out), kErrNoInterface);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(host_.allocator->live_blocks(), 0);
  // Created and destroyed at once: both lifetime lines were written.
  EXPECT_TRUE(host_.tracer->Contains("vor: Loading "));
  EXPECT_TRUE(host_.tracer->Contains("vor: Unloading "));
  EXPECT_EQ(factory->CreateInstance(nullptr, 0, &out), zel::kErrInvalidArgument) << "no locator";
  factory.reset();
  EXPECT_EQ(module_.CanUnloadModule(), 0u);
}

TEST_F(FactoryTest, CreateInstanceAnswersForEveryServiceInterface) {
  Ref<zel::IObjectFactory> factory = GetFactory();
  const std::int64_t blocks_before = host_.allocator->live_blocks();

  Ref<ICorvane2> main;
  ASSERT_EQ(factory->CreateInstance(host_.locator.get(), 0, main.put_void()), 0u);
  ASSERT_TRUE(main);
  EXPECT_EQ(host_.allocator->live_blocks(), blocks_before + 1) << "the service lives in host memory";

  // Every interface of the one object answers for all four ids.
  const std::uint32_t ids[] = {0, ICorvane2::kIid, app_core::service_manager::IStorageObjectState::kIid,
                               app_core::service_manager::IObjectState::kIid,
                               app_core::service_manager::IStorageUpdateDelegate::kIid};
  for (std::uint32_t from : ids) {
    Ref<zel::IObject> start;
    ASSERT_EQ(main->QueryInterface(from, start.put_void()), 0u);
    for (std::uint32_t to : ids) {
      Ref<zel::IObject> other;
      ASSERT_EQ(start->QueryInterface(to, other.put_void()), 0u) << std::hex << from << "->" << to;
      Ref<ICorvane2> back;
      ASSERT_EQ(other->QueryInterface(0, back.put_void()), 0u);
      EXPECT_EQ(back.get(), main.get());
    }
    void* none = start.get();
    EXPECT_EQ(start->QueryInterface(0x12345678, &none), kErrNoInterface);
    EXPECT_EQ(none, nullptr);
  }

  main.reset();
  factory.reset();
  EXPECT_EQ(host_.allocator->live_blocks(), blocks_before);
  EXPECT_EQ(module_.CanUnloadModule(), 0u);
}

TEST(ModuleCrashHookTest, ReservedClassIdEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        LoadedModule module;
        TestingHost host;
        zel::IObjectFactory* out = nullptr;
        module.GetObjectFactory(host.locator.get(), 0xbad1bad1, &out);
      },
      "");
}

}  // namespace
}  // namespace vor::testing
