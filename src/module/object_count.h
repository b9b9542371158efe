// The module-wide count of live objects (factories and services), which
// zelCanUnloadModule reads.
#ifndef VOR_MODULE_OBJECT_COUNT_H_
#define VOR_MODULE_OBJECT_COUNT_H_

#include <atomic>
#include <cstdint>

namespace vor {

extern std::atomic<std::int32_t> ModuleObjectCount;

// Counts its owner as live from construction to destruction; as a first
// member it also restores the count when the owner's constructor throws.
class ObjectModuleAutoLock {
 public:
  ObjectModuleAutoLock() { ModuleObjectCount.fetch_add(1); }
  ~ObjectModuleAutoLock() { ModuleObjectCount.fetch_sub(1); }
  ObjectModuleAutoLock(const ObjectModuleAutoLock&) = delete;
  ObjectModuleAutoLock& operator=(const ObjectModuleAutoLock&) = delete;
};

}  // namespace vor

#endif  // VOR_MODULE_OBJECT_COUNT_H_
