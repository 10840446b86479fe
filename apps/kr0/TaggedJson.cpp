#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "TaggedPrinters.h"
#include "TaggedTree.h"
#include "TaggedValues.h"

namespace kr::zero::tool {

namespace {

using Json = nlohmann::json;

// JSON has no infinity and no NaN: these stand as texts.
bool isBare(const modeling::sylvan::SylvanPrimitive& value) {
  if (const auto* real = std::get_if<double>(&value)) return std::isfinite(*real);
  return !std::holds_alternative<std::string>(value);
}

class TaggedJsonPrinter final : public TaggedTreeVisitor {
 public:
  explicit TaggedJsonPrinter(TextOut& out) : out_(out) {}

  void beginObject(const TaggedHeader& header) override {
    separate();
    out_ << "\n{\"class\":" << Json(header.type).dump() << ",\"number\":" << std::to_string(++objects_);
    if (!header.identity.empty()) out_ << ",\"identity\":" << Json(header.identity).dump();
    beginProperties(",");
  }
  void endObject() override { endProperties(); }

  void beginStruct() override {
    separate();
    out_ << "\n{";
    beginProperties("");
  }
  void endStruct() override { endProperties(); }

  void beginProperty(const std::string& name) override {
    separate();
    out_ << Json(name).dump() << ':';
    follows_.push_back(false);
  }
  void endProperty() override { follows_.pop_back(); }

  void beginList() override {
    out_ << '[';
    follows_.push_back(false);
  }
  void endList() override {
    out_ << ']';
    follows_.pop_back();
  }

  void value(const modeling::sylvan::SylvanPrimitive& value) override {
    separate();
    const std::string text = textFormOf(value);
    out_ << (isBare(value) ? text : Json(text).dump());
  }

  void reference(const TaggedHeader& target) override {
    separate();
    Json ref = {{"class", target.type}, {"identity", target.identity}};
    if (target.document) ref["document"] = *target.document;
    out_ << Json{{"ref", ref}}.dump();
  }

 private:
  void separate() {
    if (follows_.back()) out_ << ',';
    follows_.back() = true;
  }
  void beginProperties(const char* separator) {
    out_ << separator << "\"properties\":{";
    follows_.push_back(false);
  }
  void endProperties() {
    out_ << "}}";
    follows_.pop_back();
  }

  TextOut& out_;
  std::vector<bool> follows_{false};  // of everything that is open: whether something was written in it
  std::size_t objects_ = 0;
};

}  // namespace

void printTaggedJson(const Document& document, TextOut& out) {
  TaggedJsonPrinter printer(out);
  TaggedTree tree(printer);
  out << "{\"elements\":[";
  sendTagged(document, tree);
  out << "]}\n";
}

}  // namespace kr::zero::tool
