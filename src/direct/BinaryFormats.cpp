#include "kr/zero/io/BinaryFormats.h"

#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/io/IOFormatProvider.h"

namespace kr::zero::io {

namespace {

template <class SomeSerializer, class SomeParser>
IOFormatProvider::Format makeFormat() {
  return {[] { return std::make_unique<SomeSerializer>(); },
          [](const meta::MetaRegistry& registry) {
            return std::make_unique<SomeParser>(std::make_unique<ParseCustomizer>(registry),
                                                std::make_unique<ParsingModelBuilder>(false));
          }};
}

}  // namespace

void registerBinaryFormats() {
  IOFormatProvider::registerFormat(IOFormatProvider::FORMAT_BINARY,
                                   makeFormat<BinarySerializer, BinaryParser>());
  IOFormatProvider::registerFormat(IOFormatProvider::FORMAT_BINARY_KRSYLVAN,
                                   makeFormat<BinaryKRSylvanSerializer, BinaryKRSylvanParser>());
}

}  // namespace kr::zero::io
