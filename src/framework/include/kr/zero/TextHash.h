/// @file
/// The hash for texts that documents and other files bring along.
///
/// std::hash gives everybody the same numbers, so that a document can be made of texts that all fall into
/// one place of a table. This one is keyed with a number that each process draws anew. Nothing that is
/// written depends on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "kr/zero/export.h"

namespace kr::zero {

/// May be called from many threads at once.
KR0_FRAMEWORK_API std::size_t hashBytes(const void* bytes, std::size_t size) noexcept;

/// For tables keyed by UTF-8 or UTF-16 texts.
struct TextHash {
  /// Tables can be asked by a view.
  using is_transparent = void;
  ///@{
  /// The text's hash, of this process only.
  std::size_t operator()(std::string_view text) const noexcept { return hashBytes(text.data(), text.size()); }
  std::size_t operator()(std::u16string_view text) const noexcept {
    return hashBytes(text.data(), text.size() * sizeof(char16_t));
    ///@}
  }
};

/// For tables keyed by numbers that files bring along.
struct NumberHash {
  /// The number's hash, of this process only.
  std::size_t operator()(std::int64_t number) const noexcept { return hashBytes(&number, sizeof number); }
};

}  // namespace kr::zero
