#include "host/elf_export.h"

#include <elf.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace vor::host {
namespace {

static_assert(std::endian::native == std::endian::little, "ELF fields are read as they lie");

// Far past any real object: more is an attempt to keep the reader busy.
constexpr std::uint16_t kMaxProgramHeaders = 256;
constexpr std::uint64_t kMaxDynamicEntries = 4096;
constexpr std::uint64_t kMaxChainSteps = 1u << 16;
constexpr std::size_t kMaxName = 255;

constexpr std::string_view kBadProgramHeaders = "has malformed program headers";
constexpr std::string_view kBadDynamic = "has a malformed dynamic segment";
constexpr std::string_view kBadHash = "has a malformed symbol hash table";

std::uint32_t GnuHash(std::string_view name) {
  std::uint32_t hash = 5381;
  for (const char c : name) hash = hash * 33 + static_cast<unsigned char>(c);
  return hash;
}

std::uint32_t SysvHash(std::string_view name) {
  std::uint32_t hash = 0;
  for (const char c : name) {
    hash = (hash << 4) + static_cast<unsigned char>(c);
    const std::uint32_t high = hash & 0xf0000000u;
    hash ^= high >> 24;
    hash &= ~high;
  }
  return hash;
}

// The object as the loader maps it: an address is read from the file bytes
// of the loadable segment that holds it, never from outside one.
class Image {
 public:
  Image(const ElfBytes& file, std::vector<Elf64_Phdr> loads)
      : file_(file), loads_(std::move(loads)) {}

  bool Read(std::uint64_t address, void* out, std::size_t size) const {
    for (const Elf64_Phdr& load : loads_) {
      if (address < load.p_vaddr) continue;
      const std::uint64_t delta = address - load.p_vaddr;
      if (delta > load.p_filesz || size > load.p_filesz - delta) continue;
      std::uint64_t offset = 0;
      return !__builtin_add_overflow(load.p_offset, delta, &offset) && file_.Read(offset, out, size);
    }
    return false;
  }

  // Element `index` of the table of T at `table`.
  template <class T>
  bool Element(std::uint64_t table, std::uint64_t index, T& out) const {
    std::uint64_t address = 0;
    return !__builtin_mul_overflow(index, sizeof(T), &address) &&
           !__builtin_add_overflow(address, table, &address) && Read(address, &out, sizeof out);
  }

 private:
  const ElfBytes& file_;
  const std::vector<Elf64_Phdr> loads_;
};

// What the dynamic segment says about the symbols.
struct Dynamic {
  std::uint64_t symtab = 0, strtab = 0, strsz = 0, syment = sizeof(Elf64_Sym);
  std::uint64_t gnuHash = 0, sysvHash = 0;
};

enum class Match { kNo, kDefined, kUnreadable };

// Whether dynamic symbol `index` is `name`, defined here as a global or
// weak function; its value in `value`.
Match SymbolIs(const Image& image, const Dynamic& dynamic, std::string_view name,
               std::uint64_t index, std::uint64_t& value) {
  Elf64_Sym symbol{};
  if (!image.Element(dynamic.symtab, index, symbol)) return Match::kUnreadable;
  // The name and its NUL must lie inside the string table.
  if (symbol.st_name >= dynamic.strsz || dynamic.strsz - symbol.st_name <= name.size()) {
    return Match::kNo;
  }
  char text[kMaxName + 1];
  std::uint64_t at = 0;
  if (__builtin_add_overflow(dynamic.strtab, symbol.st_name, &at) ||
      !image.Read(at, text, name.size() + 1)) {
    return Match::kUnreadable;
  }
  if (std::memcmp(text, name.data(), name.size()) != 0 || text[name.size()] != '\0') return Match::kNo;
  const unsigned bind = ELF64_ST_BIND(symbol.st_info);
  if (symbol.st_shndx == SHN_UNDEF || ELF64_ST_TYPE(symbol.st_info) != STT_FUNC ||
      (bind != STB_GLOBAL && bind != STB_WEAK) || symbol.st_value == 0) {
    return Match::kNo;
  }
  value = symbol.st_value;
  return Match::kDefined;
}

// The lookup of DT_GNU_HASH: bloom filter, bucket, then the chain, whose
// entries hold the hashes with the lowest bit marking the chain's end.
ElfExport FindByGnuHash(const Image& image, const Dynamic& dynamic, std::string_view name) {
  struct { std::uint32_t buckets, symbolBase, bloomWords, bloomShift; } table{};
  if (!image.Read(dynamic.gnuHash, &table, sizeof table)) return {std::string(kBadHash)};
  if (table.buckets == 0 || !std::has_single_bit(table.bloomWords) || table.bloomShift >= 32) {
    return {std::string(kBadHash)};
  }
  const std::uint32_t hash = GnuHash(name);
  const std::uint64_t bloom = dynamic.gnuHash + sizeof table;  // read below, so it did not wrap
  std::uint64_t word = 0;
  if (!image.Element(bloom, (hash / 64) & (table.bloomWords - 1), word)) return {std::string(kBadHash)};
  const std::uint64_t bits = (std::uint64_t{1} << (hash % 64)) |
                             (std::uint64_t{1} << ((hash >> table.bloomShift) % 64));
  if ((word & bits) != bits) return {};
  const std::uint64_t buckets = bloom + std::uint64_t{table.bloomWords} * 8;
  const std::uint64_t chains = buckets + std::uint64_t{table.buckets} * 4;
  if (chains < bloom) return {std::string(kBadHash)};
  std::uint32_t first = 0;
  if (!image.Element(buckets, hash % table.buckets, first)) return {std::string(kBadHash)};
  if (first == 0) return {};
  if (first < table.symbolBase) return {std::string(kBadHash)};
  std::uint64_t index = first;
  for (std::uint64_t step = 0; step < kMaxChainSteps; ++step, ++index) {
    std::uint32_t entry = 0;
    if (!image.Element(chains, index - table.symbolBase, entry)) return {std::string(kBadHash)};
    if (((entry ^ hash) >> 1) == 0) {
      std::uint64_t value = 0;
      const Match match = SymbolIs(image, dynamic, name, index, value);
      if (match == Match::kDefined) return {{}, value};
      if (match == Match::kUnreadable) return {std::string(kBadDynamic)};
    }
    if ((entry & 1) != 0) return {};
  }
  return {std::string(kBadHash)};
}

// The lookup of DT_HASH: bucket, then the chain of symbol indexes up to 0.
ElfExport FindBySysvHash(const Image& image, const Dynamic& dynamic, std::string_view name) {
  std::uint32_t counts[2] = {};  // buckets, chain entries (the number of symbols)
  if (!image.Read(dynamic.sysvHash, counts, sizeof counts) || counts[0] == 0) {
    return {std::string(kBadHash)};
  }
  const std::uint64_t buckets = dynamic.sysvHash + sizeof counts;
  const std::uint64_t chains = buckets + std::uint64_t{counts[0]} * 4;
  if (chains < buckets) return {std::string(kBadHash)};
  std::uint32_t index = 0;
  if (!image.Element(buckets, SysvHash(name) % counts[0], index)) return {std::string(kBadHash)};
  for (std::uint64_t step = 0; index != STN_UNDEF; ++step) {
    if (index >= counts[1] || step == kMaxChainSteps) return {std::string(kBadHash)};
    std::uint64_t value = 0;
    const Match match = SymbolIs(image, dynamic, name, index, value);
    if (match == Match::kDefined) return {{}, value};
    if (match == Match::kUnreadable) return {std::string(kBadDynamic)};
    if (!image.Element(chains, index, index)) return {std::string(kBadHash)};
  }
  return {};
}

}  // namespace

bool DescriptorBytes::Read(std::uint64_t offset, void* out, std::size_t size) const {
  constexpr auto kMax = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  if (offset > kMax || size > kMax - offset) return false;
  std::size_t done = 0;
  while (done < size) {
    const ssize_t n = ::pread(fd_, static_cast<char*>(out) + done, size - done,
                              static_cast<off_t>(offset + done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

bool MemoryBytes::Read(std::uint64_t offset, void* out, std::size_t size) const {
  if (offset > bytes_.size() || size > bytes_.size() - offset) return false;
  if (size != 0) std::memcpy(out, bytes_.data() + offset, size);
  return true;
}

ElfExport FindElfExport(const ElfBytes& file, std::string_view name) {
  Elf64_Ehdr header{};
  if (!file.Read(0, &header, sizeof header) ||
      std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) {
    return {"is not an ELF file"};
  }
  if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_ident[EI_DATA] != ELFDATA2LSB ||
      header.e_ident[EI_VERSION] != EV_CURRENT) {
    return {"is not a 64-bit little-endian ELF file"};
  }
  if (header.e_machine != EM_X86_64) return {"is not built for x86-64"};
  if (header.e_type != ET_DYN) return {"is not a shared object"};
  if (header.e_phentsize != sizeof(Elf64_Phdr) || header.e_phnum == 0 ||
      header.e_phnum > kMaxProgramHeaders) {
    return {std::string(kBadProgramHeaders)};
  }

  std::vector<Elf64_Phdr> loads;
  Elf64_Phdr dynamicSegment{};
  bool hasDynamic = false;
  for (std::uint64_t i = 0; i < header.e_phnum; ++i) {
    Elf64_Phdr segment{};
    std::uint64_t offset = 0;
    if (__builtin_mul_overflow(i, sizeof segment, &offset) ||
        __builtin_add_overflow(offset, header.e_phoff, &offset) ||
        !file.Read(offset, &segment, sizeof segment)) {
      return {std::string(kBadProgramHeaders)};
    }
    if (segment.p_type == PT_LOAD) loads.push_back(segment);
    if (segment.p_type == PT_DYNAMIC) {
      if (hasDynamic) return {std::string(kBadProgramHeaders)};
      dynamicSegment = segment;
      hasDynamic = true;
    }
  }
  if (!hasDynamic) return {"has no dynamic segment"};
  const Image image(file, std::move(loads));

  // The loader reads the dynamic segment where it is mapped, up to DT_NULL.
  Dynamic dynamic;
  bool ended = false;
  const std::uint64_t entries =
      std::min(dynamicSegment.p_filesz / sizeof(Elf64_Dyn), kMaxDynamicEntries);
  for (std::uint64_t i = 0; i < entries && !ended; ++i) {
    Elf64_Dyn entry{};
    if (!image.Element(dynamicSegment.p_vaddr, i, entry)) return {std::string(kBadDynamic)};
    const std::uint64_t value = entry.d_un.d_val;
    switch (entry.d_tag) {
      case DT_NULL: ended = true; break;
      case DT_SYMTAB: dynamic.symtab = value; break;
      case DT_STRTAB: dynamic.strtab = value; break;
      case DT_STRSZ: dynamic.strsz = value; break;
      case DT_SYMENT: dynamic.syment = value; break;
      case DT_GNU_HASH: dynamic.gnuHash = value; break;
      case DT_HASH: dynamic.sysvHash = value; break;
      default: break;
    }
  }
  if (!ended || dynamic.syment != sizeof(Elf64_Sym)) return {std::string(kBadDynamic)};
  if (dynamic.symtab == 0 || dynamic.strtab == 0 || dynamic.strsz == 0) {
    return {"has no dynamic symbol table"};
  }
  if (name.size() > kMaxName) return {"does not define " + std::string(name)};
  ElfExport found;
  if (dynamic.gnuHash != 0) {
    found = FindByGnuHash(image, dynamic, name);
  } else if (dynamic.sysvHash != 0) {
    found = FindBySysvHash(image, dynamic, name);
  } else {
    return {"has no symbol hash table"};
  }
  if (found.problem.empty() && found.value == 0) found.problem = "does not define " + std::string(name);
  return found;
}

}  // namespace vor::host
