#include "modeling/sylvan/EventRecorder.h"

#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

namespace modeling::sylvan {

namespace {

// A record is a byte per event, the code in its low half. Events with a primitive have the kind of it in the
// high half, and the primitive behind: nothing for null, a byte for a boolean, eight for a number, eight
// for the length of a string and its bytes. Numbers stand as they do in memory: records do not leave it.
constexpr unsigned kKindShift = 4;
constexpr unsigned kCodeMask = 15;

std::uint8_t* growBy(std::vector<std::uint8_t>& record, std::size_t bytes) {
  const std::size_t size = record.size();
  record.resize(size + bytes);
  return record.data() + size;
}

template <class Plain>
void append(std::vector<std::uint8_t>& record, std::uint8_t head, const Plain& value) {
  std::uint8_t* const to = growBy(record, 1 + sizeof(Plain));
  *to = head;
  std::memcpy(to + 1, &value, sizeof(Plain));
}

void append(std::vector<std::uint8_t>& record, std::uint8_t head, const std::string& value) {
  const std::uint64_t size = value.size();
  std::uint8_t* const to = growBy(record, 1 + sizeof(size) + value.size());
  *to = head;
  std::memcpy(to + 1, &size, sizeof(size));
  std::memcpy(to + 1 + sizeof(size), value.data(), value.size());
}

/// Reads a record from its beginning.
class Player {
 public:
  Player(const std::vector<std::uint8_t>& record, SylvanEventProcessor<void>& target)
      : position_(record.data()), end_(position_ + record.size()), target_(target) {}

  void play() {
    while (position_ != end_) step(*position_++);
  }

 private:
  void step(unsigned head) {
    switch (static_cast<SylvanEventCode>(head & kCodeMask)) {
      case SylvanEventCode::startDocument:
        return target_.startDocument(readPrimitive(head >> kKindShift));
      case SylvanEventCode::endDocument:
        return target_.endDocument();
      case SylvanEventCode::startStruct:
        return target_.startStruct();
      case SylvanEventCode::endStruct:
        return target_.endStruct();
      case SylvanEventCode::startNamedEntry:
        return target_.startNamedEntry(readPrimitive(head >> kKindShift));
      case SylvanEventCode::endNamedEntry:
        return target_.endNamedEntry();
      case SylvanEventCode::startSequence:
        return target_.startSequence();
      case SylvanEventCode::endSequence:
        return target_.endSequence();
      case SylvanEventCode::startMetadata:
        return target_.startMetadata();
      case SylvanEventCode::endMetadata:
        return target_.endMetadata();
      case SylvanEventCode::writePrimitive:
        return target_.writePrimitive(readPrimitive(head >> kKindShift));
    }
  }

  const SylvanPrimitive& readPrimitive(unsigned kind) {
    switch (kind) {
      case 0:
        return primitive_ = read<bool>();
      case 1:
        return primitive_ = nullptr;
      case 2:
        return primitive_ = read<double>();
      case 3:
        return primitive_ = read<std::uint64_t>();
      case 4:
        return primitive_ = read<std::int64_t>();
      default:
        return readString();
    }
  }

  template <class Plain>
  Plain read() {
    Plain value;
    std::memcpy(&value, position_, sizeof(value));
    position_ += sizeof(value);
    return value;
  }

  // One string serves all, so that it need not find memory for each.
  const SylvanPrimitive& readString() {
    const auto size = static_cast<std::size_t>(read<std::uint64_t>());
    std::get<std::string>(string_).assign(reinterpret_cast<const char*>(position_), size);
    position_ += size;
    return string_;
  }

  const std::uint8_t* position_;
  const std::uint8_t* end_;
  SylvanEventProcessor<void>& target_;
  SylvanPrimitive primitive_;
  SylvanPrimitive string_{std::string()};
};

}  // namespace

EventRecorder::EventRecorder() = default;
EventRecorder::EventRecorder(const EventRecorder&) = default;
EventRecorder& EventRecorder::operator=(const EventRecorder&) = default;
EventRecorder::~EventRecorder() = default;

EventRecorder::EventRecorder(EventRecorder&& other) noexcept
    : SylvanEventProcessor<void>(other),
      record_(std::move(other.record_)),
      count_(std::exchange(other.count_, 0)) {}

EventRecorder& EventRecorder::operator=(EventRecorder&& other) noexcept {
  record_ = std::exchange(other.record_, {});
  count_ = std::exchange(other.count_, 0);
  return *this;
}

void EventRecorder::replay(SylvanEventProcessor<void>& target) const { Player(record_, target).play(); }

void EventRecorder::reset() {
  record_.clear();
  count_ = 0;
}

void EventRecorder::startDocument(const SylvanPrimitive& value) {
  record(SylvanEventCode::startDocument, value);
}
void EventRecorder::endDocument() { record(SylvanEventCode::endDocument); }
void EventRecorder::startStruct() { record(SylvanEventCode::startStruct); }
void EventRecorder::endStruct() { record(SylvanEventCode::endStruct); }
void EventRecorder::startNamedEntry(const SylvanPrimitive& name) {
  record(SylvanEventCode::startNamedEntry, name);
}
void EventRecorder::endNamedEntry() { record(SylvanEventCode::endNamedEntry); }
void EventRecorder::startSequence() { record(SylvanEventCode::startSequence); }
void EventRecorder::endSequence() { record(SylvanEventCode::endSequence); }
void EventRecorder::startMetadata() { record(SylvanEventCode::startMetadata); }
void EventRecorder::endMetadata() { record(SylvanEventCode::endMetadata); }
void EventRecorder::writePrimitive(const SylvanPrimitive& value) {
  record(SylvanEventCode::writePrimitive, value);
}

void EventRecorder::record(SylvanEventCode code) {
  record_.push_back(static_cast<std::uint8_t>(code));
  ++count_;
}

void EventRecorder::record(SylvanEventCode code, const SylvanPrimitive& value) {
  const auto head = static_cast<std::uint8_t>(value.index() << kKindShift | static_cast<unsigned>(code));
  std::visit(
      [&](const auto& content) {
        if constexpr (std::is_same_v<decltype(content), const std::nullptr_t&>)
          record_.push_back(head);
        else
          append(record_, head, content);
      },
      value);
  ++count_;
}

}  // namespace modeling::sylvan
