/// @file
/// The processors of which a manager has one each.
///
/// One object serves all rules of its kind that are open at a time, however they nest. That works because a
/// processor gets its first event at once when it is given a rule: `begun` is false only between these two
/// moments. Whenever an outer rule has the word again, the object has begun, whoever used it in between, and
/// "begun" is all that an outer rule needs to know.
#pragma once

#include "modeling/sylvan/grammar/UniformProcessor.h"

namespace modeling::sylvan::grammar {

/// Ends before any event.
class KR0_FRAMEWORK_API EmptyProcessor final : public UniformProcessor<EmptyProcessor> {
 public:
  EmptyProcessor();
  ~EmptyProcessor() override;
  void init(const Rule&) override {}
  std::string name() const override;

 private:
  friend class UniformProcessor<EmptyProcessor>;
  ReturnType step(SylvanEventCode) { return ReturnType::finish(); }
};

/// Serves rules that have said all at their first event: at the next one they are finished.
template <class Self>
class FirstEventProcessor : public UniformProcessor<FirstEventProcessor<Self>> {
 public:
  /// Serves `rule` from its beginning.
  void init(const Rule& rule) override {
    rule_ = &rule;
    begun_ = false;
  }
  /// Whether the rule has had its first event, so that the next one ends it.
  bool hasBegun() const noexcept { return begun_; }

 protected:
  /// The rule that is served.
  const Rule& getRule() const noexcept { return *rule_; }

 private:
  friend class UniformProcessor<FirstEventProcessor>;

  ReturnType step(SylvanEventCode code) {
    if (begun_) return ReturnType::finish();
    const ReturnType answer = static_cast<Self*>(this)->begin(code);
    begun_ = true;
    return answer;
  }

  const Rule* rule_ = nullptr;
  bool begun_ = false;
};

/// Accepts one event of its kind and ends at the next event.
class KR0_FRAMEWORK_API TerminalProcessor final : public FirstEventProcessor<TerminalProcessor> {
 public:
  /// @param passed the kinds that would have fitted before this rule at the event in hand; for messages.
  ///        Must outlive the processor.
  explicit TerminalProcessor(const EventKinds& passed);
  ~TerminalProcessor() override;
  std::string name() const override;

 private:
  friend class FirstEventProcessor<TerminalProcessor>;

  ReturnType begin(SylvanEventCode code) const {
    if (!getRule().startsWith(code)) fail(code);
    return ReturnType::accept();
  }
  [[noreturn]] void fail(SylvanEventCode code) const;

  const EventKinds& passed_;
};

/// Delegates to the first alternative that can begin with the event, else to the first that can be empty.
class KR0_FRAMEWORK_API ChoiceProcessor final : public FirstEventProcessor<ChoiceProcessor> {
 public:
  /// @param passed as for TerminalProcessor.
  explicit ChoiceProcessor(const EventKinds& passed);
  ~ChoiceProcessor() override;
  std::string name() const override;

 private:
  friend class FirstEventProcessor<ChoiceProcessor>;

  ReturnType begin(SylvanEventCode code) const {
    for (const Rule* alternative : getRule().getSubRules())
      if (alternative->startsWith(code)) return ReturnType::delegate(*alternative);
    return ReturnType::delegate(getEmptyAlternative(code));
  }
  const Rule& getEmptyAlternative(SylvanEventCode code) const;

  const EventKinds& passed_;
};

/// Delegates to the sub rule if that can begin with the event; ends otherwise.
class KR0_FRAMEWORK_API OptionalProcessor final : public FirstEventProcessor<OptionalProcessor> {
 public:
  /// @param passed gets the kinds that the sub rule begins with when it is passed over. Must outlive the
  ///        processor.
  explicit OptionalProcessor(EventKinds& passed);
  ~OptionalProcessor() override;
  std::string name() const override;

 private:
  friend class FirstEventProcessor<OptionalProcessor>;

  ReturnType begin(SylvanEventCode code) {
    const Rule& subRule = *getRule().getSubRules().front();
    if (subRule.startsWith(code)) return ReturnType::delegate(subRule);
    passed_ |= subRule.getStart();
    return ReturnType::finish();
  }

  EventKinds& passed_;
};

}  // namespace modeling::sylvan::grammar
