/// @file
/// Types that the tests of the codec use beside the standard ones.
#pragma once

#include <memory>

#include "kr/zero/Value.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::test {

/// An enumeration "v.Kind", a primitive of one's own "v.Code" and one called "v.Integer", a datatype
/// "v.Pair".
inline const meta::MetaRegistry& valuesRegistry() {
  static const std::unique_ptr<const meta::MetaRegistry> registry = [] {
    auto made = std::make_unique<meta::MetaRegistry>();
    meta::MetaModelBuilder package("urn:v", "v");
    package.enumeration("Kind").literal("a", 0).literal("b", 1).literal("below", -1);
    package.primitive("Code");
    package.primitive("Integer");
    package.datatype("Pair").property("x", "Real");
    package.registerIn(*made);
    return made;
  }();
  return *registry;
}

inline meta::Type typeNamed(std::string_view name) { return valuesRegistry().findType(name); }

inline ValueMeta single(std::string_view type) { return {typeNamed(type), ValueFlags::single}; }

}  // namespace kr::zero::test
