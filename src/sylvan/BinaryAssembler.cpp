#include "kr/zero/io/BinaryAssembler.h"

#include <array>
#include <bit>
#include <cstring>

#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "sylvan/StreamBytes.h"
#include "sylvan/TaggedFormat.h"
#include "values/Endianness.h"

namespace kr::zero::io {

using modeling::sylvan::SylvanEventProcessor;
using modeling::sylvan::SylvanPrimitive;
namespace tags = tagged::tags;

namespace {

constinit const SylvanPrimitive kNull{nullptr};
constinit const SylvanPrimitive kFalse{false};
constinit const SylvanPrimitive kTrue{true};
constinit const SylvanPrimitive kZero{std::int64_t{0}};
constinit const SylvanPrimitive kRealZero{0.0};

constexpr const char* kWrongTag = "Byte is no tag that may stand here";

/// Puts a number into a primitive that is of its kind already.
template <class Number>
const SylvanPrimitive& assign(SylvanPrimitive& primitive, Number number) {
  *std::get_if<Number>(&primitive) = number;
  return primitive;
}

}  // namespace

BinaryAssembler::BinaryAssembler(SylvanEventProcessor<void>* processor)
    : processor_(processor), bytes_(std::make_unique<tagged::StreamBytes>()) {}

BinaryAssembler::~BinaryAssembler() = default;

// The source of the document before goes first: it may be the file that is to be read now.
template <class SourceType, class Input>
void BinaryAssembler::readFrom(Input& input, const char* failure) {
  source_.reset();
  bytes_->detach(failure);
  source_ = std::make_unique<SourceType>(input);
  bytes_->attach(*source_, std::is_same_v<SourceType, StreamSource>);
  try {
    assembleDocument();
  } catch (...) {
    bytes_->release();
    throw;
  }
}

void BinaryAssembler::visitFile(const ustring& path) { readFrom<FileSource>(path, "File cannot be opened"); }
void BinaryAssembler::visitStream(std::istream& stream) {
  readFrom<StreamSource>(stream, "Stream has failed before");
}
void BinaryAssembler::visitString(const std::string& string) {
  readFrom<StringSource>(string, "String cannot be read");
}

void BinaryAssembler::visitUString(const ustring&) {
  errors::raise<kr0::io::UstringNotSupported>(errors::ustringNotSupported());
}
void BinaryAssembler::visitIntermediateFormat(const void*) {
  errors::raise<kr0::io::IntermediateFormatNotSupported>(errors::intermediateFormatNotSupported());
}
// There is no message of its own for these.
void BinaryAssembler::visitLittleEndianByteSequence(const std::vector<unsigned char>&) {
  errors::raise<kr0::io::IntermediateFormatNotSupported>(errors::intermediateFormatNotSupported());
}

std::uint64_t BinaryAssembler::getByteOffset() const noexcept { return bytes_->getOffset(); }
const char* BinaryAssembler::getErrorDetail() const noexcept { return bytes_->getDetail(); }

bool BinaryAssembler::isStreamEmpty() const { return bytes_->isEmpty(); }
unsigned char BinaryAssembler::getNextByte() const { return bytes_->take("Item cut short"); }

// The target may look at the caller's stream, or read from it.
template <class Event>
void BinaryAssembler::send(const Event& event) {
  bytes_->release();
  event();
  bytes_->resume();
}

void BinaryAssembler::assembleDocument() {
  bytes_->take("Document is empty");
  send([this] { processor_->startDocument(kNull); });
  assembleVersion();
  assembleEndianess();
  assemble();
}

void BinaryAssembler::assembleVersion() { assembleNextPrimitive(); }

void BinaryAssembler::assembleEndianess() {
  const auto* const marker = std::get_if<std::string>(&assembleNextPrimitive());
  littleEndian_ = marker != nullptr && values::isLittleEndianMarker(*marker);
}

// Most items are entries and primitives: tested one by one, these are foreseen better than by a jump
// through a table.
inline void BinaryAssembler::assembleItem(unsigned char tag) {
  if (tag == tags::kStartNamedEntry)
    return send([this, &name = assembleNextPrimitive()] { processor_->startNamedEntry(name); });
  if (tag == tags::kEndNamedEntry) return send([this] { processor_->endNamedEntry(); });
  if (tag > tags::kEndNamedEntry)
    return send([this, &value = assemblePrimitive(tag)] { processor_->writePrimitive(value); });
  switch (tag) {
    case tags::kStartStruct:
      return send([this] { processor_->startStruct(); });
    case tags::kEndStruct:
      return send([this] { processor_->endStruct(); });
    case tags::kStartSequence:
      return send([this] { processor_->startSequence(); });
    case tags::kEndSequence:
      return send([this] { processor_->endSequence(); });
    case tags::kStartMetadata:
      return send([this] { processor_->startMetadata(); });
    case tags::kEndMetadata:
      return send([this] { processor_->endMetadata(); });
    default:
      bytes_->fail(kWrongTag);
  }
}

void BinaryAssembler::assemble() {
  while (!isStreamEmpty()) {
    const unsigned char tag = getNextByte();
    if (tag == tags::kEndDocument) return send([this] { processor_->endDocument(); });
    assembleItem(tag);
  }
}

const SylvanPrimitive& BinaryAssembler::assembleNextPrimitive() { return assemblePrimitive(getNextByte()); }

const SylvanPrimitive& BinaryAssembler::assemblePrimitive(const unsigned char& tag) {
  if (tag == tags::kShortString) return assembleString(bytes_->take("Length of a string cut short"));
  switch (tag) {
    case tags::kFalse:
      return kFalse;
    case tags::kTrue:
      return kTrue;
    case tags::kZero:
      return kZero;
    case tags::kReal:
      return assign(real_, std::bit_cast<double>(assembleNumber(tagged::kWidestNumber)));
    case tags::kRealZero:
      return kRealZero;
    case tags::kNull:
      return kNull;
    case tags::kLongString:
      return assembleString(assembleNumber(tagged::kWidestNumber));
    default:
      return assembleInteger(tag);
  }
}

const SylvanPrimitive& BinaryAssembler::assembleInteger(unsigned char tag) {
  const bool isNegative = tagged::isNegativeTag(tag);
  if (!isNegative && !tagged::isNonNegativeTag(tag)) bytes_->fail(kWrongTag);
  const std::uint64_t magnitude = assembleNumber(tagged::getMagnitudeWidthOfTag(tag));
  // Negation wraps: a magnitude above 2^63 gives what is left of it in 64 bits.
  if (isNegative) return assign(signed_, static_cast<std::int64_t>(0 - magnitude));
  return assign(unsigned_, magnitude);
}

// Reads `width` bytes of either order; the bytes of the number that are not there are zero.
std::uint64_t BinaryAssembler::assembleNumber(unsigned width) {
  std::array<std::uint8_t, tagged::kWidestNumber> bytes{};
  bytes_->take(bytes.data(), width, "Number cut short");
  if (!littleEndian_) std::reverse(bytes.begin(), bytes.begin() + width);
  return std::bit_cast<std::uint64_t>(values::swapUnlessLittleEndian(bytes));
}

// The length is a claim. Memory for it is reserved before a byte is read, so that an impossible one fails at
// once, but touched only as bytes arrive; and it is given back where they do not.
const SylvanPrimitive& BinaryAssembler::assembleString(std::uint64_t size) {
  std::string& string = *std::get_if<std::string>(&string_);
  if (const char* const ready = bytes_->takeReady(size); ready != nullptr) {
    string.clear();
    string.append(ready, size);
    return string_;
  }
  string.clear();
  string.reserve(size);
  try {
    bytes_->append(string, size, "String cut short");
  } catch (...) {
    std::string().swap(string);
    throw;
  }
  return string_;
}

}  // namespace kr::zero::io
