#include <cctype>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "TreePrinters.h"
#include "TreeWalk.h"

namespace kr::zero::tool {

namespace {

using Json = nlohmann::json;

// Infinity and NaN have a text form but no place among JSON's numbers; "-" is only a sign before one.
bool isJsonNumberOrBoolean(const std::string& text) {
  const char last = text.back();
  return text == "true" || text == "false" || std::isdigit(static_cast<unsigned char>(last)) != 0;
}

Json identityOf(std::string_view first, std::string_view second) { return Json::array({first, second}); }

// Writes as it walks: a tree of JSON values of any depth could be neither printed nor dropped on a
// small stack.
class JsonPrinter final : public TreeVisitor {
 public:
  JsonPrinter(const Model& model, TextOut& out) : numbers_(model), out_(out) {}

  void begin(Element element, meta::Property, std::size_t position, std::size_t) override {
    if (position != 0) out_ << ',';
    out_ << "\n{";
    const std::string& type = element.getType()->getQualifiedNameUtf8();
    if (element.getClass())
      out_ << "\"class\":" << Json(type).dump() << ",\"number\":" << std::to_string(numbers_[element]);
    else
      out_ << "\"datatype\":" << Json(type).dump();
    if (const auto identity = element.getIdentity())
      out_ << ",\"identity\":" << identityOf(identity->first, identity->second).dump();
    out_ << ",\"properties\":{";
    hasProperty_.push_back(false);
  }

  void end(Element) override {
    out_ << "}}";
    hasProperty_.pop_back();
  }

  void beginProperty(meta::Property property) override {
    name(property);
    if (property->isMany()) out_ << '[';
  }

  void endProperty(meta::Property property) override {
    if (property->isMany()) out_ << ']';
  }

  void leaf(Element element, meta::Property property, std::size_t) override {
    name(property);
    const std::size_t count = element.size(property);
    if (!property->isMany()) return count == 0 ? void(out_ << "null") : value(element, property, 0);
    out_ << '[';
    for (std::size_t i = 0; i < count; ++i) {
      if (i != 0) out_ << ',';
      value(element, property, i);
    }
    out_ << ']';
  }

 private:
  void name(meta::Property property) {
    if (hasProperty_.back()) out_ << ',';
    hasProperty_.back() = true;
    out_ << Json(property->getNameUtf8()).dump() << ':';
  }

  void value(Element element, meta::Property property, std::size_t position) {
    if (categoryOf(property) == Category::association)
      out_ << reference(element, property, position).dump();
    else
      primitive(element.getTextForm(property, position), property->getType());
  }

  void primitive(const std::string& text, meta::Type type) {
    if (isNumeric(type) && isJsonNumberOrBoolean(text))
      out_ << text;
    else
      out_ << Json(text).dump();
  }

  Json reference(Element element, meta::Property property, std::size_t position) const {
    const auto missing = element.getUnresolved(property, position);
    if (!missing) return {{"ref", numbers_[element.getReference(property, position)]}};
    Json target = {{"class", missing->targetType}, {"identity", identityOf(missing->id1, missing->id2)}};
    if (missing->qualifier) target["document"] = *missing->qualifier;
    return {{"ref", target}};
  }

  ElementNumbers numbers_;
  TextOut& out_;
  std::vector<bool> hasProperty_;  // of every open element: whether one was written
};

}  // namespace

void printJson(const Model& model, TextOut& out) {
  JsonPrinter printer(model, out);
  out << "{\"elements\":[";
  walk(model, printer);
  out << "]}\n";
}

}  // namespace kr::zero::tool
