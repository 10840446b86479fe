/// @file
/// Leads events through the processors of a grammar's rules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kr/zero/export.h"
#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/SylvanPrimitive.h"
#include "modeling/sylvan/grammar/GrammarException.h"
#include "modeling/sylvan/grammar/ProcessorPool.h"
#include "modeling/sylvan/grammar/RepetitionProcessor.h"
#include "modeling/sylvan/grammar/SequenceProcessor.h"
#include "modeling/sylvan/grammar/SingleProcessors.h"

namespace modeling::sylvan::grammar {

/// All of ProcessorManager that does not depend on the blackboard.
///
/// Every open rule has an entry on the stack, the start rule at the bottom. An event goes to the topmost
/// processor, which accepts it, or gives it up to a new processor on top of it, or ends and leaves it to the
/// one below. The depth of the events only costs memory, never stack of the thread, and a processor is
/// made only where the nesting is deeper than ever before.
class KR0_FRAMEWORK_API ProcessorStack {
 public:
  ProcessorStack(const ProcessorStack&) = delete;
  ProcessorStack& operator=(const ProcessorStack&) = delete;
  virtual ~ProcessorStack();

  /// Feeds an event that has no primitive.
  /// @throws TracingException if the grammar does not allow the event here; the text names the processors,
  ///         outermost first, one per line, and then what was expected and what came. Names that would
  ///         make it longer than 256 KiB are counted instead, those in the middle. What the grammar's acts
  ///         throw comes out like this as well, unless it is no std::exception. After any exception the
  ///         events that follow are no longer checked in a useful way.
  /// @throws GrammarException for a code that no event has.
  void process(SylvanEventCode code) { doProcess(code, noPrimitive_); }
  /// Feeds an event with its primitive; for kinds that have none it means nothing.
  void process(SylvanEventCode code, const SylvanPrimitive& primitive) { doProcess(code, primitive); }

 protected:
  /// How a processor got on the stack, and so where it goes when it leaves.
  enum class Code : std::uint8_t {
    empty = 0,
    terminal = 1,
    action = 2,
    choice = 3,
    optional = 4,
    repetition = 5,
    sequence = 6,
  };

  ProcessorStack();

  /// What process() does.
  virtual void doProcess(SylvanEventCode code, const SylvanPrimitive& primitive);

  /// Puts a processor for the rule on top; for an alias, one for the rule that it stands for. A rule of a
  /// kind that does not exist selects nothing.
  void select(const Rule& rule);

  /// Takes all processors off, in whatever state they are.
  void clear() noexcept;
  /// Puts a processor on top that is as if its rule had begun, without doing what that does.
  /// @param index of a sequence: how many sub rules it has handed out.
  void resume(const Rule& rule, std::size_t index);
  /// Throws a failure of the topmost processor together with the names of those below it.
  [[noreturn]] void throwTraced(const TracingException& failure) const;

  /// From the bottom up.
  std::span<Processor* const> getProcessors() const noexcept { return {processors_.data(), height_}; }
  /// Parallel to getProcessors().
  std::span<const Code> getCodes() const noexcept { return {codes_.data(), height_}; }
  /// Numbers of repetition and sequence processors that were made.
  std::size_t getRepetitionCount() const noexcept { return repetitions_.getCount(); }
  /// See getRepetitionCount().
  std::size_t getSequenceCount() const noexcept { return sequences_.getCount(); }

 private:
  /// The one processor for rules that act on the blackboard.
  virtual Processor& getActionProcessor() noexcept = 0;
  /// What it says to the event.
  virtual ReturnType askAction(SylvanEventCode code) = 0;
  /// Tells it that the rule it was given last has begun.
  virtual void resumeAction() = 0;

  void route(SylvanEventCode code);
  void dropEnded() noexcept;
  bool hasEnded(Code top) const noexcept;
  ReturnType askTop(SylvanEventCode code);
  template <class ProcessorClass>
  ReturnType ask(ProcessorClass& processor, SylvanEventCode code);
  ReturnType ask(Processor& action, SylvanEventCode code);
  ReturnType ask(RepetitionProcessor& repetition, SylvanEventCode code);
  ReturnType ask(SequenceProcessor& sequence, SylvanEventCode code);
  /// Puts a processor for the rule on top and gives what `visit` says of it. If the rule selects nothing, the
  /// one that is on top keeps the event.
  template <class Visit>
  std::optional<ReturnType> open(const Rule& outer, Visit visit);
  template <class ProcessorClass>
  ProcessorClass& push(ProcessorClass& processor, Code code, const Rule& rule);
  void makeRoom();
  [[noreturn]] void refuseBehindBottom(SylvanEventCode code) const;
  std::string traceBelowTop() const;

  /// Two stacks of the same height. Only the first `height_` entries mean anything, the rest is room.
  std::vector<Processor*> processors_;
  std::vector<Code> codes_;
  std::size_t height_ = 0;
  /// The kinds that rules passed over at the event in hand would have begun with.
  EventKinds passed_;
  SylvanPrimitive noPrimitive_;

  EmptyProcessor empty_;
  TerminalProcessor terminal_;
  ChoiceProcessor choice_;
  OptionalProcessor optional_;
  ProcessorPool<RepetitionProcessor> repetitions_;
  ProcessorPool<SequenceProcessor> sequences_;
};

}  // namespace modeling::sylvan::grammar
