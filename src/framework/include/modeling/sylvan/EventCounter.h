/// @file
/// An event processor that counts.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace modeling::sylvan {

/// Counts events of each kind.
///
///     EventCounter counter;
///     recorder.replay(counter);
///     report(counter.getCount(SylvanEventCode::writePrimitive));
class EventCounter : public SylvanEventProcessor<void> {
 public:
  /// How many events of that kind came.
  std::uint64_t getCount(SylvanEventCode code) const { return counts_[static_cast<std::size_t>(code)]; }
  /// Of all kinds together.
  std::uint64_t getTotal() const {
    std::uint64_t total = 0;
    for (const std::uint64_t count : counts_) total += count;
    return total;
  }
  /// Starts again from nothing.
  void reset() { counts_ = {}; }

  void startDocument(const SylvanPrimitive&) override { count(SylvanEventCode::startDocument); }
  void endDocument() override { count(SylvanEventCode::endDocument); }
  void startStruct() override { count(SylvanEventCode::startStruct); }
  void endStruct() override { count(SylvanEventCode::endStruct); }
  void startNamedEntry(const SylvanPrimitive&) override { count(SylvanEventCode::startNamedEntry); }
  void endNamedEntry() override { count(SylvanEventCode::endNamedEntry); }
  void startSequence() override { count(SylvanEventCode::startSequence); }
  void endSequence() override { count(SylvanEventCode::endSequence); }
  void startMetadata() override { count(SylvanEventCode::startMetadata); }
  void endMetadata() override { count(SylvanEventCode::endMetadata); }
  void writePrimitive(const SylvanPrimitive&) override { count(SylvanEventCode::writePrimitive); }

 private:
  void count(SylvanEventCode code) { ++counts_[static_cast<std::size_t>(code)]; }

  std::array<std::uint64_t, sylvanEventNames.size()> counts_{};
};

}  // namespace modeling::sylvan
