/// @file
/// Models: elements of the classes of a meta model, in a forest of containment, with references.
///
///     kr::zero::Model model;
///     auto library = model.createRoot("library.Library");
///     auto book = library.create("books", "library.Book");
///     book.set("title", "Moby Dick");
///     for (kr::zero::Element e : model.elements()) use(e.getText("title"));
///
/// All memory of a model comes from one arena that is given back when the model goes: an element costs
/// what is set on it, not what its class could hold. Values that are replaced or removed give their
/// memory back with the model, not before.
///
/// Threads: a model may be read by many threads while nobody changes it.
/// Names and texts are UTF-8.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/export.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero {

class Model;
class Element;

namespace internal {
struct ElementAccess;
struct ElementRecord;
class ModelStore;
}  // namespace internal

/// Wrong use of a model: an unknown property, a value of the wrong kind or out of range, a circle of
/// containment. The text names the element by path, the property, what was expected and what was given.
class KR0_FRAMEWORK_API ModelError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~ModelError() override;
};

/// Names a property of an element: by its name or by its handle. A handle saves the look-up.
class PropertyKey {
 public:
  PropertyKey(meta::Property property) : property_(property) {}
  PropertyKey(std::string_view name) : name_(name) {}
  PropertyKey(const char* name) : name_(name) {}
  PropertyKey(const std::string& name) : name_(name) {}
  meta::Property getProperty() const noexcept { return property_; }
  std::string_view getName() const noexcept { return name_; }

 private:
  meta::Property property_;
  std::string_view name_;
};

/// The three states of a property of an element.
enum class PropertyState {
  unset,  ///< nothing was ever said; nothing is written
  empty,  ///< said to hold nothing: an explicitly empty 0..1 value, or a collection without entries
  value,  ///< holds at least one value
};

/// The two non-empty texts that name an element across documents. Views into the model.
struct Identity {
  std::string_view first;
  std::string_view second;
  friend bool operator==(const Identity&, const Identity&) = default;
};

/// A reference to something that is not in the model, with all its texts.
struct UnresolvedReference {
  std::string targetType;                ///< qualified name of the target's type
  std::string id1;                       ///< identity of the target, first part
  std::string id2;                       ///< second part
  std::optional<std::string> qualifier;  ///< the document that the target is in
  friend bool operator==(const UnresolvedReference&, const UnresolvedReference&) = default;
};

using Uuid = std::array<std::uint8_t, 16>;

/// A handle of an element, or of a datatype value, of a model. Two handles are equal when they denote
/// the same one. Valid until the model goes or the element is removed.
///
/// Every operation that takes a property throws ModelError where the element's type has no such
/// property, or where the operation does not fit the property's kind; the model is then unchanged.
/// Reading a single value that is unset or empty gives the property's default, else 0, false or "".
class KR0_FRAMEWORK_API Element {
 public:
  Element() noexcept = default;
  explicit operator bool() const noexcept { return record_ != nullptr; }
  friend bool operator==(Element a, Element b) noexcept { return a.record_ == b.record_; }

  meta::StructuredType getType() const;
  /// The class, or an empty handle for a datatype value.
  meta::Class getClass() const;
  Model& getModel() const;
  /// The element that contains this one, or an empty handle.
  Element getContainer() const;
  /// The property of the container that holds this one, or an empty handle.
  meta::Property getContainingProperty() const;
  /// "/library/books[3]": the names and positions that lead here, for messages.
  std::string getPath() const;
  /// Dense number in order of creation, for tables beside the model.
  std::uint32_t getIndex() const;

  std::optional<Identity> getIdentity() const;
  /// @throws ModelError where a part is empty, is not well-formed UTF-8, or the first part is "#"
  ///   (kept for identities that a document makes for itself). Two elements with one identity are
  ///   found when the model is written.
  void setIdentity(std::string_view first, std::string_view second);
  void clearIdentity();

  PropertyState getState(PropertyKey property) const;
  bool isSet(PropertyKey property) const { return getState(property) != PropertyState::unset; }
  /// Number of values: of a single-valued property 0 or 1.
  std::size_t size(PropertyKey property) const;
  /// Back to unset. A child is removed with all below it; see Model::remove.
  void unset(PropertyKey property);
  /// Explicitly empty: for 0..1 primitives and enumerations, and collections of primitives,
  /// enumerations and references.
  void setEmpty(PropertyKey property);
  /// Removes one value of a collection.
  void removeAt(PropertyKey property, std::size_t position);

  // Primitive values. `position` counts the values of a collection from 0.
  bool getBoolean(PropertyKey property, std::size_t position = 0) const;
  /// Any integer type but UInteger64 beyond the range, and enumerations (the literal's number).
  std::int64_t getInteger(PropertyKey property, std::size_t position = 0) const;
  std::uint64_t getUnsigned(PropertyKey property, std::size_t position = 0) const;
  double getReal(PropertyKey property, std::size_t position = 0) const;
  /// Texts: String, StdString, DateTime, JsonValue, StringToStringMap, ZoArray and user-defined
  /// primitives. The view lives until the model goes, or until the value is set through kr/zero/Typed.h.
  std::string_view getText(PropertyKey property, std::size_t position = 0) const;
  Uuid getUuid(PropertyKey property, std::size_t position = 0) const;
  /// The value of any primitive or enumeration as text: numbers in their shortest decimal form that
  /// reads back the same, "true", an enumeration literal's name, a UUID in the 8-4-4-4-12 form.
  std::string getTextForm(PropertyKey property, std::size_t position = 0) const;

  void setBoolean(PropertyKey property, bool value);
  void setInteger(PropertyKey property, std::int64_t value);
  void setUnsigned(PropertyKey property, std::uint64_t value);
  void setReal(PropertyKey property, double value);
  void setText(PropertyKey property, std::string_view value);
  /// The inverse of getTextForm; an enumeration literal may be given by name or by text.
  void setTextForm(PropertyKey property, std::string_view text);
  void addBoolean(PropertyKey property, bool value);
  void addInteger(PropertyKey property, std::int64_t value);
  void addUnsigned(PropertyKey property, std::uint64_t value);
  void addReal(PropertyKey property, double value);
  void addText(PropertyKey property, std::string_view value);
  void addTextForm(PropertyKey property, std::string_view text);

  // The same, by the type of the argument.
  void set(PropertyKey property, bool value) { setBoolean(property, value); }
  void set(PropertyKey property, double value) { setReal(property, value); }
  void set(PropertyKey property, const char* value) { setText(property, value); }
  void set(PropertyKey property, std::string_view value) { setText(property, value); }
  void set(PropertyKey property, std::signed_integral auto value) { setInteger(property, value); }
  void set(PropertyKey property,
           std::unsigned_integral auto value) requires(!std::same_as<decltype(value), bool>) {
    setUnsigned(property, value);
  }
  void set(PropertyKey property, Element target) { setReference(property, target); }
  void add(PropertyKey property, bool value) { addBoolean(property, value); }
  void add(PropertyKey property, double value) { addReal(property, value); }
  void add(PropertyKey property, const char* value) { addText(property, value); }
  void add(PropertyKey property, std::string_view value) { addText(property, value); }
  void add(PropertyKey property, std::signed_integral auto value) { addInteger(property, value); }
  void add(PropertyKey property,
           std::unsigned_integral auto value) requires(!std::same_as<decltype(value), bool>) {
    addUnsigned(property, value);
  }
  void add(PropertyKey property, Element target) { addReference(property, target); }

  // Children and datatype values.
  /// Makes a child (or datatype value) in a composition (or datatype) property: appends to a
  /// collection, else fills the property, which must not hold one yet.
  /// @param type empty: the property's own type.
  Element create(PropertyKey property, meta::StructuredType type = {});
  Element create(PropertyKey property, std::string_view typeName);
  /// Moves an element of this model here from wherever it is; `position` beyond the end appends.
  /// @throws ModelError where it is this element or one above it, or of a class that does not fit.
  void adopt(PropertyKey property, Element child, std::size_t position = static_cast<std::size_t>(-1));
  /// The child or datatype value, or an empty handle.
  Element getElement(PropertyKey property, std::size_t position = 0) const;
  /// All children (not datatype values), in document order.
  std::vector<Element> getChildren() const;

  // References. When the property has a stored opposite, setReference and addReference keep both sides
  // in step.
  /// The target, or an empty handle where there is none or it is not in the model.
  Element getReference(PropertyKey property, std::size_t position = 0) const;
  /// The texts of a reference that is not resolved; nothing where it is resolved.
  std::optional<UnresolvedReference> getUnresolved(PropertyKey property, std::size_t position = 0) const;
  void setReference(PropertyKey property, Element target);
  void addReference(PropertyKey property, Element target);
  /// Like setReference/addReference without touching the other side.
  void putReference(PropertyKey property, Element target);
  void putUnresolved(PropertyKey property, const UnresolvedReference& reference);

 private:
  friend class Model;
  friend class internal::ModelStore;
  friend struct internal::ElementAccess;
  Element(internal::ModelStore* store, internal::ElementRecord* record) noexcept
      : store_(store), record_(record) {}

  internal::ModelStore* store_ = nullptr;
  internal::ElementRecord* record_ = nullptr;
};

/// Walks the elements of a model in document order: each element before its children, children in the
/// order of their properties. Keeps its own stack; the model must not change meanwhile.
class KR0_FRAMEWORK_API ElementRange {
 public:
  class KR0_FRAMEWORK_API Iterator {
   public:
    using value_type = Element;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::input_iterator_tag;
    Iterator() = default;
    Element operator*() const { return stack_.back(); }
    Iterator& operator++();
    void operator++(int) { ++*this; }
    /// Number of elements above the current one.
    std::size_t getDepth() const noexcept;
    friend bool operator==(const Iterator& it, std::default_sentinel_t) { return it.stack_.empty(); }

   private:
    friend class ElementRange;
    std::vector<Element> stack_;
    std::vector<std::uint32_t> depths_;
  };

  Iterator begin() const;
  std::default_sentinel_t end() const noexcept { return {}; }

 private:
  friend class Model;
  explicit ElementRange(std::vector<Element> roots) : roots_(std::move(roots)) {}
  std::vector<Element> roots_;
};

/// A model. Movable; a copy is made by clone().
class KR0_FRAMEWORK_API Model {
 public:
  /// @param registry where class names are looked up; must outlive the model.
  explicit Model(const meta::MetaRegistry& registry = meta::MetaRegistry::instance());
  ~Model();
  Model(Model&&) noexcept;
  Model& operator=(Model&&) noexcept;

  const meta::MetaRegistry& getRegistry() const;

  /// Makes an element at the top of the model, after those that are there.
  /// @throws ModelError for an unknown or abstract class.
  Element createRoot(meta::Class type);
  Element createRoot(std::string_view typeName);
  /// Moves an element to the top of the model.
  void adoptRoot(Element element);
  std::vector<Element> getRoots() const;
  /// All elements in document order.
  ElementRange elements() const;
  /// Number of elements (datatype values not counted).
  std::size_t size() const;
  /// Bytes of memory that the model holds.
  std::size_t getMemoryUsed() const;

  /// The elements that refer to `target`, in document order. Looks through the whole model.
  std::vector<Element> getReferrers(Element target) const;
  /// The element of an identity, or an empty handle. Looks through the whole model.
  Element findByIdentity(std::string_view first, std::string_view second) const;

  /// Takes an element and all below it out of the model, and with them every reference to them.
  /// Handles to them are no longer valid. Looks through the whole model once.
  void remove(Element element);

  /// A deep copy of everything. References inside stay inside.
  Model clone() const;
  /// A deep copy of an element and all below it, as a new root of this model. References to elements
  /// below it point into the copy, others to where they pointed; from another model (of the same
  /// registry) these others are left out. Identities are not copied.
  Element copy(Element element);

 private:
  friend class Element;
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
