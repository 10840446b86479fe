#include "kr/zero/ecore/Imperfect.h"

namespace kr::zero::ecore {

namespace {

bool isFolder(std::string_view uri) { return uri.ends_with('/'); }

}  // namespace

void UriMap::add(std::string from, std::string to) { entries_.emplace_back(std::move(from), std::move(to)); }

std::string UriMap::map(std::string_view uri) const {
  for (const auto& [from, to] : entries_)
    if (uri == from) return to;
  for (const auto& [from, to] : entries_)
    if (isFolder(from) && isFolder(to) && uri.starts_with(from))
      return to + std::string(uri.substr(from.size()));
  return std::string(uri);
}

}  // namespace kr::zero::ecore
