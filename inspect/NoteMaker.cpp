#include "NoteMaker.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>

#include "Stop.h"
#include "fl/i18n/utf8.h"

namespace kr::zero::inspect {

namespace {

std::string realText(double number) {
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number > 0 ? "INF" : "-INF";
  std::array<char, 32> digits;
  std::string text(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

/// Bytes that are no text, with "\\xe9" in place of those that are not ASCII.
std::string readable(std::string_view text) {
  if (fl::i18n::isWellFormedUtf8(text)) return std::string(text);
  constexpr char kDigits[] = "0123456789abcdef";
  std::string shown;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80)
      shown += c;
    else
      shown.append("\\x").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 15u]);
  }
  return shown;
}

std::string counted(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// What is called by its number in a document, in the document's own words.
std::string identityText(const ScannedIdentity& identity) {
  return inQuotes(identity.first) + ", " + inQuotes(identity.second);
}

const char* groupText(FrameKind frame) {
  switch (frame) {
    case FrameKind::metadata:
      return "metadata";
    case FrameKind::sequence:
      return "list";
    case FrameKind::entry:
      return "entry";
    case FrameKind::document:
      return "document";
    default:
      return "struct";
  }
}

std::string rootName(std::string_view type) {
  std::string name(type.substr(type.find_last_of('.') + 1));
  if (!name.empty() && name[0] >= 'A' && name[0] <= 'Z') name[0] = static_cast<char>(name[0] - 'A' + 'a');
  return name;
}

bool isPath(FrameKind frame) { return frame == FrameKind::element || frame == FrameKind::datatype; }

/// A value in words: a text in quotes and not at full length, a literal with its number.
std::string valueText(const PropertyRecord* property, const ScannedValue& value, const std::string& text) {
  const bool isText = value.form == ScannedValue::Form::text;
  const bool isPlain = property != nullptr && property->getKind() == meta::PropertyKind::enumeration;
  if (isText && !isPlain) return inQuotes(text);
  const bool hasNumber = isPlain && !isText && value.form != ScannedValue::Form::null;
  return hasNumber ? text + " (" + std::to_string(static_cast<std::int64_t>(value.bits)) + ")" : text;
}

}  // namespace

std::string textOf(const PropertyRecord* property, const ScannedValue& value) {
  switch (value.form) {
    case ScannedValue::Form::null:
      return "null";
    case ScannedValue::Form::boolean:
      return value.bits != 0 ? "true" : "false";
    case ScannedValue::Form::natural:
      return std::to_string(value.bits);
    case ScannedValue::Form::real:
      return realText(std::bit_cast<double>(value.bits));
    case ScannedValue::Form::text:
      return readable(value.text);
    case ScannedValue::Form::integer:
      break;
  }
  const auto number = static_cast<std::int64_t>(value.bits);
  if (property != nullptr && property->getKind() == meta::PropertyKind::enumeration) {
    const auto* const type = static_cast<const meta::Enum::Impl*>(property->getType().get());
    if (const meta::EnumLiteral* const literal = type->findByNumber(number)) return literal->name;
  }
  return std::to_string(number);
}

// --- Where we are

void NoteMaker::tell(Note note, const std::string& text) {
  note.depth = open_.size();
  note.path = path_;
  note.text = text;
  listener_(note);
}

/// How many came in a property of what is open, before this one.
std::size_t NoteMaker::countOf(const void* property) {
  const std::size_t first = open_.empty() ? 0 : open_.back().countsSize;
  for (std::size_t i = counts_.size(); i-- > first;)
    if (counts_[i].first == property) return counts_[i].second++;
  counts_.emplace_back(property, 1);
  return 0;
}

void NoteMaker::open(const Item& item) {
  open_.push_back({item.frame, path_.size(), counts_.size(), 0, item.name, item.typeName});
}

void NoteMaker::close() {
  const Open& top = open_.back();
  if (isPath(top.frame)) path_.resize(top.pathSize);
  counts_.resize(top.countsSize);
  open_.pop_back();
}

/// Makes the path lead to what begins.
void NoteMaker::enter(const Item& item) {
  const bool isRoot = path_.empty();
  std::size_t position = 0;
  bool isNumbered = false;
  if (isRoot) {
    position = roots_++;
    isNumbered = position != 0;
  } else if (isInSequence()) {
    position = open_.back().items++;
    isNumbered = true;
  } else if (item.property != nullptr && item.property->isMany()) {
    position = countOf(item.property);
    isNumbered = true;
  }
  open(item);
  path_ += '/';
  path_ += isRoot ? rootName(item.typeName) : item.name.empty() ? "?" : std::string(item.name);
  if (isNumbered) path_ += "[" + std::to_string(position) + "]";
}

// --- Things

void NoteMaker::onItem(const Item& item) {
  const Note note{.kind = NoteKind::head, .offset = item.offset, .bytes = item.bytes};
  switch (item.kind) {
    case ItemKind::version:
      return tell(note, "version " + textOf(nullptr, item.value));
    case ItemKind::byteOrder:
      return tell(note, "byte order " + valueText(nullptr, item.value, textOf(nullptr, item.value)));
    case ItemKind::packageCount:
      return tell(note, counted(item.count, "package"));
    case ItemKind::package: {
      Note named = note;
      const std::string uri = textOf(nullptr, item.value);
      named.value = uri;
      return tell(named, "package " + inQuotes(uri));
    }
    case ItemKind::begin:
    case ItemKind::beginGroup:
      return begin(item);
    case ItemKind::end:
      return end(item);
    case ItemKind::collection:
      return list(item);
    case ItemKind::value:
      return value(item);
    case ItemKind::reference:
      return reference(item);
    case ItemKind::bareKey:
      return tell(
          {.kind = NoteKind::value, .offset = item.offset, .bytes = item.bytes, .property = item.name},
          std::string(item.name) + ", which has no content in documents");
    case ItemKind::behind:
      return tellUnread(item.offset, item.bytes, "behind the end of the document: nobody looks at it");
  }
}

void NoteMaker::begin(const Item& item) {
  Note note{.kind = NoteKind::begin,
            .offset = item.offset,
            .bytes = item.bytes,
            .type = item.typeName,
            .property = item.name,
            .isGuess = item.isWithoutHead || item.isAlone};
  std::string text;
  const std::size_t depth = open_.size();
  if (isPath(item.frame)) {
    enter(item);
    text = std::string(item.typeName) + " begins";
    if (item.identity.isThere) text += ", identity " + identityText(item.identity);
  } else {
    if (isInSequence()) ++open_.back().items;
    open(item);
    text = groupText(item.frame);
    const bool isNamed = item.frame == FrameKind::entry && !item.name.empty();
    text += isNamed ? " " + inQuotes(item.name) + " begins" : " begins";
  }
  if (item.isWithoutHead) text += "; its beginning is lost, and that it is one is a guess";
  if (item.isAlone) text += ", found among damaged bytes: a guess";
  note.depth = depth;
  note.path = path_;
  note.text = text;
  listener_(note);
}

void NoteMaker::end(const Item& item) {
  const Open top = open_.back();
  std::string text = "end of the ";
  text += isPath(top.frame) && !top.type.empty() ? std::string(top.type) : groupText(top.frame);
  Note note{.kind = NoteKind::end,
            .offset = item.offset,
            .bytes = item.bytes,
            .depth = open_.size() - 1,
            .path = path_,
            .type = top.type,
            .property = top.name,
            .text = text};
  listener_(note);
  close();
}

void NoteMaker::list(const Item& item) {
  position_ = 0;
  const bool isReferences = item.property->getKind() == meta::PropertyKind::association;
  tell({.kind = NoteKind::list, .offset = item.offset, .bytes = item.bytes, .property = item.name},
       std::string(item.name) + ": " + counted(item.count, isReferences ? "reference" : "value"));
}

/// The name of a property, and the position in its list.
std::string NoteMaker::nameOf(const Item& item) {
  std::string name(item.name);
  if (!item.isOneOfMany) return name;
  const std::size_t position = isInSequence() ? open_.back().items++ : position_++;
  return name + "[" + std::to_string(position) + "]";
}

void NoteMaker::value(const Item& item) {
  const std::string text = textOf(item.property, item.value);
  const bool isEmpty = item.value.form == ScannedValue::Form::null;
  const std::string name = nameOf(item);
  std::string words = isEmpty ? "is empty" : valueText(item.property, item.value, text);
  if (!name.empty()) words = name + (isEmpty ? " " : " = ") + words;
  tell({.kind = NoteKind::value,
        .offset = item.offset,
        .bytes = item.bytes,
        .property = item.name,
        .value = isEmpty ? std::string_view() : std::string_view(text)},
       words);
}

void NoteMaker::reference(const Item& item) {
  const std::string target = identityText(item.identity);
  std::string words = nameOf(item) + " -> " + std::string(item.typeName) + " " + target;
  if (item.document != nullptr) words += " in " + inQuotes(*item.document);
  tell({.kind = NoteKind::reference,
        .offset = item.offset,
        .bytes = item.bytes,
        .type = item.typeName,
        .property = item.name,
        .value = target},
       words);
}

// --- What is none

void NoteMaker::onDamage(const Damage& damage) {
  std::string text = damage.bytes == 0 ? "is missing: expected " : "makes no sense: expected ";
  text += damage.expected + ", found " + damage.found;
  if (damage.at != damage.offset) text += " at byte " + std::to_string(damage.at);
  if (damage.goesOn && damage.bytes != 0)
    text += "; it goes on at byte " + std::to_string(damage.offset + damage.bytes) + ", which is a guess";
  tell({.kind = NoteKind::damage, .offset = damage.offset, .bytes = damage.bytes}, text);
}

void NoteMaker::tellUnread(std::size_t offset, std::size_t bytes, std::string_view text) {
  tell({.kind = NoteKind::unread, .offset = offset, .bytes = bytes}, std::string(text));
}

void NoteMaker::tellGuess(std::size_t offset, std::size_t bytes, std::string_view type,
                          std::string_view text) {
  listener_({.kind = NoteKind::begin,
             .offset = offset,
             .bytes = bytes,
             .depth = open_.size(),
             .path = {},
             .type = type,
             .property = {},
             .value = {},
             .text = text,
             .isGuess = true});
}

}  // namespace kr::zero::inspect
