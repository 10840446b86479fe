#include "Forms.h"

#include <pugixml.hpp>
#include <stdexcept>

#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"

namespace kr::zero::bench {

namespace {

template <class Reader>
Reader makeReader(const meta::MetaRegistry& registry) {
  return Reader(std::make_unique<io::ParseCustomizer>(registry),
                std::make_unique<io::ParsingModelBuilder>(false));
}

void require(bool accepted, const io::Parser& parser) {
  if (!accepted) throw std::runtime_error("refused: " + parser.getProblems().front());
}

}  // namespace

LoadedModel::LoadedModel(const RealModel& real)
    : document(readFile(real.document)),
      mapping(ecore::loadMetaModels({real.metaModel}, registry)),
      model(ecore::readXmi(document, real.name, *mapping)) {}

void writeDirect(const Model& model, Bytes& bytes) {
  io::BinarySerializer().serialize(model, io::SerializationOutput::toByteSequence(bytes));
}

Model readDirect(const Bytes& bytes, const meta::MetaRegistry& registry) {
  auto parser = makeReader<io::BinaryParser>(registry);
  require(parser.parseByteSequence(bytes), parser);
  return parser.takeModel();
}

void writeTagged(const Model& model, std::string& bytes) {
  io::BinaryKRSylvanSerializer().serialize(model, io::SerializationOutput::toString(bytes));
}

Model readTagged(const std::string& bytes, const meta::MetaRegistry& registry) {
  auto parser = makeReader<io::BinaryKRSylvanParser>(registry);
  require(parser.parse(io::ParsingInput::fromString(bytes)), parser);
  return parser.takeModel();
}

std::size_t parseDom(const std::string& document) {
  pugi::xml_document dom;
  const pugi::xml_parse_result result = dom.load_buffer(document.data(), document.size());
  if (!result) throw std::runtime_error(std::string("pugixml: ") + result.description());
  return static_cast<std::size_t>(std::distance(dom.begin(), dom.end()));
}

}  // namespace kr::zero::bench
