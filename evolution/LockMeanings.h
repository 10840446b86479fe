/// @file
/// Internal: what numbers mean in each type of a lock, inherited ones included.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "LockContents.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::evolution {

/// What a number means in a type.
struct Meaning {
  std::uint32_t number;
  const LockedProperty* property;
  std::size_t owner;  ///< index of the type that says so
};
/// All of a type, by number, each number once.
using Meanings = std::vector<Meaning>;

class LockMeanings {
 public:
  struct Type {
    const std::string* uri;
    const std::string* name;  ///< within the package
    std::string qualifiedName;
    const LockedType* locked;
  };

  /// @param contents must live as long, and stay as it is.
  explicit LockMeanings(const Lock::Contents& contents);

  /// By package and name.
  const std::vector<Type>& types() const noexcept { return types_; }
  /// Index of the type of a qualified name, or npos.
  std::size_t find(const std::string& qualifiedName) const;
  /// @throws Error (ErrorCode::overLimit) where classes inherit too much together.
  const Meanings& of(std::size_t type);

  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

 private:
  std::vector<std::size_t> supertypesOf(std::size_t type) const;
  std::shared_ptr<const Meanings> merge(std::size_t type);
  void keepFirst(std::size_t type, Meanings& meanings) const;

  std::vector<Type> types_;
  std::unordered_map<std::string, std::size_t, TextHash> byName_;
  std::vector<std::shared_ptr<const Meanings>> meanings_;  // by type; shared where a type adds nothing
  std::vector<bool> isOpen_;                               // its supertypes are being looked at
  std::size_t total_ = 0;
};

}  // namespace kr::zero::evolution
