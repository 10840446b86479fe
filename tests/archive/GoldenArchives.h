/// @file
/// Archives as bytes: they must be read for ever. What is written depends on the release of libzstd, and so
/// is not compared with them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kr::zero::test {

/// A bit of a part, counted from its first byte.
struct BitPlace {
  std::size_t byte;
  unsigned bit;
  friend auto operator<=>(const BitPlace&, const BitPlace&) = default;
};

/// goldenArchiveModel() in an archive.
struct GoldenArchive {
  std::string name;
  std::string manifest;  ///< a whole frame, as the two others
  std::string metaModel;
  std::string document;
  /// Bits of the document that are used, and whose other value spells the same content in another way: a
  /// match of the same bytes elsewhere, or a code for something that does not occur.
  std::vector<BitPlace> otherSpellings;

  std::string join() const { return manifest + metaModel + document; }
};

const std::vector<GoldenArchive>& goldenArchives();

}  // namespace kr::zero::test
