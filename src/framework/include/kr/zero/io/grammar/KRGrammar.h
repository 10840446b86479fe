/// @file
/// The grammar of a model's document as tree events.
#pragma once

#include <cstdint>
#include <memory>
#include <stack>
#include <string>
#include <vector>

#include "kr/zero/export.h"
#include "modeling/sylvan/grammar/ProcessorManager.h"
#include "modeling/sylvan/grammar/RuleSet.h"

namespace modeling::sylvan::grammar {
class RuleTable;
}  // namespace modeling::sylvan::grammar

namespace kr::zero::io::grammar {

/// The rules, by name. Kinds of events are all that they know; names of entries and kinds of primitives are
/// looked at by those who build the model.
///
///     document  = StartDocument heading objects EndDocument
///     heading   = StartMetadata entry(primitive) entry(sequence of primitives) EndMetadata
///     objects   = StartSequence object* EndSequence
///     object    = objectMetadata struct
///     objectMetadata = StartMetadata entry(primitive) [entry(sequence of two primitives)] EndMetadata
///     struct    = StartStruct entry(value)* EndStruct
///     value     = primitive | StartSequence value* EndSequence | struct | object
///     entry(x)  = StartNamedEntry x EndNamedEntry
///
/// Made on first use; may then be used by many threads.
class KR0_FRAMEWORK_API KRGrammar {
 public:
  /// What the states of a Blackboard mean.
  enum State : std::uint32_t {
    document = 0,
    metadata = 1,
    sequence = 2,
    structure = 3,
    namedEntry = 4,
  };

  /// What the grammar tells of the place in the document.
  struct KR0_FRAMEWORK_API Blackboard {
    /// With the innermost on top.
    using Stack = std::stack<std::uint32_t, std::vector<std::uint32_t>>;

    Blackboard();
    Blackboard(Blackboard&&) noexcept;
    Blackboard& operator=(Blackboard&&) noexcept;
    ~Blackboard();

    /// As newly made; also after it was moved from. Keeps the memory of a document that was not deep.
    void reset();

    /// The constructs (State) that the last event was in, innermost on top. An event that starts or ends a
    /// construct counts as in it. Empty outside a document.
    Stack states;
    /// What becomes of metadata on its way to the builder of the model, innermost on top: 0 the starts are
    /// dropped, 1 the ends, 2 nothing. Holds one 2 at first, and this grammar leaves it at that.
    Stack metadataStates;
  };

  /// What checks events against one of the rules.
  using Manager = modeling::sylvan::grammar::ProcessorManager<Blackboard>;

  /// The grammar of the process.
  static const KRGrammar& getInstance();

  /// The rule of that name.
  /// @throws std::out_of_range if no rule has it.
  const modeling::sylvan::grammar::Rule& getRule(const std::string& name) const;

  /// Checks against the rule of that name, by a table. `blackboard` must outlive the result.
  /// @throws std::out_of_range if no rule has that name.
  std::unique_ptr<Manager> getProcessor(const std::string& ruleName, Blackboard& blackboard) const;

 private:
  KRGrammar();
  ~KRGrammar();

  modeling::sylvan::grammar::Grammar<Blackboard> rules_;
  std::unique_ptr<const modeling::sylvan::grammar::RuleTable> table_;
};

}  // namespace kr::zero::io::grammar
