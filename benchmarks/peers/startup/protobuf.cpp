// Start-up of Protocol Buffers: load the library, whose types are compiled in, and parse one document.
#include <fstream>
#include <iterator>

#include "items.pb.h"

int main(int, char** arguments) {
  std::ifstream stream(arguments[1], std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  kr::zero::bench::messages::Catalog catalog;
  return catalog.ParseFromString(bytes) && catalog.items_size() > 0 ? 0 : 1;
}
