#include "RegistrationText.h"

#include <cstdint>
#include <vector>

#include "HeaderText.h"
#include "SourceText.h"
#include "kr/zero/meta/EmbeddedMetaModel.h"

namespace kr::zero::cpp {

namespace {

using meta::EmbeddedFlag;

std::uint32_t flagsOf(const meta::PropertyDefinition& property) {
  const auto bit = [](bool is, std::uint32_t flag) { return is ? flag : 0; };
  return bit(property.composite, EmbeddedFlag::kComposite) | bit(property.ordered, EmbeddedFlag::kOrdered) |
         bit(property.unique, EmbeddedFlag::kUnique) | bit(property.derived, EmbeddedFlag::kDerived) |
         bit(property.isStatic, EmbeddedFlag::kStatic) | bit(property.isTransient, EmbeddedFlag::kTransient) |
         bit(property.defaultText.has_value(), EmbeddedFlag::kHasDefault);
}

std::uint32_t flagsOf(const meta::TypeDefinition& type) {
  return (type.isAbstract ? EmbeddedFlag::kAbstract : 0) | (type.isUniversal ? EmbeddedFlag::kUniversal : 0);
}

std::string_view kindOf(const meta::TypeDefinition& type) {
  using Kind = meta::TypeDefinition::Kind;
  switch (type.kind) {
    case Kind::primitive:
      return "primitive";
    case Kind::enumeration:
      return "enumeration";
    case Kind::datatype:
      return "datatype";
    default:
      return "classType";
  }
}

/// The rows of a table as they grow.
struct Table {
  std::string_view type;
  std::string_view name;
  std::string rows;
};

class Tables {
 public:
  void add(const std::vector<meta::PackageDefinition>& roots) {
    struct Step {
      const meta::PackageDefinition* package;
      std::size_t depth;
    };
    std::vector<Step> waiting;
    const auto wait = [&](const std::vector<meta::PackageDefinition>& packages, std::size_t depth) {
      for (auto it = packages.rbegin(); it != packages.rend(); ++it) waiting.push_back({&*it, depth});
    };
    wait(roots, 0);
    while (!waiting.empty()) {
      const auto [package, depth] = waiting.back();
      waiting.pop_back();
      row(packages_, asView(package->uri), asView(package->name), std::to_string(depth),
          std::to_string(package->types.size()));
      for (const meta::TypeDefinition& type : package->types) add(type);
      wait(package->packages, depth + 1);
    }
  }

  std::string write() const {
    std::string out;
    for (const Table* table : {&packages_, &types_, &supertypes_, &literals_, &properties_})
      if (!table->rows.empty())
        out += join("constexpr ", table->type, " ", table->name, "[] = {\n", table->rows, "};\n\n");
    out += "constexpr ::kr::zero::meta::EmbeddedMetaModel kMetaModel{";
    std::string_view separator;
    for (const Table* table : {&packages_, &types_, &supertypes_, &literals_, &properties_}) {
      out += join(separator, table->rows.empty() ? std::string_view("{}") : table->name);
      separator = ", ";
    }
    return out + "};\n\n";
  }

 private:
  void add(const meta::TypeDefinition& type) {
    row(types_, join("::kr::zero::meta::TypeDefinition::Kind::", kindOf(type)), asView(type.name),
        std::to_string(flagsOf(type)), std::to_string(type.supertypes.size()),
        std::to_string(type.literals.size()), std::to_string(type.properties.size()));
    for (const std::string& supertype : type.supertypes)
      supertypes_.rows += join("    ", asView(supertype), ",\n");
    for (const meta::EnumLiteral& literal : type.literals)
      row(literals_, asView(literal.name), asView(literal.text), std::to_string(literal.number));
    for (const meta::PropertyDefinition& property : type.properties)
      row(properties_, asView(property.name), asView(property.type),
          std::to_string(property.identifier.value_or(0)), std::to_string(property.lower),
          std::to_string(property.upper), std::to_string(flagsOf(property)), asView(property.opposite),
          asView(property.defaultText.value_or("")));
  }

  template <class... Cells>
  static void row(Table& table, const Cells&... cells) {
    std::string_view separator = "    {";
    ((table.rows += join(separator, cells), separator = ", "), ...);
    table.rows += "},\n";
  }

  Table packages_{"::kr::zero::meta::EmbeddedPackage", "kPackages", {}};
  Table types_{"::kr::zero::meta::EmbeddedType", "kTypes", {}};
  Table supertypes_{"::std::string_view", "kSupertypes", {}};
  Table literals_{"::kr::zero::meta::EmbeddedLiteral", "kLiterals", {}};
  Table properties_{"::kr::zero::meta::EmbeddedProperty", "kProperties", {}};
};

}  // namespace

std::string registrationOf(const NameTable& names, const meta::MetaRegistry& registry) {
  Tables tables;
  tables.add(meta::definitionsOf(registry));
  std::string out = noteFor({});
  out += "#include <string_view>\n\n#include \"kr/zero/meta/EmbeddedMetaModel.h\"\n\nnamespace {\n\n";
  out += tables.write();
  out += "}  // namespace\n\n";
  for (const Package& package : names.packages())
    out +=
        join("namespace ", package.space, " {\nvoid registerIn(::kr::zero::meta::MetaRegistry& registry);\n",
             "void registerIn(::kr::zero::meta::MetaRegistry& registry) {\n",
             "  ::kr::zero::meta::registerOnce(kMetaModel, registry);\n}\n}  // namespace ", package.space,
             "\n\n");
  out.pop_back();
  return out;
}

}  // namespace kr::zero::cpp
