/// @file
/// Writes documents of the direct format by hand, one item per call, right or wrong.
///
///     const Bytes bytes = DirectBytes().header({"urn:g"}).root("g.N").key(1).text("a").end();
///
/// Knows nothing of models and shares no code with the library, so that it can disagree with it.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <type_traits>
#include <vector>

namespace kr::zero::test {

using Bytes = std::vector<std::uint8_t>;

class DirectBytes {
 public:
  static constexpr std::uint64_t startToken = 0;
  static constexpr std::uint64_t endToken = 16383;

  DirectBytes& byte(unsigned value) {
    bytes_.push_back(static_cast<std::uint8_t>(value));
    return *this;
  }
  DirectBytes& raw(std::initializer_list<unsigned> values) {
    for (unsigned value : values) byte(value);
    return *this;
  }
  DirectBytes& raw(const Bytes& values) {
    bytes_.insert(bytes_.end(), values.begin(), values.end());
    return *this;
  }
  /// A base-128 number, least significant group first.
  DirectBytes& number(std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) byte(0x80u | (value & 0x7Fu));
    return byte(static_cast<unsigned>(value));
  }
  /// Length and bytes.
  DirectBytes& text(std::string_view utf8) {
    number(utf8.size());
    for (char c : utf8) byte(static_cast<unsigned char>(c));
    return *this;
  }
  /// A number of sizeof(T) bytes, low byte first.
  template <class T>
  requires std::is_arithmetic_v<T> DirectBytes& fixed(T value) {
    std::uint8_t cell[sizeof(T)];
    std::memcpy(cell, &value, sizeof(T));
    if (std::endian::native == std::endian::big) std::reverse(cell, cell + sizeof(T));
    bytes_.insert(bytes_.end(), cell, cell + sizeof(T));
    return *this;
  }

  DirectBytes& header(std::initializer_list<std::string_view> packages) {
    number(1).text("kr").number(packages.size());
    for (std::string_view uri : packages) text(uri);
    return *this;
  }
  DirectBytes& root(std::string_view type) { return number(startToken).element(type); }
  DirectBytes& root(std::string_view type, std::string_view id1, std::string_view id2) {
    return number(startToken).element(type, id1, id2);
  }
  DirectBytes& key(std::uint64_t identifier) { return number(identifier); }
  DirectBytes& child(std::uint64_t identifier, std::string_view type) {
    return key(identifier).element(type);
  }
  DirectBytes& child(std::uint64_t identifier, std::string_view type, std::string_view id1,
                     std::string_view id2) {
    return key(identifier).element(type, id1, id2);
  }
  DirectBytes& element(std::string_view type) { return number(0).text(type).byte(2); }
  DirectBytes& element(std::string_view type, std::string_view id1, std::string_view id2) {
    return number(0).text(type).byte(1).text(id1).text(id2);
  }
  DirectBytes& reference(std::string_view type, std::string_view id1, std::string_view id2) {
    return number(0).text(type).byte(1).text(id1).text(id2);
  }
  DirectBytes& reference(std::string_view type, std::string_view qualifier, std::string_view id1,
                         std::string_view id2) {
    return number(0).text(type).byte(2).text(qualifier).text(id1).text(id2);
  }
  DirectBytes& present() { return byte(0xDD); }
  DirectBytes& absent() { return byte(0xEE); }
  DirectBytes& end() { return number(endToken); }

  const Bytes& bytes() const { return bytes_; }
  operator const Bytes&() const { return bytes_; }

 private:
  Bytes bytes_;
};

}  // namespace kr::zero::test
