/// @file
/// Internal: JSON that is written in one go, without a tree of it in memory.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace kr::zero::tool {

/// JSON that grows; commas come by themselves. Texts are taken as they are: UTF-8, with escapes only where
/// JSON wants them.
class JsonText {
 public:
  /// Begins an object or an array: '{' or '['.
  void open(char bracket);
  /// Ends it.
  void close(char bracket);
  /// The name of the member that comes next.
  JsonText& name(std::string_view name);

  void add(std::string_view text);
  void add(const std::string& text) { add(std::string_view(text)); }
  void add(const char* text) { add(std::string_view(text)); }
  template <std::same_as<bool> Boolean>
  void add(Boolean value) {
    addWord(value ? "true" : "false");
  }
  template <std::integral Number>
  requires(!std::same_as<Number, bool>) void add(Number number) {
    addNumber(static_cast<std::int64_t>(number));
  }
  void addNull() { addWord("null"); }

  /// A member.
  template <class Value>
  JsonText& add(std::string_view memberName, const Value& value) {
    name(memberName).add(value);
    return *this;
  }
  /// A member with an array of these.
  template <class Values>
  JsonText& addList(std::string_view memberName, const Values& values) {
    name(memberName).open('[');
    for (const auto& value : values) add(value);
    close(']');
    return *this;
  }

  std::string take() && { return std::move(text_); }

 private:
  void separate();
  void addWord(std::string_view word);
  void addNumber(std::int64_t number);

  std::string text_;
  bool isFirst_ = true;
};

}  // namespace kr::zero::tool
