/// @file
/// What a meta model forbids and a model may hold all the same, while it is being made or after it was read.
///
///     for (const kr::zero::Violation& v : kr::zero::validate(model, 20))
///       std::cerr << v.path << '.' << v.property << ": " << v.text << '\n';
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/export.h"

namespace kr::zero {

/// What is asked of a model.
enum class Rule : std::uint8_t {
  required,  ///< a property that must have values is set, or has a default
  bounds,    ///< a collection has neither too few nor too many values
  literal,   ///< the number of an enumeration's value is that of a literal
  resolved,  ///< what a reference names is in the model
  unique,    ///< a collection of unique values or targets has none of them twice
  type,      ///< children and targets are of a class that fits the property
  opposite,  ///< where a reference has an opposite, its target refers back, or contains what refers to it
  identity,  ///< no two elements have one identity
};

/// A place where a rule does not hold.
struct Violation {
  std::string path;      ///< of the element or datatype value, as ConstElement::getPath gives it
  std::string property;  ///< its name; empty where an element as such is wrong
  Rule rule;             ///< which rule it is
  std::string text;      ///< what is wrong, without path and property
  friend bool operator==(const Violation&, const Violation&) = default;
};

/// No limit for validate().
inline constexpr std::size_t kAllViolations = static_cast<std::size_t>(-1);

/// Looks at every element and datatype value of a model, in document order. Identities that documents make
/// for themselves ("#") are left alone: writing makes them anew. Time and memory grow with the size of the
/// model alone, whatever is in it.
/// @param limit the search ends with so many violations.
/// @return what was found, in the order of the elements; empty where the model keeps all rules.
KR0_FRAMEWORK_API std::vector<Violation> validate(const Model& model, std::size_t limit = kAllViolations);

}  // namespace kr::zero
