#include "Namespaces.h"

#include "XmlEscape.h"

namespace kr::zero::ecore {

const std::string& Prefixes::of(std::string_view uri) {
  if (const auto it = prefixes_.find(uri); it != prefixes_.end()) return it->second;
  const std::string wish = wishFor(uri);
  std::string prefix = wish;
  std::size_t& number = lastNumbers_[wish];
  while (uris_.contains(prefix)) prefix = wish + "_" + std::to_string(++number);
  if (uri != kXmlNamespace) uris_.emplace(prefix, uri);
  return prefixes_.emplace(std::string(uri), std::move(prefix)).first->second;
}

std::string Prefixes::wishFor(std::string_view uri) const {
  if (uri == kXmiNamespace) return "xmi";
  if (uri == kXsiNamespace) return "xsi";
  if (uri == kXmlNamespace) return "xml";
  const PackageMapping* package = mapping_.findPackage(uri);
  if (package == nullptr || !isXmlName(package->prefix)) return "p";
  // These three always mean what they mean; names that begin with "xml" are kept for XML itself.
  const std::string& wish = package->prefix;
  const bool isTaken = wish == "xmi" || wish == "xsi" || wish.substr(0, 3) == "xml";
  return isTaken ? wish + "_1" : wish;
}

bool Prefixes::appendDeclarations(std::string& out) const {
  const auto append = [&out](const std::string& prefix, const std::string& uri) {
    out.append(" xmlns:").append(prefix).append("=\"");
    if (!appendAttributeText(out, uri)) return false;
    out.push_back('"');
    return true;
  };
  // XMI's own come first, as everywhere else.
  for (const char* prefix : {"xmi", "xsi"})
    if (const auto it = uris_.find(prefix); it != uris_.end() && !append(it->first, it->second)) return false;
  for (const auto& [prefix, uri] : uris_)
    if (prefix != "xmi" && prefix != "xsi" && !append(prefix, uri)) return false;
  return true;
}

}  // namespace kr::zero::ecore
