#include "module/criticality_service.h"

#include <exception>

#include "module/version.h"
#include "osinfo/os_release_info.h"
#include "osinfo/release_parser.h"
#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/text.h"

namespace vor {

using app_core::service_manager::IObjectState;
using app_core::service_manager::IStorageObjectState;
using app_core::service_manager::IStorageUpdateDelegate;
using zel::kTraceError;
using zel::kTraceInfo;
using zel::kTraceWarning;

namespace {

bool IsEmpty(const char16_t* text) { return text == nullptr || text[0] == 0; }

// " critical" or "n't critical", for the answer lines.
std::string_view Verdict(bool critical) { return critical ? " critical" : "n't critical"; }

}  // namespace

Corvane::Corvane(zel::IServiceLocator* locator)
    : allocator_(zel::GetInterface<zel::IAllocator>(locator)),
      trace_(zel::GetInterface<zel::ITracer>(locator), "vor: "),
      locator_(locator),
      osName_(allocator_.get()),
      osVersion_(allocator_.get()),
      fileList_(locator),
      processList_(locator) {
  ZEL_TRACE(trace_, kTraceInfo) << "Loading " << kComponentVersion;
}

Corvane::~Corvane() {
  ZEL_TRACE(trace_, kTraceInfo) << "Unloading " << kComponentVersion;
  fileFactory_.reset();  // then the members, in reverse order
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

// ---- Checks -----------------------------------------------------------------

zel::result_t Corvane::CheckCriticalFile(void* context, const char16_t* path, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr || IsEmpty(path)) return zel::kErrInvalidArgument;
  try {
    ZEL_TRACE(trace_, kTraceInfo) << "Checking critical file for path <" << path << ">...";
    if (!initialized_.load(std::memory_order_acquire)) return zel::kErrNotInitialized;
    bool answer = false;
    const zel::result_t code = IsCriticalFile(zel::WideView(path), answer);
    if (zel::Failed(code)) return code;
    ZEL_TRACE(trace_, kTraceInfo) << "Path <" << path << "> is" << Verdict(answer);
    *critical = answer;
    return zel::kOk;
  } catch (...) {
    *critical = false;
    return zel::ResultFromCurrentException(trace_, "Exception caught at line 331 => ");
  }
}

zel::result_t Corvane::IsCriticalFile(std::u16string_view path, bool& critical) {
  const zel::result_t code = fileList_.IsInListWide(path, critical);
  if (zel::Failed(code)) return code;
  if (!critical) critical = DetectTestSample(path);
  return zel::kOk;
}

zel::result_t Corvane::CheckCriticalProcess(void* context, std::uint32_t pid, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr || pid == 0) return zel::kErrInvalidArgument;
  try {
    ZEL_TRACE(trace_, kTraceInfo) << "Checking critical process for pid = 0x" << zel::Hex{pid}
                                  << "...";
    if (!initialized_.load(std::memory_order_acquire)) return zel::kErrNotInitialized;
    bool answer = false;
    const zel::result_t code = processList_.IsCriticalProcessByPid(pid, answer);
    if (zel::Failed(code)) return code;
    ZEL_TRACE(trace_, kTraceInfo) << "Process <" << pid << "> is" << Verdict(answer);
    *critical = answer;
    return zel::kOk;
  } catch (...) {
    *critical = false;
    return zel::ResultFromCurrentException(trace_, "Exception caught at line 280 => ");
  }
}

zel::result_t Corvane::CheckCriticalProcessByPath(void* context, const char16_t* path,
                                                  bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr || IsEmpty(path)) return zel::kErrInvalidArgument;
  ZEL_TRACE(trace_, kTraceInfo) << "Check critical process for path <" << path << ">...";
  if (!initialized_.load(std::memory_order_acquire)) return zel::kErrNotInitialized;
  ZEL_TRACE(trace_, kTraceError) << "Check critical process for path is deprecated!";
  return zel::kErrNotImplemented;
}

zel::result_t Corvane::CheckRegistryKey(void* context, const char16_t* key, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr || IsEmpty(key)) return zel::kErrInvalidArgument;
  if (!initialized_.load(std::memory_order_acquire)) return zel::kErrNotInitialized;
  ZEL_TRACE(trace_, kTraceError) << "Checking registry key for Linux isn't implemented!";
  return zel::kErrNotImplemented;
}

zel::result_t Corvane::CheckRegistryValue(void* context, const char16_t* key,
                                          const char16_t* /*valueName*/, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr || IsEmpty(key)) return zel::kErrInvalidArgument;
  if (!initialized_.load(std::memory_order_acquire)) return zel::kErrNotInitialized;
  ZEL_TRACE(trace_, kTraceError) << "Checking registry value for Linux isn't implemented!";
  return zel::kErrNotImplemented;
}

zel::result_t Corvane::CheckCriticalProcessWithParent(void* context, std::uint32_t pid,
                                                      std::uint32_t parentPid, bool* critical) {
  if (critical != nullptr) *critical = false;
  if (context == nullptr || critical == nullptr) return zel::kErrInvalidArgument;
  if (!initialized_.load(std::memory_order_acquire)) return zel::kErrNotInitialized;
  ZEL_TRACE(trace_, kTraceError) << "Checking critical process for " << "pid = 0x"
                                 << zel::Hex{pid} << ", " << "parentPid = 0x"
                                 << zel::Hex{parentPid} << " isn't implemented!";
  return zel::kErrNotImplemented;
}

// ---- Set-up and updates -------------------------------------------------------

zel::result_t Corvane::SetStorage(zel::IStorage* storage) {
  ZEL_TRACE(trace_, kTraceInfo) << "Set storage " << zel::Ptr{storage};
  if (storage == nullptr) return zel::kErrInvalidArgument;
  std::lock_guard<std::mutex> lock(setupMutex_);
  storage_ = Ref<zel::IStorage>(storage);
  return zel::kOk;
}

zel::result_t Corvane::Init() {
  ZEL_TRACE(trace_, kTraceInfo) << "Begin init...";
  ZEL_TRACE(trace_, kTraceInfo) << "Init status is ok";
  return zel::kOk;
}

zel::result_t Corvane::Verify() {
  try {
    std::lock_guard<std::mutex> lock(setupMutex_);
    return VerifySteps();
  } catch (...) {
    return zel::ResultFromCurrentException(trace_, "Exception caught at line 212 => ");
  }
}

zel::result_t Corvane::VerifySteps() {
  ZEL_TRACE(trace_, kTraceInfo) << "Begin verify...";
  if (initialized_.load(std::memory_order_acquire)) {
    ZEL_TRACE(trace_, kTraceError) << "VOR is already initialized";
    return zel::kOk;
  }
  listAllocator_ = allocator_;

  zel::result_t code =
      zel::TryGetInterface(locator_.get(), fileFactory_, zel::ILumoFileFactory::kServiceId);
  if (zel::Failed(code)) {
    ZEL_TRACE(trace_, kTraceError) << "Can't get lumo file factory with error 0x" << zel::Hex{code};
    return code;
  }

  code = GetOsVersion();
  if (zel::Failed(code)) {
    ZEL_TRACE(trace_, kTraceError) << "Can't get os version with error 0x" << zel::Hex{code};
  } else {
    ZEL_TRACE(trace_, kTraceInfo) << "OS version is <" << osName_ << " " << osVersion_ << ">";
  }
  const OsReleaseInfo release{zel::string(osName_.view(), allocator_.get()),
                              zel::string(osVersion_.view(), allocator_.get())};

  // A Verify that failed after initialising a list is repeated in full; the
  // list refuses a second Init of its own, and the one it already had stands.
  code = fileList_.Init(listAllocator_.get(), release);
  if (code == zel::kErrAlreadyExists && fileList_.IsReady()) code = zel::kOk;
  if (zel::Failed(code)) {
    ZEL_TRACE(trace_, kTraceError) << "Can't init vor list with error 0x" << zel::Hex{code};
    return code;
  }
  code = fileList_.Update(storage_.get());
  if (zel::Failed(code)) {
    ZEL_TRACE(trace_, kTraceError) << "Can't update vor list from storage with error 0x"
                                   << zel::Hex{code};
    return code;
  }

  code = processList_.Init(listAllocator_.get(), release);
  if (code == zel::kErrAlreadyExists && processList_.IsReady()) code = zel::kOk;
  if (zel::Failed(code)) {
    ZEL_TRACE(trace_, kTraceError) << "Can't init vor process list with error 0x"
                                   << zel::Hex{code};
    return code;
  }
  code = processList_.UpdateFromStorage(storage_.get());
  if (zel::Failed(code)) {
    ZEL_TRACE(trace_, kTraceWarning) << "Can't update vor process list from storage with error 0x"
                                     << zel::Hex{code};
  }

  initialized_.store(true, std::memory_order_release);
  ZEL_TRACE(trace_, kTraceInfo) << "Verify status is ok";
  return zel::kOk;
}

zel::result_t Corvane::GetOsVersion() {
  osName_.clear();
  osVersion_.clear();
  zel::string name(allocator_.get());
  zel::string version(allocator_.get());
  const zel::result_t code = FindReleaseInfo(locator_.get(), fileFactory_.get(), name, version);
  if (zel::Failed(code)) {
    ZEL_TRACE(trace_, kTraceError) << "Can't get OS release info with error 0x" << zel::Hex{code};
    return code;
  }
  osName_.assign(name.view());
  osVersion_.assign(version.view());
  ZEL_TRACE(trace_, kTraceInfo) << "Host OS name <" << name << ">, version <" << version << ">";
  return zel::kOk;
}

zel::result_t Corvane::VerifyUpdate(zel::IStorage* storage) {
  ZEL_TRACE(trace_, kTraceInfo) << "VerifyUpdate for storage " << zel::Ptr{storage};
  if (!initialized_.load(std::memory_order_acquire)) {
    ZEL_TRACE(trace_, kTraceError) << "VOR isn't initialized";
  }
  return zel::kOk;
}

zel::result_t Corvane::HandleUpdate(zel::IStorage* storage) {
  ZEL_TRACE(trace_, kTraceInfo) << "HandleUpdate for storage " << zel::Ptr{storage};
  std::lock_guard<std::mutex> lock(setupMutex_);
  if (!initialized_.load(std::memory_order_acquire)) {
    ZEL_TRACE(trace_, kTraceError) << "VOR isn't initialized";
    return zel::kOk;
  }
  storage_ = Ref<zel::IStorage>(storage);  // read by the next Verify
  return zel::kOk;
}

zel::result_t Corvane::RollbackUpdate() {
  ZEL_TRACE(trace_, kTraceInfo) << "RollbackUpdate";
  return zel::kOk;
}

}  // namespace vor
