// The host's XML reader: a factory that parses a stream into a tree of
// document and element nodes with names, ordered children and named values.
#ifndef VOR_XML_H_
#define VOR_XML_H_

#include <cstdint>

#include "vor/host_services.h"
#include "vor/io.h"
#include "vor/object.h"

namespace zel {

class IXmlNode : public IObject {
 public:
  static constexpr std::uint32_t kTypeDocument = 1;
  static constexpr std::uint32_t kTypeElement = 2;

  virtual result_t GetDocument(IXmlNode** out) = 0;                                   // 3
  virtual result_t GetParent(IXmlNode** out) = 0;                                     // 4
  virtual result_t GetType(std::uint32_t* type) = 0;                                  // 5
  virtual result_t GetName(IStringOut* name) = 0;                                     // 6
  virtual result_t GetChildCount(std::uint32_t* count) = 0;  // element children only 7
  virtual result_t FindChild(const char* name, IXmlNode** out) = 0;                   // 8
  virtual result_t GetChild(std::uint32_t index, IXmlNode** out) = 0;                 // 9
  virtual result_t GetText(IStringOut* text) = 0;                                     // 10
  virtual result_t GetValueCount(std::uint32_t* count) = 0;                           // 11
  virtual result_t GetValueName(std::uint32_t index, IStringOut* name) = 0;           // 12
  // A named value (an attribute); a missing one is a failure.
  virtual result_t GetValue(const char* name, IStringOut* value, std::uint32_t flags) = 0;  // 13

 protected:
  ~IXmlNode() = default;
};

class IXmlFactory : public IObject {
 public:
  static constexpr std::uint32_t kIid = 0x47eaa67d;
  static constexpr std::uint32_t kFormatXmlText = 1;

  virtual result_t CreateDocument(IXmlNode** out) = 0;                                   // 3
  virtual result_t OpenDocument(IIo* source, std::uint32_t format, IXmlNode** out) = 0;  // 4

 protected:
  ~IXmlFactory() = default;
};

}  // namespace zel

#endif  // VOR_XML_H_
