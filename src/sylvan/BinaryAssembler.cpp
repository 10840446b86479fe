#include "kr/zero/io/BinaryAssembler.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "sylvan/LowestFirst.h"
#include "sylvan/SentPrimitives.h"
#include "sylvan/StreamBytes.h"
#include "sylvan/TaggedFormat.h"
#include "sylvan/UnitRoad.h"
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

// The longest item that is read without a look at how many bytes are left: two tags, a length, a string of
// few bytes. A number is shorter, even where more bytes are fetched than it has.
constexpr std::ptrdiff_t kReadyItemBytes = 3 + (tagged::SentPrimitives::kFewBytes - 1);

}  // namespace

BinaryAssembler::BinaryAssembler(SylvanEventProcessor<void>* processor)
    : processor_(processor),
      bytes_(std::make_unique<tagged::StreamBytes>()),
      primitives_(std::make_unique<tagged::SentPrimitives>()) {}

BinaryAssembler::~BinaryAssembler() = default;

template <class SourceType, class Input>
void BinaryAssembler::readFrom(Input& input, const char* failure) {
  struct Ending {
    BinaryAssembler& assembler;
    ~Ending() { assembler.close(); }
  };
  forget();
  try {
    source_ = std::make_unique<SourceType>(input);
  } catch (const Error<kr0::io::CorruptInput>&) {
    bytes_->forget(failure);
    throw;
  }
  const Ending ending{*this};
  bytes_->attach(*source_, std::is_same_v<SourceType, StreamSource>);
  assembleDocument();
}

void BinaryAssembler::forget() noexcept {
  bytes_->forget();
  ended_ = false;
}

void BinaryAssembler::close() noexcept {
  bytes_->finish();
  source_.reset();
  primitives_->giveBackMemory();
}

void BinaryAssembler::visitFile(const ustring& path) { readFrom<FileSource>(path, "File cannot be opened"); }
void BinaryAssembler::visitStream(std::istream& stream) {
  readFrom<StreamSource>(stream, "Stream has failed before");
}
void BinaryAssembler::visitString(const std::string& string) {
  readFrom<StringSource>(string, "String cannot be read");
}

// What is refused must not be told as the document before was: with its offset, its failure and its end.
void BinaryAssembler::visitUString(const ustring&) {
  forget();
  errors::raise<kr0::io::UstringNotSupported>(errors::ustringNotSupported());
}
void BinaryAssembler::visitIntermediateFormat(const void*) {
  forget();
  errors::raise<kr0::io::IntermediateFormatNotSupported>(errors::intermediateFormatNotSupported());
}
// There is no message of its own for these.
void BinaryAssembler::visitLittleEndianByteSequence(const std::vector<unsigned char>&) {
  forget();
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

void BinaryAssembler::assemble() {
  itemsBeforeUnits_ = 0;
  for (;;) {
    assembleUnits();
    if (bytes_->isShared())
      assembleReadyItems<true>();
    else
      assembleReadyItems<false>();
    if (isStreamEmpty()) return;
    if (itemsBeforeUnits_ != 0) --itemsBeforeUnits_;
    const unsigned char tag = getNextByte();
    if (tag == tags::kEndDocument) {
      ended_ = true;
      return send([this] { processor_->endDocument(); });
    }
    assembleItem(tag);
  }
}

// Going on with events costs as much as some of them, the more the deeper the document is. So as many are
// sent before units are tried again, or a document could choose that it always costs so much.
void BinaryAssembler::assembleUnits() {
  if (units_ == nullptr || !littleEndian_)
    itemsBeforeUnits_ = ~std::size_t{0};
  else if (itemsBeforeUnits_ == 0)
    itemsBeforeUnits_ = units_->send(*bytes_);
}

// Where an item lies in memory as a whole, nothing can be missing and no byte needs a look at how many are
// left. Stops before an item that does not, and before a rare or a wrong one: those are assembleItem()'s.
// The tags are tested one by one, the most frequent first: that is foreseen better than a jump through a
// table, which compilers make of more tests than these. No function is called but the target's and what is
// inlined: on some processors a call costs as much as all the rest of an item.
template <bool isShared>
void BinaryAssembler::assembleReadyItems() {
  SylvanEventProcessor<void>& target = *processor_;
  tagged::StreamBytes& bytes = *bytes_;
  const char* next = bytes.getNext();
  const char* end = bytes.getEnd();
  // The target may ask for the offset, or throw: before each event it is said how far the items were taken.
  const auto send = [&](const auto& event) {
    bytes.moveTo(next);
    if constexpr (isShared) bytes.release();
    event();
    if (!isShared || !bytes.resume()) return;
    next = bytes.getNext();
    end = bytes.getEnd();
  };
  for (; end - next >= kReadyItemBytes && itemsBeforeUnits_ != 0; --itemsBeforeUnits_) {
    const auto tag = static_cast<unsigned char>(*next);
    if (tag == tags::kStartNamedEntry) {
      const SylvanPrimitive* const name = decodeReady(++next);
      if (name == nullptr) return;
      send([&] { target.startNamedEntry(*name); });
    } else if (tag > tags::kEndNamedEntry) {
      const SylvanPrimitive* const value = decodeReady(next);
      if (value == nullptr) return;
      send([&] { target.writePrimitive(*value); });
    } else {
      ++next;
      if (tag == tags::kEndNamedEntry)
        send([&] { target.endNamedEntry(); });
      else if (tag == tags::kStartSequence)
        send([&] { target.startSequence(); });
      else if (tag == tags::kEndSequence)
        send([&] { target.endSequence(); });
      else if (tag == tags::kStartStruct)
        send([&] { target.startStruct(); });
      else if (tag == tags::kEndStruct)
        send([&] { target.endStruct(); });
      else
        return;
    }
  }
}

// Returns null for a primitive that is rare or none at all.
inline const SylvanPrimitive* BinaryAssembler::decodeReady(const char*& next) {
  const auto tag = static_cast<unsigned char>(*next++);
  if (tag == tags::kShortString) {
    const auto size = static_cast<unsigned char>(*next++);
    const SylvanPrimitive* const text = primitives_->overwrite(next, size);
    if (text != nullptr) next += size;
    return text;
  }
  if (tag == tags::kZero) return &kZero;
  const bool isNegative = tagged::isNegativeTag(tag);
  if (isNegative || tagged::isNonNegativeTag(tag)) {
    if (!littleEndian_) return nullptr;
    const unsigned width = tagged::getMagnitudeWidthOfTag(tag);
    const std::uint64_t magnitude = tagged::loadLowestFirst(next) & (~std::uint64_t{0} >> (64 - 8 * width));
    next += width;
    return isNegative ? &primitives_->set(static_cast<std::int64_t>(0 - magnitude))
                      : &primitives_->set(magnitude);
  }
  if (tag == tags::kTrue) return &kTrue;
  if (tag == tags::kFalse) return &kFalse;
  if (tag == tags::kReal && littleEndian_) {
    const char* const number = next;
    next += tagged::kWidestNumber;
    return &primitives_->set(std::bit_cast<double>(tagged::loadLowestFirst(number)));
  }
  if (tag == tags::kRealZero) return &kRealZero;
  if (tag == tags::kNull) return &kNull;
  return nullptr;
}

void BinaryAssembler::assembleItem(unsigned char tag) {
  switch (tag) {
    case tags::kStartNamedEntry:
      return send([this, &name = assembleNextPrimitive()] { processor_->startNamedEntry(name); });
    case tags::kEndNamedEntry:
      return send([this] { processor_->endNamedEntry(); });
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
      return send([this, &value = assemblePrimitive(tag)] { processor_->writePrimitive(value); });
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
      return primitives_->set(std::bit_cast<double>(assembleNumber(tagged::kWidestNumber)));
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
  if (isNegative) return primitives_->set(static_cast<std::int64_t>(0 - magnitude));
  return primitives_->set(magnitude);
}

// Reads `width` bytes of either order; the bytes of the number that are not there are zero.
std::uint64_t BinaryAssembler::assembleNumber(unsigned width) {
  std::array<std::uint8_t, tagged::kWidestNumber> bytes{};
  bytes_->take(bytes.data(), width, "Number cut short");
  if (!littleEndian_) std::reverse(bytes.begin(), bytes.begin() + width);
  return std::bit_cast<std::uint64_t>(values::swapUnlessLittleEndian(bytes));
}

// The length is a claim. Memory for it is reserved before a byte is read, so that an impossible one fails at
// once, but touched only as bytes arrive; close() gives it back, also where they do not.
const SylvanPrimitive& BinaryAssembler::assembleString(std::uint64_t size) {
  if (const char* const ready = bytes_->takeReady(size); ready != nullptr)
    return primitives_->set(ready, size);
  std::string& string = primitives_->getString();
  string.clear();
  string.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(size, SIZE_MAX)));
  bytes_->append(string, size, "String cut short");
  return primitives_->getStringPrimitive();
}

}  // namespace kr::zero::io
