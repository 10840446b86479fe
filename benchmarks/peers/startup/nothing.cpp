// What starting a C++ program that reads a file costs by itself.
#include <fstream>
#include <iterator>
#include <string>

int main(int, char** arguments) {
  std::ifstream stream(arguments[1], std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  return bytes.empty() ? 1 : 0;
}
