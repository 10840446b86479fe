/// @file
/// What differs between two models, element by element.
///
///     const kr::zero::compare::ModelDiff diff = kr::zero::compare::compareModels(before, after);
///     for (const auto& difference : diff.differences()) std::cout << difference.sentence() << '\n';
///     kr::zero::Model same = kr::zero::compare::applyDiff(diff, before);  // says what `after` says
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/compare/export.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::compare {

/// What kind of difference it is.
enum class DifferenceKind : std::uint8_t {
  added,      ///< an element of the second model alone, with what is below it and was not elsewhere before
  removed,    ///< an element of the first model alone, likewise; references to it go with it
  moved,      ///< another container, or another property of it
  reordered,  ///< another place among the elements of the same property
  identity,   ///< another identity
  changed     ///< other values in a property
};

/// The kind in one word, for reports ("added").
KR0_COMPARE_API std::string_view nameOf(DifferenceKind kind) noexcept;

/// One difference. Texts are UTF-8.
struct KR0_COMPARE_API Difference {
  DifferenceKind kind = DifferenceKind::changed;  ///< what happened
  ConstElement before;       ///< the element in the first model; an empty handle where it was added
  ConstElement after;        ///< the element in the second one; an empty handle where it was removed
  meta::Property property;   ///< what changed; of an added, removed, moved or reordered element the property
                             ///< that holds it now (held it, of a removed one), empty at the top of a model
  std::size_t position = 0;  ///< in `property`, counted from 0, of an added, moved or reordered element
  std::size_t elements = 1;  ///< of an added or removed one: how many are gone or new with it
  std::string pathBefore;    ///< path in the first model, as ConstElement::getPath gives it; empty: none
  std::string pathAfter;     ///< path in the second model
  std::string valueBefore;   ///< of `identity` and `changed`, as valueText() shows it
  std::string valueAfter;    ///< likewise

  /// All of it in one line, such as `changed /library/books[3].pages: 10 -> 12`.
  std::string sentence() const;
};

/// What the caller knows beyond the two models.
struct CompareOptions {
  /// Attributes that name an element as an identity does, beside the identities that elements have. None
  /// need be given: attributes called "name", "id" and the like are looked at anyway, among the elements of
  /// matching containers.
  std::vector<meta::Property> ids;
};

/// The differences of two models, and which element is which. It refers to both models, which must outlive
/// it and stay as they are. Copies share everything. Threads: may be read by many.
class KR0_COMPARE_API ModelDiff {
 public:
  ///@{
  /// In the order of the first model; what was added follows what is said of its container. The same two
  /// models give the same differences.
  const std::vector<Difference>& differences() const& noexcept;
  std::vector<Difference> differences() && { return differences(); }
  ///@}
  /// Whether both models say the same, as findDifference would tell.
  bool isEmpty() const noexcept { return differences().empty(); }
  /// The element of the second model that an element of the first one became, or an empty handle.
  ConstElement afterOf(ConstElement before) const;
  /// The element of the first model that an element of the second one was, or an empty handle.
  ConstElement beforeOf(ConstElement after) const;

  /// @cond
  struct Impl;
  explicit ModelDiff(std::shared_ptr<const Impl> impl) noexcept : impl_(std::move(impl)) {}
  const Impl& impl() const noexcept { return *impl_; }

 private:
  std::shared_ptr<const Impl> impl_;
  /// @endcond
};

/// Finds what differs. Elements are the same where identities or ids say so; else among the elements of
/// matching containers by equal content, by name, and by similar content and neighbours; at last wherever
/// they are, by equal and similar content. Elements of different classes are never the same. Time grows
/// about in proportion to the size of the models: each element is held against a bounded number of others.
/// @throws ModelError where the two models are not of one registry.
KR0_COMPARE_API ModelDiff compareModels(const Model& before, const Model& after,
                                        const CompareOptions& options = {});

/// Carries out differences, one by one: a model that says what the second model of the comparison says.
/// Elements come in document order, so their numbers are dense.
/// @param before the first model of the comparison, or an equal one such as its clone().
/// @throws ModelError where `before` is another one, or holds what the meta model forbids.
KR0_COMPARE_API Model applyDiff(const ModelDiff& diff, const Model& before);

/// The value of a property as differences show it: "unset", "empty", a number, literal, date or UUID as its
/// text form, a text in quotes with escapes as in JSON, `-> /library/books[3]` for a reference,
/// `{street: "Quay", number: 14}` for a value made of parts, and several in brackets.
/// @throws ModelError where the element has no such property.
KR0_COMPARE_API std::string valueText(ConstElement element, meta::Property property);

}  // namespace kr::zero::compare
