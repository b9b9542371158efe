#include "runtime/result.h"

#include <gtest/gtest.h>

#include "runtime/errno_result.h"

namespace zel {
namespace {

TEST(ResultCodeTest, FailureBitInCAndCpp) {
  for (result_t code : {0x0u, 0x1u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
    EXPECT_EQ(Failed(code), code >= 0x80000000u) << std::hex << code;
    EXPECT_EQ(vor_failed(code), Failed(code));
    EXPECT_EQ(vor_succeeded(code), Succeeded(code));
  }
}

// Every public name with its number and its text: the one place a test spells
// a named code in hex.
TEST(ResultCodeTest, EveryNameHasItsNumberAndText) {
  const struct {
    result_t name;
    std::uint32_t number;
    std::string_view text;
  } table[] = {
      {kOk, 0x00000000, "No error"}, {kFalse, 0x00000001, "False"},
      {kErrNoInterface, 0x80000001, "Interface not supported"},
      {kErrUnexpected, 0x80000040, "Unexpected"}, {kErrOutOfMemory, 0x80000041, "Out of memory"},
      {kErrNotSupported, 0x80000042, "Not supported"},
      {kErrNotImplemented, 0x80000043, "Not implemented"},
      {kErrBufferTooSmall, 0x80000044, "Buffer too small"},
      {kErrAccessDenied, 0x80000045, "Access denied"},
      {kErrInvalidArgument, 0x80000046, "Invalid argument"}, {kErrBadCast, 0x80000047, "Bad cast"},
      {kErrNotMatched, 0x8000004a, "Not matched"},
      {kErrUnspecified, 0x8000004b, "Unspecified error"}, {kErrNotFound, 0x8000004c, "Not found"},
      {kErrFound, 0x8000004d, "Found"}, {kErrLocked, 0x8000004f, "Locked"},
      {kErrNotLocked, 0x80000050, "Not locked"}, {kErrCancelled, 0x80000051, "Operation cancelled"},
      {kErrMethodNotFound, 0x80000057, "Method not found"},
      {kErrStackEmpty, 0x80000058, "Stack is empty"}, {kErrMedia, 0x80000059, "Media error"},
      {kErrInvalidSignature, 0x8000005a, "Invalid signature"},
      {kErrInvalidVersion, 0x8000005b, "Invalid version"},
      {kErrInvalidSize, 0x8000005c, "Invalid size"}, {kErrInvalidType, 0x8000005d, "Invalid type"},
      {kErrOutOfRange, 0x8000005e, "Out of range"}, {kErrOutOfSpace, 0x80000062, "Out of space"},
      {kErrNotReady, 0x80000063, "Not ready"}, {kErrLessThan, 0x80000064, "Less than"},
      {kErrMoreThan, 0x80000065, "More than"}, {kErrProhibited, 0x80000066, "Prohibited"},
      {kErrAlreadyDone, 0x80000067, "Already done"}, {kErrNeedReboot, 0x80000068, "Need reboot"},
      {kErrBasesCorrupted, 0x80000069, "Bases corrupted"},
      {kErrInvalidState, 0x8000006a, "Invalid state"},
      {kErrNotInitialized, 0x8000006b, "Not initialized"},
      {kErrInsufficientResources, 0x8000006c, "Insufficient resources"},
      {kErrInvalidResult, 0x80000071, "Invalid result"},
      {kErrUnknownException, 0x80000072, "Unknown exception"},
      {kErrMetaInfoNotFound, 0x80000076, "Meta information not found"},
      {kErrOverflow, 0x80000077, "Numerical type overflow"},
      {kErrFileTooBig, 0x80000078, "File is too big"},
      {kErrTraceLevelOk, 0x80000079, "Trace level ok"},
      {kErrTraceLevelProhibited, 0x8000007a, "Trace level prohibited"},
      {kErrClassNotFound, 0x80000100, "Class not found"},
      {kErrSettingsRequired, 0x80000101, "Settings are required"},
      {kErrUnexpectedSettings, 0x80000102, "Unexpected settings"},
      {kErrWrongSettingsType, 0x80000103, "Wrong settings type"},
      {kErrWrongSettingsRevision, 0x80000104, "Wrong settings revision"},
      {kErrSettingsNotFound, 0x80000105, "Settings not found"},
      {kErrUntrusted, 0x80000106, "Object is untrusted"},
      {kErrNoCurrentException, 0x80000150, "No current exception"},
      {kErrNoResultCode, 0x80000151, "Exception has no result code"},
      {kErrSuccessInException, 0x80000152, "Exception with successful result code"},
      {kErrPropertyNotFound, 0x80000180, "Property not found"},
      {kErrTimeout, 0x80000221, "Operation timeout"},
      {kErrInvalidSymbol, 0x80000300, "Invalid symbol"},
      {kErrNonDecSymbol, 0x80000301, "Non dec symbol"},
      {kErrNonHexSymbol, 0x80000302, "Non hex symbol"},
      {kErrNonBase64Symbol, 0x80000303, "Non base64 symbol"},
      {kErrSyntax, 0x80000310, "Syntax error"}, {kErrGuidSyntax, 0x80000311, "GUID syntax error"},
      {kErrOidSyntax, 0x80000312, "OID syntax error"},
      {kErrDateTimeSyntax, 0x80000313, "DateTime syntax error"},
      {kErrPlatform, 0x80010100, "Unspecified platform error"},
      {kErrInvalidHandle, 0x80010101, "Invalid handle"},
      {kErrFileNotFound, 0x80010102, "File not found"},
      {kErrPathNotFound, 0x80010103, "Path not found"},
      {kErrSharingViolation, 0x80010104, "Sharing violation"},
      {kErrAlreadyExists, 0x80010105, "Already exists"},
      {kErrWaitAbandoned, 0x80010106, "Wait abandoned"},
      {kErrSymbolNotFound, 0x80010107, "Symbol not found"},
      {kErrSxsIncorrect, 0x80010108, "Sxs is incorrect"},
      {kErrInvalidPathName, 0x80010109, "Invalid path name"},
      {kErrAnonymousToken, 0x80010110, "Cannot open an anonymous level security token"},
      {kErrInvalidPassword, 0x80010111, "Password is invalid"},
      {kErrModuleNotFound, 0x80010112, "Module not found"},
      {kErrBadImageSignature, 0x80010113, "System image bad signature"},
      {kErrCloudFileAborted, 0x80010114, "Cloud file request aborted"},
      {kErrMappingFailed, 0x80010115, "Memory mapping failed"},
      {kErrNetwork, 0x80010116, "Network error"},
      {kErrBadImageFormat, 0x80010117, "System image bad format"},
      {kErrShutdownInProgress, 0x80010118, "System shutdown in progress"},
  };
  for (const auto& [name, number, text] : table) {
    EXPECT_EQ(name, number) << text;
    EXPECT_EQ(GetResultCodeMessage(name), text) << std::hex << number;
  }
  // No code with a text of its own is missing from the table (nor the header).
  std::size_t with_text = 2;  // kOk and kFalse
  for (result_t code = 0x80000000; code < 0x80020000; ++code) {
    with_text += GetResultCodeMessage(code) != "Unknown result code";
  }
  EXPECT_EQ(with_text, std::size(table));
}

TEST(ResultCodeTest, GapsAndOtherFacilitiesHaveNoText) {
  for (result_t code : {0x2u, 0x7fffffffu, 0x80000000u, 0x80000002u, 0x8000003fu, 0x80000048u,
                        0x80000049u, 0x8000007bu, 0x800000ffu, 0x80000107u, 0x8000014fu,
                        0x80000153u, 0x80000181u, 0x80000220u, 0x80000222u, 0x800002ffu,
                        0x80000304u, 0x8000030fu, 0x80000314u, 0x8000ffffu, 0x800100ffu,
                        0x80010119u, 0x00010100u, 0x80020000u, 0x80060002u, 0xffffffffu}) {
    EXPECT_EQ(GetResultCodeMessage(code), "Unknown result code") << std::hex << code;
  }
  for (result_t code = 0x8001010a; code <= 0x8001010f; ++code) {
    EXPECT_EQ(GetResultCodeMessage(code), "Unknown result code") << std::hex << code;
  }
}

TEST(ErrnoToResultTest, MapsEveryListedNumber) {
  const std::pair<int, result_t> cases[] = {
      {0, kOk}, {1, kErrAccessDenied}, {13, kErrAccessDenied}, {2, kErrFileNotFound},
      {5, kErrMedia}, {8, kErrBadImageFormat}, {9, kErrInvalidHandle}, {12, kErrOutOfMemory},
      {16, kErrLocked}, {26, kErrLocked}, {17, kErrAlreadyExists}, {20, kErrPathNotFound},
      {22, kErrInvalidArgument}, {27, kErrFileTooBig}, {28, kErrOutOfSpace}, {36, kErrInvalidSize},
      {40, kErrInvalidState}, {75, kErrBufferTooSmall}, {65535, kErrSymbolNotFound},
      {3, 0x80060003}, {84, 0x80060054}, {65534, 0x8006fffe}, {65536, kErrPlatform},
      {-1, kErrPlatform},
  };
  for (const auto& [error, code] : cases) {
    EXPECT_EQ(ErrnoToResult(error), code) << "errno " << error;
  }
}

}  // namespace
}  // namespace zel
