/// @file
/// Internal: figures of documents, for those that tell them.
#pragma once

#include <cstdint>
#include <string>

#include "kr/zero/io/DocumentBytes.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::tool {

/// "1 file", "2 files".
std::string counted(std::uint64_t count, const std::string& one, const std::string& many);

/// The bytes that a property takes in the instances of a type; 0 where it takes none.
std::uint64_t bytesOf(meta::Property property, const io::TypeBytes& type);

}  // namespace kr::zero::tool
