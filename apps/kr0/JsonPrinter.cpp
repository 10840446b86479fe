#include <cctype>
#include <string>
#include <vector>

#include "TreePrinters.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

// Infinity and NaN have no place among JSON's numbers.
bool isBare(std::string_view text, ValueForm form) {
  return form == ValueForm::number &&
         (text == "true" || text == "false" || std::isdigit(static_cast<unsigned char>(text.back())) != 0);
}

// Writes as it hears: a tree of JSON values of any depth could be neither printed nor dropped on a small
// stack.
class JsonPrinter final : public TreeVisitor {
 public:
  JsonPrinter(TextOut& out, Naming naming) : out_(out), naming_(naming) {}

  void beginElement(const TreeNode& node) override {
    separate();
    out_ << "\n{";
    if (node.number != 0)
      out_ << "\"class\":" << inQuotes(node.type) << ',' << nameOf(node) << ',';
    else if (!node.type.empty())
      out_ << "\"datatype\":" << inQuotes(node.type) << ',';
    if (node.identity) {
      identity(*node.identity);
      out_ << ',';
    }
    out_ << "\"properties\":{";
    follows_.push_back(false);
  }
  void endElement() override {
    out_ << "}}";
    follows_.pop_back();
  }

  void beginProperty(std::string_view name) override {
    separate();
    out_ << inQuotes(name) << ':';
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

  void value(std::string_view text, ValueForm form) override {
    separate();
    if (isBare(text, form))
      out_ << text;
    else
      out_ << inQuotes(text);
  }
  void emptyValue() override {
    separate();
    out_ << "null";
  }

  void reference(const TreeNode& target) override {
    separate();
    out_ << "{\"ref\":";
    if (!target.name.empty())
      out_ << inQuotes(target.name);
    else if (target.number != 0)
      out_ << std::to_string(target.number);
    else
      unknown(target);
    out_ << '}';
  }

 private:
  std::string nameOf(const TreeNode& node) const {
    return naming_ == Naming::stable ? "\"name\":" + inQuotes(node.name)
                                     : "\"number\":" + std::to_string(node.number);
  }
  void separate() {
    if (follows_.back()) out_ << ',';
    follows_.back() = true;
  }
  void identity(const Identity& identity) {
    out_ << "\"identity\":[" << inQuotes(identity.first) << ',' << inQuotes(identity.second) << ']';
  }
  void unknown(const TreeNode& target) {
    out_ << "{\"class\":" << inQuotes(target.type) << ',';
    if (target.document) out_ << "\"document\":" << inQuotes(*target.document) << ',';
    identity(*target.identity);
    out_ << '}';
  }

  TextOut& out_;
  const Naming naming_;
  std::vector<bool> follows_{false};  // of everything that is open: whether something was written in it
};

}  // namespace

void printJson(const Walk& walk, TextOut& out, Naming naming) {
  JsonPrinter printer(out, naming);
  out << "{\"elements\":[";
  walk(printer);
  out << "]}\n";
}

}  // namespace kr::zero::tool
