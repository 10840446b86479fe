/// @file
/// Internal: the namespaces and annotation sources that Ecore and XMI documents use, names with a prefix,
/// and the prefixes that are declared where a reader stands, or in a document that is being written.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "MappingImpl.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::ecore {

inline constexpr std::string_view kXmiNamespace = "http://www.omg.org/XMI";
inline constexpr std::string_view kXsiNamespace = "http://www.w3.org/2001/XMLSchema-instance";
inline constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";
inline constexpr std::string_view kEcoreNamespace = "http://www.eclipse.org/emf/2002/Ecore";

/// Source of the annotations that give classes and features other names in XML.
inline constexpr std::string_view kExtendedMetaDataSource =
    "http:///org/eclipse/emf/ecore/util/ExtendedMetaData";
/// Source of the annotations that say what Ecore has no words for.
inline constexpr std::string_view kBinarySource = "urn:kr0:binary";
// Their keys and values, of features:
inline constexpr std::string_view kIdKey = "id";      // the number that is pinned
inline constexpr std::string_view kTypeKey = "type";  // a standard type that is none of Ecore's
inline constexpr std::string_view kMarkersKey =
    "markers";  // those that hold, where Ecore's say something else
inline constexpr std::string_view kDerivedMarker = "derived";
inline constexpr std::string_view kStaticMarker = "static";
inline constexpr std::string_view kTransientMarker = "transient";
inline constexpr std::string_view kDefaultKey = "default";  // "none": not even Ecore's own, the first literal
inline constexpr std::string_view kNoDefault = "none";
// Of classes:
inline constexpr std::string_view kKindKey = "kind";
inline constexpr std::string_view kDatatypeKind = "datatype";
inline constexpr std::string_view kUniversalKey = "universal";  // "true": every class conforms to it

/// Every version of XMI has a namespace of its own.
inline bool isXmiNamespace(std::string_view uri) {
  return uri.substr(0, 22) == kXmiNamespace || uri.substr(0, 30) == "http://schema.omg.org/spec/XMI" ||
         uri.substr(0, 27) == "http://www.omg.org/spec/XMI";
}

/// A name with its prefix taken off; the prefix may be empty.
struct QName {
  std::string_view prefix;
  std::string_view local;
};

inline QName splitQName(std::string_view name) {
  std::size_t colon = 0;  // names are short: a plain loop is quicker than the library's search
  while (colon < name.size() && name[colon] != ':') ++colon;
  if (colon == name.size()) return {{}, name};
  return {name.substr(0, colon), name.substr(colon + 1)};
}

inline bool isNamespaceDeclaration(std::string_view name, const QName& split) {
  return split.prefix == "xmlns" || name == "xmlns";
}

/// Declarations stand in a stack per prefix, so finding one costs the same at any depth. All texts are
/// views into the document.
class NamespaceScope {
 public:
  NamespaceScope() { declare("xml", kXmlNamespace); }

  void declare(std::string_view prefix, std::string_view uri) {
    uris_[prefix].push_back(uri);
    declared_.push_back(prefix);
    ++version_;
  }
  /// Number of declarations that hold, those of one prefix behind another counted too.
  std::size_t size() const noexcept { return declared_.size(); }
  /// Takes back the last `count` declarations.
  void leave(std::size_t count) {
    version_ += count;
    for (; count > 0; --count) {
      uris_[declared_.back()].pop_back();
      declared_.pop_back();
    }
  }
  /// The namespace of a prefix, or null.
  const std::string_view* find(std::string_view prefix) {
    if (foundAt_ == version_ && prefix == foundPrefix_) return found_;
    const auto it = uris_.find(prefix);
    found_ = it == uris_.end() || it->second.empty() ? nullptr : &it->second.back();
    foundPrefix_ = prefix;
    foundAt_ = version_;
    return found_;
  }
  /// Changes whenever a prefix may have come to mean something else.
  std::size_t version() const noexcept { return version_; }

 private:
  std::unordered_map<std::string_view, std::vector<std::string_view>, TextHash> uris_;
  std::vector<std::string_view> declared_;
  std::size_t version_ = 0;
  // The last answer, which is asked for again and again, and the version that it is good for.
  const std::string_view* found_ = nullptr;
  std::string_view foundPrefix_;
  std::size_t foundAt_ = 0;
};

/// The namespace prefixes of a document that is being written.
class Prefixes {
 public:
  explicit Prefixes(const Mapping::Impl& mapping) : mapping_(mapping) {}

  /// The prefix of a namespace, made on first use: the one that the package asks for, with a number where
  /// another namespace has it.
  const std::string& of(std::string_view uri);
  /// Appends the declarations of all that were used: XMI first, the others sorted by prefix.
  /// @returns false where a URI holds a character that XML does not have.
  [[nodiscard]] bool appendDeclarations(std::string& out) const;

 private:
  std::string wishFor(std::string_view uri) const;

  const Mapping::Impl& mapping_;
  TextMap<std::string> prefixes_;            // by URI
  TextMap<std::size_t> lastNumbers_;         // by the prefix that was wished for: all up to it are taken
  std::map<std::string, std::string> uris_;  // by prefix
};

}  // namespace kr::zero::ecore
