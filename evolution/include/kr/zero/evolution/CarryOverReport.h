/// @file
/// What became of every class, property and value of a model that was carried over to another meta model.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/evolution/export.h"

namespace kr::zero::evolution {

/// What became of a type or a property.
enum class Fate : std::uint8_t {
  kept,       ///< the same name, type and sort of bounds
  renamed,    ///< another name and nothing else
  converted,  ///< another type, or a single value where there was a collection, or the other way round
  leftOut,    ///< there is no place for it
};

/// The fate as reports write it ("left out").
KR0_EVOLUTION_API std::string_view nameOf(Fate fate) noexcept;

/// What became of a property. Where classes that inherit it have different places for it, each of them makes
/// a row.
struct PropertyFate {
  std::string from = {};      ///< name, of the type whose row this stands in
  std::string to = {};        ///< qualified with its type; empty: there is none
  Fate fate = Fate::kept;     ///< what became of it
  std::string detail = {};    ///< what differs, or why it is left out; else empty
  std::uint64_t values = 0;   ///< that the old model has; one that is explicitly empty counts as one
  std::uint64_t carried = 0;  ///< of these, values that the new model has
};

/// What became of a class or datatype.
struct TypeFate {
  std::string from = {};                      ///< qualified name
  std::string to = {};                        ///< qualified name; empty: there is none
  Fate fate = Fate::kept;                     ///< what became of it
  std::string detail = {};                    ///< why it is left out; else empty
  std::uint64_t elements = 0;                 ///< of this very type, in the old model
  std::uint64_t carried = 0;                  ///< of these, how many the new model has
  std::vector<PropertyFate> properties = {};  ///< that the type declares itself
};

/// Something that happened to some elements or values, with the places where it did first.
struct Finding {
  std::string subject = {};             ///< qualified name of a type or property
  std::uint64_t count = 0;              ///< how many of it
  std::string unit = {};                ///< of what: "value", "element", "reference"
  std::string what = {};                ///< "left out, shelf.Book has no property \"pages\""
  bool asked = false;                   ///< a rule of the map asked for it
  std::vector<std::string> paths = {};  ///< the first few places in the old model
  bool hasMore = false;                 ///< there are more places than these

  /// All of it in one line.
  KR0_EVOLUTION_API std::string sentence() const;
};

/// The report on a model.
struct CarryOverReport {
  std::uint64_t elements = 0;    ///< of the old model
  std::uint64_t carried = 0;     ///< of the new one
  std::vector<TypeFate> types;   ///< all classes and datatypes of the old meta model, in its order
  std::vector<Finding> losses;   ///< what the new model lacks
  std::vector<Finding> notices;  ///< what is not lost, and worth a look

  /// Whether there is no loss that no rule asked for.
  KR0_EVOLUTION_API bool isLossless() const noexcept;
};

/// The report in lines for people: the same models and rules give the same lines.
KR0_EVOLUTION_API std::string toText(const CarryOverReport& report);
/// The report as JSON.
KR0_EVOLUTION_API std::string toJson(const CarryOverReport& report);

}  // namespace kr::zero::evolution
