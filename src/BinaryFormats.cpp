#include "kr/zero/io/BinaryFormats.h"

#include <utility>

#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/io/IOFormatProvider.h"

namespace kr::zero::io {

namespace {

template <class SomeSerializer, class SomeParser>
IOFormatProvider::Format makeFormat() {
  IOFormatProvider::Format format;
  format.makeSerializer = [] { return std::make_unique<SomeSerializer>(); };
  format.makeParser = [](const meta::MetaRegistry& registry) {
    return std::make_unique<SomeParser>(std::make_unique<ParseCustomizer>(registry),
                                        std::make_unique<ParsingModelBuilder>(false));
  };
  return format;
}

}  // namespace

void registerBinaryFormats() {
  auto direct = makeFormat<BinarySerializer, BinaryParser>();
  direct.fillsByteVectors = true;
  direct.suffix = ".krb";
  direct.beginning = std::string("\x01\x02kr");
  IOFormatProvider::registerFormat(IOFormatProvider::FORMAT_BINARY, std::move(direct));
  auto tagged = makeFormat<BinaryKRSylvanSerializer, BinaryKRSylvanParser>();
  tagged.suffix = ".krt";
  tagged.beginning = std::string("\x01\x20\x01\x30\x02kr");
  IOFormatProvider::registerFormat(IOFormatProvider::FORMAT_BINARY_KRSYLVAN, std::move(tagged));
}

}  // namespace kr::zero::io
