// Runs the built vorctl against release files, written as the distributions
// ship them, in temporary roots (--sysroot), and compares its JSON answer.
#include <sys/stat.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

namespace vor {
namespace {

namespace fs = std::filesystem;

struct VorctlRun {
  int status;
  std::string out;
  std::string err;
};

std::string Slurp(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

class OsReleaseCliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "vor_osrel_XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    base_ = pattern;
    root_ = base_ / "root";
    fs::create_directories(root_ / "etc");
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(base_, ignored);
  }

  void Write(const std::string& path, const std::string& content) {
    const fs::path file = root_ / path;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }
  void Link(const std::string& target, const std::string& path) {
    fs::create_symlink(target, root_ / path);
  }

  // vorctl with `options`; a hang is cut off after 20 seconds.
  VorctlRun Vorctl(const std::string& options) {
    const fs::path out = base_ / "stdout", err = base_ / "stderr";
    const std::string command = "timeout 20 '" VOR_VORCTL_PATH "' " + options + " >'" +
                                out.string() + "' 2>'" + err.string() + "'";
    const int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Slurp(out), Slurp(err)};
  }
  // The JSON answer for the temporary root, checking the exit status.
  nlohmann::json Answer(int expectedStatus = 0) {
    const VorctlRun run = Vorctl("--sysroot '" + root_.string() + "' --json os-release");
    EXPECT_EQ(run.status, expectedStatus) << run.err;
    return nlohmann::json::parse(run.out, nullptr, false);
  }
  static nlohmann::json Found(const std::string& name, const std::string& version) {
    return {{"name", name}, {"version", version}, {"result", "0x00000000"}, {"message", "No error"}};
  }

  fs::path base_;
  fs::path root_;
};

TEST_F(OsReleaseCliTest, DebianFamily) {
  // Debian 12: /etc/os-release is a relative link into /usr/lib.
  Write("usr/lib/os-release",
        "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\n"
        "VERSION_ID=\"12\"\nVERSION=\"12 (bookworm)\"\nVERSION_CODENAME=bookworm\nID=debian\n"
        "HOME_URL=\"https://www.debian.org/\"\nSUPPORT_URL=\"https://www.debian.org/support\"\n"
        "BUG_REPORT_URL=\"https://bugs.debian.org/\"\n");
  Link("../usr/lib/os-release", "etc/os-release");
  Write("etc/debian_version", "12.5\n");
  EXPECT_EQ(Answer(), Found("Debian GNU/Linux", "12"));

  // Debian testing has no VERSION_ID: the rest of PRETTY_NAME.
  Write("usr/lib/os-release",
        "PRETTY_NAME=\"Debian GNU/Linux trixie/sid\"\nNAME=\"Debian GNU/Linux\"\n"
        "VERSION_CODENAME=trixie\nID=debian\nHOME_URL=\"https://www.debian.org/\"\n");
  EXPECT_EQ(Answer(), Found("Debian GNU/Linux", "trixie/sid"));

  // Ubuntu 22.04 ships both; os-release comes first.
  fs::remove(root_ / "etc/os-release");
  Write("etc/os-release",
        "PRETTY_NAME=\"Ubuntu 22.04.4 LTS\"\nNAME=\"Ubuntu\"\nVERSION_ID=\"22.04\"\n"
        "VERSION=\"22.04.4 LTS (Jammy Jellyfish)\"\nVERSION_CODENAME=jammy\nID=ubuntu\n"
        "ID_LIKE=debian\nHOME_URL=\"https://www.ubuntu.com/\"\nUBUNTU_CODENAME=jammy\n");
  Write("etc/lsb-release", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\nDISTRIB_CODENAME=jammy\n"
                           "DISTRIB_DESCRIPTION=\"Ubuntu 22.04.4 LTS\"\n");
  Write("etc/debian_version", "bookworm/sid\n");
  EXPECT_EQ(Answer(), Found("Ubuntu", "22.04"));

  // Astra Linux carries its release in RELEASE.
  Write("etc/os-release", "PRETTY_NAME=\"Astra Linux\"\nNAME=\"Astra Linux\"\nID=astra\n"
                          "ID_LIKE=debian\nRELEASE=1.7_x86-64\nANSI_COLOR=\"1;31\"\n");
  EXPECT_EQ(Answer(), Found("Astra Linux", "1.7_x86-64"));
}

TEST_F(OsReleaseCliTest, RedHatFamilyAndOlderImages) {
  // CentOS 7 minimal image without os-release: system-release links to centos-release.
  Write("etc/centos-release", "CentOS Linux release 7.9.2009 (Core)\n");
  Link("centos-release", "etc/system-release");
  Link("centos-release", "etc/redhat-release");
  EXPECT_EQ(Answer(), Found("CentOS Linux", "7.9.2009"));

  // Fedora 38 with its absolute os-release link.
  Write("usr/lib/os-release",
        "NAME=\"Fedora Linux\"\nVERSION=\"38 (Thirty Eight)\"\nID=fedora\nVERSION_ID=38\n"
        "VERSION_CODENAME=\"\"\nPLATFORM_ID=\"platform:f38\"\n"
        "PRETTY_NAME=\"Fedora Linux 38 (Thirty Eight)\"\nANSI_COLOR=\"0;38;2;60;110;180\"\n");
  Link("/usr/lib/os-release", "etc/os-release");
  EXPECT_EQ(Answer(), Found("Fedora Linux", "38"));
}

TEST_F(OsReleaseCliTest, SuseArchAlpineGentoo) {
  Write("etc/SuSE-release",
        "SUSE Linux Enterprise Server 12 (x86_64)\nVERSION = 12\nPATCHLEVEL = 3\n"
        "# This file is deprecated and will be removed in a future service pack or release.\n"
        "# Please check /etc/os-release for details about this release.\n");
  EXPECT_EQ(Answer(), Found("SUSE Linux Enterprise Server", "12.3"));

  // Gentoo's os-release has no version; the search goes on to gentoo-release.
  fs::remove(root_ / "etc/SuSE-release");
  Write("etc/os-release", "NAME=Gentoo\nID=gentoo\nPRETTY_NAME=\"Gentoo Linux\"\n"
                          "ANSI_COLOR=\"1;32\"\nHOME_URL=\"https://www.gentoo.org/\"\n");
  Write("etc/gentoo-release", "Gentoo Base System release 2.14\n");
  EXPECT_EQ(Answer(), Found("Gentoo Base System", "2.14"));

  Write("etc/os-release", "NAME=\"Arch Linux\"\nPRETTY_NAME=\"Arch Linux\"\nID=arch\n"
                          "BUILD_ID=rolling\nANSI_COLOR=\"38;2;23;147;209\"\nLOGO=archlinux-logo\n");
  EXPECT_EQ(Answer(), Found("Arch Linux", "rolling"));

  Write("etc/os-release", "NAME=\"Alpine Linux\"\nID=alpine\nVERSION_ID=3.19.1\n"
                          "PRETTY_NAME=\"Alpine Linux v3.19\"\nHOME_URL=\"https://alpinelinux.org/\"\n");
  EXPECT_EQ(Answer(), Found("Alpine Linux", "3.19.1"));

  // CRLF keeps the CR: the closing quote is no longer at the end of the value.
  Write("etc/os-release", "NAME=\"Windows-edited\"\r\nVERSION_ID=\"1\"\r\n");
  EXPECT_EQ(Answer(), Found("Windows-edited\"\r", "1\"\r"));
}

TEST_F(OsReleaseCliTest, NothingUsableExitsThreeWithoutHangingOrLeavingTheRoot) {
  // A directory, a FIFO, a device, a link loop and a link out of the root.
  fs::create_directories(root_ / "etc/os-release");
  ASSERT_EQ(::mkfifo((root_ / "etc/lsb-release").c_str(), 0600), 0);
  Link("/dev/null", "etc/system-release");
  Link("gentoo-release", "etc/SuSE-release");
  Link("SuSE-release", "etc/gentoo-release");
  std::ofstream(base_ / "outside") << "12.5\n";
  Link("../../outside", "etc/debian_version");
  Link((base_ / "outside").string(), "etc/redhat-release");

  EXPECT_EQ(Answer(3), (nlohmann::json{{"name", ""}, {"version", ""},
                                       {"result", "0x8000004c"}, {"message", "Not found"}}));
  const VorctlRun text = Vorctl("--sysroot '" + root_.string() + "' os-release");
  EXPECT_EQ(text.status, 3);
  EXPECT_EQ(text.out, "");
  EXPECT_EQ(text.err, "vorctl: no usable OS release file: Not found (0x8000004c)\n");

  const VorctlRun missing = Vorctl("--sysroot '" + (base_ / "none").string() + "' os-release");
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("cannot open sysroot"), std::string::npos) << missing.err;
}

TEST_F(OsReleaseCliTest, TraceShowsWhichFilesWereTriedAndWhy) {
  Write("etc/os-release", "");
  Write("etc/lsb-release", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\n");
  const VorctlRun run = Vorctl("--sysroot '" + root_.string() + "' --trace info os-release");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "name:    Ubuntu\nversion: 22.04\n");
  EXPECT_EQ(run.err,
            "rp: Searching for OS release files...\n"
            "rp: Config </etc/os-release> is empty\n"
            "rp: Parsing OS release file </etc/lsb-release>...\n"
            "rp:    <DISTRIB_ID> = <Ubuntu>\n"
            "rp:    <DISTRIB_RELEASE> = <22.04>\n"
            "rp: OS name <Ubuntu>, version <22.04> has been found in lsb-release\n"
            "rp: OS release info has been parsed successfully\n"
            "rp: Selected config is </etc/lsb-release> \n");
}

TEST_F(OsReleaseCliTest, ThisMachine) {
  const VorctlRun run = Vorctl("--json os-release");
  ASSERT_EQ(run.status, 0) << run.err;
  const nlohmann::json answer = nlohmann::json::parse(run.out, nullptr, false);
  const std::string name = answer.value("name", "");
  ASSERT_FALSE(name.empty());
  // The name comes from one of the machine's own release files.
  std::string files;
  for (const char* path : {"/etc/os-release", "/etc/lsb-release", "/etc/debian_version"}) {
    files += Slurp(path);
  }
  EXPECT_NE(files.find(name), std::string::npos) << name;
}

}  // namespace
}  // namespace vor
