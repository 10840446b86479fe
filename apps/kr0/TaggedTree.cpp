#include <array>
#include <charconv>
#include <cmath>
#include <istream>
#include <stdexcept>
#include <streambuf>
#include <variant>

#include "Errors.h"
#include "Tree.h"
#include "fl/i18n/utf8.h"
#include "kr/zero/io/BinaryAssembler.h"
#include "kr/zero/io/BinaryKRGrammarTransformer.h"
#include "kr/zero/io/TreeDocument.h"
#include "modeling/sylvan/SylvanEventCode.h"

namespace kr::zero::tool {

namespace {

using TreeEvents = modeling::sylvan::SylvanEventProcessor<void>;
using Primitive = modeling::sylvan::SylvanPrimitive;
using Event = modeling::sylvan::SylvanEventCode;
namespace tree = io::tree;

// Entries of metadata, in the order that the grammar has made sure of.
constexpr std::array kDocumentEntries{tree::kVersionEntry, tree::kPackagesEntry};
constexpr std::array kObjectEntries{tree::kTypeEntry, tree::kIdEntry};

// "-5", "0.1": the shortest form that reads back the same; reals also "INF", "-INF" and "NaN".
struct TextForm {
  std::string operator()(std::nullptr_t) const { return "null"; }
  std::string operator()(const std::string& text) const { return text; }
  std::string operator()(bool truth) const { return truth ? "true" : "false"; }
  std::string operator()(std::uint64_t number) const { return std::to_string(number); }
  std::string operator()(std::int64_t number) const { return std::to_string(number); }
  std::string operator()(double number) const {
    if (std::isnan(number)) return "NaN";
    if (std::isinf(number)) return number > 0 ? "INF" : "-INF";
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    const std::string text(digits.data(), end);
    return text.find_first_of(".e") == text.npos ? text + ".0" : text;
  }
};

void visitValue(const Primitive& value, TreeVisitor& visitor) {
  if (std::holds_alternative<std::nullptr_t>(value)) return visitor.emptyValue();
  if (const auto* text = std::get_if<std::string>(&value)) return visitor.value(*text, ValueForm::text);
  visitor.value(std::visit(TextForm(), value), ValueForm::number);
}

// Turns events into visits, and looks at what neither bytes nor the grammar tell: names, texts, what metadata
// holds, and whether the document ends. Ends and values may come before the grammar has seen that they fit.
class TaggedTree final : public TreeEvents {
 public:
  explicit TaggedTree(TreeVisitor& visitor) : visitor_(visitor) {}
  bool hasEnded() const { return hasEnded_; }

  void startDocument(const Primitive&) override {}
  void endDocument() override { hasEnded_ = true; }

  void startStruct() override {
    inSequence_.push_back(false);
    if (isHeldBack(Event::startStruct)) return;
    if (objectFollows_)
      startObject();
    else
      maybeReference_ = true;
  }
  void endStruct() override {
    leave();
    if (!isHeldBack(Event::endStruct)) visitor_.endElement();
  }

  void startNamedEntry(const Primitive& name) override {
    const auto* const text = std::get_if<std::string>(&name);
    if (text == nullptr) throw std::runtime_error("the name of an entry is not a text");
    check(*text);
    inSequence_.push_back(false);
    if (inMetadata_)
      startMetadataEntry(*text);
    else if (!isHeldBack(Event::startNamedEntry, text))
      visitor_.beginProperty(*text);
  }
  void endNamedEntry() override {
    leave();
    if (!inMetadata_ && !isHeldBack(Event::endNamedEntry)) visitor_.endProperty();
  }

  // The sequence of all roots is no list of a property, and neither are those of metadata.
  void startSequence() override {
    const bool isRoots = inSequence_.empty();
    if (!isRoots && inSequence_.back())
      throw std::runtime_error("a sequence stands in a sequence, and no property holds such values");
    inSequence_.push_back(true);
    if (!inMetadata_ && !isRoots && !isHeldBack(Event::startSequence)) visitor_.beginList();
  }
  void endSequence() override {
    leave();
    if (!inMetadata_ && !inSequence_.empty() && !isHeldBack(Event::endSequence)) visitor_.endList();
  }

  void startMetadata() override {
    isHeldBack(Event::startMetadata);
    inMetadata_ = true;
    entries_ = 0;
    type_.clear();
    identity_.clear();
  }
  void endMetadata() override {
    inMetadata_ = false;
    if (!headSeen_) visitor_.packages(packages_);
    objectFollows_ = headSeen_;
    headSeen_ = true;
  }

  void writePrimitive(const Primitive& value) override {
    if (inMetadata_) return readMetadata(value);
    const auto* const text = std::get_if<std::string>(&value);
    if (text != nullptr) check(*text);
    if (!isHeldBack(Event::writePrimitive, text)) visitValue(value, visitor_);
  }

 private:
  static void check(const std::string& text) {
    if (!fl::i18n::isWellFormedUtf8(text)) throw std::runtime_error("a text is not well-formed UTF-8");
  }
  static void checkVersion(const Primitive& value) {
    if (value != Primitive(tree::kVersion) && value != Primitive(static_cast<std::int64_t>(tree::kVersion)))
      throw std::runtime_error("the version is not 1");
  }

  void leave() {
    if (!inSequence_.empty()) inSequence_.pop_back();
  }

  void startMetadataEntry(const std::string& name) {
    const std::string expected((headSeen_ ? kObjectEntries : kDocumentEntries).at(entries_++));
    if (name != expected)
      throw std::runtime_error("expected the entry \"" + expected + "\" of metadata, found \"" + name + '"');
  }

  void readMetadata(const Primitive& value) {
    if (!headSeen_ && entries_ == 1) return checkVersion(value);
    const auto* const text = std::get_if<std::string>(&value);
    if (text == nullptr) throw std::runtime_error("metadata holds a value that is not a text");
    check(*text);
    if (!headSeen_)
      packages_.push_back(*text);
    else if (entries_ == 1)
      type_ = *text;
    else
      identity_.push_back(*text);
  }

  void startObject() {
    objectFollows_ = false;
    TreeNode node{type_, ++objects_, std::nullopt, std::nullopt};
    if (identity_.size() == 2) node.identity = {identity_[0], identity_[1]};
    visitor_.beginElement(node);
  }

  // Whether the event is held back because it may belong to a reference. One that does not lets all go
  // that was held back before it.
  bool isHeldBack(Event event, const std::string* text = nullptr) {
    if (!maybeReference_) return false;
    if (held_ == tree::kQualifierStep && event == Event::endStruct) held_ = tree::kReference.size() - 1;
    const tree::Step& step = tree::kReference[held_];
    const bool fits = event == step.event && (event != Event::writePrimitive || text != nullptr) &&
                      (step.entry.empty() || *text == step.entry);
    if (!fits) {
      letGo();
      return false;
    }
    if (event == Event::writePrimitive) heldTexts_.push_back(*text);
    if (++held_ == tree::kReference.size()) endReference();
    return true;
  }

  void endReference() {
    TreeNode target{heldTexts_[0], 0, Identity{heldTexts_[1], heldTexts_[2]}, std::nullopt};
    if (heldTexts_.size() > 3) target.document = heldTexts_[3];
    visitor_.reference(target);
    forgetReference();
  }

  // It is a datatype value.
  void letGo() {
    visitor_.beginElement({});
    auto text = heldTexts_.begin();
    for (std::size_t i = 0; i < held_; ++i) {
      const tree::Step& step = tree::kReference[i];
      step.event == Event::writePrimitive ? visitor_.value(*text++, ValueForm::text) : visitStep(step);
    }
    forgetReference();
  }

  void visitStep(const tree::Step& step) {
    if (step.event == Event::startNamedEntry) visitor_.beginProperty(std::string(step.entry));
    if (step.event == Event::endNamedEntry) visitor_.endProperty();
    if (step.event == Event::startSequence) visitor_.beginList();
    if (step.event == Event::endSequence) visitor_.endList();
  }

  void forgetReference() {
    maybeReference_ = false;
    held_ = 0;
    heldTexts_.clear();
  }

  TreeVisitor& visitor_;
  std::vector<bool> inSequence_;  // of everything that is open but metadata: whether it is a sequence
  bool hasEnded_ = false;

  bool inMetadata_ = false;
  bool headSeen_ = false;       // the metadata of the document has ended
  bool objectFollows_ = false;  // the metadata of an object has ended
  std::size_t entries_ = 0;     // of metadata, begun
  std::vector<std::string> packages_;
  std::string type_;
  std::vector<std::string> identity_;
  std::size_t objects_ = 0;

  // A struct that looks like a reference so far: the number of its steps that are held back, their texts.
  bool maybeReference_ = false;
  std::size_t held_ = 0;
  std::vector<std::string> heldTexts_;
};

// Bytes that are in memory, as a stream, without a copy of them.
class BytesBuffer final : public std::streambuf {
 public:
  explicit BytesBuffer(std::string_view bytes) {
    // A get area is never written to.
    char* const begin = const_cast<char*>(bytes.data());
    setg(begin, begin, begin + bytes.size());
  }
};

void assemble(const Document& document, io::BinaryAssembler& assembler) {
  BytesBuffer buffer(document.text());
  std::istream stream(&buffer);
  assembler.visitStream(stream);
}

}  // namespace

void checkTagged(const Document& document, TreeVisitor& visitor) {
  TaggedTree tree(visitor);
  io::BinaryKRGrammarTransformer grammar(&tree);
  io::BinaryAssembler assembler(&grammar);
  try {
    assemble(document, assembler);
    if (!tree.hasEnded()) throw std::runtime_error("the document ends without its end mark");
  } catch (...) {
    io::rethrowReadFailure(asFailed(document),
                           {.byteOffset = assembler.getByteOffset(), .problem = assembler.getErrorDetail()});
  }
}

void visitTagged(const Document& document, TreeVisitor& visitor) {
  TaggedTree tree(visitor);
  sendTagged(document, tree);
}

void sendTagged(const Document& document, TreeEvents& target) {
  io::BinaryAssembler assembler(&target);
  try {
    assemble(document, assembler);
    if (!assembler.hasEnded()) throw std::runtime_error("the document ends without its end mark");
  } catch (...) {
    io::rethrowReadFailure(asFailed(document),
                           {.byteOffset = assembler.getByteOffset(), .problem = assembler.getErrorDetail()});
  }
}

}  // namespace kr::zero::tool
