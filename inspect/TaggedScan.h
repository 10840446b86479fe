/// @file
/// Internal: the tagged format as those see it who look at its bytes (docs/formats/tagged.md).
#pragma once

#include <string_view>
#include <vector>

#include "Reading.h"
#include "TypeTable.h"

namespace kr::zero::inspect {

/// Reads a document of the tagged format a thing at a time, from any place and with anything open.
///
/// With types, takes what the library's parser of models takes, but for what shows only when the whole
/// document is known. Without, takes any tree whose beginnings and ends belong together, and looks for what
/// is an element or a reference by its form.
class TaggedScan {
 public:
  /// @param types null: without.
  TaggedScan(std::string_view bytes, TypeTable* types) : bytes_(bytes), types_(types) {}

  std::string_view bytes() const noexcept { return bytes_; }
  bool knowsTypes() const noexcept { return types_ != nullptr; }
  /// Whether bytes can be told from such that make no sense.
  bool canTell() const noexcept { return true; }

  /// The document's beginning, version, byte order.
  bool readHead(Reading& reading);
  /// Puts a reading whose head could not be read between the roots.
  void passHead(Reading& reading) const;
  /// The next thing. Reads nothing of it where it is none that may stand here: `reading.fault` says why.
  bool step(Reading& reading) const;
  /// The beginning of an element, wherever it stands.
  bool stepAlone(Reading& reading) const;

  bool isDone(const Reading& reading) const noexcept { return reading.at == bytes_.size(); }
  /// Whether a document may end here.
  bool endsWell(const Reading& reading) const noexcept { return isDone(reading) && reading.hasEnded; }
  /// What is missing where it may not.
  const char* missingEnd() const noexcept { return "the end of the document, 02"; }

  /// What may be open that lost its beginning, if something known stands at a place: adds frames for it.
  /// @param inside what it stands in; null: nothing.
  void proposeLost(std::size_t at, const Frame* inside, std::vector<LostFrames>& proposals) const;
  /// What an element may be whose head is damaged: names of entries tell that.
  void proposeHeads(const Damage&, std::vector<LostFrames>&) const {}

 private:
  struct Cursor;
  bool tag(Reading& reading, Cursor& in, std::uint8_t wanted, const char* expected) const;
  bool bits(Reading& reading, Cursor& in, std::size_t width, std::uint64_t& bits) const;
  bool primitive(Reading& reading, Cursor& in, ScannedValue& value) const;
  bool string(Reading& reading, Cursor& in, std::string_view& text, const char* expected) const;
  bool identity(Reading& reading, Cursor& in, ScannedIdentity& identity) const;
  bool mayHoldItem(Reading& reading, std::uint8_t tag) const;
  bool item(Reading& reading, std::uint8_t tag) const;
  bool packageOrValue(Reading& reading) const;
  bool beginStruct(Reading& reading) const;
  bool readReference(Reading& reading, Cursor& in, Item& item, std::string_view& document) const;
  bool beginSequence(Reading& reading) const;
  bool beginMetadata(Reading& reading) const;
  bool beginElement(Reading& reading, Cursor& in, const PropertyRecord* property) const;
  bool entry(Reading& reading) const;
  bool wholeEntry(Reading& reading, Cursor in, const PropertyRecord* property, std::string_view name) const;
  bool stopInValue(Reading& reading, Cursor in, const PropertyRecord& property) const;
  bool end(Reading& reading, std::uint8_t tag) const;
  bool requireValue(Reading& reading, std::size_t at, const PropertyRecord& property,
                    const ScannedValue& value, bool isOneOfMany) const;
  std::uint8_t tagAt(std::size_t at) const noexcept {
    return at < bytes_.size() ? static_cast<std::uint8_t>(bytes_[at]) : std::uint8_t{0};
  }
  void emit(Reading& reading, const Cursor& in, Item item) const;
  void countItem(Reading& reading) const;

  std::string_view bytes_;
  TypeTable* types_;
  bool isLittleEndian_ = true;
};

}  // namespace kr::zero::inspect
