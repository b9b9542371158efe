// Trimming and splitting over byte strings, shared by the key/value reader and
// the release parsers. Bytes are compared as they are; no character set applies.
#ifndef VOR_OSINFO_TEXT_SPLIT_H_
#define VOR_OSINFO_TEXT_SPLIT_H_

#include <string_view>
#include <vector>

#include "runtime/host_allocator.h"
#include "vor/object.h"

namespace vor {

using TextPieces = std::vector<std::string_view, zel::HostAllocator<std::string_view>>;

// Removes every character of `set` from the front, then from the back. A text
// made only of set characters becomes empty; an empty set changes nothing.
std::string_view TrimSet(std::string_view text, std::string_view set);

// Cuts `text` at every character of `separators`. Each cut yields the text
// before it; the text after the last cut is the last piece. Empty pieces are
// kept only under `keepEmpty`. Returns 0, or 0x80000041 when the pieces cannot
// be stored; never throws.
zel::result_t SplitText(std::string_view text, std::string_view separators, bool keepEmpty,
                        TextPieces& pieces) noexcept;

// ASCII letters compared without case; every other byte must be equal.
bool EqualsIgnoreAsciiCase(std::string_view a, std::string_view b);
bool StartsWithIgnoreAsciiCase(std::string_view text, std::string_view prefix);

}  // namespace vor

#endif  // VOR_OSINFO_TEXT_SPLIT_H_
