/// @file
/// Short ways between models and bytes of the tagged format.
#pragma once

#include <memory>
#include <string>

#include "kr/zero/Model.h"
#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryKRSylvanSerializer.h"

namespace kr::zero::test {

/// A parser of the tagged format for the meta models of a registry.
inline std::unique_ptr<io::BinaryKRSylvanParser> makeTaggedParser(const meta::MetaRegistry& registry) {
  return std::make_unique<io::BinaryKRSylvanParser>(std::make_unique<io::ParseCustomizer>(registry),
                                                    std::make_unique<io::ParsingModelBuilder>(false));
}

inline std::string writeTagged(const Model& model) {
  std::string bytes;
  io::BinaryKRSylvanSerializer().serialize(model, io::SerializationOutput::toString(bytes));
  return bytes;
}

/// What the first bytes of every document are: start, version 1, "kr".
inline const std::string taggedHeader = "\x01\x20\x01\x30\x02kr";

}  // namespace kr::zero::test
