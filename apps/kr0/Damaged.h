/// @file
/// Internal: what is needed to look into documents that may be damaged.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Documents.h"

namespace kr::zero::tool {

/// A document of the direct or the tagged format, be it in an archive or by itself, as far as it can be had.
struct InnerDocument {
  Format format = Format::krb;           ///< krb or krt
  std::vector<std::uint8_t> bytes = {};  ///< of a document in an archive; empty for any other
  std::string damage = {};               ///< of the archive's frame around it; empty: it is whole
};

/// The document inside an archive.
/// @throws Error where there is nothing of it.
InnerDocument readInner(const Document& archive);

/// The meta models that are given, else those of an archive where these are whole; else nothing.
/// @throws Error where those that are given cannot be taken in.
std::optional<MetaModels> findMetaModels(const Document& document, const ReadOptions& options);

/// @throws WrongCall for XMI.
void requireBinary(const Document& document);

}  // namespace kr::zero::tool
