/// @file
/// What generated classes are made of: typed access to the elements of a model, by place instead of by name.
///
/// `kr0 generate cpp` writes a class per class of a meta model, such as `Book`. Each is a handle, of the size
/// of an Element and copied like one:
///
///     models::library::registerIn(registry);                             // once
///     kr::zero::Model model(registry);
///     auto library = kr::zero::createRoot<models::library::Library>(model);
///     auto book = library.getBooks().create();
///     book.setTitle("Moby Dick");
///     if (auto audio = kr::zero::tryAs<models::library::AudioBook>(book)) use(audio.getMinutes());
///
/// A getter or setter knows the property's number and the place (slot) that it has in the class. Where the
/// place holds another property, as it can in a subclass with several supertypes, the property is looked up
/// by its number. What the place is said to hold is checked at each access, so an element of a meta model
/// other than the one that the code was made from is refused with a ModelError, never misread.
///
/// Every access throws ModelError for an empty handle and for a handle of an element that was removed. What a
/// property does not take is refused as by name. A single value that is unset or empty reads as its default,
/// else as 0, false, "" or, for an enumeration, the number 0.
///
/// Threads: as with Model. Texts are UTF-8.
#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>

#include "kr/zero/Cells.h"
#include "kr/zero/Model.h"
#include "kr/zero/Records.h"
#include "kr/zero/export.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero {

namespace typed {

/// Whether elements can be changed through handles of that type.
template <class Handle>
inline constexpr bool isMutable = std::same_as<Handle, Element>;

/// Marks a constructor that takes a handle's word for it: who calls it knows the element's class.
struct Unchecked {};
/// The mark to pass.
inline constexpr Unchecked kUnchecked{};

/// A type of a meta model by name.
struct TypeName {
  std::string_view packageUri;     ///< URI of the package that it is in
  std::string_view qualifiedName;  ///< with the names of all packages around it: "library.Book"
};

}  // namespace typed

/// The base of every generated class: a handle, and nothing else. Equal where the handles are.
/// @tparam Handle Element, or a handle through which elements can only be read.
template <class Handle>
class Typed {
 public:
  /// An empty handle: there is no element.
  Typed() noexcept = default;
  /// Takes the handle's word for it; as() and tryAs() look at the element's class first.
  Typed(typed::Unchecked, const Handle& element) noexcept : element_(element) {}

  ///@{
  /// The handle, for access by name. The reference lives as long as this object.
  const Handle& element() const noexcept { return element_; }
  operator const Handle&() const noexcept { return element_; }
  ///@}
  /// Whether there is an element.
  explicit operator bool() const noexcept { return static_cast<bool>(element_); }
  /// Whether both denote the same element, or none.
  friend bool operator==(const Typed& a, const Typed& b) noexcept { return a.element_ == b.element_; }

 private:
  Handle element_;
};

/// What is generated for an enumeration; specialised beside each one:
///     static constexpr std::array<typed::Literal, n> kLiterals;
template <class E>
struct EnumLiterals;

namespace typed {

/// A literal of an enumeration.
struct Literal {
  std::string_view name;  ///< in the meta model
  std::string_view text;  ///< in documents
  std::int32_t number;    ///< that of the enumerator
};

/// A generated enumeration.
template <class E>
concept Enumeration = std::is_enum_v<E> && requires {
  EnumLiterals<E>::kLiterals.size();
};

/// A generated class.
template <class T>
concept Class = requires(const T& value) {
  { T::kType } -> std::convertible_to<TypeName>;
  { T::kIsAbstract } -> std::convertible_to<bool>;
  value.element();
};

/// Stands for a property whose values are texts (String and its like), read as views.
struct Text {};
/// The same for DateTime.
struct DateTimeText {};

// What generated code calls for its properties, up to the collections. Programs call the members that it has
// instead, so the reference leaves it out.
/// @cond

/// A property as generated code knows it.
struct Place {
  std::size_t slot;      ///< where it stands in the class that the code was generated for
  std::uint32_t number;  ///< its identifier
};

/// What the meta model must say of a property for an access to be right.
struct Demand {
  meta::PropertyKind kind;
  meta::StandardType standard = meta::StandardType::none;  ///< of numbers
  bool isMany = false;

  constexpr internal::Signature signatureFor(std::uint32_t number) const noexcept {
    return internal::signatureOf(number, kind, standard, isMany);
  }
};

}  // namespace typed

namespace internal {

// The ways that are walked seldom, or need what is not public.

/// The slot of a property that is not where it was expected.
/// @throws ModelError where there is none, or another one.
KR0_FRAMEWORK_API std::size_t findPlace(const ModelStore* store, const ElementRecord* record,
                                        std::uint32_t number, const typed::Demand* demand);
/// @throws ModelError: the enumeration of the property has no such literal.
[[noreturn]] KR0_FRAMEWORK_API void failLiteral(const ModelStore* store, const ElementRecord* record,
                                                std::size_t slot, std::int32_t number);
/// @throws ModelError: there is no such position.
[[noreturn]] KR0_FRAMEWORK_API void failPosition(const ModelStore* store, const ElementRecord* record,
                                                 std::size_t slot, std::size_t position, std::size_t size);
KR0_FRAMEWORK_API cells::Cell defaultNumber(ModelStore* store, ElementRecord* record, std::size_t slot);
KR0_FRAMEWORK_API std::string_view defaultText(const ElementRecord* record, std::size_t slot);
KR0_FRAMEWORK_API Uuid defaultUuid(const ElementRecord* record, std::size_t slot);
/// The cell of what is set, or null where it is unset or empty; notes for the next time where everything is.
KR0_FRAMEWORK_API cells::Cell* findCell(ElementRecord* record, std::size_t slot) noexcept;
/// Puts a number's cell into a single property, whatever was there.
KR0_FRAMEWORK_API void addCell(ModelStore* store, ElementRecord* record, std::size_t slot, cells::Cell cell);
KR0_FRAMEWORK_API void appendCell(ModelStore* store, ElementRecord* record, std::size_t slot,
                                  cells::Cell cell);
/// Puts a text into the place of the one in a cell, where it is of usual length, of ASCII and fits.
/// @return false, and nothing is changed, where not.
KR0_FRAMEWORK_API bool replaceText(cells::Cell cell, std::string_view text) noexcept;
/// Puts a text into a single property: into the place of the one before where it fits there.
/// @throws ModelError for what is not well-formed.
KR0_FRAMEWORK_API void putText(ModelStore* store, ElementRecord* record, std::size_t slot,
                               std::string_view text);
/// @throws ModelError for what is no DateTime.
KR0_FRAMEWORK_API void putDateTime(ModelStore* store, ElementRecord* record, std::size_t slot,
                                   std::string_view text);
KR0_FRAMEWORK_API void putUuid(ModelStore* store, ElementRecord* record, std::size_t slot, const Uuid& uuid);
KR0_FRAMEWORK_API void appendText(ModelStore* store, ElementRecord* record, std::size_t slot,
                                  std::string_view text);
KR0_FRAMEWORK_API void appendUuid(ModelStore* store, ElementRecord* record, std::size_t slot,
                                  const Uuid& uuid);
/// The element that a resolved reference names.
KR0_FRAMEWORK_API ElementRecord* targetOf(const ModelStore* store, cells::Cell reference) noexcept;
/// Whether an element's type is that type or a class that inherits from it.
KR0_FRAMEWORK_API bool isKindOf(const ModelStore* store, const ElementRecord* record,
                                const typed::TypeName& type);
/// @throws ModelError: an element is not of that type.
[[noreturn]] KR0_FRAMEWORK_API void failCast(const ModelStore* store, const ElementRecord* record,
                                             const typed::TypeName& type);
/// @throws ModelError where the registry does not have it.
KR0_FRAMEWORK_API meta::StructuredType findType(const meta::MetaRegistry& registry,
                                                const typed::TypeName& type);
KR0_FRAMEWORK_API const meta::MetaRegistry& registryOf(const ModelStore* store) noexcept;

}  // namespace internal

namespace typed {

/// An element and the slot of one of its properties, found and checked: where every access starts from.
struct Spot {
  internal::ModelStore* store = nullptr;
  internal::ElementRecord* record = nullptr;
  std::size_t slot = 0;

  /// The cell of what is set, or null where it is unset or empty.
  cells::Cell* find() const noexcept {
    return record->isNoted(slot) ? &record->noted(slot) : internal::findCell(record, slot);
  }
  /// The cells of a collection; none where it is unset or empty.
  std::span<const cells::Cell> items() const noexcept {
    const cells::Cell* const cell = find();
    return cell == nullptr ? std::span<const cells::Cell>() : cells::itemsOf(cells::Entry{}, *cell);
  }
  meta::Property property() const noexcept { return record->use->properties[slot]; }
  /// Puts a number's cell in, whatever was there.
  void put(cells::Cell cell) const {
    if (record->isNoted(slot))
      record->noted(slot) = cell;
    else
      internal::addCell(store, record, slot, cell);
  }
};

template <class Handle>
internal::ElementRecord* recordOf(const Handle& handle) {
  internal::ElementRecord* const record = internal::ElementAccess::recordOf(handle);
  if (record == nullptr || record->removed) [[unlikely]]
    internal::failToUse(record);
  return record;
}

/// @throws ModelError where there is no element, or its property is not what is demanded.
template <class Handle>
Spot locate(const Typed<Handle>& of, Place place, const Demand& demand) {
  internal::ElementRecord* const record = recordOf(of.element());
  internal::ModelStore* const store = internal::ElementAccess::storeOf(of.element());
  const internal::TypeUse& use = *record->use;
  if (use.signature(place.slot) == demand.signatureFor(place.number)) [[likely]]
    return {store, record, place.slot};
  return {store, record, internal::findPlace(store, record, place.number, &demand)};
}

/// The same where any kind of property will do.
template <class Handle>
Spot locate(const Typed<Handle>& of, Place place) {
  internal::ElementRecord* const record = recordOf(of.element());
  internal::ModelStore* const store = internal::ElementAccess::storeOf(of.element());
  const internal::TypeUse& use = *record->use;
  if (place.slot < use.slotCount && use.property(place.slot).getIdentifier() == place.number) [[likely]]
    return {store, record, place.slot};
  return {store, record, internal::findPlace(store, record, place.number, nullptr)};
}

/// How values of a C++ type lie in a model; specialised for each that a property can have:
///   Argument  what getters give and setters take
///   kDemand   what the property must be, single
///   read      a value from its cell
///   readDefault, put, append
template <class T>
struct ValueForm;

template <class T, meta::StandardType standard>
struct NumberForm {
  using Argument = T;
  static constexpr Demand kDemand{meta::PropertyKind::number, standard};
  static T read(cells::Cell cell) noexcept {
    if constexpr (std::same_as<T, bool>)
      return cell != 0;
    else if constexpr (std::same_as<T, double>)
      return std::bit_cast<double>(cell);
    else
      return static_cast<T>(cell);
  }
  static cells::Cell cellOf(T value) noexcept {
    if constexpr (std::same_as<T, double>)
      return std::bit_cast<cells::Cell>(value);
    else if constexpr (std::signed_integral<T>)
      return static_cast<cells::Cell>(std::int64_t{value});
    else
      return value;
  }
  static T readDefault(const Spot& spot) {
    return read(internal::defaultNumber(spot.store, spot.record, spot.slot));
  }
  static void put(const Spot& spot, T value) { spot.put(cellOf(value)); }
  static void append(const Spot& spot, T value) {
    internal::appendCell(spot.store, spot.record, spot.slot, cellOf(value));
  }
};

template <>
struct ValueForm<bool> : NumberForm<bool, meta::StandardType::boolean> {};
template <>
struct ValueForm<std::int8_t> : NumberForm<std::int8_t, meta::StandardType::integer8> {};
template <>
struct ValueForm<std::uint8_t> : NumberForm<std::uint8_t, meta::StandardType::uinteger8> {};
template <>
struct ValueForm<std::int16_t> : NumberForm<std::int16_t, meta::StandardType::integer16> {};
template <>
struct ValueForm<std::uint16_t> : NumberForm<std::uint16_t, meta::StandardType::uinteger16> {};
template <>
struct ValueForm<std::int32_t> : NumberForm<std::int32_t, meta::StandardType::integer> {};
template <>
struct ValueForm<std::uint32_t> : NumberForm<std::uint32_t, meta::StandardType::unlimitedNatural> {};
template <>
struct ValueForm<std::int64_t> : NumberForm<std::int64_t, meta::StandardType::integer64> {};
template <>
struct ValueForm<std::uint64_t> : NumberForm<std::uint64_t, meta::StandardType::uinteger64> {};
template <>
struct ValueForm<double> : NumberForm<double, meta::StandardType::real> {};

template <class E>
requires std::is_enum_v<E>
struct ValueForm<E> {
  using Argument = E;
  static constexpr Demand kDemand{meta::PropertyKind::enumeration};
  static E read(cells::Cell cell) noexcept { return static_cast<E>(static_cast<std::int32_t>(cell)); }
  /// Whether the number is a literal's is up to the meta model that the element is of.
  static cells::Cell checkedCell(const Spot& spot, E value) {
    const auto number = static_cast<std::int32_t>(value);
    const auto* const type = static_cast<const meta::Enum::Impl*>(spot.property()->getType().get());
    if (!type->hasLiteral(number)) [[unlikely]]
      internal::failLiteral(spot.store, spot.record, spot.slot, number);
    return static_cast<cells::Cell>(std::int64_t{number});
  }
  static E readDefault(const Spot& spot) {
    return read(internal::defaultNumber(spot.store, spot.record, spot.slot));
  }
  static void put(const Spot& spot, E value) { spot.put(checkedCell(spot, value)); }
  static void append(const Spot& spot, E value) {
    internal::appendCell(spot.store, spot.record, spot.slot, checkedCell(spot, value));
  }
};

template <meta::PropertyKind kind>
struct TextForm {
  using Argument = std::string_view;
  static constexpr Demand kDemand{kind};
  static std::string_view read(cells::Cell cell) noexcept { return cells::asText(cell)->view(); }
  static std::string_view readDefault(const Spot& spot) {
    return internal::defaultText(spot.record, spot.slot);
  }
  static void put(const Spot& spot, std::string_view text) {
    if constexpr (kind == meta::PropertyKind::dateTime)
      internal::putDateTime(spot.store, spot.record, spot.slot, text);
    else
      internal::putText(spot.store, spot.record, spot.slot, text);
  }
  static void append(const Spot& spot, std::string_view text) {
    internal::appendText(spot.store, spot.record, spot.slot, text);
  }
};
template <>
struct ValueForm<Text> : TextForm<meta::PropertyKind::text> {
  static bool replace(cells::Cell cell, std::string_view text) noexcept {
    return internal::replaceText(cell, text);
  }
};
template <>
struct ValueForm<DateTimeText> : TextForm<meta::PropertyKind::dateTime> {};

template <>
struct ValueForm<Uuid> {
  using Argument = Uuid;
  static constexpr Demand kDemand{meta::PropertyKind::uuid};
  static Uuid read(cells::Cell cell) noexcept {
    Uuid uuid;
    std::memcpy(uuid.data(), reinterpret_cast<const void*>(cell), uuid.size());
    return uuid;
  }
  static Uuid readDefault(const Spot& spot) { return internal::defaultUuid(spot.record, spot.slot); }
  static void put(const Spot& spot, const Uuid& uuid) {
    internal::putUuid(spot.store, spot.record, spot.slot, uuid);
  }
  static void append(const Spot& spot, const Uuid& uuid) {
    internal::appendUuid(spot.store, spot.record, spot.slot, uuid);
  }
};

template <class T>
using Argument = typename ValueForm<T>::Argument;

/// The same demand on a collection.
constexpr Demand manyOf(Demand demand) noexcept {
  demand.isMany = true;
  return demand;
}

// --- Single values -----------------------------------------------------------------------------

/// The way of most accesses, short enough to be copied to where it is used, with all constants of the
/// property.
/// @return the record where a value is where it was expected, or null for everything else.
template <class Handle>
[[gnu::always_inline]] inline internal::ElementRecord* findQuickly(const Typed<Handle>& of, Place place,
                                                                   const Demand& demand) noexcept {
  internal::ElementRecord* const record = internal::ElementAccess::recordOf(of.element());
  if (place.slot >= internal::kQuickSlots || record == nullptr) return nullptr;
  if (record->use->signatures[place.slot] != demand.signatureFor(place.number)) [[unlikely]]
    return nullptr;
  return record->isNoted(place.slot) ? record : nullptr;
}

template <class T, class Handle>
[[gnu::noinline]] Argument<T> getSlowly(const Typed<Handle>& of, Place place) {
  const Spot spot = locate(of, place, ValueForm<T>::kDemand);
  const cells::Cell* const cell = spot.find();
  return cell == nullptr ? ValueForm<T>::readDefault(spot) : ValueForm<T>::read(*cell);
}

template <class T, class Handle>
[[gnu::always_inline]] inline Argument<T> get(const Typed<Handle>& of, Place place) {
  const internal::ElementRecord* const record = findQuickly(of, place, ValueForm<T>::kDemand);
  if (record == nullptr) [[unlikely]]
    return getSlowly<T>(of, place);
  return ValueForm<T>::read(record->noted(place.slot));
}

template <class T>
[[gnu::noinline]] void setSlowly(const Typed<Element>& of, Place place, Argument<T> value) {
  ValueForm<T>::put(locate(of, place, ValueForm<T>::kDemand), value);
}

template <class T>
[[gnu::always_inline]] inline void set(const Typed<Element>& of, Place place,
                                       std::type_identity_t<Argument<T>> value) {
  if constexpr (requires { ValueForm<T>::cellOf(value); }) {
    if (const internal::ElementRecord* const record = findQuickly(of, place, ValueForm<T>::kDemand))
        [[likely]] {
      record->noted(place.slot) = ValueForm<T>::cellOf(value);
      return;
    }
  } else if constexpr (requires { ValueForm<T>::replace(cells::Cell{}, value); }) {
    const internal::ElementRecord* const record = findQuickly(of, place, ValueForm<T>::kDemand);
    if (record != nullptr && ValueForm<T>::replace(record->noted(place.slot), value)) [[likely]]
      return;
  }
  setSlowly<T>(of, place, value);
}

template <class Handle>
bool isSet(const Typed<Handle>& of, Place place) {
  const Spot spot = locate(of, place);
  return spot.record->find(spot.slot) >= 0;
}

inline void unset(const Typed<Element>& of, Place place) {
  Element(of.element()).unset(locate(of, place).property());
}

// --- Children and references -------------------------------------------------------------------

/// Class that an element is known to have, or the plain handle where it may have any.
template <class To, class Handle>
To wrap(const Handle& handle) noexcept {
  if constexpr (std::same_as<To, Handle>)
    return handle;
  else
    return To(kUnchecked, handle);
}

template <class To>
struct HandleOf {
  using Type = To;
};
template <Class To>
struct HandleOf<To> {
  using Type = std::remove_cvref_t<decltype(std::declval<const To&>().element())>;
};

inline constexpr Demand kChild{meta::PropertyKind::composition};
inline constexpr Demand kDatatype{meta::PropertyKind::datatype};
inline constexpr Demand kReference{meta::PropertyKind::association};

template <class To>
To childAt(const Spot& spot, cells::Cell cell) noexcept {
  using Handle = typename HandleOf<To>::Type;
  auto* const record = reinterpret_cast<internal::ElementRecord*>(cell);
  return wrap<To>(internal::ElementAccess::make<Handle>(spot.store, record));
}

/// An empty handle where the target is not in the model.
template <class To>
To targetAt(const Spot& spot, cells::Cell cell, bool isUnresolved) noexcept {
  using Handle = typename HandleOf<To>::Type;
  if (isUnresolved) return To();
  return wrap<To>(internal::ElementAccess::make<Handle>(spot.store, internal::targetOf(spot.store, cell)));
}

template <class To, class Handle>
To getChild(const Typed<Handle>& of, Place place, const Demand& demand = kChild) {
  const Spot spot = locate(of, place, demand);
  const cells::Cell* const cell = spot.find();
  return cell == nullptr ? To() : childAt<To>(spot, *cell);
}

template <class To, class Handle>
To getReference(const Typed<Handle>& of, Place place) {
  const Spot spot = locate(of, place, kReference);
  if (spot.record->isNoted(spot.slot)) return targetAt<To>(spot, spot.record->noted(spot.slot), false);
  const int at = spot.record->find(spot.slot);
  if (at < 0) return To();
  const cells::Entry entry = spot.record->slots()[at];
  if (cells::isEmpty(entry)) return To();
  return targetAt<To>(spot, spot.record->payloads[at], (entry & cells::kUnresolved) != 0);
}

/// Makes a child of the class `Made` in a property of children of the class `Base`.
template <class Made, class Base>
Made createAt(Element parent, const Spot& spot) {
  static_assert(!Made::kIsAbstract, "an abstract class has no elements: name a class that inherits from it");
  if constexpr (std::same_as<Made, Base>)
    return Made(kUnchecked, parent.create(spot.property()));
  else
    return Made(kUnchecked, parent.create(spot.property(),
                                          internal::findType(internal::registryOf(spot.store), Made::kType)));
}

template <class Made, class Base>
Made createChild(const Typed<Element>& of, Place place, const Demand& demand = kChild) {
  return createAt<Made, Base>(of.element(), locate(of, place, demand));
}

inline void adopt(const Typed<Element>& of, Place place, const Element& child) {
  recordOf(child);
  Element(of.element()).adopt(locate(of, place, kChild).property(), child);
}

inline void setReference(const Typed<Element>& of, Place place, const Element& target) {
  const Spot spot = locate(of, place, kReference);
  recordOf(target);
  Element(of.element()).setReference(spot.property(), target);
}

/// @endcond

// --- Collections -------------------------------------------------------------------------------

/// Goes through the cells of a collection until the property is changed. `Form` makes a value of a cell.
template <class Form>
class ManyIterator {
 public:
  ///@{
  /// What the standard library asks of an iterator. It gives values, not references: in the sense of before
  /// C++20 it is an input iterator.
  using value_type = decltype(std::declval<const Form&>()(cells::Cell{}));
  using reference = value_type;
  using difference_type = std::ptrdiff_t;
  using pointer = void;
  using iterator_category = std::input_iterator_tag;
  using iterator_concept = std::forward_iterator_tag;
  ///@}

  /// At no collection: only to be assigned to.
  ManyIterator() = default;
  /// Called by the ranges.
  ManyIterator(const Form& form, const cells::Cell* cell) : form_(form), cell_(cell) {}
  /// The value here; not to be asked for at the end.
  value_type operator*() const { return form_(*cell_); }
  ///@{
  /// Goes to the next value; not to be called at the end.
  ManyIterator& operator++() {
    ++cell_;
    return *this;
  }
  ManyIterator operator++(int) {
    ManyIterator before = *this;
    ++cell_;
    return before;
  }
  ///@}
  /// Whether both stand at the same value of one collection.
  friend bool operator==(const ManyIterator& a, const ManyIterator& b) { return a.cell_ == b.cell_; }

 private:
  Form form_{};
  const cells::Cell* cell_ = nullptr;
};

/// What ranges of all kinds have in common. A range stands for the property itself: it shows what is there
/// when it is asked. Iterators stand until the property is changed.
template <class Handle>
class Many {
 public:
  /// Called by the ranges of each kind.
  Many(const Typed<Handle>& of, Place place, const Demand& demand)
      : element_(of.element()), place_(place), demand_(demand) {}

  /// How many there are: 0 where the property is unset or empty.
  std::size_t size() const { return spot().items().size(); }
  /// Whether there is none.
  bool empty() const { return size() == 0; }
  /// Which of the three states the property is in.
  PropertyState getState() const { return element_.getState(spot().property()); }
  /// Takes one value out; a child goes with all below it, see Model::remove.
  void removeAt(std::size_t position) const requires isMutable<Handle> {
    Handle(element_).removeAt(spot().property(), position);
  }
  /// Says that there is no value, which is not the same as unset; children go with all below them.
  void setEmpty() const requires isMutable<Handle> { Handle(element_).setEmpty(spot().property()); }
  /// Back to unset; children go with all below them.
  void unset() const requires isMutable<Handle> { Handle(element_).unset(spot().property()); }

 protected:
  /// The element and the slot of the property, looked up with each access.
  /// @throws ModelError where there is no element, or its property is not what is demanded.
  Spot spot() const { return locate(Typed<Handle>(kUnchecked, element_), place_, demand_); }
  /// The cell at a position.
  /// @throws ModelError where there is no such position.
  static cells::Cell itemAt(const Spot& spot, std::size_t position) {
    const std::span<const cells::Cell> items = spot.items();
    if (position >= items.size()) [[unlikely]]
      internal::failPosition(spot.store, spot.record, spot.slot, position, items.size());
    return items[position];
  }
  /// The element that has the property.
  const Handle& element() const noexcept { return element_; }

 private:
  Handle element_;
  Place place_;
  Demand demand_;
};

/// A collection whose cells are read by `Read`, which is made of the place of the collection.
template <class Read, class Handle>
class Items : public Many<Handle> {
 public:
  /// What is in the collection, as getters give it.
  using value_type = typename ManyIterator<Read>::value_type;
  /// Goes through the values.
  using iterator = ManyIterator<Read>;
  using Many<Handle>::Many;

  /// The first value; iterators stand until the property is changed.
  iterator begin() const {
    const Spot spot = this->spot();
    return {Read(spot), spot.items().data()};
  }
  /// Behind the last value.
  iterator end() const {
    const Spot spot = this->spot();
    const auto items = spot.items();
    return {Read(spot), items.data() + items.size()};
  }
  /// The value at a position, from 0.
  /// @throws ModelError where there is no such position.
  value_type operator[](std::size_t position) const {
    const Spot spot = this->spot();
    return Read(spot)(this->itemAt(spot, position));
  }
};

/// Reads a value that is no element.
template <class T>
struct ReadValue {
  ReadValue() = default;
  /// The place says nothing: the cell is the value.
  explicit ReadValue(const Spot&) {}
  /// The value in a cell.
  Argument<T> operator()(cells::Cell cell) const noexcept { return ValueForm<T>::read(cell); }
};

/// The values of a collection of numbers, enumeration literals, texts or UUIDs. A text is a view, good until
/// the property is changed.
template <class T, class Handle>
class Values : public Items<ReadValue<T>, Handle> {
 public:
  /// Called by getters of generated classes.
  Values(const Typed<Handle>& of, Place place)
      : Items<ReadValue<T>, Handle>(of, place, manyOf(ValueForm<T>::kDemand)) {}

  /// Adds a value at the end.
  /// @throws ModelError for a number that no literal of the enumeration has, a text that is not well-formed,
  ///   and what is no DateTime. Nothing is added then.
  void add(Argument<T> value) const requires isMutable<Handle> { ValueForm<T>::append(this->spot(), value); }
};

/// Reads a child.
template <class To>
struct ReadChild {
  Spot spot{};  ///< where the collection is
  ReadChild() = default;
  /// Of a collection.
  explicit ReadChild(const Spot& collection) : spot(collection) {}
  /// The child in a cell.
  To operator()(cells::Cell cell) const noexcept { return childAt<To>(spot, cell); }
};

/// The children, or the datatype values, in a collection.
template <class To, class Handle>
class Children : public Items<ReadChild<To>, Handle> {
 public:
  /// Called by getters of generated classes.
  Children(const Typed<Handle>& of, Place place, const Demand& demand = kChild)
      : Items<ReadChild<To>, Handle>(of, place, manyOf(demand)) {}

  /// Makes one behind those that are there.
  /// @tparam Made a class that inherits from that of the property.
  template <Class Made = To>
  Made create() const requires isMutable<Handle> {
    return createAt<Made, To>(this->element(), this->spot());
  }
  /// Moves an element of this model here; see Element::adopt.
  void adopt(const To& child,
             std::size_t position = static_cast<std::size_t>(-1)) const requires isMutable<Handle> {
    recordOf<Handle>(child);
    Handle(this->element()).adopt(this->spot().property(), child, position);
  }
};

/// Reads the target of a reference.
template <class To>
struct ReadReference {
  Spot spot{};  ///< where the collection is
  ReadReference() = default;
  /// Of a collection.
  explicit ReadReference(const Spot& collection) : spot(collection) {}
  /// The target of the reference in a cell.
  To operator()(cells::Cell cell) const noexcept {
    return targetAt<To>(spot, cell, cells::isUnresolved(cell));
  }
};

/// The targets in a collection of references: an empty handle for one that is not in the model.
template <class To, class Handle>
class References : public Items<ReadReference<To>, Handle> {
 public:
  /// Called by getters of generated classes.
  References(const Typed<Handle>& of, Place place)
      : Items<ReadReference<To>, Handle>(of, place, manyOf(kReference)) {}

  /// Appends a reference, and keeps an opposite in step.
  void add(const To& target) const requires isMutable<Handle> {
    recordOf<Handle>(target);
    Handle(this->element()).addReference(this->spot().property(), target);
  }
};

}  // namespace typed

// --- Casts and roots ---------------------------------------------------------------------------

/// Whether an element is there and of the class `To` or one that inherits from it.
template <typed::Class To, class Handle>
bool is(const Handle& element) {
  const typename typed::HandleOf<To>::Type& handle = element;
  const internal::ElementRecord* const record = internal::ElementAccess::recordOf(handle);
  return record != nullptr && !record->removed &&
         internal::isKindOf(internal::ElementAccess::storeOf(handle), record, To::kType);
}

/// The element as one of the class `To`, or an empty handle where it is not of it.
template <typed::Class To, class Handle>
To tryAs(const Handle& element) {
  return is<To>(element) ? To(typed::kUnchecked, element) : To();
}

/// The element as one of the class `To`.
/// @throws ModelError where it is not of that class; the text names both. Also where there is no element.
template <typed::Class To, class Handle>
To as(const Handle& element) {
  const typename typed::HandleOf<To>::Type& handle = element;
  const internal::ElementRecord* const record = typed::recordOf(handle);
  const internal::ModelStore* const store = internal::ElementAccess::storeOf(handle);
  if (!internal::isKindOf(store, record, To::kType)) internal::failCast(store, record, To::kType);
  return To(typed::kUnchecked, handle);
}

/// Makes an element at the top of a model, after those that are there.
/// @throws ModelError where the model's registry does not have the class.
template <typed::Class Made>
Made createRoot(Model& model) {
  static_assert(!Made::kIsAbstract, "an abstract class has no elements: name a class that inherits from it");
  const meta::StructuredType type = internal::findType(model.getRegistry(), Made::kType);
  return Made(typed::kUnchecked, model.createRoot(meta::Class(meta::Type(type))));
}

// --- Enumerations ------------------------------------------------------------------------------

/// The literal of a value, or null where there is none of that number.
template <typed::Enumeration E>
constexpr const typed::Literal* findLiteral(E value) noexcept {
  for (const typed::Literal& literal : EnumLiterals<E>::kLiterals)
    if (literal.number == static_cast<std::int32_t>(value)) return &literal;
  return nullptr;
}

/// The name of a literal in the meta model; empty for a number that is none's.
template <typed::Enumeration E>
constexpr std::string_view toText(E value) noexcept {
  const typed::Literal* const literal = findLiteral(value);
  return literal == nullptr ? std::string_view() : literal->name;
}

/// The literal of that name, else the first whose text in documents it is, or nothing.
template <typed::Enumeration E>
constexpr std::optional<E> fromText(std::string_view text) noexcept {
  for (const typed::Literal& literal : EnumLiterals<E>::kLiterals)
    if (literal.name == text) return static_cast<E>(literal.number);
  for (const typed::Literal& literal : EnumLiterals<E>::kLiterals)
    if (literal.text == text) return static_cast<E>(literal.number);
  return std::nullopt;
}

}  // namespace kr::zero
