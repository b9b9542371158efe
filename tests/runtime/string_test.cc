#include "runtime/string.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "host/host_object.h"
#include "runtime/result.h"
#include "runtime/text.h"
#include "tests/testing_host/testing_host.h"
#include "vor/utf.h"

namespace zel {
namespace {

TEST(StringTest, AllocatesThroughTheHostAndGivesEverythingBack) {
  auto allocator = vor::host::MakeHostObject<vor::testing::CountingAllocator>();
  {
    string s(allocator.get());
    s.append("fifteen chars!!");
    EXPECT_EQ(allocator->live_blocks(), 0) << "15 characters fit inline";
    s += 'x';
    EXPECT_EQ(allocator->live_blocks(), 1);
    EXPECT_EQ(string(s).host(), allocator.get()) << "a copy allocates where its source does";
  }
  EXPECT_EQ(allocator->live_blocks(), 0);
  allocator->FailAlways();
  string s(allocator.get());
  EXPECT_THROW(s.append(std::string(100, 'x')), std::bad_alloc);
  EXPECT_TRUE(s.empty());
}

TEST(StringTest, OverflowThrowsWithTheFrameworkTexts) {
  string s("abc");
  const std::size_t huge = std::numeric_limits<std::size_t>::max();
  try {
    s.reserve_extra(huge);
    ADD_FAILURE();
  } catch (const std::length_error& e) {
    EXPECT_STREQ(e.what(), "zel::basic_string_t::reserve_extra()");
  }
  try {
    s.resize_extra_at(1, huge);
    ADD_FAILURE();
  } catch (const std::length_error& e) {
    EXPECT_STREQ(e.what(), "zel::basic_string_t::resize_extra_at");
  }
  s.resize_extra_at(1, 2, '-');
  EXPECT_EQ(s, "a--bc");
}

TEST(TextTest, ConvertsBothWaysAndRejectsInvalidInput) {
  string narrow;
  EXPECT_EQ(ToUtf8(u"/usr/bin/\u00e9\u4e2d\U0001f600", narrow), kOk);
  EXPECT_EQ(narrow, "/usr/bin/\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80");
  EXPECT_EQ(ToUtf8(u"/\xd83d", narrow), kErrInvalidSymbol);
  // And back through the public converter the hosts use.
  std::u16string wide;
  const auto put = [&wide](char16_t c) { wide.push_back(c); };
  EXPECT_TRUE(vor::utf::Utf8ToUtf16("/usr/bin/\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80", put));
  EXPECT_EQ(wide, u"/usr/bin/\u00e9\u4e2d\U0001f600");
  for (const char* bad : {"\xff", "\xc0\xaf", "\xe0\x80\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80",
                          "\xc3", "a\xe4\xb8"}) {
    EXPECT_FALSE(vor::utf::Utf8ToUtf16(bad, put)) << bad;
  }
}

}  // namespace
}  // namespace zel
