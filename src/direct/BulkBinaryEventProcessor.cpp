// A framework may know the named operations only.
#if __has_include("kr/zero/io/BulkEventProcessor.h")

#include "direct/BulkBinaryEventProcessor.h"

#include <bit>
#include <cstring>

#include "direct/Numbers.h"
#include "kr/zero/KeptMemory.h"
#include "values/Endianness.h"
#include "values/ValueBytes.h"

namespace kr::zero::io {

namespace {

constexpr std::size_t kCopyBlock = 16;  // bytes that are copied at a time
constexpr std::size_t kCellSize = sizeof(cells::Cell);
constexpr std::size_t kMostDigits = 10;  // of 32 bits
constexpr std::string_view kLocal = "#";

constexpr std::size_t roundUp(std::size_t size) { return (size + kCopyBlock - 1) / kCopyBlock * kCopyBlock; }

/// Copies in whole blocks, one at least: the size of a short text decides no branch. That gained 9 ns of 150
/// for an element of the benchmark's library.
/// @param in can be read, and `out` written, up to a whole block.
std::uint8_t* copyBlocks(const void* in, std::size_t size, std::uint8_t* out) noexcept {
  const auto* from = static_cast<const std::uint8_t*>(in);
  std::memcpy(out, from, kCopyBlock);
  for (std::size_t at = kCopyBlock; at < size; at += kCopyBlock) std::memcpy(out + at, from + at, kCopyBlock);
  return out + size;
}

/// The text of a model, its length in front.
/// @param out has room for kMostNumberBytes and the text rounded up to a block.
std::uint8_t* putText(std::string_view text, std::uint8_t* out) noexcept {
  return copyBlocks(text.data(), text.size(), direct::encodeNumber(text.size(), out));
}
constexpr std::size_t roomOf(std::string_view text) {
  return direct::kMostNumberBytes + roundUp(text.size()) + kCopyBlock;
}

constexpr auto kDigitPairs = [] {
  std::array<std::array<std::uint8_t, 2>, 100> pairs{};
  for (std::size_t number = 0; number < pairs.size(); ++number)
    pairs[number] = {static_cast<std::uint8_t>('0' + number / 10),
                     static_cast<std::uint8_t>('0' + number % 10)};
  return pairs;
}();

/// A number that is not 0 as a text of decimal digits.
/// @param out has room for 1 + kMostDigits.
std::uint8_t* putDecimal(std::uint32_t number, std::uint8_t* out) noexcept {
  static constexpr std::array<std::uint32_t, 10> kPowersOf10{
      1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};
  // bits * log10(2), rounded down: the number of digits or one less.
  const std::size_t least = static_cast<std::size_t>(std::bit_width(number)) * 1233 >> 12;
  const std::size_t size = least + (number >= kPowersOf10[least] ? 1 : 0);
  *out++ = static_cast<std::uint8_t>(size);
  std::uint8_t* end = out + size;
  for (; number >= 10; number /= 100) std::memcpy(end -= 2, kDigitPairs[number % 100].data(), 2);
  if (size % 2 != 0) *out = static_cast<std::uint8_t>('0' + number);
  return out + size;
}

/// The low bytes of a number, lowest first.
/// @param out has room for a cell, which is written whole.
std::uint8_t* putNumber(cells::Cell number, std::uint8_t width, std::uint8_t* out) noexcept {
  const auto bytes =
      values::swapUnlessLittleEndian(std::bit_cast<std::array<std::uint8_t, kCellSize>>(number));
  std::memcpy(out, bytes.data(), bytes.size());
  return out + width;
}

}  // namespace

void BulkBinaryEventProcessor::Block::append(std::uint8_t byte) {
  bytes_.resize(roundUp(size_ + 1));
  bytes_[size_++] = byte;
}

void BulkBinaryEventProcessor::Block::append(std::string_view bytes) {
  for (const char byte : bytes) append(static_cast<std::uint8_t>(byte));
}

inline std::uint8_t* BulkBinaryEventProcessor::Block::copyTo(std::uint8_t* out) const noexcept {
  return copyBlocks(bytes_.data(), size_, out);
}

void BulkBinaryEventProcessor::giveBackMemory() noexcept {
  BinaryEventProcessor::giveBackMemory();
  innermost_ = nullptr;
  clearAndGiveBack(types_);
  clearAndGiveBack(typesByOrdinal_);
  clearAndGiveBack(around_);
}

// A registry may go between two documents and another come to stand at its address: each document starts
// over.
void BulkBinaryEventProcessor::startObjects(ValueSource& source) {
  source_ = &source;
  types_.clear();
  typesByOrdinal_.clear();
  around_.clear();
  innermost_ = nullptr;
  for (const meta::StructuredType type : source.getTypes()) typesByOrdinal_.push_back(&headsOf(type));
}

const BulkBinaryEventProcessor::TypeHeads& BulkBinaryEventProcessor::headsOf(meta::StructuredType type) {
  const std::size_t index = type->getIndex();
  if (index >= types_.size()) types_.resize(index + 1);
  if (types_[index] == nullptr) {
    auto made = std::make_unique<TypeHeads>();
    made->type = type;
    describe(*made);
    types_[index] = std::move(made);
  }
  return *types_[index];
}

void BulkBinaryEventProcessor::describe(TypeHeads& heads) const {
  for (const meta::Property property : heads.type->getAllProperties()) {
    Head& head = heads.heads.emplace_back();
    std::uint8_t* const end = direct::encodeNumber(property->getIdentifier(), head.bytes.data());
    *end = values::kPresentMark;
    head.keySize = static_cast<std::uint8_t>(end - head.bytes.data());
    head.presentSize = static_cast<std::uint8_t>(head.keySize + (property->isOptional() ? 1 : 0));
    const meta::StandardTypeInfo& info = property->getNumberInfo();
    const meta::PropertyKind kind = property->getKind();
    head.width = info.width;
    head.isBoolean = info.kind == meta::StandardKind::boolean;
    head.holdsText = kind == meta::PropertyKind::text || kind == meta::PropertyKind::dateTime;
  }
  values::ByteBuffer name;
  name.append(std::uint8_t{direct::kReserved});
  direct::appendText(name, heads.type->qualifiedName());
  for (Block* block : {&heads.element, &heads.identified, &heads.reference})
    block->append({reinterpret_cast<const char*>(name.data()), name.size()});
  heads.element.append(direct::kWithoutIdentity);
  heads.identified.append(direct::kWithIdentity);
  heads.reference.append(direct::kWithoutQualifier);
  for (Block* block : {&heads.identified, &heads.reference}) {
    block->append(static_cast<std::uint8_t>(kLocal.size()));
    block->append(kLocal);
  }
}

CategoryMasks BulkBinaryEventProcessor::openObject(std::size_t slot, meta::StructuredType type,
                                                   const ElementIdentity& identity) {
  const TypeHeads& heads = headsOf(type);
  const bool isLocal = identity.number != 0;
  const Block& header = isLocal ? heads.identified : heads.element;
  std::uint8_t* out = putHead(bytes().makeRoom(2 * kCopyBlock + header.room() + kMostDigits), slot);
  out = header.copyTo(out);
  if (isLocal) {
    out = putDecimal(identity.number, out);
  } else if (!identity.isNone()) {
    out[-1] = direct::kWithIdentity;
  }
  bytes().setEnd(out);
  if (!isLocal && !identity.isNone()) writeIdentity(identity);
  open(heads);
  return getCategoryMasks();
}

/// The key of a property of the innermost type, or the token of an element at the top.
std::uint8_t* BulkBinaryEventProcessor::putHead(std::uint8_t* out, std::size_t slot) const {
  if (slot == kNoSlot) return direct::encodeNumber(direct::kStartToken, out);
  const Head& head = innermost_->heads[slot];
  std::memcpy(out, head.bytes.data(), head.bytes.size());
  return out + head.keySize;
}

void BulkBinaryEventProcessor::openDatatype(std::size_t slot, meta::StructuredType type) {
  bytes().setEnd(putHead(bytes().makeRoom(kCopyBlock), slot));
  open(headsOf(type));
}

void BulkBinaryEventProcessor::open(const TypeHeads& heads) {
  around_.push_back(innermost_);
  innermost_ = &heads;
}

void BulkBinaryEventProcessor::closeObject() {
  innermost_ = around_.back();
  around_.pop_back();
  direct::appendNumber(bytes(), direct::kEndToken);
}

void BulkBinaryEventProcessor::closeDatatype() { closeObject(); }

std::size_t BulkBinaryEventProcessor::writeValues(const ValueRun& run, std::size_t from) {
  const Head* const heads = innermost_->heads.data();
  for (std::size_t at = from; at < run.size; ++at) {
    const cells::Entry entry = run.entries[at];
    const cells::Cell cell = run.cells[at];
    const std::size_t slot = cells::slotOf(entry);
    const Head& head = heads[slot];
    switch (run.forms[slot]) {
      case ValueForm::none:
        break;
      case ValueForm::verbatim:
        writeNumberValue(head, entry, cell);
        break;
      case ValueForm::text:
        writeTextValue(slot, head, entry, cell);
        break;
      case ValueForm::reference:
        if (cells::isEmpty(entry)) break;
        bytes().setEnd(putHead(bytes().makeRoom(kCopyBlock), slot));
        writeReference(slot, cell, (entry & cells::kUnresolved) != 0);
        break;
      case ValueForm::verbatims:
        writeNumbers(head, cells::itemsOf(entry, cell));
        break;
      case ValueForm::texts:
        writeTexts(slot, head, cells::itemsOf(entry, cell));
        break;
      case ValueForm::references:
        writeReferences(slot, head, cells::itemsOf(entry, cell));
        break;
      default:  // contained
        return at;
    }
  }
  return run.size;
}

inline void BulkBinaryEventProcessor::writeNumberValue(const Head& head, cells::Entry entry,
                                                       cells::Cell cell) {
  std::uint8_t* const out = bytes().makeRoom(head.bytes.size() + kCellSize);
  std::memcpy(out, head.bytes.data(), head.bytes.size());
  if (cells::isEmpty(entry)) {
    out[head.keySize] = values::kAbsentMark;
    return bytes().setEnd(out + head.keySize + 1);
  }
  if (head.isBoolean) cell = cell != 0 ? values::kTrueByte : values::kFalseByte;
  bytes().setEnd(putNumber(cell, head.width, out + head.presentSize));
}

inline void BulkBinaryEventProcessor::writeTextValue(std::size_t slot, const Head& head, cells::Entry entry,
                                                     cells::Cell cell) {
  const std::string_view text = cells::isEmpty(entry) ? std::string_view() : textOf(slot, head, cell);
  std::uint8_t* const out = bytes().makeRoom(head.bytes.size() + roomOf(text));
  std::memcpy(out, head.bytes.data(), head.bytes.size());
  if (cells::isEmpty(entry)) {
    out[head.keySize] = values::kAbsentMark;
    return bytes().setEnd(out + head.keySize + 1);
  }
  bytes().setEnd(putText(text, out + head.presentSize));
}

/// A text that can be read up to a whole block.
inline std::string_view BulkBinaryEventProcessor::textOf(std::size_t slot, const Head& head,
                                                         cells::Cell cell) {
  return head.holdsText ? cells::asText(cell)->view() : source_->formatText(slot, cell);
}

void BulkBinaryEventProcessor::writeCount(const Head& head, std::size_t count) {
  std::uint8_t* const out = bytes().makeRoom(head.bytes.size() + direct::kMostNumberBytes);
  std::memcpy(out, head.bytes.data(), head.bytes.size());
  bytes().setEnd(direct::encodeNumber(count, out + head.keySize));
}

void BulkBinaryEventProcessor::writeNumbers(const Head& head, std::span<const cells::Cell> items) {
  writeCount(head, items.size());
  std::uint8_t* out = bytes().makeRoom(items.size() * head.width + kCellSize);
  for (cells::Cell item : items) {
    if (head.isBoolean) item = item != 0 ? values::kTrueByte : values::kFalseByte;
    out = putNumber(item, head.width, out);
  }
  bytes().setEnd(out);
}

void BulkBinaryEventProcessor::writeTexts(std::size_t slot, const Head& head,
                                          std::span<const cells::Cell> items) {
  writeCount(head, items.size());
  for (const cells::Cell item : items) {
    const std::string_view text = textOf(slot, head, item);
    bytes().setEnd(putText(text, bytes().makeRoom(roomOf(text))));
  }
}

void BulkBinaryEventProcessor::writeReferences(std::size_t slot, const Head& head,
                                               std::span<const cells::Cell> items) {
  writeCount(head, items.size());
  for (const cells::Cell item : items)
    if (!cells::isUnresolved(item)) source_->prefetch(item);
  for (const cells::Cell item : items) writeReference(slot, item, cells::isUnresolved(item));
}

inline void BulkBinaryEventProcessor::writeReference(std::size_t slot, cells::Cell item, bool unresolved) {
  std::uint32_t type = 0;
  std::uint32_t number = 0;
  if (unresolved || !source_->findNumbered(item, type, number))
    return writeDescribed(source_->describe(slot, item, unresolved));
  const Block& reference = typesByOrdinal_[type]->reference;
  std::uint8_t* const out = bytes().makeRoom(reference.room() + 1 + kMostDigits);
  bytes().setEnd(putDecimal(number, reference.copyTo(out)));
}

[[gnu::noinline]] void BulkBinaryEventProcessor::writeDescribed(const WrittenReference& reference) {
  bytes().append(std::uint8_t{direct::kReserved});
  direct::appendText(bytes(), reference.targetType);
  bytes().append(reference.hasQualifier ? direct::kWithQualifier : direct::kWithoutQualifier);
  if (reference.hasQualifier) direct::appendText(bytes(), reference.qualifier);
  writeIdentity(reference.identity);
}

void BulkBinaryEventProcessor::writeIdentity(const ElementIdentity& identity) {
  if (identity.number == 0) {
    direct::appendText(bytes(), identity.id1);
    return direct::appendText(bytes(), identity.id2);
  }
  direct::appendText(bytes(), kLocal);
  bytes().setEnd(putDecimal(identity.number, bytes().makeRoom(1 + kMostDigits)));
}

}  // namespace kr::zero::io

#endif
