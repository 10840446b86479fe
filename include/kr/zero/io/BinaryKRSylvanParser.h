/// @file
/// The reader of the tagged binary format.
#pragma once

#include <memory>

#include "kr/zero/io/BinaryAssembler.h"
#include "kr/zero/io/BinaryKRGrammarTransformer.h"
#include "kr/zero/io/KRSylvanParser.h"
#include "kr/zero/io/export.h"

namespace kr::zero::io {

/// Reads the tagged binary format (docs/formats/tagged.md) into a model: bytes, by BinaryAssembler into
/// tree events, through BinaryKRGrammarTransformer into the framework's model builder.
///
///     kr::zero::io::BinaryKRSylvanParser parser;
///     if (!parser.parseFile(u"books.krt")) report(parser.getProblems());
///     kr::zero::Model model = parser.takeModel();
///
/// Inputs: file, stream, byte vector and narrow string. A UTF-16 string raises "UstringNotSupported".
/// Malformed bytes, a file that cannot be opened, a text that is not well-formed UTF-8 and a document that
/// is not ended raise "CorruptInput"; a document of another shape raises ValueError or the grammar's
/// GrammarException; a text that says that it is longer than any can be std::length_error or
/// std::bad_alloc. On each of these the parser's span holds "byte-offset", the position that reading had
/// reached.
///
/// The parse processor hears of parseCompleted once per document, however that ends: before the exception
/// reaches the caller, or before parse returns. It hears nothing where there is no document: an
/// intermediate form is refused (parse returns false), and a stream that fails (std::ios_base::failure) or a
/// byte vector that there is no memory for is not looked into.
///
/// A stream is read to its end, and the document must be the first thing in it. For several documents in one
/// stream use BinaryAssembler.
///
/// A file is closed when the call returns or throws, and no memory of a large document is kept for the next:
/// but what a document that failed left of its model, which is the model builder's until the next parse.
///
/// May be used for one document after another; not from two threads at once.
class KR0_IO_API BinaryKRSylvanParser : public KRSylvanParser {
 public:
  /// Asks its host for no packages; knows those of the process's registry.
  BinaryKRSylvanParser();
  /// @throws std::invalid_argument for a collaborator that is null.
  BinaryKRSylvanParser(std::unique_ptr<ParseCustomizer> customizer,
                       std::unique_ptr<ParsingModelBuilder> builder);
  ~BinaryKRSylvanParser() override;
  const char* getFullyQualifiedVornTypeName() const override;

 private:
  bool doParseFile(const ustring& path) override;
  bool doParseString(const std::string& text) override;
  bool doParseString(const ustring& text) override;
  [[noreturn]] void failCorrupt(const std::string& detail) const override;

  template <class Input>
  bool assemble(const char* step, void (BinaryAssembler::*visit)(Input), Input input);
  void noteFailure(const log::Span& span) const;

  std::unique_ptr<BinaryKRGrammarTransformer> transformer_;
  std::unique_ptr<BinaryAssembler> assembler_;
  std::unique_ptr<tagged::UnitRoad> units_;
};

}  // namespace kr::zero::io
