/* Result codes of the module and its hosts, for C (C11) and C++.
 *
 * A code is 32 bits: bit 31 is the failure bit (a negative signed value fails),
 * bits 30..16 the facility (0 framework, 1 platform), bits 15..0 the number.
 * Every code that has a text of its own is named here; any other code reads
 * "Unknown result code". */
#ifndef VOR_RESULT_H_
#define VOR_RESULT_H_

#include <stdint.h>
#ifdef __cplusplus
#include <cstdint>
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

static inline bool vor_failed(vor_result_t code) { return (code & 0x80000000u) != 0; }
static inline bool vor_succeeded(vor_result_t code) { return (code & 0x80000000u) == 0; }

#ifdef __cplusplus

namespace zel {

using result_t = vor_result_t;

inline constexpr result_t kOk = VOR_OK;
inline constexpr result_t kFalse = VOR_FALSE;
inline constexpr result_t kErrNoInterface = VOR_E_NO_INTERFACE;
inline constexpr result_t kErrUnexpected = VOR_E_UNEXPECTED;
inline constexpr result_t kErrOutOfMemory = VOR_E_OUT_OF_MEMORY;
inline constexpr result_t kErrNotSupported = VOR_E_NOT_SUPPORTED;
inline constexpr result_t kErrNotImplemented = VOR_E_NOT_IMPLEMENTED;
inline constexpr result_t kErrBufferTooSmall = VOR_E_BUFFER_TOO_SMALL;
inline constexpr result_t kErrAccessDenied = VOR_E_ACCESS_DENIED;
inline constexpr result_t kErrInvalidArgument = VOR_E_INVALID_ARGUMENT;
inline constexpr result_t kErrBadCast = VOR_E_BAD_CAST;
inline constexpr result_t kErrNotMatched = VOR_E_NOT_MATCHED;
inline constexpr result_t kErrUnspecified = VOR_E_UNSPECIFIED;
inline constexpr result_t kErrNotFound = VOR_E_NOT_FOUND;
inline constexpr result_t kErrFound = VOR_E_FOUND;
inline constexpr result_t kErrLocked = VOR_E_LOCKED;
inline constexpr result_t kErrNotLocked = VOR_E_NOT_LOCKED;
inline constexpr result_t kErrCancelled = VOR_E_CANCELLED;
inline constexpr result_t kErrMethodNotFound = VOR_E_METHOD_NOT_FOUND;
inline constexpr result_t kErrStackEmpty = VOR_E_STACK_EMPTY;
inline constexpr result_t kErrMedia = VOR_E_MEDIA;
inline constexpr result_t kErrInvalidSignature = VOR_E_INVALID_SIGNATURE;
inline constexpr result_t kErrInvalidVersion = VOR_E_INVALID_VERSION;
inline constexpr result_t kErrInvalidSize = VOR_E_INVALID_SIZE;
inline constexpr result_t kErrInvalidType = VOR_E_INVALID_TYPE;
inline constexpr result_t kErrOutOfRange = VOR_E_OUT_OF_RANGE;
inline constexpr result_t kErrOutOfSpace = VOR_E_OUT_OF_SPACE;
inline constexpr result_t kErrNotReady = VOR_E_NOT_READY;
inline constexpr result_t kErrLessThan = VOR_E_LESS_THAN;
inline constexpr result_t kErrMoreThan = VOR_E_MORE_THAN;
inline constexpr result_t kErrProhibited = VOR_E_PROHIBITED;
inline constexpr result_t kErrAlreadyDone = VOR_E_ALREADY_DONE;
inline constexpr result_t kErrNeedReboot = VOR_E_NEED_REBOOT;
inline constexpr result_t kErrBasesCorrupted = VOR_E_BASES_CORRUPTED;
inline constexpr result_t kErrInvalidState = VOR_E_INVALID_STATE;
inline constexpr result_t kErrNotInitialized = VOR_E_NOT_INITIALIZED;
inline constexpr result_t kErrInsufficientResources = VOR_E_INSUFFICIENT_RESOURCES;
inline constexpr result_t kErrInvalidResult = VOR_E_INVALID_RESULT;
inline constexpr result_t kErrUnknownException = VOR_E_UNKNOWN_EXCEPTION;
inline constexpr result_t kErrMetaInfoNotFound = VOR_E_META_INFO_NOT_FOUND;
inline constexpr result_t kErrOverflow = VOR_E_OVERFLOW;
inline constexpr result_t kErrFileTooBig = VOR_E_FILE_TOO_BIG;
inline constexpr result_t kErrTraceLevelOk = VOR_E_TRACE_LEVEL_OK;
inline constexpr result_t kErrTraceLevelProhibited = VOR_E_TRACE_LEVEL_PROHIBITED;
inline constexpr result_t kErrClassNotFound = VOR_E_CLASS_NOT_FOUND;
inline constexpr result_t kErrSettingsRequired = VOR_E_SETTINGS_REQUIRED;
inline constexpr result_t kErrUnexpectedSettings = VOR_E_UNEXPECTED_SETTINGS;
inline constexpr result_t kErrWrongSettingsType = VOR_E_WRONG_SETTINGS_TYPE;
inline constexpr result_t kErrWrongSettingsRevision = VOR_E_WRONG_SETTINGS_REVISION;
inline constexpr result_t kErrSettingsNotFound = VOR_E_SETTINGS_NOT_FOUND;
inline constexpr result_t kErrUntrusted = VOR_E_UNTRUSTED;
inline constexpr result_t kErrNoCurrentException = VOR_E_NO_CURRENT_EXCEPTION;
inline constexpr result_t kErrNoResultCode = VOR_E_NO_RESULT_CODE;
inline constexpr result_t kErrSuccessInException = VOR_E_SUCCESS_IN_EXCEPTION;
inline constexpr result_t kErrPropertyNotFound = VOR_E_PROPERTY_NOT_FOUND;
inline constexpr result_t kErrTimeout = VOR_E_TIMEOUT;
inline constexpr result_t kErrInvalidSymbol = VOR_E_INVALID_SYMBOL;
inline constexpr result_t kErrNonDecSymbol = VOR_E_NON_DEC_SYMBOL;
inline constexpr result_t kErrNonHexSymbol = VOR_E_NON_HEX_SYMBOL;
inline constexpr result_t kErrNonBase64Symbol = VOR_E_NON_BASE64_SYMBOL;
inline constexpr result_t kErrSyntax = VOR_E_SYNTAX;
inline constexpr result_t kErrGuidSyntax = VOR_E_GUID_SYNTAX;
inline constexpr result_t kErrOidSyntax = VOR_E_OID_SYNTAX;
inline constexpr result_t kErrDateTimeSyntax = VOR_E_DATE_TIME_SYNTAX;
inline constexpr result_t kErrPlatform = VOR_E_PLATFORM;
inline constexpr result_t kErrInvalidHandle = VOR_E_INVALID_HANDLE;
inline constexpr result_t kErrFileNotFound = VOR_E_FILE_NOT_FOUND;
inline constexpr result_t kErrPathNotFound = VOR_E_PATH_NOT_FOUND;
inline constexpr result_t kErrSharingViolation = VOR_E_SHARING_VIOLATION;
inline constexpr result_t kErrAlreadyExists = VOR_E_ALREADY_EXISTS;
inline constexpr result_t kErrWaitAbandoned = VOR_E_WAIT_ABANDONED;
inline constexpr result_t kErrSymbolNotFound = VOR_E_SYMBOL_NOT_FOUND;
inline constexpr result_t kErrSxsIncorrect = VOR_E_SXS_INCORRECT;
inline constexpr result_t kErrInvalidPathName = VOR_E_INVALID_PATH_NAME;
inline constexpr result_t kErrAnonymousToken = VOR_E_ANONYMOUS_TOKEN;
inline constexpr result_t kErrInvalidPassword = VOR_E_INVALID_PASSWORD;
inline constexpr result_t kErrModuleNotFound = VOR_E_MODULE_NOT_FOUND;
inline constexpr result_t kErrBadImageSignature = VOR_E_BAD_IMAGE_SIGNATURE;
inline constexpr result_t kErrCloudFileAborted = VOR_E_CLOUD_FILE_ABORTED;
inline constexpr result_t kErrMappingFailed = VOR_E_MAPPING_FAILED;
inline constexpr result_t kErrNetwork = VOR_E_NETWORK;
inline constexpr result_t kErrBadImageFormat = VOR_E_BAD_IMAGE_FORMAT;
inline constexpr result_t kErrShutdownInProgress = VOR_E_SHUTDOWN_IN_PROGRESS;

// Every success/failure test: a negative signed value fails.
constexpr bool Failed(result_t code) { return static_cast<std::int32_t>(code) < 0; }
constexpr bool Succeeded(result_t code) { return !Failed(code); }
constexpr std::uint32_t Facility(result_t code) { return (code >> 16) & 0x7fff; }

}  // namespace zel

#endif  /* __cplusplus */

#endif  /* VOR_RESULT_H_ */
