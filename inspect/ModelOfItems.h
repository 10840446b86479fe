/// @file
/// Internal: makes a model of what was found in a document.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Item.h"
#include "kr/zero/Model.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/inspect/Salvage.h"

namespace kr::zero::inspect {

class ModelOfItems final : public Listener {
 public:
  explicit ModelOfItems(const meta::MetaRegistry& registry) : model_(registry) {}

  void onItem(const Item& item) override;
  void onDamage(const Damage& damage) override;
  void onDrop() override;

  /// Resolves the references, and hands everything over.
  Salvaged finish();

 private:
  /// Something that is open.
  struct Open {
    Element element;  ///< the innermost element or datatype value; empty: it could not be made
    std::size_t offset = 0;
    bool isElement = false;  ///< whether this is it, and not a list or the like inside
  };
  /// A reference that waits for the end.
  struct Waiting {
    Element from;
    const PropertyRecord* property;
    std::size_t offset;
    std::string_view typeName;
    ScannedIdentity identity;
    std::optional<std::string_view> document;
  };

  void begin(const Item& item);
  void beginGroup(const Item& item);
  Element make(const Item& item);
  Element makeInside(Element parent, const PropertyRecord& property, const TypeRecord& type);
  Element makeAlone(const Item& item);
  void identify(Element element, const Item& item);
  void number(Element element, const Item& item, std::uint64_t number);
  void numberHeadless(std::int64_t shift);
  void value(const Item& item);
  void put(Element element, const Item& item);
  void resolve(const Waiting& waiting);
  Element findTarget(const Waiting& waiting) const;
  void lose(std::size_t offset, std::size_t bytes, Element element, const std::string& why);
  std::string pathOf(Element element) const;

  Model model_;
  std::vector<Open> open_;
  std::vector<Waiting> waiting_;
  std::unordered_map<std::uint64_t, Element, NumberHash> byNumber_;
  std::unordered_map<std::string, Element, TextHash, std::equal_to<>> byIdentity_;
  std::vector<Loss> losses_;
  std::uint64_t elements_ = 0;             // that began
  std::optional<std::int64_t> shift_ = 0;  // of the numbers in the document to their places; see Reading
  std::int64_t lastShift_ = 0;             // before the damage that was met last
  std::vector<std::pair<std::uint64_t, Element>> headless_;  // whose numbers are lost, by place
};

}  // namespace kr::zero::inspect
