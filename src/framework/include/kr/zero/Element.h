/// @file
/// Handles of the elements of a model: reading (ConstElement), and reading and changing (Element).
///
///     auto book = library.create("books");
///     book.set("title", "Moby Dick");
///     book.set("pages", 635);
///     int pages = book.get<int>("pages");
///     std::optional<double> weight = book.get<std::optional<double>>("weight");
///     for (kr::zero::Element author : book.references("authors")) use(author.get<std::string>("name"));
///
/// PropertyValue.h says which C++ types stand for the values of which properties, Ranges.h what the ranges
/// are.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kr/zero/Error.h"
#include "kr/zero/PropertyValue.h"
#include "kr/zero/export.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero {

class Model;
class ConstElement;
class Element;

namespace internal {
struct ElementAccess;
struct ElementRecord;
class ModelStore;
template <class Source>
class PositionRange;
template <class T>
class PropertyValues;
template <class E>
class ModelRoots;

/// Whether get<T> of an E gives a T.
template <class T, class E>
inline constexpr bool isReadable = PropertyValue<T> || isOneOf<T, ConstElement, E>;
template <class T, class E>
inline constexpr bool isReadable<std::optional<T>, E> = PropertyValue<T> || isOneOf<T, ConstElement, E>;
template <class T, class E>
concept ReadableFrom = isReadable<T, E>;

/// Whether a property can be set from a T.
template <class T>
concept Settable = PropertySource<T> || std::same_as<T, Element>;
}  // namespace internal

/// The values of one property, or the children in it. It has what a vector has for reading: begin, end, size,
/// empty, [], front and back, for positions below size(); its iterators are random access.
template <class T>
using ValueRange = internal::PositionRange<internal::PropertyValues<T>>;
/// The elements at the top of a model, by position as in a ValueRange.
template <class E>
using RootRange = internal::PositionRange<internal::ModelRoots<E>>;
template <class E>
class ReferenceRange;
template <class E>
class ChildRange;
template <class E>
class BasicElementRange;
/// Elements in document order, which can be changed.
using ElementRange = BasicElementRange<Element>;
/// Elements in document order, for reading.
using ConstElementRange = BasicElementRange<ConstElement>;

/// Wrong use of a model: an unknown property, a value of the wrong kind or out of range, a circle of
/// containment, an element that was removed. The text names the element by path, the property, what was
/// expected and what was given.
class KR0_FRAMEWORK_API ModelError : public Error {
 public:
  ///@{
  /// From what is wrong, with its place or without.
  explicit ModelError(const std::string& problem) : Error(ErrorCode::misuse, problem) {}
  explicit ModelError(ErrorDetails details) : Error(ErrorCode::misuse, std::move(details)) {}
  ///@}
  ~ModelError() override;
};

/// Names a property of an element: by its name or by its handle. A handle saves the look-up.
class PropertyKey {
 public:
  ///@{
  /// The property of that handle, or of that name, which must live as long as the key.
  PropertyKey(meta::Property property) : property_(property) {}
  PropertyKey(std::string_view name) : name_(name) {}
  PropertyKey(const char* name) : name_(name) {}
  PropertyKey(const std::string& name) : name_(name) {}
  ///@}
  /// The handle; empty for a key that is a name.
  meta::Property getProperty() const noexcept { return property_; }
  /// The name; empty for a key that is a handle.
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
  std::string_view first;   ///< not empty
  std::string_view second;  ///< not empty
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

/// A handle of an element, or of a datatype value, of a model, through which it can be read and not be
/// changed. Two handles are equal when they denote the same one. A handle is two pointers; it may be used as
/// long as the model is there.
///
/// When the element was removed from its model, or one above it was, every operation but `isRemoved`,
/// `getModel` and comparison throws ModelError; so does every operation of an empty handle but `isRemoved`
/// and comparison. Every operation that takes a property throws ModelError where the element's type has no
/// such property, or where the operation does not fit the property's kind. Reading a single value that is
/// unset or empty gives the property's default, else 0, false, "" or DateTime().
class KR0_FRAMEWORK_API ConstElement {
 public:
  ConstElement() noexcept = default;
  /// Whether it denotes anything, be it removed or not.
  explicit operator bool() const noexcept { return record_ != nullptr; }
  /// Whether both denote the same one.
  friend bool operator==(ConstElement a, ConstElement b) noexcept { return a.record_ == b.record_; }

  /// Whether it was taken out of its model, by itself or with one above it.
  bool isRemoved() const noexcept;
  /// The class, or the datatype of a value.
  meta::StructuredType getType() const;
  /// The class, or an empty handle for a datatype value.
  meta::Class getClass() const;
  /// The model that it is in, or was removed from.
  const Model& getModel() const;
  /// The element that contains this one, or an empty handle.
  ConstElement getContainer() const;
  /// The property of the container that holds this one, or an empty handle.
  meta::Property getContainingProperty() const;
  /// "/library/books[3]": the names and positions that lead here, for messages.
  std::string getPath() const;
  /// Dense number in order of creation, for tables beside the model.
  std::uint32_t getIndex() const;
  /// The identity, or nothing; good until it is changed.
  std::optional<Identity> getIdentity() const;

  /// Which of the three states the property is in.
  PropertyState getState(PropertyKey property) const;
  /// Whether anything was said of the property, be it that it is empty.
  bool isSet(PropertyKey property) const { return getState(property) != PropertyState::unset; }
  /// Number of values: of a single-valued property 0 or 1.
  std::size_t size(PropertyKey property) const;

  /// A value as a T, which is one that PropertyValue.h lists, or ConstElement: a child, datatype value or
  /// target of a reference, or an empty handle. `position` counts the values of a collection from 0.
  /// Of an std::optional of these nothing stands for "unset", "empty" and "no element", and defaults do not
  /// count.
  /// @throws ModelError where the property does not hold such values, or the number is out of T's range.
  template <internal::ReadableFrom<ConstElement> T>
  T get(PropertyKey property, std::size_t position = 0) const {
    return read<T, ConstElement>(*this, property, position);
  }

  ///@{
  /// A primitive value, by name of what it is. `position` counts the values of a collection from 0.
  bool getBoolean(PropertyKey property, std::size_t position = 0) const;
  /// Any integer type but UInteger64 beyond the range, and enumerations (the literal's number).
  std::int64_t getInteger(PropertyKey property, std::size_t position = 0) const;
  std::uint64_t getUnsigned(PropertyKey property, std::size_t position = 0) const;
  double getReal(PropertyKey property, std::size_t position = 0) const;
  /// Texts: String, StdString, DateTime, JsonValue, StringToStringMap, ZoArray and user-defined
  /// primitives. The view lives until the model goes, or until the value is set through kr/zero/Typed.h.
  std::string_view getText(PropertyKey property, std::size_t position = 0) const;
  Uuid getUuid(PropertyKey property, std::size_t position = 0) const;
  /// The point in time that the text says.
  DateTime getDateTime(PropertyKey property, std::size_t position = 0) const;
  /// The value of any primitive or enumeration as text: numbers in their shortest decimal form that
  /// reads back the same, "true", an enumeration literal's name, a UUID in the 8-4-4-4-12 form.
  std::string getTextForm(PropertyKey property, std::size_t position = 0) const;
  ///@}

  /// The child or datatype value, or an empty handle.
  ConstElement getElement(PropertyKey property, std::size_t position = 0) const;
  /// The target of a reference, or an empty handle where there is none or it is not in the model.
  ConstElement getReference(PropertyKey property, std::size_t position = 0) const;
  /// The texts of a reference that is not resolved; nothing where it is resolved.
  std::optional<UnresolvedReference> getUnresolved(PropertyKey property, std::size_t position = 0) const;
  /// All children (not datatype values), in document order.
  std::vector<ConstElement> getChildren() const;

  // Ranges.
  /// The values of a primitive or enumeration property, each as by get<T>; of a single-valued one none or
  /// one.
  template <PropertyValue T>
  ValueRange<T> values(PropertyKey property) const;
  /// The children or datatype values in one property.
  ValueRange<ConstElement> children(PropertyKey property) const;
  /// All children (not datatype values), in document order.
  ChildRange<ConstElement> children() const;
  /// The targets of a property's references, without those that are not in the model.
  ReferenceRange<ConstElement> references(PropertyKey property) const;
  /// All elements below this one, in document order.
  ConstElementRange descendants() const;

 private:
  friend class Model;
  friend class Element;
  friend class internal::ModelStore;
  friend struct internal::ElementAccess;
  template <class T>
  friend class internal::PropertyValues;
  ConstElement(internal::ModelStore* store, internal::ElementRecord* record) noexcept
      : store_(store), record_(record) {}

  template <class T, class E>
  static T read(const E& from, const PropertyKey& property, std::size_t position);
  template <class T>
  T readInteger(const PropertyKey& property, std::size_t position) const;
  std::int64_t getIntegerWithin(const PropertyKey& property, std::size_t position, std::int64_t low,
                                std::int64_t high) const;
  std::uint64_t getUnsignedUpTo(const PropertyKey& property, std::size_t position, std::uint64_t high) const;
  float getFloat(const PropertyKey& property, std::size_t position) const;
  ConstElement getElementOrTarget(const PropertyKey& property, std::size_t position) const;

  /// A property of the element and how many values it has.
  struct CountedValues {
    meta::Property property;
    std::size_t size;
  };
  /// @throws ModelError where the property does not hold values of that sort.
  CountedValues count(const PropertyKey& property, internal::ValueSort sort) const;

  internal::ModelStore* store_ = nullptr;
  internal::ElementRecord* record_ = nullptr;
};

/// A handle of an element, or of a datatype value, through which it can be changed too. It leads to handles
/// of its like, and is a ConstElement wherever one is asked for; there is no way back.
///
/// An operation that throws ModelError leaves the model unchanged.
class KR0_FRAMEWORK_API Element : public ConstElement {
 public:
  Element() noexcept = default;

  ///@{
  /// As in ConstElement, leading to what can be changed.
  Model& getModel() const;
  Element getContainer() const { return Element(ConstElement::getContainer()); }
  Element getElement(PropertyKey property, std::size_t position = 0) const {
    return Element(ConstElement::getElement(property, position));
  }
  Element getReference(PropertyKey property, std::size_t position = 0) const {
    return Element(ConstElement::getReference(property, position));
  }
  std::vector<Element> getChildren() const;
  ValueRange<Element> children(PropertyKey property) const;
  ChildRange<Element> children() const;
  ReferenceRange<Element> references(PropertyKey property) const;
  ElementRange descendants() const;
  template <internal::ReadableFrom<Element> T>
  T get(PropertyKey property, std::size_t position = 0) const {
    return read<T, Element>(*this, property, position);
  }
  ///@}

  /// @throws ModelError where a part is empty, is not well-formed UTF-8, or the first part is "#"
  ///   (kept for identities that a document makes for itself). Two elements with one identity are
  ///   found when the model is written, and by validate().
  void setIdentity(std::string_view first, std::string_view second);
  /// Back to none.
  void clearIdentity();

  /// Back to unset. A child is removed with all below it; see Model::remove.
  void unset(PropertyKey property);
  /// Explicitly empty: for 0..1 primitives and enumerations, and collections of primitives,
  /// enumerations and references.
  void setEmpty(PropertyKey property);
  /// Removes one value of a collection; a child with all below it, see Model::remove.
  void removeAt(PropertyKey property, std::size_t position);
  /// Removes `count` values of a collection from a position on. Of a reference with an opposite the other
  /// side is left as it is. Takes as long for many as for one.
  void removeRange(PropertyKey property, std::size_t position, std::size_t count);
  /// Puts the values of a collection into another order.
  /// @param order of each place the position that its value had before: each position once.
  void arrange(PropertyKey property, std::span<const std::size_t> order);

  /// Sets a property that holds one value, by the type of the argument: one that PropertyValue.h lists, any
  /// text, or the Element to refer to. What holds enumerations takes a literal's number, never its name
  /// (setTextForm does).
  /// @throws ModelError where the property holds something else, or the value is out of its range.
  template <internal::Settable T>
  void set(PropertyKey property, const T& value) {
    put(property, canonical(value));
  }
  /// The same where there is a value; else explicitly empty where the property can be, and unset where not.
  template <internal::Settable T>
  void set(PropertyKey property, const std::optional<T>& value) {
    if (value)
      set(property, *value);
    else
      set(property, std::nullopt);
  }
  /// Explicitly empty where the property can be, and unset where not.
  void set(PropertyKey property, std::nullopt_t);
  /// Adds a value at the end of a collection, by the type of the argument as `set` does.
  template <internal::Settable T>
  void add(PropertyKey property, const T& value) {
    append(property, canonical(value));
  }

  ///@{
  /// Sets a property that holds one primitive value, by name of what it is, in place of what was there.
  void setBoolean(PropertyKey property, bool value);
  /// Any integer type, enumerations (a literal's number), and Real where it has the very number.
  void setInteger(PropertyKey property, std::int64_t value);
  void setUnsigned(PropertyKey property, std::uint64_t value);
  void setReal(PropertyKey property, double value);
  void setText(PropertyKey property, std::string_view value);
  void setUuid(PropertyKey property, const Uuid& value);
  /// Becomes the text that DateTime::toText gives.
  void setDateTime(PropertyKey property, const DateTime& value);
  /// The inverse of getTextForm; an enumeration literal may be given by name or by text.
  void setTextForm(PropertyKey property, std::string_view text);
  ///@}
  ///@{
  /// Adds a primitive value at the end of a collection, as the operation of that name with `set` sets one.
  void addBoolean(PropertyKey property, bool value);
  void addInteger(PropertyKey property, std::int64_t value);
  void addUnsigned(PropertyKey property, std::uint64_t value);
  void addReal(PropertyKey property, double value);
  void addText(PropertyKey property, std::string_view value);
  void addUuid(PropertyKey property, const Uuid& value);
  void addDateTime(PropertyKey property, const DateTime& value);
  void addTextForm(PropertyKey property, std::string_view text);
  ///@}

  // Children and datatype values.
  /// Makes a child (or datatype value) in a composition (or datatype) property: appends to a
  /// collection, else fills the property, which must not hold one yet.
  /// @param type empty: the property's own type.
  Element create(PropertyKey property, meta::StructuredType type = {});
  /// The same with the qualified name of the type.
  Element create(PropertyKey property, std::string_view typeName);
  /// Moves an element of this model here from wherever it is; `position` beyond the end appends.
  /// @throws ModelError where it is this element or one above it, or of a class that does not fit.
  void adopt(PropertyKey property, Element child, std::size_t position = static_cast<std::size_t>(-1));

  // References. When the property has a stored opposite, setReference and addReference keep both sides
  // in step.
  /// Points a single reference at an element of this model.
  void setReference(PropertyKey property, Element target);
  /// Adds a reference at the end of a collection.
  void addReference(PropertyKey property, Element target);
  /// Like setReference/addReference without touching the other side.
  void putReference(PropertyKey property, Element target);
  /// Sets a single reference, or adds one to a collection, to what is not in the model.
  void putUnresolved(PropertyKey property, const UnresolvedReference& reference);

 private:
  friend class Model;
  friend class ConstElement;
  friend class internal::ModelStore;
  friend struct internal::ElementAccess;
  Element(internal::ModelStore* store, internal::ElementRecord* record) noexcept
      : ConstElement(store, record) {}
  explicit Element(ConstElement element) noexcept : ConstElement(element) {}

  template <class T>
  static auto canonical(const T& value) {
    if constexpr (internal::Integer<T> || internal::ScopedEnum<T>)
      return internal::widened(value);
    else if constexpr (std::same_as<T, float>)
      return static_cast<double>(value);
    else if constexpr (internal::isOneOf<T, bool, double, Uuid, DateTime, Element>)
      return value;
    else
      return std::string_view(value);
  }
  void put(const PropertyKey& property, bool value) { setBoolean(property, value); }
  void put(const PropertyKey& property, std::int64_t value) { setInteger(property, value); }
  void put(const PropertyKey& property, std::uint64_t value) { setUnsigned(property, value); }
  void put(const PropertyKey& property, double value) { setReal(property, value); }
  void put(const PropertyKey& property, std::string_view value) { setText(property, value); }
  void put(const PropertyKey& property, const Uuid& value) { setUuid(property, value); }
  void put(const PropertyKey& property, const DateTime& value) { setDateTime(property, value); }
  void put(const PropertyKey& property, Element target) { setReference(property, target); }
  void append(const PropertyKey& property, bool value) { addBoolean(property, value); }
  void append(const PropertyKey& property, std::int64_t value) { addInteger(property, value); }
  void append(const PropertyKey& property, std::uint64_t value) { addUnsigned(property, value); }
  void append(const PropertyKey& property, double value) { addReal(property, value); }
  void append(const PropertyKey& property, std::string_view value) { addText(property, value); }
  void append(const PropertyKey& property, const Uuid& value) { addUuid(property, value); }
  void append(const PropertyKey& property, const DateTime& value) { addDateTime(property, value); }
  void append(const PropertyKey& property, Element target) { addReference(property, target); }
};

template <class T, class E>
T ConstElement::read(const E& from, const PropertyKey& property, std::size_t position) {
  if constexpr (internal::isOptional<T>) {
    using Held = typename T::value_type;
    if (from.getState(property) != PropertyState::value) return std::nullopt;
    const Held value = read<Held, E>(from, property, position);
    if constexpr (std::derived_from<Held, ConstElement>)
      if (!value) return std::nullopt;
    return value;
  } else if constexpr (std::derived_from<T, ConstElement>) {
    const ConstElement found = from.getElementOrTarget(property, position);
    return T(found.store_, found.record_);
  } else if constexpr (std::same_as<T, bool>) {
    return from.getBoolean(property, position);
  } else if constexpr (internal::Integer<T>) {
    return from.template readInteger<T>(property, position);
  } else if constexpr (internal::ScopedEnum<T>) {
    return static_cast<T>(from.template readInteger<std::underlying_type_t<T>>(property, position));
  } else if constexpr (std::same_as<T, float>) {
    return from.getFloat(property, position);
  } else if constexpr (std::same_as<T, double>) {
    return from.getReal(property, position);
  } else if constexpr (std::same_as<T, Uuid>) {
    return from.getUuid(property, position);
  } else if constexpr (std::same_as<T, DateTime>) {
    return from.getDateTime(property, position);
  } else {
    return T(from.getText(property, position));
  }
}

namespace internal {

/// The way from a handle to what it denotes and back.
struct ElementAccess {
  template <class Handle>
  static ModelStore* storeOf(const Handle& handle) noexcept {
    return handle.store_;
  }
  template <class Handle>
  static ElementRecord* recordOf(const Handle& handle) noexcept {
    return handle.record_;
  }
  template <class Handle>
  static Handle make(ModelStore* store, ElementRecord* record) noexcept {
    return Handle(store, record);
  }
};

}  // namespace internal

template <class T>
T ConstElement::readInteger(const PropertyKey& property, std::size_t position) const {
  using Limits = std::numeric_limits<T>;
  if constexpr (std::is_signed_v<T>)
    return static_cast<T>(getIntegerWithin(property, position, Limits::min(), Limits::max()));
  else
    return static_cast<T>(getUnsignedUpTo(property, position, Limits::max()));
}

}  // namespace kr::zero
