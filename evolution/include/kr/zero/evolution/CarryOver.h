/// @file
/// Models carried over to a changed meta model, by qualified names.
///
///     kr::zero::meta::MetaRegistry now;  // with today's version of the packages
///     auto [model, report] = kr::zero::evolution::carryOver(old, now);
///     std::cout << toText(report);
///
/// What becomes of a value, by what the new meta model says:
///
///     same name and type, or a rule's name     it is kept
///     a number of another type                 kept where the new type has the very number, else lost
///     other literals, other numbers of them    the literal of the same name or of the rule's, else lost
///     text, DateTime, UUID for each other      kept where the text is one of the new type, else lost
///     a collection for one value               its only value
///     one value for a collection               the first one; all others are lost
///     another class of children or targets     kept where the element's class fits there, else lost
///     references for children                  a loss: children become roots that are referred to
///     children for references                  a loss: what has no other place moves there, to the
///                                              first that refers to it; other references are left out
///     anything else, or no such property       lost
///
/// An element's class is that of its old class's name, or of the rule's. An element whose class is gone, is
/// abstract now or is no class any more is left out with all that it contains, and so are references to it.
///
/// Kept are: order and roots, identities, the three states of properties, unresolved references with their
/// texts (the type's name follows the rules), both sides of opposites as they stand. Identities that a
/// document made for itself ("#") are not: documents make them anew. What is required in the new meta model
/// and not there stays unset, with a notice in the report.
///
/// Threads: each call is on its own; others may read the source meanwhile.
#pragma once

#include <memory>

#include "kr/zero/Error.h"
#include "kr/zero/Model.h"
#include "kr/zero/evolution/CarryOverReport.h"
#include "kr/zero/evolution/ChangeMap.h"
#include "kr/zero/evolution/export.h"
#include "kr/zero/io/ParseOptions.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::evolution {

/// How a model is carried over.
struct CarryOverOptions {
  ChangeMap map = {};          ///< rules beyond equal names
  bool allowLoss = false;      ///< whether what no rule asks for may be lost too
  io::Progress progress = {};  ///< called while elements are made, with their number
};

/// What came out.
struct CarryOverResult {
  Model model;             ///< of the new registry
  CarryOverReport report;  ///< what became of everything
};

/// Something would be lost that nobody asked for. The details' problems are the losses, a sentence each.
class KR0_EVOLUTION_API CarryOverRefused : public Error {
 public:
  /// @param report must have losses that no rule asked for.
  explicit CarryOverRefused(CarryOverReport report);
  ~CarryOverRefused() override;
  CarryOverRefused(const CarryOverRefused&) noexcept;
  CarryOverRefused& operator=(const CarryOverRefused&) noexcept;
  /// The report on all of the model; lives as long as the error or a copy of it.
  const CarryOverReport& getReport() const noexcept { return *report_; }

 private:
  std::shared_ptr<const CarryOverReport> report_;
};

/// Makes the model that says the same by another meta model. Time and memory grow with the size of the model
/// and of the meta models, whatever is in them.
/// @param target the new meta model; must outlive the result. The old one is the source's registry.
/// @throws CarryOverRefused where something would be lost that neither a rule nor `allowLoss` allows.
/// @throws Error (ErrorCode::doesNotFit) for a rule that names what is not there, or whose default is no
///   value of its property; (ErrorCode::cancelled) where `progress` says to stop.
KR0_EVOLUTION_API CarryOverResult carryOver(const Model& source, const meta::MetaRegistry& target,
                                            const CarryOverOptions& options = {});

}  // namespace kr::zero::evolution
