#include <algorithm>
#include <string>

#include "TreePrinters.h"
#include "TreeWalk.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

constexpr std::size_t deepestIndentation = 40;

// Whether values stand without quotes: their text form cannot be taken for anything else.
bool isBare(meta::Type type) {
  const meta::PrimitiveType primitive(type);
  return isNumeric(type) || meta::Enum(type) ||
         (primitive && (primitive->getStandardType() == meta::StandardType::uuid ||
                        primitive->getStandardType() == meta::StandardType::dateTime));
}

class TextPrinter final : public TreeVisitor {
 public:
  TextPrinter(const Model& model, TextOut& out) : numbers_(model), out_(out) {}

  void begin(Element element, meta::Property property, std::size_t position, std::size_t depth) override {
    indent(depth);
    if (property) {
      out_ << property->getNameUtf8();
      if (property->isMany()) out_ << '[' << std::to_string(position) << ']';
      out_ << ": ";
    }
    out_ << element.getType()->getQualifiedNameUtf8();
    if (element.getClass()) out_ << " #" << std::to_string(numbers_[element]);
    if (const auto identity = element.getIdentity())
      out_ << " id " << inQuotes(identity->first) << ' ' << inQuotes(identity->second);
    out_ << '\n';
  }

  void end(Element) override {}
  void beginProperty(meta::Property) override {}
  void endProperty(meta::Property) override {}

  void leaf(Element element, meta::Property property, std::size_t depth) override {
    indent(depth);
    out_ << property->getNameUtf8();
    const std::size_t count = element.size(property);
    if (count == 0)
      out_ << " is empty";
    else if (categoryOf(property) == Category::association)
      references(element, property, count);
    else
      values(element, property, count);
    out_ << '\n';
  }

 private:
  void indent(std::size_t depth) {
    out_ << std::string(2 * std::min(depth, deepestIndentation), ' ');
    if (depth > deepestIndentation) out_ << '(' << std::to_string(depth) << ") ";
  }

  void values(Element element, meta::Property property, std::size_t count) {
    out_ << " = ";
    for (std::size_t i = 0; i < count; ++i) {
      if (i != 0) out_ << ", ";
      const std::string text = element.getTextForm(property, i);
      out_ << (isBare(property->getType()) ? text : inQuotes(text));
    }
  }

  void references(Element element, meta::Property property, std::size_t count) {
    out_ << " -> ";
    for (std::size_t i = 0; i < count; ++i) {
      if (i != 0) out_ << ", ";
      if (const auto missing = element.getUnresolved(property, i))
        unresolved(*missing);
      else
        out_ << '#' << std::to_string(numbers_[element.getReference(property, i)]);
    }
  }

  void unresolved(const UnresolvedReference& reference) {
    out_ << reference.targetType << " id " << inQuotes(reference.id1) << ' ' << inQuotes(reference.id2);
    if (reference.qualifier) out_ << " in " << inQuotes(*reference.qualifier);
  }

  ElementNumbers numbers_;
  TextOut& out_;
};

}  // namespace

void printText(const Model& model, TextOut& out) {
  TextPrinter printer(model, out);
  walk(model, printer);
}

}  // namespace kr::zero::tool
