/* Result codes of the module and its hosts, for C (C11) and C++.
 *
 * A code is 32 bits: bit 31 is the failure bit (a negative signed value fails),
 * bits 30..16 the facility (0 framework, 1 platform), bits 15..0 the number.
 * Every code that has a text of its own is named here; any other code reads
 * "Unknown result code". */
#ifndef VOR_RESULT_H_
#define VOR_RESULT_H_

#include <errno.h>
#include <stdint.h>
#ifdef __cplusplus
#include <cstdint>
#include <string_view>
#else
#include <stdbool.h>
#endif

typedef uint32_t vor_result_t;

#define VOR_OK                             0x00000000u
#define VOR_FALSE                          0x00000001u

/* Framework codes (facility 0). */
#define VOR_E_NO_INTERFACE                 0x80000001u
#define VOR_E_UNEXPECTED                   0x80000040u
#define VOR_E_OUT_OF_MEMORY                0x80000041u
#define VOR_E_NOT_SUPPORTED                0x80000042u
#define VOR_E_NOT_IMPLEMENTED              0x80000043u
#define VOR_E_BUFFER_TOO_SMALL             0x80000044u
#define VOR_E_ACCESS_DENIED                0x80000045u
#define VOR_E_INVALID_ARGUMENT             0x80000046u
#define VOR_E_BAD_CAST                     0x80000047u
#define VOR_E_NOT_MATCHED                  0x8000004au
#define VOR_E_UNSPECIFIED                  0x8000004bu
#define VOR_E_NOT_FOUND                    0x8000004cu
#define VOR_E_FOUND                        0x8000004du
#define VOR_E_LOCKED                       0x8000004fu
#define VOR_E_NOT_LOCKED                   0x80000050u
#define VOR_E_CANCELLED                    0x80000051u
#define VOR_E_METHOD_NOT_FOUND             0x80000057u
#define VOR_E_STACK_EMPTY                  0x80000058u
#define VOR_E_MEDIA                        0x80000059u
#define VOR_E_INVALID_SIGNATURE            0x8000005au
#define VOR_E_INVALID_VERSION              0x8000005bu
#define VOR_E_INVALID_SIZE                 0x8000005cu
#define VOR_E_INVALID_TYPE                 0x8000005du
#define VOR_E_OUT_OF_RANGE                 0x8000005eu
#define VOR_E_OUT_OF_SPACE                 0x80000062u
#define VOR_E_NOT_READY                    0x80000063u
#define VOR_E_LESS_THAN                    0x80000064u
#define VOR_E_MORE_THAN                    0x80000065u
#define VOR_E_PROHIBITED                   0x80000066u
#define VOR_E_ALREADY_DONE                 0x80000067u
#define VOR_E_NEED_REBOOT                  0x80000068u
#define VOR_E_BASES_CORRUPTED              0x80000069u
#define VOR_E_INVALID_STATE                0x8000006au
#define VOR_E_NOT_INITIALIZED              0x8000006bu
#define VOR_E_INSUFFICIENT_RESOURCES       0x8000006cu
#define VOR_E_INVALID_RESULT               0x80000071u
#define VOR_E_UNKNOWN_EXCEPTION            0x80000072u
#define VOR_E_META_INFO_NOT_FOUND          0x80000076u
#define VOR_E_OVERFLOW                     0x80000077u
#define VOR_E_FILE_TOO_BIG                 0x80000078u
#define VOR_E_TRACE_LEVEL_OK               0x80000079u
#define VOR_E_TRACE_LEVEL_PROHIBITED       0x8000007au
#define VOR_E_CLASS_NOT_FOUND              0x80000100u
#define VOR_E_SETTINGS_REQUIRED            0x80000101u
#define VOR_E_UNEXPECTED_SETTINGS          0x80000102u
#define VOR_E_WRONG_SETTINGS_TYPE          0x80000103u
#define VOR_E_WRONG_SETTINGS_REVISION      0x80000104u
#define VOR_E_SETTINGS_NOT_FOUND           0x80000105u
#define VOR_E_UNTRUSTED                    0x80000106u
#define VOR_E_NO_CURRENT_EXCEPTION         0x80000150u
#define VOR_E_NO_RESULT_CODE               0x80000151u
#define VOR_E_SUCCESS_IN_EXCEPTION         0x80000152u
#define VOR_E_PROPERTY_NOT_FOUND           0x80000180u
#define VOR_E_TIMEOUT                      0x80000221u
#define VOR_E_INVALID_SYMBOL               0x80000300u
#define VOR_E_NON_DEC_SYMBOL               0x80000301u
#define VOR_E_NON_HEX_SYMBOL               0x80000302u
#define VOR_E_NON_BASE64_SYMBOL            0x80000303u
#define VOR_E_SYNTAX                       0x80000310u
#define VOR_E_GUID_SYNTAX                  0x80000311u
#define VOR_E_OID_SYNTAX                   0x80000312u
#define VOR_E_DATE_TIME_SYNTAX             0x80000313u

/* Platform codes (facility 1). */
#define VOR_E_PLATFORM                     0x80010100u
#define VOR_E_INVALID_HANDLE               0x80010101u
#define VOR_E_FILE_NOT_FOUND               0x80010102u
#define VOR_E_PATH_NOT_FOUND               0x80010103u
#define VOR_E_SHARING_VIOLATION            0x80010104u
#define VOR_E_ALREADY_EXISTS               0x80010105u
#define VOR_E_WAIT_ABANDONED               0x80010106u
#define VOR_E_SYMBOL_NOT_FOUND             0x80010107u
#define VOR_E_SXS_INCORRECT                0x80010108u
#define VOR_E_INVALID_PATH_NAME            0x80010109u
#define VOR_E_ANONYMOUS_TOKEN              0x80010110u
#define VOR_E_INVALID_PASSWORD             0x80010111u
#define VOR_E_MODULE_NOT_FOUND             0x80010112u
#define VOR_E_BAD_IMAGE_SIGNATURE          0x80010113u
#define VOR_E_CLOUD_FILE_ABORTED           0x80010114u
#define VOR_E_MAPPING_FAILED               0x80010115u
#define VOR_E_NETWORK                      0x80010116u
#define VOR_E_BAD_IMAGE_FORMAT             0x80010117u
#define VOR_E_SHUTDOWN_IN_PROGRESS         0x80010118u

/* The one table of the failure codes: each name with its text. The C++ names
 * (zel::kErr...), the texts of vor_result_message and of the module, and the
 * table of docs/result-codes.md (held to it by a test) all come from it.
 * X(NAME, CamelName, "Text"). */
#define VOR_RESULT_CODES(X) \
  X(VOR_E_NO_INTERFACE, NoInterface, "Interface not supported") \
  X(VOR_E_UNEXPECTED, Unexpected, "Unexpected") \
  X(VOR_E_OUT_OF_MEMORY, OutOfMemory, "Out of memory") \
  X(VOR_E_NOT_SUPPORTED, NotSupported, "Not supported") \
  X(VOR_E_NOT_IMPLEMENTED, NotImplemented, "Not implemented") \
  X(VOR_E_BUFFER_TOO_SMALL, BufferTooSmall, "Buffer too small") \
  X(VOR_E_ACCESS_DENIED, AccessDenied, "Access denied") \
  X(VOR_E_INVALID_ARGUMENT, InvalidArgument, "Invalid argument") \
  X(VOR_E_BAD_CAST, BadCast, "Bad cast") \
  X(VOR_E_NOT_MATCHED, NotMatched, "Not matched") \
  X(VOR_E_UNSPECIFIED, Unspecified, "Unspecified error") \
  X(VOR_E_NOT_FOUND, NotFound, "Not found") \
  X(VOR_E_FOUND, Found, "Found") \
  X(VOR_E_LOCKED, Locked, "Locked") \
  X(VOR_E_NOT_LOCKED, NotLocked, "Not locked") \
  X(VOR_E_CANCELLED, Cancelled, "Operation cancelled") \
  X(VOR_E_METHOD_NOT_FOUND, MethodNotFound, "Method not found") \
  X(VOR_E_STACK_EMPTY, StackEmpty, "Stack is empty") \
  X(VOR_E_MEDIA, Media, "Media error") \
  X(VOR_E_INVALID_SIGNATURE, InvalidSignature, "Invalid signature") \
  X(VOR_E_INVALID_VERSION, InvalidVersion, "Invalid version") \
  X(VOR_E_INVALID_SIZE, InvalidSize, "Invalid size") \
  X(VOR_E_INVALID_TYPE, InvalidType, "Invalid type") \
  X(VOR_E_OUT_OF_RANGE, OutOfRange, "Out of range") \
  X(VOR_E_OUT_OF_SPACE, OutOfSpace, "Out of space") \
  X(VOR_E_NOT_READY, NotReady, "Not ready") \
  X(VOR_E_LESS_THAN, LessThan, "Less than") \
  X(VOR_E_MORE_THAN, MoreThan, "More than") \
  X(VOR_E_PROHIBITED, Prohibited, "Prohibited") \
  X(VOR_E_ALREADY_DONE, AlreadyDone, "Already done") \
  X(VOR_E_NEED_REBOOT, NeedReboot, "Need reboot") \
  X(VOR_E_BASES_CORRUPTED, BasesCorrupted, "Bases corrupted") \
  X(VOR_E_INVALID_STATE, InvalidState, "Invalid state") \
  X(VOR_E_NOT_INITIALIZED, NotInitialized, "Not initialized") \
  X(VOR_E_INSUFFICIENT_RESOURCES, InsufficientResources, "Insufficient resources") \
  X(VOR_E_INVALID_RESULT, InvalidResult, "Invalid result") \
  X(VOR_E_UNKNOWN_EXCEPTION, UnknownException, "Unknown exception") \
  X(VOR_E_META_INFO_NOT_FOUND, MetaInfoNotFound, "Meta information not found") \
  X(VOR_E_OVERFLOW, Overflow, "Numerical type overflow") \
  X(VOR_E_FILE_TOO_BIG, FileTooBig, "File is too big") \
  X(VOR_E_TRACE_LEVEL_OK, TraceLevelOk, "Trace level ok") \
  X(VOR_E_TRACE_LEVEL_PROHIBITED, TraceLevelProhibited, "Trace level prohibited") \
  X(VOR_E_CLASS_NOT_FOUND, ClassNotFound, "Class not found") \
  X(VOR_E_SETTINGS_REQUIRED, SettingsRequired, "Settings are required") \
  X(VOR_E_UNEXPECTED_SETTINGS, UnexpectedSettings, "Unexpected settings") \
  X(VOR_E_WRONG_SETTINGS_TYPE, WrongSettingsType, "Wrong settings type") \
  X(VOR_E_WRONG_SETTINGS_REVISION, WrongSettingsRevision, "Wrong settings revision") \
  X(VOR_E_SETTINGS_NOT_FOUND, SettingsNotFound, "Settings not found") \
  X(VOR_E_UNTRUSTED, Untrusted, "Object is untrusted") \
  X(VOR_E_NO_CURRENT_EXCEPTION, NoCurrentException, "No current exception") \
  X(VOR_E_NO_RESULT_CODE, NoResultCode, "Exception has no result code") \
  X(VOR_E_SUCCESS_IN_EXCEPTION, SuccessInException, "Exception with successful result code") \
  X(VOR_E_PROPERTY_NOT_FOUND, PropertyNotFound, "Property not found") \
  X(VOR_E_TIMEOUT, Timeout, "Operation timeout") \
  X(VOR_E_INVALID_SYMBOL, InvalidSymbol, "Invalid symbol") \
  X(VOR_E_NON_DEC_SYMBOL, NonDecSymbol, "Non dec symbol") \
  X(VOR_E_NON_HEX_SYMBOL, NonHexSymbol, "Non hex symbol") \
  X(VOR_E_NON_BASE64_SYMBOL, NonBase64Symbol, "Non base64 symbol") \
  X(VOR_E_SYNTAX, Syntax, "Syntax error") \
  X(VOR_E_GUID_SYNTAX, GuidSyntax, "GUID syntax error") \
  X(VOR_E_OID_SYNTAX, OidSyntax, "OID syntax error") \
  X(VOR_E_DATE_TIME_SYNTAX, DateTimeSyntax, "DateTime syntax error") \
  X(VOR_E_PLATFORM, Platform, "Unspecified platform error") \
  X(VOR_E_INVALID_HANDLE, InvalidHandle, "Invalid handle") \
  X(VOR_E_FILE_NOT_FOUND, FileNotFound, "File not found") \
  X(VOR_E_PATH_NOT_FOUND, PathNotFound, "Path not found") \
  X(VOR_E_SHARING_VIOLATION, SharingViolation, "Sharing violation") \
  X(VOR_E_ALREADY_EXISTS, AlreadyExists, "Already exists") \
  X(VOR_E_WAIT_ABANDONED, WaitAbandoned, "Wait abandoned") \
  X(VOR_E_SYMBOL_NOT_FOUND, SymbolNotFound, "Symbol not found") \
  X(VOR_E_SXS_INCORRECT, SxsIncorrect, "Sxs is incorrect") \
  X(VOR_E_INVALID_PATH_NAME, InvalidPathName, "Invalid path name") \
  X(VOR_E_ANONYMOUS_TOKEN, AnonymousToken, "Cannot open an anonymous level security token") \
  X(VOR_E_INVALID_PASSWORD, InvalidPassword, "Password is invalid") \
  X(VOR_E_MODULE_NOT_FOUND, ModuleNotFound, "Module not found") \
  X(VOR_E_BAD_IMAGE_SIGNATURE, BadImageSignature, "System image bad signature") \
  X(VOR_E_CLOUD_FILE_ABORTED, CloudFileAborted, "Cloud file request aborted") \
  X(VOR_E_MAPPING_FAILED, MappingFailed, "Memory mapping failed") \
  X(VOR_E_NETWORK, Network, "Network error") \
  X(VOR_E_BAD_IMAGE_FORMAT, BadImageFormat, "System image bad format") \
  X(VOR_E_SHUTDOWN_IN_PROGRESS, ShutdownInProgress, "System shutdown in progress")

static inline bool vor_failed(vor_result_t code) { return (code & 0x80000000u) != 0; }
static inline bool vor_succeeded(vor_result_t code) { return (code & 0x80000000u) == 0; }

/* The code for a C library error number, the module's and its hosts' alike:
 * 0 gives VOR_OK; a number without a code of its own below 65536 gives
 * 0x80060000 | number, above that VOR_E_PLATFORM. */
static inline vor_result_t vor_result_from_errno(int error) {
  switch (error) {
    case 0: return VOR_OK;
    case EPERM:
    case EACCES: return VOR_E_ACCESS_DENIED;
    case ENOENT: return VOR_E_FILE_NOT_FOUND;
    case EIO: return VOR_E_MEDIA;
    case ENOEXEC: return VOR_E_BAD_IMAGE_FORMAT;
    case EBADF: return VOR_E_INVALID_HANDLE;
    case ENOMEM: return VOR_E_OUT_OF_MEMORY;
    case EBUSY:
    case ETXTBSY: return VOR_E_LOCKED;
    case EEXIST: return VOR_E_ALREADY_EXISTS;
    case ENOTDIR: return VOR_E_PATH_NOT_FOUND;
    case EINVAL: return VOR_E_INVALID_ARGUMENT;
    case EFBIG: return VOR_E_FILE_TOO_BIG;
    case ENOSPC: return VOR_E_OUT_OF_SPACE;
    case ENAMETOOLONG: return VOR_E_INVALID_SIZE;
    case ELOOP: return VOR_E_INVALID_STATE;
    case EOVERFLOW: return VOR_E_BUFFER_TOO_SMALL;
    case 65535: return VOR_E_SYMBOL_NOT_FOUND;
    default: break;
  }
  return (unsigned)error < 65536u ? 0x80060000u | (unsigned)error : VOR_E_PLATFORM;
}

#ifdef __cplusplus

namespace zel {

using result_t = vor_result_t;

inline constexpr result_t kOk = VOR_OK;
inline constexpr result_t kFalse = VOR_FALSE;
// kErrNoInterface, kErrOutOfMemory, ... for every VOR_E_ name of the table.
#define VOR_RESULT_CONSTANT(name, Camel, text) inline constexpr result_t kErr##Camel = name;
VOR_RESULT_CODES(VOR_RESULT_CONSTANT)
#undef VOR_RESULT_CONSTANT

// The text of `code`: "Unknown result code" for a code the table does not
// name. Static, 7-bit text; never fails, never allocates.
constexpr std::string_view ResultCodeText(result_t code) {
  switch (code) {
    case VOR_OK: return "No error";
    case VOR_FALSE: return "False";
#define VOR_RESULT_CASE(name, Camel, text) \
  case name:                               \
    return text;
    VOR_RESULT_CODES(VOR_RESULT_CASE)
#undef VOR_RESULT_CASE
    default: return "Unknown result code";
  }
}

// Every success/failure test: a negative signed value fails.
constexpr bool Failed(result_t code) { return static_cast<std::int32_t>(code) < 0; }
constexpr bool Succeeded(result_t code) { return !Failed(code); }
constexpr std::uint32_t Facility(result_t code) { return (code >> 16) & 0x7fff; }

}  // namespace zel

#endif  /* __cplusplus */

#endif  /* VOR_RESULT_H_ */
