// VorList: the set of file paths this machine's OS cannot do without, built
// from the built-in table expanded for the library directories found here, and
// the exact-match lookup that CheckCriticalFile asks from many threads.
#ifndef VOR_FILELIST_VOR_LIST_H_
#define VOR_FILELIST_VOR_LIST_H_

#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "filelist/builtin_table.h"
#include "filelist/directory_probe.h"
#include "osinfo/os_release_info.h"
#include "runtime/host_allocator.h"
#include "runtime/host_providers.h"
#include "runtime/list_lifecycle.h"
#include "runtime/string.h"
#include "runtime/trace.h"
#include "vor/host_services.h"
#include "vor/io.h"
#include "vor/ref.h"

namespace vor {

class VorList {
 public:
  // Throws GetInterfaceException when the locator lacks the allocator or tracer.
  explicit VorList(zel::IServiceLocator* locator);
  ~VorList();

  // Creates the lock and takes the allocator for wide lookups and the OS
  // release. A second Init on a ready list gives 0x80010105.
  zel::result_t Init(zel::IAllocator* initAllocator, const OsReleaseInfo& osRelease);
  // Rebuilds the set from the tables; `storage` is required but supplies nothing.
  zel::result_t Update(zel::IStorage* storage);
  // Exact, byte-for-byte membership of a UTF-8 path.
  zel::result_t IsInList(std::string_view path, bool& found);
  // As IsInList for a UTF-16 path; an unpaired surrogate gives 0x80000300.
  zel::result_t IsInListWide(std::u16string_view path, bool& found);
  bool IsReady();

  // Diagnostics for tools: the set, sorted; and the library directories whose
  // `exists` byte is set. Both fail with 0x8000006b before Init.
  zel::result_t CopySortedPaths(std::vector<std::string>& out);
  zel::result_t CopyExistingLibraryDirectories(std::vector<std::string>& out);

  // Seams for tests that play other machines: another directory table (in
  // place of the process-wide one) and another probe. Call before Update.
  void SetLibraryDirectories(std::span<LibraryDirectory> directories) { directories_ = directories; }
  void SetDirectoryProbe(DirectoryProbe probe) { probe_ = std::move(probe); }

 private:
  struct PathHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view path) const noexcept {
      return std::hash<std::string_view>()(path);
    }
  };
  struct PathEqual {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const noexcept { return a == b; }
  };
  using PathSet =
      std::unordered_set<zel::string, PathHash, PathEqual, zel::HostAllocator<zel::string>>;

  // These run with the lock held.
  void ProbeLibraryDirectories();
  void AddRow(const CriticalFileEntry& row);
  void Insert(std::string_view path);
  zel::result_t Lookup(std::string_view path, bool& found);

  HostProviders host_;
  ListLifecycle life_;
  PathSet paths_;  // under life_.lock()
  std::span<LibraryDirectory> directories_ = SharedLibraryDirectories();
  DirectoryProbe probe_ = IsDirectoryOrLinkToDirectory;
};

}  // namespace vor

#endif  // VOR_FILELIST_VOR_LIST_H_
