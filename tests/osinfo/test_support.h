// Helpers shared by the OS release suites.
#ifndef VOR_TESTS_OSINFO_TEST_SUPPORT_H_
#define VOR_TESTS_OSINFO_TEST_SUPPORT_H_

#include <cstdio>
#include <string>

namespace vor::testing {

// "0x" and the address in lower-case hex, as lifetime trace lines print it.
inline std::string AddressText(const void* p) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", p);
  return text;
}

}  // namespace vor::testing

#endif  // VOR_TESTS_OSINFO_TEST_SUPPORT_H_
