#include "tests/testing_host/refusing_locator.h"

namespace vor::testing {

void RefusingLocator::Refuse(std::uint32_t iid, zel::result_t code) {
  std::lock_guard<std::mutex> lock(mutex_);
  refused_.insert(iid);
  code_ = code;
}

void RefusingLocator::Allow(std::uint32_t iid) {
  std::lock_guard<std::mutex> lock(mutex_);
  refused_.erase(iid);
}

void RefusingLocator::RefuseAfter(int n) {
  std::lock_guard<std::mutex> lock(mutex_);
  remaining_ = n;
}

zel::result_t RefusingLocator::GetInterface(std::uint32_t iid, std::uint32_t serviceId,
                                            void** out) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    ++asks_;
    asked_.insert(iid);
    if (refused_.count(iid) != 0 || remaining_ == 0) {
      if (out != nullptr) *out = nullptr;
      return code_;
    }
  }
  const zel::result_t code = ServiceLocator::GetInterface(iid, serviceId, out);
  std::lock_guard<std::mutex> lock(mutex_);
  if (remaining_ > 0 && static_cast<std::int32_t>(code) >= 0) --remaining_;
  return code;
}

std::uint64_t RefusingLocator::asks() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return asks_;
}

std::set<std::uint32_t> RefusingLocator::asked() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return asked_;
}

void RefusingLocator::ResetCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  asks_ = 0;
  asked_.clear();
}

}  // namespace vor::testing
