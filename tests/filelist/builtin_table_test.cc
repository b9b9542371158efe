#include "filelist/builtin_table.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace vor {
namespace {

// Recounts of the table, so that a row lost, doubled or mis-flagged in an edit shows.
TEST(BuiltinTable, RowCounts) {
  std::map<std::pair<std::uint64_t, std::uint64_t>, int> byKind;
  std::map<std::string, int> byDirectory;
  std::set<std::string_view> distinct;
  for (const CriticalFileEntry& row : kBuiltinCriticalFiles) {
    ASSERT_NE(row.path, nullptr);
    const std::string_view path = row.path;
    ++byKind[{row.resolveLinks, row.flags}];
    if (row.flags == 0x700) {
      ASSERT_TRUE(path.starts_with('/') && !path.ends_with('/')) << path;
      ++byDirectory[std::string(path.substr(0, path.rfind('/') + 1))];
      distinct.insert(path);
    } else if (row.flags == 0x701) {
      EXPECT_TRUE(path.starts_with("%OS_LIB_PATH%/")) << path;
    }
  }
  EXPECT_EQ(std::size(kBuiltinCriticalFiles), 546u);
  const std::map<std::pair<std::uint64_t, std::uint64_t>, int> kinds = {
      {{0, 0x700}, 518}, {{1, 0x701}, 20}, {{0, 0x701}, 3},
      {{0, 0x301}, 1},   {{1, 0x100}, 2},  {{1, 0x200}, 2}};
  EXPECT_EQ(byKind, kinds);
  const std::map<std::string, int> directories = {
      {"/bin/", 68},          {"/etc/", 20},          {"/etc/UPower/", 1},
      {"/etc/X11/", 3},       {"/etc/X11/xdm/", 7},   {"/etc/X11/xinit/", 1},
      {"/etc/dbus-1/", 2},    {"/etc/dbus-1/system.d/", 13},
      {"/etc/systemd/", 2},   {"/etc/udev/", 2},      {"/lib/systemd/system/", 8},
      {"/lib/systemd/", 3},   {"/lib/resolvconf/", 1}, {"/lib/udev/", 5},
      {"/sbin/", 70},         {"/usr/bin/", 214},     {"/usr/lib/", 2},
      {"/usr/lib/polkit-1/", 1}, {"/usr/lib/rsyslog/", 3}, {"/usr/lib/rtkit/", 1},
      {"/usr/lib/systemd/", 12}, {"/usr/lib/udev/", 5}, {"/usr/lib/udisks2/", 1},
      {"/usr/lib/upower/", 1}, {"/usr/lib/utempter/", 1}, {"/usr/sbin/", 71}};
  EXPECT_EQ(byDirectory, directories);
  // Four unit files and systemd-binfmt are listed twice.
  EXPECT_EQ(distinct.size(), 518u - 5u);
}

}  // namespace
}  // namespace vor
