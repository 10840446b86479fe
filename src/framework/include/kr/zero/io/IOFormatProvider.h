/// @file
/// Formats by name: which serializer and parser belong to each.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/export.h"
#include "kr/zero/io/Parser.h"
#include "kr/zero/io/Serializer.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// The table of the process. Threads: safe at any time.
class KR0_FRAMEWORK_API IOFormatProvider {
 public:
  /// The compact binary format.
  static const ustring FORMAT_BINARY;
  /// The tagged binary format, which carries its own names.
  static const ustring FORMAT_BINARY_KRSYLVAN;

  /// What there is to know of a format.
  struct Format {
    /// Makes a serializer for one or more documents.
    std::function<std::unique_ptr<Serializer>()> makeSerializer;
    /// Makes a parser for meta models of that registry, which must outlive it.
    std::function<std::unique_ptr<Parser>(const meta::MetaRegistry&)> makeParser;
    /// Whether its serializers take byte vectors as output. Formats that collect their bytes anyway hand them
    /// over as a whole, which is faster than a stream.
    bool fillsByteVectors = false;
    /// How the names of its files end (".krb"); empty for no ending of its own.
    std::string suffix = {};
    /// How every document begins that its serializers write; empty where that cannot be told.
    std::string beginning = {};
  };

  /// Adds a format or replaces the one of that name.
  /// @throws std::invalid_argument for one without serializer or parser.
  static void registerFormat(const ustring& name, Format format);
  /// The names of all formats, in alphabetical order.
  static std::vector<ustring> getFormatNames();
  /// The name of the format whose suffix a path has; an empty text for none.
  static ustring findBySuffix(std::string_view path);
  /// The name of the format whose documents begin like that; an empty text for none.
  /// @param bytes the first ones of a document; kMostBeginning are enough.
  static ustring findByContent(std::string_view bytes);
  /// Bytes that tell every format's beginning.
  static constexpr std::size_t kMostBeginning = 64;
  /// What was registered under a name.
  /// @throws std::invalid_argument for a name that nobody registered.
  static Format getFormat(const ustring& name);
  /// @throws std::invalid_argument for a name that nobody registered.
  static std::unique_ptr<Serializer> createSerializer(const ustring& name);
  /// A parser for meta models of that registry, which must outlive it.
  /// @throws std::invalid_argument for a name that nobody registered.
  static std::unique_ptr<Parser> createParser(
      const ustring& name, const meta::MetaRegistry& registry = meta::MetaRegistry::instance());
};

}  // namespace kr::zero::io
