#include "common/ModelReader.h"

#include <string>

#include "hostile/DamageCheck.h"
#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"

namespace kr::zero::fuzz {

using test::Ending;
using test::Outcome;

namespace {

template <class Parser>
std::unique_ptr<io::Parser> makeParser(const meta::MetaRegistry& registry) {
  return std::make_unique<Parser>(std::make_unique<io::ParseCustomizer>(registry),
                                  std::make_unique<io::ParsingModelBuilder>(false));
}

template <class Serializer>
std::unique_ptr<io::Serializer> makeSerializer() {
  return std::make_unique<Serializer>();
}

}  // namespace

const Format kDirect{"direct", makeParser<io::BinaryParser>, makeSerializer<io::BinarySerializer>,
                     test::isDocumentedForBytes};
const Format kTagged{"tagged", makeParser<io::BinaryKRSylvanParser>,
                     makeSerializer<io::BinaryKRSylvanSerializer>, test::isDocumentedForTagged};

void Format::write(io::Serializer& serializer, const Model& model, std::string& bytes) const {
  if (this == &kTagged) return serializer.serialize(model, io::SerializationOutput::toString(bytes));
  Bytes sequence;
  serializer.serialize(model, io::SerializationOutput::toByteSequence(sequence));
  bytes.assign(sequence.begin(), sequence.end());
}

Bytes Format::write(const Model& model) const {
  std::string bytes;
  write(*makeSerializer(), model, bytes);
  return {bytes.begin(), bytes.end()};
}

MemoryBound boundOfReading(const io::Parser& parser, Ending ending, const MemoryUse& use) {
  const bool isReserved = ending == Ending::tooLong || ending == Ending::outOfMemory ||
                          parser.describeFailure().find("String cut short") != std::string::npos;
  return {.floor = test::memoryFloor,
          .perByte = test::memoryPerByte,
          .largest = test::requestFloor,
          .largestPerByte = test::requestPerByte,
          .reserved = isReserved ? use.getLargestRequest() : 0};
}

ModelReader::ModelReader(const Format& format, const meta::MetaRegistry& registry, Bytes intact)
    : format_(format),
      intact_(std::move(intact)),
      parser_(format.makeParser(registry)),
      second_(format.makeParser(registry)) {}

Outcome ModelReader::examine(const Bytes& bytes) {
  Outcome outcome = readMeasured(bytes);
  require(format_.isDocumented(outcome.ending), "reading ends in success or in a documented way",
          outcome.text.c_str());
  const bool isWhole = outcome.ending == Ending::success;
  {
    const Model model = parser_->getModelBuilder().takeModel();
    examineModel(model, isWhole);
    if (isWhole) examineRoundTrip(model);
  }
  require(test::parseBytes(*parser_, intact_).ending == Ending::success, "the parser can be used again");
  require(format_.write(parser_->takeModel()) == intact_, "the parser reads what it reads at any time");
  return outcome;
}

Outcome ModelReader::readMeasured(const Bytes& bytes) {
  const MemoryUse use;
  Outcome outcome = test::parseBytes(*parser_, bytes);
  use.requireBounded(bytes.size(), boundOfReading(*parser_, outcome.ending, use));
  return outcome;
}

void ModelReader::examineModel(const Model& model, bool isWhole) {
  std::size_t elements = 0;
  for (const ConstElement element : model.elements())
    if (element.getType()) ++elements;
  require(elements == model.size(), "all elements can be walked");
  const Model copy = model.clone();
  require(copy.size() == model.size(), "a copy has all elements");
  if (!isWhole) return;
  const auto difference = findDifference(model, copy);
  require(!difference, "a copy is equal", difference.value_or("").c_str());
}

void ModelReader::examineRoundTrip(const Model& model) {
  Bytes first;
  try {
    first = format_.write(model);
  } catch (const io::SerializeError& e) {
    // A dangling number of the document that is an element's in the one that is written.
    require(std::string(e.what()).find("which is written with that number") != std::string::npos,
            "a model that was read can be written", e.what());
    return;
  }
  const Outcome outcome = test::parseBytes(*second_, first);
  require(outcome.ending == Ending::success, "what was written can be read", outcome.text.c_str());
  const Model again = second_->takeModel();
  const auto difference = findDifference(model, again);
  // The tagged format does not keep the sign of -0.0.
  require(!difference || &format_ == &kTagged, "what was written is the model",
          difference.value_or("").c_str());
  require(format_.write(again) == first, "writing again gives the same bytes");
}

}  // namespace kr::zero::fuzz
