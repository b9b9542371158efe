#include "runtime/xml_node.h"

#include "runtime/result.h"
#include "runtime/text.h"

namespace zel::xml {

result_t GetName(IXmlNode* node, string& name) {
  name.clear();
  if (node == nullptr) return kErrInvalidArgument;
  StringSink sink(name);
  return node->GetName(&sink);
}

result_t GetChildCount(IXmlNode* node, std::uint32_t& count) {
  count = 0;
  if (node == nullptr) return kErrInvalidArgument;
  return node->GetChildCount(&count);
}

result_t GetChild(IXmlNode* node, std::uint32_t index, vor::Ref<IXmlNode>& child) {
  child.reset();
  if (node == nullptr) return kErrInvalidArgument;
  result_t code = node->GetChild(index, child.put());
  if (Succeeded(code) && !child) code = kErrUnexpected;
  if (Failed(code)) child.reset();
  return code;
}

result_t GetValue(IXmlNode* node, const char* name, string& value) {
  value.clear();
  if (node == nullptr || name == nullptr) return kErrInvalidArgument;
  StringSink sink(value);
  return node->GetValue(name, &sink, 0);
}

}  // namespace zel::xml
