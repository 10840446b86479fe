/// @file
/// Internal: the direct format as those see it who look at its bytes (docs/formats/direct.md).
#pragma once

#include <string_view>
#include <vector>

#include "Reading.h"
#include "TypeTable.h"

namespace kr::zero::inspect {

/// Reads a document of the direct format a thing at a time, from any place and with anything open. Takes what
/// the library's parser takes, but for what shows only when the whole document is known (two elements of one
/// identity, references to elements of another class).
class DirectScan {
 public:
  /// @param types null: only what stands before the first property of the first element can be read.
  DirectScan(std::string_view bytes, TypeTable* types) : bytes_(bytes), types_(types) {}

  std::string_view bytes() const noexcept { return bytes_; }
  bool knowsTypes() const noexcept { return types_ != nullptr; }
  /// Whether bytes can be told from such that make no sense.
  bool canTell() const noexcept { return types_ != nullptr; }

  /// Version, byte order, packages.
  bool readHead(Reading& reading) const;
  /// Puts a reading whose head could not be read between the roots.
  void passHead(Reading& reading) const { reading.open.clear(); }
  /// The next thing. Reads nothing of it where it is none that may stand here: `reading.fault` says why.
  bool step(Reading& reading) const;
  /// The beginning of an element, without what says where it stands.
  bool stepAlone(Reading& reading) const;

  bool isDone(const Reading& reading) const noexcept { return reading.at == bytes_.size(); }
  /// Whether a document may end here.
  bool endsWell(const Reading& reading) const noexcept { return isDone(reading) && reading.open.empty(); }
  /// What is missing where it may not.
  const char* missingEnd() const noexcept { return "the end token of an element"; }

  /// What may be open that lost its beginning, if something known stands at a place: adds frames for it.
  /// @param inside what it stands in; null: nothing.
  void proposeLost(std::size_t at, const Frame* inside, std::vector<LostFrames>& proposals) const;
  /// What an element may be whose head is damaged: adds frames for it.
  void proposeHeads(const Damage& damage, std::vector<LostFrames>& proposals) const;

 private:
  struct Cursor;
  bool number(Reading& reading, Cursor& in, std::uint64_t& number, const char* expected) const;
  bool byte(Reading& reading, Cursor& in, std::uint8_t& byte, const char* expected) const;
  bool text(Reading& reading, Cursor& in, std::string_view& text, const char* expected) const;
  bool identity(Reading& reading, Cursor& in, ScannedIdentity& identity) const;
  bool begin(Reading& reading, Cursor& in, const PropertyRecord* property) const;
  bool noteHead(Reading& reading, const PropertyRecord* property) const;
  bool beginDatatype(Reading& reading, Cursor& in, const PropertyRecord& property) const;
  bool end(Reading& reading, const Cursor& in) const;
  bool property(Reading& reading, Cursor& in, std::uint64_t number) const;
  bool content(Reading& reading, Cursor& in, const PropertyRecord& property) const;
  bool single(Reading& reading, Cursor& in, const PropertyRecord& property) const;
  bool many(Reading& reading, Cursor& in, const PropertyRecord& property) const;
  bool value(Reading& reading, Cursor& in, const PropertyRecord& property, ScannedValue& value) const;
  bool fixed(Reading& reading, Cursor& in, const PropertyRecord& property, ScannedValue& value) const;
  bool reference(Reading& reading, Cursor& in, const PropertyRecord& property, bool isOneOfMany) const;
  void emit(Reading& reading, const Cursor& in, Item item) const;

  std::string_view bytes_;
  TypeTable* types_;
};

}  // namespace kr::zero::inspect
