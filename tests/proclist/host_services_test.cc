// The reference host's storage, feature flags and environment.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "host/directory_storage.h"
#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/host_object.h"
#include "runtime/string.h"
#include "runtime/text.h"
#include "tests/proclist/live_process.h"

namespace vor {
namespace {

using host::MakeHostObject;

TEST(DirectoryStorage, OpensPlainRegularFilesOnly) {
  testing::TempDir dir;
  dir.Write("vor_proc.xms", "<x/>");
  ASSERT_EQ(::mkdir((dir.path() + "/sub").c_str(), 0700), 0);
  ASSERT_EQ(::mkfifo((dir.path() + "/fifo").c_str(), 0600), 0);
  ASSERT_EQ(::symlink("/etc/hostname", (dir.path() + "/link").c_str()), 0);
  auto storage = MakeHostObject<host::DirectoryStorage>(dir.path());
  ASSERT_TRUE(storage->ok());

  Ref<zel::IIo> file;
  ASSERT_EQ(storage->Open(u"vor_proc.xms", 0, file.put()), 0u);
  char buffer[8] = {};
  std::uint32_t got = 0;
  ASSERT_EQ(file->Read(buffer, sizeof buffer, &got), 0u);
  EXPECT_EQ(std::string(buffer, got), "<x/>");

  for (const char16_t* name : {u"", u".", u"..", u"../etc/passwd", u"sub/x", u"/etc/passwd",
                               u"a..b"}) {
    EXPECT_EQ(storage->Open(name, 0, file.put()), host::DirectoryStorage::kInvalidPathName);
    EXPECT_FALSE(file);
  }
  const char16_t unpaired[] = {0xd800, 0};
  EXPECT_EQ(storage->Open(unpaired, 0, file.put()), host::DirectoryStorage::kInvalidPathName);
  // A FIFO would block a plain open; a directory and a symlink are no files.
  EXPECT_EQ(storage->Open(u"fifo", 0, file.put()), host::DirectoryStorage::kAccessDenied);
  EXPECT_EQ(storage->Open(u"sub", 0, file.put()), host::DirectoryStorage::kAccessDenied);
  EXPECT_NE(storage->Open(u"link", 0, file.put()), 0u);
  EXPECT_EQ(storage->Open(u"absent", 0, file.put()), host::DirectoryStorage::kFileNotFound);
  EXPECT_EQ(storage->Open(u"vor_proc.xms", 1, file.put()), host::DirectoryStorage::kNotSupported);

  auto empty = MakeHostObject<host::DirectoryStorage>("");
  EXPECT_TRUE(empty->ok());
  EXPECT_EQ(empty->Open(u"vor_proc.xms", 0, file.put()), host::DirectoryStorage::kFileNotFound);
  auto missing = MakeHostObject<host::DirectoryStorage>(dir.path() + "/nowhere");
  EXPECT_FALSE(missing->ok());
  EXPECT_EQ(missing->Open(u"vor_proc.xms", 0, file.put()), zel::kErrFileNotFound);
}

TEST(FeatureFlagsAndEnvironment, ConfigurationValues) {
  EXPECT_EQ(host::ParseAssignment("a=b=c"), (std::pair<std::string, std::string>("a", "b=c")));
  EXPECT_EQ(host::ParseAssignment("a="), (std::pair<std::string, std::string>("a", "")));
  EXPECT_FALSE(host::ParseAssignment("=b"));
  EXPECT_FALSE(host::ParseAssignment("ab"));

  auto flags = MakeHostObject<host::FeatureFlags>();
  flags->Set("f", "true");
  zel::string value;
  zel::StringSink sink(value);
  ASSERT_EQ(flags->GetFlag("f", &sink), 0u);
  EXPECT_EQ(value.view(), "true");
  EXPECT_EQ(flags->GetFlag("g", &sink), host::FeatureFlags::kNotSet);

  auto environment = MakeHostObject<host::Environment>();
  ASSERT_TRUE(environment->Set("ProductType", "mobr_linux"));
  ASSERT_TRUE(environment->Set("E", ""));
  EXPECT_FALSE(environment->Set("Bad", "\xff"));
  EXPECT_EQ(environment->Expand(u"%ProductType%"), u"mobr_linux");
  EXPECT_EQ(environment->Expand(u"%Unknown%"), u"%Unknown%");
  EXPECT_EQ(environment->Expand(u"a%x %ProductType%%E%b%"), u"a%x mobr_linuxb%");
  EXPECT_EQ(environment->Expand(u"%%%producttype%"), u"%%%producttype%");
  zel::u16string wide;
  zel::WideStringSink wideSink(wide);
  ASSERT_EQ(environment->ExpandStrings(u"[%ProductType%]", &wideSink), 0u);
  EXPECT_EQ(wide.view(), u"[mobr_linux]");
  EXPECT_EQ(environment->ExpandStrings(nullptr, &wideSink), zel::kErrInvalidArgument);
}

}  // namespace
}  // namespace vor
