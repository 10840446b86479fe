/// @file
/// Internal: finds elements of a document by the texts that documents use for them.
///
///     fragment := id | path
///     path     := "/" root? ("/" step)*          root: number of the root, 0 where it is missing
///     step     := "@" feature ["." position]     a child by its place; without position the only one
///               | "@" feature "[" key "='" value "'" ("," ...)* "]"     a child by its values
///               | name ["." count]               a child by its name; the count tells equal names apart
///               | "%" source "%" ["." count]     an annotation by its source
///
/// Names are percent-encoded. Steps by position cost the same wherever they lead; names of the children
/// of an element are put into a map when the first of them is asked for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ClassTable.h"
#include "kr/zero/Model.h"

namespace kr::zero::ecore {

class Fragments {
 public:
  /// @param model may still grow; must not lose elements.
  Fragments(const Model& model, ClassTables& tables) : model_(model), tables_(tables) {}

  /// @returns false where the document has an element of that xmi:id already.
  bool addXmiId(std::string_view id, Element element);
  /// The value of an identifying attribute: several elements may share one until somebody refers to it.
  void addAttributeId(std::string_view id, Element element);

  enum class Outcome : std::uint8_t { found, missing, ambiguous };
  struct Result {
    Outcome outcome = Outcome::missing;
    Element element;
  };
  Result find(std::string_view fragment);
  /// The same where paths start at an element, whatever root they name.
  Result findFrom(Element root, std::string_view fragment);

 private:
  using ElementsByText = TextMap<std::vector<Element>>;
  struct Id {
    Element element;
    bool isAmbiguous = false;
  };
  struct KeyHash {
    std::size_t operator()(std::uint64_t key) const noexcept {
      return std::hash<std::uint64_t>()(key * 0x9E3779B97F4A7C15u);
    }
  };

  Result findPath(Element element, std::string_view path);
  Element findRoot(std::string_view number);
  Element step(Element from, std::string_view text);
  Element stepByFeature(Element from, std::string_view text);
  Element stepByKeys(Element from, const Feature& feature, std::string_view keys);
  Element stepByName(Element from, std::string_view text);
  const ElementsByText& namesBelow(Element element);
  const ElementsByText& valuesBelow(Element element, const Feature& feature, std::string_view key);
  std::optional<std::string> valueOf(Element element, std::string_view key);
  std::optional<std::string> nameOf(Element element);

  const Model& model_;
  ClassTables& tables_;
  std::vector<Element> roots_;
  TextMap<Id> xmiIds_;
  TextMap<Id> attributeIds_;
  std::unordered_map<std::uint32_t, ElementsByText> namesBelow_;  // by the element's index
  TextMap<ElementsByText> valuesBelow_;                           // by element, feature and key
};

/// Undoes percent-encoding; what is not an encoded byte stays.
std::string percentDecoded(std::string_view text);

}  // namespace kr::zero::ecore
