/// @file
/// The leaf value of a tree of events.
///
///     SylvanPrimitive name("title");
///     assert(name.index() == 5);
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace modeling::sylvan {

/// An integer type of at most 64 bits, whatever it is called: `long` as well as `long long`. Types of
/// characters and `bool` are none: that a letter is meant as a number has to be said.
template <class T>
concept PrimitiveInteger = std::integral<T> && sizeof(T) <= sizeof(std::uint64_t) && !std::same_as<T, bool> &&
                           !std::same_as<T, char> && !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                           !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

/// A value of one of six kinds. The position of the alternative, index(), is the number of its kind;
/// codecs choose their tags by it: 0 boolean, 1 null, 2 real (binary64), 3 unsigned integer, 4 signed
/// integer, 5 string (bytes, of no encoding that this type would know). Kinds are not interchangeable:
/// an unsigned 5 and a signed 5 are different primitives.
///
/// What is said of a std::variant holds: std::visit, std::get_if and comparisons take it. A primitive that an
/// assignment which threw left without alternative raises std::bad_variant_access when it is visited.
class SylvanPrimitive
    : public std::variant<bool, std::nullptr_t, double, std::uint64_t, std::int64_t, std::string> {
 public:
  /// The alternatives, by kind.
  using Alternatives = std::variant<bool, std::nullptr_t, double, std::uint64_t, std::int64_t, std::string>;

  /// The boolean false.
  constexpr SylvanPrimitive() noexcept = default;
  /// A boolean, from nothing that only converts to one.
  template <std::same_as<bool> Boolean>
  constexpr SylvanPrimitive(Boolean value) noexcept : Alternatives(std::in_place_type<bool>, value) {}
  /// Null.
  constexpr SylvanPrimitive(std::nullptr_t) noexcept : Alternatives(nullptr) {}
  /// A real, of a type that loses nothing as a double.
  template <std::floating_point Real>
  requires(sizeof(Real) <= sizeof(double)) constexpr SylvanPrimitive(Real value) noexcept
      : Alternatives(std::in_place_type<double>, value) {}
  /// An unsigned integer where the type has no sign, else a signed one.
  template <PrimitiveInteger Integer>
  constexpr SylvanPrimitive(Integer value) noexcept
      : Alternatives(
            std::in_place_type<std::conditional_t<std::is_signed_v<Integer>, std::int64_t, std::uint64_t>>,
            value) {}
  /// A string.
  SylvanPrimitive(std::string bytes) noexcept : Alternatives(std::move(bytes)) {}
  /// A string, copied.
  SylvanPrimitive(std::string_view bytes) : Alternatives(std::in_place_type<std::string>, bytes) {}
  /// A string, copied up to its 0, which must be there.
  SylvanPrimitive(const char* bytes) : SylvanPrimitive(std::string_view(bytes)) {}
};

}  // namespace modeling::sylvan
