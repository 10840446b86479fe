#include "kr/zero/io/KRSylvanParser.h"

#include <stdexcept>

#include "io/tree/TreeEventReader.h"

namespace kr::zero::io {

KRSylvanParser::KRSylvanParser(std::unique_ptr<ParseCustomizer> customizer,
                               std::unique_ptr<ParsingModelBuilder> builder)
    : Parser(std::move(customizer), std::move(builder)),
      reader_(std::make_unique<internal::TreeEventReader>(*this)) {}

KRSylvanParser::~KRSylvanParser() = default;

modeling::sylvan::SylvanEventProcessor<void>* KRSylvanParser::getModelBuildingTarget() const noexcept {
  return reader_.get();
}

TreeUnitTarget& KRSylvanParser::getModelBuildingUnits() const noexcept { return *reader_; }

void KRSylvanParser::failCorrupt(const std::string& detail) const { throw std::runtime_error(detail); }

bool KRSylvanParser::doParseByteSequence(const std::vector<std::uint8_t>& bytes) {
  return doParseString(std::string(bytes.begin(), bytes.end()));
}

void KRSylvanParser::giveBackMemory() noexcept { reader_->giveBackMemory(); }

// The end mark tells whether a document is whole: a refused one leaves elements open that it does close.
void KRSylvanParser::finishParse() {
  getParseProcessor()->parseCompleted();
  if (!reader_->isComplete()) failCorrupt("the document ends without its end mark");
}

}  // namespace kr::zero::io
