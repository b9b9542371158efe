#include "module/corvane.h"

#include <exception>

#include "module/version.h"
#include "runtime/host_access.h"
#include "runtime/result.h"

namespace vor {

using app_core::service_manager::IObjectState;
using app_core::service_manager::IStorageObjectState;
using app_core::service_manager::IStorageUpdateDelegate;
using zel::kTraceError;
using zel::kTraceInfo;

Corvane::Corvane(zel::IServiceLocator* locator)
    : allocator_(zel::GetInterface<zel::IAllocator>(locator)),
      trace_(zel::GetInterface<zel::ITracer>(locator), "vor: "),
      locator_(locator),
      osName_(allocator_.get()),
      osVersion_(allocator_.get()) {
  ZEL_TRACE(trace_, kTraceInfo) << "Loading " << kComponentVersion;
}

Corvane::~Corvane() {
  ZEL_TRACE(trace_, kTraceInfo) << "Unloading " << kComponentVersion;
  fileFactory_.reset();
}

std::uint32_t Corvane::AddRef() { return refs_.fetch_add(1) + 1; }

std::uint32_t Corvane::Release() {
  const std::uint32_t count = refs_.fetch_sub(1) - 1;
  if (count == 0) {
    Ref<zel::IAllocator> allocator = allocator_;  // outlives the object
    this->~Corvane();
    try {
      allocator->Free(this);
    } catch (...) {
      allocator.reset();
      std::terminate();
    }
  }
  return count;
}

zel::result_t Corvane::QueryInterface(std::uint32_t iid, void** out) {
  if (out == nullptr) return zel::kErrInvalidArgument;
  switch (iid) {
    case zel::IObject::kMainIid:
    case ICorvane2::kIid:
      *out = static_cast<ICorvane2*>(this);
      break;
    case IStorageObjectState::kIid:
      *out = static_cast<IStorageObjectState*>(this);
      break;
    case IObjectState::kIid:
      *out = static_cast<IObjectState*>(this);
      break;
    case IStorageUpdateDelegate::kIid:
      *out = static_cast<IStorageUpdateDelegate*>(this);
      break;
    default:
      *out = nullptr;
      return zel::kErrNoInterface;
  }
  AddRef();
  return zel::kOk;
}

zel::result_t Corvane::CheckCriticalProcessByPath(void* context, const char16_t* path,
                                                  bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr || path == nullptr || path[0] == 0) {
    return zel::kErrInvalidArgument;
  }
  ZEL_TRACE(trace_, kTraceInfo) << "Check critical process for path <" << path << ">...";
  if (!initialized_) return zel::kErrNotInitialized;
  ZEL_TRACE(trace_, kTraceError) << "Check critical process for path is deprecated!";
  return zel::kErrNotImplemented;
}

zel::result_t Corvane::CheckCriticalProcess(void* context, std::uint32_t pid, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr || pid == 0) return zel::kErrInvalidArgument;
  ZEL_TRACE(trace_, kTraceInfo) << "Checking critical process for pid = 0x" << zel::Hex{pid}
                                << "...";
  if (!initialized_) return zel::kErrNotInitialized;
  return zel::kErrNotImplemented;
}

zel::result_t Corvane::CheckCriticalFile(void* context, const char16_t* path, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr || path == nullptr || path[0] == 0) {
    return zel::kErrInvalidArgument;
  }
  ZEL_TRACE(trace_, kTraceInfo) << "Checking critical file for path <" << path << ">...";
  if (!initialized_) return zel::kErrNotInitialized;
  return zel::kErrNotImplemented;
}

zel::result_t Corvane::CheckRegistryKey(void* context, const char16_t* key, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr || key == nullptr || key[0] == 0) {
    return zel::kErrInvalidArgument;
  }
  if (!initialized_) return zel::kErrNotInitialized;
  ZEL_TRACE(trace_, kTraceError) << "Checking registry key for Linux isn't implemented!";
  return zel::kErrNotImplemented;
}

zel::result_t Corvane::CheckRegistryValue(void* context, const char16_t* key,
                                          const char16_t* /*valueName*/, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr || key == nullptr || key[0] == 0) {
    return zel::kErrInvalidArgument;
  }
  if (!initialized_) return zel::kErrNotInitialized;
  ZEL_TRACE(trace_, kTraceError) << "Checking registry value for Linux isn't implemented!";
  return zel::kErrNotImplemented;
}

zel::result_t Corvane::CheckCriticalProcessWithParent(void* context, std::uint32_t pid,
                                                      std::uint32_t parentPid, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr) return zel::kErrInvalidArgument;
  if (!initialized_) return zel::kErrNotInitialized;
  ZEL_TRACE(trace_, kTraceError) << "Checking critical process for " << "pid = 0x"
                                 << zel::Hex{pid} << ", " << "parentPid = 0x"
                                 << zel::Hex{parentPid} << " isn't implemented!";
  return zel::kErrNotImplemented;
}

zel::result_t Corvane::SetStorage(zel::IStorage* storage) {
  ZEL_TRACE(trace_, kTraceInfo) << "Set storage " << zel::Ptr{storage};
  if (storage == nullptr) return zel::kErrInvalidArgument;
  storage_ = Ref<zel::IStorage>(storage);
  return zel::kOk;
}

zel::result_t Corvane::Init() {
  ZEL_TRACE(trace_, kTraceInfo) << "Begin init...";
  ZEL_TRACE(trace_, kTraceInfo) << "Init status is ok";
  return zel::kOk;
}

zel::result_t Corvane::Verify() {
  ZEL_TRACE(trace_, kTraceInfo) << "Begin verify...";
  if (initialized_) {
    ZEL_TRACE(trace_, kTraceError) << "VOR is already initialized";
    return zel::kOk;
  }
  return zel::kErrNotImplemented;
}

zel::result_t Corvane::VerifyUpdate(zel::IStorage* storage) {
  ZEL_TRACE(trace_, kTraceInfo) << "VerifyUpdate for storage " << zel::Ptr{storage};
  if (!initialized_) {
    ZEL_TRACE(trace_, kTraceError) << "VOR isn't initialized";
  }
  return zel::kOk;
}

zel::result_t Corvane::HandleUpdate(zel::IStorage* storage) {
  ZEL_TRACE(trace_, kTraceInfo) << "HandleUpdate for storage " << zel::Ptr{storage};
  if (!initialized_) {
    ZEL_TRACE(trace_, kTraceError) << "VOR isn't initialized";
    return zel::kOk;
  }
  storage_ = Ref<zel::IStorage>(storage);
  return zel::kOk;
}

zel::result_t Corvane::RollbackUpdate() {
  ZEL_TRACE(trace_, kTraceInfo) << "RollbackUpdate";
  return zel::kOk;
}

}  // namespace vor
