#include "direct/TextWriter.h"

#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "fl/i18n/converter.h"

namespace kr::zero::io {

namespace {

const fl::i18n::codecvt_ustring_to_string& utf8Converter() {
  static const fl::i18n::codecvt_ustring_to_string converter("UTF8", true);
  return converter;
}

}  // namespace

void TextWriter::appendOther(values::ByteBuffer& out, std::u16string_view text) {
  if (!utf8Converter().convert(text, utf8_))
    errors::raise<kr0::io::CannotSerialize>(errors::cannotSerialize());
  std::uint8_t* const bytes =
      direct::encodeNumber(utf8_.size(), out.makeRoom(utf8_.size() + direct::kMostNumberBytes));
  std::memcpy(bytes, utf8_.data(), utf8_.size());
  out.setEnd(bytes + utf8_.size());
}

}  // namespace kr::zero::io
