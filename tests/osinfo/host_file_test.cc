#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "host/lumo_file_factory.h"
#include "host/posix_file.h"

namespace vor::host {
namespace {

namespace fs = std::filesystem;

class TempDir {
 public:
  TempDir() {
    std::string pattern = (fs::temp_directory_path() / "vor_hostfile_XXXXXX").string();
    path_ = ::mkdtemp(pattern.data()) ? fs::path(pattern) : fs::path();
  }
  ~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  const fs::path& path() const { return path_; }
  fs::path Write(const std::string& relative, const std::string& content) const {
    const fs::path file = path_ / relative;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

 private:
  fs::path path_;
};

std::u16string Wide(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

// Opens for reading as the release search does and returns the whole content,
// or the open's failure code as text.
std::string ReadAll(LumoFileFactory& factory, const std::u16string& path) {
  Ref<zel::IIo> io;
  const zel::result_t code = factory.Open(path.c_str(), 1, 3, 4, 0, io.put());
  if (code != 0) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", code);
    return text;
  }
  std::uint64_t size = 0;
  EXPECT_EQ(io->GetSize(&size), 0u);
  std::string content(size, '\0');
  std::uint32_t got = 0;
  EXPECT_EQ(io->Read(content.data(), static_cast<std::uint32_t>(size), &got), 0u);
  EXPECT_EQ(got, size);
  return content;
}

TEST(PosixFileTest, EverySlotOverADescriptor) {
  TempDir dir;
  const fs::path path = dir.path() / "data";
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  {
    Ref<zel::IIo> io = PosixFile::Adopt(fd);
    ASSERT_TRUE(io);
    std::uint32_t written = 0;
    EXPECT_EQ(io->Write("hello world", 11, &written), 0u);
    EXPECT_EQ(written, 11u);
    std::uint64_t value = 0;
    EXPECT_EQ(io->GetSize(&value), 0u);
    EXPECT_EQ(value, 11u);

    EXPECT_EQ(io->Seek(-5, zel::IIo::kSeekEnd, &value), 0u);
    EXPECT_EQ(value, 6u);
    char buffer[16] = {};
    std::uint32_t got = 0;
    EXPECT_EQ(io->Read(buffer, sizeof buffer, &got), 0u);  // stops at the end of file
    EXPECT_EQ(std::string(buffer, got), "world");
    EXPECT_EQ(io->Read(buffer, sizeof buffer, &got), 0u);
    EXPECT_EQ(got, 0u);

    EXPECT_EQ(io->Seek(0, zel::IIo::kSeekBegin, nullptr), 0u);
    EXPECT_EQ(io->Seek(2, zel::IIo::kSeekCurrent, &value), 0u);
    EXPECT_EQ(value, 2u);
    EXPECT_EQ(io->Read(buffer, 3, nullptr), 0u);
    EXPECT_EQ(std::string(buffer, 3), "llo");

    EXPECT_EQ(io->Seek(0, 3, &value), 0x80000046u);
    EXPECT_EQ(io->Seek(-1, zel::IIo::kSeekBegin, nullptr), 0x80000046u);  // EINVAL
    EXPECT_EQ(io->Read(nullptr, 1, &got), 0x80000046u);
    EXPECT_EQ(io->GetSize(nullptr), 0x80000046u);

    EXPECT_EQ(io->SetSize(4), 0u);
    EXPECT_EQ(io->GetSize(&value), 0u);
    EXPECT_EQ(value, 4u);
    EXPECT_EQ(io->SetSize(~std::uint64_t{0}), 0x80000046u);
  }
  // The last reference closed the descriptor.
  EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(fs::file_size(path), 4u);
  EXPECT_FALSE(PosixFile::Adopt(-1));

  // A read-only descriptor reports the write's errno as a code.
  Ref<zel::IIo> reader = PosixFile::Adopt(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(reader);
  std::uint32_t written = 7;
  EXPECT_EQ(reader->Write("x", 1, &written), 0x80010101u);  // EBADF
  EXPECT_EQ(written, 0u);
}

TEST(LumoFileFactoryTest, OpensRegularFilesForReadingOnly) {
  TempDir dir;
  const fs::path file = dir.Write("etc/os-release", "NAME=x\n");
  zel::result_t code = 1;
  Ref<LumoFileFactory> factory = LumoFileFactory::Create("/", &code);
  ASSERT_TRUE(factory);
  EXPECT_EQ(code, 0u);
  EXPECT_FALSE(factory->confined());
  EXPECT_EQ(ReadAll(*factory.get(), Wide(file.string())), "NAME=x\n");

  EXPECT_EQ(ReadAll(*factory.get(), Wide((dir.path() / "missing").string())), "0x80010102");
  EXPECT_EQ(ReadAll(*factory.get(), u"etc/os-release"), "0x80010109");  // not absolute
  EXPECT_EQ(ReadAll(*factory.get(), u""), "0x80010109");
  const std::u16string loneSurrogate = u"/etc/\xd800x";
  EXPECT_EQ(ReadAll(*factory.get(), loneSurrogate), "0x80000300");

  // A directory, a FIFO without a writer and a device are refused, at once.
  EXPECT_EQ(ReadAll(*factory.get(), Wide(dir.path().string())), "0x80000045");
  const fs::path fifo = dir.path() / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(ReadAll(*factory.get(), Wide(fifo.string())), "0x80000045");
  EXPECT_EQ(ReadAll(*factory.get(), u"/dev/null"), "0x80000045");

  zel::IIo* io = reinterpret_cast<zel::IIo*>(0x1);
  EXPECT_EQ(factory->Open(Wide(file.string()).c_str(), 2, 3, 4, 0, &io), 0x80000043u);
  EXPECT_EQ(io, nullptr);
  EXPECT_EQ(factory->Open(Wide(file.string()).c_str(), 1, 3, 1, 0, &io), 0x80000043u);
  EXPECT_EQ(factory->Open(Wide(file.string()).c_str(), 1, 8, 4, 0, &io), 0x80000046u);
  EXPECT_EQ(factory->Open(nullptr, 1, 3, 4, 0, &io), 0x80000046u);
  EXPECT_EQ(factory->Open(Wide(file.string()).c_str(), 1, 3, 4, 0, nullptr), 0x80000046u);
  // Read-only sharing is as good as read/write sharing: POSIX has none.
  Ref<zel::IIo> opened;
  ASSERT_EQ(factory->Open(Wide(file.string()).c_str(), 1, 1, 4, 0, opened.put()), 0u);
}

TEST(LumoFileFactoryTest, RootConfinesPathsAndLinkTargets) {
  TempDir dir;
  dir.Write("outside", "SECRET=1\n");
  const fs::path root = dir.path() / "root";
  dir.Write("root/usr/lib/os-release", "NAME=inside\n");
  fs::create_directories(root / "etc");
  fs::create_symlink("../usr/lib/os-release", root / "etc/os-release");       // relative
  fs::create_symlink("/usr/lib/os-release", root / "etc/lsb-release");        // absolute
  fs::create_symlink("../../../outside", root / "etc/system-release");        // climbs out
  fs::create_symlink(dir.path() / "outside", root / "etc/SuSE-release");      // absolute out
  fs::create_symlink("loop-b", root / "etc/loop-a");
  fs::create_symlink("loop-a", root / "etc/loop-b");

  zel::result_t code = 1;
  Ref<LumoFileFactory> factory = LumoFileFactory::Create(root.string(), &code);
  ASSERT_TRUE(factory);
  EXPECT_TRUE(factory->confined());
  EXPECT_EQ(ReadAll(*factory.get(), u"/etc/os-release"), "NAME=inside\n");
  EXPECT_EQ(ReadAll(*factory.get(), u"/etc/lsb-release"), "NAME=inside\n");
  EXPECT_EQ(ReadAll(*factory.get(), u"/usr/lib/../lib/os-release"), "NAME=inside\n");
  EXPECT_EQ(ReadAll(*factory.get(), u"/etc/system-release"), "0x80010102");
  EXPECT_EQ(ReadAll(*factory.get(), u"/etc/SuSE-release"), "0x80010102");
  EXPECT_EQ(ReadAll(*factory.get(), u"/../../outside"), "0x80010102");
  EXPECT_EQ(ReadAll(*factory.get(), u"/etc/loop-a"), "0x8000006a");  // ELOOP
  EXPECT_EQ(ReadAll(*factory.get(), u"/etc"), "0x80000045");

  EXPECT_FALSE(LumoFileFactory::Create((dir.path() / "none").string(), &code));
  EXPECT_EQ(code, 0x80010102u);
  EXPECT_FALSE(LumoFileFactory::Create((dir.path() / "outside").string(), &code));
  EXPECT_EQ(code, 0x80010103u);  // ENOTDIR
}

}  // namespace
}  // namespace vor::host
