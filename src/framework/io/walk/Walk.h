/// @file
/// Internal: goes through the objects of a model in document order.
#pragma once

#include <cstdint>
#include <vector>

#include "io/walk/Passes.h"
#include "kr/zero/Error.h"
#include "kr/zero/io/ParseOptions.h"
#include "model/Store.h"

namespace kr::zero::io::internal {

/// Decides what comes when: objects, passes, values, in the order of EventProcessor. How that is told to a
/// processor is the road's part:
///
///     CategoryMasks openObject(record, slot)     slot: the container's property; kNoSlot at the top
///     void openDatatype(record, slot)
///     void closeObject(), closeDatatype()
///     std::size_t writeValues(record, pass, at)  entries from `at` on; gives the first contained one, or
///     count
///
/// Keeps an explicit stack: no recursion follows the depth of a model.
template <class Road>
class Walk {
 public:
  static constexpr std::uint64_t kProgressElements = 4096;
  static constexpr std::size_t kNoSlot = BulkEventProcessor::kNoSlot;
  using ElementRecord = zero::internal::ElementRecord;

  /// @param progress may be empty.
  Walk(const zero::internal::ModelStore& store, Passes& passes, Road& road, const Progress& progress)
      : store_(store), passes_(passes), road_(road), progress_(progress) {}

  void run() {
    for (ElementRecord* root : store_.roots()) {
      openObject(root, kNoSlot);
      while (!frames_.empty())
        if (!advance()) close();
    }
  }

 private:
  /// An object or datatype value that is open.
  struct Frame {
    ElementRecord* record;
    const Pass* pass;       // null before the first pass
    std::size_t next;       // entry (or place in the order, where the pass is not ascending) to visit next
    std::size_t position;   // value of that entry to visit next, for values that open a frame
    std::size_t firstMask;  // index into masks_; they end where those of the next frame begin
    std::size_t nextPass;   // index into masks_ of the pass after the current one
  };

  void openObject(ElementRecord* record, std::size_t slot) {
    prefetchBehind(record);
    if (++elements_ % kProgressElements == 0 && progress_) tell();
    const CategoryMasks masks = road_.openObject(record, slot);
    const std::size_t first = masks_.size();
    for (const std::uint32_t mask : masks) masks_.push_back(mask);
    frames_.push_back({record, nullptr, 0, 0, first, first});
  }

  [[gnu::noinline]] void tell() {
    if (!progress_(elements_)) throw zero::Error(ErrorCode::cancelled, "writing was cancelled");
  }

  void openDatatype(ElementRecord* record, std::size_t slot) {
    // A datatype value goes by its owner's masks.
    const std::size_t first = frames_.back().firstMask;
    const std::size_t end = masks_.size();
    if (!hasAnything(record, first, end)) return road_.writeEmptyDatatype(record, slot);
    road_.openDatatype(record, slot);
    for (std::size_t i = first; i < end; ++i) masks_.push_back(masks_[i]);
    frames_.push_back({record, nullptr, 0, 0, end, end});
  }

  bool hasAnything(const ElementRecord* record, std::size_t firstMask, std::size_t endOfMasks) {
    for (std::size_t m = firstMask; m < endOfMasks; ++m) {
      const Pass& pass = passes_.get(record->use, masks_[m]);
      for (std::uint16_t i = 0; i < record->count; ++i)
        if (pass.forms[cells::slotOf(record->slots()[i])] != ValueForm::none) return true;
    }
    return false;
  }

  void close() {
    if (frames_.back().record->isDatatype())
      road_.closeDatatype();
    else
      road_.closeObject();
    masks_.resize(frames_.back().firstMask);
    frames_.pop_back();
  }

  /// Goes on in the innermost frame until it opens another or has nothing left.
  bool advance() {
    while (true) {
      Frame& frame = frames_.back();
      if (frame.pass == nullptr && !startPass(frame)) return false;
      if (frame.pass->ascending ? visitEntries(frame) : visitInOrder(frame)) return true;
      frame.pass = nullptr;
    }
  }

  bool startPass(Frame& frame) {
    if (frame.nextPass == masks_.size()) return false;
    frame.pass = &passes_.get(frame.record->use, masks_[frame.nextPass++]);
    frame.next = 0;
    frame.position = 0;
    return true;
  }

  // These return whether a frame was opened; `frame` then is no longer there, and its next entry is the one
  // that did it, which comes to an end when its values do.

  bool visitEntries(Frame& frame) {
    const ElementRecord* const record = frame.record;
    std::size_t at = frame.next;
    if (frame.position != 0) {
      if (visitContained(frame, at)) return true;
      ++at;
    }
    while ((at = road_.writeValues(record, *frame.pass, at)) < record->count) {
      frame.next = at;
      if (visitContained(frame, at)) return true;
      ++at;
    }
    return false;
  }

  bool visitInOrder(Frame& frame) {
    for (; frame.next < frame.pass->order.size(); ++frame.next) {
      const std::size_t slot = frame.pass->order[frame.next];
      const int found = frame.record->find(slot);
      if (found < 0) continue;
      const auto at = static_cast<std::size_t>(found);
      if (frame.pass->forms[slot] != ValueForm::contained)
        road_.writeValue(frame.record, *frame.pass, at);
      else if (visitContained(frame, at))
        return true;
    }
    return false;
  }

  bool visitContained(Frame& frame, std::size_t at) {
    const zero::internal::Values values = zero::internal::ModelStore::valuesAt(frame.record, at);
    const std::size_t slot = cells::slotOf(frame.record->slots()[at]);
    while (frame.position < values.size) {
      ElementRecord* const child = zero::internal::asElement(values.items[frame.position++]);
      const std::size_t depth = frames_.size();
      if (child->isDatatype())
        openDatatype(child, slot);  // may close at once
      else
        openObject(child, slot);
      if (frames_.size() != depth) return true;
    }
    frame.position = 0;
    return false;
  }

  // Elements mostly stand in the order in which they were made. A record leads to its entries and cells, and
  // these to texts, which mostly stand one after the other: by the time that a record is opened, all of it
  // has been asked for.
  void prefetchBehind(const ElementRecord* record) const noexcept {
    constexpr std::uint32_t kRecord = 6;
    constexpr std::uint32_t kCells = 3;
    if (store_.recordCount() - record->index <= kRecord) return;
    __builtin_prefetch(store_.record(record->index + kRecord));
    const ElementRecord* const soon = store_.record(record->index + kCells);
    const ElementRecord* const next = store_.record(record->index + 1);
    if (next->count != 0) __builtin_prefetch(reinterpret_cast<const void*>(next->payloads[0]));
    constexpr std::size_t kLine = 64 / sizeof(cells::Cell);
    for (std::size_t at = 0; at <= soon->capacity; at += kLine) __builtin_prefetch(soon->payloads + at);
  }

  const zero::internal::ModelStore& store_;
  Passes& passes_;
  Road& road_;
  const Progress& progress_;
  std::uint64_t elements_ = 0;  // begun
  std::vector<Frame> frames_;
  std::vector<std::uint32_t> masks_;  // of all frames, one after the other
};

}  // namespace kr::zero::io::internal
