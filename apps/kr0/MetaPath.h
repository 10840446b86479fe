/// @file
/// Internal: folders where meta models are found by the URIs of their packages.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kr::zero::tool {

/// The .ecore files of some folders, packed ones too. Looked at when the first one is wanted.
class MetaPath {
 public:
  /// @param folders behind which those of KR0_META_PATH come, a list with colons.
  /// @param limit how much a file may unpack to.
  MetaPath(std::vector<std::string> folders, std::uint64_t limit);

  /// Whether there are no folders.
  bool isEmpty() const { return folders_.empty(); }
  /// The file that holds the package of a URI or, where that is of no package, has the name that is last in
  /// it.
  /// @throws Error where several files do, or a folder cannot be read.
  std::optional<std::string> find(const std::string& uri);

 private:
  using Files = std::map<std::string, std::set<std::string>>;

  void look();
  void lookInto(const std::string& folder);
  void lookAt(const std::string& path);

  std::vector<std::string> folders_;
  const std::uint64_t limit_;
  bool hasLooked_ = false;
  Files byUri_;
  Files byName_;
};

}  // namespace kr::zero::tool
