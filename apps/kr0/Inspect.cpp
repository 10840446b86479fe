#include "Inspect.h"

#include <algorithm>
#include <functional>
#include <string>

#include "Damaged.h"
#include "Errors.h"
#include "Files.h"
#include "Visible.h"
#include "kr/zero/inspect/Inspect.h"

namespace kr::zero::tool {

namespace {

using inspect::Note;
using inspect::NoteKind;

constexpr std::size_t kBytesPerRow = 8;
constexpr std::size_t kMostRows = 4;
constexpr std::size_t kDeepestNote = 20;
constexpr std::size_t kLongestPath = 160;

std::string inHex(std::uint64_t number, std::size_t digits) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text(digits, '0');
  for (std::size_t i = digits; i-- > 0; number >>= 4) text[i] = kDigits[number & 15u];
  return text;
}

std::string hexOf(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) text += inHex(static_cast<unsigned char>(byte), 2) + ' ';
  if (!text.empty()) text.pop_back();
  return text;
}

/// A path that is not longer than a line: elements may lie inside each other without end.
std::string shortened(std::string_view path) {
  if (path.size() <= kLongestPath) return std::string(path);
  const std::size_t slash = path.find('/', path.size() - kLongestPath);
  return "..." + std::string(path.substr(slash == path.npos ? path.size() - kLongestPath : slash));
}

/// Prints notes, a line each: offset, bytes, meaning. Those of many bytes take several lines.
class TextNotes {
 public:
  TextNotes(TextOut& out, std::string_view bytes) : out_(out), bytes_(bytes) {
    while (bytes.size() >> (4 * digits_) != 0) digits_ += 2;
  }

  void print(const Note& note) {
    const std::string_view bytes = bytes_.substr(note.offset, note.bytes);
    const std::size_t rows = std::max<std::size_t>(1, (bytes.size() + kBytesPerRow - 1) / kBytesPerRow);
    for (std::size_t row = 0; row < std::min(rows, kMostRows); ++row) {
      const std::string hex = hexOf(bytes.substr(row * kBytesPerRow, kBytesPerRow));
      out_ << inHex(note.offset + row * kBytesPerRow, digits_) << "  " << hex;
      if (row == 0) out_ << std::string(3 * kBytesPerRow + 1 - hex.size(), ' ') << meaningOf(note);
      out_ << '\n';
    }
    if (rows > kMostRows)
      out_ << std::string(digits_ + 2, ' ') << "... "
           << std::to_string(bytes.size() - kMostRows * kBytesPerRow) << " more\n";
  }

 private:
  static std::string meaningOf(const Note& note) {
    std::string text(2 * std::min(note.depth, kDeepestNote), ' ');
    const bool isPlaced = note.kind == NoteKind::begin && !note.path.empty() && !note.type.empty();
    if (isPlaced) text += asOneLine(shortened(note.path)) + ": ";
    text += asOneLine(note.text);
    if (note.isGuess && note.text.find("guess") == std::string_view::npos) text += " (a guess)";
    return text;
  }

  TextOut& out_;
  std::string_view bytes_;
  std::size_t digits_ = 4;
};

/// {"offset", "bytes", "hex", "kind", "path", "type", "property", "value", "text", "isGuess"}, a note a line;
/// what a note has not is not there.
class JsonNotes {
 public:
  JsonNotes(TextOut& out, std::string_view bytes) : out_(out), bytes_(bytes) {}

  void print(const Note& note) {
    out_ << (isFirst_ ? "\n{" : ",\n{");
    isFirst_ = false;
    out_ << "\"offset\":" << std::to_string(note.offset) << ",\"bytes\":" << std::to_string(note.bytes);
    out_ << ",\"hex\":\""
         << hexOf(bytes_.substr(note.offset, std::min<std::uint64_t>(note.bytes, kBytesPerRow * kMostRows)));
    out_ << "\",\"kind\":\"" << nameOf(note.kind) << '"';
    member("path", shortened(note.path));
    member("type", note.type);
    member("property", note.property);
    member("value", note.value);
    member("text", note.text);
    if (note.isGuess) out_ << ",\"isGuess\":true";
    out_ << '}';
  }

 private:
  void member(const char* name, std::string_view text) {
    if (!text.empty()) out_ << ",\"" << name << "\":" << inQuotes(text);
  }

  TextOut& out_;
  std::string_view bytes_;
  bool isFirst_ = true;
};

/// Whether a note is one that the call asks for.
class Choice {
 public:
  explicit Choice(const InspectOptions& options) : options_(options), at_(options.at) {
    // The first root has no number: how many there are is not known when it comes.
    const std::size_t slash = at_.find('/', 1);
    const std::size_t zero = at_.find("[0]");
    if (zero != at_.npos && (slash == at_.npos || zero < slash)) at_.erase(zero, 3);
  }

  bool takes(const Note& note) {
    const bool isTaken = isAt(note) && isOffset(note);
    isFound_ |= isTaken;
    return isTaken;
  }
  bool isFound() const { return isFound_; }
  bool isEverything() const { return at_.empty() && !options_.offset; }

 private:
  bool isAt(const Note& note) const {
    if (at_.empty()) return true;
    if (note.path.starts_with(at_) && (note.path.size() == at_.size() || note.path[at_.size()] == '/'))
      return true;
    return at_.size() == note.path.size() + 1 + note.property.size() && !note.property.empty() &&
           at_.starts_with(note.path) && at_[note.path.size()] == '.' && at_.ends_with(note.property);
  }
  bool isOffset(const Note& note) const {
    return !options_.offset ||
           (*options_.offset >= note.offset && *options_.offset - note.offset < note.bytes);
  }

  const InspectOptions& options_;
  std::string at_;
  bool isFound_ = false;
};

/// What lies where in an archive, in notes.
std::vector<std::pair<Note, std::string>> notesOfArchive(const Document& document) {
  std::vector<std::pair<Note, std::string>> notes;
  archive::ArchiveReader reader(document.asArchive(), {.bytes = document.limit});
  std::uint64_t end = 0;
  const auto add = [&](std::uint64_t bytes, NoteKind kind, std::string text) {
    if (bytes != 0) notes.push_back({Note{.kind = kind, .offset = end, .bytes = bytes}, std::move(text)});
    end += bytes;
  };
  for (const archive::ArchivePart& part : reader.getParts()) {
    const std::uint64_t between = part.offset - end;
    add(between, NoteKind::head,
        "head of the skippable frame with the " + part.name + ": its mark, and a length of " +
            std::to_string(part.bytes) + " bytes");
    if (part.name == "manifest") {
      const std::uint64_t checksum = std::min<std::uint64_t>(8, part.bytes);
      add(checksum, NoteKind::value, "checksum of the manifest");
      add(part.bytes - checksum, NoteKind::value, "manifest, in JSON");
    } else {
      add(part.bytes, NoteKind::value,
          part.name + ", a frame of Zstandard of " + std::to_string(part.bytes) + " bytes");
    }
  }
  add(document.bytes.size() - end, NoteKind::damage, "no frame of an archive");
  return notes;
}

class Inspection {
 public:
  Inspection(const InspectOptions& options, TextOut& out) : options_(options), choice_(options), out_(out) {}

  void run(const InputOptions& input) {
    const Document document = loadBytes(input);
    requireBinary(document);
    const std::optional<MetaModels> metaModels = findMetaModels(document, input);
    if (!options_.json) addHeading(options_.inputs, input, out_);
    if (options_.json)
      out_ << "{\"file\":" << inQuotes(document.name) << ",\"format\":\"" << nameOf(document.format) << '"';
    if (document.format == Format::krz)
      inspectArchive(document, metaModels);
    else
      print("notes", document.text(), notesOf(document.text(), document.format, metaModels));
    if (options_.json) out_ << ",\"isSound\":" << (isSound_ ? "true" : "false") << "}\n";
    if (!choice_.isFound()) failNothing(document);
    if (!isSound_) throw AnsweredNo();
  }

 private:
  using Notes = std::function<void(const inspect::NoteListener&)>;

  Notes notesOf(std::string_view bytes, Format format, const std::optional<MetaModels>& metaModels) {
    return [this, bytes, format, &metaModels](const inspect::NoteListener& listener) {
      const bool isSound = inspect::inspect(
          bytes,
          {.registry = metaModels ? &metaModels->registry() : nullptr, .tagged = format == Format::krt},
          listener);
      isSound_ = isSound_ && isSound;
    };
  }

  void print(const char* name, std::string_view bytes, const Notes& notes) {
    if (options_.json) out_ << ",\"" << name << "\":[";
    TextNotes text(out_, bytes);
    JsonNotes json(out_, bytes);
    notes([&](const Note& note) {
      if (!choice_.takes(note)) return;
      if (options_.json) return json.print(note);
      if (options_.offset && !note.path.empty()) out_ << "in " << asOneLine(shortened(note.path)) << ":\n";
      text.print(note);
    });
    if (options_.json) out_ << "]";
  }

  /// Paths and offsets are of the document inside.
  void inspectArchive(const Document& document, const std::optional<MetaModels>& metaModels) {
    if (choice_.isEverything()) printFrames(document);
    const InnerDocument inner = readInner(document);
    if (!options_.json && choice_.isEverything())
      out_ << "\nthe document in it, " << nameOf(inner.format) << ", " << std::to_string(inner.bytes.size())
           << " bytes:\n";
    if (!inner.damage.empty()) {
      isSound_ = false;
      if (!options_.json) out_ << "the frame around it is damaged: " << asOneLine(inner.damage) << '\n';
    }
    if (options_.json) out_ << ",\"inside\":\"" << nameOf(inner.format) << '"';
    if (options_.json && !inner.damage.empty()) out_ << ",\"damage\":" << inQuotes(inner.damage);
    const std::string_view bytes(reinterpret_cast<const char*>(inner.bytes.data()), inner.bytes.size());
    print("notes", bytes, notesOf(bytes, inner.format, metaModels));
  }

  void printFrames(const Document& document) {
    print("frames", document.text(), [&](const inspect::NoteListener& listener) {
      for (auto& [note, text] : notesOfArchive(document)) {
        Note told = note;
        told.text = text;
        isSound_ = isSound_ && note.kind != NoteKind::damage;
        listener(told);
      }
    });
  }

  [[noreturn]] void failNothing(const Document& document) const {
    const std::string what = options_.at.empty()
                                 ? "no byte with the offset " + std::to_string(options_.offset.value_or(0))
                                 : "nothing with the path " + inQuotes(options_.at);
    throw Error(ErrorCode::doesNotFit, ErrorDetails{.file = document.name, .problem = "there is " + what});
  }

  const InspectOptions& options_;
  Choice choice_;
  TextOut& out_;
  bool isSound_ = true;
};

}  // namespace

void inspect(const InspectOptions& options) {
  if (!options.at.empty() && options.offset) throw WrongCall("--at and --offset are two ways of choosing");
  forEachInput(options.inputs,
               [&](const InputOptions& input, TextOut& out) { Inspection(options, out).run(input); });
}

}  // namespace kr::zero::tool
