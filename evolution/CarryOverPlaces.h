/// @file
/// Internal: which element of the old model has which place in the new one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "CarryOverLosses.h"
#include "CarryOverPlan.h"
#include "kr/zero/Model.h"
#include "kr/zero/io/ParseOptions.h"

namespace kr::zero::evolution {

/// An element or datatype value that has its place.
struct Placed {
  ConstElement from;
  Element made;
  TypePlan* plan;
  bool claims = false;    ///< has a step that does
  bool releases = false;  ///< has a step that does
};

/// Makes the elements of the new model.
class Places {
 public:
  Places(const Model& source, Model& model, Plans& plans, Losses& losses, const io::Progress& progress);

  /// Gives every element its place, from the roots down, and counts those that have none.
  void run();

  /// What has its place, in the order in which it got it.
  std::vector<Placed>& placed() noexcept { return placed_; }
  bool isPlaced(ConstElement element) const;
  /// What stands for an element that is placed.
  Element madeOf(ConstElement element) const { return made_[element.getIndex()]; }
  /// Whether an element has no place because somebody asked for that.
  bool isLeftAsAsked(ConstElement element) const { return leftOf(element) == Left::asked; }
  /// Whether an element can stand in the property that a step leads to, or be referred to there.
  bool fits(ConstElement element, const Step& step);
  static bool hasRoom(ConstElement element, meta::Property property) {
    return property->isMany() || element.size(property) == 0;
  }
  /// The steps for what is set on an element, by their places in the new type: values are so put one behind
  /// the other. Good until the next call.
  const std::vector<Step*>& stepsOf(ConstElement element, TypePlan& plan);

 private:
  /// One whose place is known, and not there yet.
  struct Pending {
    ConstElement from;
    Element container;  // empty: a root
    meta::Property property;
  };
  enum class Left : std::uint8_t { no, lost, asked };

  void placeTheRest();
  void claim(const Placed& by, const Step& step);
  void release(const Placed& by, const Step& step);
  void placeTree(const Pending& top);
  void place(Pending next);
  void pushChildren(Placed& parent);
  void pushChildren(const Placed& parent, const Step& step);
  void reportProgress() const;
  void countLeftOut();
  void countLeftOut(ConstElement element);
  Left whyLeftOut(ConstElement element, const TypePlan& plan);
  bool isPlaceDropped(ConstElement element);
  Left leftOf(ConstElement element) const;

  const Model& source_;
  Model& model_;
  Plans& plans_;
  Losses& losses_;
  const io::Progress& progress_;
  std::vector<Element> made_;  // by the old element's index
  std::vector<Placed> placed_;
  std::vector<Pending> pending_;
  std::vector<Left> left_;  // by the old element's index
  bool hasLeftOut_ = false;
  std::vector<Step*> steps_;
};

}  // namespace kr::zero::evolution
