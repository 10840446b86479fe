#include "direct/OutputDelivery.h"

#include <fstream>
#include <ostream>

#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "fl/filesystem/path.h"

namespace kr::zero::io {

namespace {

class TheVisitor final : public SerializationOutput::Visitor {
 public:
  explicit TheVisitor(const values::ByteBuffer& bytes) : bytes_(bytes) {}

  void visitFile(const ustring& path) override {
    std::ofstream file(fl::filesystem::detail::make_native_access_form_with_cleanup_i18n(path),
                       std::ios::binary);
    visitStream(file);
  }
  void visitStream(std::ostream& stream) override {
    if (stream.fail()) errors::raise<kr0::io::CannotSerialize>(errors::cannotSerialize());
    for (std::size_t i = 0; i < bytes_.size(); ++i) stream.put(static_cast<char>(bytes_.data()[i]));
  }
  void visitString(std::string&) override {
    errors::raise<kr0::io::StringNotSupported>(errors::stringNotSupported());
  }
  void visitUString(ustring&) override {
    errors::raise<kr0::io::UstringNotSupported>(errors::ustringNotSupported());
  }
  void visitIntermediateFormat(void*) override {
    errors::raise<kr0::io::IntermediateFormatNotSupported>(errors::intermediateFormatNotSupported());
  }
  void visitLittleEndianByteSequence(std::vector<unsigned char>& bytes) override {
    bytes.assign(bytes_.data(), bytes_.data() + bytes_.size());
  }

 private:
  const values::ByteBuffer& bytes_;
};

}  // namespace

void deliver(const values::ByteBuffer& bytes, const SerializationOutput& output) {
  TheVisitor visitor(bytes);
  output.visitOutput(visitor);
}

}  // namespace kr::zero::io
