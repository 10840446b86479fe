#include "kr/zero/compare/Naming.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace kr::zero::compare {

namespace {

/// The best first.
constexpr std::array<std::string_view, 9> kNames = {"name", "id",    "identifier", "uuid",         "key",
                                                    "code", "title", "label",      "qualifiedname"};

std::string inLowerCase(std::string name) {
  for (char& c : name)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return name;
}

}  // namespace

std::optional<std::size_t> namingRankOf(const meta::Property::Impl& property) {
  if (property.isMany() || !meta::isPrimitive(property.getKind()) || !property.isWritten())
    return std::nullopt;
  const auto found = std::find(kNames.begin(), kNames.end(), inLowerCase(property.name()));
  if (found == kNames.end()) return std::nullopt;
  return static_cast<std::size_t>(found - kNames.begin());
}

}  // namespace kr::zero::compare
