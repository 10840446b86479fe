/// @file
/// Internal: the namespace prefixes of a document that is being written.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "MappingImpl.h"

namespace kr::zero::ecore {

class Prefixes {
 public:
  explicit Prefixes(const Mapping::Impl& mapping) : mapping_(mapping) {}

  /// The prefix of a namespace, made on first use: the one that the package asks for, with a number where
  /// another namespace has it.
  const std::string& of(std::string_view uri);
  /// Appends the declarations of all that were used: XMI first, the others sorted by prefix.
  /// @returns false where a URI holds a character that XML does not have.
  [[nodiscard]] bool appendDeclarations(std::string& out) const;

 private:
  std::string wishFor(std::string_view uri) const;

  const Mapping::Impl& mapping_;
  TextMap<std::string> prefixes_;            // by URI
  std::map<std::string, std::string> uris_;  // by prefix
};

}  // namespace kr::zero::ecore
