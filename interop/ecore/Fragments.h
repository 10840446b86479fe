/// @file
/// Internal: finds elements of a document by the texts that documents use for them, and keeps those of other
/// documents.
///
///     fragment := id | path
///     path     := "/" root? ("/" step)*          root: number of the root, 0 where it is missing
///     step     := "@" feature ["." position]     a child by its place; without position the only one
///               | "@" feature "[" key "='" value "'" ("," ...)* "]"     a child by its values
///               | name ["." count]               a child by its name; the count tells equal names apart
///               | "%" source "%" ["." count]     an annotation by its source
///
/// Names are percent-encoded. Steps by position cost the same wherever they lead; names of the children
/// of an element are put into a map when the first of them is asked for. So are the values of the children of
/// a list for each set of keys. Who writes such paths takes the few keys that a reference has in Ecore;
/// dozens of sets would have all children looked through for each.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ClassTable.h"
#include "kr/zero/Model.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::ecore {

class Fragments {
 public:
  /// The model of the elements may still grow, and must not lose any.
  explicit Fragments(ClassTables& tables) : tables_(tables) {}

  /// The next root of the document; an empty one has its place and is not there.
  void addRoot(Element root) { roots_.push_back(root); }
  /// Puts an element into the place of an empty root.
  void setRoot(std::size_t position, Element root) { roots_[position] = root; }
  const std::vector<Element>& roots() const noexcept { return roots_; }

  /// The next child of a list is in the document, and not in the model: positions of paths count it.
  /// @returns its position in the document.
  std::size_t leaveOut(ConstElement container, meta::Property property);
  /// A place that was left out, now as one in the list of the model.
  std::size_t placeOf(ConstElement container, meta::Property property, std::size_t position) const;
  /// The child that was left out at that position is in the model now.
  void fill(ConstElement container, meta::Property property, std::size_t position);

  /// @returns false where the document has an element of that xmi:id already.
  bool addXmiId(std::string_view id, Element element);
  /// Another element of an xmi:id.
  /// @returns the one that had it last.
  Element addDuplicateXmiId(std::string_view id, Element element);
  /// The value of an identifying attribute: several elements may share one until somebody refers to it.
  void addAttributeId(std::string_view id, Element element);

  /// Most keys of paths into one list, those of each set of keys counted once.
  static constexpr std::size_t kMostKeys = 16;

  enum class Outcome : std::uint8_t { found, missing, ambiguous, tooManyKeys };
  struct Result {
    Outcome outcome = Outcome::missing;
    Element element;  ///< where it is ambiguous: the one that is meant if one has to be
  };
  /// @param source the element that refers to it: where an xmi:id occurs more than once, the latest element
  ///   before it is meant, or the last where there is none before it.
  Result find(std::string_view fragment, ConstElement source = {});
  /// The same where paths start at an element, whatever root they name.
  Result findFrom(Element root, std::string_view fragment);

 private:
  using ElementsByText = TextMap<std::vector<Element>>;
  struct Id {
    Element element;
    bool isAmbiguous = false;
  };
  /// The children of one property of an element.
  struct Siblings {
    Element start;
    std::string path;  ///< from there up to the position of a child
    Element container;
    meta::Property property;
    std::size_t size = 0;
  };

  Result findPath(Element start, std::string_view path);
  Element findAmongSiblings(Element start, std::string_view path, std::size_t position) const;
  void rememberSiblings(Element start, std::string_view path, Element found);
  Element walk(Element start, std::string_view path);
  Element findRoot(std::string_view number);
  Element step(Element from, std::string_view text);
  Element stepByFeature(Element from, std::string_view text);
  Element stepByKeys(Element from, const Feature& feature, std::string_view keys);
  Element stepByName(Element from, std::string_view text);
  const ElementsByText& namesBelow(Element element);
  const TextMap<Element>* childrenByValues(Element element, const Feature& feature,
                                           const std::vector<std::string_view>& keys);
  std::optional<std::string> valuesOf(Element element, const std::vector<std::string_view>& keys);
  std::optional<std::string> valueOf(Element element, std::string_view key);
  std::optional<std::string> nameOf(Element element);

  using Gaps = std::unordered_map<std::uint64_t, std::vector<std::size_t>, NumberHash>;
  static std::uint64_t listOf(ConstElement container, meta::Property property);
  Element childAt(Element container, meta::Property property, std::size_t position) const;
  Element findXmiId(std::string_view id, ConstElement source) const;

  ClassTables& tables_;
  std::vector<Element> roots_;
  Gaps gaps_;  // by list: positions of children that are not in the model, in their order
  // References come in crowds that lead into a few lists of children: those that were found last are kept.
  static constexpr std::size_t kKept = 4;
  std::array<Siblings, kKept> siblings_;
  std::size_t oldest_ = 0;
  TextMap<Id> xmiIds_;
  TextMap<std::vector<Element>> duplicates_;  // the elements of an xmi:id that occurs more than once
  TextMap<Id> attributeIds_;
  std::unordered_map<std::uint32_t, ElementsByText> namesBelow_;  // by the element's index
  TextMap<TextMap<Element>> childrenByValues_;  // by element, feature and keys: the first with those values
  // By list: of all sets that have their map.
  std::unordered_map<std::uint64_t, std::size_t, NumberHash> keyCounts_;
  bool hasTooManyKeys_ = false;
};

/// Undoes percent-encoding; what is not an encoded byte stays.
std::string percentDecoded(std::string_view text);

/// An element with an `href` attribute.
inline constexpr std::string_view kHrefForm = "href";
/// A URI in an attribute, Ecore's own habit.
inline constexpr std::string_view kAttributeForm = "uri";

/// References into other documents, as models keep them: "books.xmi#//@books.3" becomes the qualifier
/// "books.xmi" and the second part of the identity "//@books.3". The first part tells in which form the
/// document had it, so that writing gives that form back; a reference that did not come from a document
/// keeps its own first part, as in "books.xmi#isbn#12345".
UnresolvedReference toUnresolved(std::string_view uri, std::string_view form, std::string_view targetType);

/// The URI of a reference that has a qualifier.
std::string uriOf(const UnresolvedReference& reference);

/// A text in which "%", "#" and blanks are percent-encoded.
std::string percentEncoded(std::string_view text);

}  // namespace kr::zero::ecore
