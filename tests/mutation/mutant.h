/// @file
/// Which mutant of a mutated copy of the sources is active: scripts/mutate.py puts calls of these in the
/// place of comparisons, constants, checks and statements. KR0_MUTANT names the active one, by number;
/// without it all is as it was written.
#pragma once

#include <cstdlib>
#include <type_traits>

namespace kr0m {

/// One for the whole process, although libraries and program each hold mutated code.
struct [[gnu::visibility("default")]] State {
  static constexpr int kMost = 20000;
  int chosen = [] {
    const char* const text = std::getenv("KR0_MUTANT");
    return text == nullptr ? 0 : std::atoi(text);
  }();
  bool reached[kMost] = {};  ///< by number
};
[[gnu::visibility("default")]] inline State state;

/// Whether this mutant is the active one. Constants for the compiler are never changed.
constexpr bool on(int mutant) {
  if (std::is_constant_evaluated()) return false;
  state.reached[mutant] = true;
  return state.chosen == mutant;
}

/// A number, or the next one.
template <class T>
constexpr auto shift(int mutant, const T& value) -> std::conditional_t<std::is_arithmetic_v<T>, T, const T&> {
  if constexpr (std::is_same_v<T, bool>)
    return value != on(mutant);
  else if constexpr (std::is_arithmetic_v<T>)
    return on(mutant) ? static_cast<T>(value + 1) : value;
  else
    return value;
}

// `a < b` becomes `a < Less{17} > b`, which binds as tightly.
#define KR0M_COMPARISON(Name, OPEN, CLOSE, WRITTEN, CHANGED)                    \
  struct Name {                                                                 \
    int mutant;                                                                 \
  };                                                                            \
  template <class Left>                                                         \
  struct Name##Half {                                                           \
    const Left& left;                                                           \
    int mutant;                                                                 \
  };                                                                            \
  template <class Left>                                                         \
  constexpr Name##Half<Left> operator OPEN(const Left& left, Name comparison) { \
    return {left, comparison.mutant};                                           \
  }                                                                             \
  template <class Left, class Right>                                            \
  constexpr bool operator CLOSE(Name##Half<Left> half, const Right& right) {    \
    if (on(half.mutant)) return static_cast<bool>(half.left CHANGED right);     \
    return static_cast<bool>(half.left WRITTEN right);                          \
  }
KR0M_COMPARISON(Less, <, >, <, <=)
KR0M_COMPARISON(LessEqual, <, >, <=, <)
KR0M_COMPARISON(Greater, <, >, >, >=)
KR0M_COMPARISON(GreaterEqual, <, >, >=, >)
KR0M_COMPARISON(Equal, ==, ==, ==, !=)
KR0M_COMPARISON(NotEqual, ==, ==, !=, ==)
#undef KR0M_COMPARISON

}  // namespace kr0m
