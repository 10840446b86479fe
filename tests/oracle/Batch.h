/// @file
/// Batches of documents with what the library says of them, one item per line of words:
///
///     M <JSON>                             a meta model; the documents that follow are of it
///     D <name> <format> <bytes> <verdict> <digest> <content>
///
/// Formats are krb, krt, krz (by the meta model that it brings), krz-by (by the one above) and events (the
/// tree of a tagged document, whatever is in it). Bytes are hexadecimal; the verdict is "accepted", or
/// "refused" with "-" for digest and content. Names and contents hold no blanks. tests/oracle/compare.py
/// reads this.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/meta/Definitions.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::test {

/// A registry in JSON: packages with types, and each property with the number that the registry gave it and,
/// where `definitions` pin one, that. Without definitions all are pinned.
std::string metaModelJson(const meta::MetaRegistry& registry,
                          const std::vector<meta::PackageDefinition>& definitions);

/// All that a model says in one line of ASCII; `compare.py` tells how it is made.
std::string contentOf(const Model& model);

/// The same for the tree events of a tagged document.
/// @throws what the reader throws.
std::string eventsOf(const std::vector<std::uint8_t>& document);

}  // namespace kr::zero::test
