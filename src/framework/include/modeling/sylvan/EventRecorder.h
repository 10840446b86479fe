/// @file
/// An event processor that remembers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kr/zero/export.h"
#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace modeling::sylvan {

/// Records events and plays them again, exactly: kinds of primitives, bytes of strings and bits of reals.
///
///     EventRecorder recorder;
///     produce(recorder);
///     recorder.replay(consumer);
///
/// An event takes one byte, plus 1 for a boolean, 8 for a number, 8 and its bytes for a string. An event
/// that cannot be recorded (std::bad_alloc; std::bad_variant_access for a primitive without alternative)
/// leaves the record as it was. Two recorders are equal if they hold the same events; reals are compared
/// by their bits, so that a NaN equals itself and -0.0 differs from 0.0.
class KR0_FRAMEWORK_API EventRecorder : public SylvanEventProcessor<void> {
 public:
  EventRecorder();
  EventRecorder(const EventRecorder&);
  EventRecorder(EventRecorder&&) noexcept;
  EventRecorder& operator=(const EventRecorder&);
  EventRecorder& operator=(EventRecorder&&) noexcept;
  ~EventRecorder() override;

  /// Sends all events in the order in which they came. What the target throws ends the replay and leaves it.
  /// @param target must not be this recorder.
  void replay(SylvanEventProcessor<void>& target) const;

  /// Number of events.
  std::size_t getCount() const { return count_; }
  /// Bytes that the record takes.
  std::size_t getBytes() const { return record_.size(); }
  /// Forgets all events and keeps the memory.
  void reset();

  void startDocument(const SylvanPrimitive& value) override;
  void endDocument() override;
  void startStruct() override;
  void endStruct() override;
  void startNamedEntry(const SylvanPrimitive& name) override;
  void endNamedEntry() override;
  void startSequence() override;
  void endSequence() override;
  void startMetadata() override;
  void endMetadata() override;
  void writePrimitive(const SylvanPrimitive& value) override;

  /// Whether both hold the same events.
  friend bool operator==(const EventRecorder& a, const EventRecorder& b) { return a.record_ == b.record_; }

 private:
  void record(SylvanEventCode code);
  void record(SylvanEventCode code, const SylvanPrimitive& value);

  std::vector<std::uint8_t> record_;
  std::size_t count_ = 0;
};

}  // namespace modeling::sylvan
