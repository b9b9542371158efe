// Result codes: bit 31 is the failure bit, bits 30..16 the facility (0 framework,
// 1 platform), bits 15..0 the number. Every code has a constant text.
#ifndef VOR_RUNTIME_RESULT_H_
#define VOR_RUNTIME_RESULT_H_

#include <cstdint>
#include <string_view>

#include "vor/object.h"

namespace zel {

inline constexpr result_t kOk = 0x00000000;
inline constexpr result_t kFalse = 0x00000001;
inline constexpr result_t kErrNoInterface = 0x80000001;
inline constexpr result_t kErrUnexpected = 0x80000040;
inline constexpr result_t kErrOutOfMemory = 0x80000041;
inline constexpr result_t kErrNotSupported = 0x80000042;
inline constexpr result_t kErrNotImplemented = 0x80000043;
inline constexpr result_t kErrBufferTooSmall = 0x80000044;
inline constexpr result_t kErrAccessDenied = 0x80000045;
inline constexpr result_t kErrInvalidArgument = 0x80000046;
inline constexpr result_t kErrBadCast = 0x80000047;
inline constexpr result_t kErrNotFound = 0x8000004c;
inline constexpr result_t kErrLocked = 0x8000004f;
inline constexpr result_t kErrMedia = 0x80000059;
inline constexpr result_t kErrInvalidSignature = 0x8000005a;
inline constexpr result_t kErrInvalidSize = 0x8000005c;
inline constexpr result_t kErrOutOfRange = 0x8000005e;
inline constexpr result_t kErrOutOfSpace = 0x80000062;
inline constexpr result_t kErrInvalidState = 0x8000006a;
inline constexpr result_t kErrNotInitialized = 0x8000006b;
inline constexpr result_t kErrUnknownException = 0x80000072;
inline constexpr result_t kErrFileTooBig = 0x80000078;
inline constexpr result_t kErrNoCurrentException = 0x80000150;
inline constexpr result_t kErrNoResultCode = 0x80000151;
inline constexpr result_t kErrSuccessInException = 0x80000152;
inline constexpr result_t kErrInvalidSymbol = 0x80000300;
inline constexpr result_t kErrPlatform = 0x80010100;
inline constexpr result_t kErrInvalidHandle = 0x80010101;
inline constexpr result_t kErrFileNotFound = 0x80010102;
inline constexpr result_t kErrPathNotFound = 0x80010103;
inline constexpr result_t kErrAlreadyExists = 0x80010105;
inline constexpr result_t kErrSymbolNotFound = 0x80010107;
inline constexpr result_t kErrInvalidPathName = 0x80010109;
inline constexpr result_t kErrBadImageFormat = 0x80010117;

// Every success/failure test in the module: a negative signed value fails.
constexpr bool Failed(result_t code) { return static_cast<std::int32_t>(code) < 0; }
constexpr bool Succeeded(result_t code) { return !Failed(code); }
constexpr std::uint32_t Facility(result_t code) { return (code >> 16) & 0x7fff; }

// The text of `code`, "Unknown result code" when it has none. Never fails,
// never allocates; the view refers to static storage.
std::string_view GetResultCodeMessage(result_t code);
std::string_view GetFrameworkCodeMessage(result_t code);
std::string_view GetPlatformCodeMessage(result_t code);

}  // namespace zel

#endif  // VOR_RUNTIME_RESULT_H_
