#include "foundation/EnglishCatalog.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "text/Utf.h"

namespace resource_core::internal {

namespace {

struct Message {
  std::string_view fullIdentifier;
  std::u16string_view text;  // kPlace stands for the first argument
};

constexpr std::u16string_view kPlace = u"{0}";

constexpr std::array kMessages{
    Message{"kr0:io:CorruptInput", u"The input is damaged or is not in this format."},
    Message{"kr0:io:IntermediateFormatNotSupported",
            u"Reading from or writing to an intermediate form is not supported by this format."},
    Message{"kr0:io:UstringNotSupported",
            u"Reading from or writing to a 16-bit string is not supported by this format."},
    Message{"kr0:io:FileNotFound", u"The file \"{0}\" was not found or cannot be opened."},
    Message{"kr0:io:StringNotSupportedByParser", u"This parser does not read from an 8-bit string."},
    Message{"kr0:io:UstringNotSupportedByParser", u"This parser does not read from a 16-bit string."},
    Message{"kr0:io:CannotSerialize", u"The model could not be written to the output."},
    Message{"kr0:io:StringNotSupported", u"This format does not write to an 8-bit string."},
    Message{"kr0:messages:CannotCastIncompatibleTypes",
            u"A value of the type \"{0}\" does not fit the type that is asked for."},
};

}  // namespace

std::u16string toText(const MsgArgument& argument) {
  if (const auto* wide = std::get_if<std::u16string>(&argument)) return *wide;
  if (const auto* narrow = std::get_if<std::string>(&argument))
    return fl::i18n::internal::showAsUtf16(*narrow);
  return fl::i18n::internal::showAsUtf16(std::to_string(std::get<long long>(argument)));
}

std::optional<std::u16string> findEnglishText(const BaseMsgID& id) {
  const std::string wanted = id.getFullIdentifier();
  const auto* const message = std::ranges::find(kMessages, wanted, &Message::fullIdentifier);
  if (message == kMessages.end()) return std::nullopt;
  std::u16string text(message->text);
  const std::size_t place = text.find(kPlace);
  if (place != text.npos) {
    text.replace(place, kPlace.size(), id.getArguments().empty() ? u"" : toText(id.getArguments().front()));
  }
  return text;
}

}  // namespace resource_core::internal
