#include "modeling/sylvan/grammar/ProcessorStack.h"

#include <cstddef>

#include "modeling/sylvan/grammar/GrammarException.h"
#include "rules/Unexpected.h"

namespace modeling::sylvan::grammar {

namespace {

/// A document chooses how deep it nests, but not how long a message becomes.
constexpr std::size_t kMostTraceBytes = std::size_t{256} << 10;

/// An event that a rule can begin with; any, if it begins with none.
SylvanEventCode firstEventOf(const Rule& rule) {
  for (std::size_t i = 0; i < sylvanEventNames.size(); ++i)
    if (rule.startsWith(static_cast<SylvanEventCode>(i))) return static_cast<SylvanEventCode>(i);
  return SylvanEventCode::startDocument;
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
    throwTraced(failure);
  }
}

void ProcessorStack::throwTraced(const TracingException& failure) const {
  if (height_ < 2) throw failure;
  throw TracingException(traceBelowTop(), failure);
}

// The one at the bottom has left its place in the list, and nobody has taken it.
void ProcessorStack::refuseBehindBottom(SylvanEventCode code) const {
  try {
    refuse(code, passed_);
  } catch (const GrammarException& failure) {
    const bool hadBottom = !processors_.empty() && processors_.front() != nullptr;
    throw TracingException(hadBottom ? processors_.front()->name() : "No processor", failure);
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
  if (height_ == 0) refuseBehindBottom(code);
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
  const Rule& rule = outer.resolve();
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

void ProcessorStack::clear() noexcept {
  for (; height_ > 0; --height_) {
    if (codes_[height_ - 1] == Code::repetition)
      repetitions_.release(static_cast<RepetitionProcessor&>(*processors_[height_ - 1]));
    if (codes_[height_ - 1] == Code::sequence)
      sequences_.release(static_cast<SequenceProcessor&>(*processors_[height_ - 1]));
  }
}

void ProcessorStack::resume(const Rule& rule, std::size_t index) {
  select(rule);
  const SylvanEventCode code = firstEventOf(rule);
  switch (rule.kind()) {
    case RuleKind::action:
      return resumeAction();
    case RuleKind::sequence:
      while (index-- != 0) askTop(code);
      return;
    default:
      askTop(code);
  }
}

void ProcessorStack::makeRoom() {
  const std::size_t room = 2 * height_ + 16;
  processors_.resize(room);
  codes_.resize(room);
}

// Names from both ends as long as there is room; between them stands how many are left out.
std::string ProcessorStack::traceBelowTop() const {
  const std::size_t count = height_ - 1;
  std::size_t room = kMostTraceBytes;
  std::string outer;
  std::size_t begin = 0;
  for (; begin < count && outer.size() < kMostTraceBytes / 2; ++begin)
    outer.append(begin == 0 ? "" : "\n").append(processors_[begin]->name());
  room -= outer.size();
  std::size_t end = count;
  for (; end > begin; --end) {
    const std::size_t line = 1 + processors_[end - 1]->name().size();
    if (line > room) break;
    room -= line;
  }
  if (end > begin) outer.append("\n(").append(std::to_string(end - begin)).append(" more)");
  for (; end < count; ++end) outer.append("\n").append(processors_[end]->name());
  return outer;
}

}  // namespace modeling::sylvan::grammar
