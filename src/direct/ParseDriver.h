/// @file
/// Internal: the loop that reads a document of the direct format into a ParseProcessor.
#pragma once

#include <array>
#include <boost/optional.hpp>
#include <cstdint>
#include <string_view>
#include <vector>

#include "direct/ByteReader.h"
#include "direct/TypeTable.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/log/Span.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// One parse of one document. It knows bytes and nothing of models: what a name means is asked of the
/// processor.
class BinaryParseContext {
 public:
  /// @param bytes and span must outlive the context.
  /// @param span where errors are recorded.
  BinaryParseContext(ParseProcessor& processor, const std::vector<std::uint8_t>& bytes, const log::Span& span)
      : reader_(processor, bytes, span), processor_(processor) {}

  /// Reads the whole input.
  /// @return false where the framework refused the document.
  /// @throws Error<kr0::io::CorruptInput>; std::out_of_range for a property number that the innermost
  ///   type does not have; std::runtime_error for a fixed-width number cut short; what the processor
  ///   throws.
  bool parseBinary();

  /// Bytes read so far.
  std::size_t getOffset() const noexcept { return reader_.getOffset(); }

 private:
  /// The type of an element that is about to be opened.
  struct ElementType {
    std::string_view utf8;
    const ustring* name;
    TypeTable* table;  // null the first time
  };

  // Inline: all of them are defined and called in one file, and a document calls them for each byte or two.
  bool readHeader();
  inline bool readItem();
  inline PropertyEntry& findProperty(std::uint64_t identifier);
  inline bool readProperty(PropertyEntry& property);
  inline void readPrimitiveProperty(PropertyEntry& property, PropertyCategory category);
  inline void readPrimitiveValue(PropertyEntry& property, meta::Type type);
  inline void readReferences(PropertyEntry& property, PropertyCategory category);
  inline const ustring& readTargetType(PropertyEntry& property);
  inline const ustring& readTextValue();
  inline bool pushRoot();
  inline bool pushDatatype(PropertyEntry& property);
  inline bool pushComposition(PropertyEntry& property);
  inline ElementType readElementHeader(TypeTable*& last);
  inline bool pushElement(const ElementType& type, const ustring* propertyName, TypeTable*& last);
  inline void popElement();

  ByteReader reader_;
  ParseProcessor& processor_;
  TypeTables types_;
  TypeTable* lastRoot_ = nullptr;

  // Type and closing name of every open element, innermost last.
  std::vector<TypeTable*> typeNames_;
  std::vector<const ustring*> elementNames_;

  // Texts on their way; used again and again.
  ustring typeName_;
  // Values: the short ones in a string for each length, because to change a string's length costs more than
  // to convert a text of that length.
  std::array<ustring, 48> shortTexts_;
  ustring longText_;
  ustring id1_;
  ustring id2_;
  boost::optional<ustring> qualifier_;
  std::string_view lastTargetType_;  // what targetType_ was made from
  ustring targetType_;
};

}  // namespace kr::zero::io
