#include "kr/zero/io/BinaryFormatter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "sylvan/CopyFew.h"
#include "sylvan/GrammarChecker.h"
#include "sylvan/PutArea.h"
#include "sylvan/TaggedFormat.h"
#include "values/Endianness.h"

namespace kr::zero::io {

namespace tags = tagged::tags;

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

std::size_t putShortString(char* to, std::string_view string) {
  to[0] = static_cast<char>(tags::kShortString);
  to[1] = static_cast<char>(string.size());
  tagged::copyFew(to + 2, string.data(), string.size());
  return 2 + string.size();
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

void BinaryFormatter::visitFile(const ustring& path) { sink_ = std::make_unique<FileSink>(path); }

void BinaryFormatter::visitStream(std::ostream& stream) {
  sink_ = std::make_unique<StreamSink>(stream);
  stream_ = &stream;
}

void BinaryFormatter::visitString(std::string& string) {
  string.clear();
  sink_ = std::make_unique<StringSink>(string);
  string_ = &string;
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
  start(EventCode::startDocument, kInDocument, tags::kStartDocument);
  writeUint64(positiveType(tagged::kVersion), tagged::kVersion);
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

void BinaryFormatter::write(const SylvanPrimitive& value) {
  struct Encoder {
    BinaryFormatter& to;
    void operator()(bool content) const { to.writeByte(content ? tags::kTrue : tags::kFalse); }
    void operator()(std::nullptr_t) const { to.writeByte(tags::kNull); }
    void operator()(double content) const { to.writeReal(content); }
    void operator()(std::uint64_t content) const { to.writeUnsigned(content); }
    void operator()(std::int64_t content) const { to.writeSigned(content); }
    void operator()(const std::string& content) const { to.writeString(content); }
  };
  std::visit(Encoder{*this}, value);
}

void BinaryFormatter::writeReal(double value) {
  if (value == 0.0) return writeByte(tags::kRealZero);
  writeNumber(tags::kReal, std::bit_cast<std::uint64_t>(value), tagged::kWidestNumber);
}

void BinaryFormatter::writeUnsigned(std::uint64_t value) {
  writeUint64(value == 0 ? tags::kZero : positiveType(value), value);
}

void BinaryFormatter::writeSigned(std::int64_t value) {
  if (value >= 0) return writeUnsigned(static_cast<std::uint64_t>(value));
  // Negation of the unsigned value also works for the lowest one.
  const std::uint64_t magnitude = 0 - static_cast<std::uint64_t>(value);
  writeUint64(negativeType(magnitude), magnitude);
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

std::uint8_t BinaryFormatter::positiveType(std::uint64_t magnitude) const {
  return static_cast<std::uint8_t>(tags::kNonNegative + tagged::getMagnitudeWidth(magnitude) - 1);
}

std::uint8_t BinaryFormatter::negativeType(std::uint64_t magnitude) const {
  return static_cast<std::uint8_t>(tags::kNegative + tagged::getMagnitudeWidth(magnitude) - 1);
}

// A tag and as many bytes as the magnitude has, lowest first: none for 0.
void BinaryFormatter::writeUint64(std::uint8_t tag, std::uint64_t magnitude) {
  writeNumber(tag, magnitude, tagged::getMagnitudeWidth(magnitude));
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

// The sinks are known, and so is what a byte written through them does. To a string it is appended.
void BinaryFormatter::writeBytes(const char* bytes, std::size_t count) {
  if (string_ != nullptr)
    string_->append(bytes, count);
  else if (stream_ == nullptr || !tagged::PutArea::write(*stream_, bytes, count))
    writeThroughSink(bytes, count);
}

// In pieces, so that a long string does not stand in memory twice.
void BinaryFormatter::writeThroughSink(const char* bytes, std::size_t count) {
  for (std::size_t piece; count != 0; bytes += piece, count -= piece) {
    piece = std::min(count, kPieceBytes);
    scratch_.assign(bytes, piece);
    sink_->write(scratch_);
  }
}

}  // namespace kr::zero::io
