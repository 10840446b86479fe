/// @file
/// Base of the parsers that read a model from tree events.
///
///     class MyParser final : public kr::zero::io::KRSylvanParser {
///      public:
///       using KRSylvanParser::KRSylvanParser;
///       const char* getFullyQualifiedVornTypeName() const override { return "my.Parser"; }
///
///      private:
///       bool doParseString(const std::string& text) override {
///         sendEvents(text, *getModelBuildingTarget());
///         return true;
///       }
///       ...
///     };
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kr/zero/export.h"
#include "kr/zero/io/Parser.h"
#include "kr/zero/io/TreeUnitTarget.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::io {

namespace internal {
class TreeEventReader;
}

/// Builds a model from one document of tree events, of the shape that KRSylvanSerializer describes. The
/// parse processor sees the calls that a reader of any other format makes.
///
/// Accepted beyond what the serializer writes: an integer property takes signed and unsigned integers
/// alike, as long as the number is in its range; entries of metadata and of references in any order.
/// Anything else is refused with a ValueError that names the place, what is expected there and what was
/// found. What the parse processor refuses (see ParseProcessor::push) makes parse return false; the rest
/// of the document is then passed over.
class KR0_FRAMEWORK_API KRSylvanParser : public Parser {
 public:
  /// @throws std::invalid_argument for a collaborator that is null.
  KRSylvanParser(std::unique_ptr<ParseCustomizer> customizer, std::unique_ptr<ParsingModelBuilder> builder);
  ~KRSylvanParser() override;

 protected:
  /// Where a format's reader sends its events: builds the model through the parse processor. Belongs to
  /// the parser. A document that is not ended is noticed by parse.
  modeling::sylvan::SylvanEventProcessor<void>* getModelBuildingTarget() const noexcept;
  /// Takes what belongs together, in the place of the events to the model building target. Belongs to the
  /// parser.
  TreeUnitTarget& getModelBuildingUnits() const noexcept;

  /// Raises the format's error for a document that is malformed where only the model builder can see it:
  /// a text that is not well-formed UTF-8, a document that is not ended. Must not return. Raises
  /// std::runtime_error unless overridden.
  /// @param detail what is wrong.
  [[noreturn]] virtual void failCorrupt(const std::string& detail) const;

 private:
  friend class internal::TreeEventReader;
  bool doParseString(const ustring& text) override = 0;
  bool doParseString(const std::string& text) override = 0;
  /// Hands the bytes on as a narrow string.
  bool doParseByteSequence(const std::vector<std::uint8_t>& bytes) override;
  void finishParse() override;
  void giveBackMemory() noexcept override;

  std::unique_ptr<internal::TreeEventReader> reader_;
};

}  // namespace kr::zero::io
