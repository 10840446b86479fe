#include "support/Paths.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kr::zero::test {

namespace {

// Removed with all it holds when the test program ends.
struct TemporaryFolder {
  std::filesystem::path path;
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kr0-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path = pattern;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

}  // namespace

bool haveModels() { return std::filesystem::is_directory(modelsDir()); }

std::string temporaryPath(const std::string& name) {
  static const TemporaryFolder folder;
  return (folder.path / name).string();
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out << bytes;
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace kr::zero::test
