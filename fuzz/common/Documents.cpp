#include "common/Documents.h"

namespace kr::zero::fuzz {

Model readGolden(const Bytes& bytes) {
  const auto parser = kDirect.makeParser(test::goldenRegistry());
  require(parser->parseByteSequence(bytes), "a golden document is one");
  return parser->takeModel();
}

const Bytes& intactDocument(const Format& format) {
  static const Bytes& direct = test::goldenDocument("references");
  static const Bytes tagged = kTagged.write(readGolden(direct));
  return &format == &kDirect ? direct : tagged;
}

void settle(io::Parser& parser, const Format& format) {
  require(parser.parseByteSequence(intactDocument(format)), "the intact document can be read at any time");
}

}  // namespace kr::zero::fuzz
