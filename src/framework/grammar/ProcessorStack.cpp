#include "modeling/sylvan/grammar/ProcessorStack.h"

#include <cstddef>

#include "grammar/Unexpected.h"
#include "modeling/sylvan/grammar/GrammarException.h"

namespace modeling::sylvan::grammar {

namespace {

const Rule& resolve(const Rule& rule) {
  const Rule* target = &rule;
  while (target->kind() == RuleKind::alias) target = target->getSubRules().front();
  return *target;
}

void appendNames(std::string& text, const std::vector<Processor*>& processors, std::size_t begin,
                 std::size_t end) {
  for (std::size_t i = begin; i < end; ++i)
    text.append(text.empty() ? "" : "\n").append(processors[i]->name());
}

}  // namespace

ProcessorStack::ProcessorStack()
    : noPrimitive_(nullptr), terminal_(passed_), choice_(passed_), optional_(passed_) {}

ProcessorStack::~ProcessorStack() = default;

void ProcessorStack::doProcess(SylvanEventCode code, const SylvanPrimitive&) {
  if (code > SylvanEventCode::writePrimitive)
    throw GrammarException("no event has the kind " + std::to_string(static_cast<unsigned>(code)));
  passed_ = {};
  try {
    route(code);
  } catch (const TracingException& failure) {
    if (height_ < 2) throw;
    throw TracingException(traceBelowTop(), failure);
  }
}

// Ends because every rule that is delegated to is either done with the event or one step further inside, and
// no rule begins with itself.
void ProcessorStack::route(SylvanEventCode code) {
  for (dropEnded();;) {
    std::optional<ReturnType> answer = askTop(code);
    while (answer && answer->kind == ReturnType::Kind::delegated)
      answer = open(*answer->rule, [&](auto& processor) { return ask(processor, code); });
    if (!answer) continue;
    if (answer->kind == ReturnType::Kind::accepted) return;
    --height_;
    dropEnded();
  }
}

// Saves asking those who would say that they are finished: most of what an event finds on top.
inline void ProcessorStack::dropEnded() noexcept {
  while (height_ > 0 && hasEnded(codes_[height_ - 1])) --height_;
}

inline bool ProcessorStack::hasEnded(Code top) const noexcept {
  return (top == Code::terminal && terminal_.hasBegun()) || (top == Code::choice && choice_.hasBegun()) ||
         (top == Code::optional && optional_.hasBegun());
}

// An event passes several processors, so they are called as what they are known to be, without virtual calls.
inline ReturnType ProcessorStack::askTop(SylvanEventCode code) {
  if (height_ == 0) refuse(code, passed_);
  Processor& top = *processors_[height_ - 1];
  switch (codes_[height_ - 1]) {
    case Code::empty:
      return ask(empty_, code);
    case Code::terminal:
      return ask(terminal_, code);
    case Code::action:
      return ask(top, code);
    case Code::choice:
      return ask(choice_, code);
    case Code::optional:
      return ask(optional_, code);
    case Code::repetition:
      return ask(static_cast<RepetitionProcessor&>(top), code);
    case Code::sequence:
      break;
  }
  return ask(static_cast<SequenceProcessor&>(top), code);
}

template <class ProcessorClass>
ReturnType ProcessorStack::ask(ProcessorClass& processor, SylvanEventCode code) {
  return processor.process(code);
}

inline ReturnType ProcessorStack::ask(Processor&, SylvanEventCode code) { return askAction(code); }

inline ReturnType ProcessorStack::ask(RepetitionProcessor& repetition, SylvanEventCode code) {
  const ReturnType answer = repetition.process(code);
  if (answer.kind == ReturnType::Kind::finished) {
    passed_ |= repetition.getRule().getSubRules().front()->getStart();
    repetitions_.release(repetition);
  }
  return answer;
}

// A sequence cannot tell by itself that its last sub rule has ended. The one at the bottom gets one more
// event, and refuses it.
inline ReturnType ProcessorStack::ask(SequenceProcessor& sequence, SylvanEventCode code) {
  if (!sequence.isExhausted() || height_ == 1) return sequence.process(code);
  sequences_.release(sequence);
  return ReturnType::finish();
}

void ProcessorStack::select(const Rule& rule) {
  open(rule, [](const Processor&) { return ReturnType::accept(); });
}

template <class Visit>
std::optional<ReturnType> ProcessorStack::open(const Rule& outer, Visit visit) {
  // Of the two, the codes are the last to grow.
  if (height_ == codes_.size()) makeRoom();
  const Rule& rule = resolve(outer);
  switch (rule.kind()) {
    case RuleKind::empty:
      return visit(push(empty_, Code::empty, rule));
    case RuleKind::terminal:
      return visit(push(terminal_, Code::terminal, rule));
    case RuleKind::choice:
      return visit(push(choice_, Code::choice, rule));
    case RuleKind::optional:
      return visit(push(optional_, Code::optional, rule));
    case RuleKind::repetition:
      return visit(push(repetitions_.take(), Code::repetition, rule));
    case RuleKind::sequence:
      return visit(push(sequences_.take(), Code::sequence, rule));
    case RuleKind::action:
      return visit(push(getActionProcessor(), Code::action, rule));
    case RuleKind::alias:
      break;
  }
  return std::nullopt;
}

template <class ProcessorClass>
ProcessorClass& ProcessorStack::push(ProcessorClass& processor, Code code, const Rule& rule) {
  processor.init(rule);
  processors_[height_] = &processor;
  codes_[height_] = code;
  ++height_;
  return processor;
}

void ProcessorStack::makeRoom() {
  const std::size_t room = 2 * height_ + 16;
  processors_.resize(room);
  codes_.resize(room);
}

std::string ProcessorStack::traceBelowTop() const {
  constexpr std::size_t shownAtEachEnd = 16;
  const std::size_t count = height_ - 1;
  std::string text;
  if (count <= 2 * shownAtEachEnd) {
    appendNames(text, processors_, 0, count);
    return text;
  }
  appendNames(text, processors_, 0, shownAtEachEnd);
  text.append("\n(").append(std::to_string(count - 2 * shownAtEachEnd)).append(" more)");
  appendNames(text, processors_, count - shownAtEachEnd, count);
  return text;
}

}  // namespace modeling::sylvan::grammar
