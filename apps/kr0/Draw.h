/// @file
/// Internal: meta models as class diagrams.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Documents.h"

namespace kr::zero::tool {

struct DrawOptions : ReadOptions {
  std::string output;                 ///< .svg, .pdf, .png or .dot
  std::vector<std::string> packages;  ///< qualified names or URIs of those that are drawn; empty: all
};
/// A class diagram of meta models.
/// @throws WrongCall where Graphviz is needed and not there.
void drawSchema(const DrawOptions& options);

/// A class diagram in the language of Graphviz: packages as clusters, a box for each class, datatype and
/// enumeration. What leads to classes of other packages stands in the box as an attribute would.
std::string diagramOf(const std::vector<meta::PackageInfo>& packages);

/// What Graphviz makes of a diagram.
/// @param format "svg", "pdf", "png".
/// @throws WrongCall where its program dot is not there; Error where that fails.
std::string renderByGraphviz(std::string_view diagram, const std::string& format);

}  // namespace kr::zero::tool
