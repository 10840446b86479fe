#include "sylvan/UnitRoad.h"

#include <cstdint>
#include <string_view>

#include "kr/zero/io/TreeDocument.h"
#include "sylvan/LowestFirst.h"
#include "sylvan/TaggedFormat.h"

namespace kr::zero::io::tagged {

namespace {

/// Goes over bytes in memory as long as they are what is asked for.
class Scan {
 public:
  Scan(const char* next, const char* end) : next_(next), end_(end) {}

  const char* getNext() const { return next_; }
  bool isAtEnd() const { return next_ == end_; }
  /// Not at the end.
  std::uint8_t peek() const { return static_cast<std::uint8_t>(*next_); }

  bool skip(std::uint8_t tag) {
    if (isAtEnd() || peek() != tag) return false;
    ++next_;
    return true;
  }

  bool skipEntry(std::string_view name) {
    std::string_view found;
    return skip(tags::kStartNamedEntry) && take(found) && found == name;
  }

  bool take(std::string_view& text) {
    if (end_ - next_ >= 2 && peek() == tags::kShortString) {
      const auto size = static_cast<std::uint8_t>(next_[1]);
      return take(text, 2, size);
    }
    if (end_ - next_ < kLongStringBytes || peek() != tags::kLongString) return false;
    return take(text, kLongStringBytes, loadLowestFirst(next_ + 1));
  }

  bool take(TreeValue& value) {
    using Kind = TreeValue::Kind;
    const std::uint8_t tag = peek();
    if (tag == tags::kShortString || tag == tags::kLongString) {
      value.kind = Kind::text;
      return take(value.text);
    }
    if (isNonNegativeTag(tag)) return takeNumber(value, Kind::unsignedInteger, getMagnitudeWidthOfTag(tag));
    if (isNegativeTag(tag)) {
      if (!takeNumber(value, Kind::signedInteger, getMagnitudeWidthOfTag(tag))) return false;
      value.bits = 0 - value.bits;
      return true;
    }
    switch (tag) {
      case tags::kTrue:
        return takeTag(value, Kind::boolean, 1);
      case tags::kFalse:
        return takeTag(value, Kind::boolean, 0);
      case tags::kZero:
        return takeTag(value, Kind::signedInteger, 0);
      case tags::kReal:
        return takeNumber(value, Kind::real, kWidestNumber);
      case tags::kRealZero:
        return takeTag(value, Kind::real, 0);
      case tags::kNull:
        return takeTag(value, Kind::null, 0);
      default:
        return false;
    }
  }

 private:
  static constexpr std::ptrdiff_t kLongStringBytes = 1 + kWidestNumber;

  bool take(std::string_view& text, std::size_t behind, std::uint64_t size) {
    const char* const begin = next_ + behind;
    if (size > static_cast<std::uint64_t>(end_ - begin)) return false;
    text = {begin, static_cast<std::size_t>(size)};
    next_ = begin + size;
    return true;
  }

  bool takeTag(TreeValue& value, TreeValue::Kind kind, std::uint64_t bits) {
    ++next_;
    value.kind = kind;
    value.bits = bits;
    return true;
  }

  bool takeNumber(TreeValue& value, TreeValue::Kind kind, unsigned width) {
    // Eight bytes are loaded where fewer are meant; in a document more follow behind them.
    if (end_ - next_ < kLongStringBytes) return false;
    value.kind = kind;
    value.bits = loadLowestFirst(next_ + 1) & (~std::uint64_t{0} >> (64 - 8 * width));
    next_ += 1 + width;
    return true;
  }

  const char* next_;
  const char* end_;
};

/// An entry "id" with its two texts.
bool takeIdentity(Scan& scan, std::string_view& id1, std::string_view& id2) {
  return scan.skipEntry(tree::kIdEntry) && scan.skip(tags::kStartSequence) && scan.take(id1) &&
         scan.take(id2) && scan.skip(tags::kEndSequence) && scan.skip(tags::kEndNamedEntry);
}

/// An entry with one text.
bool takeTextEntry(Scan& scan, std::string_view name, std::string_view& text) {
  return scan.skipEntry(name) && scan.take(text) && scan.skip(tags::kEndNamedEntry);
}

/// Sends units for one stretch of memory.
class Sender {
 public:
  Sender(TreeUnitTarget& units, StreamBytes& bytes)
      : units_(units), bytes_(bytes), scan_(bytes.getNext(), bytes.getEnd()) {}

  /// Sends what fits and leaves the bytes behind it. Returns whether that was anything.
  bool send() {
    const char* const begin = scan_.getNext();
    const char* next = begin;
    while (!scan_.isAtEnd() && sendUnit()) next = scan_.getNext();
    bytes_.moveTo(next);
    return next != begin;
  }

 private:
  bool sendUnit() {
    const std::uint8_t tag = scan_.peek();
    if (tag == tags::kStartNamedEntry) return sendEntry();
    if (tag > tags::kEndNamedEntry) {
      TreeValue value;
      if (!scan_.take(value)) return false;
      arrive();
      return units_.addItem(value);
    }
    if (tag == tags::kStartStruct) return sendStruct();
    if (tag == tags::kStartMetadata) return sendObject();
    scan_.skip(tag);
    arrive();
    switch (tag) {
      case tags::kEndNamedEntry:
        return units_.closeEntry();
      case tags::kStartSequence:
        return units_.openList();
      case tags::kEndSequence:
        return units_.closeList();
      case tags::kEndStruct:
        return units_.closeStruct();
      default:
        return false;
    }
  }

  bool sendEntry() {
    std::string_view name;
    scan_.skip(tags::kStartNamedEntry);
    if (!scan_.take(name) || scan_.isAtEnd()) return false;
    if (scan_.peek() <= tags::kEndNamedEntry) {
      arrive();
      return units_.openEntry(name);
    }
    TreeValue value;
    if (!scan_.take(value)) return false;
    arrive();
    return scan_.skip(tags::kEndNamedEntry) && units_.addEntry(name, value);
  }

  bool sendObject() {
    std::string_view type;
    std::string_view id1;
    std::string_view id2;
    scan_.skip(tags::kStartMetadata);
    if (!takeTextEntry(scan_, tree::kTypeEntry, type)) return false;
    if (!scan_.skip(tags::kEndMetadata) && !(takeIdentity(scan_, id1, id2) && scan_.skip(tags::kEndMetadata)))
      return false;
    if (!scan_.skip(tags::kStartStruct)) return false;
    arrive();
    return units_.openObject(type, id1, id2);
  }

  /// A struct is a reference, or else begins a datatype value.
  bool sendStruct() {
    scan_.skip(tags::kStartStruct);
    const Scan behindStart = scan_;
    if (sendReference()) return true;
    scan_ = behindStart;
    arrive();
    return units_.openDatatypeValue();
  }

  bool sendReference() {
    std::string_view type;
    std::string_view id1;
    std::string_view id2;
    std::string_view qualifier;
    if (!takeTextEntry(scan_, tree::kTypeEntry, type) || !takeIdentity(scan_, id1, id2)) return false;
    const bool isQualified = !scan_.skip(tags::kEndStruct);
    if (isQualified &&
        !(takeTextEntry(scan_, tree::kQualifierEntry, qualifier) && scan_.skip(tags::kEndStruct)))
      return false;
    arrive();
    return units_.addReference(type, id1, id2, isQualified ? &qualifier : nullptr);
  }

  /// The next call may throw: what it stands for has taken the bytes up to here.
  void arrive() { bytes_.moveTo(scan_.getNext()); }

  TreeUnitTarget& units_;
  StreamBytes& bytes_;
  Scan scan_;
};

}  // namespace

std::size_t UnitRoad::send(StreamBytes& bytes) {
  if (!units_.takesUnits() || !Sender(units_, bytes).send()) return 1;
  const std::vector<modeling::sylvan::SylvanEventCode> way = units_.listWay();
  transformer_.catchUp(way);
  return way.size();
}

}  // namespace kr::zero::io::tagged
