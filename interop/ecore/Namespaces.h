/// @file
/// Internal: the namespaces and annotation sources that Ecore and XMI documents use.
#pragma once

#include <string_view>

namespace kr::zero::ecore {

inline constexpr std::string_view xmiNamespace = "http://www.omg.org/XMI";
inline constexpr std::string_view xsiNamespace = "http://www.w3.org/2001/XMLSchema-instance";
inline constexpr std::string_view xmlNamespace = "http://www.w3.org/XML/1998/namespace";
inline constexpr std::string_view ecoreNamespace = "http://www.eclipse.org/emf/2002/Ecore";

/// Source of the annotations that give classes and features other names in XML.
inline constexpr std::string_view extendedMetaDataSource =
    "http:///org/eclipse/emf/ecore/util/ExtendedMetaData";
/// Source of the annotation that pins the number of a feature, under the key "id".
inline constexpr std::string_view binarySource = "urn:kr0:binary";

/// Every version of XMI has a namespace of its own.
inline bool isXmiNamespace(std::string_view uri) {
  return uri.substr(0, 22) == xmiNamespace || uri.substr(0, 30) == "http://schema.omg.org/spec/XMI" ||
         uri.substr(0, 27) == "http://www.omg.org/spec/XMI";
}

}  // namespace kr::zero::ecore
