#include <algorithm>
#include <string>
#include <vector>

#include "TaggedPrinters.h"
#include "TaggedTree.h"
#include "TaggedValues.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

constexpr std::size_t deepestIndentation = 40;

class TaggedTextPrinter final : public TaggedTreeVisitor {
 public:
  explicit TaggedTextPrinter(TextOut& out) : out_(out) {}

  void beginObject(const TaggedHeader& header) override {
    beginBody();
    if (!properties_.empty()) out_ << ' ';
    out_ << asName(header.type) << " #" << std::to_string(++objects_);
    identity(header);
    out_ << '\n';
    ++depth_;
  }
  void endObject() override { --depth_; }

  void beginStruct() override {
    beginBody();
    out_ << '\n';
    ++depth_;
  }
  void endStruct() override { --depth_; }

  void beginProperty(const std::string& name) override { properties_.push_back({asName(name)}); }
  void endProperty() override {
    if (properties_.back().inLine) out_ << '\n';
    properties_.pop_back();
  }

  void beginList() override { properties_.back().isList = true; }
  void endList() override {
    Property& property = properties_.back();
    if (property.count != 0) return;
    indent();
    out_ << property.name << " is empty";
    property.inLine = true;
  }

  void value(const modeling::sylvan::SylvanPrimitive& value) override {
    if (isNull(value)) {
      beginLine(" is empty");
      return;
    }
    beginLine(" = ");
    const auto* const text = std::get_if<std::string>(&value);
    out_ << (text != nullptr ? inQuotes(*text) : textFormOf(value));
  }

  void reference(const TaggedHeader& target) override {
    beginLine(" -> ");
    out_ << asName(target.type);
    identity(target);
    if (target.document) out_ << " in " << inQuotes(*target.document);
  }

 private:
  struct Property {
    std::string name;
    bool isList = false;
    bool inLine = false;  // values stand on a line that is not ended yet
    std::size_t count = 0;
  };

  void indent() {
    out_ << std::string(2 * std::min(depth_, deepestIndentation), ' ');
    if (depth_ > deepestIndentation) out_ << '(' << std::to_string(depth_) << ") ";
  }

  // What stands in front of an object or datatype value.
  void beginBody() {
    indent();
    if (properties_.empty()) return;
    Property& property = properties_.back();
    out_ << property.name;
    if (property.isList) out_ << '[' << std::to_string(property.count++) << ']';
    out_ << ':';
  }

  // What stands in front of a value on the line of its property.
  void beginLine(const char* sign) {
    Property& property = properties_.back();
    if (property.count++ == 0) {
      indent();
      out_ << property.name << sign;
    } else {
      out_ << ", ";
    }
    property.inLine = true;
  }

  void identity(const TaggedHeader& header) {
    if (header.identity.size() == 2)
      out_ << " id " << inQuotes(header.identity[0]) << ' ' << inQuotes(header.identity[1]);
  }

  TextOut& out_;
  std::vector<Property> properties_;
  std::size_t depth_ = 0;
  std::size_t objects_ = 0;
};

}  // namespace

void printTaggedText(const Document& document, TextOut& out) {
  TaggedTextPrinter printer(out);
  TaggedTree tree(printer);
  sendTagged(document, tree);
}

}  // namespace kr::zero::tool
