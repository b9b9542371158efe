#include "runtime/list_lifecycle.h"

#include "runtime/result.h"
#include "runtime/result_from_exception.h"

namespace zel {

result_t ListLifecycle::Begin(IAllocator* initAllocator, std::string_view osName,
                              std::string_view osVersion) {
  if (initAllocator == nullptr) return kErrInvalidArgument;
  if (osName.empty() || osVersion.empty()) {
    ZEL_TRACE(trace_, kTraceWarning) << "OS release is unknown. Some functions will be disabled.";
  }
  if (IsReadyOrThrow()) return kErrAlreadyExists;
  ZEL_TRACE(trace_, kTraceInfo) << "Begin " << words_ << " init...";
  const result_t created = lock_.Create();
  if (Failed(created)) {
    ZEL_TRACE(trace_, kTraceError) << "Can't create rwlock with error 0x" << Hex{created};
    return created;
  }
  initialized_.store(true, std::memory_order_release);
  WriteGuard guard(lock_);
  initAllocator_ = vor::Ref<IAllocator>(initAllocator);
  osName_.assign(osName);
  osVersion_.assign(osVersion);
  return kOk;
}

void ListLifecycle::MarkReady() {
  {
    WriteGuard guard(lock_);
    ready_ = true;
  }
  ZEL_TRACE(trace_, kTraceInfo) << words_ << " init status is ok";
}

bool ListLifecycle::IsReadyOrThrow() {
  if (!initialized()) return false;
  ReadGuard guard(lock_);
  return ready_;
}

bool ListLifecycle::IsReady() noexcept {
  try {
    return IsReadyOrThrow();
  } catch (...) {
    ResultFromCurrentException(trace_, readySite_);
    return false;
  }
}

}  // namespace zel
