#include "runtime/result.h"

#include <gtest/gtest.h>

#include "runtime/errno_result.h"

namespace zel {
namespace {

TEST(ResultCodeTest, SuccessCodesAndFailureBit) {
  EXPECT_EQ(GetResultCodeMessage(0), "No error");
  EXPECT_EQ(GetResultCodeMessage(1), "False");
  EXPECT_EQ(GetResultCodeMessage(2), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x7fffffff), "Unknown result code");
  EXPECT_TRUE(Failed(0x80000000));
  EXPECT_FALSE(Failed(0x7fffffff));
  EXPECT_FALSE(Failed(1));
}

TEST(ResultCodeTest, FrameworkBandEdges) {
  EXPECT_EQ(GetResultCodeMessage(0x80000000), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000001), "Interface not supported");
  EXPECT_EQ(GetResultCodeMessage(0x80000002), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x8000003f), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000040), "Unexpected");
  EXPECT_EQ(GetResultCodeMessage(0x80000047), "Bad cast");
  EXPECT_EQ(GetResultCodeMessage(0x80000048), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000049), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x8000004a), "Not matched");
  EXPECT_EQ(GetResultCodeMessage(0x8000006b), "Not initialized");
  EXPECT_EQ(GetResultCodeMessage(0x8000007a), "Trace level prohibited");
  EXPECT_EQ(GetResultCodeMessage(0x8000007b), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x800000ff), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000100), "Class not found");
  EXPECT_EQ(GetResultCodeMessage(0x80000106), "Object is untrusted");
  EXPECT_EQ(GetResultCodeMessage(0x80000107), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x8000014f), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000150), "No current exception");
  EXPECT_EQ(GetResultCodeMessage(0x80000152), "Exception with successful result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000153), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000180), "Property not found");
  EXPECT_EQ(GetResultCodeMessage(0x80000181), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000220), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000221), "Operation timeout");
  EXPECT_EQ(GetResultCodeMessage(0x80000222), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x800002ff), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000300), "Invalid symbol");
  EXPECT_EQ(GetResultCodeMessage(0x80000303), "Non base64 symbol");
  EXPECT_EQ(GetResultCodeMessage(0x80000304), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x8000030f), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80000310), "Syntax error");
  EXPECT_EQ(GetResultCodeMessage(0x80000313), "DateTime syntax error");
  EXPECT_EQ(GetResultCodeMessage(0x80000314), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x8000ffff), "Unknown result code");
}

TEST(ResultCodeTest, PlatformBandAndOtherFacilities) {
  EXPECT_EQ(GetResultCodeMessage(0x800100ff), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80010100), "Unspecified platform error");
  EXPECT_EQ(GetResultCodeMessage(0x80010102), "File not found");
  EXPECT_EQ(GetResultCodeMessage(0x80010109), "Invalid path name");
  for (result_t code = 0x8001010a; code <= 0x8001010f; ++code) {
    EXPECT_EQ(GetResultCodeMessage(code), "Unknown result code") << std::hex << code;
  }
  EXPECT_EQ(GetResultCodeMessage(0x80010110), "Cannot open an anonymous level security token");
  EXPECT_EQ(GetResultCodeMessage(0x80010118), "System shutdown in progress");
  EXPECT_EQ(GetResultCodeMessage(0x80010119), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x00010100), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80020000), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0x80060002), "Unknown result code");
  EXPECT_EQ(GetResultCodeMessage(0xffffffff), "Unknown result code");
}

TEST(ErrnoToResultTest, MapsEveryListedNumber) {
  const std::pair<int, result_t> cases[] = {
      {0, 0},           {1, 0x80000045},  {13, 0x80000045}, {2, 0x80010102},
      {5, 0x80000059},  {8, 0x80010117},  {9, 0x80010101},  {12, 0x80000041},
      {16, 0x8000004f}, {26, 0x8000004f}, {17, 0x80010105}, {20, 0x80010103},
      {22, 0x80000046}, {27, 0x80000078}, {28, 0x80000062}, {36, 0x8000005c},
      {40, 0x8000006a}, {75, 0x80000044}, {65535, 0x80010107}, {3, 0x80060003},
      {84, 0x80060054}, {65534, 0x8006fffe}, {65536, 0x80010100}, {-1, 0x80010100},
  };
  for (const auto& [error, code] : cases) {
    EXPECT_EQ(ErrnoToResult(error), code) << "errno " << error;
  }
}

}  // namespace
}  // namespace zel
