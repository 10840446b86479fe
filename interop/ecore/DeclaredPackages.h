/// @file
/// Internal: the packages that documents name, and what is said where they are missing.
#pragma once

#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace kr::zero::ecore {

/// Namespaces whose prefixes elements or types of a document have, XML's and XMI's own left out; each once,
/// in the order of their declarations. Views into the document.
std::vector<std::string_view> usedNamespaces(pugi::xml_node root);

/// "the package with the URI ... is in none of the meta models", of one or several.
std::string sentenceOfMissing(const std::vector<std::string>& uris);

}  // namespace kr::zero::ecore
