// vorctl explain, run as a user would run it.
#include <gtest/gtest.h>

#include "tests/testing_host/command.h"

namespace vor::testing {
namespace {

TEST(VorctlExplainTest, ExplainsSeveralCodesInHexAndDecimal) {
  CommandResult json = RunVorctl("--json explain 0x8000006b 0x80000048");
  EXPECT_EQ(json.status, 0);
  EXPECT_EQ(json.out,
            "[{\"code\":\"0x8000006b\",\"message\":\"Not initialized\"},"
            "{\"code\":\"0x80000048\",\"message\":\"Unknown result code\"}]\n");

  CommandResult text = RunVorctl("explain 2147483718 0X1 0x80010110");
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(text.out,
            "0x80000046  Invalid argument\n"
            "0x00000001  False\n"
            "0x80010110  Cannot open an anonymous level security token\n");
}

TEST(VorctlExplainTest, MalformedCodesAreUsageErrors) {
  for (const char* args : {"explain zz", "explain 0x", "explain 0x1ffffffff", "explain 4294967296",
                           "explain -1", "explain 12abc", "explain", "--trace loud explain 1"}) {
    CommandResult run = RunVorctl(args);
    EXPECT_EQ(run.status, 2) << args;
    EXPECT_EQ(run.out, "") << args;
    EXPECT_EQ(run.err.rfind("vorctl: ", 0), 0u) << args << ": " << run.err;
  }
}

}  // namespace
}  // namespace vor::testing
