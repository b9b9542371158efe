// The four host XML node operations the lists use, with the host's text
// handed back into framework strings and child nodes into counted references.
// Each returns the host's code (or the sink's); an exception a host node throws
// passes on to the caller's catch instead of ending the process.
#ifndef VOR_RUNTIME_XML_NODE_H_
#define VOR_RUNTIME_XML_NODE_H_

#include <cstdint>

#include "runtime/string.h"
#include "vor/ref.h"
#include "vor/xml.h"

namespace zel::xml {

// A null node gives 0x80000046 for each of them.
result_t GetName(IXmlNode* node, string& name);
result_t GetChildCount(IXmlNode* node, std::uint32_t& count);
result_t GetChild(IXmlNode* node, std::uint32_t index, vor::Ref<IXmlNode>& child);
// The named value (an attribute); a missing one is the host's failure code.
result_t GetValue(IXmlNode* node, const char* name, string& value);

}  // namespace zel::xml

#endif  // VOR_RUNTIME_XML_NODE_H_
