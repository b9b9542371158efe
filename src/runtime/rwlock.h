// The lists' reader/writer lock: writer-preferring and non-recursive, so a
// pending update is not starved by a stream of lookups.
#ifndef VOR_RUNTIME_RWLOCK_H_
#define VOR_RUNTIME_RWLOCK_H_

#include <pthread.h>

#include "vor/object.h"

namespace zel {

class RwLock {
 public:
  RwLock() = default;
  RwLock(const RwLock&) = delete;
  RwLock& operator=(const RwLock&) = delete;
  ~RwLock();

  // Creates the lock; returns ErrnoToResult of pthread's error number.
  result_t Create() noexcept;
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

// Hold `lock` shared or exclusive for a scope.
class ReadGuard {
 public:
  explicit ReadGuard(RwLock& lock) : lock_(lock), held_(lock.LockShared()) {}
  ~ReadGuard() {
    if (held_) lock_.Unlock();
  }
  ReadGuard(const ReadGuard&) = delete;
  ReadGuard& operator=(const ReadGuard&) = delete;

 private:
  RwLock& lock_;
  bool held_;
};

class WriteGuard {
 public:
  explicit WriteGuard(RwLock& lock) : lock_(lock), held_(lock.LockExclusive()) {}
  ~WriteGuard() {
    if (held_) lock_.Unlock();
  }
  WriteGuard(const WriteGuard&) = delete;
  WriteGuard& operator=(const WriteGuard&) = delete;

 private:
  RwLock& lock_;
  bool held_;
};

}  // namespace zel

#endif  // VOR_RUNTIME_RWLOCK_H_
