/// @file
/// Internal: which documents beside the one that is read may be followed, and by what names they go.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kr/zero/ecore/Imperfect.h"

namespace kr::zero::ecore {

/// The folder of a document, and what is below it.
class Neighbours {
 public:
  /// @param document the name of the first document, of which a path in front is the folder.
  Neighbours(std::string_view document, const UriMap& uriMap);

  /// The path of the first document from its folder.
  const std::string& first() const noexcept { return first_; }
  /// The path from that folder to the document that a URI means; nothing where that is not in it: another
  /// folder, an absolute path, a URL.
  /// @param from the path of the document that says the URI.
  std::optional<std::string> pathOf(std::string_view from, std::string_view uri) const;
  /// What messages call the document of a path.
  std::string nameOf(std::string_view path) const { return folder_ + std::string(path); }

 private:
  std::string folder_;  // with the '/' at its end
  std::string first_;
  const UriMap& uriMap_;
};

}  // namespace kr::zero::ecore
