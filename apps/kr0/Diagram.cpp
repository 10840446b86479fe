// Class diagrams in the language of Graphviz.
#include <map>
#include <utility>

#include "Draw.h"
#include "Html.h"

namespace kr::zero::tool {

namespace {

std::string multiplicityOf(meta::Property property) {
  const std::string lower = std::to_string(property->getLower());
  if (property->getUpper() < 0) return property->getLower() == 0 ? "*" : lower + "..*";
  const std::string upper = std::to_string(property->getUpper());
  return lower == upper ? upper : lower + ".." + upper;
}

/// A text within a label. Graphviz fills something in for a backslash and a letter, and knows no escape of
/// that here: a character without width (U+2060) keeps them apart.
std::string inLabel(std::string_view text) {
  std::string label;
  for (const char c : asHtml(text)) label += c == '\\' ? std::string("\\&#8288;") : std::string(1, c);
  return label;
}

/// One of a pair of opposites is drawn for both: the container's end where there is one.
bool standsForBoth(meta::Property property) {
  const meta::Property opposite = property->getOpposite();
  if (property->isComposite() != opposite->isComposite()) return property->isComposite();
  return property->getIndex() <= opposite->getIndex();
}

class Diagram {
 public:
  explicit Diagram(const std::vector<meta::PackageInfo>& packages) : packages_(packages) {
    for (const meta::PackageInfo& package : packages)
      for (const meta::Type type : package.types)
        if (!meta::PrimitiveType(type)) ids_.emplace(type.get(), "t" + std::to_string(ids_.size()));
  }

  std::string write() {
    text_ =
        "digraph classes {\n"
        "  graph [rankdir=TB, nodesep=0.6, ranksep=0.8, fontname=\"Helvetica\", fontsize=11]\n"
        "  node [shape=plain, fontname=\"Helvetica\", fontsize=10]\n"
        "  edge [fontname=\"Helvetica\", fontsize=9]\n";
    for (std::size_t i = 0; i < packages_.size(); ++i) {
      text_ += "  subgraph cluster_" + std::to_string(i) + " {\n    label=<" +
               inLabel(packages_[i].qualifiedName) + ">\n";
      for (const meta::Type type : packages_[i].types)
        if (isDrawn(type)) box(type);
      text_ += "  }\n";
    }
    for (const meta::PackageInfo& package : packages_)
      for (const meta::Type type : package.types)
        if (const meta::Class each(type); each) lines(each);
    return std::move(text_) + "}\n";
  }

 private:
  bool isDrawn(meta::Type type) const { return ids_.contains(type.get()); }
  const std::string& idOf(meta::Type type) const { return ids_.at(type.get()); }
  /// Whether a property is a line between boxes, and not a row in one.
  bool isLine(meta::Property property) const {
    return meta::Class(property->getType()) && isDrawn(property->getType());
  }

  // --- Boxes

  void box(meta::Type type) {
    text_ += "    " + idOf(type) +
             " [label=<<TABLE BORDER=\"0\" CELLBORDER=\"1\" CELLSPACING=\"0\" CELLPADDING=\"4\"><TR><TD>" +
             headOf(type) + "</TD></TR>";
    if (const std::string rows = rowsOf(type); !rows.empty())
      text_ += "<TR><TD ALIGN=\"LEFT\" BALIGN=\"LEFT\">" + rows + "</TD></TR>";
    text_ += "</TABLE>>]\n";
  }

  std::string headOf(meta::Type type) const {
    const meta::Class asClass(type);
    const std::string name = "<B>" + inLabel(type->name()) + "</B>";
    if (!asClass) return (meta::Enum(type) ? "«enumeration»<BR/>" : "«datatype»<BR/>") + name;
    std::string head = asClass->isAbstract() ? "<I>" + name + "</I>" : name;
    for (const meta::Class supertype : asClass->getSupertypes())
      if (!isDrawn(supertype)) head += "<BR/>is a " + inLabel(supertype->qualifiedName());
    return head;
  }

  std::string rowsOf(meta::Type type) const {
    constexpr const char* kEnd = "<BR ALIGN=\"LEFT\"/>";
    std::string rows;
    if (const meta::Enum enumeration(type); enumeration)
      for (const meta::EnumLiteral& literal : enumeration->getLiterals())
        rows += inLabel(literal.name) + kEnd;
    if (const meta::StructuredType structured(type); structured)
      for (const meta::Property property : structured->getOwnedAttributes())
        if (!isLine(property)) rows += rowOf(property) + kEnd;
    return rows;
  }

  std::string rowOf(meta::Property property) const {
    const meta::Type type = property->getType();
    const bool isElsewhere = meta::Class(type) && !isDrawn(type);
    std::string row = nameOf(property) + ": " + inLabel(isElsewhere ? type->qualifiedName() : type->name());
    const std::string multiplicity = multiplicityOf(property);
    if (multiplicity != "1") row += " [" + multiplicity + "]";
    return property->isStatic() ? "<U>" + row + "</U>" : row;
  }

  /// The way back from a part to its container is derived too, which its line says better.
  static std::string nameOf(meta::Property property) {
    const meta::Property opposite = property->getOpposite();
    const bool isMarked = property->isDerived() && !(opposite && opposite->isComposite());
    return (isMarked ? "/" : "") + inLabel(property->name());
  }

  // --- Lines

  void lines(meta::Class type) {
    // From the supertype, so that it stands above.
    for (const meta::Class supertype : type->getSupertypes())
      if (isDrawn(supertype))
        text_ += "  " + idOf(supertype) + " -> " + idOf(type) + " [dir=back, arrowtail=empty]\n";
    for (const meta::Property property : type->getOwnedAttributes())
      if (isLine(property)) association(type, property);
  }

  void association(meta::Class type, meta::Property property) {
    const meta::Property opposite = property->getOpposite();
    const bool isPair = opposite && isDrawn(opposite->getOwner());
    if (isPair && !standsForBoth(property)) return;
    text_ += "  " + idOf(type) + " -> " + idOf(property->getType()) +
             " [dir=both, arrowtail=" + (property->isComposite() ? "diamond" : "none") +
             ", arrowhead=" + (isPair ? "none" : "vee") + ", headlabel=<" + endOf(property) + ">";
    if (isPair && !(opposite == property)) text_ += ", taillabel=<" + endOf(opposite) + ">";
    text_ += "]\n";
  }

  static std::string endOf(meta::Property property) {
    return nameOf(property) + ' ' + multiplicityOf(property);
  }

  const std::vector<meta::PackageInfo>& packages_;
  std::map<const meta::Type::Impl*, std::string> ids_;
  std::string text_;
};

}  // namespace

std::string diagramOf(const std::vector<meta::PackageInfo>& packages) { return Diagram(packages).write(); }

}  // namespace kr::zero::tool
