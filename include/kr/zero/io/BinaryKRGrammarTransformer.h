/// @file
/// Leads tree events to their target and, beside it, through the grammar of a model's document.
#pragma once

#include <memory>
#include <vector>

#include "kr/zero/io/export.h"
#include "kr/zero/io/grammar/KRGrammar.h"
#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::io {

namespace tagged {
class UnitRoad;
}

/// Passes every event on to a target and feeds it to the grammar's rule "document", so that what the target
/// gets has been checked up to there.
///
///     BinaryKRGrammarTransformer transformer(&builder);
///     BinaryAssembler assembler(&transformer);
///
/// - Starts are checked before the target gets them; ends and primitives go to the target first.
/// - The target's startDocument gets the text "KR0", whatever primitive the document started with.
/// - Depending on the grammar's blackboard, starts or ends of metadata are dropped.
///
/// What the target and the grammar throw (GrammarException) comes out unchanged; whoever would have been
/// next does not get the event. The next startDocument begins afresh. Events before the first one raise
/// GrammarException and reach nobody.
///
/// May be used for one document after another; not from two threads at once.
class KR0_IO_API BinaryKRGrammarTransformer : public modeling::sylvan::SylvanEventProcessor<void> {
 public:
  /// @param target is not owned and must outlive this object's use.
  explicit BinaryKRGrammarTransformer(modeling::sylvan::SylvanEventProcessor<void>* target);
  /// A document that is under way goes on in the new object.
  BinaryKRGrammarTransformer(BinaryKRGrammarTransformer&& other) noexcept;
  BinaryKRGrammarTransformer& operator=(BinaryKRGrammarTransformer&& other) noexcept;
  BinaryKRGrammarTransformer(const BinaryKRGrammarTransformer&) = delete;
  BinaryKRGrammarTransformer& operator=(const BinaryKRGrammarTransformer&) = delete;
  ~BinaryKRGrammarTransformer() override;

  void startDocument(const modeling::sylvan::SylvanPrimitive& value) override;
  void endDocument() override;
  void startStruct() override;
  void endStruct() override;
  void startNamedEntry(const modeling::sylvan::SylvanPrimitive& name) override;
  void endNamedEntry() override;
  void startSequence() override;
  void endSequence() override;
  void startMetadata() override;
  void endMetadata() override;
  void writePrimitive(const modeling::sylvan::SylvanPrimitive& value) override;

 private:
  /// Looks inside, for tests.
  friend class BinaryKRGrammarTransformerInternals;
  /// Sends the target more at once, past the grammar.
  friend class tagged::UnitRoad;
  /// Knows when nothing more follows.
  friend class BinaryKRSylvanParser;
  using KRGrammar = grammar::KRGrammar;

  void reset();
  /// As if there had been no document.
  void giveBackMemory() noexcept;
  /// Brings the grammar to where these events of a document lead; the target is there already.
  void catchUp(const std::vector<modeling::sylvan::SylvanEventCode>& way);
  void bindBlackboard() noexcept;
  inline void requireDocument(modeling::sylvan::SylvanEventCode code) const;
  [[noreturn]] static void failOutside(modeling::sylvan::SylvanEventCode code);

  KRGrammar::Blackboard blackboard_;
  /// Empty until a document has started.
  std::unique_ptr<modeling::sylvan::grammar::ProcessorManager<KRGrammar::Blackboard>> manager_;
  modeling::sylvan::SylvanEventProcessor<void>* target_;
};

}  // namespace kr::zero::io
