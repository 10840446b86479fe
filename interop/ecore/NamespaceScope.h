/// @file
/// Internal: the namespace prefixes that are declared where a reader stands.
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kr::zero::ecore {

/// A name with its prefix taken off; the prefix may be empty.
struct QName {
  std::string_view prefix;
  std::string_view local;
};

inline QName splitQName(std::string_view name) {
  const std::size_t colon = name.find(':');
  if (colon == std::string_view::npos) return {{}, name};
  return {name.substr(0, colon), name.substr(colon + 1)};
}

/// Declarations stand in a stack per prefix, so finding one costs the same at any depth. All texts are
/// views into the document.
class NamespaceScope {
 public:
  NamespaceScope() { declare("xml", "http://www.w3.org/XML/1998/namespace"); }

  void declare(std::string_view prefix, std::string_view uri) {
    uris_[prefix].push_back(uri);
    declared_.push_back(prefix);
  }
  /// Takes back the last `count` declarations.
  void leave(std::size_t count) {
    for (; count > 0; --count) {
      uris_[declared_.back()].pop_back();
      declared_.pop_back();
    }
  }
  /// The namespace of a prefix, or null.
  const std::string_view* find(std::string_view prefix) const {
    const auto it = uris_.find(prefix);
    return it == uris_.end() || it->second.empty() ? nullptr : &it->second.back();
  }

 private:
  std::unordered_map<std::string_view, std::vector<std::string_view>> uris_;
  std::vector<std::string_view> declared_;
};

}  // namespace kr::zero::ecore
