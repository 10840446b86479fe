/// @file
/// Models: elements of the classes of a meta model, in a forest of containment, with references.
///
///     kr::zero::Model model;
///     auto library = model.createRoot("library.Library");
///     auto book = library.create("books", "library.Book");
///     book.set("title", "Moby Dick");
///     for (kr::zero::Element e : model.elements("library.Book")) use(e.get<std::string>("title"));
///
/// Through a `const Model` elements can be read and not be changed: it gives handles of the type
/// ConstElement. Element.h says what handles do, Ranges.h what can be done with what elements() and its like
/// give, and Validate.h finds what a meta model forbids and a model may hold all the same.
///
/// All memory of a model comes from one arena that is given back when the model goes: an element costs
/// what is set on it, not what its class could hold. Values that are replaced or removed give their
/// memory back with the model, not before.
///
/// Threads: a model may be read by many threads while nobody changes it.
/// Names and texts are UTF-8.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/zero/Element.h"
#include "kr/zero/Ranges.h"
#include "kr/zero/export.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero {

/// A model. Movable; a copy is made by clone().
class KR0_FRAMEWORK_API Model {
 public:
  /// @param registry where class names are looked up; must outlive the model.
  explicit Model(const meta::MetaRegistry& registry = meta::MetaRegistry::instance());
  ~Model();
  Model(Model&&) noexcept;
  Model& operator=(Model&&) noexcept;

  /// What the constructor was given.
  const meta::MetaRegistry& getRegistry() const;

  /// Makes an element at the top of the model, after those that are there.
  /// @throws ModelError for an unknown or abstract class.
  Element createRoot(meta::Class type);
  /// The same with the qualified name of the class.
  Element createRoot(std::string_view typeName);
  /// Moves an element to the top of the model.
  void adoptRoot(Element element);
  ///@{
  /// The elements at the top, in their order.
  std::vector<Element> getRoots();
  std::vector<ConstElement> getRoots() const;
  RootRange<Element> roots();
  RootRange<ConstElement> roots() const;
  ///@}
  ///@{
  /// All elements in document order.
  ElementRange elements();
  ConstElementRange elements() const;
  ///@}
  ///@{
  /// Those of a class or of one that inherits from it.
  /// @throws ModelError where there is no such class.
  ElementRange elements(meta::Class type);
  ConstElementRange elements(meta::Class type) const;
  ElementRange elements(std::string_view className);
  ConstElementRange elements(std::string_view className) const;
  ///@}
  /// Number of elements (datatype values not counted).
  std::size_t size() const;
  /// Bytes of memory that the model holds.
  std::size_t getMemoryUsed() const;

  ///@{
  /// The elements that refer to `target`, in document order. Looks through the whole model.
  std::vector<Element> getReferrers(ConstElement target);
  std::vector<ConstElement> getReferrers(ConstElement target) const;
  ///@}
  ///@{
  /// The element of an identity, or an empty handle. Looks through the whole model.
  Element findByIdentity(std::string_view first, std::string_view second);
  ConstElement findByIdentity(std::string_view first, std::string_view second) const;
  ///@}

  /// Takes an element and all below it out of the model, and with them every reference to them.
  /// Handles to them remain and say so (ConstElement::isRemoved); their memory is given back with the
  /// model's. Looks through the whole model once.
  void remove(Element element);

  /// A deep copy of everything. References inside stay inside.
  Model clone() const;
  /// A deep copy of an element and all below it, as a new root of this model. References to elements
  /// below it point into the copy, others to where they pointed; from another model (of the same
  /// registry) these others are left out. Identities are not copied.
  Element copy(ConstElement element);

 private:
  friend class internal::ModelStore;
  std::unique_ptr<internal::ModelStore> store_;
};

/// The first difference of two models as a sentence, found by walking both in document order, such as
/// `/library/books[3].title: "a" != "b"`; nothing where they are equal: same roots, classes,
/// identities, states, values, order and references (compared by the place of their target, or by
/// their texts where unresolved). The models may come from different registries; classes and
/// properties are then compared by name.
KR0_FRAMEWORK_API std::optional<std::string> findDifference(const Model& a, const Model& b);

}  // namespace kr::zero
