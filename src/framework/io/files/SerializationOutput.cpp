#include "kr/zero/io/SerializationOutput.h"

#include <utility>

namespace kr::zero::io {

namespace {

struct OutputDispatch {
  SerializationOutput::Visitor& visitor;
  void operator()(const ustring& path) const { visitor.visitFile(path); }
  void operator()(std::ostream* stream) const { visitor.visitStream(*stream); }
  void operator()(std::string* string) const { visitor.visitString(*string); }
  void operator()(ustring* string) const { visitor.visitUString(*string); }
  void operator()(void* intermediate) const { visitor.visitIntermediateFormat(intermediate); }
  void operator()(std::vector<unsigned char>* bytes) const { visitor.visitLittleEndianByteSequence(*bytes); }
};

}  // namespace

SerializationOutput::Visitor::~Visitor() = default;
void SerializationOutput::Visitor::visitValue(std::optional<Value>&) {}

SerializationOutput SerializationOutput::toFile(ustring path) {
  return SerializationOutput(Target(std::in_place_type<ustring>, std::move(path)));
}
SerializationOutput SerializationOutput::toStream(std::ostream& stream) {
  return SerializationOutput(Target(std::in_place_type<std::ostream*>, &stream));
}
SerializationOutput SerializationOutput::toString(std::string& string) {
  return SerializationOutput(Target(std::in_place_type<std::string*>, &string));
}
SerializationOutput SerializationOutput::toUString(ustring& string) {
  return SerializationOutput(Target(std::in_place_type<ustring*>, &string));
}
SerializationOutput SerializationOutput::toIntermediateFormat(void* intermediate) {
  return SerializationOutput(Target(std::in_place_type<void*>, intermediate));
}
SerializationOutput SerializationOutput::toByteSequence(std::vector<unsigned char>& bytes) {
  return SerializationOutput(Target(std::in_place_type<std::vector<unsigned char>*>, &bytes));
}

void SerializationOutput::visitOutput(Visitor& visitor) const {
  std::visit(OutputDispatch{visitor}, target_);
}

}  // namespace kr::zero::io
