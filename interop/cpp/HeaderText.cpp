#include "HeaderText.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "ClassText.h"
#include "SourceText.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::cpp {

namespace {

/// Collects the types that a package's code names, own ones included, in the order of the registry.
class NeededTypes {
 public:
  NeededTypes(const NameTable& names, const Package& package) {
    for (const meta::Type type : package.info.types) {
      need(type);
      needAllOf(type);
    }
    for (const Package& other : names.packages())
      for (const meta::Type type : other.info.types)
        if (needed_.contains(type.get())) ordered_.push_back(type);
  }

  const std::vector<meta::Type>& get() const { return ordered_; }

 private:
  void need(meta::Type type) { needed_.insert(type.get()); }

  void needAllOf(meta::Type type) {
    const meta::StructuredType structured(type);
    if (!structured) return;
    for (const meta::Property property : structured->getOwnedAttributes())
      if (property->getKind() != meta::PropertyKind::none) need(property->getType());
    needSupertypes(meta::Class(type));
  }
  void needSupertypes(meta::Class cls) {
    std::vector<meta::Class> waiting{cls};
    while (!waiting.empty()) {
      const meta::Class next = waiting.back();
      waiting.pop_back();
      if (!next) continue;
      for (const meta::Class supertype : next->getSupertypes())
        if (seen_.insert(supertype.get()).second) {
          need(supertype);
          waiting.push_back(supertype);
        }
    }
  }

  std::unordered_set<const void*> needed_;
  std::unordered_set<const void*> seen_;
  std::vector<meta::Type> ordered_;
};

class Header {
 public:
  Header(const NameTable& names, const ecore::Documentation& documentation, const Package& package)
      : names_(names), documentation_(documentation), package_(package), needed_(names, package) {}

  std::string write() {
    out_ = noteFor(package_.info.uri);
    out_ +=
        "#pragma once\n\n#include <array>\n#include <concepts>\n#include <cstddef>\n#include <cstdint>\n"
        "#include <string_view>\n\n#include \"kr/zero/Typed.h\"\n\n";
    declare();
    appendComment(out_, 0, documentation_.ofPackage(package_.info.uri));
    open(package_.space);
    out_ +=
        "/// Takes this package, and those that were generated with it, into a registry that may have them "
        "already.\n"
        "/// @throws kr::zero::meta::MetaError where it has a package of the same URI that differs.\n"
        "void registerIn(::kr::zero::meta::MetaRegistry& registry);\n\n";
    defineEnumerations();
    for (const meta::Type type : package_.info.types) define(type);
    close(package_.space);
    for (const meta::Type type : package_.info.types) listLiterals(meta::Enum(type));
    includeOthers();
    return std::move(out_);
  }

 private:
  void open(const std::string& space) { out_ += join("namespace ", space, " {\n\n"); }
  void close(const std::string& space) { out_ += join("}  // namespace ", space, "\n\n"); }

  void declare() {
    std::string space;
    for (const meta::Type type : needed_.get()) {
      const std::string declaration = declarationOf(type);
      if (declaration.empty()) continue;
      if (const std::string& own = names_.packageOf(type).space; own != space) {
        if (!space.empty()) close(space);
        open(space = own);
      }
      out_ += declaration;
    }
    if (!space.empty()) close(space);
  }
  std::string declarationOf(meta::Type type) const {
    if (meta::Enum(type)) return join("enum class ", names_.nameOf(type), " : ::std::int32_t;\n");
    if (!meta::StructuredType(type)) return {};
    return join("template <class Handle>\nclass ", names_.basicNameOf(type),
                ";\ntemplate <class Self, class Handle, ::std::size_t kFirst>\nclass ",
                names_.featuresNameOf(type), ";\n");
  }

  void define(meta::Type type) {
    if (const meta::StructuredType structured(type); structured)
      return appendClass(out_, names_, documentation_, structured);
    if (meta::Enum(type)) return;
    appendComment(out_, 0, type->qualifiedName() + ".");
    appendComment(out_, 0, documentation_.of(type));
    out_ += join("using ", names_.nameOf(type), " = ::std::string_view;\n\n");
  }
  // g++ has it that a literal hides a type of its name, though it is never named without its enumeration.
  void defineEnumerations() {
    const auto isEnumeration = [](meta::Type type) { return static_cast<bool>(meta::Enum(type)); };
    if (std::none_of(package_.info.types.begin(), package_.info.types.end(), isEnumeration)) return;
    out_ += "#pragma GCC diagnostic push\n#pragma GCC diagnostic ignored \"-Wshadow\"\n\n";
    for (const meta::Type type : package_.info.types)
      if (isEnumeration(type)) defineEnumeration(meta::Enum(type));
    out_ += "#pragma GCC diagnostic pop\n\n";
  }
  void defineEnumeration(meta::Enum enumeration) {
    appendComment(out_, 0, enumeration->qualifiedName() + ".");
    appendComment(out_, 0, documentation_.of(enumeration));
    out_ += join("enum class ", names_.nameOf(enumeration), " : ::std::int32_t {\n");
    for (const meta::EnumLiteral& literal : enumeration->getLiterals()) {
      appendComment(out_, 2, documentation_.of(literal));
      out_ += join("  ", names_.nameOf(literal), " = ", std::to_string(literal.number), ",\n");
    }
    out_ += "};\n\n";
  }

  void listLiterals(meta::Enum enumeration) {
    if (!enumeration) return;
    const std::vector<meta::EnumLiteral>& literals = enumeration->getLiterals();
    out_ +=
        join("template <>\nstruct kr::zero::EnumLiterals<", names_.spaceOf(enumeration),
             names_.nameOf(enumeration), "> {\n  static constexpr ::std::array<::kr::zero::typed::Literal, ",
             std::to_string(literals.size()), "> kLiterals{");
    if (!literals.empty()) out_ += '{';
    for (const meta::EnumLiteral& literal : literals)
      out_ += join("\n      {", asView(literal.name), ", ", asView(literal.text), ", ",
                   std::to_string(literal.number), "},");
    out_ += literals.empty() ? "};\n};\n\n" : "}};\n};\n\n";
  }

  void includeOthers() {
    std::unordered_set<std::string, TextHash> included{package_.header};
    for (const meta::Type type : needed_.get())
      if (const meta::PrimitiveType primitive(type);
          !(primitive && primitive->getStandardType() != meta::StandardType::none))
        if (const std::string& header = names_.packageOf(type).header; included.insert(header).second)
          out_ += join("#include \"", header, "\"\n");
  }

  const NameTable& names_;
  const ecore::Documentation& documentation_;
  const Package& package_;
  NeededTypes needed_;
  std::string out_;
};

}  // namespace

std::string noteFor(std::string_view packageUri) {
  std::string note = "// Made by kr0 from a meta model. Changes are lost when it is made anew.\n";
  if (!packageUri.empty()) {
    note += "/// @file\n";
    appendComment(note, 0, join("Typed access to the elements of the package ", packageUri, "."));
  }
  return note;
}

std::string headerOf(const NameTable& names, const ecore::Documentation& documentation,
                     const Package& package) {
  return Header(names, documentation, package).write();
}

}  // namespace kr::zero::cpp
