/// @file
/// Internal: the fingerprints of several packages of one registry.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::archive {

/// Asks a registry for its packages once, as an archive may name as many as it likes.
class Fingerprints {
 public:
  /// @param registry must not get further packages while this is used.
  explicit Fingerprints(const meta::MetaRegistry& registry);

  /// Nothing for a URI that the registry does not know.
  std::optional<std::string> find(const std::string& packageUri) const;

 private:
  std::map<std::string, meta::PackageInfo> packages_;  // by URI
};

}  // namespace kr::zero::archive
