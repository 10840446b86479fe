#include "modeling/sylvan/grammar/ProcessorStack.h"

#include <algorithm>
#include <cstddef>

#include "grammar/Unexpected.h"
#include "modeling/sylvan/grammar/GrammarException.h"

namespace modeling::sylvan::grammar {

namespace {

ReturnType send(Processor& processor, SylvanEventCode code, const SylvanPrimitive& primitive) {
  switch (code) {
    case SylvanEventCode::startDocument:
      return processor.startDocument(primitive);
    case SylvanEventCode::endDocument:
      return processor.endDocument();
    case SylvanEventCode::startStruct:
      return processor.startStruct();
    case SylvanEventCode::endStruct:
      return processor.endStruct();
    case SylvanEventCode::startNamedEntry:
      return processor.startNamedEntry(primitive);
    case SylvanEventCode::endNamedEntry:
      return processor.endNamedEntry();
    case SylvanEventCode::startSequence:
      return processor.startSequence();
    case SylvanEventCode::endSequence:
      return processor.endSequence();
    case SylvanEventCode::startMetadata:
      return processor.startMetadata();
    case SylvanEventCode::endMetadata:
      return processor.endMetadata();
    case SylvanEventCode::writePrimitive:
      return processor.writePrimitive(primitive);
  }
  throw GrammarException("no event has the kind " + std::to_string(static_cast<unsigned>(code)));
}

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

void ProcessorStack::doProcess(SylvanEventCode code, const SylvanPrimitive& primitive) {
  passed_ = {};
  try {
    route(code, primitive);
  } catch (const TracingException& failure) {
    if (processors_.size() < 2) throw;
    throw TracingException(traceBelowTop(), failure);
  }
}

// Ends because every rule that is delegated to is either done with the event or one step further inside, and
// no rule begins with itself.
void ProcessorStack::route(SylvanEventCode code, const SylvanPrimitive& primitive) {
  for (;;) {
    while (isTopExhausted()) release();
    if (processors_.empty()) refuse(code, passed_);
    const ReturnType answer = send(*processors_.back(), code, primitive);
    switch (answer.kind) {
      case ReturnType::Kind::accepted:
        return;
      case ReturnType::Kind::finished:
        release();
        break;
      case ReturnType::Kind::delegated:
        select(*answer.rule);
        break;
    }
  }
}

void ProcessorStack::select(const Rule& rule) {
  reserveEntry();
  selectKind(resolve(rule));
}

void ProcessorStack::selectKind(const Rule& rule) {
  switch (rule.kind()) {
    case RuleKind::empty:
      return push(empty_, Code::empty, rule);
    case RuleKind::terminal:
      return push(terminal_, Code::terminal, rule);
    case RuleKind::choice:
      return push(choice_, Code::choice, rule);
    case RuleKind::optional:
      return push(optional_, Code::optional, rule);
    case RuleKind::repetition:
      return push(repetitions_.take(), Code::repetition, rule);
    case RuleKind::sequence:
      return push(sequences_.take(), Code::sequence, rule);
    case RuleKind::action:
      return push(getActionProcessor(), Code::action, rule);
    case RuleKind::alias:
      break;
  }
  throw GrammarException("no processor serves rules of kind " +
                         std::to_string(static_cast<unsigned>(rule.kind())));
}

void ProcessorStack::push(Processor& processor, Code code, const Rule& rule) {
  processor.init(rule);
  processors_.push_back(&processor);
  codes_.push_back(code);
}

// Both stacks grow before anything is put on them, so they never differ in height.
void ProcessorStack::reserveEntry() {
  if (processors_.size() < std::min(processors_.capacity(), codes_.capacity())) return;
  const std::size_t room = 2 * processors_.size() + 16;
  processors_.reserve(room);
  codes_.reserve(room);
}

void ProcessorStack::release() {
  Processor& processor = *processors_.back();
  const Code code = codes_.back();
  processors_.pop_back();
  codes_.pop_back();
  if (code == Code::repetition) {
    auto& repetition = static_cast<RepetitionProcessor&>(processor);
    passed_ |= repetition.getRule().getSubRules().front()->getStart();
    repetitions_.release(repetition);
  } else if (code == Code::sequence) {
    sequences_.release(static_cast<SequenceProcessor&>(processor));
  }
}

// A sequence cannot tell by itself that its last sub rule has ended. Only the one at the bottom gets one more
// event, and refuses it.
bool ProcessorStack::isTopExhausted() const noexcept {
  return codes_.size() > 1 && codes_.back() == Code::sequence &&
         static_cast<const SequenceProcessor&>(*processors_.back()).isExhausted();
}

std::string ProcessorStack::traceBelowTop() const {
  constexpr std::size_t shownAtEachEnd = 16;
  const std::size_t count = processors_.size() - 1;
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
