#include <utility>
#include <vector>

#include "Errors.h"
#include "MappingImpl.h"
#include "Namespaces.h"
#include "PinPlan.h"
#include "XmlDocument.h"
#include "kr/zero/ecore/Documentation.h"

namespace kr::zero::ecore {

namespace {

constexpr std::string_view kGenModelSource = "http://www.eclipse.org/emf/2002/GenModel";

std::string documentationOf(pugi::xml_node node) {
  for (const pugi::xml_node annotation : node.children("eAnnotations")) {
    if (valueOf(annotation, "source") != kGenModelSource) continue;
    for (const pugi::xml_node detail : annotation.children("details"))
      if (valueOf(detail, "key") == "documentation") return valueOf(detail, "value");
  }
  return {};
}

}  // namespace

class DocumentationReader {
 public:
  explicit DocumentationReader(const Mapping::Impl& mapping) : mapping_(mapping) {}

  Documentation read() {
    for (const SourceDocument& source : mapping_.sources) readFile(source);
    return std::move(made_);
  }

 private:
  struct Package {
    pugi::xml_node node;
    std::string around;  // qualified name of the package around it and a dot, or nothing
  };

  void readFile(const SourceDocument& source) {
    const XmlDocument document(source.text, source.name);
    std::vector<Package> waiting;
    const auto wait = [&](pugi::xml_node node) {
      if (splitQName(node.name()).local == "EPackage") waiting.push_back({node, {}});
    };
    wait(document.root());
    for (const pugi::xml_node node : document.root().children()) wait(node);
    while (!waiting.empty()) {
      const Package package = std::move(waiting.back());
      waiting.pop_back();
      const std::string name = package.around + valueOf(package.node, "name");
      readPackage(package.node, name);
      for (const pugi::xml_node nested : package.node.children("eSubpackages"))
        waiting.push_back({nested, name + "."});
    }
  }

  void readPackage(pugi::xml_node node, const std::string& qualifiedName) {
    std::string uri = valueOf(node, "nsURI");
    if (uri.empty()) uri = qualifiedName;
    const PackageMapping* package = mapping_.findPackage(uri);
    if (package == nullptr) return;
    if (std::string text = documentationOf(node); !text.empty())
      made_.packageTexts_.emplace(std::move(uri), std::move(text));
    for (const pugi::xml_node classifier : node.children("eClassifiers"))
      if (const auto it = package->types.find(valueOf(classifier, "name")); it != package->types.end())
        readClassifier(classifier, it->second);
  }

  void readClassifier(pugi::xml_node node, meta::Type type) {
    note(type.get(), node);
    if (const meta::StructuredType structured(type); structured)
      for (const pugi::xml_node feature : node.children("eStructuralFeatures"))
        if (const meta::Property property =
                structured->findProperty(std::string_view(valueOf(feature, "name"))))
          note(property.get(), feature);
    if (const meta::Enum enumeration(type); enumeration)
      for (const pugi::xml_node literal : node.children("eLiterals"))
        if (const meta::EnumLiteral* found = enumeration->findByName(valueOf(literal, "name")))
          note(found, literal);
  }

  void note(const void* subject, pugi::xml_node node) {
    if (std::string text = documentationOf(node); !text.empty())
      made_.texts_.emplace(subject, std::move(text));
  }

  const Mapping::Impl& mapping_;
  Documentation made_;
};

std::string_view Documentation::find(const void* subject) const {
  const auto it = texts_.find(subject);
  return it == texts_.end() ? std::string_view() : std::string_view(it->second);
}

std::string_view Documentation::ofPackage(std::string_view uri) const {
  const auto it = packageTexts_.find(std::string(uri));
  return it == packageTexts_.end() ? std::string_view() : std::string_view(it->second);
}

std::string_view Documentation::of(meta::Type type) const { return find(type.get()); }
std::string_view Documentation::of(meta::Property property) const { return find(property.get()); }
std::string_view Documentation::of(const meta::EnumLiteral& literal) const { return find(&literal); }

Documentation readDocumentation(const Mapping& mapping) { return DocumentationReader(mapping.impl()).read(); }

}  // namespace kr::zero::ecore
