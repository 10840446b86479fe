/// @file
/// The rules of a grammar as a table of what each event does in each place.
///
///     Grammar<Blackboard> g;
///     ...
///     g.finish();
///     const RuleTable table({&g.get("document")});
///     TableManager<Blackboard> manager(table, g.get("document"), blackboard);
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <span>
#include <tuple>
#include <vector>

#include "kr/zero/export.h"
#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/grammar/Rule.h"

namespace modeling::sylvan::grammar {

/// An open rule, as its processor would be on the stack.
struct OpenRule {
  const Rule* rule;   ///< which
  std::size_t index;  ///< of a sequence: the number of sub rules that have been handed out
};

/// Says for a place in the rules and an event which acts run and which place comes next: what processors
/// would find out by asking each other, found out once.
///
/// A place is an open rule together with the open rules around it, up to where the rule of a name begins.
/// Rules of a name can be inside themselves, so whoever uses the table keeps a stack: of the places to go on
/// at when the rule of a name has ended. Does not change and may be used by many threads. The rules must
/// outlive it.
class KR0_FRAMEWORK_API RuleTable {
 public:
  /// The number of a place.
  using Place = std::uint16_t;

  /// What one event does in one place.
  class Step {
   public:
    /// The event does not fit here.
    bool isRefused() const noexcept { return next_ == kRefused; }
    /// The rule of a name ends before the event, which goes to the place that is on top of the stack.
    bool isEnd() const noexcept { return next_ == kEnd; }
    /// The event is taken here without acts and leaves the stack alone: so are most.
    bool isQuiet() const noexcept { return isQuiet_; }
    /// Where the event leads, if it is taken here.
    Place getNext() const noexcept { return next_; }
    /// Of places that go on the stack, the innermost last.
    std::size_t getPushedCount() const noexcept { return pushedCount_; }
    /// Of acts that run.
    std::size_t getActCount() const noexcept { return actCount_; }

   private:
    friend class RuleTable;
    static constexpr Place kRefused = 0xFFFF;
    static constexpr Place kEnd = 0xFFFE;

    Place next_ = kRefused;
    std::uint16_t firstAct_ = 0;
    std::uint16_t firstPushed_ = 0;
    std::uint8_t actCount_ = 0;
    std::uint8_t pushedCount_ = 0;
    bool isQuiet_ = false;
  };

  /// To be done before the event counts as taken.
  struct Act {
    const Rule* rule;  ///< of the kind action
    bool isEnter;      ///< or leave
  };

  /// @param starts the rules that checks may begin with, of a set that is finished.
  /// @throws std::length_error for rules that have more places than the table can number.
  explicit RuleTable(std::initializer_list<const Rule*> starts);
  RuleTable(const RuleTable&) = delete;
  RuleTable& operator=(const RuleTable&) = delete;
  ~RuleTable();

  /// The place before the first event of a rule.
  /// @throws std::out_of_range if it is none of those that the table was made for.
  Place getStart(const Rule& rule) const;

  /// What an event of that kind does in that place.
  const Step& getStep(Place place, SylvanEventCode code) const noexcept {
    return steps_[place][static_cast<std::size_t>(code)];
  }
  /// The acts of a step, in the order in which they run.
  std::span<const Act> getActs(const Step& step) const noexcept {
    return {acts_.data() + step.firstAct_, step.actCount_};
  }
  /// The places that a step puts on the stack, the innermost last.
  std::span<const Place> getPushed(const Step& step) const noexcept {
    return {pushed_.data() + step.firstPushed_, step.pushedCount_};
  }

  /// The rules that are open there, outermost first, are added to `to`; none before the first event.
  void appendOpenRules(Place place, std::vector<OpenRule>& to) const;

  /// The rules that are open when the event has come to one of its acts: the last one is the act's.
  /// @param open those before the event.
  /// @param start the rule that the check began with, if the event is the first.
  /// @param act its number, of those that the event leads to.
  static std::vector<OpenRule> findOpenRulesAtAct(const std::vector<OpenRule>& open, const Rule& start,
                                                  SylvanEventCode code, std::size_t act);

 private:
  class Walk;
  enum class Outcome : std::uint8_t { taken, refused, ended, stopped };
  using Steps = std::array<Step, sylvanEventNames.size()>;

  /// The outermost rule has no place around it, and neither has one that a check begins with.
  static constexpr Place kNowhere = 0xFFFF;
  static constexpr std::size_t kNotBegun = ~std::size_t{0};

  struct Inside {
    Place around;
    OpenRule open;
  };

  Place number(Place around, const OpenRule& open);
  void fill(Place place, Walk& walk);
  Step makeStep(const Walk& walk, Outcome outcome);
  Place numberAll(const Walk& walk, Step& step);

  std::vector<Inside> places_;
  std::map<std::tuple<Place, const Rule*, std::size_t>, Place> numbers_;
  std::vector<Steps> steps_;
  std::vector<Act> acts_;
  std::vector<Place> pushed_;
};

}  // namespace modeling::sylvan::grammar
