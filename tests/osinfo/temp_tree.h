// A temporary directory that goes away with everything in it.
#ifndef VOR_TESTS_OSINFO_TEMP_TREE_H_
#define VOR_TESTS_OSINFO_TEMP_TREE_H_

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace vor::testing {

struct TempTree {
  TempTree() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vor_osinfo_XXXXXX").string();
    root = ::mkdtemp(pattern.data()) != nullptr ? pattern : "/nonexistent/vor_osinfo";
  }
  ~TempTree() { std::error_code ignored; std::filesystem::remove_all(root, ignored); }
  // Writes `content` at `relative`; kind "link" makes a symbolic link to it, "fifo" a FIFO.
  std::filesystem::path Add(const std::string& relative, const std::string& content,
                            const std::string& kind = "file") const {
    const std::filesystem::path file = root / relative;
    std::filesystem::create_directories(file.parent_path());
    if (kind == "link") std::filesystem::create_symlink(content, file);
    if (kind == "fifo") ::mkfifo(file.c_str(), 0600);
    if (kind == "file") std::ofstream(file, std::ios::binary) << content;
    return file;
  }
  std::filesystem::path root;
};

}  // namespace vor::testing

#endif  // VOR_TESTS_OSINFO_TEMP_TREE_H_
