/// @file
/// The processors of which a manager has one each.
///
/// One object serves all rules of its kind that are open at a time, however they nest. That works because a
/// processor gets its first event at once when it is given a rule: `begun` is false only between these two
/// moments. Whenever an outer rule has the word again, the object has begun, whoever used it in between, and
/// "begun" is all that an outer rule needs to know.
#pragma once

#include <utility>

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

/// Accepts one event of its kind and ends at the next event.
class KR0_FRAMEWORK_API TerminalProcessor final : public UniformProcessor<TerminalProcessor> {
 public:
  /// @param passed the kinds that would have fitted before this rule at the event in hand; for messages.
  ///        Must outlive the processor.
  explicit TerminalProcessor(const EventKinds& passed);
  ~TerminalProcessor() override;
  void init(const Rule& rule) override {
    rule_ = &rule;
    begun_ = false;
  }
  std::string name() const override;
  /// Whether the rule has had its first event, so that the next one ends it.
  bool hasBegun() const noexcept { return begun_; }

 private:
  friend class UniformProcessor<TerminalProcessor>;

  ReturnType step(SylvanEventCode code) {
    if (begun_) return ReturnType::finish();
    if (!rule_->startsWith(code)) fail(code);
    begun_ = true;
    return ReturnType::accept();
  }

  [[noreturn]] void fail(SylvanEventCode code) const;

  const EventKinds& passed_;
  const Rule* rule_ = nullptr;
  bool begun_ = false;
};

/// Delegates to the first alternative that can begin with the event, else to the first that can be empty.
class KR0_FRAMEWORK_API ChoiceProcessor final : public UniformProcessor<ChoiceProcessor> {
 public:
  /// @param passed as for TerminalProcessor.
  explicit ChoiceProcessor(const EventKinds& passed);
  ~ChoiceProcessor() override;
  void init(const Rule& rule) override {
    rule_ = &rule;
    begun_ = false;
  }
  std::string name() const override;
  /// As for TerminalProcessor.
  bool hasBegun() const noexcept { return begun_; }

 private:
  friend class UniformProcessor<ChoiceProcessor>;

  ReturnType step(SylvanEventCode code) {
    if (begun_) return ReturnType::finish();
    const Rule& alternative = choose(code);
    begun_ = true;
    return ReturnType::delegate(alternative);
  }

  const Rule& choose(SylvanEventCode code) const {
    for (const Rule* alternative : rule_->getSubRules())
      if (alternative->startsWith(code)) return *alternative;
    return chooseEmpty(code);
  }

  const Rule& chooseEmpty(SylvanEventCode code) const;

  const EventKinds& passed_;
  const Rule* rule_ = nullptr;
  bool begun_ = false;
};

/// Delegates to the sub rule if that can begin with the event; ends otherwise.
class KR0_FRAMEWORK_API OptionalProcessor final : public UniformProcessor<OptionalProcessor> {
 public:
  /// @param passed gets the kinds that the sub rule begins with when it is passed over. Must outlive the
  ///        processor.
  explicit OptionalProcessor(EventKinds& passed);
  ~OptionalProcessor() override;
  void init(const Rule& rule) override {
    rule_ = &rule;
    begun_ = false;
  }
  std::string name() const override;
  /// As for TerminalProcessor.
  bool hasBegun() const noexcept { return begun_; }

 private:
  friend class UniformProcessor<OptionalProcessor>;

  ReturnType step(SylvanEventCode code) {
    if (std::exchange(begun_, true)) return ReturnType::finish();
    const Rule& subRule = *rule_->getSubRules().front();
    if (subRule.startsWith(code)) return ReturnType::delegate(subRule);
    passed_ |= subRule.getStart();
    return ReturnType::finish();
  }

  EventKinds& passed_;
  const Rule* rule_ = nullptr;
  bool begun_ = false;
};

}  // namespace modeling::sylvan::grammar
