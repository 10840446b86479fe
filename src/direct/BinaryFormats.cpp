#include "kr/zero/io/BinaryFormats.h"

#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/io/IOFormatProvider.h"

namespace kr::zero::io {

void registerBinaryFormats() {
  IOFormatProvider::registerFormat(IOFormatProvider::FORMAT_BINARY,
                                   {[] { return std::make_unique<BinarySerializer>(); },
                                    [](const meta::MetaRegistry& registry) {
                                      return std::make_unique<BinaryParser>(
                                          std::make_unique<ParseCustomizer>(registry),
                                          std::make_unique<ParsingModelBuilder>(false));
                                    }});
}

}  // namespace kr::zero::io
