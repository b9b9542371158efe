// A testing host with the reference host's XML factory, feature flags,
// environment and a directory storage, for the process list suites.
#ifndef VOR_TESTS_PROCLIST_PROCESS_LIST_FIXTURE_H_
#define VOR_TESTS_PROCLIST_PROCESS_LIST_FIXTURE_H_

#include <string>

#include "host/directory_storage.h"
#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/host_object.h"
#include "host/xml_factory.h"
#include "osinfo/os_release_info.h"
#include "tests/proclist/live_process.h"
#include "tests/testing_host/testing_host.h"
#include "vor/xml.h"

namespace vor::testing {

struct ProcessListHost : TestingHost {
  ProcessListHost()
      : xml(host::MakeHostObject<host::XmlFactory>()),
        flags(host::MakeHostObject<host::FeatureFlags>()),
        environment(host::MakeHostObject<host::Environment>()),
        storage(host::MakeHostObject<host::DirectoryStorage>(dir.path())) {
    Register(zel::IXmlFactory::kIid, xml.get());
    Register(zel::IFeatureFlags::kIid, flags.get());
    Register(zel::IEnvironment::kIid, environment.get());
    release.name.assign("Debian GNU/Linux");
    release.version.assign("12");
  }

  // Writes the storage's "vor_proc.xms".
  void WriteList(const std::string& xml_text) const { dir.Write("vor_proc.xms", xml_text); }

  TempDir dir;
  Ref<host::XmlFactory> xml;
  Ref<host::FeatureFlags> flags;
  Ref<host::Environment> environment;
  Ref<host::DirectoryStorage> storage;
  OsReleaseInfo release;
};

// One "vor_process_list" with the given entries' attribute texts.
inline std::string ProcessListXml(std::initializer_list<std::string> entries) {
  std::string text = "<?xml version=\"1.0\"?>\n<vor_process_list>\n";
  for (const std::string& attributes : entries) {
    text += "  <vor_process_entry " + attributes + "/>\n";
  }
  return text + "</vor_process_list>\n";
}

}  // namespace vor::testing

#endif  // VOR_TESTS_PROCLIST_PROCESS_LIST_FIXTURE_H_
