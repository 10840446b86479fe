#include "TaggedEvents.h"

#include <istream>
#include <new>
#include <streambuf>
#include <string>
#include <variant>

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

// Looks at what neither bytes nor shape tell: the texts, and whether the document ends.
class ContentCheck final : public modeling::sylvan::NullEventProcessor {
 public:
  void startNamedEntry(const SylvanPrimitive& name) override { check(name); }
  void writePrimitive(const SylvanPrimitive& value) override { check(value); }
  void endDocument() override { ended_ = true; }
  bool ended() const { return ended_; }

 private:
  void check(const SylvanPrimitive& value) {
    const auto* const text = std::get_if<std::string>(&value);
    if (text != nullptr && !toUtf16_.convert(*text, scratch_))
      throw std::runtime_error("a text is not well-formed UTF-8");
  }

  fl::i18n::codecvt_string_to_ustring toUtf16_{"UTF8", true};
  ustring scratch_;
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
    refuse(document, error.what(), assembler);
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
