#include "runtime/result.h"

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
  return (code >= 0x80000001 && code <= 0x80000180) || code == 0x80000221 ||
         (code >= 0x80000300 && code <= 0x80000313);
}

std::string_view FrameworkBandText(result_t code) {
  switch (code) {
    case 0x80000001: return "Interface not supported";
    case 0x80000040: return "Unexpected";
    case 0x80000041: return "Out of memory";
    case 0x80000042: return "Not supported";
    case 0x80000043: return "Not implemented";
    case 0x80000044: return "Buffer too small";
    case 0x80000045: return "Access denied";
    case 0x80000046: return "Invalid argument";
    case 0x80000047: return "Bad cast";
    case 0x8000004a: return "Not matched";
    case 0x8000004b: return "Unspecified error";
    case 0x8000004c: return "Not found";
    case 0x8000004d: return "Found";
    case 0x8000004f: return "Locked";
    case 0x80000050: return "Not locked";
    case 0x80000051: return "Operation cancelled";
    case 0x80000057: return "Method not found";
    case 0x80000058: return "Stack is empty";
    case 0x80000059: return "Media error";
    case 0x8000005a: return "Invalid signature";
    case 0x8000005b: return "Invalid version";
    case 0x8000005c: return "Invalid size";
    case 0x8000005d: return "Invalid type";
    case 0x8000005e: return "Out of range";
    case 0x80000062: return "Out of space";
    case 0x80000063: return "Not ready";
    case 0x80000064: return "Less than";
    case 0x80000065: return "More than";
    case 0x80000066: return "Prohibited";
    case 0x80000067: return "Already done";
    case 0x80000068: return "Need reboot";
    case 0x80000069: return "Bases corrupted";
    case 0x8000006a: return "Invalid state";
    case 0x8000006b: return "Not initialized";
    case 0x8000006c: return "Insufficient resources";
    case 0x80000071: return "Invalid result";
    case 0x80000072: return "Unknown exception";
    case 0x80000076: return "Meta information not found";
    case 0x80000077: return "Numerical type overflow";
    case 0x80000078: return "File is too big";
    case 0x80000079: return "Trace level ok";
    case 0x8000007a: return "Trace level prohibited";
    case 0x80000100: return "Class not found";
    case 0x80000101: return "Settings are required";
    case 0x80000102: return "Unexpected settings";
    case 0x80000103: return "Wrong settings type";
    case 0x80000104: return "Wrong settings revision";
    case 0x80000105: return "Settings not found";
    case 0x80000106: return "Object is untrusted";
    case 0x80000150: return "No current exception";
    case 0x80000151: return "Exception has no result code";
    case 0x80000152: return "Exception with successful result code";
    case 0x80000180: return "Property not found";
    case 0x80000221: return "Operation timeout";
    case 0x80000300: return "Invalid symbol";
    case 0x80000301: return "Non dec symbol";
    case 0x80000302: return "Non hex symbol";
    case 0x80000303: return "Non base64 symbol";
    case 0x80000310: return "Syntax error";
    case 0x80000311: return "GUID syntax error";
    case 0x80000312: return "OID syntax error";
    case 0x80000313: return "DateTime syntax error";
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
