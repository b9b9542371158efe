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

namespace vor::xml {

// A null node gives 0x80000046 for each of them.
zel::result_t GetName(zel::IXmlNode* node, zel::string& name);
zel::result_t GetChildCount(zel::IXmlNode* node, std::uint32_t& count);
zel::result_t GetChild(zel::IXmlNode* node, std::uint32_t index, Ref<zel::IXmlNode>& child);
// The named value (an attribute); a missing one is the host's failure code.
zel::result_t GetValue(zel::IXmlNode* node, const char* name, zel::string& value);

}  // namespace vor::xml

#endif  // VOR_RUNTIME_XML_NODE_H_
