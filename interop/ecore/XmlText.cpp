#include "XmlText.h"

#include <iconv.h>
#include <utf8.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include "Errors.h"
#include "kr/zero/io/ReadFailure.h"

namespace kr::zero::ecore {

namespace {

bool startsWith(std::string_view text, std::string_view head) { return text.substr(0, head.size()) == head; }

// Of ASCII, whatever letters the language of the program around this has.
std::string upperCase(std::string_view text) {
  std::string upper(text);
  for (char& letter : upper)
    if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - 'a' + 'A');
  return upper;
}

struct FileCloser {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }  // it was only read
};

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
    failIn(name, join("the encoding ", inQuotes(encoding), " is not known"), ErrorCode::damaged);
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
             join("the bytes from offset ", std::to_string(bytes.size() - inLeft), " on are not ", encoding),
             ErrorCode::damaged);
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

/// What a character can be to the check.
enum Mark : std::uint8_t {
  kMarkup = 1,     // "<"
  kReference = 2,  // "&"
  kTagEnd = 4,     // ">"
  kQuote = 8,
  kLineEnd = 16,
};

constexpr std::array<std::uint8_t, 256> makeMarks() {
  std::array<std::uint8_t, 256> marks{};
  marks['<'] = kMarkup;
  marks['&'] = kReference;
  marks['>'] = kTagEnd;
  marks['"'] = marks['\''] = kQuote;
  marks['\n'] = marks['\r'] = kLineEnd;
  return marks;
}

constexpr std::array<std::uint8_t, 256> kMarks = makeMarks();

/// Offset of the next character with one of the marks, or the end.
std::size_t findMark(std::string_view text, std::size_t from, unsigned marks) {
  const auto isMarked = [&](std::size_t i) {
    return (kMarks[static_cast<unsigned char>(text[i])] & marks) != 0;
  };
  for (; text.size() - from >= 4; from += 4) {
    if (isMarked(from)) return from;
    if (isMarked(from + 1)) return from + 1;
    if (isMarked(from + 2)) return from + 2;
    if (isMarked(from + 3)) return from + 3;
  }
  while (from < text.size() && !isMarked(from)) ++from;
  return from;
}

/// Checks the characters, then the structure with the depth as its only memory: the parser behind checks
/// the rest.
class StructureCheck {
 public:
  StructureCheck(std::string_view text, const LineTable& lines, std::string_view name)
      : text_(text), lines_(lines), name_(name) {}

  void characters() {
    for (std::size_t i = findSuspect(0); i < text_.size(); i = findSuspect(i)) {
      const auto c = static_cast<unsigned char>(text_[i]);
      if (c < 0x20) fail(i, join("the character ", std::to_string(c), " cannot stand in XML"));
      i += checkedLength(i);
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

  /// Whether there is anything but elements and character data inside of the root.
  bool hasOtherMarkup() const noexcept { return hasOtherMarkup_; }

 private:
  [[noreturn]] void fail(std::size_t offset, std::string_view what) const {
    failAt(name_, lines_.lineOf(offset), what, ErrorCode::damaged);
  }

  /// 1 for a byte that is neither a printable character of ASCII nor a blank; without branches, so that the
  /// compiler takes sixteen at a time.
  static unsigned char isSuspect(char c) noexcept {
    return static_cast<unsigned char>((static_cast<signed char>(c) < 0x20) & (c != '\t') & (c != '\n') &
                                      (c != '\r'));
  }

  /// Offset of the next byte to be looked at, or the end.
  std::size_t findSuspect(std::size_t from) const {
    constexpr std::size_t kBlock = 32;
    for (; text_.size() - from >= kBlock; from += kBlock) {
      unsigned char anySuspect = 0;
      for (std::size_t i = 0; i < kBlock; ++i) anySuspect |= isSuspect(text_[from + i]);
      if (anySuspect != 0) break;
    }
    while (from < text_.size() && isSuspect(text_[from]) == 0) ++from;
    return from;
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
    if (depth_ == 0) return textOutside();
    position_ = findMark(text_, position_, kMarkup | kReference);
    while (position_ < text_.size() && text_[position_] == '&') {
      reference(position_);
      position_ = findMark(text_, position_ + 1, kMarkup | kReference);
    }
  }

  void textOutside() {
    for (; position_ < text_.size() && text_[position_] != '<'; ++position_) {
      if (text_[position_] == '&')
        reference(position_);
      else if (!isBlank(text_[position_]))
        fail(position_, "there is text outside of the root element");
    }
  }

  void markup() {
    const std::string_view rest = text_.substr(position_);
    if (rest.size() < 2 || (rest[1] != '!' && rest[1] != '?' && rest[1] != '/')) return startTag();
    if (rest[1] == '/') {
      if (depth_ > 0) --depth_;
      return skipPast(">", 2);
    }
    if (startsWith(rest, "<!DOCTYPE")) return documentType();
    if (depth_ > 0) hasOtherMarkup_ = true;
    if (startsWith(rest, "<!--")) return skipPast("-->", 4);
    if (startsWith(rest, "<![CDATA[")) return skipPast("]]>", 9);
    if (startsWith(rest, "<?")) return skipPast("?>", 2);
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
    std::size_t i = nextOf('>', position_, nextTagEnd_);
    if (!isPlainTag(position_ + 1, i)) {
      i = findMark(text_, position_ + 1, kTagEnd | kQuote);
      while (i < text_.size() && text_[i] != '>') i = findMark(text_, endOfValue(i), kTagEnd | kQuote);
    }
    if (i < text_.size() && text_[i - 1] != '/') ++depth_;
    position_ = std::min(i + 1, text_.size());
  }

  /// Whether a tag ends at the first ">" behind its beginning, and has no more to be checked.
  bool isPlainTag(std::size_t from, std::size_t end) {
    return end < nextOf('<', from, nextMarkup_) && end < nextOf('&', from, nextReference_) &&
           end < nextOf('\'', from, nextApostrophe_) && !hasOddQuotes(text_.substr(from, end - from));
  }

  static bool hasOddQuotes(std::string_view text) {
    using Block = signed char __attribute__((vector_size(16)));  // one parity for each place of a block
    Block odd{};
    std::size_t i = 0;
    for (; text.size() - i >= sizeof odd; i += sizeof odd) {
      Block block;
      std::memcpy(&block, text.data() + i, sizeof block);
      odd ^= block == '"';
    }
    int sum = 0;
    for (std::size_t place = 0; place < sizeof odd; ++place) sum ^= odd[place];
    for (; i < text.size(); ++i) sum ^= text[i] == '"' ? -1 : 0;
    return sum != 0;
  }

  /// Offset behind the quotation mark that closes the one at `open`, or the end of the text.
  std::size_t endOfValue(std::size_t open) {
    const std::size_t close = text_.find(text_[open], open + 1);
    if (close < nextOf('<', open, nextMarkup_) && close < nextOf('&', open, nextReference_)) return close + 1;
    for (std::size_t i = open;;) {
      i = findMark(text_, i + 1, kQuote | kMarkup | kReference);
      if (i == text_.size()) return i;
      if (text_[i] == text_[open]) return i + 1;
      if (text_[i] == '<') fail(i, "the character \"<\" stands in the value of an attribute");
      if (text_[i] == '&') reference(i);
    }
  }

  /// Where a character stands next; `known` is the answer of the last time, for an earlier place.
  std::size_t nextOf(char c, std::size_t from, std::size_t& known) const {
    if (known <= from) known = text_.find(c, from);
    return known;
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
  std::size_t nextMarkup_ = 0;
  std::size_t nextReference_ = 0;
  std::size_t nextApostrophe_ = 0;
  std::size_t nextTagEnd_ = 0;
  bool rootSeen_ = false;
  bool hasOtherMarkup_ = false;
};

}  // namespace

LineTable::LineTable(std::string_view text) {
  // Most files hold no carriage returns; there the library's search does, which takes many bytes at a time.
  const bool hasReturns = text.find('\r') != std::string_view::npos;
  const auto next = [&](std::size_t from) {
    return hasReturns ? findMark(text, from, kLineEnd) : std::min(text.find('\n', from), text.size());
  };
  for (std::size_t i = next(0); i < text.size(); i = next(i + 1))
    if (text[i] == '\n' || i + 1 == text.size() || text[i + 1] != '\n') starts_.push_back(i + 1);
}

std::size_t LineTable::lineOf(std::size_t offset) const {
  const auto after = std::upper_bound(starts_.begin(), starts_.end(), offset);
  return static_cast<std::size_t>(after - starts_.begin()) + 1;
}

std::size_t LineTable::columnOf(std::size_t offset) const {
  const auto after = std::upper_bound(starts_.begin(), starts_.end(), offset);
  return offset - (after == starts_.begin() ? 0 : *(after - 1)) + 1;
}

std::string readFile(const std::filesystem::path& path) {
  const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
  if (!file) failIn(path.string(), io::unreadableFor(errno), ErrorCode::unreadable);
  std::string bytes;
  char piece[std::size_t{1} << 16];
  for (;;) {
    const std::size_t count = std::fread(piece, 1, sizeof piece, file.get());
    bytes.append(piece, count);
    if (count < sizeof piece) break;
  }
  if (std::ferror(file.get()) != 0) failIn(path.string(), io::unreadableFor(errno), ErrorCode::unreadable);
  return bytes;
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
  if (!isByteEncoding(encoding))
    failIn(name, join("it says that it is in ", encoding, ", but it is not"), ErrorCode::damaged);
  return convert(bytes, encoding, name);
}

bool checkXml(std::string_view text, const LineTable& lines, std::string_view name) {
  StructureCheck check(text, lines, name);
  check.characters();
  check.structure();
  return check.hasOtherMarkup();
}

}  // namespace kr::zero::ecore
