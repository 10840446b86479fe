/// @file
/// What the tests of archives share: small models, and archives put together by hand.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/archive/Archive.h"
#include "support/Refusal.h"

namespace kr::zero::test {

/// The meta model and the model of the golden archives: a few nodes, with texts that repeat.
const meta::MetaRegistry& goldenArchiveRegistry();
const Model& goldenArchiveModel();

/// The parts of an archive as they lie in its file; what is changed here is put together with checksums that
/// fit.
struct ArchiveParts {
  std::string manifest;   ///< JSON
  std::string metaModel;  ///< a frame, or nothing
  std::string document;   ///< a frame

  /// Takes the bytes of a sound archive apart.
  explicit ArchiveParts(std::string_view bytes);

  /// The whole archive, the manifest with its checksum.
  std::string join() const;
  std::string manifestFrame() const;
  std::string metaModelFrame() const;
};

/// A skippable frame of Zstandard.
std::string skippableFrame(unsigned number, std::string_view content);
/// A data frame of Zstandard.
std::string compressed(std::string_view content, bool withChecksum = true);
std::string decompressed(std::string_view frame);
/// XXH3-128 in hexadecimal digits.
std::string digitsOf(std::string_view content);
/// Numbers of that many bytes, the low ones first.
std::string lowFirst(std::uint64_t number, std::size_t bytes);
/// A text with one place of it replaced, which must be there.
std::string replaced(std::string text, std::string_view what, std::string_view by);

}  // namespace kr::zero::test
