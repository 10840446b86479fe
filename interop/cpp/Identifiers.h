/// @file
/// Internal: identifiers of C++ from names that may be any text.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kr/zero/TextHash.h"

namespace kr::zero::cpp {

/// Letters, digits and single underscores, beginning with a letter and not ending with an underscore: other
/// characters of ASCII become underscores, all others "u" and their number in hexadecimal digits.
/// @param name UTF-8.
std::string cleaned(std::string_view name);

/// cleaned() with an underscore behind keywords and usual macros.
std::string identifierOf(std::string_view name);

/// cleaned() with a capital in front, for what follows "get" and the like.
std::string memberNameOf(std::string_view name);

/// Whether a word is a keyword, or a name that the headers of C, C++ and POSIX define as a macro.
bool isReserved(std::string_view word);

/// Names within a scope, each given once.
class UniqueNames {
 public:
  /// The name, or with "_2", "_3" ... behind it where it is taken.
  std::string take(const std::string& wanted) {
    return take(wanted, [](const std::string& name) { return std::vector{name}; });
  }
  /// The same where a name comes with others that must be free too.
  /// @param family gives all names that go with one, itself included.
  template <class Family>
  std::string take(const std::string& wanted, const Family& family);

 private:
  std::unordered_set<std::string, TextHash> taken_;
};

template <class Family>
std::string UniqueNames::take(const std::string& wanted, const Family& family) {
  std::string name = wanted;
  const auto isFree = [&] {
    for (const std::string& one : family(name))
      if (taken_.contains(one)) return false;
    return true;
  };
  for (std::size_t number = 2; !isFree(); ++number)
    name = wanted + (wanted.back() == '_' ? "" : "_") + std::to_string(number);
  for (std::string& one : family(name)) taken_.insert(std::move(one));
  return name;
}

}  // namespace kr::zero::cpp
