#include <algorithm>
#include <optional>
#include <vector>

#include "EcoreWriting.h"
#include "Errors.h"
#include "Namespaces.h"
#include "PinPlan.h"
#include "XmlDocument.h"

namespace kr::zero::ecore {

namespace {

/// A text to put into another one.
struct Insertion {
  std::size_t offset;
  std::size_t replaced;  // number of characters that give way
  std::string text;
};

/// Offset behind the tag that begins at `offset`.
std::size_t endOfTag(std::string_view text, std::size_t offset) {
  char quote = 0;
  for (std::size_t i = offset; i < text.size(); ++i) {
    if (quote == 0 && text[i] == '>') return i + 1;
    if (quote == 0 && (text[i] == '"' || text[i] == '\''))
      quote = text[i];
    else if (text[i] == quote)
      quote = 0;
  }
  return text.size();
}

/// Offset behind the comment, CDATA section, processing instruction or tag that begins at `offset`.
std::size_t endOfMarkup(std::string_view text, std::size_t offset) {
  const auto past = [&](std::string_view end) {
    const std::size_t found = text.find(end, offset);
    return found == std::string_view::npos ? text.size() : found + end.size();
  };
  const std::string_view rest = text.substr(offset);
  if (rest.substr(0, 4) == "<!--") return past("-->");
  if (rest.substr(0, 9) == "<![CDATA[") return past("]]>");
  if (rest.substr(0, 2) == "<?") return past("?>");
  return endOfTag(text, offset);
}

bool isEmptyTag(std::string_view text, std::size_t end) { return text[end - 2] == '/'; }

/// Offset of the end tag of the element whose start tag begins at `offset` and is not empty.
std::size_t endTagOf(std::string_view text, std::size_t offset) {
  std::size_t depth = 0;
  for (;;) {
    const std::size_t end = endOfMarkup(text, offset);
    const char second = text[offset + 1];
    if (second == '/') {
      if (--depth == 0) return offset;
    } else if (second != '!' && second != '?' && !isEmptyTag(text, end)) {
      ++depth;
    }
    offset = text.find('<', end);
  }
}

class Pins {
 public:
  Pins(const SourceDocument& source, const Mapping::Impl& mapping, const PinPlan& plan)
      : text_(source.text), document_(source.text, source.name), mapping_(mapping), plan_(plan) {}

  std::string write() {
    forEachClass(document_, mapping_,
                 [this](pugi::xml_node node, meta::Class type) { pinClass(node, type); });
    std::sort(insertions_.begin(), insertions_.end(),
              [](const Insertion& a, const Insertion& b) { return a.offset < b.offset; });
    std::string written;
    std::size_t done = 0;
    for (const Insertion& insertion : insertions_) {
      written.append(text_, done, insertion.offset - done).append(insertion.text);
      done = insertion.offset + insertion.replaced;
    }
    return written.append(text_, done);
  }

 private:
  void pinClass(pugi::xml_node node, meta::Class type) {
    if (!plan_.last.empty() && plan_.last[type->getIndex()] != 0)
      annotateLast(node, plan_.last[type->getIndex()]);
    for (const pugi::xml_node feature : childrenOf(node, "eStructuralFeatures")) {
      const meta::Property property = type->findProperty(std::string_view(valueOf(feature, "name")));
      if (!property || !binaryDetails(feature, kNumberKey).empty()) continue;
      if (const std::uint32_t number = plan_.numbers[property->getIndex()]; number != 0)
        annotate(feature, kNumberKey, number);
    }
  }

  /// The highest of those that are there counts; one that is an XML attribute is replaced.
  void annotateLast(pugi::xml_node node, std::uint32_t number) {
    std::string_view replaceable;
    for (const pugi::xml_node detail : binaryDetails(node, kLastNumberKey)) {
      if (valueOf(detail, "value") == std::to_string(number)) return;
      replaceable = attributeText(detail, "value");
    }
    if (replaceable.empty()) return annotate(node, kLastNumberKey, number);
    const auto offset = static_cast<std::size_t>(replaceable.data() - text_.data());
    insertions_.push_back({offset, replaceable.size(), std::to_string(number)});
  }

  /// What stands between the quotes of an attribute; empty where it has none of that name.
  std::string_view attributeText(pugi::xml_node node, std::string_view name) const {
    const std::size_t start = XmlDocument::offsetOf(node);
    const std::string_view tag = text_.substr(start, endOfTag(text_, start) - start);
    for (std::size_t quote = tag.find_first_of("\"'"); quote != std::string_view::npos;) {
      const std::size_t end = tag.find(tag[quote], quote + 1);
      std::string_view before = tag.substr(0, quote);
      while (!before.empty() && (isBlank(before.back()) || before.back() == '=')) before.remove_suffix(1);
      const std::size_t named = before.size() - std::min(before.size(), name.size());
      if (before.substr(named) == name && named > 0 && isBlank(before[named - 1]))
        return tag.substr(quote + 1, end - quote - 1);
      quote = tag.find_first_of("\"'", end + 1);
    }
    return {};
  }

  /// Adds an annotation to a class or feature.
  void annotate(pugi::xml_node feature, std::string_view key, std::uint32_t number) {
    const std::size_t start = XmlDocument::offsetOf(feature) - 1;
    const std::string indent(blanksBefore(start).value_or(""));
    const std::string annotation =
        join(indent, "  <eAnnotations source=\"", kBinarySource, "\">\n", indent, "    <details key=\"", key,
             "\" value=\"", std::to_string(number), "\"/>\n", indent, "  </eAnnotations>\n");
    const std::size_t end = endOfTag(text_, start);
    if (isEmptyTag(text_, end)) {
      insertions_.push_back({end - 2, 2, join(">\n", annotation, indent, "</", feature.name(), ">")});
    } else {
      // Behind the annotations that are there: others may refer to them by position.
      const std::size_t place = placeBehindAnnotations(feature, start);
      const auto blanks = blanksBefore(place);
      if (blanks && place - blanks->size() > start)
        insertions_.push_back({place - blanks->size(), 0, annotation});
      else
        insertions_.push_back({place, 0, join("\n", annotation, indent)});
    }
  }

  /// The blanks between the start of a line and a place in it; nothing where something else stands there.
  std::optional<std::string_view> blanksBefore(std::size_t place) const {
    std::size_t start = place;
    while (start > 0 && isBlank(text_[start - 1]) && text_[start - 1] != '\n') --start;
    if (start > 0 && text_[start - 1] != '\n') return std::nullopt;
    return text_.substr(start, place - start);
  }

  std::size_t placeBehindAnnotations(pugi::xml_node feature, std::size_t start) const {
    for (const pugi::xml_node child : feature.children())
      if (child.type() == pugi::node_element && splitQName(child.name()).local != "eAnnotations")
        return XmlDocument::offsetOf(child) - 1;
    return endTagOf(text_, start);
  }

  std::string_view text_;
  XmlDocument document_;
  const Mapping::Impl& mapping_;
  const PinPlan& plan_;
  std::vector<Insertion> insertions_;
};

}  // namespace

std::string pinIdentifiers(const SourceDocument& source, const Mapping::Impl& mapping, const PinPlan& plan) {
  return Pins(source, mapping, plan).write();
}

}  // namespace kr::zero::ecore
