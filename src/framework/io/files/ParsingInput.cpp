#include "kr/zero/io/ParsingInput.h"

#include <utility>

namespace kr::zero::io {

namespace {

struct InputDispatch {
  ParsingInput::Visitor& visitor;
  void operator()(const ustring& path) const { visitor.visitFile(path); }
  void operator()(std::istream* stream) const { visitor.visitStream(*stream); }
  void operator()(const std::string* string) const { visitor.visitString(*string); }
  void operator()(const ustring* string) const { visitor.visitUString(*string); }
  void operator()(const void* intermediate) const { visitor.visitIntermediateFormat(intermediate); }
  void operator()(const std::vector<unsigned char>* bytes) const {
    visitor.visitLittleEndianByteSequence(*bytes);
  }
};

}  // namespace

ParsingInput::Visitor::~Visitor() = default;
void ParsingInput::Visitor::visitValue(const std::optional<Value>&) {}

ParsingInput ParsingInput::fromFile(ustring path) {
  return ParsingInput(Source(std::in_place_type<ustring>, std::move(path)));
}
ParsingInput ParsingInput::fromStream(std::istream& stream) {
  return ParsingInput(Source(std::in_place_type<std::istream*>, &stream));
}
ParsingInput ParsingInput::fromString(const std::string& string) {
  return ParsingInput(Source(std::in_place_type<const std::string*>, &string));
}
ParsingInput ParsingInput::fromUString(const ustring& string) {
  return ParsingInput(Source(std::in_place_type<const ustring*>, &string));
}
ParsingInput ParsingInput::fromIntermediateFormat(const void* intermediate) {
  return ParsingInput(Source(std::in_place_type<const void*>, intermediate));
}
ParsingInput ParsingInput::fromByteSequence(const std::vector<unsigned char>& bytes) {
  return ParsingInput(Source(std::in_place_type<const std::vector<unsigned char>*>, &bytes));
}

void ParsingInput::visitInput(Visitor& visitor) const { std::visit(InputDispatch{visitor}, source_); }

}  // namespace kr::zero::io
