// The spellings of the entries that paths name, for the session's checks:
// the links to directories in "/" in force, and the directories already
// resolved, safe from any number of threads. A resolution is remembered until
// the next Refresh: a link or directory changed after a path in it was asked
// is seen after that.
#ifndef VOR_HOST_FILE_ENTRIES_H_
#define VOR_HOST_FILE_ENTRIES_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory_resource>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "host/file_entry.h"
#include "vor/result.h"

namespace vor::host {

class FileEntries {
 public:
  // Directories remembered at most, some 100 bytes each with its path (a
  // table of 1 MB and records of 3 MB when full). A pass over /usr and /etc
  // meets some 17,500, each resolved with a system call the first time;
  // with room for only half of them, bulk checks of repeated passes cost
  // an eighth more. Once full, a directory not yet remembered is resolved
  // each time it is asked, until the next Refresh.
  static constexpr std::size_t kCapacity = 32768;

  // `capacity`: directories remembered at most.
  explicit FileEntries(std::size_t capacity = kCapacity);

  // Reads the links in "/" again and forgets every resolution; on failure
  // nothing changes.
  zel::result_t Refresh();

  // Appends to `out` the spellings of the entry of `asked` other than
  // asked.text, the physical one first, each as its length in UTF-16 units
  // (two units: the low, then the high 16 bits), the UTF-16 text and a NUL;
  // `count` says how many. None when `asked` has no entry or its directory
  // leads nowhere. A failure when the kernel could not be asked, or a
  // spelling is not valid UTF-8 (`out` is then as it was). `wideName`, when
  // not empty, is asked.name in UTF-16 already: bulk checks have it.
  zel::result_t AppendOtherSpellings(const AskedPath& asked, std::pmr::u16string& out,
                                     std::size_t& count, std::u16string_view wideName = {});

 private:
  // What is known of a directory as asked: its physical spelling ("" when
  // the directory as asked is physical) and its other spellings, each its
  // length (one unit), then its text ending in "/".
  struct Directory {
    std::string_view physical;
    std::u16string_view spellings;
    std::size_t count = 0;
  };
  // A place in the table: the directory's hash and one past where its
  // record starts in the arena (0: free).
  struct Slot {
    std::uint64_t hash = 0;
    std::uint32_t record = 0;
  };
  // Units of records at most, some 16 MB: long paths fill the arena before
  // the count of directories does.
  static constexpr std::size_t kArenaUnits = std::size_t{8} << 20;

  // Calls use(physical, directory) under the shared lock with what is known
  // of `directory` (absolute, clean), resolved first when need be. kFalse
  // when it leads nowhere.
  template <class Use>
  zel::result_t With(std::string_view directory, Use use);
  // Resolves `directory` and remembers it: from its parent's resolution with
  // one look at the last component, or from the kernel.
  zel::result_t Resolve(std::string_view directory, std::string& physical);
  // The spellings of the physical directory other than `own` (each ending in
  // "/"), appended to `out` counted; false when one is not valid UTF-8. The
  // caller holds the lock.
  bool Spell(std::string_view physical, std::string_view own, std::u16string& out,
             std::size_t& count) const;
  // The remembered `directory` (of hash `hash`), or false. The caller holds
  // the lock.
  bool Find(std::string_view directory, std::uint64_t hash, Directory& out) const;
  // Remembers `directory`, unless the table is full. The caller holds the
  // lock exclusively.
  void Remember(std::string_view directory, std::uint64_t hash, std::string_view physical,
                std::u16string_view spellings, std::size_t count);

  // Changes at every Refresh, unique in the process: what a thread
  // remembers of an older one is not used.
  const std::size_t capacity_;
  std::atomic<std::uint64_t> epoch_;
  mutable std::shared_mutex mutex_;
  std::vector<DirectoryLink> links_;
  // Open addressing, at most half full: a lookup touches one slot and one
  // record, where a map of strings touched five places in memory and cost a
  // bulk check of /usr a tenth of its time. Records are packed in `arena_`
  // as units of char16_t: the sizes of the directory, of its physical
  // spelling and of the spellings, and their count (two units each); then
  // the directory and the physical spelling (bytes, two to a unit, rounded
  // up) and the spellings.
  std::vector<Slot> slots_;
  std::u16string arena_;
  std::size_t remembered_ = 0;
};

}  // namespace vor::host

#endif  // VOR_HOST_FILE_ENTRIES_H_
