/// @file
/// What the authors of .ecore files say to their readers: annotations with the source
/// "http://www.eclipse.org/emf/2002/GenModel" and the key "documentation".
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "kr/zero/TextHash.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/ecore/export.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::ecore {

/// Texts by what they are about. They are as the files have them: any well-formed UTF-8, with line ends and
/// control characters. Made by readDocumentation; empty where it is made by itself.
class KR0_ECORE_API Documentation {
 public:
  ///@{
  /// The text about a package, a type or a property, or an empty one. Valid as long as this object.
  std::string_view ofPackage(std::string_view uri) const;
  std::string_view of(meta::Type type) const;
  std::string_view of(meta::Property property) const;
  ///@}
  /// The text about a literal, likewise.
  /// @param literal one of an enumeration of the registry, not a copy of it.
  std::string_view of(const meta::EnumLiteral& literal) const;

 private:
  friend class DocumentationReader;
  std::string_view find(const void* subject) const;

  std::unordered_map<const void*, std::string> texts_;  // by the address of what they are about
  std::unordered_map<std::string, std::string, TextHash> packageTexts_;
};

/// Reads the documentation of all packages that came from files. Looks through the files once more.
KR0_ECORE_API Documentation readDocumentation(const Mapping& mapping);

}  // namespace kr::zero::ecore
