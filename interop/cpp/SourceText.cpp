#include "SourceText.h"

#include <utility>
#include <vector>

namespace kr::zero::cpp {

namespace {

constexpr std::size_t kLongestLine = 110;

void appendOctal(std::string& out, unsigned char byte) {
  out += '\\';
  out += static_cast<char>('0' + (byte >> 6));
  out += static_cast<char>('0' + (byte >> 3 & 7));
  out += static_cast<char>('0' + (byte & 7));
}

/// Whether the three bytes are one of the characters that turn the direction of writing around, or end a line
/// for some readers: U+2028 to U+202E and U+2066 to U+2069.
bool isTreacherous(std::string_view bytes) {
  if (bytes.size() < 3 || bytes[0] != '\xE2') return false;
  const auto third = static_cast<unsigned char>(bytes[2]);
  return (bytes[1] == '\x80' && third >= 0xA8 && third <= 0xAE) ||
         (bytes[1] == '\x81' && third >= 0xA6 && third <= 0xA9);
}

/// The words of a text; an empty one stands for the end of a line.
std::vector<std::string> wordsOf(std::string_view text) {
  std::vector<std::string> words;
  std::string word;
  const auto finish = [&] {
    if (!word.empty()) words.push_back(std::exchange(word, {}));
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool isBlank = byte <= ' ' || byte == 0x7F;
    const bool isTwoByteControl =
        byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (isTreacherous(text.substr(i))) {
      finish();
      i += 2;
    } else if (isTwoByteControl) {
      finish();
      ++i;
    } else if (isBlank) {
      finish();
      if (byte == '\n') words.emplace_back();
    } else {
      word += text[i];
    }
  }
  finish();
  return words;
}

class CommentLines {
 public:
  CommentLines(std::string& out, std::size_t indent) : out_(out), start_(std::string(indent, ' ') + "///") {}

  void add(const std::string& word) {
    if (!line_.empty() && start_.size() + line_.size() + 1 + word.size() > kLongestLine) end();
    line_ += ' ' + word;
  }
  void end() {
    // A line that ends with a backslash goes on in the next one.
    if (!line_.empty() && (line_.back() == '\\' || line_.ends_with("?\?/"))) line_ += '.';
    out_ += start_ + line_ + '\n';
    line_.clear();
  }
  bool isEmpty() const { return line_.empty(); }

 private:
  std::string& out_;
  std::string start_;
  std::string line_;
};

}  // namespace

std::string asView(std::string_view text) {
  std::string literal = "{\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x7F || c == '"' || c == '\\' || c == '?')
      appendOctal(literal, byte);
    else
      literal += c;
  }
  return literal + "\", " + std::to_string(text.size()) + "}";
}

void appendComment(std::string& out, std::size_t indent, std::string_view text) {
  std::vector<std::string> words = wordsOf(text);
  while (!words.empty() && words.back().empty()) words.pop_back();
  CommentLines lines(out, indent);
  bool isStart = true;
  bool wasEmpty = true;  // of several empty lines one is enough
  for (const std::string& word : words) {
    if (!word.empty()) {
      lines.add(word);
      isStart = wasEmpty = false;
    } else if (!lines.isEmpty()) {
      lines.end();
    } else if (!isStart && !wasEmpty) {
      lines.end();
      wasEmpty = true;
    }
  }
  if (!lines.isEmpty()) lines.end();
}

}  // namespace kr::zero::cpp
