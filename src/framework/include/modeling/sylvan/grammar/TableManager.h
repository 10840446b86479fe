/// @file
/// Checks a stream of tree events against a rule by a table. RuleTable.h has an example.
#pragma once

#include <cstddef>
#include <exception>
#include <new>
#include <span>
#include <vector>

#include "modeling/sylvan/grammar/ProcessorManager.h"
#include "modeling/sylvan/grammar/RuleTable.h"

namespace modeling::sylvan::grammar {

/// Does what a ProcessorManager does, at a look into a table per event. The processors only get their
/// states when an event is refused or an act throws: they then say what is wrong, and have all events from
/// there on.
template <class Blackboard>
class TableManager final : public ProcessorManager<Blackboard> {
 public:
  /// All must outlive the manager.
  /// @param start one of the rules that the table was made for; its acts must be for this class of
  /// blackboard.
  /// @throws std::out_of_range if it is none of those.
  TableManager(const RuleTable& table, const Rule& start, Blackboard& blackboard)
      : Base(start, blackboard), table_(table), start_(start.resolve()), place_(table.getStart(start)) {}

 private:
  using Base = ProcessorManager<Blackboard>;
  using Place = RuleTable::Place;
  using Step = RuleTable::Step;

  using Act = RuleTable::Act;

  void doProcess(SylvanEventCode code, const SylvanPrimitive& primitive) override {
    if (!byProcessors_ && code <= SylvanEventCode::writePrimitive) {
      const Step& step = table_.getStep(place_, code);
      if (step.isQuiet()) {
        place_ = step.getNext();
        return;
      }
      if (take(code)) return;
      goOnWithProcessors();
    }
    Base::doProcess(code, primitive);
  }

  /// Does nothing and returns false for an event that does not fit: that shows before the first act.
  bool take(SylvanEventCode code) {
    const Step& step = table_.getStep(place_, code);
    if (step.isEnd()) return takeBehindEnds(code);
    if (step.isRefused()) return false;
    makeRoom(step.getPushedCount());
    actAll(step, code, 0);
    goOn(step, height_);
    return true;
  }

  bool takeBehindEnds(SylvanEventCode code) {
    std::size_t height = height_;
    const Step* last = &table_.getStep(place_, code);
    for (; last->isEnd() && height != 0; --height) last = &table_.getStep(outer_[height - 1], code);
    if (last->isRefused() || last->isEnd()) return false;
    makeRoom(last->getPushedCount());
    std::size_t acts = 0;
    const Step* step = &table_.getStep(place_, code);
    for (std::size_t at = height_; step->isEnd(); step = &table_.getStep(outer_[--at], code))
      acts = actAll(*step, code, acts);
    actAll(*last, code, acts);
    goOn(*last, height);
    return true;
  }

  /// Before the acts: after them nothing may fail any more.
  void makeRoom(std::size_t places) {
    if (height_ + places > outer_.size()) outer_.resize(2 * outer_.size() + 512);
  }

  void goOn(const Step& step, std::size_t height) noexcept {
    for (const Place place : table_.getPushed(step)) outer_[height++] = place;
    height_ = height;
    place_ = step.getNext();
  }

  /// @param number of the first act, of all that the event leads to. Returns that after the last.
  std::size_t actAll(const Step& step, SylvanEventCode code, std::size_t number) {
    Blackboard& blackboard = this->getBlackboard();
    const std::span<const Act> acts = table_.getActs(step);
    auto act = acts.begin();
    try {
      for (; act != acts.end(); ++act, ++number) {
        const auto& rule = *static_cast<const ActionRule<Blackboard>*>(act->rule);
        if (act->isEnter)
          rule.enter(blackboard);
        else
          rule.leave(blackboard);
      }
      return number;
    } catch (const std::bad_alloc&) {  // no matter of the grammar
      stopInAct(*act, code, number);
      throw;
    } catch (const std::exception& failure) {
      stopInAct(*act, code, number);
      this->throwTraced(TracingException("Action", failure));
    } catch (...) {
      stopInAct(*act, code, number);
      throw;
    }
  }

  std::vector<OpenRule> listOpenRules() const {
    std::vector<OpenRule> open;
    for (std::size_t i = 0; i < height_; ++i) table_.appendOpenRules(outer_[i], open);
    table_.appendOpenRules(place_, open);
    return open;
  }

  /// Brings the processors to where the table is.
  [[gnu::noinline]] void goOnWithProcessors() {
    const std::vector<OpenRule> open = listOpenRules();
    byProcessors_ = true;
    if (open.empty()) return;  // they are there: nothing has begun
    this->clear();
    for (const OpenRule& rule : open) this->resume(*rule.rule, rule.index);
  }

  /// Brings the processors to where they are when that act of the event throws.
  [[gnu::noinline]] void stopInAct(const Act& act, SylvanEventCode code, std::size_t number) {
    std::vector<OpenRule> open = RuleTable::findOpenRulesAtAct(listOpenRules(), start_, code, number);
    byProcessors_ = true;
    this->clear();
    if (act.isEnter) open.pop_back();
    for (const OpenRule& rule : open) this->resume(*rule.rule, rule.index);
    if (act.isEnter) this->select(*act.rule);
  }

  const RuleTable& table_;
  const Rule& start_;
  bool byProcessors_ = false;
  Place place_;
  // Where rules of a name were opened and have not ended. Only the first `height_` mean anything, the rest is
  // room.
  std::vector<Place> outer_;
  std::size_t height_ = 0;
};

}  // namespace modeling::sylvan::grammar
