/// @file
/// Internal: the loop that reads a document of the direct format into a ParseProcessor.
#pragma once

#include <boost/optional.hpp>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "fl/i18n/converter.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/log/Span.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// How the values of a property are read.
enum class ValueReader : std::uint8_t {
  unknown,  // not asked yet
  enumeration,
  text,
  boolean,
  integer8,
  integer16,
  integer,
  integer64,
  uinteger8,
  uinteger16,
  unlimitedNatural,
  uinteger64,
  real
};

/// One parse of one document.
class BinaryParseContext {
 public:
  /// @param span where errors are recorded.
  BinaryParseContext(ParseProcessor& processor, const log::Span& span);

  /// Reads the whole input.
  /// @return false where the framework refused the document.
  /// @throws Error<kr0::io::CorruptInput>, std::out_of_range for a property number that the innermost
  ///   type does not have, std::runtime_error for a number cut short; what the processor throws.
  bool parseBinary(const std::vector<std::uint8_t>& bytes);

  /// Bytes read so far.
  std::size_t getOffset() const noexcept { return static_cast<std::size_t>(position_ - begin_); }

 private:
  enum class ElementKind { root = 0, datatype = 1, composition = 3 };

  struct PropertyEntry {
    const ustring* name = nullptr;           // null: no property has this number
    const meta::Type::Impl* type = nullptr;  // the type that `reader` is for
    ValueReader reader = ValueReader::unknown;
  };
  /// A type name of the document, and the names of its properties by number.
  struct TypeEntry {
    std::string utf8;
    ustring name;
    const ustring* stable = nullptr;  // the meta model's own string of the name, once known
    bool isRegistered = false;
    std::vector<PropertyEntry> properties;
    const ustring& getName() const { return stable != nullptr ? *stable : name; }
  };

  bool readHeader();
  bool readItem();
  bool readProperty(PropertyEntry& property);
  void readPrimitiveProperty(PropertyEntry& property, PropertyCategory category);
  void readPrimitiveValue(PropertyEntry& property, meta::Type type);
  bool pushElement(ElementKind kind, const ustring* propertyName);
  void popElement();
  void readReferences(const ustring& name, PropertyCategory category);
  PropertyEntry& findProperty(std::uint64_t identifier);
  void registerPropertyNames(TypeEntry& type);
  TypeEntry& findType(std::string_view utf8);

  // Readers of the units; each moves the position.
  std::uint64_t readNumber();
  std::uint8_t readByte();
  std::string_view readText();
  void readUtf16(ustring& text);
  std::uint64_t readCount();
  [[noreturn]] void failCorrupt(const std::string& detail) const;

  ParseProcessor& processor_;
  log::Span span_;
  const std::uint8_t* begin_ = nullptr;
  const std::uint8_t* position_ = nullptr;
  const std::uint8_t* end_ = nullptr;

  std::deque<TypeEntry> types_;
  std::unordered_map<std::string_view, TypeEntry*> typeByName_;
  TypeEntry* lastType_ = nullptr;
  // Type and closing name of every open element, innermost last.
  std::vector<TypeEntry*> typeNames_;
  std::vector<const ustring*> elementNames_;

  // Texts on their way; used again and again.
  ustring text_;
  ustring id1_;
  ustring id2_;
  boost::optional<ustring> qualifier_;
  const ustring nothing_;
};

}  // namespace kr::zero::io
