/// @file
/// Internal: documents of every format, with the meta models that they need.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ProgressBar.h"
#include "kr/zero/Model.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/io/ReadFailure.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::tool {

/// krb is the direct binary format, krt the tagged one.
enum class Format { krb, krt, xmi };

/// The format of a name that --from or --to gives ("krb", "krt", "xmi"); nothing for an empty name.
std::optional<Format> formatNamed(std::string_view name);
std::string_view nameOf(Format format);

/// The format in which a path is written: that of the extension .krb or .krt, XMI for any other.
/// @throws WrongCall for standard output, whose name tells nothing.
Format outputFormat(const std::string& path);

/// Meta models in a registry of their own.
class MetaModels {
 public:
  /// @throws Error where they cannot be taken in.
  explicit MetaModels(const std::vector<std::string>& paths);
  const meta::MetaRegistry& registry() const { return *registry_; }
  const ecore::Mapping& mapping() const { return *mapping_; }

 private:
  std::unique_ptr<meta::MetaRegistry> registry_;
  std::shared_ptr<const ecore::Mapping> mapping_;
};

/// The bytes of a document, and their format.
struct Document {
  std::string name;
  std::vector<std::uint8_t> bytes;
  Format format = Format::krb;

  std::string_view text() const;
};

/// What a direct binary document says of itself before its first element.
struct BinaryHeader {
  std::string version;
  std::vector<std::string> packages;
};

/// Reads a file or standard input. Its format is the one given, else that of the extension (.krb,
/// .krt, .xmi), else what the content looks like.
Document readDocument(const std::string& path, std::optional<Format> format, ProgressBar& progress);

/// A binary document for what the library says of failures to read.
io::FailedDocument asFailed(const Document& document);

/// @throws Error where the header is malformed.
BinaryHeader readBinaryHeader(const Document& document);

/// @throws Error where the document is malformed or does not fit the meta models.
Model readModel(const Document& document, const MetaModels& metaModels, ProgressBar& progress);

/// Writes a model to a file or standard output; a failure leaves no file behind.
/// @throws Error for a model that the format cannot express.
/// @return the number of bytes written.
std::size_t writeModel(const Model& model, const std::string& path, Format format,
                       const MetaModels& metaModels, ProgressBar& progress);

}  // namespace kr::zero::tool
