#include "filelist/builtin_table.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace vor {
namespace {

TEST(BuiltinTable, RowCountsByLinkResolutionAndFlags) {
  std::map<std::pair<std::uint64_t, std::uint64_t>, int> counts;
  for (const CriticalFileEntry& row : kBuiltinCriticalFiles) {
    ASSERT_NE(row.path, nullptr);
    ++counts[{row.resolveLinks, row.flags}];
  }
  const std::map<std::pair<std::uint64_t, std::uint64_t>, int> expected = {
      {{0, 0x700}, 518}, {{1, 0x701}, 20}, {{0, 0x701}, 3},
      {{0, 0x301}, 1},   {{1, 0x100}, 2},  {{1, 0x200}, 2}};
  EXPECT_EQ(counts, expected);
  EXPECT_EQ(std::size(kBuiltinCriticalFiles), 546u);
}

TEST(BuiltinTable, AllArchitectureRowsByDirectory) {
  std::map<std::string, int> counts;
  std::set<std::string> distinct;
  for (const CriticalFileEntry& row : kBuiltinCriticalFiles) {
    if (row.flags != 0x700) continue;
    const std::string_view path = row.path;
    ASSERT_EQ(path.front(), '/') << path;
    ASSERT_NE(path.back(), '/') << path;
    counts[std::string(path.substr(0, path.rfind('/') + 1))]++;
    distinct.insert(std::string(path));
  }
  const std::map<std::string, int> expected = {
      {"/bin/", 68},          {"/etc/", 20},          {"/etc/UPower/", 1},
      {"/etc/X11/", 3},       {"/etc/X11/xdm/", 7},   {"/etc/X11/xinit/", 1},
      {"/etc/dbus-1/", 2},    {"/etc/dbus-1/system.d/", 13},
      {"/etc/systemd/", 2},   {"/etc/udev/", 2},      {"/lib/systemd/system/", 8},
      {"/lib/systemd/", 3},   {"/lib/resolvconf/", 1}, {"/lib/udev/", 5},
      {"/sbin/", 70},         {"/usr/bin/", 214},     {"/usr/lib/", 2},
      {"/usr/lib/polkit-1/", 1}, {"/usr/lib/rsyslog/", 3}, {"/usr/lib/rtkit/", 1},
      {"/usr/lib/systemd/", 12}, {"/usr/lib/udev/", 5}, {"/usr/lib/udisks2/", 1},
      {"/usr/lib/upower/", 1}, {"/usr/lib/utempter/", 1}, {"/usr/sbin/", 71}};
  EXPECT_EQ(counts, expected);
  // Four unit files and systemd-binfmt are listed twice.
  EXPECT_EQ(distinct.size(), 518u - 5u);
}

TEST(BuiltinTable, SpotChecksKeepTableOrder) {
  auto index_of = [](std::string_view path) {
    for (std::size_t i = 0; i < std::size(kBuiltinCriticalFiles); ++i) {
      if (kBuiltinCriticalFiles[i].path == path) return static_cast<int>(i);
    }
    return -1;
  };
  for (const char* path : {"/bin/bash", "/bin/which", "/usr/bin/[", "/usr/bin/Xorg",
                           "/usr/bin/ypdomainname", "/sbin/agetty", "/sbin/zramctl",
                           "/usr/sbin/NetworkManager", "/usr/sbin/xtables-multi",
                           "/etc/DIR_COLORS", "/etc/sysctl.conf", "/usr/lib/utempter/utempter"}) {
    EXPECT_GE(index_of(path), 0) << path;
  }
  EXPECT_LT(index_of("/bin/bash"), index_of("/bin/which"));
  EXPECT_LT(index_of("/usr/bin/Xorg"), index_of("/usr/bin/["));
  EXPECT_LT(index_of("/sbin/zramctl"), index_of("/usr/bin/Xorg"));
  EXPECT_EQ(index_of("/usr/bin/ls") >= 0, true);
  EXPECT_EQ(index_of("/usr/bin/LS"), -1);

  const int arch = index_of("/etc/ld.so.conf.d/%OS_ARCH%-gnu.conf");
  ASSERT_GE(arch, 0);
  EXPECT_EQ(kBuiltinCriticalFiles[arch].flags, 0x301u);
  EXPECT_EQ(kBuiltinCriticalFiles[arch].resolveLinks, 0u);

  const std::set<std::string> unresolved = {"%OS_LIB_PATH%/libmemusage.so",
                                            "%OS_LIB_PATH%/libpcprofile.so",
                                            "%OS_LIB_PATH%/libSegFault.so"};
  int expanded = 0;
  for (const CriticalFileEntry& row : kBuiltinCriticalFiles) {
    if ((row.flags & kExpandLibPath) == 0 || row.flags == 0x301) continue;
    ++expanded;
    EXPECT_EQ(std::string_view(row.path).substr(0, 14), "%OS_LIB_PATH%/") << row.path;
    EXPECT_EQ(row.resolveLinks, unresolved.count(row.path) ? 0u : 1u) << row.path;
  }
  EXPECT_EQ(expanded, 23);

  EXPECT_EQ(kBuiltinCriticalFiles[index_of("/lib/i386-linux-gnu/ld-linux.so.2")].flags, kArchX86);
  EXPECT_EQ(kBuiltinCriticalFiles[index_of("/lib32/ld-linux.so.2")].flags, kArchX86);
  EXPECT_EQ(kBuiltinCriticalFiles[index_of("/lib64/ld-linux-x86-64.so.2")].flags, kArchX64);
  EXPECT_EQ(
      kBuiltinCriticalFiles[index_of("/lib/x86_64-linux-gnu/ld-linux-x86-64.so.2")].resolveLinks,
      1u);
}

TEST(BuiltinTable, LibraryDirectories) {
  struct Row {
    std::uint64_t mask;
    std::string_view arch, path;
    std::u16string_view wide;
    std::uint8_t fallback;
  };
  const Row expected[] = {
      {0x100, "i386-linux-gnu", "/lib/i386-linux-gnu", u"/lib/i386-linux-gnu", 0},
      {0x200, "x86_64-linux-gnu", "/lib/x86_64-linux-gnu", u"/lib/x86_64-linux-gnu", 0},
      {0x400, "aarch64-linux-gnu", "/lib/aarch64-linux-gnu", u"/lib/aarch64-linux-gnu", 0},
      {0x600, "x86_64-linux-gnu", "/lib64", u"/lib64", 1},
      {0x100, "i386-linux-gnu", "/lib", u"/lib", 1}};
  ASSERT_EQ(std::size(kLibraryDirectories), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    SCOPED_TRACE(i);
    const LibraryDirectory& row = kLibraryDirectories[i];
    EXPECT_EQ(row.archMask, expected[i].mask);
    EXPECT_EQ(row.archName, expected[i].arch);
    EXPECT_EQ(row.path, expected[i].path);
    EXPECT_EQ(row.widePath, expected[i].wide);
    EXPECT_EQ(row.fallback, expected[i].fallback);
    EXPECT_EQ(row.exists, 0) << "nothing probes in this binary";
  }
  EXPECT_EQ(SharedLibraryDirectories().data(), kLibraryDirectories);
}

}  // namespace
}  // namespace vor
