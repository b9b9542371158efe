#include "runtime/list_lifecycle.h"

#include "runtime/result.h"
#include "runtime/result_from_exception.h"

namespace vor {

zel::result_t ListLifecycle::Begin(zel::IAllocator* initAllocator, std::string_view osName,
                              std::string_view osVersion) {
  if (initAllocator == nullptr) return zel::kErrInvalidArgument;
  if (osName.empty() || osVersion.empty()) {
    ZEL_TRACE(trace_, zel::kTraceWarning) << "OS release is unknown. Some functions will be disabled.";
  }
  if (IsReadyOrThrow()) return zel::kErrAlreadyExists;
  ZEL_TRACE(trace_, zel::kTraceInfo) << "Begin " << words_ << " init...";
  const zel::result_t created = lock_.Create();
  if (zel::Failed(created)) {
    ZEL_TRACE(trace_, zel::kTraceError) << "Can't create rwlock with error 0x" << zel::Hex{created};
    return created;
  }
  initialized_.store(true, std::memory_order_release);
  WriteGuard guard(lock_);
  initAllocator_ = Ref<zel::IAllocator>(initAllocator);
  osName_.assign(osName);
  osVersion_.assign(osVersion);
  return zel::kOk;
}

void ListLifecycle::MarkReady() {
  {
    WriteGuard guard(lock_);
    ready_ = true;
  }
  ZEL_TRACE(trace_, zel::kTraceInfo) << words_ << " init status is ok";
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
    zel::ResultFromCurrentException(trace_, readySite_);
    return false;
  }
}

}  // namespace vor
