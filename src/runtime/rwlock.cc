#include "runtime/rwlock.h"

#include <cerrno>

#include "runtime/errno_result.h"
#include "runtime/exception.h"
#include "runtime/result.h"

namespace vor {
namespace {

// Returns true when `rc` leaves the lock held by this thread.
bool Acquired(int rc) {
  if (rc == 0) return true;
  if (rc == EBUSY || rc == EDEADLK || rc == ETIMEDOUT) return false;
  const zel::result_t code = zel::ErrnoToResult(rc);
  if (zel::Failed(code)) ZEL_THROW_RESULT(code, "Expression failed");
  return false;
}

}  // namespace

RwLock::~RwLock() {
  if (created_) pthread_rwlock_destroy(&lock_);
}

zel::result_t RwLock::Create() noexcept {
  if (created_) return zel::kOk;
  pthread_rwlockattr_t attr;
  int rc = pthread_rwlockattr_init(&attr);
  if (rc == 0) {
    rc = pthread_rwlockattr_setkind_np(&attr, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
    if (rc == 0) rc = pthread_rwlock_init(&lock_, &attr);
    pthread_rwlockattr_destroy(&attr);
  }
  if (rc == 0) created_ = true;
  return zel::ErrnoToResult(rc);
}

bool RwLock::LockShared() {
  if (!created_) ZEL_THROW_RESULT(zel::kErrNotInitialized, "Expression failed");
  return Acquired(pthread_rwlock_rdlock(&lock_));
}

bool RwLock::LockExclusive() {
  if (!created_) ZEL_THROW_RESULT(zel::kErrNotInitialized, "Expression failed");
  return Acquired(pthread_rwlock_wrlock(&lock_));
}

void RwLock::Unlock() noexcept { pthread_rwlock_unlock(&lock_); }

}  // namespace vor
