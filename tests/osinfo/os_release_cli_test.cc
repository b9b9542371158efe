// Runs the built vorctl against release files, written as the distributions
// ship them, in temporary roots (--sysroot), and compares its answer.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "tests/osinfo/temp_tree.h"
#include "tests/testing_host/command.h"

namespace vor {
namespace {

using testing::CommandResult;
using testing::ShellQuote;
using Files = std::map<std::string, std::string>;  // "->target" makes a link

// vorctl with `options`; a hang is cut off after 20 seconds.
CommandResult Vorctl(const std::string& options) {
  return testing::RunCommand("timeout 20 " + ShellQuote(VOR_VORCTL_PATH) + " " + options);
}
// A fresh root holding `files`, kept alive by `tree`.
std::string Sysroot(const testing::TempTree& tree, const Files& files) {
  for (const auto& [path, content] : files) tree.Add(path, content);
  return "--sysroot " + ShellQuote(tree.root);
}

const std::string kDebian12 =
    "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\n"
    "VERSION_ID=\"12\"\nVERSION=\"12 (bookworm)\"\nVERSION_CODENAME=bookworm\nID=debian\n"
    "HOME_URL=\"https://www.debian.org/\"\nSUPPORT_URL=\"https://www.debian.org/support\"\n"
    "BUG_REPORT_URL=\"https://bugs.debian.org/\"\n";
const std::string kUbuntu2204 =
    "PRETTY_NAME=\"Ubuntu 22.04.4 LTS\"\nNAME=\"Ubuntu\"\nVERSION_ID=\"22.04\"\n"
    "VERSION=\"22.04.4 LTS (Jammy Jellyfish)\"\nVERSION_CODENAME=jammy\nID=ubuntu\n"
    "ID_LIKE=debian\nHOME_URL=\"https://www.ubuntu.com/\"\nUBUNTU_CODENAME=jammy\n";
const std::string kFedora38 =
    "NAME=\"Fedora Linux\"\nVERSION=\"38 (Thirty Eight)\"\nID=fedora\nVERSION_ID=38\n"
    "VERSION_CODENAME=\"\"\nPLATFORM_ID=\"platform:f38\"\n"
    "PRETTY_NAME=\"Fedora Linux 38 (Thirty Eight)\"\nANSI_COLOR=\"0;38;2;60;110;180\"\n";

TEST(OsReleaseCliTest, Distributions) {
  const struct {
    const char* label;
    Files files;
    const char* name;
    const char* version;
  } cases[] = {
      {"debian-12",
       {{"usr/lib/os-release", kDebian12},
        {"etc/os-release", "->../usr/lib/os-release"},
        {"etc/debian_version", "12.5\n"}},
       "Debian GNU/Linux", "12"},
      // Testing has no VERSION_ID: the rest of PRETTY_NAME.
      {"debian-testing",
       {{"etc/os-release", "PRETTY_NAME=\"Debian GNU/Linux trixie/sid\"\n"
                           "NAME=\"Debian GNU/Linux\"\nVERSION_CODENAME=trixie\nID=debian\n"
                           "HOME_URL=\"https://www.debian.org/\"\n"},
        {"etc/debian_version", "trixie/sid\n"}},
       "Debian GNU/Linux", "trixie/sid"},
      {"ubuntu-22.04",
       {{"etc/os-release", kUbuntu2204},
        {"etc/lsb-release", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\nDISTRIB_CODENAME=jammy\n"
                            "DISTRIB_DESCRIPTION=\"Ubuntu 22.04.4 LTS\"\n"},
        {"etc/debian_version", "bookworm/sid\n"}},
       "Ubuntu", "22.04"},
      {"astra",
       {{"etc/os-release", "PRETTY_NAME=\"Astra Linux\"\nNAME=\"Astra Linux\"\nID=astra\n"
                           "ID_LIKE=debian\nRELEASE=1.7_x86-64\nANSI_COLOR=\"1;31\"\n"}},
       "Astra Linux", "1.7_x86-64"},
      // A minimal image without os-release: both files link to centos-release.
      {"centos-7",
       {{"etc/centos-release", "CentOS Linux release 7.9.2009 (Core)\n"},
        {"etc/system-release", "->centos-release"},
        {"etc/redhat-release", "->centos-release"}},
       "CentOS Linux", "7.9.2009"},
      {"fedora-38",
       {{"usr/lib/os-release", kFedora38},
        {"etc/os-release", "->/usr/lib/os-release"},
        {"etc/redhat-release", "Fedora release 38 (Thirty Eight)\n"}},
       "Fedora Linux", "38"},
      {"sles-12-sp3",
       {{"etc/SuSE-release",
         "SUSE Linux Enterprise Server 12 (x86_64)\nVERSION = 12\nPATCHLEVEL = 3\n"
         "# This file is deprecated and will be removed in a future service pack or release.\n"
         "# Please check /etc/os-release for details about this release.\n"}},
       "SUSE Linux Enterprise Server", "12.3"},
      // Gentoo's os-release has no version; the search goes on to gentoo-release.
      {"gentoo",
       {{"etc/os-release", "NAME=Gentoo\nID=gentoo\nPRETTY_NAME=\"Gentoo Linux\"\n"
                           "ANSI_COLOR=\"1;32\"\nHOME_URL=\"https://www.gentoo.org/\"\n"},
        {"etc/gentoo-release", "Gentoo Base System release 2.14\n"}},
       "Gentoo Base System", "2.14"},
      {"arch",
       {{"etc/os-release", "NAME=\"Arch Linux\"\nPRETTY_NAME=\"Arch Linux\"\nID=arch\n"
                           "BUILD_ID=rolling\nANSI_COLOR=\"38;2;23;147;209\"\nLOGO=archlinux-logo\n"}},
       "Arch Linux", "rolling"},
      {"alpine",
       {{"etc/os-release", "NAME=\"Alpine Linux\"\nID=alpine\nVERSION_ID=3.19.1\n"
                           "PRETTY_NAME=\"Alpine Linux v3.19\"\n"
                           "HOME_URL=\"https://alpinelinux.org/\"\n"}},
       "Alpine Linux", "3.19.1"},
      // CRLF keeps the CR: the closing quote is no longer at the end of the value.
      {"crlf", {{"etc/os-release", "NAME=\"Windows-edited\"\r\nVERSION_ID=\"1\"\r\n"}},
       "Windows-edited\"\r", "1\"\r"},
  };
  for (const auto& c : cases) {
    const testing::TempTree tree;
    const CommandResult run = Vorctl(Sysroot(tree, c.files) + " --json os-release");
    EXPECT_EQ(run.status, 0) << c.label << ": " << run.err;
    EXPECT_EQ(nlohmann::json::parse(run.out, nullptr, false),
              (nlohmann::json{{"name", c.name}, {"version", c.version},
                              {"result", "0x00000000"}, {"message", "No error"}}))
        << c.label;
  }
}

TEST(OsReleaseCliTest, NothingUsableExitsThreeWithoutHangingOrLeavingTheRoot) {
  // A directory, a FIFO, a device, a link loop and links out of the root.
  const testing::TempTree outside, tree;
  const std::string away = outside.Add("debian_version", "12.5\n").string();
  const std::string root = Sysroot(
      tree, {{"etc/os-release/x", ""}, {"etc/system-release", "->/dev/null"},
             {"etc/SuSE-release", "->gentoo-release"}, {"etc/gentoo-release", "->SuSE-release"},
             {"etc/debian_version", "->../.." + away.substr(away.find('/', 1))},
             {"etc/redhat-release", "->" + away}});
  ASSERT_EQ(::mkfifo((tree.root / "etc/lsb-release").c_str(), 0600), 0);

  const CommandResult json = Vorctl(root + " --json os-release");
  EXPECT_EQ(json.status, 3);
  EXPECT_EQ(nlohmann::json::parse(json.out, nullptr, false),
            (nlohmann::json{{"name", ""}, {"version", ""},
                            {"result", "0x8000004c"}, {"message", "Not found"}}));
  const CommandResult text = Vorctl(root + " os-release");
  EXPECT_EQ(text.status, 3);
  EXPECT_EQ(text.out, "");
  EXPECT_EQ(text.err, "vorctl: no usable OS release file: Not found (0x8000004c)\n");

  const CommandResult missing = Vorctl("--sysroot " + ShellQuote(tree.root / "none") + " os-release");
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("cannot open sysroot"), std::string::npos) << missing.err;
}

TEST(OsReleaseCliTest, TraceShowsWhichFilesWereTriedAndWhy) {
  const testing::TempTree tree;
  const CommandResult run = Vorctl(
      Sysroot(tree, {{"etc/os-release", ""},
                     {"etc/lsb-release", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\n"}}) +
      " --trace info os-release");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "name:    Ubuntu\nversion: 22.04\n");
  // The module's own lines of its search, among those of the service it runs in.
  EXPECT_NE(run.err.find(
            "rp: Searching for OS release files...\n"
            "rp: Config </etc/os-release> is empty\n"
            "rp: Parsing OS release file </etc/lsb-release>...\n"
            "rp:    <DISTRIB_ID> = <Ubuntu>\n"
            "rp:    <DISTRIB_RELEASE> = <22.04>\n"
            "rp: OS name <Ubuntu>, version <22.04> has been found in lsb-release\n"
            "rp: OS release info has been parsed successfully\n"
            "rp: Selected config is </etc/lsb-release> \n"),
            std::string::npos)
      << run.err;
}

TEST(OsReleaseCliTest, ThisMachine) {
  const CommandResult run = Vorctl("--json os-release");
  ASSERT_EQ(run.status, 0) << run.err;
  const std::string name = nlohmann::json::parse(run.out, nullptr, false).value("name", "");
  ASSERT_FALSE(name.empty());
  // The name comes from one of the machine's own release files.
  std::ostringstream files;
  for (const char* path : {"/etc/os-release", "/etc/lsb-release", "/etc/debian_version"}) {
    files << std::ifstream(path).rdbuf();
    files.clear();  // a missing file only sets the stream's failbit
  }
  EXPECT_NE(files.str().find(name), std::string::npos) << name;
}

}  // namespace
}  // namespace vor
