#include "runtime/xml_node.h"

#include "runtime/result.h"
#include "runtime/text.h"

namespace vor::xml {

zel::result_t GetName(zel::IXmlNode* node, zel::string& name) {
  name.clear();
  if (node == nullptr) return zel::kErrInvalidArgument;
  zel::StringSink sink(name);
  return node->GetName(&sink);
}

zel::result_t GetChildCount(zel::IXmlNode* node, std::uint32_t& count) {
  count = 0;
  if (node == nullptr) return zel::kErrInvalidArgument;
  return node->GetChildCount(&count);
}

zel::result_t GetChild(zel::IXmlNode* node, std::uint32_t index, Ref<zel::IXmlNode>& child) {
  child.reset();
  if (node == nullptr) return zel::kErrInvalidArgument;
  zel::result_t code = node->GetChild(index, child.put());
  if (zel::Succeeded(code) && !child) code = zel::kErrUnexpected;
  if (zel::Failed(code)) child.reset();
  return code;
}

zel::result_t GetValue(zel::IXmlNode* node, const char* name, zel::string& value) {
  value.clear();
  if (node == nullptr || name == nullptr) return zel::kErrInvalidArgument;
  zel::StringSink sink(value);
  return node->GetValue(name, &sink, 0);
}

}  // namespace vor::xml
