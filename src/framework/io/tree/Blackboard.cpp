#include "kr/zero/KeptMemory.h"
#include "kr/zero/io/grammar/KRGrammar.h"

namespace kr::zero::io::grammar {

namespace {

constexpr std::uint32_t kNothingDropped = 2;

/// Reaches what a stack keeps its values in.
struct Inside : KRGrammar::Blackboard::Stack {
  static container_type& of(stack& values) noexcept { return values.*&Inside::c; }
};

}  // namespace

KRGrammar::Blackboard::Blackboard() { reset(); }
KRGrammar::Blackboard::Blackboard(Blackboard&&) noexcept = default;
KRGrammar::Blackboard& KRGrammar::Blackboard::operator=(Blackboard&&) noexcept = default;
KRGrammar::Blackboard::~Blackboard() = default;

void KRGrammar::Blackboard::reset() {
  clearAndGiveBack(Inside::of(states));
  clearAndGiveBack(Inside::of(metadataStates));
  metadataStates.push(kNothingDropped);
}

}  // namespace kr::zero::io::grammar
