#include "ExternalReferences.h"

#include "Fragments.h"

namespace kr::zero::ecore {

UnresolvedReference toUnresolved(std::string_view uri, std::string_view form, std::string_view targetType) {
  UnresolvedReference reference;
  reference.targetType = targetType;
  reference.id1 = form;
  reference.id2 = "/";  // a URI without fragment means the root
  const std::size_t hash = uri.find('#');
  reference.qualifier = std::string(uri.substr(0, hash));
  if (hash == std::string_view::npos || hash + 1 == uri.size()) return reference;
  const std::string_view fragment = uri.substr(hash + 1);
  const std::size_t second = fragment.find('#');
  if (second == std::string_view::npos || second == 0 || second + 1 == fragment.size()) {
    reference.id2 = fragment;
  } else {
    reference.id1 = percentDecoded(fragment.substr(0, second));
    reference.id2 = fragment.substr(second + 1);
  }
  return reference;
}

std::string uriOf(const UnresolvedReference& reference) {
  const bool isFromDocument = reference.id1 == hrefForm || reference.id1 == attributeForm;
  const bool isFragment = isFromDocument && reference.id2.find('#') == std::string::npos;
  return *reference.qualifier + "#" + (isFragment ? "" : percentEncoded(reference.id1) + "#") + reference.id2;
}

std::string percentEncoded(std::string_view text) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= 0x20 || c == '%' || c == '#') {
      encoded.push_back('%');
      encoded.push_back(digits[byte >> 4]);
      encoded.push_back(digits[byte & 15]);
    } else {
      encoded.push_back(c);
    }
  }
  return encoded;
}

}  // namespace kr::zero::ecore
