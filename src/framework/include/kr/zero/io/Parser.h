/// @file
/// Base of all parsers.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/export.h"
#include "kr/zero/io/ParseCustomizer.h"
#include "kr/zero/io/ParseOptions.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/io/ParsingInput.h"
#include "kr/zero/io/ParsingModelBuilder.h"
#include "kr/zero/log/Span.h"

namespace kr::zero::io {

/// Owns customizer, model builder and processor. One parse at a time; may be used again after any
/// outcome.
class KR0_FRAMEWORK_API Parser {
 public:
  /// @throws std::invalid_argument for a collaborator that is null.
  Parser(std::unique_ptr<ParseCustomizer> customizer, std::unique_ptr<ParsingModelBuilder> builder);
  virtual ~Parser();
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;
  /// The name of the class with its package, "kr.zero.io.BinaryParser" for one. Lives as long as the program.
  virtual const char* getFullyQualifiedVornTypeName() const = 0;

  /// Reads one document into the model builder's model.
  /// @return true for a complete document. false where it was refused (unknown package, unknown or
  ///   abstract class, two elements of one identity, an element left open at the end …): then
  ///   getProblems() is not empty.
  /// @throws what the format raises for malformed input; ValueError; std::ios_base::failure for a
  ///   stream that fails while it is read.
  [[nodiscard]] bool parse(const ParsingInput& input);
  /// parse() of a file.
  [[nodiscard]] bool parseFile(const ustring& path) { return parse(ParsingInput::fromFile(path)); }
  /// parse() of bytes in memory.
  [[nodiscard]] bool parseByteSequence(const std::vector<std::uint8_t>& bytes) {
    return parse(ParsingInput::fromByteSequence(bytes));
  }

  /// The model of the last parse, handed over. What a document that was refused left behind is
  /// getModelBuilder()'s.
  /// @throws std::logic_error where the last parse did not return true, or its model was taken already.
  Model takeModel();
  /// Who holds the model; the parser's own.
  ParsingModelBuilder& getModelBuilder() noexcept { return *builder_; }
  /// What is called for each thing found; the parser's own, never null.
  ParseProcessor* getParseProcessor() const noexcept { return processor_.get(); }
  /// Puts another processor in place (a recorder, say). It must not be null.
  void setParseProcessor(std::unique_ptr<ParseProcessor> processor);
  /// Bounds and listeners for the documents to come; what they throw ends the parse.
  void setOptions(ParseOptions options) { options_ = std::move(options); }
  /// What setOptions was given.
  const ParseOptions& getOptions() const noexcept { return options_; }
  /// The format's name at IOFormatProvider.
  const ustring& getFormatName() const noexcept { return formatName_; }
  /// Why the last document was refused, a sentence each; empty where it was not.
  const std::vector<std::string>& getProblems() const noexcept { return processor_->getProblems(); }
  /// The span of the last parse, with a child per step.
  const log::Span& getSpan() const noexcept { return span_; }
  /// What is known of a failure of the last parse beyond its exception's text; what is not known is empty.
  struct Failure {
    std::string detail;                       ///< what is wrong, more closely than the exception says
    std::optional<std::uint64_t> byteOffset;  ///< where reading had come to
    std::string path;                         ///< of the innermost element that was open
    std::string property;                     ///< of that element, where its value was being read
    std::string type;                         ///< of that property, by qualified name
  };
  /// That of the last parse.
  Failure getFailure() const;
  /// The same in one line. Empty where nothing is known.
  std::string describeFailure() const;

 protected:
  /// Set by the format's class.
  ustring formatName_;

 private:
  class Dispatch;
  virtual bool doParseFile(const ustring& path) = 0;
  virtual bool doParseString(const ustring& text) = 0;
  virtual bool doParseString(const std::string& text) = 0;
  virtual bool doParseByteSequence(const std::vector<std::uint8_t>& bytes) = 0;
  /// Reads the stream to its end and hands the bytes to doParseByteSequence, unless overridden.
  virtual bool doParseStream(std::istream& stream);
  /// Called by parse after a hook that returned true: the place to look at the document as a whole. Unless
  /// overridden, an element that is still open is a problem: the document was cut.
  virtual void finishParse();
  /// Called at the end of parse, however it ends: the place to give back what grew with the document.
  virtual void giveBackMemory() noexcept;

  std::unique_ptr<ParseCustomizer> customizer_;
  std::unique_ptr<ParsingModelBuilder> builder_;
  std::unique_ptr<ParseProcessor> processor_;
  ParseOptions options_;
  log::Span span_;
  bool accepted_ = false;  // the last document, whose model is still here
};

}  // namespace kr::zero::io
