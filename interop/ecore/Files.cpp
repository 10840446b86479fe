#include "Files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Errors.h"

namespace kr::zero::ecore {

namespace {

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

std::string readFile(const std::string& path) {
  const std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "rb"));
  if (!file) failIn(path, join("it cannot be opened: ", std::strerror(errno)));
  std::string bytes;
  char piece[std::size_t{1} << 16];
  for (;;) {
    const std::size_t count = std::fread(piece, 1, sizeof piece, file.get());
    bytes.append(piece, count);
    if (count < sizeof piece) break;
  }
  if (std::ferror(file.get()) != 0) failIn(path, join("it cannot be read: ", std::strerror(errno)));
  return bytes;
}

}  // namespace kr::zero::ecore
