/// @file
/// The reader of the direct binary format.
#pragma once

#include <memory>

#include "kr/zero/io/Parser.h"
#include "kr/zero/io/export.h"

namespace kr::zero::io {

/// Reads the direct binary format (docs/formats/direct.md) into a model.
///
///     kr::zero::io::BinaryParser parser;
///     if (!parser.parseFile(u"books.krb")) report(parser.getProblems());
///     kr::zero::Model model = parser.takeModel();
///
/// Inputs: file, stream and byte vector. A file that cannot be opened raises "FileNotFound"; strings
/// raise "StringNotSupportedByParser" and "UstringNotSupportedByParser"; malformed input raises
/// "CorruptInput", std::out_of_range (a property number that the type does not have) or
/// std::runtime_error (a number cut short). The parser's span then holds "byte-offset", the position
/// that reading had reached.
///
/// A file is closed when the call returns or throws, and no memory of a large document is kept for the next:
/// but what a document that failed left of its model, which is the model builder's until the next parse.
///
/// May be used for one document after another; not from two threads at once.
class KR0_IO_API BinaryParser : public Parser {
 public:
  BinaryParser();
  /// @throws std::invalid_argument for a collaborator that is null.
  BinaryParser(std::unique_ptr<ParseCustomizer> customizer, std::unique_ptr<ParsingModelBuilder> builder);
  ~BinaryParser() override;
  const char* getFullyQualifiedVornTypeName() const override;

 private:
  explicit BinaryParser(std::unique_ptr<ParsingModelBuilder> builder);
  bool doParseFile(const ustring& path) override;
  bool doParseString(const ustring& text) override;
  bool doParseString(const std::string& text) override;
  bool doParseByteSequence(const std::vector<std::uint8_t>& bytes) override;
};

}  // namespace kr::zero::io
