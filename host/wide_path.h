// Paths as the module takes them: UTF-16 text. Checks come by the million,
// so ASCII, most paths, is widened without decoding, sixteen bytes at a time.
#ifndef VOR_HOST_WIDE_PATH_H_
#define VOR_HOST_WIDE_PATH_H_

#include <string>
#include <string_view>

namespace vor::host {

// Appends `text` (UTF-8) to `out` as UTF-16; false, with `out` as it was,
// when `text` is not valid UTF-8.
bool AppendWide(std::string_view text, std::u16string& out);

}  // namespace vor::host

#endif  // VOR_HOST_WIDE_PATH_H_
