#include "host/module_trust.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <utility>
#include <vector>

#include "host/elf_export.h"

namespace vor::host {
namespace {

constexpr char kEntryPoint[] = "zelGetObjectFactory";

// A descriptor closed when it goes, unless released.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

std::string LoaderError() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown error";
}

// The rule a folder breaks ("" for none); `own`: the module's own folder,
// where sticky is not enough.
std::string FolderRule(const struct stat& info, const std::string& path, bool own) {
  if (info.st_uid != 0) {
    return "the folder '" + path + "' is owned by uid " + std::to_string(info.st_uid) + ", not root";
  }
  if ((info.st_mode & (S_IWGRP | S_IWOTH)) == 0) return {};
  if (own) return "the module's folder '" + path + "' is writable by group or others";
  if ((info.st_mode & S_ISVTX) == 0) {
    return "the folder '" + path + "' is writable by group or others and not sticky";
  }
  return {};
}

std::string FileRule(const struct stat& info, const std::string& path) {
  if (!S_ISREG(info.st_mode)) return "'" + path + "' is not a regular file";
  if (info.st_uid != 0) {
    return "'" + path + "' is owned by uid " + std::to_string(info.st_uid) + ", not root";
  }
  if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0) return "'" + path + "' is writable by group or others";
  return {};
}

// Opens the file at the canonical path `real` through checked folders and
// checks it: its descriptor and where its entry point lies, or -1 with the
// rule it or a folder broke.
Descriptor OpenChecked(const std::string& real, std::uint64_t& entryValue, std::string& rule) {
  std::vector<std::string> names;
  for (const auto& part : std::filesystem::path(real).relative_path()) names.push_back(part.string());
  if (names.empty()) {
    rule = "'" + real + "' is not a regular file";
    return Descriptor();
  }
  Descriptor folder(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  std::string walked = "/";
  for (std::size_t i = 0;; ++i) {
    struct stat info {};
    if (folder.get() < 0 || ::fstat(folder.get(), &info) != 0) {
      rule = "the folder '" + walked + "' changed while it was checked";
      return Descriptor();
    }
    const bool own = i + 1 == names.size();
    rule = FolderRule(info, walked, own);
    if (!rule.empty()) return Descriptor();
    if (own) break;
    folder = Descriptor(::openat(folder.get(), names[i].c_str(),
                                 O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    walked += (walked.size() > 1 ? "/" : "") + names[i];
  }
  // O_NONBLOCK: a FIFO put in the file's place must not hang the open.
  Descriptor file(::openat(folder.get(), names.back().c_str(),
                           O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat info {};
  if (file.get() < 0 || ::fstat(file.get(), &info) != 0) {
    rule = "'" + real + "' changed while it was checked";
    return Descriptor();
  }
  rule = FileRule(info, real);
  if (!rule.empty()) return Descriptor();
  const ElfExport entry = FindElfExport(DescriptorBytes(file.get()), kEntryPoint);
  if (!entry.problem.empty()) {
    rule = "'" + real + "' " + entry.problem;
    return Descriptor();
  }
  entryValue = entry.value;
  return file;
}

}  // namespace

zel::result_t TrustedModule::Load(const std::string& path, std::string& error) {
  const auto fail = [&](zel::result_t code, const std::string& why) {
    error = "cannot load module '" + path + "': " + why;
    return code;
  };
  if (path.find('/') == std::string::npos) {
    return fail(zel::kErrAccessDenied,
                "a module is named by its path, with a '/' (a bare name would be searched for)");
  }
  if (::geteuid() != 0) {
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    return handle_ != nullptr ? zel::kOk : fail(zel::kErrModuleNotFound, LoaderError());
  }

  std::error_code missing;
  const std::string real = std::filesystem::canonical(path, missing).string();
  if (missing) return fail(zel::kErrModuleNotFound, missing.message());
  std::string rule;
  std::uint64_t entryValue = 0;
  Descriptor file = OpenChecked(real, entryValue, rule);
  if (file.get() < 0) return fail(zel::kErrAccessDenied, "refused as root: " + rule);

  const std::string name = "/proc/self/fd/" + std::to_string(file.get());
  handle_ = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) return fail(zel::kErrModuleNotFound, LoaderError());
  fd_ = file.release();
  // An object the loader already knew under that name would not be this file.
  link_map* map = nullptr;
  const void* entry = dlsym(handle_, kEntryPoint);
  if (dlinfo(handle_, RTLD_DI_LINKMAP, &map) != 0 || entry == nullptr ||
      reinterpret_cast<std::uintptr_t>(entry) != map->l_addr + entryValue) {
    Unload();
    return fail(zel::kErrAccessDenied,
                "refused as root: the object loaded is not the file '" + real + "' that was checked");
  }
  return zel::kOk;
}

void* TrustedModule::Symbol(const char* name) const {
  return handle_ != nullptr ? dlsym(handle_, name) : nullptr;
}

void TrustedModule::Unload() {
  if (handle_ != nullptr) dlclose(handle_);
  handle_ = nullptr;
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

}  // namespace vor::host
