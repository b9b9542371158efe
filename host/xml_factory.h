// The host's XML factory over pugixml: parses a stream into document and
// element nodes. pugixml never reads a DTD nor expands entities beyond the
// five predefined ones and character references, so a document cannot pull
// in external files or blow up through nested entities.
#ifndef VOR_HOST_XML_FACTORY_H_
#define VOR_HOST_XML_FACTORY_H_

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

#include "host/host_object.h"
#include "host/posix_file.h"
#include "vor/host_services.h"
#include "vor/ref.h"
#include "vor/xml.h"

namespace vor::host {

// The parser's own description of malformed XML and the line and column
// (from 1) it stopped at.
struct XmlParseError {
  std::string description;
  std::uint32_t line = 0;
  std::uint32_t column = 0;
};

class XmlFactory : public HostObject<zel::IXmlFactory> {
 public:
  // Documents come from the storage: its cap on a file is the default.
  static constexpr std::size_t kDefaultMaxBytes = kMaxStorageFileBytes;
  // Refused results.
  static constexpr zel::result_t kNotSupported = zel::kErrNotSupported;
  static constexpr zel::result_t kTooBig = zel::kErrFileTooBig;
  static constexpr zel::result_t kOutOfMemory = zel::kErrOutOfMemory;
  static constexpr zel::result_t kParseError = zel::kErrInvalidSignature;

  // Parse errors are also written to `tracer` (may be null) at level 300.
  explicit XmlFactory(zel::ITracer* tracer = nullptr,
                      std::size_t maxBytes = kDefaultMaxBytes);
  ~XmlFactory() override;

  // An empty document node (no children).
  zel::result_t CreateDocument(zel::IXmlNode** out) override;
  // Reads `source` from its current position to its end and parses it.
  zel::result_t OpenDocument(zel::IIo* source, std::uint32_t format,
                             zel::IXmlNode** out) override;

  // Where the last document that did not parse broke; empty and 0 when the
  // last OpenDocument did not fail on malformed XML.
  XmlParseError last_parse_error() const;

 private:
  void Fail(std::string text, XmlParseError parse = {});

  Ref<zel::ITracer> tracer_;
  std::size_t maxBytes_;
  mutable std::mutex mutex_;
  XmlParseError lastParseError_;
};

}  // namespace vor::host

#endif  // VOR_HOST_XML_FACTORY_H_
