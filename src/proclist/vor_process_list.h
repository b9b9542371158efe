// VorProcessList: decides whether a process is critical to the OS — the
// initial process, the module's own process, a process run from the product
// folders, or one that matches the critical process list read from storage.
#ifndef VOR_PROCLIST_VOR_PROCESS_LIST_H_
#define VOR_PROCLIST_VOR_PROCESS_LIST_H_

#include <cstdint>

#include "osinfo/os_release_info.h"
#include "proclist/process_info.h"
#include "proclist/process_list_config.h"
#include "runtime/list_lifecycle.h"
#include "runtime/string.h"
#include "runtime/trace.h"
#include "vor/io.h"
#include "vor/object.h"
#include "vor/ref.h"

namespace vor {

// The process to judge, as the caller describes it.
struct ProcessCheckRecord {
  ProcessInfo process;
  std::uint32_t parentPid = 0;   // 0: no parent
  zel::string parentImagePath;   // may be empty only when parentPid is 0

  // Set when the record was read from /proc rather than described by a
  // caller: a path rule then counts only an image path that is the running
  // file, and the parent rule only a parent in the module's own mount
  // namespace. A caller's record carries no identity to hold it to.
  bool readFromProc = false;
  ImageIdentity parentImage;
  zel::string parentMntNamespace;
};

inline constexpr char kProcessListName[] = "vor_proc.xms";
inline constexpr char16_t kProcessListWideName[] = u"vor_proc.xms";

class VorProcessList {
 public:
  // Throws GetInterfaceException when the locator has no tracer.
  explicit VorProcessList(zel::IServiceLocator* locator);
  ~VorProcessList();
  VorProcessList(const VorProcessList&) = delete;
  VorProcessList& operator=(const VorProcessList&) = delete;

  zel::result_t Init(zel::IAllocator* initAllocator, const OsReleaseInfo& osRelease);
  bool IsReady();
  // Reads "vor_proc.xms" from `storage`; a failure keeps the list in force.
  zel::result_t UpdateFromStorage(zel::IStorage* storage);
  zel::result_t IsCriticalProcess(const ProcessCheckRecord& record, bool& critical);
  zel::result_t IsCriticalProcessByPid(std::uint32_t pid, bool& critical);

  // A copy of the entries in force.
  CriticalProcessEntries entries();

 private:
  bool IsSameMountNamespace(const ProcessCheckRecord& record) const;
  bool IsOwnMountNamespace(std::string_view mntNamespace) const;
  // The last gates of a rule that matched a process read from /proc by its
  // paths; each traces why it refuses.
  bool IsRunningImage(const ImageIdentity& image, const zel::string& path, std::uint32_t pid);
  bool IsParentInOwnNamespace(const ProcessCheckRecord& record);
  bool IsFromProductFolder(const ProcessCheckRecord& record);
  bool MatchesListEntry(const ProcessCheckRecord& record);

  Ref<zel::IAllocator> allocator_;
  zel::Tracer trace_;
  Ref<zel::IServiceLocator> serviceLocator_;
  ListLifecycle life_;
  CriticalProcessEntries entries_;  // under life_.lock()
  ProcessInfo self_;                // written by Init only
};

}  // namespace vor

#endif  // VOR_PROCLIST_VOR_PROCESS_LIST_H_
