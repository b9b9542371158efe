// The four host XML node operations the lists use, with the host's text
// handed back into framework strings and child nodes into counted references.
// Each returns the host's code (or the sink's), never throws.
#ifndef VOR_RUNTIME_XML_NODE_H_
#define VOR_RUNTIME_XML_NODE_H_

#include <cstdint>

#include "runtime/string.h"
#include "vor/ref.h"
#include "vor/xml.h"

namespace zel::xml {

// A null node gives 0x80000046 for each of them.
result_t GetName(IXmlNode* node, string& name) noexcept;
result_t GetChildCount(IXmlNode* node, std::uint32_t& count) noexcept;
result_t GetChild(IXmlNode* node, std::uint32_t index, vor::Ref<IXmlNode>& child) noexcept;
// The named value (an attribute); a missing one is the host's failure code.
result_t GetValue(IXmlNode* node, const char* name, string& value) noexcept;

}  // namespace zel::xml

#endif  // VOR_RUNTIME_XML_NODE_H_
