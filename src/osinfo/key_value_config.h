// LinuxKeyValueConfig: turns the text of a shell-style NAME=value file (the
// os-release, lsb-release and SuSE-release files) into ordered name/value
// pairs. It is strict on purpose: a line counts only with exactly one "=", a
// name and a value; any other line is traced and dropped.
#ifndef VOR_OSINFO_KEY_VALUE_CONFIG_H_
#define VOR_OSINFO_KEY_VALUE_CONFIG_H_

#include <string_view>
#include <utility>
#include <vector>

#include "runtime/host_allocator.h"
#include "runtime/host_providers.h"
#include "runtime/string.h"
#include "runtime/trace.h"
#include "vor/host_services.h"
#include "vor/object.h"
#include "vor/ref.h"

namespace vor {

using KeyValuePair = std::pair<zel::string, zel::string>;
// In file order, duplicates kept: the caller decides which occurrence counts.
using KeyValuePairs = std::vector<KeyValuePair, zel::HostAllocator<KeyValuePair>>;

class LinuxKeyValueConfig {
 public:
  // Takes the allocator and the tracer from `locator`; throws
  // zel::GetInterfaceException when either cannot be had.
  explicit LinuxKeyValueConfig(zel::IServiceLocator* locator);
  ~LinuxKeyValueConfig();

  // Replaces `pairs` with the accepted lines of `content`. Returns 0 however
  // many lines were dropped, 0x80000046 for empty content. Never throws.
  zel::result_t Parse(std::string_view content, KeyValuePairs& pairs);

  zel::IAllocator* allocator() const { return host_.allocator.get(); }

 private:
  zel::result_t ParseLines(std::string_view content, const char* quotes, KeyValuePairs& pairs);
  zel::result_t ParseLine(std::string_view line, const char* quotes, KeyValuePair& pair);

  HostProviders host_;
};

}  // namespace vor

#endif  // VOR_OSINFO_KEY_VALUE_CONFIG_H_
