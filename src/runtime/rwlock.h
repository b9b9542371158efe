// The lists' reader/writer lock: writer-preferring and non-recursive, so a
// pending update is not starved by a stream of lookups.
#ifndef VOR_RUNTIME_RWLOCK_H_
#define VOR_RUNTIME_RWLOCK_H_

#include <pthread.h>

#include "vor/object.h"

namespace vor {

class RwLock {
 public:
  RwLock() = default;
  RwLock(const RwLock&) = delete;
  RwLock& operator=(const RwLock&) = delete;
  ~RwLock();

  // Creates the lock; returns ErrnoToResult of pthread's error number.
  zel::result_t Create() noexcept;
  bool created() const { return created_; }

  // Acquisition: 0, EBUSY, EDEADLK and ETIMEDOUT count as acquired; any other
  // error throws ResultCodeException("Expression failed"). Returns whether the
  // lock is really held, i.e. whether it must be unlocked.
  bool LockShared();
  bool LockExclusive();
  void Unlock() noexcept;

 private:
  pthread_rwlock_t lock_{};
  bool created_ = false;
};

// Hold `lock` shared or exclusive for a scope; a null lock holds nothing.
template <bool kExclusive>
class LockGuard {
 public:
  explicit LockGuard(RwLock& lock) : LockGuard(&lock) {}
  explicit LockGuard(RwLock* lock)
      : lock_(lock),
        held_(lock != nullptr && (kExclusive ? lock->LockExclusive() : lock->LockShared())) {}
  ~LockGuard() {
    if (held_) lock_->Unlock();
  }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;
  explicit operator bool() const { return lock_ != nullptr; }

 private:
  RwLock* lock_;
  bool held_;
};
using ReadGuard = LockGuard<false>;
using WriteGuard = LockGuard<true>;

}  // namespace vor

#endif  // VOR_RUNTIME_RWLOCK_H_
