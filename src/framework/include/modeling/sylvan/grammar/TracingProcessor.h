/// @file
/// A processor that puts its name on the failures that come out of it.
#pragma once

#include <exception>
#include <new>

#include "modeling/sylvan/grammar/Processor.h"

namespace modeling::sylvan::grammar {

/// Each event operation calls its hook. A std::exception that the hook throws leaves as a TracingException
/// with this processor's name; anything else that it throws leaves as it is.
class KR0_FRAMEWORK_API TracingProcessor : public Processor {
 public:
  TracingProcessor();
  TracingProcessor(const TracingProcessor&);
  TracingProcessor& operator=(const TracingProcessor&);
  ~TracingProcessor() override;

  ReturnType startDocument(const SylvanPrimitive& value) override;
  ReturnType endDocument() override;
  ReturnType startStruct() override;
  ReturnType endStruct() override;
  ReturnType startNamedEntry(const SylvanPrimitive& name) override;
  ReturnType endNamedEntry() override;
  ReturnType startSequence() override;
  ReturnType endSequence() override;
  ReturnType startMetadata() override;
  ReturnType endMetadata() override;
  ReturnType writePrimitive(const SylvanPrimitive& value) override;

 protected:
  /// What the event operations do with their hooks.
  template <class Hook>
  ReturnType guard(Hook hook) {
    try {
      return hook();
    } catch (const std::bad_alloc&) {
      throw;  // no matter of the grammar
    } catch (const std::exception& failure) {
      throwTraced(failure);
    }
  }

 private:
  [[noreturn]] void throwTraced(const std::exception& failure) const;
};

}  // namespace modeling::sylvan::grammar
