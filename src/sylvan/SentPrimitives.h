/// @file
/// Internal: the primitives that the reader of the tagged format sends.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

#include "kr/zero/KeptMemory.h"
#include "modeling/sylvan/SylvanPrimitive.h"
#include "sylvan/CopyFew.h"

namespace kr::zero::io::tagged {

/// One primitive for each kind of number, and for strings one for each small size. Each stays of its kind
/// and keeps its memory; what is set is valid until the next of its kind is.
class SentPrimitives {
 public:
  using SylvanPrimitive = modeling::sylvan::SylvanPrimitive;

  /// Sizes below are small.
  static constexpr std::size_t kFewBytes = 64;

  SentPrimitives() { fewBytes_.fill(SylvanPrimitive(std::string())); }

  const SylvanPrimitive& set(double number) { return assign(real_, number); }
  const SylvanPrimitive& set(std::uint64_t number) { return assign(unsigned_, number); }
  const SylvanPrimitive& set(std::int64_t number) { return assign(signed_, number); }

  const SylvanPrimitive& set(const char* bytes, std::size_t size) {
    SylvanPrimitive& primitive = size < kFewBytes ? fewBytes_[size] : string_;
    std::get_if<std::string>(&primitive)->assign(bytes, size);
    return primitive;
  }

  /// The same for a small string, if one of its size was set before: else returns null. Names and short
  /// texts are most of what documents hold, and overwriting one costs half of what assigning it does.
  const SylvanPrimitive* overwrite(const char* bytes, std::size_t size) noexcept {
    if (size >= kFewBytes) return nullptr;
    SylvanPrimitive& primitive = fewBytes_[size];
    std::string& string = *std::get_if<std::string>(&primitive);
    if (string.size() != size) return nullptr;
    copyFew(string.data(), bytes, size);
    return &primitive;
  }

  /// For a string that comes in pieces, and the primitive that it is in.
  std::string& getString() { return *std::get_if<std::string>(&string_); }
  const SylvanPrimitive& getStringPrimitive() const { return string_; }

  /// What was sent is not needed any more.
  void giveBackMemory() noexcept { clearAndGiveBack(getString()); }

 private:
  template <class Number>
  static const SylvanPrimitive& assign(SylvanPrimitive& primitive, Number number) {
    *std::get_if<Number>(&primitive) = number;
    return primitive;
  }

  SylvanPrimitive real_{0.0};
  SylvanPrimitive unsigned_{std::uint64_t{0}};
  SylvanPrimitive signed_{std::int64_t{0}};
  SylvanPrimitive string_{std::string()};
  std::array<SylvanPrimitive, kFewBytes> fewBytes_;  // by size
};

}  // namespace kr::zero::io::tagged
