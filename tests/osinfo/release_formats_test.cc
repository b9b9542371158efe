#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "osinfo/release_parser.h"
#include "tests/osinfo/test_support.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using testing::TestingHost;

struct Outcome {
  zel::result_t code;
  std::string name;
  std::string version;
  bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& o) {
  return out << std::hex << "0x" << o.code << " <" << o.name << "> <" << o.version << ">";
}

class ReleaseFormatsTest : public ::testing::Test {
 protected:
  Outcome Parse(ReleaseFileType type, std::string_view content) {
    zel::string name("stale"), version("stale");
    const zel::result_t code = ParseReleaseFile(host_.locator.get(), type, content, name, version);
    return {code, std::string(name.view()), std::string(version.view())};
  }
  Outcome Parse(std::uint8_t type, std::string_view content) {
    return Parse(static_cast<ReleaseFileType>(type), content);
  }
  std::vector<std::string> Errors() const { return host_.tracer->lines(zel::kTraceError); }
  std::vector<std::string> Info() const { return host_.tracer->lines(zel::kTraceInfo); }
  void Clear() { host_.tracer->Clear(); }

  TestingHost host_;
};

constexpr std::string_view kDebian12 =
    "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"
    "NAME=\"Debian GNU/Linux\"\n"
    "VERSION_ID=\"12\"\n"
    "VERSION=\"12 (bookworm)\"\n"
    "VERSION_CODENAME=bookworm\n"
    "ID=debian\n"
    "HOME_URL=\"https://www.debian.org/\"\n";

TEST_F(ReleaseFormatsTest, OsReleaseNameAndVersionId) {
  EXPECT_EQ(Parse(1, kDebian12), (Outcome{0, "Debian GNU/Linux", "12"}));
  const std::vector<std::string> info = Info();
  ASSERT_GE(info.size(), 3u);
  EXPECT_EQ(info.front(), "rp: Parsing OS release file </etc/os-release>...");
  EXPECT_EQ(info[info.size() - 2],
            "rp: OS name <Debian GNU/Linux>, version <12> has been found in os-release");
  EXPECT_EQ(info.back(), "rp: OS release info has been parsed successfully");

  // Only the first occurrence of a key counts.
  EXPECT_EQ(Parse(1, "NAME=First\nNAME=Second\nVERSION_ID=1\nVERSION_ID=2\n"),
            (Outcome{0, "First", "1"}));

  Clear();
  EXPECT_EQ(Parse(1, "ID=debian\nVERSION_ID=12\n"), (Outcome{0x8000004c, "", ""}));
  EXPECT_EQ(Errors(), (std::vector<std::string>{"rp: Can't find OS name in given os-release",
                                                "rp: Can't parse config with error 0x8000004c"}));
  // Nothing usable at all: the reader succeeds with no pairs, the name is missing.
  Clear();
  EXPECT_EQ(Parse(1, "\x7f" "ELF\x02\x01\x01"), (Outcome{0x8000004c, "", ""}));
  EXPECT_TRUE(host_.tracer->Contains("rp: Can't find OS name in given os-release"));
}

TEST_F(ReleaseFormatsTest, OsReleaseDerivedVersions) {
  // Debian testing: the rest of PRETTY_NAME, blanks trimmed, case ignored.
  EXPECT_EQ(Parse(1, "PRETTY_NAME=\"Debian GNU/Linux trixie/sid\"\nNAME=\"Debian GNU/Linux\"\n"),
            (Outcome{0, "Debian GNU/Linux", "trixie/sid"}));
  EXPECT_EQ(Parse(1, "NAME=\"debian gnu/linux\"\nPRETTY_NAME=\"DEBIAN GNU/LINUX  sid  \"\n"),
            (Outcome{0, "debian gnu/linux", "sid"}));
  // Nothing after the prefix is a success with an empty version.
  Clear();
  EXPECT_EQ(Parse(1, "NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian GNU/Linux\"\n"),
            (Outcome{0, "Debian GNU/Linux", ""}));
  EXPECT_TRUE(host_.tracer->Contains(
      "rp: OS name <Debian GNU/Linux>, version <> has been found in os-release"));
  // A Debian name whose PRETTY_NAME does not match falls through to the rest.
  EXPECT_EQ(Parse(1, "NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian\"\n").code, 0x8000004cu);

  EXPECT_EQ(Parse(1, "NAME=\"SberOS GNU/Linux\"\nVERSION_CODENAME=alpha\n"),
            (Outcome{0, "SberOS GNU/Linux", "alpha"}));
  EXPECT_EQ(Parse(1, "NAME=\"SberOS GNU/Linux\"\nRELEASE=4\n").code, 0x8000004cu);

  EXPECT_EQ(Parse(1, "NAME=\"Astra Linux\"\nRELEASE=1.7_x86-64\n"),
            (Outcome{0, "Astra Linux", "1.7_x86-64"}));
  EXPECT_EQ(Parse(1, "NAME=ASTRA\nRELEASE=se\n"), (Outcome{0, "ASTRA", "se"}));
  EXPECT_EQ(Parse(1, "NAME=\"Astra Linux\"\nVERSION=1.7\n").code, 0x8000004cu);
  EXPECT_EQ(Parse(1, "NAME=Astr\nRELEASE=1\n").code, 0x8000004cu);

  EXPECT_EQ(Parse(1, "NAME=\"Arch Linux\"\nID=arch\n"), (Outcome{0, "Arch Linux", "rolling"}));
  EXPECT_EQ(Parse(1, "NAME=\"arch linux\"\n"), (Outcome{0, "arch linux", "rolling"}));
  Clear();
  EXPECT_EQ(Parse(1, "NAME=\"Arch Linux ARM\"\n"), (Outcome{0x8000004c, "", ""}));
  EXPECT_EQ(Errors(), (std::vector<std::string>{"rp: Can't find OS version in given os-release",
                                                "rp: Can't parse config with error 0x8000004c"}));
}

TEST_F(ReleaseFormatsTest, LsbRelease) {
  EXPECT_EQ(Parse(2, "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\nDISTRIB_CODENAME=jammy\n"
                     "DISTRIB_DESCRIPTION=\"Ubuntu 22.04.4 LTS\"\n"),
            (Outcome{0, "Ubuntu", "22.04"}));
  EXPECT_TRUE(host_.tracer->Contains(
      "rp: OS name <Ubuntu>, version <22.04> has been found in lsb-release"));
  Clear();
  EXPECT_EQ(Parse(2, "DISTRIB_ID=Ubuntu\n"), (Outcome{0x8000004c, "", ""}));
  EXPECT_EQ(Errors().front(), "rp: Can't find OS version in given lsb-release");
  Clear();
  EXPECT_EQ(Parse(2, "DISTRIB_RELEASE=22.04\n"), (Outcome{0x8000004c, "", ""}));
  EXPECT_EQ(Errors().front(), "rp: Can't find OS name in given lsb-release");
  // NAME belongs to os-release, not here.
  EXPECT_EQ(Parse(2, "NAME=Ubuntu\nVERSION_ID=22.04\n").code, 0x8000004cu);
}

TEST_F(ReleaseFormatsTest, SystemReleaseAndItsAliases) {
  EXPECT_EQ(Parse(7, "CentOS Linux release 7.9.2009 (Core)\n"),
            (Outcome{0, "CentOS Linux", "7.9.2009"}));
  Clear();
  EXPECT_EQ(Parse(7, "Fedora release 38 (Thirty Eight)\n"), (Outcome{0, "Fedora", "38"}));
  EXPECT_TRUE(host_.tracer->Contains(
      "rp: OS name <Fedora>, version <38> has been found in system-release"));
  EXPECT_EQ(Parse(5, "Gentoo Base System release 2.14\n"),
            (Outcome{0, "Gentoo Base System", "2.14"}));
  EXPECT_EQ(Parse(3, "Amazon Linux release 2023.4.20240401 (Amazon Linux)\r\n"),
            (Outcome{0, "Amazon Linux", "2023.4.20240401"}));
  EXPECT_EQ(Parse(3, "\t Rocky Linux release\t9.3\r\n"), (Outcome{0x80000040, "", ""}));

  Clear();
  EXPECT_EQ(Parse(3, "Fedora 38"), (Outcome{0x80000040, "", ""}));
  EXPECT_EQ(Errors().front(), "rp: Unknown format of system-release <Fedora 38>");
  EXPECT_EQ(Parse(3, "release").code, 0x80000040u);  // shorter than the pattern
  Clear();
  EXPECT_EQ(Parse(3, " release 7 "), (Outcome{0x8000004c, "", ""}));
  EXPECT_EQ(Errors().front(), "rp: Can't find OS name in given system-release");
  Clear();
  EXPECT_EQ(Parse(3, "Fedora release \r\n"), (Outcome{0x80000040, "", ""}));
  EXPECT_EQ(Errors().front(), "rp: Can't find OS version in given system-release");
}

TEST_F(ReleaseFormatsTest, SuseRelease) {
  EXPECT_EQ(Parse(4, "SUSE Linux Enterprise Server 12 (x86_64)\nVERSION = 12\nPATCHLEVEL = 3\n"
                     "# This file is deprecated and will be removed in a future service pack or "
                     "release.\n"),
            (Outcome{0, "SUSE Linux Enterprise Server", "12.3"}));
  EXPECT_TRUE(host_.tracer->Contains(
      "rp: OS name <SUSE Linux Enterprise Server>, version <12.3> has been found in SuSE-release"));
  // The rest starts at the header's line end: its empty first line is traced.
  EXPECT_TRUE(host_.tracer->Contains("rp: Invalid values count for line <>"));
  EXPECT_EQ(Parse(4, "openSUSE 13.2 (x86_64)\nVERSION = 13.2\nCODENAME = Harlequin\n"),
            (Outcome{0, "openSUSE", "13.2"}));

  Clear();
  EXPECT_EQ(Parse(4, "SUSE Linux Enterprise Server 12"), (Outcome{0x8000004c, "", ""}));
  EXPECT_EQ(Errors(), (std::vector<std::string>{"rp: Can't parse config with error 0x8000004c"}));
  Clear();
  EXPECT_EQ(Parse(4, "SLES 12\nPATCHLEVEL = 1\n").code, 0x8000004cu);
  EXPECT_TRUE(host_.tracer->Contains("rp: Can't find OS version in given SuSE-release"));
  // No character of the version occurs in the header.
  EXPECT_EQ(Parse(4, "SLES\nVERSION = 12\n"), (Outcome{0x8000004c, "", ""}));
}

TEST_F(ReleaseFormatsTest, DebianVersion) {
  Clear();
  EXPECT_EQ(Parse(6, "12.5\n"), (Outcome{0, "Debian GNU/Linux", "12.5"}));
  EXPECT_TRUE(host_.tracer->Contains(
      "rp: OS name <Debian GNU/Linux>, version <12.5> has been found in debain_version"));
  EXPECT_EQ(Parse(6, " bookworm/sid\r\n"), (Outcome{0, "Debian GNU/Linux", "bookworm/sid"}));
  EXPECT_EQ(Parse(6, "a\nb\n"), (Outcome{0, "Debian GNU/Linux", "a\nb"}));
  Clear();
  EXPECT_EQ(Parse(6, " \t\r\n\n"), (Outcome{0x80000040, "", ""}));
  EXPECT_EQ(Errors().front(), "rp: Can't find OS version in given debian_version");
}

TEST_F(ReleaseFormatsTest, DispatchArguments) {
  EXPECT_EQ(Parse(0, "12\n"), (Outcome{0x80000046, "", ""}));
  EXPECT_EQ(Parse(1, ""), (Outcome{0x80000046, "", ""}));
  EXPECT_TRUE(host_.tracer->lines().empty());
  zel::string name("stale"), version("stale");
  EXPECT_EQ(ParseReleaseFile(nullptr, ReleaseFileType::kDebianVersion, "12", name, version),
            0x80000046u);
  EXPECT_TRUE(name.empty() && version.empty());

  EXPECT_EQ(Parse(8, "12\n"), (Outcome{0x80000043, "", ""}));
  EXPECT_EQ(Info(), (std::vector<std::string>{"rp: Parsing OS release file <Unknown>..."}));
  EXPECT_EQ(Errors(), (std::vector<std::string>{"rp: Can't parse config with error 0x80000043"}));
}

TEST_F(ReleaseFormatsTest, ParserObjectAndDirectCalls) {
  std::string address;
  {
    LinuxReleaseParser parser(host_.locator.get());
    address = testing::AddressText(&parser);
    zel::string name("stale"), version("stale");
    EXPECT_EQ(parser.ParseDebianVersion("", name, version), 0x80000046u);
    EXPECT_EQ(name.view(), "stale");  // the content is checked before the outputs are touched
    EXPECT_EQ(parser.ParseSystemRelease("X release 1", name, version, ReleaseFileType::kGentooRelease),
              0u);
    EXPECT_EQ(version.view(), "1");
  }
  const std::string line = "rp: LinuxReleaseParser " + address + " was created";
  const std::vector<std::string> lifetime = host_.tracer->lines(zel::kTraceDebug);
  EXPECT_EQ(std::count(lifetime.begin(), lifetime.end(), line), 2);
}

TEST_F(ReleaseFormatsTest, ExceptionsBecomeCodesWithTheirSite) {
  // The caller's strings allocate through the host: the Debian name (16
  // characters) does not fit inline, so its assignment fails inside the parser.
  zel::string name(host_.allocator.get()), version(host_.allocator.get());
  host_.allocator->FailAlways();
  EXPECT_EQ(ParseReleaseFile(host_.locator.get(), ReleaseFileType::kDebianVersion, "12\n", name,
                             version),
            0x80000041u);
  host_.allocator->FailNever();
  EXPECT_EQ(Errors(), (std::vector<std::string>{
                          "rp: Exception caught at line 533 =>  std::bad_alloc",
                          "rp: Can't parse config with error 0x80000041"}));
  EXPECT_TRUE(name.empty() && version.empty());

  Clear();
  EXPECT_EQ(Parse(7, "A very long distribution name release 1\n").code, 0u);
  host_.allocator->FailAlways();
  EXPECT_EQ(ParseReleaseFile(host_.locator.get(), ReleaseFileType::kRedhatRelease,
                             "A very long distribution name release 1\n", name, version),
            0x80000041u);
  host_.allocator->FailNever();
  EXPECT_TRUE(host_.tracer->Contains("rp: Exception caught at line 549 =>  std::bad_alloc"));

  // No allocator to be had: the dispatcher's own site reports the locator's code.
  Clear();
  host_.locator->Refuse(zel::IAllocator::kIid, 0x80000042);
  EXPECT_EQ(Parse(6, "12\n"), (Outcome{0x80000042, "", ""}));
  const std::vector<std::string> errors = Errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_TRUE(errors[0].starts_with("rp: Exception caught at line 630 =>  "));
  EXPECT_NE(errors[0].find("(103): Can't get interface."), std::string::npos) << errors[0];
  EXPECT_EQ(host_.allocator->live_blocks(), 0);
}

}  // namespace
}  // namespace vor
