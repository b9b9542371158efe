// The module's version, as written in the load and unload trace lines.
#ifndef VOR_MODULE_VERSION_H_
#define VOR_MODULE_VERSION_H_

#include <string_view>

namespace vor {

inline constexpr std::string_view kComponentVersion =
    "compver: 1.7.4.0 x86-64 (Oct 30 2025 08:50:49)";

}  // namespace vor

#endif  // VOR_MODULE_VERSION_H_
