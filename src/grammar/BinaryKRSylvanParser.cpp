#include "kr/zero/io/BinaryKRSylvanParser.h"

#include <string>

#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "kr/zero/io/IOFormatProvider.h"
#include "sylvan/UnitRoad.h"

namespace kr::zero::io {

using foundation::log::logging_event_types;

BinaryKRSylvanParser::BinaryKRSylvanParser(std::unique_ptr<ParseCustomizer> customizer,
                                           std::unique_ptr<ParsingModelBuilder> builder)
    : KRSylvanParser(std::move(customizer), std::move(builder)),
      transformer_(std::make_unique<BinaryKRGrammarTransformer>(getModelBuildingTarget())),
      assembler_(std::make_unique<BinaryAssembler>(transformer_.get())),
      units_(std::make_unique<tagged::UnitRoad>(getModelBuildingUnits(), *transformer_)) {
  assembler_->units_ = units_.get();
  formatName_ = IOFormatProvider::FORMAT_BINARY_KRSYLVAN;
}

BinaryKRSylvanParser::BinaryKRSylvanParser()
    : BinaryKRSylvanParser(std::make_unique<HydratorParseCustomizer>(),
                           std::make_unique<ParsingModelBuilder>(false)) {}

BinaryKRSylvanParser::~BinaryKRSylvanParser() = default;

const char* BinaryKRSylvanParser::getFullyQualifiedVornTypeName() const {
  return "kr.zero.io.BinaryKRSylvanParser";
}

bool BinaryKRSylvanParser::doParseFile(const ustring& path) {
  return assemble<const ustring&>("doParseFile", &BinaryAssembler::visitFile, path);
}

bool BinaryKRSylvanParser::doParseString(const std::string& text) {
  return assemble<const std::string&>("doParseString", &BinaryAssembler::visitString, text);
}

bool BinaryKRSylvanParser::doParseString(const ustring& text) {
  return assemble<const ustring&>("doParseString", &BinaryAssembler::visitUString, text);
}

template <class Input>
bool BinaryKRSylvanParser::assemble(const char* step, void (BinaryAssembler::*visit)(Input), Input input) {
  struct Ending {
    BinaryKRGrammarTransformer& transformer;
    ~Ending() { transformer.giveBackMemory(); }
  };
  const Ending ending{*transformer_};
  const log::Span span = getSpan()->openChild(step);
  try {
    (assembler_.get()->*visit)(input);
  } catch (...) {
    noteFailure(span);
    getParseProcessor()->parseCompleted();
    throw;
  }
  return true;
}

void BinaryKRSylvanParser::noteFailure(const log::Span& span) const {
  try {
    const std::string detail = assembler_->getErrorDetail();
    if (!detail.empty()) span->addContext(logging_event_types::error, "error-message", detail);
    span->addContext(logging_event_types::error, "byte-offset", std::to_string(assembler_->getByteOffset()));
  } catch (...) {
    // The failure that is on its way matters more than a note about it.
  }
}

void BinaryKRSylvanParser::failCorrupt(const std::string& detail) const {
  const log::Span span = getSpan()->openChild("failCorrupt");
  span->addContext(logging_event_types::error, "byte-offset", std::to_string(assembler_->getByteOffset()));
  errors::raiseWithSpan<kr0::io::CorruptInput>(errors::corruptInput(), span, detail);
}

}  // namespace kr::zero::io
