/// @file
/// Decides which properties of a type a walk visits, and by which category.
#pragma once

#include <vector>

#include "kr/zero/export.h"
#include "kr/zero/io/PropertyCategory.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::io {

/// What a serializer asks about properties. Derive from it to leave some out, or to have them carried
/// differently.
class KR0_FRAMEWORK_API ModelTraverser {
 public:
  ModelTraverser();
  virtual ~ModelTraverser();
  /// 0x001/0x100 for primitives and enumerations, 0x002/0x200 for datatypes, 0x008/0x800 for
  /// composite and 0x004/0x400 for other properties with a class as type; the collection code where
  /// the upper bound is not 1; 0 for derived and static properties.
  virtual PropertyCategory getPropertyCategory(meta::Property property) const;
  /// The properties of `type` that are visited in a pass with mask `mask`, in meta model order: those
  /// with a category in the mask and an identifier that is not 0, transient ones left out.
  virtual std::vector<meta::Property> getProperties(meta::StructuredType type, PropertyCategory mask) const;
  /// Whether documents leave the property out.
  virtual bool isPropertyTransient(meta::Property property) const;
};

}  // namespace kr::zero::io
