#include "meta/RegistryLoader.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "kr/zero/ustring.h"
#include "meta/Failure.h"

namespace kr::zero::meta {

namespace {

using Kind = TypeDefinition::Kind;

const char* nameOf(Kind kind) noexcept {
  switch (kind) {
    case Kind::primitive:
      return "primitive";
    case Kind::enumeration:
      return "enumeration";
    case Kind::datatype:
      return "datatype";
    case Kind::classType:
      return "class";
  }
  return "type";
}

std::string join(std::string_view before, std::string_view name) {
  std::string joined;
  joined.reserve(before.size() + 1 + name.size());
  joined.append(before);
  if (!before.empty()) joined.push_back('.');
  return joined.append(name);
}

}  // namespace

const StandardTypeTable& getStandardTypes() {
  static const StandardTypeTable& types = *new StandardTypeTable(RegistryLoader::makeStandardTypes());
  return types;
}

StandardTypeTable RegistryLoader::makeStandardTypes() {
  StandardTypeTable made;
  for (const StandardTypeInfo& info : kStandardTypes) {
    if (info.type == StandardType::none) continue;
    auto& type = *made.emplace_back(std::make_unique<PrimitiveType::Impl>());
    type.name_ = type.qualifiedNameUtf8_ = info.name;
    type.qualifiedName_.assign(type.name_.begin(), type.name_.end());
    type.index_ = static_cast<std::uint32_t>(made.size() - 1);
    type.standard_ = info.type;
  }
  return made;
}

RegistryContents RegistryLoader::load(const std::vector<PackageDefinition>& packages) {
  collectPackages(packages);
  createTypes();
  linkSupertypes();
  createProperties();
  buildTables();
  linkOpposites();
  requireNoDatatypesInThemselves();
  numberProperties();
  indexIdentifiers();
  placeOnLines();
  return std::move(made_);
}

void RegistryLoader::collectPackages(const std::vector<PackageDefinition>& packages) {
  std::vector<NewPackage> waiting;
  const auto wait = [&waiting](const std::vector<PackageDefinition>& nested, std::size_t parent) {
    for (auto it = nested.rbegin(); it != nested.rend(); ++it) waiting.push_back({&*it, parent});
  };
  wait(packages, kNone);
  while (!waiting.empty()) {
    const NewPackage next = waiting.back();
    waiting.pop_back();
    createPackage(*next.definition, next.parent);
    wait(next.definition->packages, packages_.size() - 1);
  }
}

void RegistryLoader::createPackage(const PackageDefinition& definition, std::size_t parent) {
  const std::string around = parent == kNone ? std::string() : made_.packages[parent].qualifiedName;
  checkedName(definition.name, parent == kNone ? "package" : "package in " + around, "the name");
  PackageInfo info;
  info.name = definition.name;
  info.qualifiedName = join(around, definition.name);
  info.uri = definition.uri.empty() ? info.qualifiedName : definition.uri;

  const std::string where = "package " + info.qualifiedName;
  checkedText(info.uri, where, "the URI");
  if (known_.packageNamesByUri.contains(info.uri) ||
      !made_.packageNamesByUri.emplace(info.uri, info.qualifiedName).second)
    fail(where, "there is a package with the URI " + inQuotes(info.uri) + " already");
  packages_.push_back({&definition, parent});
  made_.packages.push_back(std::move(info));
}

void RegistryLoader::createTypes() {
  for (std::size_t package = 0; package < packages_.size(); ++package)
    for (const TypeDefinition& definition : packages_[package].definition->types)
      createType(definition, package);
}

void RegistryLoader::createType(const TypeDefinition& definition, std::size_t package) {
  NewType made;
  made.definition = &definition;
  made.package = package;
  makeObject(made);
  nameType(made);
  checkKind(made);
  fillLiterals(made);
  types_.push_back(made);
}

void RegistryLoader::makeObject(NewType& made) {
  std::unique_ptr<Type::Impl> object;
  switch (made.definition->kind) {
    case Kind::primitive:
      object = std::make_unique<PrimitiveType::Impl>();
      break;
    case Kind::enumeration: {
      auto enumeration = std::make_unique<Enum::Impl>();
      made.enumeration = enumeration.get();
      object = std::move(enumeration);
      break;
    }
    case Kind::datatype: {
      auto datatype = std::make_unique<StructuredType::Impl>();
      made.structured = datatype.get();
      object = std::move(datatype);
      break;
    }
    case Kind::classType: {
      auto classType = std::make_unique<Class::Impl>();
      classType->abstract_ = made.definition->isAbstract;
      classType->universal_ = made.definition->isUniversal;
      made.structured = made.classType = classType.get();
      object = std::move(classType);
      break;
    }
  }
  made.type = object.get();
  made_.types.push_back(std::move(object));
}

void RegistryLoader::nameType(const NewType& made) {
  PackageInfo& package = made_.packages[made.package];
  const std::string& name = made.definition->name;
  checkedName(name, std::string(nameOf(made.definition->kind)) + " in package " + package.qualifiedName,
              "the name");
  Type::Impl& type = *made.type;
  type.name_ = name;
  type.qualifiedNameUtf8_ = join(package.qualifiedName, name);
  type.qualifiedName_ = toUstring(type.qualifiedNameUtf8_);
  type.packageUriUtf8_ = package.uri;
  type.packageUri_ = toUstring(package.uri);
  type.index_ = static_cast<std::uint32_t>(kStandardTypeCount + known_.types.size() + made_.types.size() - 1);
  const Type namesake = findType(type.qualifiedNameUtf8_);
  if (!namesake) {
    made_.typesByUtf8.emplace(type.qualifiedNameUtf8_, Type(&type));
    made_.typesByName.emplace(type.qualifiedName_, Type(&type));
  } else if (namesake->name() != name || findTypeIn(package.uri, type.qualifiedNameUtf8_)) {
    fail(describe(made), "there is a type of that name already");
  } else {
    made_.typesOfSharedNames.emplace(RegistryContents::sharedName(package.uri, type.qualifiedNameUtf8_),
                                     Type(&type));
  }
  package.types.push_back(Type(&type));
}

void RegistryLoader::checkKind(const NewType& type) const {
  const TypeDefinition& definition = *type.definition;
  const auto demand = [&](bool fits, const char* what) {
    if (!fits) fail(describe(type), what);
  };
  demand(type.classType != nullptr || !definition.isAbstract, "only a class can be abstract");
  demand(type.classType != nullptr || !definition.isUniversal, "only a class can be universal");
  demand(type.classType != nullptr || definition.supertypes.empty(), "only a class can have supertypes");
  demand(type.enumeration != nullptr || definition.literals.empty(), "only an enumeration can have literals");
  demand(type.structured != nullptr || definition.properties.empty(),
         "only a class or a datatype can have properties");
}

void RegistryLoader::fillLiterals(const NewType& type) const {
  if (type.enumeration == nullptr) return;
  Enum::Impl& made = *type.enumeration;
  made.literals_ = type.definition->literals;
  for (std::size_t i = 0; i < made.literals_.size(); ++i) {
    EnumLiteral& literal = made.literals_[i];
    checkedName(literal.name, describe(type), "the name of a literal");
    if (literal.text.empty()) literal.text = literal.name;
    checkedText(literal.text, describe(type), "the text of a literal");
    made.byNumber_.emplace(literal.number, i);
    made.byText_.emplace(literal.text, i);
    if (!made.byName_.emplace(literal.name, i).second)
      fail(describe(type), "two literals have the name " + inQuotes(literal.name));
  }
  while (made.byNumber_.contains(made.dense_)) ++made.dense_;
}

void RegistryLoader::linkSupertypes() {
  hasSubclass_.resize(types_.size());
  Dependencies needs(types_.size());
  for (std::size_t i = 0; i < types_.size(); ++i) linkSupertypesOf(types_[i], needs[i]);
  order_ = orderByDependencies(needs);
  if (const auto circle = findCircle(needs, order_); !circle.empty())
    fail(describe(types_[circle.front()]), "its supertypes form a circle: " + describeCircle(circle));
}

void RegistryLoader::linkSupertypesOf(const NewType& type, std::vector<std::uint32_t>& needs) {
  std::unordered_set<const Type::Impl*> seen;
  for (const std::string& name : type.definition->supertypes) {
    const Type supertype = resolve(name, type.package);
    if (!supertype) fail(describe(type), "there is no supertype " + inQuotes(name));
    if (!Class(supertype)) fail(describe(type), "the supertype " + inQuotes(name) + " is not a class");
    if (!seen.insert(supertype.get()).second)
      fail(describe(type), "the supertype " + inQuotes(name) + " is named twice");
    type.classType->supertypes_.push_back(Class(supertype));
    if (const std::size_t index = newIndexOf(supertype); index != kNone) {
      needs.push_back(static_cast<std::uint32_t>(index));
      hasSubclass_[index] = true;
    }
  }
}

Type RegistryLoader::findType(std::string_view qualifiedName) const {
  const Type made = made_.find(qualifiedName);
  return made ? made : known_.find(qualifiedName);
}

Type RegistryLoader::findTypeIn(std::string_view packageUri, std::string_view qualifiedName) const {
  const Type first = findType(qualifiedName);
  if (!first || first->packageUri() == packageUri) return first;
  const Type made = made_.findShared(packageUri, qualifiedName);
  return made ? made : known_.findShared(packageUri, qualifiedName);
}

// Where packages share a name, a type of the package itself or of one around it comes before those of others.
Type RegistryLoader::findFrom(std::size_t package, std::string_view qualifiedName) const {
  const Type first = findType(qualifiedName);
  if (!first || (made_.typesOfSharedNames.empty() && known_.typesOfSharedNames.empty())) return first;
  for (; package != kNone; package = packages_[package].parent)
    if (const Type here = findTypeIn(made_.packages[package].uri, qualifiedName)) return here;
  return first;
}

Type RegistryLoader::resolve(std::string_view name, std::size_t package) const {
  if (const Type found = findFrom(package, name)) return found;
  for (std::size_t around = package; around != kNone; around = packages_[around].parent)
    if (const Type found = findFrom(package, join(made_.packages[around].qualifiedName, name))) return found;
  return {};
}

std::size_t RegistryLoader::newIndexOf(Type type) const noexcept {
  const std::size_t firstNew = kStandardTypeCount + known_.types.size();
  return type->getIndex() < firstNew ? kNone : type->getIndex() - firstNew;
}

std::string RegistryLoader::describe(const NewType& type) const {
  return std::string(nameOf(type.definition->kind)) + ' ' + type.type->qualifiedName();
}

std::string RegistryLoader::describe(const NewType& owner, const PropertyDefinition& property) const {
  return describe(owner) + ": property " + inQuotes(property.name);
}

std::string RegistryLoader::describeCircle(const std::vector<std::uint32_t>& circle) const {
  constexpr std::size_t kShown = 10;
  std::string text;
  for (std::size_t i = 0; i < std::min(kShown, circle.size()); ++i)
    text += types_[circle[i]].type->qualifiedName() + ", ";
  if (circle.size() > kShown) text += "and " + std::to_string(circle.size() - kShown) + " more, ";
  return text + types_[circle.front()].type->qualifiedName();
}

}  // namespace kr::zero::meta
