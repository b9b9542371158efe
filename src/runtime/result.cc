// The one table of result code texts. It needs only vor/result.h and the
// standard library (src/CMakeLists.txt builds it so), so that a host library
// can compile this same file; "result.h" is the header beside this one.
#include "result.h"

#include <array>

namespace zel {
namespace {

constexpr std::string_view kUnknown = "Unknown result code";

// Platform texts indexed by code - 0x80010100; the gap 0x0a-0x0f has none.
constexpr std::array<std::string_view, 0x19> kPlatformTexts = {
    "Unspecified platform error",
    "Invalid handle",
    "File not found",
    "Path not found",
    "Sharing violation",
    "Already exists",
    "Wait abandoned",
    "Symbol not found",
    "Sxs is incorrect",
    "Invalid path name",
    {}, {}, {}, {}, {}, {},
    "Cannot open an anonymous level security token",
    "Password is invalid",
    "Module not found",
    "System image bad signature",
    "Cloud file request aborted",
    "Memory mapping failed",
    "Network error",
    "System image bad format",
    "System shutdown in progress",
};

constexpr bool InFrameworkBand(result_t code) {
  return (code >= kErrNoInterface && code <= kErrPropertyNotFound) || code == kErrTimeout ||
         (code >= kErrInvalidSymbol && code <= kErrDateTimeSyntax);
}

std::string_view FrameworkBandText(result_t code) {
  switch (code) {
    case kErrNoInterface: return "Interface not supported";
    case kErrUnexpected: return "Unexpected";
    case kErrOutOfMemory: return "Out of memory";
    case kErrNotSupported: return "Not supported";
    case kErrNotImplemented: return "Not implemented";
    case kErrBufferTooSmall: return "Buffer too small";
    case kErrAccessDenied: return "Access denied";
    case kErrInvalidArgument: return "Invalid argument";
    case kErrBadCast: return "Bad cast";
    case kErrNotMatched: return "Not matched";
    case kErrUnspecified: return "Unspecified error";
    case kErrNotFound: return "Not found";
    case kErrFound: return "Found";
    case kErrLocked: return "Locked";
    case kErrNotLocked: return "Not locked";
    case kErrCancelled: return "Operation cancelled";
    case kErrMethodNotFound: return "Method not found";
    case kErrStackEmpty: return "Stack is empty";
    case kErrMedia: return "Media error";
    case kErrInvalidSignature: return "Invalid signature";
    case kErrInvalidVersion: return "Invalid version";
    case kErrInvalidSize: return "Invalid size";
    case kErrInvalidType: return "Invalid type";
    case kErrOutOfRange: return "Out of range";
    case kErrOutOfSpace: return "Out of space";
    case kErrNotReady: return "Not ready";
    case kErrLessThan: return "Less than";
    case kErrMoreThan: return "More than";
    case kErrProhibited: return "Prohibited";
    case kErrAlreadyDone: return "Already done";
    case kErrNeedReboot: return "Need reboot";
    case kErrBasesCorrupted: return "Bases corrupted";
    case kErrInvalidState: return "Invalid state";
    case kErrNotInitialized: return "Not initialized";
    case kErrInsufficientResources: return "Insufficient resources";
    case kErrInvalidResult: return "Invalid result";
    case kErrUnknownException: return "Unknown exception";
    case kErrMetaInfoNotFound: return "Meta information not found";
    case kErrOverflow: return "Numerical type overflow";
    case kErrFileTooBig: return "File is too big";
    case kErrTraceLevelOk: return "Trace level ok";
    case kErrTraceLevelProhibited: return "Trace level prohibited";
    case kErrClassNotFound: return "Class not found";
    case kErrSettingsRequired: return "Settings are required";
    case kErrUnexpectedSettings: return "Unexpected settings";
    case kErrWrongSettingsType: return "Wrong settings type";
    case kErrWrongSettingsRevision: return "Wrong settings revision";
    case kErrSettingsNotFound: return "Settings not found";
    case kErrUntrusted: return "Object is untrusted";
    case kErrNoCurrentException: return "No current exception";
    case kErrNoResultCode: return "Exception has no result code";
    case kErrSuccessInException: return "Exception with successful result code";
    case kErrPropertyNotFound: return "Property not found";
    case kErrTimeout: return "Operation timeout";
    case kErrInvalidSymbol: return "Invalid symbol";
    case kErrNonDecSymbol: return "Non dec symbol";
    case kErrNonHexSymbol: return "Non hex symbol";
    case kErrNonBase64Symbol: return "Non base64 symbol";
    case kErrSyntax: return "Syntax error";
    case kErrGuidSyntax: return "GUID syntax error";
    case kErrOidSyntax: return "OID syntax error";
    case kErrDateTimeSyntax: return "DateTime syntax error";
    default: return kUnknown;
  }
}

}  // namespace

std::string_view GetFrameworkCodeMessage(result_t code) {
  if (code == kOk) return "No error";
  if (code == kFalse) return "False";
  if (!Failed(code) || !InFrameworkBand(code)) return kUnknown;
  return FrameworkBandText(code);
}

std::string_view GetPlatformCodeMessage(result_t code) {
  const result_t index = code - kErrPlatform;  // wraps for codes below the band
  if (index >= kPlatformTexts.size() || kPlatformTexts[index].empty()) return kUnknown;
  return kPlatformTexts[index];
}

std::string_view GetResultCodeMessage(result_t code) {
  switch (Facility(code)) {
    case 0: return GetFrameworkCodeMessage(code);
    case 1: return GetPlatformCodeMessage(code);
    default: return kUnknown;
  }
}

}  // namespace zel
