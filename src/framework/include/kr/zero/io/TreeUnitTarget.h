/// @file
/// What a format's reader may call in place of tree events, to hand over more with each call.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "kr/zero/export.h"
#include "modeling/sylvan/SylvanEventCode.h"

namespace kr::zero::io {

/// A primitive whose text stays where it is.
struct TreeValue {
  /// In the order of SylvanPrimitive's alternatives.
  enum class Kind : std::uint8_t { boolean, null, real, unsignedInteger, signedInteger, text };

  Kind kind = Kind::null;  ///< which of the others counts
  std::uint64_t bits = 0;  ///< a number or truth value, signed ones sign-extended, reals as binary64
  std::string_view text;   ///< needs to live during the call only
};

/// Builds a model as the events would that each operation names. An operation that returns false has done
/// nothing: its events do not fit, or say what only events can, and are to be sent one by one. One that
/// returns true may be followed by an operation or by an event; it has done what the last of the named events
/// would do, or of an entry its primitive, and throws what that would.
///
/// No operation looks at the grammar: the events of those that returned true are as it wants them. Whoever
/// goes on with events brings a check of the grammar along by listWay().
class KR0_FRAMEWORK_API TreeUnitTarget {
 public:
  TreeUnitTarget() = default;
  TreeUnitTarget(const TreeUnitTarget&) = delete;
  TreeUnitTarget& operator=(const TreeUnitTarget&) = delete;
  virtual ~TreeUnitTarget();

  /// Whether some operation may return true where the document is.
  virtual bool takesUnits() const noexcept = 0;
  /// The fewest events that lead a document to where this one is, as far as the grammar can tell. Only where
  /// takesUnits(), or behind an operation that returned true.
  virtual std::vector<modeling::sylvan::SylvanEventCode> listWay() const = 0;

  /// startMetadata, an entry "type" with its text, perhaps an entry "id" with two texts (else they are
  /// empty), endMetadata, startStruct.
  virtual bool openObject(std::string_view type, std::string_view id1, std::string_view id2) = 0;
  /// startStruct of a datatype value.
  virtual bool openDatatypeValue() = 0;
  /// endStruct of either.
  virtual bool closeStruct() = 0;

  /// startNamedEntry.
  virtual bool openEntry(std::string_view name) = 0;
  /// endNamedEntry.
  virtual bool closeEntry() = 0;
  /// startSequence in a property.
  virtual bool openList() = 0;
  /// endSequence.
  virtual bool closeList() = 0;

  /// startNamedEntry, writePrimitive, endNamedEntry.
  virtual bool addEntry(std::string_view name, const TreeValue& value) = 0;
  /// writePrimitive in a list.
  virtual bool addItem(const TreeValue& value) = 0;
  /// startStruct, an entry "type" with its text, an entry "id" with two texts, perhaps an entry "qualifier"
  /// with its text, endStruct.
  /// @param qualifier null for none.
  virtual bool addReference(std::string_view type, std::string_view id1, std::string_view id2,
                            const std::string_view* qualifier) = 0;
};

}  // namespace kr::zero::io
