/// @file
/// The plainest reader of the tagged format there can be: one peek() for each look whether there is a byte,
/// one get() for each byte. What it does to a stream is what a caller of the library may expect.
#pragma once

#include <cstdint>
#include <cstring>
#include <istream>
#include <stdexcept>
#include <string>

#include "Tagged.h"

namespace kr::zero::test {

class NaiveCorrupt {};

class NaiveReader {
 public:
  NaiveReader(std::istream& stream, Events& target) : stream_(stream), target_(target) {
    if (stream.fail()) throw NaiveCorrupt();
  }

  void readDocument() {
    next();
    target_.startDocument(nullptr);
    primitive(next());
    const Primitive marker = primitive(next());
    little_ = marker == text("kr");
    while (!isEmpty()) {
      const unsigned tag = next();
      if (tag == 2) return target_.endDocument();
      item(tag);
    }
  }

 private:
  bool isEmpty() { return stream_.peek() == std::char_traits<char>::eof(); }

  unsigned next() {
    if (isEmpty()) throw NaiveCorrupt();
    return static_cast<unsigned char>(stream_.get());
  }

  void item(unsigned tag) {
    if (tag == 0x03) return target_.startStruct();
    if (tag == 0x04) return target_.endStruct();
    if (tag == 0x05) return target_.startSequence();
    if (tag == 0x06) return target_.endSequence();
    if (tag == 0x07) return target_.startMetadata();
    if (tag == 0x08) return target_.endMetadata();
    if (tag == 0x10) return target_.endNamedEntry();
    if (tag == 0x09) return target_.startNamedEntry(primitive(next()));
    target_.writePrimitive(primitive(tag));
  }

  Primitive primitive(unsigned tag) {
    if (tag == 0x11) return false;
    if (tag == 0x12) return true;
    if (tag == 0x13) return std::int64_t{0};
    if (tag == 0x15) return 0.0;
    if (tag == 0x16) return nullptr;
    if (tag == 0x30) return string(next());
    if (tag == 0x31) return string(number(8));
    if (tag >= 0x20 && tag <= 0x27) return number(tag - 0x1F);
    if (tag >= 0x28 && tag <= 0x2F) return static_cast<std::int64_t>(0 - number(tag - 0x27));
    if (tag != 0x14) throw NaiveCorrupt();
    const std::uint64_t bits = number(8);
    double real;
    std::memcpy(&real, &bits, sizeof(real));
    return real;
  }

  std::uint64_t number(unsigned width) {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i) {
      const std::uint64_t byte = next();
      value = little_ ? value | byte << (8 * i) : value << 8 | byte;
    }
    return value;
  }

  std::string string(std::uint64_t size) {
    std::string bytes;
    if (size > bytes.max_size()) throw std::length_error("string");
    for (; size != 0; --size) bytes += static_cast<char>(next());
    return bytes;
  }

  std::istream& stream_;
  Events& target_;
  bool little_ = true;
};

}  // namespace kr::zero::test
