#include "XmlText.h"

#include <iconv.h>
#include <utf8.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <memory>
#include <optional>

#include "Errors.h"

namespace kr::zero::ecore {

namespace {

constexpr std::string_view blanks = " \t\r\n";

bool startsWith(std::string_view text, std::string_view head) { return text.substr(0, head.size()) == head; }

std::string upperCase(std::string_view text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
  return upper;
}

struct IconvCloser {
  void operator()(void* handle) const { iconv_close(handle); }
};

/// Converts by iconv, piece by piece, so that the output grows with what really arrives.
std::string convert(std::string_view bytes, const std::string& encoding, std::string_view name) {
  const bool plausible = std::all_of(encoding.begin(), encoding.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '-' || c == '_' || c == '.' || c == ':';
  });
  iconv_t handle = plausible ? iconv_open("UTF-8", encoding.c_str()) : reinterpret_cast<iconv_t>(-1);
  if (handle == reinterpret_cast<iconv_t>(-1))
    failIn(name, join("the encoding ", inQuotes(encoding), " is not known"));
  const std::unique_ptr<void, IconvCloser> closer(handle);

  std::string converted;
  std::string piece(std::size_t{1} << 16, '\0');
  char* in = const_cast<char*>(bytes.data());  // iconv does not write there
  std::size_t inLeft = bytes.size();
  while (inLeft > 0) {
    char* out = piece.data();
    std::size_t outLeft = piece.size();
    const std::size_t result = iconv(handle, &in, &inLeft, &out, &outLeft);
    converted.append(piece, 0, piece.size() - outLeft);
    if (result == static_cast<std::size_t>(-1) && errno != E2BIG)
      failIn(name,
             join("the bytes from offset ", std::to_string(bytes.size() - inLeft), " on are not ", encoding));
  }
  return converted;
}

/// The encoding that the first bytes show by themselves, and the length of the byte-order mark.
struct Signature {
  const char* encoding;
  std::size_t length;
};

std::optional<Signature> signatureOf(std::string_view bytes) {
  using namespace std::string_view_literals;
  if (startsWith(bytes, "\xEF\xBB\xBF")) return Signature{"UTF-8", 3};
  if (startsWith(bytes, "\xFF\xFE\0\0"sv)) return Signature{"UTF-32LE", 4};
  if (startsWith(bytes, "\0\0\xFE\xFF"sv)) return Signature{"UTF-32BE", 4};
  if (startsWith(bytes, "\xFF\xFE")) return Signature{"UTF-16LE", 2};
  if (startsWith(bytes, "\xFE\xFF")) return Signature{"UTF-16BE", 2};
  if (startsWith(bytes, "<\0?\0"sv)) return Signature{"UTF-16LE", 0};
  if (startsWith(bytes, "\0<\0?"sv)) return Signature{"UTF-16BE", 0};
  return std::nullopt;
}

bool isByteEncoding(const std::string& upper) {
  return !startsWith(upper, "UTF-16") && !startsWith(upper, "UTF-32");
}

bool isXmlCharacter(std::uint32_t c) {
  if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
  return c < 0xD800 || (c > 0xDFFF && c < 0xFFFE) || (c > 0xFFFF && c <= 0x10FFFF);
}

/// One pass over the structure, with the depth as its only memory: the parser behind checks the rest.
class StructureCheck {
 public:
  StructureCheck(std::string_view text, const LineTable& lines, std::string_view name)
      : text_(text), lines_(lines), name_(name) {}

  void characters() {
    for (std::size_t i = 0; i < text_.size();) {
      const auto c = static_cast<unsigned char>(text_[i]);
      if (c >= 0x80)
        i += checkedLength(i);
      else if (c < 0x20 && !isXmlCharacter(c))
        fail(i, join("the character ", std::to_string(c), " cannot stand in XML"));
      else
        ++i;
    }
  }

  void structure() {
    while (position_ < text_.size()) {
      if (text_[position_] == '<')
        markup();
      else
        characterData();
    }
  }

 private:
  [[noreturn]] void fail(std::size_t offset, std::string_view what) const {
    failAt(name_, lines_.lineOf(offset), what);
  }

  std::size_t checkedLength(std::size_t offset) const {
    const char* start = text_.data() + offset;
    const char* it = start;
    try {
      if (!isXmlCharacter(utf8::next(it, text_.data() + text_.size())))
        fail(offset, "a character cannot stand in XML");
    } catch (const utf8::exception&) {
      fail(offset, "the text is not well-formed UTF-8");
    }
    return static_cast<std::size_t>(it - start);
  }

  void characterData() {
    for (; position_ < text_.size() && text_[position_] != '<'; ++position_) {
      if (text_[position_] == '&')
        reference(position_);
      else if (depth_ == 0 && blanks.find(text_[position_]) == std::string_view::npos)
        fail(position_, "there is text outside of the root element");
    }
  }

  void markup() {
    const std::string_view rest = text_.substr(position_);
    if (startsWith(rest, "<!--")) return skipPast("-->", 4);
    if (startsWith(rest, "<![CDATA[")) return skipPast("]]>", 9);
    if (startsWith(rest, "<?")) return skipPast("?>", 2);
    if (startsWith(rest, "<!DOCTYPE")) return documentType();
    if (startsWith(rest, "</")) {
      if (depth_ > 0) --depth_;
      return skipPast(">", 2);
    }
    startTag();
  }

  void skipPast(std::string_view end, std::size_t from) {
    const std::size_t found = text_.find(end, position_ + from);
    position_ = found == std::string_view::npos ? text_.size() : found + end.size();
  }

  void documentType() {
    const std::size_t end = text_.find_first_of("[>", position_);
    if (end != std::string_view::npos && text_[end] == '[')
      fail(position_, "declarations inside of the document type are not supported");
    skipPast(">", 0);
  }

  void startTag() {
    if (depth_ == 0 && rootSeen_) fail(position_, "there is a second root element");
    rootSeen_ = true;
    char quote = 0;
    std::size_t i = position_ + 1;
    for (; i < text_.size() && (quote != 0 || text_[i] != '>'); ++i) {
      const char c = text_[i];
      if (quote == 0 && (c == '"' || c == '\''))
        quote = c;
      else if (c == quote)
        quote = 0;
      else if (quote != 0 && c == '<')
        fail(i, "the character \"<\" stands in the value of an attribute");
      else if (quote != 0 && c == '&')
        reference(i);
    }
    if (i < text_.size() && text_[i - 1] != '/') ++depth_;
    position_ = std::min(i + 1, text_.size());
  }

  void reference(std::size_t offset) const {
    const std::size_t end = text_.find_first_of(";<&\"'", offset + 1);
    if (end == std::string_view::npos || text_[end] != ';')
      fail(offset, "a \"&\" does not begin a reference that ends with \";\"");
    const std::string_view entity = text_.substr(offset + 1, end - offset - 1);
    if (startsWith(entity, "#")) {
      if (!isCharacterNumber(entity.substr(1)))
        fail(offset,
             join("the reference ", inQuotes(join("&", entity, ";")), " stands for no character of XML"));
    } else if (entity != "lt" && entity != "gt" && entity != "amp" && entity != "quot" && entity != "apos") {
      fail(offset, join("the entity ", inQuotes(entity), " is not declared"));
    }
  }

  static bool isCharacterNumber(std::string_view digits) {
    const bool hexadecimal = startsWith(digits, "x");
    if (hexadecimal) digits.remove_prefix(1);
    std::uint32_t number = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), number, hexadecimal ? 16 : 10);
    return error == std::errc() && end == digits.data() + digits.size() && isXmlCharacter(number);
  }

  std::string_view text_;
  const LineTable& lines_;
  std::string_view name_;
  std::size_t position_ = 0;
  std::size_t depth_ = 0;
  bool rootSeen_ = false;
};

}  // namespace

LineTable::LineTable(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool loneReturn = text[i] == '\r' && (i + 1 == text.size() || text[i + 1] != '\n');
    if (text[i] == '\n' || loneReturn) starts_.push_back(i + 1);
  }
}

std::size_t LineTable::lineOf(std::size_t offset) const {
  const auto after = std::upper_bound(starts_.begin(), starts_.end(), offset);
  return static_cast<std::size_t>(after - starts_.begin()) + 1;
}

std::string_view declaredEncoding(std::string_view text) {
  if (!startsWith(text, "<?xml")) return {};
  const std::string_view declaration = text.substr(0, text.find("?>"));
  const std::size_t key = declaration.find("encoding");
  if (key == std::string_view::npos) return {};
  const std::size_t open = declaration.find_first_of("\"'", key);
  if (open == std::string_view::npos) return {};
  const std::size_t close = declaration.find(declaration[open], open + 1);
  if (close == std::string_view::npos) return {};
  return declaration.substr(open + 1, close - open - 1);
}

std::string decodeXml(std::string bytes, std::string_view name) {
  if (const auto signature = signatureOf(bytes)) {
    if (signature->encoding != std::string_view("UTF-8"))
      return convert(std::string_view(bytes).substr(signature->length), signature->encoding, name);
    bytes.erase(0, signature->length);
    return bytes;
  }
  const std::string encoding = upperCase(declaredEncoding(bytes));
  if (encoding.empty() || encoding == "UTF-8" || encoding == "UTF8") return bytes;
  if (!isByteEncoding(encoding)) failIn(name, join("it says that it is in ", encoding, ", but it is not"));
  return convert(bytes, encoding, name);
}

void checkXml(std::string_view text, const LineTable& lines, std::string_view name) {
  StructureCheck check(text, lines, name);
  check.characters();
  check.structure();
}

}  // namespace kr::zero::ecore
