/// @file
/// Internal: changes in words.
#pragma once

#include <string>

#include "kr/zero/evolution/SchemaDiff.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::evolution {

/// "String 0..1, number 2", "contains books.Book 0..*, number 3".
std::string describe(meta::Property property);
/// "abstract class".
std::string describe(meta::Type type);
/// "books.Book.title".
std::string qualifiedNameOf(meta::Property property);

/// What old documents do, by what they do.
struct Consequences {
  std::string shown = {};                           ///< of what is wrong: "lastName as firstName"
  std::string lacking = {};                         ///< of what is incomplete: "lack it"
  std::string refused = "that use it are refused";  ///< those that go by names
  std::string refusedDirect = "that use it are refused";
};

/// "happened: old .krb documents show ...; old .krt and .xmi documents that use it are refused".
std::string tell(const std::string& happened, const Effects& effects, const Consequences& consequences = {});

}  // namespace kr::zero::evolution
