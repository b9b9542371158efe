// VorConfigParser: reads an XML critical file list ("vor_list" nodes holding
// "vor_entry" nodes with a "path" value). Validation is lenient — one good
// entry makes the document valid — and extraction is a separate walk that
// gathers every usable path in document order.
#ifndef VOR_FILELIST_VOR_CONFIG_PARSER_H_
#define VOR_FILELIST_VOR_CONFIG_PARSER_H_

#include <vector>

#include "runtime/host_allocator.h"
#include "runtime/host_providers.h"
#include "runtime/string.h"
#include "runtime/trace.h"
#include "vor/io.h"
#include "vor/object.h"
#include "vor/ref.h"
#include "vor/xml.h"

namespace vor {

class VorConfigParser {
 public:
  using Paths = std::vector<zel::string, zel::HostAllocator<zel::string>>;

  // Throws GetInterfaceException when the locator lacks the allocator or tracer.
  explicit VorConfigParser(zel::IServiceLocator* locator);
  ~VorConfigParser();

  // Opens `source` with the host XML factory, validates it and extracts the
  // paths. On failure the paths gathered are not to be used.
  zel::result_t Init(zel::IIo* source);

  // The paths of the last successful Init.
  const Paths& paths() const { return paths_; }

  zel::result_t Validate(zel::IXmlNode* document);
  zel::result_t ValidateEntry(zel::IXmlNode* entry);
  zel::result_t Extract(zel::IXmlNode* document);

 private:
  class PathGatherer;

  HostProviders host_;
  Paths paths_;
};

}  // namespace vor

#endif  // VOR_FILELIST_VOR_CONFIG_PARSER_H_
