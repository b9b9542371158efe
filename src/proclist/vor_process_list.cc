#include "proclist/vor_process_list.h"

#include <unistd.h>

#include "proclist/host_questions.h"
#include "proclist/path_rules.h"
#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"

namespace vor {
namespace {

constexpr std::string_view kProductFolders[] = {"/var/opt/velmorant", "/opt/velmorant"};

// The allocator is optional here: the list copies its strings with the heap.
Ref<zel::IAllocator> MaybeAllocator(zel::IServiceLocator* locator) {
  Ref<zel::IAllocator> allocator;
  zel::TryGetInterface(locator, allocator);
  return allocator;
}

}  // namespace

VorProcessList::VorProcessList(zel::IServiceLocator* locator)
    : allocator_(MaybeAllocator(locator)),
      trace_(zel::GetInterface<zel::ITracer>(locator), "vor: "),
      serviceLocator_(locator),
      life_(trace_, nullptr, "vor process list", "Exception caught at line 640 => ") {
  ZEL_TRACE(trace_, zel::kTraceDebug) << "VorProcessList " << zel::Ptr{this} << " was created";
}

VorProcessList::~VorProcessList() {
  ZEL_TRACE(trace_, zel::kTraceDebug) << "VorProcessList " << zel::Ptr{this} << " was destroyed";
}

zel::result_t VorProcessList::Init(zel::IAllocator* initAllocator,
                                   const OsReleaseInfo& osRelease) {
  try {
    const zel::result_t code =
        life_.Begin(initAllocator, osRelease.name.view(), osRelease.version.view());
    if (zel::Failed(code) || code == zel::kErrAlreadyExists) return code;
    // Without its own facts the list treats every namespace as its own and
    // no process as the product's.
    const zel::result_t selfCode =
        GetProcessInfo(trace_, static_cast<std::uint32_t>(::getpid()), self_);
    if (zel::Failed(selfCode)) {
      self_.Reset();
      ZEL_TRACE(trace_, zel::kTraceError)
          << "Can't init self process info with error 0x" << zel::Hex{selfCode};
    }
    life_.MarkReady();
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(trace_, "Exception caught at line 623 => ");
  }
}

bool VorProcessList::IsReady() { return life_.IsReady(); }

CriticalProcessEntries VorProcessList::entries() {
  if (!life_.initialized()) return {};
  ReadGuard hold(life_.lock());
  return entries_;
}

zel::result_t VorProcessList::UpdateFromStorage(zel::IStorage* storage) {
  try {
    if (!life_.IsReadyOrThrow()) return zel::kErrNotInitialized;
    if (storage == nullptr) return zel::kErrInvalidArgument;
    ZEL_TRACE(trace_, zel::kTraceInfo)
        << "Begin updating vor process list from storage " << zel::Ptr{storage};

    Ref<zel::IIo> stream;
    zel::result_t code = storage->Open(kProcessListWideName, zel::IStorage::kModeRead,
                                       stream.put());
    if (zel::Succeeded(code) && !stream) code = zel::kErrUnexpected;
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError) << "Can't open vor process list <" << kProcessListName
                                          << "> with error 0x" << zel::Hex{code};
      return code;
    }
    code = stream->Seek(0, zel::IIo::kSeekBegin, nullptr);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError)
          << "Can't seek begin config I/O with error 0x" << zel::Hex{code};
      return code;
    }
    ZEL_TRACE(trace_, zel::kTraceInfo) << "Begin config parsing...";

    // Built aside and swapped in whole, so a failure keeps the list in force.
    CriticalProcessEntries fresh;
    code = ReadProcessList(trace_, serviceLocator_.get(), stream.get(), fresh);
    if (zel::Failed(code)) return code;
    {
      WriteGuard hold(life_.lock());
      entries_.swap(fresh);
    }
    ZEL_TRACE(trace_, zel::kTraceInfo) << "vor process list update status is ok";
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(trace_, "Exception caught at line 751 => ");
  }
}

bool VorProcessList::IsSameMountNamespace(const ProcessCheckRecord& record) const {
  return IsOwnMountNamespace(record.process.mntNamespace.view());
}

bool VorProcessList::IsOwnMountNamespace(std::string_view mntNamespace) const {
  if (self_.pid == kNoPid || self_.imagePath.empty()) return true;
  return mntNamespace == self_.mntNamespace.view();
}

bool VorProcessList::IsRunningImage(const ImageIdentity& image, const zel::string& path,
                                    std::uint32_t pid) {
  if (vor::IsRunningImage(image, path.c_str())) return true;
  ZEL_TRACE(trace_, zel::kTraceWarning)
      << "Image <" << path.view() << "> is not the running image of process PID <" << pid << ">";
  return false;
}

bool VorProcessList::IsParentInOwnNamespace(const ProcessCheckRecord& record) {
  // A parent in a namespace of its own may show any path it mounted there.
  if (IsOwnMountNamespace(record.parentMntNamespace.view())) return true;
  ZEL_TRACE(trace_, zel::kTraceWarning)
      << "Parent of process PID <" << record.process.pid << "> is in another mount namespace";
  return false;
}

bool VorProcessList::IsFromProductFolder(const ProcessCheckRecord& record) {
  // Both questions are asked on every call: the host may change its answers.
  if (IsNamespacesWorkaroundDisabled(trace_, serviceLocator_.get())) return false;
  if (IsProductMOBRL(trace_, serviceLocator_.get())) return false;
  if (!IsSameMountNamespace(record)) return false;
  const std::string_view image = record.process.imagePath.view();
  for (std::string_view folder : kProductFolders) {
    if (!IsPathUnder(folder, image, true)) continue;
    return !record.readFromProc ||
           IsRunningImage(record.process.image, record.process.imagePath, record.process.pid);
  }
  return false;
}

bool VorProcessList::MatchesListEntry(const ProcessCheckRecord& record) {
  const std::string_view image = record.process.imagePath.view();
  const std::string_view parentImage = record.parentImagePath.view();
  // The walk holds the read lock, so an update cannot swap the entries away
  // under it.
  ReadGuard hold(life_.lock());
  for (const CriticalProcessEntry& entry : entries_) {
    if (entry.flags & kMatchProcessPath) {
      if (image != entry.path.view()) continue;
      ZEL_TRACE(trace_, zel::kTraceInfo) << "Find candidate by process path <" << image << ">";
    }
    if (entry.flags & kMatchParentPath) {
      if (parentImage != entry.parentPath.view()) continue;
      ZEL_TRACE(trace_, zel::kTraceInfo)
          << "Find candidate by parent process path <" << parentImage << ">";
    }
    if (!IsSameMountNamespace(record)) {
      ZEL_TRACE(trace_, zel::kTraceInfo)
          << "Mismatch namespace <" << record.process.mntNamespace.view() << ">";
      continue;
    }
    if (record.readFromProc) {
      const bool byPath = (entry.flags & kMatchProcessPath) != 0;
      const bool byParent = (entry.flags & kMatchParentPath) != 0;
      if (byParent && !IsParentInOwnNamespace(record)) continue;
      if (byPath &&
          !IsRunningImage(record.process.image, record.process.imagePath, record.process.pid)) {
        continue;
      }
      if (byParent && !IsRunningImage(record.parentImage, record.parentImagePath, record.parentPid)) {
        continue;
      }
    }
    ZEL_TRACE(trace_, zel::kTraceInfo)
        << "Process PID <" << record.process.pid << "> is critical by list";
    return true;
  }
  return false;
}

zel::result_t VorProcessList::IsCriticalProcess(const ProcessCheckRecord& record,
                                                bool& critical) {
  critical = false;
  try {
    const ProcessInfo& process = record.process;
    if (process.pid == 0 || process.pid == kNoPid || process.imagePath.empty() ||
        record.parentPid == kNoPid ||
        (record.parentPid != 0 && record.parentImagePath.empty())) {
      return zel::kErrInvalidArgument;
    }
    if (!life_.IsReadyOrThrow()) return zel::kErrNotInitialized;

    if (process.pid == 1 && record.parentPid == 0) {
      ZEL_TRACE(trace_, zel::kTraceInfo)
          << "Process <" << process.imagePath.view() << "> is initial";
      critical = true;
      return zel::kOk;
    }
    if (process.pid == self_.pid) {
      ZEL_TRACE(trace_, zel::kTraceInfo) << "Product process pid";
      critical = true;
      return zel::kOk;
    }
    if (IsFromProductFolder(record)) {
      ZEL_TRACE(trace_, zel::kTraceInfo)
          << "Process from product folder <" << process.imagePath.view() << ">";
      critical = true;
      return zel::kOk;
    }
    critical = MatchesListEntry(record);
    return zel::kOk;
  } catch (...) {
    critical = false;
    return zel::ResultFromCurrentException(trace_, "Exception caught at line 860 => ");
  }
}

zel::result_t VorProcessList::IsCriticalProcessByPid(std::uint32_t pid, bool& critical) {
  critical = false;
  try {
    if (pid == 0) return zel::kErrInvalidArgument;
    if (!life_.IsReadyOrThrow()) return zel::kErrNotInitialized;

    ProcessCheckRecord record;
    zel::result_t code = GetProcessInfo(trace_, pid, record.process);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError) << "Can't get process image path for PID <" << pid
                                          << "> with error 0x" << zel::Hex{code};
      return code;
    }
    record.parentPid = kNoPid;
    code = GetProcessParentPid(trace_, pid, record.parentPid, allocator_.get());
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError) << "Can't get process parent for PID <" << pid
                                          << "> with error 0x" << zel::Hex{code};
      return code;
    }
    // Parent 0 is not treated apart: process 1 is "initial" only through a
    // caller-made record.
    ProcessInfo parent;
    code = GetProcessInfo(trace_, record.parentPid, parent);
    if (zel::Failed(code)) {
      ZEL_TRACE(trace_, zel::kTraceError)
          << "Can't get process image path for parent PID <" << record.parentPid
          << "> with error 0x" << zel::Hex{code};
      return code;
    }
    record.parentImagePath = std::move(parent.imagePath);
    record.parentMntNamespace = std::move(parent.mntNamespace);
    record.parentImage = parent.image;
    record.readFromProc = true;
    return IsCriticalProcess(record, critical);
  } catch (...) {
    critical = false;
    return zel::ResultFromCurrentException(trace_, "Exception caught at line 922 => ");
  }
}

}  // namespace vor
