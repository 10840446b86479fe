/// @file
/// Internal: what there is to know of a document.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "Faults.h"

namespace kr::zero::tool {

/// Elements of each class, by its qualified name.
using Counts = std::map<std::string, std::size_t>;

/// A package that a document uses.
struct PackageFacts {
  std::string uri;
  std::string fingerprint = {};  ///< empty: the document says none
};

/// A part of an archive.
struct PartFacts {
  std::string name;
  bool isWhole = false;
  std::optional<std::uint64_t> bytes = {};  ///< that it takes in the file; nothing where it is not there
};

/// The document in an archive.
struct InnerFacts {
  std::string format;
  std::uint64_t bytes = 0;
};

/// What there is to know of a document; what it does not say, or is damaged, is empty.
struct Facts {
  /// @param size of the document, unpacked; its bytes need not be there.
  Facts(const Document& document, std::size_t size);

  Format format;
  std::string version = {};
  std::size_t bytes;
  archive::Packing packing;
  std::size_t packedBytes;  ///< where it is packed
  std::optional<InnerFacts> inner = {};
  std::optional<archive::Manifest> manifest = {};
  std::optional<std::vector<PackageFacts>> packages = {};
  std::vector<PartFacts> parts = {};
  std::optional<Counts> elements = {};
  Faults faults;
};

/// Looks at a document. Damage of an archive's parts is in the facts.
/// @throws Error where nothing can be told.
Facts gatherFacts(const InputOptions& input);

/// The version that a document says of its format, as far as that is told without a meta model; else empty.
std::string versionOf(const Document& document);

/// What a way of packing is called: "gzip", "zstd", "none".
std::string_view nameOf(archive::Packing packing);

}  // namespace kr::zero::tool
