// The two tables the critical file list is built from: the built-in critical
// file table and the library directory table. Both are constant data compiled
// into the module; only the directories' `exists` bytes change at run time.
#ifndef VOR_FILELIST_BUILTIN_TABLE_H_
#define VOR_FILELIST_BUILTIN_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <span>

namespace vor {

// Architecture and expansion bits, one flag word shared by both tables.
inline constexpr std::uint64_t kExpandLibPath = 0x001;  // path holds "%OS_LIB_PATH%"
inline constexpr std::uint64_t kArchX86 = 0x100;        // i386-linux-gnu
inline constexpr std::uint64_t kArchX64 = 0x200;        // x86_64-linux-gnu
inline constexpr std::uint64_t kArchArm64 = 0x400;      // aarch64-linux-gnu
inline constexpr std::uint64_t kAllArch = kArchX86 | kArchX64 | kArchArm64;

// This build runs on x86-64 only; rows without this bit are skipped.
inline constexpr std::uint64_t kOwnArchMask = kArchX64;

inline constexpr char kLibPathPlaceholder[] = "%OS_LIB_PATH%";

struct CriticalFileEntry {
  const char* path;           // absolute; may hold "%OS_LIB_PATH%" or "%OS_ARCH%"
  std::uint64_t resolveLinks;  // exactly 1: the canonical path is added too
  std::uint64_t flags;
};

struct LibraryDirectory {
  std::uint64_t archMask;
  const char* archName;  // the multiarch triplet; kept for completeness, unread
  const char* path;      // replaces "%OS_LIB_PATH%"
  const char16_t* widePath;  // probed, and written in trace lines
  std::uint8_t exists;   // set once found, never cleared for the process's life
  std::uint8_t fallback;  // probed only while no other directory was found
};

inline constexpr std::size_t kBuiltinCriticalFileCount = 546;
inline constexpr std::size_t kLibraryDirectoryCount = 5;

extern const CriticalFileEntry kBuiltinCriticalFiles[kBuiltinCriticalFileCount];

// Writable: the probe sets `exists`. Shared by every list in the process;
// read and written through std::atomic_ref so that two lists never race.
extern LibraryDirectory kLibraryDirectories[kLibraryDirectoryCount];

inline std::span<LibraryDirectory> SharedLibraryDirectories() { return kLibraryDirectories; }

}  // namespace vor

#endif  // VOR_FILELIST_BUILTIN_TABLE_H_
