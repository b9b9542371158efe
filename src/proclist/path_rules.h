// Whether a path lies under a folder, as the product-folder rule needs it.
#ifndef VOR_PROCLIST_PATH_RULES_H_
#define VOR_PROCLIST_PATH_RULES_H_

#include <string_view>

namespace vor {

// True when `path` is `folder` itself or lies below it. Trailing separators
// ('/' or '\\') of the folder do not count; "/opt/a" is not under "/opt/ab".
bool IsPathUnder(std::string_view folder, std::string_view path, bool caseSensitive);

}  // namespace vor

#endif  // VOR_PROCLIST_PATH_RULES_H_
