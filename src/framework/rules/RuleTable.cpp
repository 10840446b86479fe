#include "modeling/sylvan/grammar/RuleTable.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace modeling::sylvan::grammar {

namespace {

/// Whether a rule has said all at its first event, so that it is gone when the next one comes.
bool endsAfterFirstEvent(RuleKind kind) {
  return kind == RuleKind::terminal || kind == RuleKind::choice || kind == RuleKind::optional;
}

template <class Number>
Number checked(std::size_t number) {
  if (number > std::numeric_limits<Number>::max())
    throw std::length_error("a grammar has too many places for a table");
  return static_cast<Number>(number);
}

}  // namespace

/// Goes with one event through open rules, by what the processors of each kind do.
class RuleTable::Walk {
 public:
  struct Frame {
    OpenRule open;
    bool isNamed;  // opened through a name
  };

  /// @param stopAtAct the number of an act that is not to be passed.
  explicit Walk(std::size_t stopAtAct = kNotBegun) : stopAtAct_(stopAtAct) {}

  /// Starts from these rules, which are open.
  void restart(const std::vector<OpenRule>& open) {
    frames_.clear();
    acts_.clear();
    for (const OpenRule& rule : open) frames_.push_back({rule, false});
  }

  /// The first event of all.
  Outcome begin(const Rule& start, SylvanEventCode code) { return go(&start, code); }
  Outcome go(SylvanEventCode code) {
    dropBegun();
    return go(nullptr, code);
  }

  const std::vector<Frame>& getFrames() const { return frames_; }
  const std::vector<Act>& getActs() const { return acts_; }

 private:
  enum class Answer { accepted, refused, finished, delegated, stopped };

  Outcome go(const Rule* opened, SylvanEventCode code) {
    for (;;) {
      const bool isNew = opened != nullptr && open(*opened);
      if (frames_.empty()) return Outcome::ended;
      opened = nullptr;
      switch (ask(frames_.back().open, isNew, code, opened)) {
        case Answer::accepted:
          return Outcome::taken;
        case Answer::refused:
          return Outcome::refused;
        case Answer::stopped:
          return Outcome::stopped;
        case Answer::delegated:
          break;
        case Answer::finished:
          frames_.pop_back();
          dropBegun();
      }
    }
  }

  /// A rule of a kind that does not exist opens nothing, and the one around it keeps the event.
  bool open(const Rule& named) {
    const Rule& rule = named.resolve();
    if (rule.kind() > RuleKind::alias) return false;
    frames_.push_back({{&rule, 0}, &rule != &named});
    return true;
  }

  void dropBegun() {
    while (!frames_.empty() && endsAfterFirstEvent(frames_.back().open.rule->kind())) frames_.pop_back();
  }

  Answer ask(OpenRule& top, bool isNew, SylvanEventCode code, const Rule*& opened) {
    const Rule& rule = *top.rule;
    const std::vector<const Rule*>& parts = rule.getSubRules();
    switch (rule.kind()) {
      case RuleKind::terminal:
        return rule.startsWith(code) ? Answer::accepted : Answer::refused;
      case RuleKind::choice:
        if (!isNew) return Answer::finished;
        opened = choose(parts, code);
        return opened != nullptr ? Answer::delegated : Answer::refused;
      case RuleKind::optional:
        if (!isNew) return Answer::finished;
        [[fallthrough]];
      case RuleKind::repetition:
        if (!parts.front()->startsWith(code)) return Answer::finished;
        opened = parts.front();
        return Answer::delegated;
      case RuleKind::sequence:
        if (top.index == parts.size()) return Answer::finished;
        opened = parts[top.index++];
        return Answer::delegated;
      case RuleKind::action:
        if (acts_.size() == stopAtAct_) return Answer::stopped;
        acts_.push_back({&rule, isNew});
        if (!isNew) return Answer::finished;
        opened = parts.front();
        return Answer::delegated;
      case RuleKind::empty:
      case RuleKind::alias:
        break;
    }
    return Answer::finished;
  }

  static const Rule* choose(const std::vector<const Rule*>& alternatives, SylvanEventCode code) {
    const auto fits = [code](const Rule* rule) { return rule->startsWith(code); };
    const auto isEmpty = [](const Rule* rule) { return rule->canBeEmpty(); };
    auto found = std::find_if(alternatives.begin(), alternatives.end(), fits);
    if (found == alternatives.end()) found = std::find_if(alternatives.begin(), alternatives.end(), isEmpty);
    return found != alternatives.end() ? *found : nullptr;
  }

  std::vector<Frame> frames_;
  std::vector<Act> acts_;
  std::size_t stopAtAct_;
};

RuleTable::RuleTable(std::initializer_list<const Rule*> starts) {
  for (const Rule* start : starts) number(kNowhere, {&start->resolve(), kNotBegun});
  Walk walk;
  for (std::size_t place = 0; place < places_.size(); ++place) fill(static_cast<Place>(place), walk);
}

RuleTable::~RuleTable() = default;

RuleTable::Place RuleTable::getStart(const Rule& rule) const {
  return numbers_.at({kNowhere, &rule.resolve(), kNotBegun});
}

RuleTable::Place RuleTable::number(Place around, const OpenRule& open) {
  const auto [known, isNew] = numbers_.try_emplace({around, open.rule, open.index});
  if (!isNew) return known->second;
  if (places_.size() >= Step::kEnd) throw std::length_error("a grammar has too many places for a table");
  known->second = static_cast<Place>(places_.size());
  places_.push_back({around, open});
  return known->second;
}

void RuleTable::fill(Place place, Walk& walk) {
  std::vector<OpenRule> open;
  appendOpenRules(place, open);
  const Rule& start = *places_[place].open.rule;
  Steps steps;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const auto code = static_cast<SylvanEventCode>(i);
    walk.restart(open);
    steps[i] = makeStep(walk, open.empty() ? walk.begin(start, code) : walk.go(code));
  }
  steps_.push_back(steps);
}

RuleTable::Step RuleTable::makeStep(const Walk& walk, Outcome outcome) {
  Step step;
  if (outcome == Outcome::refused) return step;
  step.firstAct_ = checked<std::uint16_t>(acts_.size());
  step.actCount_ = checked<std::uint8_t>(walk.getActs().size());
  acts_.insert(acts_.end(), walk.getActs().begin(), walk.getActs().end());
  step.next_ = outcome == Outcome::ended ? Step::kEnd : numberAll(walk, step);
  step.isQuiet_ = outcome == Outcome::taken && step.actCount_ == 0 && step.pushedCount_ == 0;
  return step;
}

// The rule of a name begins with no place around it, so that it has the same places wherever it is used. One
// that will be gone at the next event is taken for a part of the rule around it: that saves the way over the
// stack.
RuleTable::Place RuleTable::numberAll(const Walk& walk, Step& step) {
  const std::vector<Walk::Frame>& frames = walk.getFrames();
  const auto stays = [](const Walk::Frame& frame) { return !endsAfterFirstEvent(frame.open.rule->kind()); };
  const auto gone = std::find_if(frames.rbegin(), frames.rend(), stays).base();
  step.firstPushed_ = checked<std::uint16_t>(pushed_.size());
  Place place = kNowhere;
  for (auto frame = frames.begin(); frame != frames.end(); ++frame) {
    if (frame->isNamed && frame < gone && place != kNowhere) {
      pushed_.push_back(place);
      place = kNowhere;
    }
    place = number(place, frame->open);
  }
  step.pushedCount_ = checked<std::uint8_t>(pushed_.size() - step.firstPushed_);
  return place;
}

void RuleTable::appendOpenRules(Place place, std::vector<OpenRule>& to) const {
  const auto before = static_cast<std::ptrdiff_t>(to.size());
  for (; place != kNowhere; place = places_[place].around)
    if (places_[place].open.index != kNotBegun) to.push_back(places_[place].open);
  std::reverse(to.begin() + before, to.end());
}

std::vector<OpenRule> RuleTable::findOpenRulesAtAct(const std::vector<OpenRule>& open, const Rule& start,
                                                    SylvanEventCode code, std::size_t act) {
  Walk walk(act);
  walk.restart(open);
  open.empty() ? walk.begin(start, code) : walk.go(code);
  std::vector<OpenRule> found;
  for (const Walk::Frame& frame : walk.getFrames()) found.push_back(frame.open);
  return found;
}

}  // namespace modeling::sylvan::grammar
