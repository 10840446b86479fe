#include <algorithm>
#include <string>
#include <vector>

#include "TreePrinters.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

constexpr std::size_t kDeepestIndentation = 40;

class TextPrinter final : public TreeVisitor {
 public:
  TextPrinter(TextOut& out, Naming naming) : out_(out), naming_(naming) {}

  void beginElement(const TreeNode& node) override {
    indent();
    if (!properties_.empty()) place(properties_.back());
    if (node.number != 0 || !node.type.empty()) {
      if (!properties_.empty()) out_ << ' ';
      out_ << asName(node.type);
    }
    if (naming_ == Naming::numbers && node.number != 0) out_ << " #" << std::to_string(node.number);
    if (!node.name.empty()) out_ << ' ' << asName(node.name);
    if (node.identity) identity(*node.identity);
    out_ << '\n';
    ++depth_;
  }
  void endElement() override { --depth_; }

  void beginProperty(std::string_view name) override { properties_.push_back({asName(name)}); }
  void endProperty() override {
    if (properties_.back().inLine) out_ << '\n';
    properties_.pop_back();
  }

  void beginList() override { properties_.back().isList = true; }
  void endList() override {
    if (properties_.back().count == 0) emptyValue();
  }

  void value(std::string_view text, ValueForm form) override {
    item(" = ");
    if (form == ValueForm::text)
      out_ << inQuotes(text);
    else
      out_ << text;
  }
  void emptyValue() override { item(" is empty"); }

  void reference(const TreeNode& target) override {
    item(" -> ");
    if (!target.name.empty()) {
      out_ << asName(target.name);
      return;
    }
    if (target.number != 0) {
      out_ << '#' << std::to_string(target.number);
      return;
    }
    out_ << asName(target.type);
    identity(*target.identity);
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
    out_ << std::string(2 * std::min(depth_, kDeepestIndentation), ' ');
    if (depth_ > kDeepestIndentation) out_ << '(' << std::to_string(depth_) << ") ";
  }

  // What stands in front of an element.
  void place(Property& property) {
    out_ << property.name;
    if (property.isList && naming_ == Naming::numbers) out_ << '[' << std::to_string(property.count) << ']';
    ++property.count;
    out_ << ':';
  }

  // What stands in front of a value on the line of its property.
  void item(const char* sign) {
    Property& property = properties_.back();
    if (property.count++ == 0) {
      indent();
      out_ << property.name << sign;
    } else {
      out_ << ", ";
    }
    property.inLine = true;
  }

  void identity(const Identity& identity) {
    out_ << " id " << inQuotes(identity.first) << ' ' << inQuotes(identity.second);
  }

  TextOut& out_;
  const Naming naming_;
  std::vector<Property> properties_;
  std::size_t depth_ = 0;
};

}  // namespace

void printText(const Walk& walk, TextOut& out, Naming naming) {
  TextPrinter printer(out, naming);
  walk(printer);
}

}  // namespace kr::zero::tool
