// The criticality service's interfaces. One service object answers
// QueryInterface for all four ids on each of its interfaces.
#ifndef VOR_CORVANE_H_
#define VOR_CORVANE_H_

#include <cstdint>

#include "vor/io.h"
#include "vor/object.h"

namespace app_core::service_manager {

class IStorageObjectState : public zel::IObject {
 public:
  static constexpr std::uint32_t kIid = 0x9d8a55fb;

  virtual zel::result_t SetStorage(zel::IStorage* storage) = 0;  // 3

 protected:
  ~IStorageObjectState() = default;
};

class IObjectState : public zel::IObject {
 public:
  static constexpr std::uint32_t kIid = 0xa04e6db0;

  virtual zel::result_t Verify() = 0;  // 3
  virtual zel::result_t Init() = 0;    // 4

 protected:
  ~IObjectState() = default;
};

class IStorageUpdateDelegate : public zel::IObject {
 public:
  static constexpr std::uint32_t kIid = 0x08d05dd5;

  virtual zel::result_t VerifyUpdate(zel::IStorage* storage) = 0;  // 3
  virtual zel::result_t HandleUpdate(zel::IStorage* storage) = 0;  // 4
  virtual zel::result_t RollbackUpdate() = 0;                      // 5

 protected:
  ~IStorageUpdateDelegate() = default;
};

}  // namespace app_core::service_manager

namespace vor {

// Class id of the criticality service, for zelGetObjectFactory.
inline constexpr std::uint32_t kCorvaneClassId = 0xcb859602;

class ICorvane2 : public zel::IObject {
 public:
  static constexpr std::uint32_t kIid = 0xb431a0a7;

  // `context` is the caller's opaque non-null object. `critical` is cleared
  // before any check, so a failed call never reads as critical.
  virtual zel::result_t CheckCriticalProcessByPath(void* context, const char16_t* path,
                                                   bool* critical) = 0;  // 3, deprecated
  virtual zel::result_t CheckCriticalProcess(void* context, std::uint32_t pid,
                                             bool* critical) = 0;  // 4
  virtual zel::result_t CheckCriticalFile(void* context, const char16_t* path,
                                          bool* critical) = 0;  // 5
  virtual zel::result_t CheckRegistryKey(void* context, const char16_t* key,
                                         bool* critical) = 0;  // 6
  virtual zel::result_t CheckRegistryValue(void* context, const char16_t* key,
                                           const char16_t* valueName, bool* critical) = 0;  // 7
  virtual zel::result_t CheckCriticalProcessWithParent(void* context, std::uint32_t pid,
                                                       std::uint32_t parentPid,
                                                       bool* critical) = 0;  // 8

 protected:
  ~ICorvane2() = default;
};

}  // namespace vor

#endif  // VOR_CORVANE_H_
