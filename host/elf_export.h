// Reads from an ELF file's own bytes, without loading it, whether it is a
// shared object of this machine (ELF64, little-endian, x86-64, ET_DYN) whose
// dynamic symbols define a function of a given name. It looks where the
// loader looks: the program headers, the dynamic segment and the symbol hash
// table it names (DT_GNU_HASH, else DT_HASH), so that a symbol the loader
// would not find is not found here either.
//
// Files may be hostile: every offset and size is checked against the file
// and against overflow, reads are few and small whatever the file's size,
// and hash chains are followed a bounded number of steps.
#ifndef VOR_HOST_ELF_EXPORT_H_
#define VOR_HOST_ELF_EXPORT_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vor::host {

// The bytes of a file.
class ElfBytes {
 public:
  virtual ~ElfBytes() = default;
  // Fills `out` with the `size` bytes at `offset`; false when they are not all there.
  virtual bool Read(std::uint64_t offset, void* out, std::size_t size) const = 0;
};

// Bytes read with pread from an open descriptor; the file position is untouched.
class DescriptorBytes final : public ElfBytes {
 public:
  explicit DescriptorBytes(int fd) : fd_(fd) {}
  bool Read(std::uint64_t offset, void* out, std::size_t size) const override;

 private:
  const int fd_;
};

// Bytes in memory.
class MemoryBytes final : public ElfBytes {
 public:
  explicit MemoryBytes(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  bool Read(std::uint64_t offset, void* out, std::size_t size) const override;

 private:
  const std::span<const std::uint8_t> bytes_;
};

struct ElfExport {
  // Why the file does not qualify, in words that follow its name ("is not an
  // ELF file", "does not define NAME"); empty when it defines the function.
  std::string problem;
  // The function's address relative to where the object is loaded.
  std::uint64_t value = 0;
};

ElfExport FindElfExport(const ElfBytes& file, std::string_view name);

}  // namespace vor::host

#endif  // VOR_HOST_ELF_EXPORT_H_
