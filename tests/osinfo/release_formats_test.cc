#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "osinfo/release_parser.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using Lines = std::vector<std::string>;

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
  Outcome Parse(std::uint8_t type, std::string_view content) {
    zel::string name("stale"), version("stale");
    const zel::result_t code = ParseReleaseFile(
        host_.locator.get(), static_cast<ReleaseFileType>(type), content, name, version);
    return {code, std::string(name.view()), std::string(version.view())};
  }
  Lines Errors() const { return host_.tracer->lines(zel::kTraceError); }

  testing::TestingHost host_;
};

constexpr std::string_view kDebian12 =
    "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\n"
    "VERSION_ID=\"12\"\nVERSION=\"12 (bookworm)\"\nVERSION_CODENAME=bookworm\nID=debian\n";
constexpr std::string_view kSles12 =
    "SUSE Linux Enterprise Server 12 (x86_64)\nVERSION = 12\nPATCHLEVEL = 3\n"
    "# This file is deprecated and will be removed in a future service pack or release.\n";

// Each case parses once. On success `line` must be among the info lines; on
// failure it is the error line just before the dispatcher's own (none if empty).
TEST_F(ReleaseFormatsTest, EveryFormat) {
  const char* const kPathOfType[] = {"", "/etc/os-release", "/etc/lsb-release",
                                     "/etc/system-release", "/etc/SuSE-release",
                                     "/etc/gentoo-release", "/etc/debian_version",
                                     "/etc/redhat-release", "Unknown"};
  using zel::kErrNotFound, zel::kErrUnexpected;
  const std::string noName = "rp: Can't find OS name in given ";
  const std::string noVersion = "rp: Can't find OS version in given ";
  const std::string found = "rp: OS name <";
  struct Case {
    Case(std::uint8_t t, std::string_view text, Outcome o, std::string l = "")
        : type(t), content(text), outcome(std::move(o)), line(std::move(l)) {}
    std::uint8_t type;
    std::string_view content;
    Outcome outcome;
    std::string line;
  } cases[] = {
      {1, kDebian12, {0, "Debian GNU/Linux", "12"},
       found + "Debian GNU/Linux>, version <12> has been found in os-release"},
      {1, "NAME=First\nNAME=Second\nVERSION_ID=1\nVERSION_ID=2\n", {0, "First", "1"}},
      {1, "ID=debian\nVERSION_ID=12\n", {kErrNotFound, "", ""}, noName + "os-release"},
      // Without VERSION_ID: Debian takes the rest of PRETTY_NAME, case ignored, even empty.
      {1, "PRETTY_NAME=\"Debian GNU/Linux trixie/sid\"\nNAME=\"Debian GNU/Linux\"\n",
       {0, "Debian GNU/Linux", "trixie/sid"}},
      {1, "NAME=\"debian gnu/linux\"\nPRETTY_NAME=\"DEBIAN GNU/LINUX  sid  \"\n",
       {0, "debian gnu/linux", "sid"}},
      {1, "NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian GNU/Linux\"\n", {0, "Debian GNU/Linux", ""},
       found + "Debian GNU/Linux>, version <> has been found in os-release"},
      {1, "NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian\"\n", {kErrNotFound, "", ""}, noVersion + "os-release"},
      {1, "NAME=\"SberOS GNU/Linux\"\nVERSION_CODENAME=alpha\n", {0, "SberOS GNU/Linux", "alpha"}},
      {1, "NAME=\"SberOS GNU/Linux\"\nRELEASE=4\n", {kErrNotFound, "", ""}, noVersion + "os-release"},
      {1, "NAME=\"Astra Linux\"\nRELEASE=1.7_x86-64\n", {0, "Astra Linux", "1.7_x86-64"}},
      {1, "NAME=\"Astra Linux\"\nVERSION=1.7\n", {kErrNotFound, "", ""}, noVersion + "os-release"},
      {1, "NAME=Astr\nRELEASE=1\n", {kErrNotFound, "", ""}, noVersion + "os-release"},
      {1, "NAME=\"Arch Linux\"\nID=arch\n", {0, "Arch Linux", "rolling"}},
      {1, "NAME=\"arch linux\"\n", {0, "arch linux", "rolling"}},
      {1, "NAME=\"Arch Linux ARM\"\n", {kErrNotFound, "", ""}, noVersion + "os-release"},
      {2, "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\nDISTRIB_CODENAME=jammy\n", {0, "Ubuntu", "22.04"},
       found + "Ubuntu>, version <22.04> has been found in lsb-release"},
      {2, "DISTRIB_ID=Ubuntu\n", {kErrNotFound, "", ""}, noVersion + "lsb-release"},
      {2, "DISTRIB_RELEASE=22.04\n", {kErrNotFound, "", ""}, noName + "lsb-release"},
      // gentoo-release and redhat-release go through the system-release parser.
      {7, "CentOS Linux release 7.9.2009 (Core)\n", {0, "CentOS Linux", "7.9.2009"}},
      {7, "Fedora release 38 (Thirty Eight)\n", {0, "Fedora", "38"},
       found + "Fedora>, version <38> has been found in system-release"},
      {5, "Gentoo Base System release 2.14\r\n", {0, "Gentoo Base System", "2.14"},
       found + "Gentoo Base System>, version <2.14> has been found in system-release"},
      {3, "Fedora 38", {kErrUnexpected, "", ""}, "rp: Unknown format of system-release <Fedora 38>"},
      // An empty name and an empty version give different codes.
      {3, " release 7 ", {kErrNotFound, "", ""}, noName + "system-release"},
      {3, "Fedora release \r\n", {kErrUnexpected, "", ""}, noVersion + "system-release"},
      {4, kSles12, {0, "SUSE Linux Enterprise Server", "12.3"},
       found + "SUSE Linux Enterprise Server>, version <12.3> has been found in SuSE-release"},
      {4, "openSUSE 13.2 (x86_64)\nVERSION = 13.2\nCODENAME = Harlequin\n", {0, "openSUSE", "13.2"}},
      {4, "SUSE Linux Enterprise Server 12", {kErrNotFound, "", ""}},
      {4, "SLES 12\nPATCHLEVEL = 1\n", {kErrNotFound, "", ""}, noVersion + "SuSE-release"},
      // The rest starts at the header's line end, so its empty first line is
      // traced; then no character of the version occurs in the header.
      {4, "SLES\nVERSION = 12\n", {kErrNotFound, "", ""}, "rp: Invalid values count for line <>"},
      {6, "12.5\n", {0, "Debian GNU/Linux", "12.5"},
       found + "Debian GNU/Linux>, version <12.5> has been found in debain_version"},
      {6, " bookworm/sid\r\n", {0, "Debian GNU/Linux", "bookworm/sid"}},
      {6, "a\nb\n", {0, "Debian GNU/Linux", "a\nb"}},
      {6, " \t\r\n\n", {kErrUnexpected, "", ""}, noVersion + "debian_version"},
      {8, "12\n", {zel::kErrNotImplemented, "", ""}},
      {0, "12\n", {zel::kErrInvalidArgument, "", ""}},
      {1, "", {zel::kErrInvalidArgument, "", ""}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << "type " << int{c.type} << " <" << c.content << ">");
    host_.tracer->Clear();
    EXPECT_EQ(Parse(c.type, c.content), c.outcome);
    if (c.outcome.code == zel::kErrInvalidArgument) {
      EXPECT_EQ(host_.tracer->lines(), Lines{});
      continue;
    }
    const Lines info = host_.tracer->lines(zel::kTraceInfo);
    ASSERT_FALSE(info.empty());
    EXPECT_EQ(info.front(),
              std::string("rp: Parsing OS release file <") + kPathOfType[c.type] + ">...");
    const Lines errors = Errors();
    if (c.outcome.code == 0) {
      EXPECT_EQ(info.back(), "rp: OS release info has been parsed successfully");
      EXPECT_TRUE(c.line.empty() || std::find(info.begin(), info.end(), c.line) != info.end());
      continue;
    }
    char last[64];
    std::snprintf(last, sizeof last, "rp: Can't parse config with error 0x%x", c.outcome.code);
    if (c.line.empty()) {
      EXPECT_EQ(errors, Lines{last});
    } else {
      ASSERT_GE(errors.size(), 2u);
      EXPECT_EQ(Lines(errors.end() - 2, errors.end()), (Lines{c.line, last}));
    }
  }
}

TEST_F(ReleaseFormatsTest, ParserObjectAndDirectCalls) {
  zel::string name("stale"), version("stale");
  EXPECT_EQ(ParseReleaseFile(nullptr, ReleaseFileType::kDebianVersion, "12", name, version),
            zel::kErrInvalidArgument);
  EXPECT_TRUE(name.empty() && version.empty());

  std::string address;
  {
    LinuxReleaseParser parser(host_.locator.get());
    char text[32];
    std::snprintf(text, sizeof text, "%p", static_cast<void*>(&parser));
    address = text;
    name.assign("stale");
    EXPECT_EQ(parser.ParseDebianVersion("", name, version), zel::kErrInvalidArgument);
    EXPECT_EQ(name.view(), "stale");  // the content is checked before the outputs are touched
  }
  const std::string line = "rp: LinuxReleaseParser " + address + " was created";
  const Lines lifetime = host_.tracer->lines(zel::kTraceDebug);
  EXPECT_EQ(std::count(lifetime.begin(), lifetime.end(), line), 2);
}

TEST_F(ReleaseFormatsTest, ExceptionsBecomeCodesWithTheirSite) {
  // The caller's strings allocate through the host and the names below do not
  // fit inline, so their assignment fails inside the parser of each type.
  zel::string name(host_.allocator.get()), version(host_.allocator.get());
  const struct {
    ReleaseFileType type;
    std::string_view content;
    const char* line;
  } sites[] = {
      {ReleaseFileType::kDebianVersion, "12\n",
       "rp: Exception caught at line 533 =>  std::bad_alloc"},
      {ReleaseFileType::kRedhatRelease, "A very long distribution name release 1\n",
       "rp: Exception caught at line 549 =>  std::bad_alloc"},
  };
  for (const auto& site : sites) {
    host_.tracer->Clear();
    host_.allocator->FailAlways();
    EXPECT_EQ(ParseReleaseFile(host_.locator.get(), site.type, site.content, name, version),
              zel::kErrOutOfMemory);
    host_.allocator->FailNever();
    EXPECT_EQ(Errors(), (Lines{site.line, "rp: Can't parse config with error 0x80000041"}));
    EXPECT_TRUE(name.empty() && version.empty());
  }

  // No allocator to be had: the dispatcher's own site reports the locator's code.
  host_.tracer->Clear();
  host_.locator->Refuse(zel::IAllocator::kIid, zel::kErrNotSupported);
  EXPECT_EQ(Parse(6, "12\n"), (Outcome{zel::kErrNotSupported, "", ""}));
  const Lines errors = Errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_TRUE(errors[0].starts_with("rp: Exception caught at line 630 =>  "));
  EXPECT_NE(errors[0].find("(103): Can't get interface."), std::string::npos) << errors[0];
  EXPECT_EQ(host_.allocator->live_blocks(), 0);
}

}  // namespace
}  // namespace vor
