/// @file
/// Internal: what the new model lacks, told property by property.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "CarryOverFindings.h"
#include "CarryOverPlan.h"

namespace kr::zero::evolution {

class Losses {
 public:
  /// A change of a property of an element that has to be allowed, and loses no value.
  void note(Event event, ConstElement element, const Step& step, const std::string& what);
  /// A value that is lost.
  void lose(Event event, ConstElement element, const Step& step, const std::string& what);
  /// One for which there is no room behind the first.
  void loseMore(ConstElement element, const Step& step);
  /// A child, or the target of a reference, whose class does not fit.
  void loseMisfit(ConstElement element, const Step& step, const TypePlan& child);
  /// A reference to what is left out.
  void loseReference(ConstElement element, const Step& step, bool asked);
  void loseLiteral(ConstElement element, const Step& step, const LiteralTable::Move& move);
  /// Values of a property that is left out.
  void loseValues(ConstElement element, const Step& step, std::uint64_t values, bool asked);
  /// An element, for want of a class or of a place.
  void loseElement(ConstElement element, const TypePlan& plan, bool asked);

  std::vector<Finding> take() { return findings_.take(); }

 private:
  Findings findings_;
};

}  // namespace kr::zero::evolution
