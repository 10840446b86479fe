// Changes to XML that know what its parts are: elements, attributes and values are copied, moved and taken
// out as a whole, and values take the place of others. One change in three knows nothing but the dictionary.
#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/Fuzzing.h"
#include "support/Random.h"

/// libFuzzer's own changes, which know nothing of any format.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t size, std::size_t room);

namespace kr::zero::fuzz {

namespace {

using test::Random;

enum class Part {
  element,    ///< from its start tag to the end of its end tag, or as far as it goes
  attribute,  ///< name, '=' and value, with the blank in front
  value       ///< of an attribute, without its quotes
};

struct Span {
  Part part;
  std::size_t begin;
  std::size_t end;
};

bool isBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

/// Finds the parts of a text that looks like XML. Comments and the like count as nothing.
class Parts {
 public:
  explicit Parts(std::string_view text) : text_(text) {
    for (std::size_t at = text.find('<'); at != text.npos; at = text.find('<', at)) at = tag(at);
  }

  std::optional<Span> some(Part part, Random& random) const {
    std::vector<Span> fitting;
    for (const Span& span : spans_)
      if (span.part == part) fitting.push_back(span);
    if (fitting.empty()) return std::nullopt;
    return random.pick(fitting);
  }

 private:
  // Reads the tag at `at`.
  std::size_t tag(std::size_t at) {
    const std::size_t begin = at++;
    const char first = at < text_.size() ? text_[at] : '\0';
    if (first == '!' || first == '?') return at;
    while (at < text_.size() && text_[at] != '>' && text_[at] != '<') at = piece(at);
    if (at == text_.size() || text_[at] == '<') return at;
    const bool isEmpty = text_[at - 1] == '/';
    ++at;
    if (first == '/') {
      if (open_.empty()) return at;
      spans_.push_back({Part::element, open_.back(), at});
      open_.pop_back();
    } else if (isEmpty) {
      spans_.push_back({Part::element, begin, at});
    } else {
      open_.push_back(begin);
    }
    return at;
  }

  // Passes over a character of a tag, or an attribute from its blank to its second quote.
  std::size_t piece(std::size_t at) {
    if (isBlank(text_[at])) blank_ = at;
    if (text_[at] != '\'' && text_[at] != '"') return at + 1;
    const std::size_t end = text_.find(text_[at], at + 1);
    if (end == text_.npos) return text_.size();
    spans_.push_back({Part::value, at + 1, end});
    if (blank_ != 0) spans_.push_back({Part::attribute, blank_, end + 1});
    return end + 1;
  }

  std::string_view text_;
  std::vector<Span> spans_;
  std::vector<std::size_t> open_;
  std::size_t blank_ = 0;  // the last one in a tag
};

std::string_view textOf(std::string_view text, const Span& span) {
  return text.substr(span.begin, span.end - span.begin);
}

std::string someValue(Random& random) {
  static const std::vector<std::string> values{
      "",
      "0",
      "-1",
      "1 2 3",
      "true",
      "//@nodes.0",
      "#/0",
      "#/0/@nodes.1",
      "//@nodes[name='a']",
      "_1",
      "#_1",
      "x.xmi#_1",
      "#",
      "#/",
      "#//",
      "#//A",
      "a.ecore#//A",
      "b.ecore#//B",
      "p:Node",
      "p:Special",
      "urn:p",
      "ecore:EClass",
      "ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString",
      "&lt;&#65;&amp;",
      "9999999999999999999999"};
  return random.pick(values);
}

/// Puts a part of `from`, which may be the same text, into `text`.
std::optional<std::string> transplant(std::string text, std::string_view from, Part part, Random& random) {
  const auto here = Parts(text).some(part, random);
  const auto there = Parts(from).some(part, random);
  if (!here || !there) return std::nullopt;
  const std::string piece(textOf(from, *there));
  const bool isInPlace = part == Part::value || random.percent(40);
  if (isInPlace) return text.replace(here->begin, here->end - here->begin, piece);
  return text.insert(random.percent(50) ? here->begin : here->end, piece);
}

std::optional<std::string> change(std::string text, Random& random) {
  static const std::vector<Part> kinds{Part::element, Part::attribute, Part::value};
  const Part part = random.pick(kinds);
  const auto some = Parts(text).some(part, random);
  if (!some) return std::nullopt;
  const std::size_t size = some->end - some->begin;
  switch (random.below(5)) {
    case 0:
      return text.erase(some->begin, size);
    case 1:
      if (part == Part::value) return text.replace(some->begin, size, someValue(random));
      return text.insert(some->begin, std::string(textOf(text, *some)));
    case 2: {
      if (part != Part::element) return transplant(text, text, part, random);
      // Deeper: around itself, without its end.
      const std::string_view tag = textOf(text, *some).substr(0, textOf(text, *some).find('>') + 1);
      return text.insert(some->begin, tag.ends_with("/>") ? "" : std::string(tag));
    }
    default:
      return transplant(text, text, part, random);
  }
}

std::size_t put(const std::optional<std::string>& text, std::uint8_t* out, std::size_t room) {
  if (!text || text->size() > room) return 0;
  std::copy(text->begin(), text->end(), out);
  return text->size();
}

}  // namespace

}  // namespace kr::zero::fuzz

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t size, std::size_t room,
                                               unsigned seed) {
  kr::zero::test::Random random(std::uint64_t{seed});
  if (!random.percent(33)) {
    const auto changed = kr::zero::fuzz::change({bytes, bytes + size}, random);
    if (const std::size_t made = kr::zero::fuzz::put(changed, bytes, room)) return made;
  }
  return LLVMFuzzerMutate(bytes, size, room);
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* first, std::size_t firstSize,
                                                 const std::uint8_t* second, std::size_t secondSize,
                                                 std::uint8_t* out, std::size_t room, unsigned seed) {
  kr::zero::test::Random random(std::uint64_t{seed});
  const std::string from(second, second + secondSize);
  const auto part = random.percent(60) ? kr::zero::fuzz::Part::element : kr::zero::fuzz::Part::attribute;
  return kr::zero::fuzz::put(kr::zero::fuzz::transplant({first, first + firstSize}, from, part, random), out,
                             room);
}
