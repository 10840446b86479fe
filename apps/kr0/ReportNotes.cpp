#include "ReportNotes.h"

#include "kr/zero/inspect/Inspect.h"

namespace kr::zero::tool {

/// Takes one note after the other, and holds the elements that they tell of against those of the model.
class ReportNotes::Taker {
 public:
  using Note = inspect::Note;

  Taker(ReportNotes& notes, const ReportColumns& columns, const ReportSchema& schema)
      : notes_(notes), columns_(columns), schema_(schema) {}

  void take(const Note& note) {
    const char kind = kindOf(note);
    if (kind == 'b') enter(note);
    notes_.kinds_ += kind;
    notes_.bytes_.push_back(note.bytes);
    notes_.properties_.push_back(schema_.numberOf(propertyOf(kind, note)));
    if (needsWords(kind, note)) notes_.texts_.emplace_back(notes_.kinds_.size() - 1, note.text);
    if (note.kind == NoteKind::end && !open_.empty()) open_.pop_back();
  }

  bool isAtEnd() const { return next_ == columns_.elements().size(); }

 private:
  using NoteKind = inspect::NoteKind;

  char kindOf(const Note& note) {
    switch (note.kind) {
      case NoteKind::head:
        return 'h';
      case NoteKind::begin: {
        const bool isElement = isElementAt(note);
        if (!isElement) open_.push_back({false, innermost()});
        return isElement ? 'b' : 'B';
      }
      case NoteKind::end:
        return !open_.empty() && open_.back().isElement ? 'e' : 'E';
      case NoteKind::value:
        return 'v';
      case NoteKind::list:
        return 'l';
      case NoteKind::reference:
        return 'r';
      case NoteKind::damage:
        return 'd';
      default:
        return 'u';
    }
  }

  // What is around elements (a list, an entry) has no type.
  static bool isElementAt(const Note& note) { return !note.path.empty() && !note.type.empty(); }

  // The element that what comes next is in, or -1.
  int innermost() const { return open_.empty() ? -1 : open_.back().element; }

  void enter(const Note& note) {
    const int parent = innermost();
    const std::size_t number = next_++;
    const bool isThere = number < columns_.elements().size();
    const bool isSame = isThere && columns_.elements()[number].getType()->qualifiedName() == note.type &&
                        columns_.parentOf(number) == parent &&
                        (parent < 0 || columns_.viaOf(number)->name() == note.property);
    notes_.isInOrder_ = notes_.isInOrder_ && isSame;
    open_.push_back({isThere, isThere ? static_cast<int>(number) : parent});
  }

  // Of what begins and ends the property that holds it.
  meta::Property propertyOf(char kind, const Note& note) const {
    const int element = innermost();
    if (element < 0) return {};
    if (kind == 'b' || kind == 'e') return columns_.viaOf(static_cast<std::size_t>(element));
    if (note.property.empty()) return {};
    return columns_.elements()[static_cast<std::size_t>(element)].getType()->findProperty(note.property);
  }

  // Whether they say more than kind, property and value do.
  static bool needsWords(char kind, const Note& note) {
    constexpr std::string_view kOwnWords = "hBEdu";
    return kOwnWords.find(kind) != kOwnWords.npos || note.isGuess || (kind == 'v' && note.value.empty());
  }

  ReportNotes& notes_;
  const ReportColumns& columns_;
  const ReportSchema& schema_;
  struct Open {
    bool isElement;
    int element;  // its number, or that of the nearest one around it; -1: none
  };
  std::vector<Open> open_;  // what has begun and not ended
  std::size_t next_ = 0;
};

ReportNotes::ReportNotes(std::string_view bytes, bool isTagged, const meta::MetaRegistry& registry,
                         const ReportColumns& columns, const ReportSchema& schema) {
  Taker taker(*this, columns, schema);
  inspect::inspect(bytes, {.registry = &registry, .tagged = isTagged},
                   [&](const inspect::Note& note) { taker.take(note); });
  isInOrder_ = isInOrder_ && taker.isAtEnd();
}

void ReportNotes::write(JsonText& json) const {
  json.add("kinds", kinds_).addList("bytes", bytes_).addList("property", properties_);
  json.name("texts").open('{');
  for (const auto& [position, text] : texts_) json.add(std::to_string(position), text);
  json.close('}');
}

}  // namespace kr::zero::tool
