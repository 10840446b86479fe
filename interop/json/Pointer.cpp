#include "Pointer.h"

#include <charconv>
#include <optional>
#include <string>

#include "Names.h"

namespace kr::zero::json {

namespace {

/// What stands before the next slash, and takes it away.
std::string_view nextToken(std::string_view& rest) {
  const std::string_view token = rest.substr(0, rest.find('/'));
  rest.remove_prefix(std::min(rest.size(), token.size() + 1));
  return token;
}

std::optional<std::size_t> asPosition(std::string_view token) {
  std::size_t position = 0;
  const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), position);
  if (error != std::errc() || end != token.data() + token.size()) return std::nullopt;
  return position;
}

/// "~1" means a slash, and "~0" a tilde.
std::string unescaped(std::string_view token) {
  std::string name;
  for (std::size_t i = 0; i < token.size(); ++i) {
    const bool isEscape = token[i] == '~' && i + 1 < token.size();
    name += isEscape ? (token[++i] == '1' ? '/' : '~') : token[i];
  }
  return name;
}

Element childAt(Element element, std::string_view token, std::string_view& rest) {
  const meta::Property property = token.find('~') == token.npos
                                      ? element.getType()->findProperty(token)
                                      : element.getType()->findProperty(std::string_view(unescaped(token)));
  if (!property || property.get()->getKind() != meta::PropertyKind::composition) return {};
  const std::optional<std::size_t> position = property->isMany() ? asPosition(nextToken(rest)) : 0;
  if (!position || *position >= element.size(property)) return {};
  return element.getElement(property, *position);
}

}  // namespace

Element follow(Model& model, std::string_view pointer) {
  if (!pointer.starts_with(kRootPointer)) return {};
  std::string_view rest = pointer.substr(kRootPointer.size());
  const auto root = asPosition(nextToken(rest));
  if (!root || *root >= model.roots().size()) return {};
  Element element = model.roots()[*root];
  while (element && !rest.empty()) element = childAt(element, nextToken(rest), rest);
  return element;
}

}  // namespace kr::zero::json
