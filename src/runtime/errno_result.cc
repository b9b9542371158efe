#include "runtime/errno_result.h"

#include "runtime/result.h"

namespace zel {

result_t ErrnoToResult(int error) {
  switch (error) {
    case 0: return kOk;
    case 1:   // EPERM
    case 13:  // EACCES
      return kErrAccessDenied;
    case 2: return kErrFileNotFound;        // ENOENT
    case 5: return kErrMedia;               // EIO
    case 8: return kErrBadImageFormat;      // ENOEXEC
    case 9: return kErrInvalidHandle;       // EBADF
    case 12: return kErrOutOfMemory;        // ENOMEM
    case 16:                                // EBUSY
    case 26:                                // ETXTBSY
      return kErrLocked;
    case 17: return kErrAlreadyExists;      // EEXIST
    case 20: return kErrPathNotFound;       // ENOTDIR
    case 22: return kErrInvalidArgument;    // EINVAL
    case 27: return kErrFileTooBig;         // EFBIG
    case 28: return kErrOutOfSpace;         // ENOSPC
    case 36: return kErrInvalidSize;        // ENAMETOOLONG
    case 40: return kErrInvalidState;       // ELOOP
    case 75: return kErrBufferTooSmall;     // EOVERFLOW
    case 65535: return kErrSymbolNotFound;
    default: break;
  }
  const unsigned value = static_cast<unsigned>(error);
  if (value < 65536) return 0x80060000u | value;
  return kErrPlatform;
}

}  // namespace zel
