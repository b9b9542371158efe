// The life both host-fed lists share: created, then Init (the lock made and
// Init's arguments kept), then ready. Their content is read under the lock's
// read side and replaced under its write side, so a reader never sees half an
// update; the lock prefers writers, so a stream of lookups cannot starve one.
#ifndef VOR_RUNTIME_LIST_LIFECYCLE_H_
#define VOR_RUNTIME_LIST_LIFECYCLE_H_

#include <atomic>
#include <string_view>

#include "runtime/rwlock.h"
#include "runtime/string.h"
#include "runtime/trace.h"
#include "vor/host_services.h"
#include "vor/ref.h"

namespace vor {

class ListLifecycle {
 public:
  // `words` names the list in the Init lines ("vor list"); `readySite` is the
  // exception site IsReady traces a lock failure with.
  ListLifecycle(const zel::Tracer& trace, zel::IAllocator* allocator, std::string_view words,
                std::string_view readySite)
      : trace_(trace), words_(words), readySite_(readySite), osName_(allocator),
        osVersion_(allocator) {}
  ListLifecycle(const ListLifecycle&) = delete;
  ListLifecycle& operator=(const ListLifecycle&) = delete;

  // The first half of Init: checks the arguments, refuses a second Init of a
  // ready list with 0x80010105, creates the lock and keeps the arguments. The
  // owner completes the list's own facts, then calls MarkReady. May throw.
  zel::result_t Begin(zel::IAllocator* initAllocator, std::string_view osName, std::string_view osVersion);
  void MarkReady();

  // Initialised and ready. IsReady reads a lock failure as "not ready" and
  // traces it; the checks use IsReadyOrThrow so that their own catch reports it.
  bool IsReady() noexcept;
  bool IsReadyOrThrow();
  bool initialized() const { return initialized_.load(std::memory_order_acquire); }

  RwLock& lock() { return lock_; }

  // Holds the read side for a scope, and tells whether the list is ready; one
  // acquisition serves both, which keeps lookups cheap.
  class ReadScope {
   public:
    explicit ReadScope(ListLifecycle& life)
        : guard_(life.initialized() ? &life.lock_ : nullptr),
          ready_(guard_ && life.ready_) {}
    explicit operator bool() const { return ready_; }

   private:
    ReadGuard guard_;
    bool ready_;
  };

  // The allocator Init was given, for copies the lookups make.
  zel::IAllocator* initAllocator() const { return initAllocator_.get(); }

 private:
  const zel::Tracer& trace_;
  std::string_view words_;
  std::string_view readySite_;
  std::atomic<bool> initialized_{false};
  RwLock lock_;
  bool ready_ = false;  // under lock_
  Ref<zel::IAllocator> initAllocator_;
  // Kept as Init's record of the machine; nothing in the lists decides on them.
  zel::string osName_;
  zel::string osVersion_;
};

}  // namespace vor

#endif  // VOR_RUNTIME_LIST_LIFECYCLE_H_
