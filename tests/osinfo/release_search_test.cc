// The search over files that misbehave as real file systems rarely do, and
// the entry points' refusals.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "osinfo/release_parser.h"
#include "tests/testing_host/fake_file_factory.h"
#include "tests/testing_host/testing_host.h"

namespace vor {
namespace {

using Lines = std::vector<std::string>;
using enum ReleaseFileType;

// Every file but the last misbehaves in its own way; the search goes on each time.
TEST(ReleaseSearchTest, AFileThatCannotBeReadWholeIsSkipped) {
  testing::TestingHost host;
  const Ref<testing::FakeFileFactory> files = host::MakeHostObject<testing::FakeFileFactory>();
  // Any non-zero open answer means absent, even a non-failure.
  files->Add(u"/etc/os-release", "NAME=x\nVERSION_ID=1\n").openResult = 1;
  files->Add(u"/etc/system-release", "A release 1\n").sizeResult = zel::kErrMedia;
  files->Add(u"/etc/SuSE-release", "SLES 12\nVERSION = 12\n").readResult = zel::kErrAccessDenied;
  testing::FakeFile& gentoo = files->Add(u"/etc/gentoo-release", "Gentoo Base System release 2.14\n");
  gentoo.reportedSize = 40;
  // Only the low 32 bits of a size count: 4 GiB reads as nothing, 4 GiB and 33 bytes as 33.
  files->Add(u"/etc/debian_version", "12\n").reportedSize = std::uint64_t{1} << 32;
  files->Add(u"/etc/redhat-release", "Fedora release 38 (Thirty Eight)\n").reportedSize =
      (std::uint64_t{1} << 32) + 33;
  zel::string name, version;
  EXPECT_EQ(FindReleaseInfo(host.locator.get(), files.get(), name, version), 0u);
  EXPECT_EQ(std::string(name.view()) + "|" + std::string(version.view()), "Fedora|38");
  EXPECT_EQ(host.tracer->lines(zel::kTraceError),
            (Lines{"rp: Can't get size for config </etc/system-release> with error 0x80000059",
                   "rp: Can't read config </etc/SuSE-release> with error 0x80000045",
                   "rp: Config </etc/gentoo-release> has been read partially (32 of 40)"}));
  EXPECT_EQ(gentoo.reads, 1);  // never a retry
  EXPECT_EQ(files->lastModes, (std::array<std::uint32_t, 4>{1, 3, 4, 0}));  // read, any sharing
  EXPECT_EQ(files->live_streams(), 0);
}

TEST(ReleaseSearchTest, BadArgumentsUnknownTypesAndAMissingAllocatorAreRefused) {
  testing::TestingHost host;
  host.tracer->set_threshold(zel::kTraceInfo);
  zel::IServiceLocator* const locator = host.locator.get();
  const Ref<testing::FakeFileFactory> files = host::MakeHostObject<testing::FakeFileFactory>();
  zel::string name("stale"), version("stale");
  EXPECT_EQ(FindReleaseInfo(nullptr, files.get(), name, version), zel::kErrInvalidArgument);
  EXPECT_TRUE(name.empty() && version.empty());
  EXPECT_EQ(FindReleaseInfo(locator, nullptr, name, version), zel::kErrInvalidArgument);
  EXPECT_EQ(ParseReleaseFile(nullptr, kDebianVersion, "12", name, version), zel::kErrInvalidArgument);
  EXPECT_EQ(ParseReleaseFile(locator, ReleaseFileType{0}, "12", name, version), zel::kErrInvalidArgument);
  EXPECT_EQ(ParseReleaseFile(locator, kOsRelease, "", name, version), zel::kErrInvalidArgument);
  EXPECT_EQ(ParseReleaseFile(locator, ReleaseFileType{8}, "12", name, version), zel::kErrNotImplemented);
  EXPECT_EQ(host.tracer->lines(), (Lines{"rp: Parsing OS release file <Unknown>...",
                                         "rp: Can't parse config with error 0x80000043"}));

  // Without an allocator each entry point reports the failure at its own site.
  host.tracer->Clear();
  host.locator->Refuse(zel::IAllocator::kIid, zel::kErrNotSupported);
  EXPECT_EQ(FindReleaseInfo(locator, files.get(), name, version), zel::kErrNotSupported);
  EXPECT_EQ(ParseReleaseFile(locator, kDebianVersion, "12", name, version), zel::kErrNotSupported);
  const Lines errors = host.tracer->lines();
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_TRUE(errors[0].starts_with("rp: Exception caught at line 748 =>  ")) << errors[0];
  EXPECT_TRUE(errors[1].starts_with("rp: Exception caught at line 630 =>  ")) << errors[1];
  EXPECT_TRUE(files->opened.empty());
}

}  // namespace
}  // namespace vor
