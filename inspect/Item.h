/// @file
/// Internal: what stands in a document, one thing after another, as those see it who look at its bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "kr/zero/meta/Type.h"

namespace kr::zero::inspect {

using TypeRecord = meta::StructuredType::Impl;
using PropertyRecord = meta::Property::Impl;

enum class ItemKind : std::uint8_t {
  version,
  byteOrder,
  packageCount,
  package,
  begin,       ///< an element or datatype value begins
  beginGroup,  ///< a struct, sequence, metadata or entry begins of which no more is known
  end,         ///< the innermost that began ends
  value,
  collection,  ///< the head of a collection, whose values or references follow
  reference,
  bareKey,  ///< a key whose property has no content
  behind    ///< bytes behind the end, which readers do not look at
};

/// What can be open.
enum class FrameKind : std::uint8_t { element, datatype, structure, sequence, metadata, entry, document };

/// A primitive as it stands in a document; the text lies in the document's bytes.
struct ScannedValue {
  enum class Form : std::uint8_t { null, boolean, integer, natural, real, text };
  Form form = Form::null;  ///< null: explicitly empty
  std::uint64_t bits = 0;  ///< of what is no text; of an integer in two's complement
  std::string_view text = {};
};

/// Two texts that name an element, or none.
struct ScannedIdentity {
  bool isThere = false;
  std::string_view first = {};
  std::string_view second = {};
};

/// A thing that stands in a document. Views lie in its bytes or in the meta model.
struct Item {
  ItemKind kind;
  std::size_t offset = 0;
  std::size_t bytes = 0;
  FrameKind frame = FrameKind::element;        ///< of what begins or ends
  const PropertyRecord* property = nullptr;    ///< that it is of or in; null: none, or not known
  std::string_view name = {};                  ///< of that property
  const TypeRecord* type = nullptr;            ///< of what begins; null: not known
  std::string_view typeName = {};              ///< of what begins, or is referred to
  ScannedIdentity identity = {};               ///< of what begins, or is referred to
  const std::string_view* document = nullptr;  ///< where the target of a reference is; null: here
  ScannedValue value = {};
  std::uint64_t count = 0;     ///< of packages; what a collection says of itself
  bool isOneOfMany = false;    ///< a value or reference in a collection
  bool isWithoutHead = false;  ///< an element whose own beginning is lost: the type is a guess
  bool isAlone = false;        ///< an element that was found among damaged bytes
};

/// A place where the bytes stop making sense, and how it goes on.
struct Damage {
  std::size_t offset = 0;  ///< of the thing that could not be read
  std::size_t bytes = 0;   ///< that were passed over
  std::size_t at = 0;      ///< where exactly it stopped making sense
  std::string expected = {};
  std::string found = {};
  bool isHead = false;                     ///< whether it is the beginning of an element
  const PropertyRecord* headOf = nullptr;  ///< in which that stands; null: at the top
  bool goesOn = false;                     ///< whether reading goes on behind it, by a guess
};

/// Hears of a document, in the order of its bytes, each byte once.
class Listener {
 public:
  virtual ~Listener() = default;
  virtual void onItem(const Item& item) = 0;
  virtual void onDamage(const Damage& damage) = 0;
  /// The innermost that began was not seen to end.
  virtual void onDrop() = 0;
};

}  // namespace kr::zero::inspect
