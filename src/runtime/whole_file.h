// Reads a small file whole through the host's file factory, in the steps the
// module's readers take: open an existing file for reading, get its size,
// take room for it, seek to its start when asked, read it in one read. Each
// caller traces a failed step in its own words.
#ifndef VOR_RUNTIME_WHOLE_FILE_H_
#define VOR_RUNTIME_WHOLE_FILE_H_

#include <cstdint>

#include "vor/io.h"
#include "vor/ref.h"
#include "vor/result.h"

namespace zel {

enum class ReadStep { kOpen, kSize, kSeek, kRead, kShortRead };

// `room(size)` gives the buffer for `size` bytes, or null to stop without a
// failure (a size the caller does not want); its size is taken as 32 bits, as
// the file's read takes it. `failed(step, code, got)` hears of a failed step
// (`got`: the bytes a short read brought). Returns the bytes read, or -1.
template <class Room, class Report>
std::int64_t ReadWholeFile(ILumoFileFactory* factory, const char16_t* path, std::uint32_t share,
                           bool rewind, Room room, Report failed) {
  vor::Ref<IIo> file;
  result_t code = factory->Open(path, ILumoFileFactory::kAccessRead, share,
                                ILumoFileFactory::kOpenExisting, 0, file.put());
  if (code != kOk || !file) return failed(ReadStep::kOpen, code, 0), -1;
  std::uint64_t size = 0;
  code = file->GetSize(&size);
  if (Failed(code)) return failed(ReadStep::kSize, code, 0), -1;
  const auto size32 = static_cast<std::uint32_t>(size);
  char* buffer = room(size);
  if (buffer == nullptr) return -1;
  if (rewind && Failed(code = file->Seek(0, IIo::kSeekBegin, nullptr))) {
    return failed(ReadStep::kSeek, code, 0), -1;
  }
  std::uint32_t got = 0;
  code = file->Read(buffer, size32, &got);
  if (Failed(code)) return failed(ReadStep::kRead, code, got), -1;
  if (got != size32) return failed(ReadStep::kShortRead, code, got), -1;
  return got;
}

}  // namespace zel

#endif  // VOR_RUNTIME_WHOLE_FILE_H_
