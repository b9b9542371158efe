// Helpers of the process list suites: a real child process, a testing host
// with the reference services over a temporary storage folder, and the
// tab-separated case tables under tests/proclist/data.
#ifndef VOR_TESTS_PROCLIST_LIVE_PROCESS_H_
#define VOR_TESTS_PROCLIST_LIVE_PROCESS_H_

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/directory_storage.h"
#include "host/environment.h"
#include "host/feature_flags.h"
#include "host/xml_factory.h"
#include "osinfo/os_release_info.h"
#include "tests/testing_host/child.h"
#include "tests/testing_host/testing_host.h"

namespace vor::testing {

// This process's mount namespace link, as /proc shows it.
inline std::string OwnMountNamespace() { return std::filesystem::read_symlink("/proc/self/ns/mnt").string(); }

struct ProcessListHost : TestingHost {
  ProcessListHost() {
    Register(zel::IXmlFactory::kIid, xml.get());
    Register(zel::IFeatureFlags::kIid, flags.get());
    Register(zel::IEnvironment::kIid, environment.get());
    release.name.assign("Debian GNU/Linux");
    release.version.assign("12");
  }
  void WriteList(const std::string& text) const { dir.Write("vor_proc.xms", text); }

  TempDir dir;
  Ref<host::XmlFactory> xml = host::MakeHostObject<host::XmlFactory>();
  Ref<host::FeatureFlags> flags = host::MakeHostObject<host::FeatureFlags>();
  Ref<host::Environment> environment = host::MakeHostObject<host::Environment>();
  Ref<host::DirectoryStorage> storage = host::MakeHostObject<host::DirectoryStorage>(dir.path);
  OsReleaseInfo release;
};

// The rows of a table: fields separated by tabs, '#' lines and blank lines
// skipped. row[0] names the row ("file:line: text"); in the fields "\t" and
// "\n" are escapes, "" is an empty field and each $NAME of `vars` is replaced.
using Row = std::vector<std::string>;

inline std::vector<Row> ReadRows(const std::string& file, std::map<std::string, std::string> vars) {
  std::ifstream in(VOR_SOURCE_DIR "/tests/proclist/data/" + file);
  std::vector<Row> rows;
  vars.insert({{"\\t", "\t"}, {"\\n", "\n"}});
  // Longest names first: $FORGED must not eat the head of $FORGEDCHILD.
  std::vector<std::pair<std::string, std::string>> byLength(vars.begin(), vars.end());
  std::stable_sort(byLength.begin(), byLength.end(),
                   [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
  int number = 1;
  for (std::string line; std::getline(in, line); ++number) {
    rows.push_back({file + ":" + std::to_string(number) + ": " + line});
    std::istringstream fields(line);
    for (std::string field; std::getline(fields, field, '\t'); rows.back().push_back(field == "\"\"" ? "" : field)) {
      for (const auto& [name, value] : byLength) {
        const std::string from = name[0] == '\\' ? name : "$" + name;
        for (std::size_t at; (at = field.find(from)) != std::string::npos;) field.replace(at, from.size(), value);
      }
    }
    if (line.empty() || line[0] == '#') rows.pop_back();
  }
  EXPECT_GT(rows.size(), 0u) << file;
  return rows;
}

}  // namespace vor::testing

#endif  // VOR_TESTS_PROCLIST_LIVE_PROCESS_H_
