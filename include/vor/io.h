// Files and streams: the host's lumo file factory, the stream objects it and
// the storage hand out, and the storage that carries the lists' updates.
#ifndef VOR_IO_H_
#define VOR_IO_H_

#include <cstdint>

#include "vor/object.h"

namespace zel {

class IIo : public IObject {
 public:
  static constexpr std::uint32_t kSeekBegin = 0;
  static constexpr std::uint32_t kSeekCurrent = 1;
  static constexpr std::uint32_t kSeekEnd = 2;

  virtual result_t Read(void* buffer, std::uint32_t size, std::uint32_t* bytesRead) = 0;  // 3
  virtual result_t Write(const void* buffer, std::uint32_t size,
                         std::uint32_t* bytesWritten) = 0;                                 // 4
  // `position` may be null.
  virtual result_t Seek(std::int64_t offset, std::uint32_t origin,
                        std::uint64_t* position) = 0;                                      // 5
  virtual result_t SetSize(std::uint64_t size) = 0;                                        // 6
  virtual result_t GetSize(std::uint64_t* size) = 0;                                       // 7

 protected:
  ~IIo() = default;
};

class ILumoFileFactory : public IObject {
 public:
  static constexpr std::uint32_t kIid = 0x5e5d84c0;
  static constexpr std::uint32_t kServiceId = 0x325e6bc8;

  static constexpr std::uint32_t kAccessRead = 1;
  static constexpr std::uint32_t kShareRead = 1;
  static constexpr std::uint32_t kShareReadWrite = 3;
  static constexpr std::uint32_t kOpenExisting = 4;

  // Any result other than 0 means "not opened".
  virtual result_t Open(const char16_t* path, std::uint32_t access, std::uint32_t share,
                        std::uint32_t disposition, std::uint32_t flags, IIo** out) = 0;  // 3

 protected:
  ~ILumoFileFactory() = default;
};

class IStorage : public IObject {
 public:
  static constexpr std::uint32_t kModeRead = 0;

  virtual result_t Open(const char16_t* name, std::uint32_t mode, IIo** out) = 0;  // 3

 protected:
  ~IStorage() = default;
};

}  // namespace zel

#endif  // VOR_IO_H_
