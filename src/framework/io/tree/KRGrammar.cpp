#include "kr/zero/io/grammar/KRGrammar.h"

#include "modeling/sylvan/grammar/TableManager.h"

namespace kr::zero::io::grammar {

using modeling::sylvan::SylvanEventCode;
using modeling::sylvan::grammar::Rule;
using modeling::sylvan::grammar::RuleTable;
using modeling::sylvan::grammar::TableManager;

namespace {

using Blackboard = KRGrammar::Blackboard;
using State = KRGrammar::State;

template <State state>
void enter(Blackboard& blackboard) {
  blackboard.states.push(state);
}

/// The owner of the blackboard may have reset it in between.
void leave(Blackboard& blackboard) {
  if (!blackboard.states.empty()) blackboard.states.pop();
}

class Writer {
 public:
  explicit Writer(modeling::sylvan::grammar::Grammar<Blackboard>& rules) : rules_(rules) {}

  void write() {
    // One sequence around all of it, so that what follows a document has somebody to refuse it.
    rules_.define("document", rules_.sequence({makeDocument()}));
    rules_.define("object", rules_.sequence({makeObjectMetadata(), rules_.alias("struct")}));
    rules_.define("struct", makeStruct());
    rules_.define("value", makeValue());
    rules_.finish();
  }

 private:
  const Rule& makeDocument() {
    const Rule& content = rules_.sequence({makeHeading(), makeSequence(rules_.alias("object"))});
    return makeBlock<State::document>(SylvanEventCode::startDocument, content, SylvanEventCode::endDocument);
  }

  const Rule& makeHeading() {
    const Rule& version = makeEntry(primitive_);
    const Rule& packages = makeEntry(makeSequence(primitive_));
    return makeMetadata(rules_.sequence({version, packages}));
  }

  const Rule& makeObjectMetadata() {
    const Rule& type = makeEntry(primitive_);
    const Rule& id = makeEntry(makeBlock<State::sequence>(SylvanEventCode::startSequence,
                                                          rules_.sequence({primitive_, primitive_}),
                                                          SylvanEventCode::endSequence));
    return makeMetadata(rules_.sequence({type, rules_.optional(id)}));
  }

  const Rule& makeStruct() {
    return makeBlock<State::structure>(SylvanEventCode::startStruct,
                                       rules_.repetition(makeEntry(rules_.alias("value"))),
                                       SylvanEventCode::endStruct);
  }

  const Rule& makeValue() {
    return rules_.choice(
        {primitive_, makeSequence(rules_.alias("value")), rules_.alias("struct"), rules_.alias("object")});
  }

  const Rule& makeMetadata(const Rule& content) {
    return makeBlock<State::metadata>(SylvanEventCode::startMetadata, content, SylvanEventCode::endMetadata);
  }
  const Rule& makeEntry(const Rule& content) {
    return makeBlock<State::namedEntry>(SylvanEventCode::startNamedEntry, content,
                                        SylvanEventCode::endNamedEntry);
  }
  const Rule& makeSequence(const Rule& item) {
    return makeBlock<State::sequence>(SylvanEventCode::startSequence, rules_.repetition(item),
                                      SylvanEventCode::endSequence);
  }

  /// A construct from its start to its end, with its state on the blackboard.
  template <State state>
  const Rule& makeBlock(SylvanEventCode start, const Rule& content, SylvanEventCode end) {
    return rules_.action(rules_.sequence({rules_.terminal(start), content, rules_.terminal(end)}),
                         enter<state>, leave);
  }

  modeling::sylvan::grammar::Grammar<Blackboard>& rules_;
  const Rule& primitive_ = rules_.terminal(SylvanEventCode::writePrimitive);
};

}  // namespace

KRGrammar::KRGrammar() {
  Writer(rules_).write();
  table_ = std::make_unique<const RuleTable>(std::initializer_list<const Rule*>{
      &getRule("document"), &getRule("object"), &getRule("struct"), &getRule("value")});
}

KRGrammar::~KRGrammar() = default;

const KRGrammar& KRGrammar::getInstance() {
  static const KRGrammar instance;
  return instance;
}

const Rule& KRGrammar::getRule(const std::string& name) const { return rules_.get(name); }

std::unique_ptr<KRGrammar::Manager> KRGrammar::getProcessor(const std::string& ruleName,
                                                            Blackboard& blackboard) const {
  return std::make_unique<TableManager<Blackboard>>(*table_, getRule(ruleName), blackboard);
}

}  // namespace kr::zero::io::grammar
