#include "host/file_entries.h"

#include <limits.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <mutex>

#include "host/wide_path.h"

namespace vor::host {
namespace {

std::atomic<std::uint64_t> epochs{0};

// The last directories this thread asked about, with their spellings: paths
// come in runs from a few directories (a walk goes back and forth between a
// directory and its parent), and the rest of a run then costs no lookup.
// Plain data: nothing to destroy when the thread ends.
struct RecentDirectory {
  std::uint64_t epoch;  // 0: nothing remembered
  std::uint64_t used;   // the least recently used goes first
  std::size_t size;
  char directory[192];
  std::size_t count;
  char16_t spellings[384];  // as FileEntries::Directory holds them
};
struct RecentDirectories {
  std::uint64_t uses;
  std::uint32_t last;  // the slot used last
  RecentDirectory slots[8];
};
thread_local RecentDirectories recent;

}  // namespace

FileEntries::FileEntries(std::size_t capacity)
    : capacity_(capacity), epoch_(epochs.fetch_add(1) + 1) {}

zel::result_t FileEntries::Refresh() {
  std::vector<DirectoryLink> links;
  const zel::result_t code = ReadTopDirectoryLinks(links);
  if (zel::Failed(code)) return code;
  std::unique_lock hold(mutex_);
  links_ = std::move(links);
  slots_.clear();
  arena_.clear();
  remembered_ = 0;
  epoch_.store(epochs.fetch_add(1) + 1);
  return zel::kOk;
}

namespace {

// Two units of a record hold one size.
std::size_t Read32(const char16_t* at) { return at[0] | static_cast<std::size_t>(at[1]) << 16; }
void Append32(std::u16string& out, std::size_t value) {
  out.push_back(static_cast<char16_t>(value & 0xffff));
  out.push_back(static_cast<char16_t>(value >> 16));
}
// Slots looked at for one directory at most: names chosen to share a hash
// cost a bounded search, then a resolution as if the table were full.
constexpr std::size_t kMaxProbes = 64;

// Bytes packed two to a unit.
std::size_t Units(std::size_t bytes) { return (bytes + 1) / 2; }
void AppendBytes(std::u16string& out, std::string_view bytes) {
  if (bytes.empty()) return;  // a view of nothing may hold no pointer for memcpy
  const std::size_t at = out.size();
  out.resize(at + Units(bytes.size()));
  std::memcpy(out.data() + at, bytes.data(), bytes.size());
}

std::uint64_t HashOf(std::string_view directory) {
  return std::hash<std::string_view>()(directory) | 1;  // never 0, which marks a free slot
}

}  // namespace

bool FileEntries::Find(std::string_view directory, std::uint64_t hash, Directory& out) const {
  if (slots_.empty()) return false;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask, probes = 0; probes < kMaxProbes; i = (i + 1) & mask, ++probes) {
    const Slot& slot = slots_[i];
    if (slot.record == 0) return false;
    if (slot.hash != hash) continue;
    const char16_t* record = arena_.data() + slot.record - 1;
    const std::size_t size = Read32(record);
    const char* key = reinterpret_cast<const char*>(record + 8);
    if (size != directory.size() || std::memcmp(key, directory.data(), size) != 0) continue;
    const std::size_t physical = Read32(record + 2);
    const char16_t* spellings = record + 8 + Units(size) + Units(physical);
    out.physical = std::string_view(reinterpret_cast<const char*>(record + 8 + Units(size)), physical);
    out.spellings = std::u16string_view(spellings, Read32(record + 4));
    out.count = Read32(record + 6);
    return true;
  }
  return false;
}

void FileEntries::Remember(std::string_view directory, std::uint64_t hash, std::string_view physical,
                           std::u16string_view spellings, std::size_t count) {
  Directory known;
  if (remembered_ >= capacity_ || Find(directory, hash, known)) return;
  const std::size_t units = 8 + Units(directory.size()) + Units(physical.size()) + spellings.size();
  if (arena_.size() + units > kArenaUnits) return;  // full: not remembered
  if (slots_.empty()) {
    std::size_t size = 16;
    while (size < 2 * capacity_) size *= 2;
    slots_.resize(size);
  }
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = hash & mask;
  for (std::size_t probes = 0; slots_[i].record != 0; i = (i + 1) & mask) {
    if (++probes == kMaxProbes) return;  // a run of names made to collide: not remembered
  }
  const std::size_t record = arena_.size();
  Append32(arena_, directory.size());
  Append32(arena_, physical.size());
  Append32(arena_, spellings.size());
  Append32(arena_, count);
  AppendBytes(arena_, directory);
  AppendBytes(arena_, physical);
  arena_.append(spellings);
  slots_[i] = {hash, static_cast<std::uint32_t>(record + 1)};
  ++remembered_;
}

bool FileEntries::Spell(std::string_view physical, std::string_view own, std::u16string& out,
                        std::size_t& count) const {
  bool ok = true;
  ForEachDirectorySpelling(physical, links_, [&](std::string_view head, std::string_view tail) {
    const std::string_view slash = head == "/" && tail.empty() ? "" : "/";
    const std::size_t size = head.size() + tail.size() + slash.size();
    if (!ok || (own.size() == size && own.starts_with(head) &&
                own.substr(head.size()).starts_with(tail) && own.ends_with(slash))) {
      return;  // the directory as asked
    }
    const std::size_t at = out.size();
    out.push_back(0);
    ok = AppendWide(head, out) && AppendWide(tail, out) && AppendWide(slash, out);
    out[at] = static_cast<char16_t>(out.size() - at - 1);
    ++count;
  });
  return ok;
}

zel::result_t FileEntries::Resolve(std::string_view directory, std::string& physical) {
  if (directory.size() >= PATH_MAX) return zel::kFalse;  // the kernel would refuse it
  // The parent first, as the kernel walks; then the last component.
  const std::size_t slash = directory.rfind('/');
  const std::string_view last = directory.substr(slash + 1);
  const std::string_view parent = directory.substr(0, slash == 0 ? 1 : slash);
  // clear() and append(), not assign(): GCC 12 at -O3 sees an overlap in
  // assign's replace path that cannot happen (-Wrestrict, a false positive).
  zel::result_t code = With(parent, [&](std::string_view resolved, const Directory&) {
    physical.clear();
    physical.append(resolved);
  });
  if (code != zel::kOk) return code;
  if (last == "..") {
    physical.resize(std::max<std::size_t>(physical.rfind('/'), 1));
  } else {
    if (physical.size() > 1) physical += '/';
    physical += last;
    struct stat info {};
    if (::lstat(physical.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
      // A link, or no directory there: the kernel's own answer.
      code = ResolveDirectory(directory, physical);
      if (code != zel::kOk) return code;
    }
  }
  std::string own(directory);
  own += '/';
  std::u16string spellings;
  std::size_t count = 0;
  std::unique_lock hold(mutex_);
  if (!Spell(physical, own, spellings, count)) return zel::kErrInvalidSymbol;
  Remember(directory, HashOf(directory), physical == directory ? std::string_view() : physical,
           spellings, count);
  return zel::kOk;
}

template <class Use>
zel::result_t FileEntries::With(std::string_view directory, Use use) {
  static const Directory root;
  if (directory == "/") {
    use(directory, root);
    return zel::kOk;
  }
  const std::uint64_t hash = HashOf(directory);
  std::string physical;
  for (int attempt = 0; attempt < 2; ++attempt) {
    {
      std::shared_lock hold(mutex_);
      Directory found;
      if (Find(directory, hash, found)) {
        use(found.physical.empty() ? directory : found.physical, found);
        return zel::kOk;
      }
    }
    if (attempt > 0) break;
    const zel::result_t code = Resolve(directory, physical);
    if (code != zel::kOk) return code;
  }
  // Resolved, but the cache is full.
  std::u16string spellings;
  Directory transient;
  std::string own(directory);
  own += '/';
  std::shared_lock hold(mutex_);
  if (!Spell(physical, own, spellings, transient.count)) return zel::kErrInvalidSymbol;
  transient.spellings = spellings;
  use(std::string_view(physical), transient);
  return zel::kOk;
}

zel::result_t FileEntries::AppendOtherSpellings(const AskedPath& asked, std::pmr::u16string& out,
                                                std::size_t& count, std::u16string_view wideName) {
  count = 0;
  if (asked.directory.empty()) return zel::kOk;
  const std::uint64_t epoch = epoch_.load();
  std::string_view name = asked.name;
  // The directory's spellings, counted: this thread's recent ones, or new.
  const char16_t* directories = nullptr;
  std::size_t spellings = 0;
  std::u16string fresh;
  std::string physical;  // of the directory a final "." or ".." names
  zel::result_t code = zel::kOk;
  if (!name.empty()) {
    RecentDirectories& mine = recent;
    const auto same = [&](const RecentDirectory& slot) {
      return slot.epoch == epoch && slot.size == asked.directory.size() &&
             std::memcmp(slot.directory, asked.directory.data(), slot.size) == 0;
    };
    // Most paths are in the directory of the one before.
    RecentDirectory* memo = &mine.slots[mine.last];
    bool hit = same(*memo);
    if (!hit) {
      memo = &mine.slots[0];
      for (RecentDirectory& slot : mine.slots) {
        if ((hit = same(slot))) {
          memo = &slot;
          break;
        }
        if (slot.used < memo->used) memo = &slot;
      }
      mine.last = static_cast<std::uint32_t>(memo - mine.slots);
    }
    if (hit) {
      directories = memo->spellings;
      spellings = memo->count;
    }
    memo->used = ++mine.uses;
    if (directories == nullptr) {
      code = With(asked.directory, [&](std::string_view, const Directory& known) {
        spellings = known.count;
        memo->epoch = 0;
        if (asked.directory.size() <= sizeof memo->directory &&
            known.spellings.size() <= std::size(memo->spellings)) {
          asked.directory.copy(memo->directory, asked.directory.size());
          memo->size = asked.directory.size();
          std::copy(known.spellings.begin(), known.spellings.end(), memo->spellings);
          memo->count = known.count;
          memo->epoch = epoch;
          directories = memo->spellings;
        } else {
          fresh = known.spellings;
          directories = fresh.c_str();
        }
      });
    }
  } else {
    // A final "." or "..": the entry is the directory itself, in its parent.
    code = With(asked.directory, [&](std::string_view resolved, const Directory&) {
      physical.clear();
      physical.append(resolved);  // not assign(): see Resolve
    });
    if (code == zel::kOk && physical != "/") {
      const std::size_t slash = physical.rfind('/');
      name = std::string_view(physical).substr(slash + 1);
      const std::string_view text = asked.text;
      const std::string_view own =
          text.ends_with(name) ? text.substr(0, text.size() - name.size()) : std::string_view();
      std::shared_lock hold(mutex_);
      if (!Spell(physical.substr(0, slash == 0 ? 1 : slash), own, fresh, spellings)) {
        code = zel::kErrInvalidSymbol;
      }
      directories = fresh.c_str();
    }
  }
  if (code != zel::kOk) return zel::Failed(code) ? code : zel::kOk;  // leads nowhere: no entry

  // Each spelling: its length (two units), the directory's spelling, the
  // name (widened once, for the first, and copied for the others), a NUL.
  const std::size_t start = out.size();
  std::size_t name16 = 0;
  std::size_t nameAt = 0;
  for (; count < spellings; ++count) {
    const std::size_t size = *directories++;
    const std::size_t at = out.size();
    out.resize(at + 2 + size);
    std::copy_n(directories, size, out.data() + at + 2);
    directories += size;
    if (count == 0) {
      nameAt = out.size();
      if (!wideName.empty() && name == asked.name) {
        out.append(wideName);
      } else if (!AppendWide(name, out)) {
        out.resize(start);
        count = 0;
        return zel::kErrInvalidSymbol;
      }
      name16 = out.size() - nameAt;
    } else {
      out.append(out, nameAt, name16);
    }
    const std::size_t length = size + name16;
    out[at] = static_cast<char16_t>(length & 0xffff);
    out[at + 1] = static_cast<char16_t>(length >> 16);
    out.push_back(u'\0');
  }
  return zel::kOk;
}

}  // namespace vor::host
