#include "filelist/vor_list.h"

#include <limits.h>
#include <stdlib.h>

#include <algorithm>
#include <atomic>

#include "runtime/host_access.h"
#include "runtime/result.h"
#include "runtime/result_from_exception.h"
#include "runtime/text.h"
#include "vor/utf.h"

namespace vor {
namespace {

using zel::kTraceDebug;
using zel::kTraceError;
using zel::kTraceInfo;
using zel::kTraceWarning;

// Paths whose UTF-8 form fits here are looked up without touching the heap.
constexpr std::size_t kStackPathBytes = 256;
constexpr std::size_t kPlaceholderLength = sizeof kLibPathPlaceholder - 1;

// The `exists` bytes are shared by every list in the process.
bool Exists(LibraryDirectory& directory) {
  return std::atomic_ref<std::uint8_t>(directory.exists).load(std::memory_order_relaxed) != 0;
}

void MarkExisting(LibraryDirectory& directory) {
  std::atomic_ref<std::uint8_t>(directory.exists).store(1, std::memory_order_relaxed);
}

}  // namespace

VorList::VorList(zel::IServiceLocator* locator)
    : host_(locator, "vor: "),
      life_(host_.trace, host_.allocator.get(), "vor list", "Exception caught while checking readiness => "),
      paths_(0, PathHash(), PathEqual(), zel::HostAllocator<zel::string>(host_.allocator.get())) {
  ZEL_TRACE(host_.trace, kTraceDebug) << "VorList " << zel::Ptr{this} << " was created";
}

VorList::~VorList() {
  ZEL_TRACE(host_.trace, kTraceDebug) << "VorList " << zel::Ptr{this} << " was destroyed";
}

zel::result_t VorList::Init(zel::IAllocator* initAllocator, const OsReleaseInfo& osRelease) {
  try {
    const zel::result_t code =
        life_.Begin(initAllocator, osRelease.name.view(), osRelease.version.view());
    if (zel::Failed(code) || code == zel::kErrAlreadyExists) return code;
    life_.MarkReady();
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(host_.trace, "Exception caught at line 105 => ");
  }
}

zel::result_t VorList::Update(zel::IStorage* storage) {
  try {
    if (!life_.IsReadyOrThrow()) return zel::kErrNotInitialized;
    if (storage == nullptr) return zel::kErrInvalidArgument;
    ZEL_TRACE(host_.trace, kTraceInfo)
        << "Begin updating vor list from storage " << zel::Ptr{storage} << "...";

    // Readers wait for the whole rebuild and never see a partial set.
    WriteGuard guard(life_.lock());
    paths_.clear();
    ProbeLibraryDirectories();
    for (const CriticalFileEntry& row : kBuiltinCriticalFiles) AddRow(row);
    ZEL_TRACE(host_.trace, kTraceInfo) << "vor list update status is ok";
    return zel::kOk;
  } catch (...) {
    return zel::ResultFromCurrentException(host_.trace, "Exception caught at line 296 => ");
  }
}

void VorList::ProbeLibraryDirectories() {
  bool found = false;
  for (LibraryDirectory& directory : directories_) {
    if (directory.fallback != 0 && found) continue;
    if (probe_(directory.widePath)) {
      MarkExisting(directory);
      if (directory.fallback == 0) found = true;
      ZEL_TRACE(host_.trace, kTraceInfo)
          << "Library directory <" << directory.widePath << "> is existing";
    } else {
      // A directory found by an earlier update keeps its `exists` byte.
      ZEL_TRACE(host_.trace, kTraceInfo) << "Library directory <" << directory.widePath << "> is absent";
    }
  }
}

void VorList::AddRow(const CriticalFileEntry& row) {
  if ((row.flags & kOwnArchMask) == 0) return;
  const std::string_view path = row.path;

  std::vector<zel::string, zel::HostAllocator<zel::string>> candidates(
      zel::HostAllocator<zel::string>(host_.allocator.get()));
  if ((row.flags & kExpandLibPath) == 0) {
    candidates.emplace_back(path, host_.allocator.get());
  } else {
    for (LibraryDirectory& directory : directories_) {
      if ((directory.archMask & row.flags) == 0) continue;
      // The build's own directory is usable even where it is missing.
      if (directory.archMask != kOwnArchMask && !Exists(directory)) continue;
      if (path.size() < kPlaceholderLength) {
        ZEL_TRACE(host_.trace, kTraceError) << "Can't replace OS lib path for vor item <" << path << ">";
        continue;
      }
      zel::string candidate(path, host_.allocator.get());
      const std::size_t at = path.find(kLibPathPlaceholder);
      if (at != std::string_view::npos) candidate.replace(at, kPlaceholderLength, directory.path);
      candidates.push_back(std::move(candidate));
    }
  }
  if (candidates.empty()) {
    ZEL_TRACE(host_.trace, kTraceWarning) << "No one path was added for vor item <" << path << ">";
    return;
  }

  if (row.resolveLinks == 1) {
    for (const zel::string& candidate : candidates) {
      char resolved[PATH_MAX];
      if (realpath(candidate.c_str(), resolved) != nullptr) Insert(resolved);
    }
  }
  for (const zel::string& candidate : candidates) Insert(candidate.view());
}

void VorList::Insert(std::string_view path) {
  if (paths_.contains(path)) return;
  paths_.emplace(path, host_.allocator.get());
}

zel::result_t VorList::IsInList(std::string_view path, bool& found) {
  found = false;
  try {
    if (path.empty()) return zel::kErrInvalidArgument;
    ListLifecycle::ReadScope reading(life_);
    if (!reading) return zel::kErrNotInitialized;
    return Lookup(path, found);
  } catch (...) {
    return zel::ResultFromCurrentException(host_.trace, "Exception caught at line 331 => ");
  }
}

zel::result_t VorList::IsInListWide(std::u16string_view path, bool& found) {
  found = false;
  try {
    if (path.empty()) return zel::kErrInvalidArgument;
    ListLifecycle::ReadScope reading(life_);
    if (!reading) return zel::kErrNotInitialized;

    // Convert onto the stack; only a path longer than the buffer takes memory.
    char buffer[kStackPathBytes];
    std::size_t length = 0;
    bool fits = true;
    const bool converted = utf::Utf16ToUtf8(path, [&](char c) {
      if (length < sizeof buffer) {
        buffer[length++] = c;
      } else {
        fits = false;
      }
    });
    if (converted && fits) return Lookup(std::string_view(buffer, length), found);

    zel::string copy(life_.initAllocator());
    const zel::result_t code = converted ? zel::ToUtf8(path, copy) : zel::kErrInvalidSymbol;
    if (zel::Failed(code)) {
      ZEL_TRACE(host_.trace, kTraceError)
          << "Can't convert to UTF-8 <" << path << "> with error 0x" << zel::Hex{code};
      return code;
    }
    return Lookup(copy.view(), found);
  } catch (...) {
    return zel::ResultFromCurrentException(host_.trace, "Exception caught at line 367 => ");
  }
}

zel::result_t VorList::Lookup(std::string_view path, bool& found) {
  found = paths_.contains(path);
  if (found) {
    ZEL_TRACE(host_.trace, kTraceInfo) << "Path <" << path << "> was for in list";
  } else {
    ZEL_TRACE(host_.trace, kTraceInfo) << "Path <" << path << "> wasn't for in list";
  }
  return zel::kOk;
}

bool VorList::IsReady() { return life_.IsReady(); }

zel::result_t VorList::CopySortedPaths(std::vector<std::string>& out) {
  out.clear();
  try {
    if (!life_.initialized()) return zel::kErrNotInitialized;
    ReadGuard guard(life_.lock());
    out.reserve(paths_.size());
    for (const zel::string& path : paths_) out.emplace_back(path.view());
    std::sort(out.begin(), out.end());
    return zel::kOk;
  } catch (...) {
    out.clear();
    return zel::ResultFromCurrentException(host_.trace, "Exception caught while copying the list => ");
  }
}

zel::result_t VorList::CopyExistingLibraryDirectories(std::vector<std::string>& out) {
  out.clear();
  try {
    if (!life_.initialized()) return zel::kErrNotInitialized;
    ReadGuard guard(life_.lock());
    for (LibraryDirectory& directory : directories_) {
      if (Exists(directory)) out.emplace_back(directory.path);
    }
    return zel::kOk;
  } catch (...) {
    out.clear();
    return zel::ResultFromCurrentException(host_.trace, "Exception caught while copying the list => ");
  }
}

}  // namespace vor
