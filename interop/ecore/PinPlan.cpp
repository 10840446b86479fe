#include "PinPlan.h"

#include <algorithm>
#include <unordered_set>

#include "EcoreWriting.h"
#include "Errors.h"
#include "Namespaces.h"
#include "Values.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

namespace {

using meta::Class;
using meta::Property;

constexpr std::uint32_t kMostNumber = 16382;

std::string_view localName(pugi::xml_node node) { return splitQName(node.name()).local; }

/// Whether an attribute is the value of the feature of that name. The prefix of one that has one is Ecore's.
bool isValueOf(pugi::xml_attribute attribute, std::string_view name) {
  const QName split = splitQName(attribute.name());
  return split.local == name && !isNamespaceDeclaration(attribute.name(), split);
}

/// Numbers that elements of a class ever had are those up to its last one, and those of now. What is new must
/// be above those of all classes that it can meet: all that inherit it, with all that these inherit from.
class Planning {
 public:
  explicit Planning(const Mapping::Impl& mapping) : mapping_(mapping), plan_(planAsNumbered(mapping)) {
    plan_.last.resize(countTypes());
    subclasses_.resize(plan_.last.size());
  }

  PinPlan plan() {
    for (const meta::PackageInfo& package : mapping_.registry->getPackages())
      for (const meta::Type type : package.types)
        if (const Class cls(type); cls)
          for (const Class above : cls->getSupertypes()) subclasses_[above->getIndex()].push_back(cls);
    for (const SourceDocument& source : mapping_.sources) collect(source);
    for (const auto& [type, properties] : waiting_) number(type, properties);
    for (const Class type : classes_) {
      std::uint32_t& last = plan_.last[type->getIndex()];
      last = std::max(last, highestOf(type));
    }
    return std::move(plan_);
  }

 private:
  std::size_t countTypes() const {
    std::size_t count = 0;
    for (const meta::PackageInfo& package : mapping_.registry->getPackages())
      for (const meta::Type type : package.types) count = std::max(count, type->getIndex() + std::size_t{1});
    return count;
  }

  void collect(const SourceDocument& source) {
    const XmlDocument document(source.text, source.name);
    forEachClass(document, mapping_, [&](pugi::xml_node node, Class type) {
      classes_.push_back(type);
      plan_.last[type->getIndex()] = lastNumber(document, node, type);
      std::vector<Property> unpinned;
      for (const pugi::xml_node feature : childrenOf(node, "eStructuralFeatures")) {
        const Property property = type->findProperty(std::string_view(valueOf(feature, "name")));
        if (property && property->getIdentifier() != 0 && binaryDetails(feature, kNumberKey).empty())
          unpinned.push_back(property);
      }
      if (!unpinned.empty()) waiting_.emplace_back(type, std::move(unpinned));
    });
  }

  static std::uint32_t lastNumber(const XmlDocument& document, pugi::xml_node node, Class type) {
    std::uint32_t last = 0;
    for (const pugi::xml_node detail : binaryDetails(node, kLastNumberKey)) {
      const std::string text = valueOf(detail, "value");
      const auto number = parseInteger(text);
      if (!number || *number < 1 || *number > kMostNumber)
        document.fail(detail, join("class ", type->qualifiedName(), ": the last number is ", inQuotes(text),
                                   ", not a number from 1 to ", std::to_string(kMostNumber)));
      last = std::max(last, static_cast<std::uint32_t>(*number));
    }
    return last;
  }

  /// The classes that inherit a class's properties, itself among them.
  std::vector<Class> below(Class type) const {
    return closure({type}, [this](Class cls) { return subclasses_[cls->getIndex()]; });
  }
  static std::vector<Class> above(std::vector<Class> types) {
    return closure(std::move(types), [](Class cls) { return cls->getSupertypes(); });
  }
  template <class Next>
  static std::vector<Class> closure(std::vector<Class> found, const Next& next) {
    std::unordered_set<const meta::Type::Impl*> seen;
    for (const Class type : found) seen.insert(type.get());
    for (std::size_t i = 0; i < found.size(); ++i)
      for (const Class type : next(found[i]))
        if (seen.insert(type.get()).second) found.push_back(type);
    return found;
  }

  std::uint32_t highestOf(Class type) const {
    std::uint32_t highest = 0;
    for (const Property property : type->getAllProperties())
      highest = std::max(highest, plan_.numbers[property->getIndex()]);
    return highest;
  }

  void number(Class type, const std::vector<Property>& properties) {
    const std::vector<Class> heirs = below(type);
    std::uint32_t last = 0;
    for (const Class met : above(heirs)) last = std::max(last, plan_.last[met->getIndex()]);
    std::uint32_t next = last;
    if (std::any_of(properties.begin(), properties.end(),
                    [&](Property property) { return plan_.numbers[property->getIndex()] <= last; }))
      for (const Class heir : heirs) next = std::max(next, highestOf(heir));
    for (const Property property : properties) {
      std::uint32_t& number = plan_.numbers[property->getIndex()];
      if (number > last) continue;
      if (next == kMostNumber)
        throw EcoreError(ErrorCode::badMetaModel,
                         join("class ", type->qualifiedName(), ": no number is left for property ",
                              inQuotes(property->name()), ": some class that it meets has had one up to ",
                              std::to_string(kMostNumber)));
      number = ++next;
    }
  }

  const Mapping::Impl& mapping_;
  PinPlan plan_;
  std::vector<std::vector<Class>> subclasses_;  // by the type's index
  std::vector<Class> classes_;                  // of the files
  std::vector<std::pair<Class, std::vector<Property>>> waiting_;
};

}  // namespace

std::vector<pugi::xml_node> childrenOf(pugi::xml_node node, std::string_view name) {
  std::vector<pugi::xml_node> found;
  for (const pugi::xml_node child : node.children())
    if (localName(child) == name) found.push_back(child);
  return found;
}

std::string valueOf(pugi::xml_node node, std::string_view name) {
  for (const pugi::xml_attribute attribute : node.attributes())
    if (isValueOf(attribute, name)) return attribute.value();
  for (const pugi::xml_node child : node.children())
    if (localName(child) == name) return textOf(child);
  return {};
}

std::vector<pugi::xml_node> binaryDetails(pugi::xml_node node, std::string_view key) {
  std::vector<pugi::xml_node> found;
  for (const pugi::xml_node annotation : childrenOf(node, "eAnnotations")) {
    if (valueOf(annotation, "source") != kBinarySource) continue;
    for (const pugi::xml_node detail : childrenOf(annotation, "details"))
      if (valueOf(detail, "key") == key) found.push_back(detail);
  }
  return found;
}

void forEachClass(const XmlDocument& document, const Mapping::Impl& mapping,
                  const std::function<void(pugi::xml_node, Class)>& visit) {
  struct Package {
    pugi::xml_node node;
    std::string around;  // qualified name of the package around it and a dot, or nothing
  };
  std::vector<Package> waiting;
  if (localName(document.root()) == "EPackage") waiting.push_back({document.root(), {}});
  for (const pugi::xml_node node : document.root().children())
    if (localName(node) == "EPackage") waiting.push_back({node, {}});
  while (!waiting.empty()) {
    const Package package = waiting.back();
    waiting.pop_back();
    const std::string name = package.around + valueOf(package.node, "name");
    for (const pugi::xml_node nested : childrenOf(package.node, "eSubpackages"))
      waiting.push_back({nested, name + "."});
    const std::string uri = valueOf(package.node, "nsURI");
    const PackageMapping* const known = mapping.findPackage(uri.empty() ? name : uri);
    if (known == nullptr) continue;
    for (const pugi::xml_node classifier : childrenOf(package.node, "eClassifiers")) {
      const auto type = known->types.find(valueOf(classifier, "name"));
      if (type != known->types.end() && Class(type->second)) visit(classifier, Class(type->second));
    }
  }
}

PinPlan planAsNumbered(const Mapping::Impl& mapping) {
  PinPlan plan;
  for (const meta::PackageInfo& package : mapping.registry->getPackages())
    for (const meta::Type type : package.types)
      if (const meta::StructuredType structured(type); structured)
        for (const Property property : structured->getOwnedAttributes()) {
          if (property->getIndex() >= plan.numbers.size())
            plan.numbers.resize(property->getIndex() + std::size_t{1});
          plan.numbers[property->getIndex()] = property->getIdentifier();
        }
  return plan;
}

PinPlan planForGood(const Mapping::Impl& mapping) { return Planning(mapping).plan(); }

}  // namespace kr::zero::ecore
