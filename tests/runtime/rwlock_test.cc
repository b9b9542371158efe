#include "runtime/rwlock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "runtime/exception.h"
#include "runtime/result.h"

namespace vor {
namespace {

TEST(RwLockTest, UsableOnlyOnceCreated) {
  RwLock lock;
  for (bool exclusive : {false, true}) {
    try {
      exclusive ? lock.LockExclusive() : lock.LockShared();
      ADD_FAILURE() << "locked before Create";
    } catch (const zel::ResultCodeException& e) {
      EXPECT_EQ(e.code(), zel::kErrNotInitialized);
    }
  }
  EXPECT_EQ(lock.Create(), zel::kOk);
  EXPECT_EQ(lock.Create(), zel::kOk) << "a second Create changes nothing";
  EXPECT_TRUE(lock.created());
}

// Locking again on the thread that holds the lock is refused (EDEADLK), not thrown.
TEST(RwLockTest, RelockOnTheHoldingThreadIsRefused) {
  RwLock lock;
  ASSERT_EQ(lock.Create(), zel::kOk);
  ASSERT_TRUE(lock.LockExclusive());
  EXPECT_FALSE(lock.LockExclusive());
  EXPECT_FALSE(lock.LockShared());
  lock.Unlock();
  EXPECT_TRUE(lock.LockShared());
  lock.Unlock();
}

// Writers are preferred: a reader arriving while a writer waits queues behind
// it, so a stream of lookups can never starve an update.
TEST(RwLockTest, WaitingWriterHoldsOffNewReaders) {
  RwLock lock;
  ASSERT_EQ(lock.Create(), zel::kOk);
  ASSERT_TRUE(lock.LockShared());
  std::atomic<int> order{0};
  int writer_at = 0, reader_at = 0;
  std::thread writer([&] { lock.LockExclusive(), writer_at = ++order, lock.Unlock(); });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the writer waits by now
  std::thread reader([&] { lock.LockShared(), reader_at = ++order, lock.Unlock(); });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(order.load(), 0) << "the reader went past the waiting writer";
  lock.Unlock();
  writer.join();
  reader.join();
  EXPECT_EQ(writer_at, 1);
  EXPECT_EQ(reader_at, 2);
}

}  // namespace
}  // namespace vor
