/// @file
/// Internal: lets values of fixed width travel as typed values.
#pragma once

#include "kr/zero/io/ModelTraverser.h"

namespace kr::zero::io {

class BinaryModelTraverser final : public ModelTraverser {
 public:
  /// Verbatim for stored properties of a fixed-width standard type or an enumeration; the framework's
  /// answer for all others.
  PropertyCategory getPropertyCategory(meta::Property property) const override;
};

}  // namespace kr::zero::io
