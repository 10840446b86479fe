/// @file
/// Ranges over values and elements, for loops and for the algorithms and views of the standard library.
///
///     for (const std::string_view tag : book.values<std::string_view>("tags")) use(tag);
///     const auto all = model.elements("library.Book");
///     std::ranges::count_if(all, [](auto e) { return e.template get<int>("pages") > 500; });
///
/// A range is a small view: cheap to copy, without elements of its own, and its iterators outlive it. Only
/// walks over elements below elements allocate, for a stack as deep as the elements lie. A range is meant for
/// a model that stays as it is: where the model changes meanwhile, values may be missed or met twice, and a
/// position or an element that is gone raises ModelError.
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "kr/zero/Element.h"
#include "kr/zero/export.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero {

namespace internal {

/// What an iterator has beside its own members: it gives handles, no references.
template <class Iterator, class E>
class ForwardIterator {
 public:
  using value_type = E;
  using difference_type = std::ptrdiff_t;
  using iterator_category = std::input_iterator_tag;
  using iterator_concept = std::forward_iterator_tag;

  Iterator operator++(int) {
    auto& self = static_cast<Iterator&>(*this);
    Iterator before = self;
    ++self;
    return before;
  }
};

/// Walks the positions of a source, which has `size()`, and `at(position)` that gives values.
template <class Source>
class PositionIterator {
 public:
  using value_type = decltype(std::declval<const Source&>().at(0));
  using difference_type = std::ptrdiff_t;
  using iterator_category = std::input_iterator_tag;  // it gives values, no references
  using iterator_concept = std::random_access_iterator_tag;

  PositionIterator() = default;
  PositionIterator(Source source, std::size_t position)
      : source_(source), position_(static_cast<difference_type>(position)) {}

  value_type operator*() const { return source_.at(static_cast<std::size_t>(position_)); }
  value_type operator[](difference_type n) const { return *(*this + n); }
  PositionIterator& operator++() { return *this += 1; }
  PositionIterator operator++(int) { return std::exchange(*this, *this + 1); }
  PositionIterator& operator--() { return *this -= 1; }
  PositionIterator operator--(int) { return std::exchange(*this, *this - 1); }
  PositionIterator& operator+=(difference_type n) {
    position_ += n;
    return *this;
  }
  PositionIterator& operator-=(difference_type n) { return *this += -n; }
  friend PositionIterator operator+(PositionIterator it, difference_type n) { return it += n; }
  friend PositionIterator operator+(difference_type n, PositionIterator it) { return it += n; }
  friend PositionIterator operator-(PositionIterator it, difference_type n) { return it -= n; }
  friend difference_type operator-(const PositionIterator& a, const PositionIterator& b) {
    return a.position_ - b.position_;
  }
  friend bool operator==(const PositionIterator& a, const PositionIterator& b) {
    return a.position_ == b.position_;
  }
  friend auto operator<=>(const PositionIterator& a, const PositionIterator& b) {
    return a.position_ <=> b.position_;
  }

 private:
  Source source_;
  difference_type position_ = 0;
};

/// All positions of a source.
template <class Source>
class PositionRange {
 public:
  using Iterator = PositionIterator<Source>;
  PositionRange() = default;
  explicit PositionRange(Source source) : source_(source) {}

  Iterator begin() const { return {source_, 0}; }
  Iterator end() const { return {source_, source_.size()}; }
  std::size_t size() const { return source_.size(); }
  bool empty() const { return size() == 0; }
  /// @param position below size().
  auto operator[](std::size_t position) const { return source_.at(position); }
  auto front() const { return source_.at(0); }
  auto back() const { return source_.at(size() - 1); }

 private:
  Source source_;
};

/// The values of one property of an element.
template <class T>
class PropertyValues {
 public:
  using Holder = std::conditional_t<std::same_as<T, Element>, Element, ConstElement>;
  PropertyValues() = default;
  PropertyValues(Holder holder, const PropertyKey& key, ValueSort sort) : holder_(holder) {
    const auto [property, size] = holder.count(key, sort);
    property_ = property;
    size_ = size;
  }
  std::size_t size() const noexcept { return size_; }
  T at(std::size_t position) const { return holder_.template get<T>(property_, position); }

 private:
  Holder holder_;
  meta::Property property_;
  std::size_t size_ = 0;
};

KR0_FRAMEWORK_API std::size_t rootCount(const ModelStore& store) noexcept;
/// @throws ModelError where there is no such position.
KR0_FRAMEWORK_API ElementRecord* rootAt(const ModelStore& store, std::size_t position);

/// The elements at the top of a model.
template <class E>
class ModelRoots {
 public:
  ModelRoots() = default;
  explicit ModelRoots(ModelStore* store) : store_(store) {}
  std::size_t size() const noexcept { return store_ == nullptr ? 0 : rootCount(*store_); }
  E at(std::size_t position) const { return ElementAccess::make<E>(store_, rootAt(*store_, position)); }

 private:
  ModelStore* store_ = nullptr;
};

/// A place among the values of an element.
struct ChildPlace {
  std::uint32_t entry = 0;     // among the properties that are set
  std::uint32_t position = 0;  // among the values of that one
};
/// What a search meets.
enum class Contained : std::uint8_t { children, childrenAndDatatypes };
/// The first one at that place or behind it, to which the place is moved; null where there is none.
KR0_FRAMEWORK_API ElementRecord* findContained(const ElementRecord* parent, ChildPlace& place,
                                               Contained which = Contained::children) noexcept;

/// A walk over elements and what is below them, each before its children.
class KR0_FRAMEWORK_API TreeWalk {
 public:
  TreeWalk() = default;
  /// Over a whole model.
  /// @param only elements that are no instances of it are passed over; empty: all are met.
  TreeWalk(ModelStore* store, meta::Class only);
  /// Over what is below an element.
  TreeWalk(ModelStore* store, ElementRecord* start);

  ModelStore* store() const noexcept { return store_; }
  /// Null at the end.
  ElementRecord* current() const noexcept { return current_; }
  std::size_t depth() const noexcept { return levels_.size(); }
  void advance();

 private:
  struct Level {
    const ElementRecord* parent;
    ChildPlace place;  // of the element below it that the walk is at, or in
  };
  void step();
  bool isPassedOver() const;

  ModelStore* store_ = nullptr;
  ElementRecord* current_ = nullptr;
  meta::Class only_;
  std::size_t nextRoot_ = 0;
  std::vector<Level> levels_;
};

}  // namespace internal

/// The children of an element, over all its properties. Forward; allocates nothing.
template <class E>
class ChildRange {
 public:
  /// Stands at a child, or behind the last one.
  class Iterator : public internal::ForwardIterator<Iterator, E> {
   public:
    Iterator() = default;
    /// The element that it stands at.
    E operator*() const { return internal::ElementAccess::make<E>(store_, current_); }
    ///@{
    /// Goes to the next one.
    Iterator& operator++() {
      ++place_.position;
      current_ = internal::findContained(parent_, place_);
      return *this;
    }
    using internal::ForwardIterator<Iterator, E>::operator++;
    ///@}
    /// Whether both stand at the same place.
    friend bool operator==(const Iterator& a, const Iterator& b) { return a.current_ == b.current_; }

   private:
    friend class ChildRange;
    Iterator(internal::ModelStore* store, const internal::ElementRecord* parent)
        : store_(store), parent_(parent), current_(internal::findContained(parent, place_)) {}

    internal::ModelStore* store_ = nullptr;
    const internal::ElementRecord* parent_ = nullptr;
    internal::ChildPlace place_;
    internal::ElementRecord* current_ = nullptr;
  };

  ChildRange() = default;
  /// Stands at the first one.
  Iterator begin() const { return parent_ == nullptr ? Iterator() : Iterator(store_, parent_); }
  /// Behind the last one.
  Iterator end() const { return {}; }
  /// Whether there is none.
  bool empty() const { return begin() == end(); }

 private:
  friend class ConstElement;
  friend class Element;
  ChildRange(internal::ModelStore* store, const internal::ElementRecord* parent)
      : store_(store), parent_(parent) {}

  internal::ModelStore* store_ = nullptr;
  const internal::ElementRecord* parent_ = nullptr;
};

/// The targets of a property's references that are in the model, in their order. Forward; allocates nothing.
template <class E>
class ReferenceRange {
 public:
  /// Stands at a target, or behind the last one.
  class Iterator : public internal::ForwardIterator<Iterator, E> {
   public:
    Iterator() = default;
    /// The element that it stands at.
    E operator*() const { return current_; }
    ///@{
    /// Goes to the next one.
    Iterator& operator++() {
      ++position_;
      skipUnresolved();
      return *this;
    }
    using internal::ForwardIterator<Iterator, E>::operator++;
    ///@}
    /// Whether both stand at the same place.
    friend bool operator==(const Iterator& a, const Iterator& b) { return a.position_ == b.position_; }

   private:
    friend class ReferenceRange;
    Iterator(ValueRange<E> targets, std::size_t position) : targets_(targets), position_(position) {
      skipUnresolved();
    }
    void skipUnresolved() {
      for (; position_ < targets_.size(); ++position_)
        if ((current_ = targets_[position_])) return;
      current_ = {};
    }

    ValueRange<E> targets_;
    std::size_t position_ = 0;
    E current_;
  };

  ReferenceRange() = default;
  /// Stands at the first one.
  Iterator begin() const { return first_; }
  /// Behind the last one.
  Iterator end() const { return Iterator(first_.targets_, first_.targets_.size()); }
  /// Whether there is none.
  bool empty() const { return begin() == end(); }

 private:
  friend class ConstElement;
  friend class Element;
  explicit ReferenceRange(ValueRange<E> targets) : first_(targets, 0) {}

  Iterator first_;
};

/// Elements in document order: each before its children, children in the order of their properties. Forward;
/// an iterator has a stack of its own.
template <class E>
class BasicElementRange {
 public:
  /// Stands at an element, or behind the last one.
  class Iterator : public internal::ForwardIterator<Iterator, E> {
   public:
    Iterator() = default;
    /// The element that it stands at.
    E operator*() const { return internal::ElementAccess::make<E>(walk_.store(), walk_.current()); }
    ///@{
    /// Goes to the next one.
    Iterator& operator++() {
      walk_.advance();
      return *this;
    }
    using internal::ForwardIterator<Iterator, E>::operator++;
    ///@}
    /// Number of elements above the current one, up to the one below which the walk goes.
    std::size_t getDepth() const noexcept { return walk_.depth(); }
    /// Whether both stand at the same place.
    friend bool operator==(const Iterator& a, const Iterator& b) {
      return a.walk_.current() == b.walk_.current();
    }
    /// Whether it stands behind the last one.
    friend bool operator==(const Iterator& it, std::default_sentinel_t) {
      return it.walk_.current() == nullptr;
    }

   private:
    friend class BasicElementRange;
    explicit Iterator(internal::TreeWalk walk) : walk_(std::move(walk)) {}
    internal::TreeWalk walk_;
  };

  BasicElementRange() = default;
  /// Stands at the first one.
  Iterator begin() const {
    if (store_ == nullptr) return {};
    return Iterator(start_ == nullptr ? internal::TreeWalk(store_, only_)
                                      : internal::TreeWalk(store_, start_));
  }
  /// Behind the last one.
  std::default_sentinel_t end() const noexcept { return {}; }
  /// Whether there is none.
  bool empty() const { return begin() == end(); }

 private:
  friend class Model;
  friend class ConstElement;
  friend class Element;
  BasicElementRange(internal::ModelStore* store, meta::Class only) : store_(store), only_(only) {}
  BasicElementRange(internal::ModelStore* store, internal::ElementRecord* start)
      : store_(store), start_(start) {}

  internal::ModelStore* store_ = nullptr;
  meta::Class only_;
  internal::ElementRecord* start_ = nullptr;
};

template <PropertyValue T>
ValueRange<T> ConstElement::values(PropertyKey property) const {
  return ValueRange<T>({*this, property, internal::sortOf<T>()});
}

}  // namespace kr::zero

/// @cond
// What an iterator needs it carries with it: all of these are views, and their iterators outlive them.
template <class Source>
inline constexpr bool std::ranges::enable_view<kr::zero::internal::PositionRange<Source>> = true;
template <class Source>
inline constexpr bool std::ranges::enable_borrowed_range<kr::zero::internal::PositionRange<Source>> = true;
template <class E>
inline constexpr bool std::ranges::enable_view<kr::zero::ChildRange<E>> = true;
template <class E>
inline constexpr bool std::ranges::enable_borrowed_range<kr::zero::ChildRange<E>> = true;
template <class E>
inline constexpr bool std::ranges::enable_view<kr::zero::ReferenceRange<E>> = true;
template <class E>
inline constexpr bool std::ranges::enable_borrowed_range<kr::zero::ReferenceRange<E>> = true;
template <class E>
inline constexpr bool std::ranges::enable_view<kr::zero::BasicElementRange<E>> = true;
template <class E>
inline constexpr bool std::ranges::enable_borrowed_range<kr::zero::BasicElementRange<E>> = true;
/// @endcond
