#include "kr/zero/io/BinaryFormatter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "sylvan/CopyFew.h"
#include "sylvan/FormatterInternals.h"
#include "sylvan/FormatterUnits.h"
#include "sylvan/PutArea.h"
#include "sylvan/TaggedFormat.h"
#include "values/Endianness.h"

namespace kr::zero::io {

namespace tags = tagged::tags;
using modeling::sylvan::SylvanPrimitive;
using tagged::FormatterInternals;

namespace {

// What can be open.
constexpr std::int32_t kInDocument = 0;
constexpr std::int32_t kInStruct = 1;
constexpr std::int32_t kInSequence = 2;
constexpr std::int32_t kInMetadata = 3;
constexpr std::int32_t kInNamedEntry = 4;

constexpr std::size_t kPieceBytes = 4096;

// As much as is put together at once.
constexpr std::array<char, 64> kRoom{};

// These return the number of bytes, and may use more of kRoom than that.
std::size_t putNumber(char* to, std::uint8_t tag, std::uint64_t number, std::size_t width) {
  using Number = std::array<std::uint8_t, tagged::kWidestNumber>;
  const auto lowestFirst = values::swapUnlessLittleEndian(std::bit_cast<Number>(number));
  to[0] = static_cast<char>(tag);
  std::memcpy(to + 1, lowestFirst.data(), lowestFirst.size());
  return 1 + width;
}

std::size_t putTag(char* to, std::uint8_t tag) {
  to[0] = static_cast<char>(tag);
  return 1;
}

// A tag and as many bytes as the magnitude has, lowest first.
std::size_t putMagnitude(char* to, std::uint8_t firstTag, std::uint64_t magnitude) {
  const unsigned width = tagged::getMagnitudeWidth(magnitude);
  return putNumber(to, static_cast<std::uint8_t>(firstTag + width - 1), magnitude, width);
}

std::size_t putUnsigned(char* to, std::uint64_t value) {
  return value == 0 ? putTag(to, tags::kZero) : putMagnitude(to, tags::kNonNegative, value);
}

// Negation of the unsigned value also works for the lowest one.
std::size_t putSigned(char* to, std::int64_t value) {
  const auto number = static_cast<std::uint64_t>(value);
  return value >= 0 ? putUnsigned(to, number) : putMagnitude(to, tags::kNegative, 0 - number);
}

std::size_t putReal(char* to, double value) {
  if (value == 0.0) return putTag(to, tags::kRealZero);
  return putNumber(to, tags::kReal, std::bit_cast<std::uint64_t>(value), tagged::kWidestNumber);
}

// Any primitive but a text or one without alternative.
std::size_t putNoText(char* to, const SylvanPrimitive& value) {
  if (const auto* const number = std::get_if<std::int64_t>(&value)) return putSigned(to, *number);
  if (const auto* const number = std::get_if<std::uint64_t>(&value)) return putUnsigned(to, *number);
  if (const auto* const real = std::get_if<double>(&value)) return putReal(to, *real);
  if (std::holds_alternative<std::nullptr_t>(value)) return putTag(to, tags::kNull);
  return putTag(to, *std::get_if<bool>(&value) ? tags::kTrue : tags::kFalse);
}

std::size_t putShortString(char* to, std::string_view string) {
  to[0] = static_cast<char>(tags::kShortString);
  to[1] = static_cast<char>(string.size());
  tagged::copyFew(to + 2, string.data(), string.size());
  return 2 + string.size();
}

std::size_t putStartOfEntry(char* to, std::string_view name) {
  to[0] = static_cast<char>(tags::kStartNamedEntry);
  return 1 + putShortString(to + 1, name);
}

// Bytes of an entry beside those of its texts.
constexpr std::size_t kEntryBytes = 6;
constexpr std::size_t kNumberEntryBytes = 4 + 1 + tagged::kWidestNumber;
constexpr std::size_t kPairEntryBytes = 10;

std::size_t putTextEntry(char* to, std::string_view name, std::string_view text) {
  char* next = to + putStartOfEntry(to, name);
  next += putShortString(next, text);
  *next++ = static_cast<char>(tags::kEndNamedEntry);
  return static_cast<std::size_t>(next - to);
}

std::size_t putPairEntry(char* to, std::string_view name, std::string_view first, std::string_view second) {
  char* next = to + putStartOfEntry(to, name);
  *next++ = static_cast<char>(tags::kStartSequence);
  next += putShortString(next, first);
  next += putShortString(next, second);
  *next++ = static_cast<char>(tags::kEndSequence);
  *next++ = static_cast<char>(tags::kEndNamedEntry);
  return static_cast<std::size_t>(next - to);
}

// Appends what put() puts down. Room of a fixed size is appended and what is left of it is cut off again:
// that takes no call, as appending an unknown number of bytes does. For a string that has room.
template <class Put>
inline void appendInPlace(std::string& string, const Put& put) {
  const std::size_t before = string.size();
  string.append(kRoom.data(), kRoom.size());
  string.resize(before + put(string.data() + before));
}

}  // namespace

BinaryFormatter::BinaryFormatter(const SerializationOutput& output) { output.visitOutput(*this); }
BinaryFormatter::~BinaryFormatter() = default;

void BinaryFormatter::visitFile(const ustring& path) {
  FormatterInternals::setSink(*this, std::make_unique<FileSink>(path));
}

void BinaryFormatter::visitStream(std::ostream& stream) {
  FormatterInternals::setSink(*this, std::make_unique<StreamSink>(stream));
  if (takesPieces_) stream_ = &stream;
}

void BinaryFormatter::visitString(std::string& string) {
  string.clear();
  FormatterInternals::setSink(*this, std::make_unique<StringSink>(string));
  if (takesPieces_) string_ = &string;
}

void BinaryFormatter::visitUString(ustring&) {
  errors::raise<kr0::io::UstringNotSupported>(errors::ustringNotSupported());
}
void BinaryFormatter::visitIntermediateFormat(void*) {
  errors::raise<kr0::io::IntermediateFormatNotSupported>(errors::intermediateFormatNotSupported());
}
// There is no message of its own for these.
void BinaryFormatter::visitLittleEndianByteSequence(std::vector<unsigned char>&) {
  errors::raise<kr0::io::IntermediateFormatNotSupported>(errors::intermediateFormatNotSupported());
}

void BinaryFormatter::reset() {
  formatterStates_.clear();
  if (!grammarChecker_) return;
  blackboard_.reset();
  grammarChecker_->restart();
}

void BinaryFormatter::startDocument(const SylvanPrimitive&) {
  hasBegun_ = true;
  start(EventCode::startDocument, kInDocument, tags::kStartDocument);
  writeNumber(tags::kNonNegative, tagged::kVersion, tagged::getMagnitudeWidth(tagged::kVersion));
  writeString(values::endiannessMarker(true));
}

void BinaryFormatter::endDocument() {
  writeByte(tags::kEndDocument);
  sink_->flush();
  leave(EventCode::endDocument);
}

void BinaryFormatter::startStruct() { start(EventCode::startStruct, kInStruct, tags::kStartStruct); }
void BinaryFormatter::endStruct() { end(EventCode::endStruct, tags::kEndStruct); }

void BinaryFormatter::startNamedEntry(const SylvanPrimitive& name) {
  start(EventCode::startNamedEntry, kInNamedEntry, tags::kStartNamedEntry);
  write(name);
}
void BinaryFormatter::endNamedEntry() { end(EventCode::endNamedEntry, tags::kEndNamedEntry); }

void BinaryFormatter::startSequence() { start(EventCode::startSequence, kInSequence, tags::kStartSequence); }
void BinaryFormatter::endSequence() { end(EventCode::endSequence, tags::kEndSequence); }
void BinaryFormatter::startMetadata() { start(EventCode::startMetadata, kInMetadata, tags::kStartMetadata); }
void BinaryFormatter::endMetadata() { end(EventCode::endMetadata, tags::kEndMetadata); }

void BinaryFormatter::writePrimitive(const SylvanPrimitive& value) {
  if (grammarChecker_) grammarChecker_->process(EventCode::writePrimitive, value);
  if (!isDirectlyInStruct()) write(value);
}

// The checker sees where a construct begins and ends, and not what it is called.
void BinaryFormatter::start(EventCode code, std::int32_t state, std::uint8_t tag) {
  if (grammarChecker_)
    grammarChecker_->process(code, nullptr);
  else
    formatterStates_.push_back(state);
  writeByte(tag);
}

void BinaryFormatter::end(EventCode code, std::uint8_t tag) {
  writeByte(tag);
  leave(code);
}

void BinaryFormatter::leave(EventCode code) {
  if (grammarChecker_) return grammarChecker_->process(code);
  if (!formatterStates_.empty()) formatterStates_.pop_back();
}

bool BinaryFormatter::isDirectlyInStruct() const {
  if (!grammarChecker_) return !formatterStates_.empty() && formatterStates_.back() == kInStruct;
  const auto& states = blackboard_.states;
  return !states.empty() && states.top() == grammar::KRGrammar::structure;
}

// Most are texts: that is foreseen better than a jump through a table.
void BinaryFormatter::write(const SylvanPrimitive& value) {
  if (const auto* const text = std::get_if<std::string>(&value)) return writeString(*text);
  if (value.valueless_by_exception()) throw std::bad_variant_access();
  const auto put = [&value](char* to) { return putNoText(to, value); };
  if (hasRoom()) return appendInPlace(*string_, put);
  std::array<char, 1 + tagged::kWidestNumber> bytes;
  writeBytes(bytes.data(), put(bytes.data()));
}

// Most strings are names and short texts: these are put together with their head.
void BinaryFormatter::writeString(std::string_view string) {
  if (2 + string.size() <= kRoom.size()) {
    const auto put = [string](char* to) { return putShortString(to, string); };
    if (hasRoom()) return appendInPlace(*string_, put);
    std::array<char, kRoom.size()> bytes;
    return writeBytes(bytes.data(), put(bytes.data()));
  }
  if (string.size() <= tagged::kLongestShortString)
    writeNumber(tags::kShortString, string.size(), 1);
  else
    writeNumber(tags::kLongString, string.size(), tagged::kWidestNumber);
  writeBytes(string.data(), string.size());
}

void BinaryFormatter::writeNumber(std::uint8_t tag, std::uint64_t number, std::size_t width) {
  const auto put = [=](char* to) { return putNumber(to, tag, number, width); };
  if (hasRoom()) return appendInPlace(*string_, put);
  std::array<char, 1 + tagged::kWidestNumber> bytes;
  writeBytes(bytes.data(), put(bytes.data()));
}

void BinaryFormatter::writeByte(std::uint8_t byte) {
  const char content = static_cast<char>(byte);
  if (hasRoom())
    string_->push_back(content);
  else
    writeBytes(&content, 1);
}

// Whether few bytes can be put together where they shall stand.
bool BinaryFormatter::hasRoom() const {
  return string_ != nullptr && string_->capacity() - string_->size() >= kRoom.size();
}

void BinaryFormatter::writeBytes(const char* bytes, std::size_t count) {
  if (string_ != nullptr)
    string_->append(bytes, count);
  else if (stream_ == nullptr || !tagged::PutArea::write(*stream_, bytes, count))
    writeThroughSink(bytes, count);
}

void BinaryFormatter::writeStartOfEntry(std::string_view name) {
  if (3 + name.size() <= kRoom.size() && hasRoom())
    return appendInPlace(*string_, [name](char* to) { return putStartOfEntry(to, name); });
  writeByte(tags::kStartNamedEntry);
  writeString(name);
}

// What an entry opens it closes itself, so it need not be noted as open.
void tagged::FormatterUnits::writeEntry(const SylvanPrimitive& name, const SylvanPrimitive& value) {
  const auto* const key = std::get_if<std::string>(&name);
  if (key == nullptr || !isAlone()) return events_.writeEntry(name, value);
  if (const auto* const text = std::get_if<std::string>(&value)) return writeTextEntry(*key, *text);
  bool fits = kNumberEntryBytes + key->size() <= kRoom.size() && formatter_.hasRoom();
  if (value.valueless_by_exception()) fits = false;
  if (fits)
    return appendInPlace(*formatter_.string_, [key, &value](char* to) {
      char* next = to + putStartOfEntry(to, *key);
      next += putNoText(next, value);
      next += putTag(next, tags::kEndNamedEntry);
      return static_cast<std::size_t>(next - to);
    });
  formatter_.writeStartOfEntry(*key);
  formatter_.write(value);
  formatter_.writeByte(tags::kEndNamedEntry);
}

void tagged::FormatterUnits::writeTextEntry(const SylvanPrimitive& name, std::string_view text) {
  const auto* const key = std::get_if<std::string>(&name);
  if (key == nullptr || !isAlone()) return events_.writeTextEntry(name, text);
  writeTextEntry(*key, text);
}

inline void tagged::FormatterUnits::writeTextEntry(const std::string& key, std::string_view text) {
  if (kEntryBytes + key.size() + text.size() <= kRoom.size() && formatter_.hasRoom())
    return appendInPlace(*formatter_.string_, [&key, text](char* to) { return putTextEntry(to, key, text); });
  formatter_.writeStartOfEntry(key);
  formatter_.writeString(text);
  formatter_.writeByte(tags::kEndNamedEntry);
}

void tagged::FormatterUnits::writePairEntry(const SylvanPrimitive& name, const SylvanPrimitive& first,
                                            const SylvanPrimitive& second) {
  const auto* const key = std::get_if<std::string>(&name);
  const auto* const one = std::get_if<std::string>(&first);
  const auto* const two = std::get_if<std::string>(&second);
  const bool areTexts = key != nullptr && one != nullptr && two != nullptr;
  const bool fits = areTexts && kPairEntryBytes + key->size() + one->size() + two->size() <= kRoom.size();
  if (!fits || !isAlone() || !formatter_.hasRoom()) return events_.writePairEntry(name, first, second);
  appendInPlace(*formatter_.string_,
                [key, one, two](char* to) { return putPairEntry(to, *key, *one, *two); });
}

void tagged::FormatterUnits::writePairStruct(const SylvanPrimitive& name, const SylvanPrimitive& value,
                                             const SylvanPrimitive& pairName, const SylvanPrimitive& first,
                                             const SylvanPrimitive& second) {
  std::array<std::string_view, 5> texts;
  std::size_t count = 0;
  std::size_t size = 2 + kEntryBytes + kPairEntryBytes;
  for (const SylvanPrimitive* const primitive : {&name, &value, &pairName, &first, &second})
    if (const auto* const text = std::get_if<std::string>(primitive); text != nullptr) {
      texts[count++] = *text;
      size += text->size();
    }
  if (count != texts.size() || size > kRoom.size() || !isAlone() || !formatter_.hasRoom())
    return events_.writePairStruct(name, value, pairName, first, second);
  appendInPlace(*formatter_.string_, [&texts](char* to) {
    char* next = to;
    *next++ = static_cast<char>(tags::kStartStruct);
    next += putTextEntry(next, texts[0], texts[1]);
    next += putPairEntry(next, texts[2], texts[3], texts[4]);
    *next++ = static_cast<char>(tags::kEndStruct);
    return static_cast<std::size_t>(next - to);
  });
}

// In pieces, so that a long string does not stand in memory twice.
void BinaryFormatter::writeThroughSink(const char* bytes, std::size_t count) {
  if (!takesPieces_) {
    for (; count != 0; ++bytes, --count) sink_->writeByte(static_cast<unsigned char>(*bytes));
    return;
  }
  while (count != 0) {
    const std::size_t piece = std::min(count, kPieceBytes);
    scratch_.assign(bytes, piece);
    sink_->write(scratch_);
    bytes += piece;
    count -= piece;
  }
}

}  // namespace kr::zero::io
