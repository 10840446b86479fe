#include "EcoreImport.h"

#include <algorithm>

#include "Errors.h"
#include "Namespaces.h"
#include "Values.h"
#include "WholeEcore.h"

namespace kr::zero::ecore {

namespace {

using Kind = meta::TypeDefinition::Kind;

bool isOf(ConstElement element, std::string_view className) { return element.getType()->name() == className; }

/// All values of a composition.
std::vector<ConstElement> elementsIn(ConstElement element, const char* property) {
  std::vector<ConstElement> children;
  for (std::size_t i = 0; i < element.size(property); ++i)
    children.push_back(element.getElement(property, i));
  return children;
}

/// The value that an annotation of an element gives to a key.
std::optional<std::string> annotated(ConstElement element, std::string_view source, std::string_view key) {
  for (const ConstElement annotation : elementsIn(element, "eAnnotations")) {
    if (annotation.getText("source") != source) continue;
    for (const ConstElement detail : elementsIn(annotation, "details"))
      if (detail.getText("key") == key) return std::string(detail.getText("value"));
  }
  return std::nullopt;
}

/// A name in XML; empty where it is no name, as ":0" for the character data.
std::string annotatedName(ConstElement element) {
  const auto name = annotated(element, kExtendedMetaDataSource, "name");
  const bool isName = name && !name->empty() && name->find_first_of(": \t\r\n") == std::string::npos;
  return isName ? *name : std::string();
}

/// Whether features may stand in it.
bool isStructured(const Classifier& classifier) {
  return classifier.definition.kind == Kind::classType || classifier.definition.kind == Kind::datatype;
}

/// Some of Ecore's data types are more than their names.
void noteEcoreType(TypeUse& type, std::string_view packageUri, std::string_view name) {
  if (packageUri != kEcoreNamespace) return;
  type.isFeatureMap = name == "EFeatureMapEntry" || name == "EFeatureMap";
  type.isSinglePrecision = name == "EFloat" || name == "EFloatObject";
}

}  // namespace

std::unique_ptr<const Mapping::Impl> EcoreImport::run() {
  collectClassifiers();
  for (Classifier& classifier : classifiers_) importSupertypes(classifier);
  for (Classifier& classifier : classifiers_) importEnumeration(classifier);
  for (const Classifier& classifier : classifiers_) findLostFeatures(classifier);
  for (Classifier& classifier : classifiers_) importClassifier(classifier);
  registry_.add(definitions());
  auto mapping = std::make_unique<Mapping::Impl>(registry_);
  mapping->addKnownPackages();
  mapPackages(*mapping);
  for (const Classifier& classifier : classifiers_) mapClassifier(*mapping, classifier);
  return mapping;
}

// --- What there is -----------------------------------------------------------------------------

void EcoreImport::collectClassifiers() {
  for (std::size_t file = 0; file < files_.size(); ++file)
    classifierByElement_.emplace_back(files_.content(file).offsets.size(), kNowhere);
  for (std::size_t package = 0; package < files_.packages().size(); ++package)
    for (const ConstElement element : elementsIn(files_.packages()[package].element, "eClassifiers"))
      collectClassifier(package, element);
}

void EcoreImport::collectClassifier(std::size_t package, ConstElement element) {
  const EcorePackage& around = files_.packages()[package];
  Classifier made;
  made.package = package;
  made.element = element;
  made.definition.name = element.getText("name");
  if (made.definition.name.empty()) files_.fail(around.file, element, "a classifier has no name");
  made.qualifiedName = around.qualifiedName + "." + made.definition.name;
  if (made.qualifiedName.size() > kLongestName)
    files_.fail(around.file, element, tooLong("the name of a classifier, with its packages,"));
  made.xmlName = annotatedName(element);
  const bool isEcore = around.uri == kEcoreNamespace;
  if (isOf(element, "EClass")) {
    made.definition.kind = kindOfClass(around.file, element);
    made.definition.isAbstract = element.getBoolean("abstract");
    made.definition.isUniversal = (isEcore && made.definition.name == "EObject") ||
                                  annotated(element, kBinarySource, kUniversalKey) == "true";
  } else {
    made.definition.kind = isOf(element, "EEnum") ? Kind::enumeration : Kind::primitive;
    made.isSerializable = element.getBoolean("serializable");
    const BuiltInPackage* ecore = isEcore ? findBuiltInPackage(kEcoreNamespace) : nullptr;
    const BuiltInType* dataType = ecore == nullptr ? nullptr : ecore->findDataType(made.definition.name);
    if (dataType != nullptr) made.standardType = dataType->standardType;
  }
  classifierByElement_[around.file][element.getIndex()] = classifiers_.size();
  classifiers_.push_back(std::move(made));
}

/// A class, or what an annotation says that it is.
Kind EcoreImport::kindOfClass(std::size_t file, ConstElement element) const {
  const auto kind = annotated(element, kBinarySource, kKindKey);
  if (!kind) return Kind::classType;
  if (*kind != kDatatypeKind)
    files_.fail(
        file, element,
        join("class ", element.getText("name"), " is annotated to be of the unknown kind ", inQuotes(*kind)));
  return Kind::datatype;
}

std::size_t EcoreImport::classifierOf(std::size_t file, ConstElement element) const {
  return classifierByElement_[file][element.getIndex()];
}

std::string EcoreImport::describe(const Classifier& classifier, ConstElement feature) const {
  return join("feature ", classifier.qualifiedName, ".", feature.getText("name"));
}

// --- Uses of types -----------------------------------------------------------------------------

TypeUse EcoreImport::use(std::size_t file, ConstElement source, const EcoreTarget& target) {
  if (target.known) return useKnown(target.known);
  if (!target.element) return useBuiltIn(file, source, target);
  const std::size_t index = classifierOf(target.file, target.element);
  if (index == kNowhere) files_.fail(file, source, "what it names as a type is none");
  return useClassifier(index);
}

TypeUse EcoreImport::useClassifier(std::size_t index) const {
  const Classifier& classifier = classifiers_[index];
  TypeUse type;
  type.name = classifier.standardType != nullptr ? classifier.standardType : classifier.qualifiedName;
  type.isClass = isStructured(classifier);
  type.isSerializable = classifier.isSerializable;
  noteEcoreType(type, packageUri(classifier.package), classifier.definition.name);
  type.classifier = index;
  return type;
}

TypeUse EcoreImport::useBuiltIn(std::size_t file, ConstElement source, const EcoreTarget& target) {
  const BuiltInPackage& package = *target.package;
  const std::string& name = target.builtIn;
  const BuiltInType* dataType = package.findDataType(name);
  const bool isOfWhole = dataType == nullptr && !package.hasClass(name);
  const bool isThere = isOfWhole && !registry_.hasPackage(package.uri) && package.wholeHasClass(name);
  if (isThere) needsWholeEcore_ = true;
  if (isOfWhole && !isThere)
    files_.fail(file, source,
                join("it needs ", name, " of the package ", package.name, ": give ", package.file,
                     " as a meta model too"));
  const bool isStandard = dataType != nullptr && dataType->standardType != nullptr;
  if (!isStandard &&
      std::find(neededPackages_.begin(), neededPackages_.end(), &package) == neededPackages_.end())
    neededPackages_.push_back(&package);
  TypeUse type;
  type.name = isStandard ? dataType->standardType : join(package.name, ".", name);
  type.isClass = dataType == nullptr;
  type.isSerializable = dataType == nullptr || dataType->isSerializable;
  noteEcoreType(type, package.uri, name);
  return type;
}

TypeUse EcoreImport::useKnown(meta::Type known) const {
  TypeUse type;
  type.name = known->qualifiedName();
  type.isClass = bool(meta::StructuredType(known));
  const std::string& uri = known->packageUri();
  const BuiltInPackage* package = findBuiltInPackage(uri);
  const BuiltInType* dataType = package == nullptr ? nullptr : package->findDataType(known->name());
  type.isSerializable = dataType == nullptr || dataType->isSerializable;
  noteEcoreType(type, uri, known->name());
  return type;
}

/// What is left of a generic type when its arguments are taken away.
TypeUse EcoreImport::erasure(std::size_t file, ConstElement generic, bool ofReference) {
  const ConstElement source = generic;
  constexpr int kLongest = 100;  // bounds may name each other
  for (int i = 0; generic && i < kLongest; ++i) {
    if (generic.isSet("eClassifier")) return use(file, generic, files_.follow(file, generic, "eClassifier"));
    if (generic.isSet("eTypeParameter")) {
      const EcoreTarget parameter = files_.follow(file, generic, "eTypeParameter");
      if (!parameter.element) files_.fail(file, generic, "its type parameter is in none of the given files");
      file = parameter.file;
      generic = parameter.element.size("eBounds") == 0 ? ConstElement()
                                                       : parameter.element.getElement("eBounds", 0);
    } else {
      generic = generic.getElement("eUpperBound");
    }
  }
  return use(file, source, files_.findEcoreType(ofReference ? "EObject" : "EJavaObject"));
}

TypeUse EcoreImport::typeOf(const Classifier& classifier, ConstElement feature) {
  const std::size_t file = fileOf(classifier);
  if (feature.isSet("eType")) return use(file, feature, files_.follow(file, feature, "eType"));
  if (const ConstElement generic = feature.getElement("eGenericType"))
    return erasure(file, generic, isOf(feature, "EReference"));
  files_.fail(file, feature, describe(classifier, feature) + " has no type");
}

// --- Classifiers -------------------------------------------------------------------------------

void EcoreImport::importEnumeration(Classifier& classifier) {
  if (classifier.definition.kind != Kind::enumeration) return;
  for (const ConstElement literal : elementsIn(classifier.element, "eLiterals"))
    classifier.definition.literals.push_back({std::string(literal.getText("name")),
                                              std::string(literal.getText("literal")),
                                              static_cast<std::int32_t>(literal.getInteger("value"))});
  const std::vector<meta::EnumLiteral>& literals = classifier.definition.literals;
  for (std::size_t i = 0; i < literals.size(); ++i) {
    if (literals[i].name.size() > kLongestName)
      files_.fail(fileOf(classifier), classifier.element, tooLong("the name of a literal"));
    classifier.literalsByText.emplace(literals[i].text.empty() ? literals[i].name : literals[i].text, i);
  }
}

void EcoreImport::importSupertypes(Classifier& classifier) {
  if (!isStructured(classifier)) return;
  const std::size_t file = fileOf(classifier);
  const ConstElement element = classifier.element;
  TextSet seen;
  if (classifier.definition.kind == Kind::datatype && element.size("eSuperTypes") != 0)
    files_.fail(file, element, join("datatype ", classifier.qualifiedName, " has a supertype"));
  for (std::size_t i = 0; i < element.size("eSuperTypes"); ++i)
    attempt(
        [&] {
          addSupertype(classifier, use(file, element, files_.follow(file, element, "eSuperTypes", i)),
                       element, seen);
        },
        join("class ", classifier.qualifiedName, " goes without this supertype"));
  for (const ConstElement generic : elementsIn(element, "eGenericSuperTypes"))
    attempt([&] { addSupertype(classifier, erasure(file, generic, true), generic, seen); },
            join("class ", classifier.qualifiedName, " goes without this supertype"));
}

/// Does something that is refused where a type is missing.
/// @param loss what is said where that is tolerated.
/// @return whether it was not refused.
template <class Work>
bool EcoreImport::attempt(Work work, std::string_view loss) {
  if (!options_.onProblem) {
    work();
    return true;
  }
  std::optional<Problem> problem;
  try {
    work();
  } catch (const EcoreError& error) {
    const ErrorDetails& details = error.getDetails();
    problem = {ProblemKind::missingType, details.file, details.line.value_or(0),
               join(details.problem, "; ", loss)};
  }
  if (problem) options_.onProblem(*problem);
  return !problem;
}

/// Finds the features that are left out before any is imported: an opposite may be one of them.
void EcoreImport::findLostFeatures(const Classifier& classifier) {
  if (!options_.onProblem || !isStructured(classifier)) return;
  for (const ConstElement feature : elementsIn(classifier.element, "eStructuralFeatures"))
    if (!annotated(feature, kBinarySource, kTypeKey) &&
        !attempt([&] { typeOf(classifier, feature); }, describe(classifier, feature) + " is left out"))
      lostFeatures_.emplace(fileOf(classifier), feature.getIndex());
}

/// Nothing where it is missing and that is tolerated.
EcoreTarget EcoreImport::oppositeOf(const Classifier& classifier, ConstElement feature) const {
  const std::size_t file = fileOf(classifier);
  try {
    EcoreTarget target = files_.follow(file, feature, "eOpposite");
    const bool isLost = target.element && lostFeatures_.contains({target.file, target.element.getIndex()});
    return isLost ? EcoreTarget() : target;
  } catch (const EcoreError&) {
    if (!options_.onProblem) throw;
    return {};
  }
}

/// @param seen names of the supertypes that the class has already.
void EcoreImport::addSupertype(Classifier& classifier, const TypeUse& type, ConstElement source,
                               TextSet& seen) {
  if (!type.isClass)
    files_.fail(
        fileOf(classifier), source,
        join("class ", classifier.qualifiedName, " has the supertype ", type.name, ", which is no class"));
  if (!seen.insert(type.name).second) return;
  classifier.definition.supertypes.push_back(type.name);
  if (type.classifier != kNowhere) classifier.supertypes.push_back(type.classifier);
}

void EcoreImport::importClassifier(Classifier& classifier) {
  if (!isStructured(classifier)) return;
  for (const ConstElement feature : elementsIn(classifier.element, "eStructuralFeatures"))
    if (!lostFeatures_.contains({fileOf(classifier), feature.getIndex()})) importFeature(classifier, feature);
}

/// Whether a class is another one or inherits from it.
/// @param asking a class whose feature wants to know.
bool EcoreImport::inherits(std::size_t classifier, std::size_t ancestor, const Classifier& asking) {
  if (classifier == ancestor) return true;
  if (heir_ != classifier) findAncestors(classifier, asking);
  return isAncestor_[ancestor];
}

/// Notes all that a class inherits from. Features of one class ask about few others, one behind the other.
void EcoreImport::findAncestors(std::size_t classifier, const Classifier& asking) {
  // Far above what meta models have, for the many that could be asked about in turn, each with many above it.
  constexpr std::size_t kMostAncestors = std::size_t{1} << 26;
  ancestors_.assign(1, classifier);
  isAncestor_.assign(classifiers_.size(), false);
  isAncestor_[classifier] = true;
  heir_ = classifier;
  ancestorsMet_ += classifiers_.size() / 64;  // those that were marked
  for (std::size_t i = 0; i < ancestors_.size(); ++i) {
    const std::vector<std::size_t>& above = classifiers_[ancestors_[i]].supertypes;
    ancestorsMet_ += 1 + above.size();
    for (const std::size_t supertype : above) {
      if (isAncestor_[supertype]) continue;
      isAncestor_[supertype] = true;
      ancestors_.push_back(supertype);
    }
  }
  if (ancestorsMet_ > kMostAncestors)
    files_.fail(fileOf(asking), asking.element,
                join("class ", asking.qualifiedName,
                     " has opposites, and the classes that have some inherit from too many others"));
}

// --- Features ----------------------------------------------------------------------------------

void EcoreImport::importFeature(Classifier& classifier, ConstElement feature) {
  const std::size_t file = fileOf(classifier);
  const bool isReference = isOf(feature, "EReference");
  const auto typeName = annotated(feature, kBinarySource, kTypeKey);
  const TypeUse type = typeName ? annotatedType(classifier, feature, *typeName) : typeOf(classifier, feature);
  if (isReference != type.isClass)
    files_.fail(file, feature,
                join(describe(classifier, feature), " is ", isReference ? "a reference" : "an attribute",
                     ", but its type ", type.name, isReference ? " is no class" : " is a class"));
  FeatureMapping mapping;
  importXmlNames(classifier, feature, mapping);
  mapping.isIdentifier = !isReference && feature.getBoolean("iD");
  mapping.isSinglePrecision = type.isSinglePrecision;
  mapping.storage = storageOf(classifier, feature, type, mapping);

  meta::PropertyDefinition definition;
  definition.name = feature.getText("name");
  definition.type = type.name;
  definition.composite = isReference && feature.getBoolean("containment");
  definition.ordered = feature.getBoolean("ordered");
  definition.unique = feature.getBoolean("unique");
  definition.isTransient = feature.getBoolean("transient");
  // The registry's "derived" is "has no stored value". Ecore's is not: it only says how a value comes about.
  definition.derived = mapping.storage != Storage::stored;
  importBounds(classifier, feature, definition);
  const auto markers = annotated(feature, kBinarySource, kMarkersKey);
  if (markers) importMarkers(classifier, feature, *markers, definition, mapping);
  if (!definition.derived || markers) definition.identifier = pinnedIdentifier(classifier, feature);
  if (isReference)
    definition.opposite = oppositeName(classifier, feature, type);
  else
    importDefault(feature, type, definition);
  classifier.definition.properties.push_back(std::move(definition));
  classifier.features.push_back(std::move(mapping));
}

/// A standard type that an annotation names, in place of Ecore's own that has room for its values.
TypeUse EcoreImport::annotatedType(const Classifier& classifier, ConstElement feature,
                                   const std::string& name) const {
  const auto isNamed = [&name](const meta::StandardTypeInfo& info) { return info.name == name; };
  const bool isKnown = std::any_of(meta::kStandardTypes.begin() + 1, meta::kStandardTypes.end(),
                                   isNamed);  // the first is none
  if (!isKnown || isOf(feature, "EReference"))
    files_.fail(fileOf(classifier), feature,
                join(describe(classifier, feature), " is annotated to have the type ", inQuotes(name),
                     ", which is no standard type for an attribute"));
  TypeUse type;
  type.name = name;
  return type;
}

/// Markers as a registry has them, in place of what Ecore's come to.
void EcoreImport::importMarkers(const Classifier& classifier, ConstElement feature,
                                const std::string& markers, meta::PropertyDefinition& definition,
                                FeatureMapping& mapping) const {
  definition.derived = definition.isTransient = false;
  for (std::string_view rest = markers; !rest.empty();) {
    const std::string_view marker = rest.substr(0, rest.find(' '));
    rest.remove_prefix(std::min(rest.size(), marker.size() + 1));
    if (marker == kDerivedMarker)
      definition.derived = true;
    else if (marker == kStaticMarker)
      definition.isStatic = true;
    else if (marker == kTransientMarker)
      definition.isTransient = true;
    else
      files_.fail(
          fileOf(classifier), feature,
          join(describe(classifier, feature), " is annotated with the unknown marker ", inQuotes(marker)));
  }
  const bool isStored = !definition.derived && !definition.isStatic;
  if (isStored)
    mapping.storage = Storage::stored;
  else if (mapping.storage == Storage::stored)
    mapping.storage = Storage::transient;
}

void EcoreImport::importBounds(const Classifier& classifier, ConstElement feature,
                               meta::PropertyDefinition& definition) const {
  constexpr std::int64_t kUnspecified = -2;  // Ecore's number for "some other rule tells"
  const std::int64_t lower = feature.getInteger("lowerBound");
  const std::int64_t upper = feature.getInteger("upperBound");
  if (lower < 0)
    files_.fail(fileOf(classifier), feature, describe(classifier, feature) + " has a negative lower bound");
  definition.lower = static_cast<std::uint32_t>(lower);
  definition.upper = upper == kUnspecified ? -1 : static_cast<std::int32_t>(upper);
}

void EcoreImport::importDefault(ConstElement feature, const TypeUse& type,
                                meta::PropertyDefinition& definition) const {
  const bool isGiven = feature.getState("defaultValueLiteral") == PropertyState::value;
  if (isGiven) definition.defaultText = feature.getText("defaultValueLiteral");
  const bool isEnumeration =
      type.classifier != kNowhere && classifiers_[type.classifier].definition.kind == Kind::enumeration;
  if (!isEnumeration || definition.upper != 1) return;
  const auto& literals = classifiers_[type.classifier].definition.literals;
  // In Ecore an enumeration's own default is its first literal, whatever its number.
  const bool isNone = annotated(feature, kBinarySource, kDefaultKey) == kNoDefault;
  if (!isGiven && !isNone && !literals.empty()) definition.defaultText = literals.front().name;
  // Ecore gives the text of the literal, where the registry asks for the name first.
  if (!isGiven) return;
  const auto& byText = classifiers_[type.classifier].literalsByText;
  if (const auto found = byText.find(*definition.defaultText); found != byText.end())
    definition.defaultText = literals[found->second].name;
}

void EcoreImport::importXmlNames(const Classifier& classifier, ConstElement feature,
                                 FeatureMapping& mapping) const {
  mapping.xmlName = annotatedName(feature);
  const std::string kind = annotated(feature, kExtendedMetaDataSource, "kind").value_or("");
  if (kind == "attribute") mapping.form = XmlForm::attribute;
  if (kind == "element") mapping.form = XmlForm::element;
  if (kind == "simple") mapping.form = XmlForm::content;
  mapping.xmlNamespace = annotated(feature, kExtendedMetaDataSource, "namespace").value_or("");
  if (mapping.xmlNamespace == "##targetNamespace") mapping.xmlNamespace = packageUri(classifier.package);
  const std::string group = annotated(feature, kExtendedMetaDataSource, "group").value_or("");
  mapping.group = group.substr(group.rfind('#') + 1);
}

Storage EcoreImport::storageOf(const Classifier& classifier, ConstElement feature, const TypeUse& type,
                               FeatureMapping& mapping) const {
  if (type.isFeatureMap) return Storage::featureMap;
  if (feature.getBoolean("transient"))
    return mapping.group.empty() ? Storage::transient : Storage::featureMapMember;
  if (!type.isSerializable) return Storage::notSerializable;
  if (!type.isClass || !feature.isSet("eOpposite")) return Storage::stored;
  const EcoreTarget opposite = oppositeOf(classifier, feature);
  const bool isContained = opposite.element && opposite.element.getBoolean("containment");
  return isContained ? Storage::container : Storage::stored;
}

std::optional<std::uint32_t> EcoreImport::pinnedIdentifier(const Classifier& classifier,
                                                           ConstElement feature) const {
  const auto text = annotated(feature, kBinarySource, kIdKey);
  if (!text) return std::nullopt;
  const auto number = parseInteger(*text);
  if (!number || *number < 1 || *number > 16382)
    files_.fail(fileOf(classifier), feature,
                join(describe(classifier, feature), " is pinned to ", inQuotes(*text),
                     ", not a number from 1 to 16382"));
  return static_cast<std::uint32_t>(*number);
}

/// The name of the opposite where the two really face each other. A pair that does not is of no use to a
/// registry, and of no meaning to what is stored.
std::string EcoreImport::oppositeName(const Classifier& classifier, ConstElement feature,
                                      const TypeUse& type) {
  if (!feature.isSet("eOpposite") || type.classifier == kNowhere) return {};
  const EcoreTarget there = oppositeOf(classifier, feature);
  if (!there.element || !there.element.isSet("eOpposite")) return {};
  const ConstElement back = files_.follow(there.file, there.element, "eOpposite").element;
  const std::size_t self = classifierOf(fileOf(classifier), classifier.element);
  const std::size_t owner = classifierOf(there.file, there.element.getContainer());
  if (!(back == feature) || owner == kNowhere || !inherits(type.classifier, owner, classifier)) return {};
  const TypeUse backType = typeOf(classifiers_[owner], there.element);
  if (backType.classifier == kNowhere || !inherits(backType.classifier, self, classifier)) return {};
  if (feature.getBoolean("containment") && there.element.getBoolean("containment")) return {};
  return std::string(there.element.getText("name"));
}

// --- Results -----------------------------------------------------------------------------------

std::string EcoreImport::packageUri(std::size_t package) const {
  const EcorePackage& info = files_.packages()[package];
  return info.uri.empty() ? info.qualifiedName : info.uri;
}

std::vector<meta::PackageDefinition> EcoreImport::definitions() const {
  std::vector<meta::PackageDefinition> flat(files_.packages().size());
  for (std::size_t i = 0; i < flat.size(); ++i) {
    flat[i].name = files_.packages()[i].element.getText("name");
    flat[i].uri = packageUri(i);
  }
  for (const Classifier& classifier : classifiers_)
    if (classifier.standardType == nullptr) flat[classifier.package].types.push_back(classifier.definition);

  // From the last one back, so that a package is whole before it moves into the one around it.
  std::vector<meta::PackageDefinition> roots;
  for (std::size_t i = flat.size(); i-- > 0;) {
    std::reverse(flat[i].packages.begin(), flat[i].packages.end());
    const std::size_t parent = files_.packages()[i].parent;
    (parent == kNowhere ? roots : flat[parent].packages).push_back(std::move(flat[i]));
  }
  for (const BuiltInPackage* package : neededPackages_)
    if (!registry_.hasPackage(package->uri))
      roots.push_back(needsWholeEcore_ && package->uri == kEcoreNamespace ? wholeEcore()
                                                                          : package->definition());
  std::reverse(roots.begin(), roots.end());
  return roots;
}

void EcoreImport::mapPackages(Mapping::Impl& mapping) const {
  for (std::size_t file = 0; file < files_.size(); ++file)
    mapping.sources.push_back({files_.content(file).name, files_.text(file), {}});
  for (std::size_t i = 0; i < files_.packages().size(); ++i) {
    const EcorePackage& info = files_.packages()[i];
    PackageMapping& package = mapping.packages[mapping.packageByUri.find(packageUri(i))->second];
    if (const std::string_view prefix = info.element.getText("nsPrefix"); !prefix.empty())
      package.prefix = prefix;
    mapping.sources[info.file].packageUris.push_back(package.uri);
    mapping.sourceByUri.emplace(package.uri, info.file);
  }
}

void EcoreImport::mapClassifier(Mapping::Impl& mapping, const Classifier& classifier) const {
  if (classifier.standardType != nullptr) return;
  PackageMapping& package =
      mapping.packages[mapping.packageByUri.find(packageUri(classifier.package))->second];
  const meta::Type type = registry_.findType(classifier.qualifiedName);
  if (!classifier.xmlName.empty() && classifier.xmlName != classifier.definition.name) {
    package.hasXmlNames = true;
    package.typesByXmlName.emplace(classifier.xmlName, type);
    mapping.typeXmlNames.emplace(type->getIndex(), classifier.xmlName);
  }
  if (!isStructured(classifier)) return;
  const std::vector<meta::Property>& properties = meta::StructuredType(type)->getOwnedAttributes();
  for (std::size_t i = 0; i < properties.size(); ++i) {
    FeatureMapping& feature = mapping.make(properties[i]) = classifier.features[i];
    if (!feature.xmlName.empty() && feature.xmlName != properties[i]->name()) package.hasXmlNames = true;
    mapping.hasContent |= feature.form == XmlForm::content;
  }
}

namespace {

std::string nameOf(const std::filesystem::path& path) { return path.string(); }
std::string nameOf(const EcoreFile& file) { return file.name; }

/// Imports the files; whatever goes wrong is an Error that names them.
template <class Files>
std::shared_ptr<const Mapping> load(const Files& files, meta::MetaRegistry& registry,
                                    const MetaModelOptions& options) {
  try {
    return std::make_shared<const Mapping>(EcoreImport(files, registry, options).run());
  } catch (...) {
    std::string names;
    for (const auto& file : files) names += (names.empty() ? "" : ", ") + nameOf(file);
    rethrowAsError({.file = std::move(names)});
  }
}

}  // namespace

std::shared_ptr<const Mapping> loadMetaModels(const std::vector<std::filesystem::path>& paths,
                                              meta::MetaRegistry& registry) {
  return load(paths, registry, {});
}

std::shared_ptr<const Mapping> loadEcoreFiles(const std::vector<EcoreFile>& files,
                                              meta::MetaRegistry& registry) {
  return load(files, registry, {});
}

std::shared_ptr<const Mapping> loadEcoreFiles(const std::vector<EcoreFile>& files,
                                              meta::MetaRegistry& registry, const MetaModelOptions& options) {
  return load(files, registry, options);
}

}  // namespace kr::zero::ecore
