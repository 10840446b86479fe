/// @file
/// Internal: the values of tagged documents as text.
#pragma once

#include <string>

#include "modeling/sylvan/SylvanPrimitive.h"

namespace kr::zero::tool {

inline bool isNull(const modeling::sylvan::SylvanPrimitive& value) {
  return std::holds_alternative<std::nullptr_t>(value);
}

/// "true", "-5", "0.1": the shortest form that reads back the same; reals also "INF", "-INF" and "NaN".
/// A text stands for itself.
std::string textFormOf(const modeling::sylvan::SylvanPrimitive& value);

}  // namespace kr::zero::tool
