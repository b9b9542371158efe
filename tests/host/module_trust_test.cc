// The module a session loads: the rules of host/module_trust.h, each broken
// in turn around a copy of a library, and the ELF reader that tells a module
// from any other file without loading it, over hostile files.
#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "host/elf_export.h"
#include "tests/testing_host/testing_host.h"
#include "vor/session.hpp"

namespace vor::host {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

Bytes Read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

template <class T>
T At(const Bytes& bytes, std::uint64_t offset) {
  T value{};
  if (offset + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

// The file offset of dynamic entry `tag`'s value, or with `table` of the
// table it names: where the rows below plant their damage.
std::uint64_t Locate(const Bytes& bytes, std::int64_t tag, bool table) {
  const auto header = At<Elf64_Ehdr>(bytes, 0);
  std::vector<Elf64_Phdr> segments;
  for (std::uint64_t i = 0; i < header.e_phnum; ++i) {
    segments.push_back(At<Elf64_Phdr>(bytes, header.e_phoff + i * sizeof(Elf64_Phdr)));
  }
  for (const Elf64_Phdr& dynamic : segments) {
    if (dynamic.p_type != PT_DYNAMIC) continue;
    for (std::uint64_t at = dynamic.p_offset;; at += sizeof(Elf64_Dyn)) {
      const auto entry = At<Elf64_Dyn>(bytes, at);
      if (entry.d_tag == DT_NULL) break;
      if (entry.d_tag != tag) continue;
      if (!table) return at + offsetof(Elf64_Dyn, d_un);
      for (const Elf64_Phdr& load : segments) {
        const std::uint64_t address = entry.d_un.d_ptr;
        if (load.p_type == PT_LOAD && address >= load.p_vaddr && address < load.p_vaddr + load.p_filesz) {
          return load.p_offset + (address - load.p_vaddr);
        }
      }
    }
  }
  ADD_FAILURE() << "no dynamic entry " << tag;
  return 0;
}

const std::map<std::string, std::string> kFiles = {
    {"module", VOR_MODULE_PATH}, {"entry-only", VOR_ENTRY_ONLY_LIBRARY},
    {"foreign", VOR_FOREIGN_LIBRARY}, {"static", VOR_STATIC_PROGRAM}};

// The rows of data/NAME: each line but comments, its blank-separated fields
// read from a stream, and the rest of the line ("-" for nothing).
template <class ReadRow>
void ForEachRow(const std::string& name, ReadRow read) {
  std::ifstream in(VOR_SOURCE_DIR "/tests/host/data/" + name);
  int rows = 0;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    ++rows;
    SCOPED_TRACE(line);
    std::istringstream fields(line);
    std::string last;
    read(fields, [&] { return std::getline(fields >> std::ws, last), last == "-" ? "" : last; });
  }
  EXPECT_GT(rows, 0) << name;
}

TEST(ElfExportTest, TellsAModuleFromEveryOtherFile) {
  const std::map<std::string, std::int64_t> tags = {{"SYMENT", DT_SYMENT}, {"STRSZ", DT_STRSZ},
      {"SYMTAB", DT_SYMTAB}, {"GNU_HASH", DT_GNU_HASH}, {"HASH", DT_HASH}};
  std::map<std::string, Bytes> files;
  ForEachRow("elf_files.txt", [&](std::istream& fields, auto rest) {
    std::string file, keep, field;
    fields >> file >> keep >> field;
    if (!files.contains(file)) files[file] = Read(kFiles.at(file));
    Bytes bytes = files[file];
    ASSERT_GT(bytes.size(), 4096u);
    if (keep != "*") bytes.resize(std::stoul(keep));
    if (field != "-") {  // WHERE@OFFSET:SIZE=VALUE
      const std::size_t at = field.find('@'), colon = field.find(':'), equals = field.find('=');
      const std::string where = field.substr(0, at), tag = where.substr(0, where.find('+'));
      std::uint64_t offset = std::stoull(field.substr(at + 1), nullptr, 0);
      if (where != "0") offset += Locate(bytes, tags.at(tag), where.ends_with('+'));
      const std::uint64_t value = std::stoull(field.substr(equals + 1), nullptr, 0);
      std::memcpy(bytes.data() + offset, &value, std::stoul(field.substr(colon + 1)));
    }
    const ElfExport found = FindElfExport(MemoryBytes(bytes), "zelGetObjectFactory");
    EXPECT_EQ(found.problem, rest());
    EXPECT_EQ(found.value != 0, found.problem.empty());
  });
}

// A gigabyte of hole with the program headers in its middle: a few small
// reads, whatever the size, and an answer.
TEST(ElfExportTest, ReadsLittleOfAHugeSparseFile) {
  const testing::TempDir dir;
  Bytes header = Read(VOR_MODULE_PATH);
  header.resize(sizeof(Elf64_Ehdr));
  const std::uint64_t middle = std::uint64_t{1} << 29;
  std::memcpy(header.data() + offsetof(Elf64_Ehdr, e_phoff), &middle, sizeof middle);
  const std::string path = dir.Write("huge.so", std::string(header.begin(), header.end()));
  fs::resize_file(path, std::uint64_t{1} << 30);
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(FindElfExport(DescriptorBytes(fd), "zelGetObjectFactory").problem,
            "has no dynamic segment");
  ::close(fd);
}

TEST(ModuleTrustTest, ABareNameIsNeverSearchedFor) {
  SessionOptions options;
  options.modulePath = "libvor.so";
  std::unique_ptr<Session> session;
  std::string error;
  EXPECT_EQ(Session::Open(options, session, &error), zel::kErrAccessDenied);
  EXPECT_EQ(error, "cannot load module 'libvor.so': a module is named by its path, with a '/' "
                   "(a bare name would be searched for)");
}

TEST(ModuleTrustTest, RootLoadsOnlyAModuleRootAloneCanChange) {
  if (::geteuid() != 0) GTEST_SKIP() << "the rules hold for root only; run the suite as root";
  ForEachRow("module_trust.txt", [&](std::istream& fields, auto rest) {
    std::string file, ran;
    mode_t up = 0, mod = 0, mode = 0;
    uid_t upOwner = 0, owner = 0;
    zel::result_t code = 0;
    fields >> file >> std::oct >> up >> mod >> mode >> std::dec >> upOwner >> owner >> std::hex >>
        code >> ran;
    const testing::TempDir dir;
    const std::string folder = dir.path + "/up/mod", module = folder + "/libvor.so";
    const std::string marker = dir.path + "/marker";
    fs::create_directories(folder);
    fs::copy_file(kFiles.at(file), module);
    ASSERT_EQ(::chmod((dir.path + "/up").c_str(), up) | ::chmod(folder.c_str(), mod) |
                  ::chmod(module.c_str(), mode) | ::chown((dir.path + "/up").c_str(), upOwner, 0) |
                  ::chown(module.c_str(), owner, 0),
              0);
    ::setenv("VOR_TEST_MARKER", marker.c_str(), 1);
    SessionOptions options;
    options.modulePath = module;
    std::unique_ptr<Session> session;
    std::string error;
    EXPECT_EQ(Session::Open(options, session, &error), code) << error;
    ::unsetenv("VOR_TEST_MARKER");
    EXPECT_TRUE(error.ends_with(rest())) << error;
    EXPECT_EQ(fs::exists(marker), ran == "yes");
    EXPECT_EQ(session != nullptr && session->CheckFile("/usr/bin/ls").critical, code == zel::kOk);
  });
}

}  // namespace
}  // namespace vor::host
