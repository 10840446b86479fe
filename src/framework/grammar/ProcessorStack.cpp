#include "modeling/sylvan/grammar/ProcessorStack.h"

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
    if (height_ < 2) throw;
    throw TracingException(traceBelowTop(), failure);
  }
}

// Ends because every rule that is delegated to is either done with the event or one step further inside, and
// no rule begins with itself.
void ProcessorStack::route(SylvanEventCode code, const SylvanPrimitive& primitive) {
  for (;;) {
    while (isTopDone()) release();
    if (height_ == 0) refuse(code, passed_);
    const ReturnType answer = send(*processors_[height_ - 1], code, primitive);
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
  // Of the two, the codes are the last to grow.
  if (height_ == codes_.size()) makeRoom();
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
  processors_[height_] = &processor;
  codes_[height_] = code;
  ++height_;
}

void ProcessorStack::makeRoom() {
  const std::size_t room = 2 * height_ + 16;
  processors_.resize(room);
  codes_.resize(room);
}

void ProcessorStack::release() {
  --height_;
  Processor& processor = *processors_[height_];
  const Code code = codes_[height_];
  if (code == Code::repetition) {
    auto& repetition = static_cast<RepetitionProcessor&>(processor);
    passed_ |= repetition.getRule().getSubRules().front()->getStart();
    repetitions_.release(repetition);
  } else if (code == Code::sequence) {
    sequences_.release(static_cast<SequenceProcessor&>(processor));
  }
}

// For most, this only saves asking: they would answer that they are finished. A sequence cannot tell by
// itself that its last sub rule has ended; the one at the bottom gets one more event, and refuses it.
bool ProcessorStack::isTopDone() const noexcept {
  if (height_ == 0) return false;
  switch (codes_[height_ - 1]) {
    case Code::terminal:
      return terminal_.hasBegun();
    case Code::choice:
      return choice_.hasBegun();
    case Code::optional:
      return optional_.hasBegun();
    case Code::sequence:
      return height_ > 1 && static_cast<const SequenceProcessor&>(*processors_[height_ - 1]).isExhausted();
    case Code::empty:
    case Code::action:
    case Code::repetition:
      break;
  }
  return false;
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
