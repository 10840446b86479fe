#include <algorithm>
#include <optional>
#include <vector>

#include "EcoreWriting.h"
#include "Errors.h"
#include "Namespaces.h"
#include "XmlDocument.h"
#include "kr/zero/meta/MetaRegistry.h"

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

std::string nameOf(pugi::xml_node node) {
  if (const pugi::xml_attribute name = node.attribute("name")) return name.value();
  return textOf(node.child("name"));
}

std::string_view localName(pugi::xml_node node) { return splitQName(node.name()).local; }

class Pins {
 public:
  Pins(const SourceDocument& source, const meta::MetaRegistry& registry)
      : text_(source.text), document_(source.text, source.name), registry_(registry) {}

  std::string write() {
    collect();
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
  struct Package {
    pugi::xml_node node;
    std::string around;  // qualified name of the package around it and a dot, or nothing
  };

  void collect() {
    std::vector<Package> waiting;
    if (localName(document_.root()) == "EPackage") waiting.push_back({document_.root(), {}});
    for (const pugi::xml_node node : document_.root().children())
      if (localName(node) == "EPackage") waiting.push_back({node, {}});
    while (!waiting.empty()) {
      const Package package = waiting.back();
      waiting.pop_back();
      const std::string prefix = package.around + nameOf(package.node) + ".";
      for (const pugi::xml_node nested : package.node.children("eSubpackages"))
        waiting.push_back({nested, prefix});
      for (const pugi::xml_node classifier : package.node.children("eClassifiers"))
        pinClass(classifier, prefix);
    }
  }

  void pinClass(pugi::xml_node node, const std::string& prefix) {
    const meta::Class type(registry_.findType(prefix + nameOf(node)));
    if (!type) return;
    for (const pugi::xml_node feature : node.children("eStructuralFeatures")) {
      const meta::Property property = type->findProperty(std::string_view(nameOf(feature)));
      if (property && property->getIdentifier() != 0 && !isPinned(feature))
        pin(feature, property->getIdentifier());
    }
  }

  static bool isPinned(pugi::xml_node feature) {
    return std::any_of(
        feature.children("eAnnotations").begin(), feature.children("eAnnotations").end(),
        [](pugi::xml_node annotation) { return annotation.attribute("source").value() == kBinarySource; });
  }

  void pin(pugi::xml_node feature, std::uint32_t number) {
    const std::size_t start = XmlDocument::offsetOf(feature) - 1;
    const std::string indent(blanksBefore(start).value_or(""));
    const std::string annotation = join(indent, "  <eAnnotations source=\"", kBinarySource, "\">\n", indent,
                                        "    <details key=\"id\" value=\"", std::to_string(number), "\"/>\n",
                                        indent, "  </eAnnotations>\n");
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
      if (child.type() == pugi::node_element && std::string_view(child.name()) != "eAnnotations")
        return XmlDocument::offsetOf(child) - 1;
    return endTagOf(text_, start);
  }

  std::string_view text_;
  XmlDocument document_;
  const meta::MetaRegistry& registry_;
  std::vector<Insertion> insertions_;
};

}  // namespace

std::string pinIdentifiers(const SourceDocument& source, const meta::MetaRegistry& registry) {
  return Pins(source, registry).write();
}

}  // namespace kr::zero::ecore
