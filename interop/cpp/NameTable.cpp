#include "NameTable.h"

#include <algorithm>
#include <map>
#include <unordered_set>

#include "Identifiers.h"
#include "SourceText.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::cpp {

namespace {

std::vector<std::string> familyOf(const std::string& className) {
  return {className, "Basic" + className, "Const" + className, className + "Features"};
}

// Some file systems take two names that differ in case for one.
std::string inLowerCase(std::string name) {
  for (char& c : name)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return name;
}

}  // namespace

std::string NameTable::basicNameOf(meta::Type type) const { return "Basic" + nameOf(type); }
std::string NameTable::constNameOf(meta::Type type) const { return "Const" + nameOf(type); }
std::string NameTable::featuresNameOf(meta::Type type) const { return nameOf(type) + "Features"; }
std::string NameTable::spaceOf(meta::Type type) const { return join("::", packageOf(type).space, "::"); }

NameTable::NameTable(const meta::MetaRegistry& registry, std::string_view space) {
  namePackages(registry, space);
  nameProperties();
}

void NameTable::namePackages(const meta::MetaRegistry& registry, std::string_view space) {
  struct Scope {
    std::string qualifiedName;  // of the package; empty for the outermost scope
    std::string space;
    std::string file;
    UniqueNames names;
  };
  UniqueNames files;
  std::vector<Scope> open(1);
  open.front().space = space;
  for (const meta::PackageInfo& info : registry.getPackages()) {
    const std::size_t outer = info.qualifiedName.size() - info.name.size();
    const std::string around = outer == 0 ? std::string() : info.qualifiedName.substr(0, outer - 1);
    while (open.size() > 1 && (outer == 0 || open.back().qualifiedName != around)) open.pop_back();
    Scope& parent = open.back();
    const std::string name = parent.names.take(identifierOf(info.name));
    Scope scope{info.qualifiedName,
                parent.space + "::" + name,
                parent.file + (parent.file.empty() ? "" : ".") + name,
                {}};
    scope.names.take("registerIn");
    packages_.push_back({info, scope.space, files.take(inLowerCase(scope.file)) + ".kr0.h"});
    for (const meta::Type type : packages_.back().info.types)
      packageByType_.emplace(type.get(), packages_.size() - 1);
    nameTypes(packages_.back(), scope.names);
    open.push_back(std::move(scope));
  }
}

void NameTable::nameTypes(const Package& package, UniqueNames& scope) {
  for (const meta::Type type : package.info.types) {
    const std::string wanted = identifierOf(type->name());
    const bool isClass = static_cast<bool>(meta::StructuredType(type));
    names_.emplace(type.get(), isClass ? scope.take(wanted, familyOf) : scope.take(wanted));
    nameLiterals(type);
  }
}

void NameTable::nameLiterals(meta::Type type) {
  const meta::Enum enumeration(type);
  if (!enumeration) return;
  UniqueNames scope;
  for (const meta::EnumLiteral& literal : enumeration->getLiterals())
    names_.emplace(&literal, scope.take(identifierOf(literal.name)));
}

// A registry lets no two properties of one name meet in a class. Where several names become one in C++, and
// two of them meet, all that have such a name are told apart by a number each, which is the same in all
// classes.
void NameTable::nameProperties() {
  std::unordered_map<std::string, std::vector<std::string>, TextHash> variants;  // by the name in C++
  std::unordered_set<std::string, TextHash> clashing;
  const auto note = [&](meta::Property property) {
    std::vector<std::string>& known = variants[memberNameOf(property->name())];
    if (std::find(known.begin(), known.end(), property->name()) == known.end())
      known.push_back(property->name());
  };
  const auto forEachStructured = [&](const auto& visit) {
    for (const Package& package : packages_)
      for (const meta::Type type : package.info.types)
        if (const meta::StructuredType structured(type); structured) visit(structured);
  };
  forEachStructured([&](meta::StructuredType type) {
    for (const meta::Property property : type->getOwnedAttributes()) note(property);
  });
  forEachStructured([&](meta::StructuredType type) {
    std::unordered_set<std::string, TextHash> met;
    for (const meta::Property property : type->getAllProperties())
      if (std::string name = memberNameOf(property->name());
          variants.at(name).size() > 1 && !met.insert(name).second)
        clashing.insert(std::move(name));
  });
  std::map<std::pair<std::string, std::string>, std::string> numbered;
  for (const std::string& name : clashing) {
    std::size_t number = 1;
    for (const std::string& variant : variants.at(name)) {
      std::string made = name;
      // The first one keeps the name; the others take numbers that no name has by itself.
      while (number > 1 && variants.contains(made = name + "_" + std::to_string(number))) ++number;
      ++number;
      numbered.emplace(std::pair(name, variant), std::move(made));
    }
  }
  forEachStructured([&](meta::StructuredType type) {
    for (const meta::Property property : type->getOwnedAttributes()) {
      std::string name = memberNameOf(property->name());
      const auto it = numbered.find({name, property->name()});
      names_.emplace(property.get(), it == numbered.end() ? std::move(name) : it->second);
    }
  });
}

}  // namespace kr::zero::cpp
