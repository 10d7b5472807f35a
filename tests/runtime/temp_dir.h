// A private scratch directory per test, removed with everything in it.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace qvntest {

class TempDir {
public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qvntestXXXXXX").string();
    if (mkdtemp(pattern.data())) path_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  bool ok() const { return !path_.empty(); }
  std::string file(const std::string &name) const { return path_ + "/" + name; }
  const std::string &path() const { return path_; }

private:
  std::string path_;
};

inline void writeText(const std::string &path, const std::string &text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
}

inline std::string readText(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

// True when a command of that name is on the search path.
inline bool haveTool(const char *tool) {
  const std::string probe = std::string("command -v ") + tool + " >/dev/null 2>&1";
  return std::system(probe.c_str()) == 0;
}

} // namespace qvntest
