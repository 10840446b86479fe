/// @file
/// Internal: puts into words what stands in a document.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Item.h"
#include "kr/zero/inspect/Inspect.h"

namespace kr::zero::inspect {

class NoteMaker final : public Listener {
 public:
  explicit NoteMaker(const NoteListener& listener) : listener_(listener) {}

  void onItem(const Item& item) override;
  void onDamage(const Damage& damage) override;
  void onDrop() override { close(); }

  /// Bytes of which nothing is known.
  void tellUnread(std::size_t offset, std::size_t bytes, std::string_view text);
  /// What some bytes could be.
  void tellGuess(std::size_t offset, std::size_t bytes, std::string_view type, std::string_view text);

 private:
  /// Something that is open.
  struct Open {
    FrameKind frame;
    std::size_t pathSize;    // of the path around it
    std::size_t countsSize;  // of what is counted around it
    std::size_t items = 0;   // so far, in a sequence
    std::string_view name = {};
    std::string_view type = {};
  };

  void tell(Note note, const std::string& text);
  void open(const Item& item);
  void close();
  void enter(const Item& item);
  void begin(const Item& item);
  void end(const Item& item);
  void list(const Item& item);
  void value(const Item& item);
  void reference(const Item& item);
  std::string nameOf(const Item& item);
  std::size_t countOf(const void* property);
  bool isInSequence() const { return !open_.empty() && open_.back().frame == FrameKind::sequence; }

  const NoteListener& listener_;
  std::string path_;
  std::vector<Open> open_;
  std::vector<std::pair<const void*, std::size_t>> counts_;  // of the properties of what is open
  std::size_t roots_ = 0;
  std::size_t position_ = 0;  // of the next value of a collection that has no frame
};

/// The text form of a value, as models give it.
std::string textOf(const PropertyRecord* property, const ScannedValue& value);

}  // namespace kr::zero::inspect
