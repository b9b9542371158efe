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
#include <unordered_map>
#include <vector>

#include "host/file_entry.h"
#include "vor/result.h"

namespace vor::host {

class FileEntries {
 public:
  // Directories remembered at most, some 400 bytes each (about 7 MB when
  // full). A pass over /usr and /etc meets some 17,000, each resolved with a
  // system call the first time; a cache of 4096 makes bulk checks of such
  // passes twice as slow. Once full, a directory not yet remembered is
  // resolved each time it is asked, until the next Refresh.
  static constexpr std::size_t kCapacity = 16384;

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
  // spelling is not valid UTF-8 (`out` is then as it was).
  zel::result_t AppendOtherSpellings(const AskedPath& asked, std::pmr::u16string& out,
                                     std::size_t& count);

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };
  // What is known of a directory as asked.
  struct Directory {
    std::string physical;      // "" when the directory as asked is physical
    std::u16string spellings;  // its other spellings, each its length (one unit), then its text
    std::size_t count = 0;     // ending in "/"
  };

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

  // Changes at every Refresh, unique in the process: what a thread
  // remembers of an older one is not used.
  const std::size_t capacity_;
  std::atomic<std::uint64_t> epoch_;
  mutable std::shared_mutex mutex_;
  std::vector<DirectoryLink> links_;
  std::unordered_map<std::string, Directory, Hash, std::equal_to<>> directories_;
};

}  // namespace vor::host

#endif  // VOR_HOST_FILE_ENTRIES_H_
