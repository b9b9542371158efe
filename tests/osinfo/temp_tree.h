// A temporary directory tree for the tests that need real files; it goes away
// with everything in it when the object does.
#ifndef VOR_TESTS_OSINFO_TEMP_TREE_H_
#define VOR_TESTS_OSINFO_TEMP_TREE_H_

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace vor::testing {

class TempTree {
 public:
  TempTree() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vor_osinfo_XXXXXX").string();
    if (::mkdtemp(pattern.data()) != nullptr) root = pattern;
  }
  ~TempTree() {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  }
  // Writes `content` at `relative`; "->target" makes a symbolic link instead.
  std::filesystem::path Add(const std::string& relative, const std::string& content) const {
    const std::filesystem::path file = root / relative;
    std::filesystem::create_directories(file.parent_path());
    if (content.starts_with("->")) {
      std::filesystem::create_symlink(content.substr(2), file);
    } else {
      std::ofstream(file, std::ios::binary) << content;
    }
    return file;
  }
  std::u16string Wide(const std::string& relative) const {
    const std::string path = (root / relative).string();
    return std::u16string(path.begin(), path.end());
  }

  std::filesystem::path root;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_OSINFO_TEMP_TREE_H_
