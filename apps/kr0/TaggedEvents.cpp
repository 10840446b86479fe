#include "TaggedEvents.h"

#include <array>
#include <istream>
#include <new>
#include <streambuf>
#include <string>
#include <variant>
#include <vector>

#include "Errors.h"
#include "fl/i18n/converter.h"
#include "kr/zero/io/BinaryAssembler.h"
#include "kr/zero/io/BinaryKRGrammarTransformer.h"
#include "kr/zero/io/KRSylvanSerializer.h"
#include "modeling/sylvan/NullEventProcessor.h"

namespace kr::zero::tool {

namespace {

using modeling::sylvan::SylvanPrimitive;

// Bytes that are in memory, as a stream, without a copy of them.
class BytesBuffer final : public std::streambuf {
 public:
  explicit BytesBuffer(const std::vector<std::uint8_t>& bytes) {
    // A get area is never written to.
    char* const begin = const_cast<char*>(reinterpret_cast<const char*>(bytes.data()));
    setg(begin, begin, begin + bytes.size());
  }
};

// Entries of metadata, in the order that the grammar has made sure of.
constexpr std::array<const char*, 2> documentEntries{"version", "packages"};
constexpr std::array<const char*, 2> objectEntries{"type", "id"};

// Looks at what neither bytes nor the kinds of events tell: names, texts, what metadata holds, and whether
// the document ends. Ends and values come here before the grammar has seen that they fit.
class ContentCheck final : public modeling::sylvan::NullEventProcessor {
 public:
  void startStruct() override { inSequence_.push_back(false); }
  void endStruct() override { leave(); }
  void startNamedEntry(const SylvanPrimitive& name) override {
    const auto* const text = std::get_if<std::string>(&name);
    if (text == nullptr) throw std::runtime_error("the name of an entry is not a text");
    check(*text);
    if (inMetadata_) startEntry(*text);
    inSequence_.push_back(false);
  }
  void endNamedEntry() override { leave(); }
  void startSequence() override {
    if (!inSequence_.empty() && inSequence_.back())
      throw std::runtime_error("a sequence stands in a sequence, and no property holds such values");
    inSequence_.push_back(true);
  }
  void endSequence() override { leave(); }
  void startMetadata() override {
    inMetadata_ = true;
    entries_ = 0;
  }
  void endMetadata() override {
    inMetadata_ = false;
    headSeen_ = true;
  }
  void writePrimitive(const SylvanPrimitive& value) override {
    if (inMetadata_ && !headSeen_ && entries_ == 1) return checkVersion(value);
    const auto* const text = std::get_if<std::string>(&value);
    if (inMetadata_ && text == nullptr) throw std::runtime_error("metadata holds a value that is not a text");
    if (text != nullptr) check(*text);
  }
  void endDocument() override { ended_ = true; }
  bool ended() const { return ended_; }

 private:
  void leave() {
    if (!inSequence_.empty()) inSequence_.pop_back();
  }
  void startEntry(const std::string& name) {
    const char* const expected = (headSeen_ ? objectEntries : documentEntries).at(entries_++);
    if (name != expected)
      throw std::runtime_error(std::string("expected the entry \"") + expected + "\" of metadata, found \"" +
                               name + '"');
  }
  static void checkVersion(const SylvanPrimitive& value) {
    if (value != SylvanPrimitive(std::uint64_t{1}) && value != SylvanPrimitive(std::int64_t{1}))
      throw std::runtime_error("the version is not 1");
  }
  void check(const std::string& text) {
    if (!toUtf16_.convert(text, scratch_)) throw std::runtime_error("a text is not well-formed UTF-8");
  }

  fl::i18n::codecvt_string_to_ustring toUtf16_{"UTF8", true};
  ustring scratch_;
  std::vector<bool> inSequence_;  // of everything that is open but metadata: whether it is a sequence
  bool inMetadata_ = false;
  bool headSeen_ = false;    // the metadata of the document has ended
  std::size_t entries_ = 0;  // of metadata, begun
  bool ended_ = false;
};

// A serializer that writes no bytes.
class EventSerializer final : public io::KRSylvanSerializer {
 public:
  explicit EventSerializer(TreeEvents& target)
      : KRSylvanSerializer(std::make_unique<io::ModelTraverser>(),
                           std::make_unique<io::SerializeCustomizer>()),
        target_(target) {}
  const char* getFullyQualifiedVornTypeName() const override { return "kr.zero.tool.EventSerializer"; }
  TreeEvents* getTarget(const io::SerializationOutput&) override { return &target_; }

 private:
  TreeEvents& target_;
};

void assemble(const Document& document, io::BinaryAssembler& assembler) {
  BytesBuffer buffer(document.bytes);
  std::istream stream(&buffer);
  assembler.visitStream(stream);
}

[[noreturn]] void refuse(const Document& document, std::string what, const io::BinaryAssembler& assembler) {
  const std::string detail = assembler.getErrorDetail();
  if (what.ends_with('.')) what.pop_back();
  throw BadInput(document.name + ": " + what + (detail.empty() ? "" : ": " + detail) + ", at byte " +
                 std::to_string(assembler.getByteOffset()) + hintAt(document));
}

}  // namespace

void checkTagged(const Document& document) {
  ContentCheck check;
  io::BinaryKRGrammarTransformer grammar(&check);
  io::BinaryAssembler assembler(&grammar);
  try {
    assemble(document, assembler);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    refuse(document, reasonOf(error), assembler);
  }
  if (!check.ended()) refuse(document, "the document ends without its end mark", assembler);
}

void sendTagged(const Document& document, TreeEvents& target) {
  io::BinaryAssembler assembler(&target);
  assemble(document, assembler);
}

void sendModel(const Model& model, TreeEvents& target) {
  std::string unused;
  EventSerializer(target).serialize(model, io::SerializationOutput::toString(unused));
}

}  // namespace kr::zero::tool
