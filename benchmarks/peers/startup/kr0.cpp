// Start-up of this library: load it, declare the types, parse one document.
#include <fstream>
#include <iterator>

#include "ModelContent.h"
#include "kr/zero/io/BinaryParser.h"

int main(int, char** arguments) {
  using namespace kr::zero;
  std::ifstream stream(arguments[1], std::ios::binary);
  const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(stream), {}};
  meta::MetaRegistry registry;
  bench::registerLibrary(registry);
  io::BinaryParser parser(std::make_unique<io::ParseCustomizer>(registry),
                          std::make_unique<io::ParsingModelBuilder>(false));
  return parser.parseByteSequence(bytes) && parser.takeModel().size() > 1 ? 0 : 1;
}
