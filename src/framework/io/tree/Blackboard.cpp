#include "kr/zero/io/grammar/KRGrammar.h"

namespace kr::zero::io::grammar {

namespace {

constexpr std::uint32_t kNothingDropped = 2;

void clear(KRGrammar::Blackboard::Stack& stack) {
  while (!stack.empty()) stack.pop();
}

}  // namespace

KRGrammar::Blackboard::Blackboard() { reset(); }
KRGrammar::Blackboard::Blackboard(Blackboard&&) noexcept = default;
KRGrammar::Blackboard& KRGrammar::Blackboard::operator=(Blackboard&&) noexcept = default;
KRGrammar::Blackboard::~Blackboard() = default;

void KRGrammar::Blackboard::reset() {
  clear(states);
  clear(metadataStates);
  metadataStates.push(kNothingDropped);
}

}  // namespace kr::zero::io::grammar
