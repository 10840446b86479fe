/// @file
/// Short ways between models and bytes of the direct format.
#pragma once

#include <memory>
#include <string>

#include "kr/zero/Model.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"
#include "support/DirectBytes.h"

namespace kr::zero::test {

/// A parser for the meta models of a registry.
inline std::unique_ptr<io::BinaryParser> makeParser(const meta::MetaRegistry& registry) {
  return std::make_unique<io::BinaryParser>(std::make_unique<io::ParseCustomizer>(registry),
                                            std::make_unique<io::ParsingModelBuilder>(false));
}

inline Bytes writeDirect(const Model& model) {
  io::BinarySerializer serializer;
  Bytes bytes;
  serializer.serialize(model, io::SerializationOutput::toByteSequence(bytes));
  return bytes;
}

/// "01 02 6b 72 00", for messages.
inline std::string toHex(const Bytes& bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
    text += ' ';
  }
  return text;
}

}  // namespace kr::zero::test
