// The ELF reader that vets a module before root loads it, over arbitrary
// bytes: it answers, and says the entry point is defined exactly when it
// gives the entry point's address. The seeds are tiny shared objects, built
// with `gcc -shared -fPIC -nostdlib -fno-asynchronous-unwind-tables -s
// -Wl,-z,noseparate-code,-z,norelro,--build-id=none,--no-eh-frame-hdr`
// (and --hash-style=sysv for the one with the old hash table alone).
#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_host.h"
#include "host/elf_export.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const vor::host::ElfExport found =
      vor::host::FindElfExport(vor::host::MemoryBytes({data, size}), "zelGetObjectFactory");
  FUZZ_CHECK(found.problem.empty() == (found.value != 0));
  return 0;
}
