/// @file
/// What serves a rule of a grammar while events come in.
#pragma once

#include <cstdint>
#include <string>

#include "kr/zero/export.h"
#include "modeling/sylvan/SylvanEventProcessor.h"
#include "modeling/sylvan/grammar/Rule.h"

namespace modeling::sylvan::grammar {

/// What a processor says to an event.
struct ReturnType {
  /// What becomes of the event.
  enum class Kind : std::uint8_t {
    accepted = 0,   ///< the event was taken; the next one comes here, too
    finished = 1,   ///< the rule ended before this event, which goes to the processor below
    delegated = 2,  ///< the event goes to a processor for `rule`
  };

  Kind kind;         ///< what becomes of the event
  const Rule* rule;  ///< for whom, where it is delegated; else null

  /// The event was taken.
  static constexpr ReturnType accept() noexcept { return {Kind::accepted, nullptr}; }
  /// The rule had ended before the event.
  static constexpr ReturnType finish() noexcept { return {Kind::finished, nullptr}; }
  /// The event goes to a processor for that rule, which must outlive the answer.
  static constexpr ReturnType delegate(const Rule& rule) noexcept { return {Kind::delegated, &rule}; }

  constexpr bool operator==(const ReturnType&) const noexcept = default;
};

/// Serves one rule at a time. The manager calls the event operations; what they do is in the hooks.
class KR0_FRAMEWORK_API Processor : public SylvanEventProcessor<ReturnType> {
 public:
  Processor();
  Processor(const Processor&);
  Processor& operator=(const Processor&);
  ~Processor() override;

  /// Serves `rule` from its beginning. The rule must be of the kind that this processor is for.
  virtual void init(const Rule& rule) = 0;
  /// For traces.
  virtual std::string name() const = 0;

 protected:
  ///@{
  /// What the processor does with the event of that name.
  virtual ReturnType onStartDocument(const SylvanPrimitive& value) = 0;
  virtual ReturnType onEndDocument() = 0;
  virtual ReturnType onStartStruct() = 0;
  virtual ReturnType onEndStruct() = 0;
  virtual ReturnType onStartNamedEntry(const SylvanPrimitive& name) = 0;
  virtual ReturnType onEndNamedEntry() = 0;
  virtual ReturnType onStartSequence() = 0;
  virtual ReturnType onEndSequence() = 0;
  virtual ReturnType onStartMetadata() = 0;
  virtual ReturnType onEndMetadata() = 0;
  virtual ReturnType onWritePrimitive(const SylvanPrimitive& value) = 0;
  ///@}
};

}  // namespace modeling::sylvan::grammar
