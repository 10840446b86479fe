#include "kr/zero/inspect/Inspect.h"

#include <exception>
#include <new>
#include <optional>

#include "DirectScan.h"
#include "NoteMaker.h"
#include "Resume.h"
#include "TaggedScan.h"

namespace kr::zero::inspect {

namespace {

/// What looks like the qualified name of a class.
bool isQualifiedName(std::string_view text) {
  bool hasDot = false;
  bool beginsPart = true;
  for (const char c : text) {
    const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || (c & 0x80) != 0;
    const bool isDigit = c >= '0' && c <= '9';
    if (c == '.' ? beginsPart : !isLetter && (beginsPart || !isDigit)) return false;
    hasDot |= c == '.';
    beginsPart = c == '.';
  }
  return hasDot && !beginsPart;
}

/// Reads the rest of a document of the direct format by a look at its form: heads of elements and references
/// begin with the number 0 and the name of a class.
class Guesser {
 public:
  Guesser(std::string_view bytes, NoteMaker& notes) : bytes_(bytes), notes_(notes) {}

  void readFrom(std::size_t at) {
    std::size_t unread = at;
    while (at < bytes_.size()) {
      const std::optional<std::string_view> name = nameAt(at);
      if (!name) {
        ++at;
        continue;
      }
      tellUnread(unread, at);
      const std::size_t bytes = 2 + name->size();
      notes_.tellGuess(at, bytes, *name,
                       "looks like the head of a " + std::string(*name) + ", or of a reference to one");
      unread = at += bytes;
    }
    tellUnread(unread, at);
  }

 private:
  static constexpr std::size_t kLongestName = 127;  // whose length takes one byte

  std::optional<std::string_view> nameAt(std::size_t at) const {
    if (bytes_[at] != 0 || bytes_.size() - at < 3) return std::nullopt;
    const auto size = static_cast<unsigned char>(bytes_[at + 1]);
    if (size > kLongestName || bytes_.size() - at - 2 <= size) return std::nullopt;
    const std::string_view name = bytes_.substr(at + 2, size);
    const char mark = bytes_[at + 2 + size];
    if ((mark != 1 && mark != 2) || !isQualifiedName(name)) return std::nullopt;
    return name;
  }
  void tellUnread(std::size_t from, std::size_t to) {
    if (from != to) notes_.tellUnread(from, to - from, "only the meta model tells what this is");
  }

  std::string_view bytes_;
  NoteMaker& notes_;
};

/// The head and the first element's own beginning are the same whatever the meta model is.
bool inspectWithoutTypes(std::string_view document, NoteMaker& notes) {
  DirectScan scan(document, nullptr);
  Reading reading;
  reading.listener = &notes;
  const bool hasHead = scan.readHead(reading);
  const bool isSound = hasHead && (scan.isDone(reading) || scan.step(reading));
  if (!isSound) {
    reading.fault.bytes = document.size() - reading.fault.offset;
    notes.onDamage(reading.fault);
  } else {
    Guesser(document, notes).readFrom(reading.at);
  }
  return isSound;
}

template <class Scan>
bool inspectBy(std::string_view document, TypeTable* types, NoteMaker& notes) {
  Scan scan(document, types);
  return TolerantReader<Scan>(scan, notes).readAll();
}

}  // namespace

std::string_view nameOf(NoteKind kind) noexcept {
  switch (kind) {
    case NoteKind::head:
      return "head";
    case NoteKind::begin:
      return "begin";
    case NoteKind::end:
      return "end";
    case NoteKind::value:
      return "value";
    case NoteKind::list:
      return "list";
    case NoteKind::reference:
      return "reference";
    case NoteKind::damage:
      return "damage";
    case NoteKind::unread:
      break;
  }
  return "unread";
}

bool inspect(std::string_view document, const InspectOptions& options, const NoteListener& listener) {
  NoteMaker notes(listener);
  std::optional<TypeTable> types;
  if (options.registry != nullptr) types.emplace(*options.registry);
  if (options.tagged) return inspectBy<TaggedScan>(document, types ? &*types : nullptr, notes);
  return types ? inspectBy<DirectScan>(document, &*types, notes) : inspectWithoutTypes(document, notes);
}

}  // namespace kr::zero::inspect
