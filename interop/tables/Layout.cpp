#include "Layout.h"

#include <algorithm>

#include "kr/zero/io/SerializeCustomizer.h"

namespace kr::zero::tables {

namespace {

using meta::Property;
using meta::PropertyKind;
using meta::StandardKind;
using Form = SlotPlan::Form;

std::string lower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

/// A table's name is that of a file, too.
std::string asFileName(std::string name) {
  for (char& c : name)
    if (c == '/' || c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '_';
  const bool isKept = name.empty() || name[0] == '.' || lower(name).starts_with("sqlite_");
  return isKept ? "_" + name : name;
}

std::string packageOf(meta::StructuredType type) {
  const std::string& qualified = type->qualifiedName();
  return qualified.substr(0, qualified.size() - std::min(qualified.size(), type->name().size() + 1));
}

/// "library_", for where "Book" alone is taken.
std::string packagePrefix(meta::StructuredType type) {
  std::string package = packageOf(type);
  std::replace(package.begin(), package.end(), '.', '_');
  return package + "_";
}

ColumnType columnTypeOf(Property property) {
  switch (property.get()->getKind()) {
    case PropertyKind::association:
      return ColumnType::element;
    case PropertyKind::number:
      break;
    default:
      return ColumnType::text;
  }
  switch (property.get()->getNumberInfo().kind) {
    case StandardKind::boolean:
      return ColumnType::boolean;
    case StandardKind::real:
      return ColumnType::real;
    case StandardKind::unsignedInteger:
      return property.get()->getNumberInfo().width == 8 ? ColumnType::unsignedInteger : ColumnType::integer;
    default:
      return ColumnType::integer;
  }
}

Form formOf(Property property) {
  if (!property->isWritten()) return Form::none;
  switch (property.get()->getKind()) {
    case PropertyKind::composition:
      return Form::children;
    case PropertyKind::datatype:
      return Form::parts;
    case PropertyKind::association:
      return property->isMany() ? Form::references : Form::reference;
    default:
      return property->isMany() ? Form::values : Form::column;
  }
}

/// Adds the datatypes, of any package, that properties of these types hold.
void addDatatypes(std::vector<meta::StructuredType>& types) {
  std::set<std::uint32_t> known;
  for (const meta::StructuredType type : types) known.insert(type->getIndex());
  for (std::size_t i = 0; i < types.size(); ++i)
    for (const Property property : types[i]->getAllProperties())
      if (property.get()->getKind() == PropertyKind::datatype &&
          known.insert(property->getType()->getIndex()).second)
        types.push_back(meta::StructuredType(property->getType()));
}

/// Types of which a model may hold values: concrete classes and datatypes.
std::vector<meta::StructuredType> typesOf(const Model& model) {
  const std::vector<ustring> uris = io::SerializeCustomizer().getPackageUris(model);
  std::vector<meta::StructuredType> types;
  for (const meta::PackageInfo& package : model.getRegistry().getPackages()) {
    if (std::find(uris.begin(), uris.end(), toUstring(package.uri)) == uris.end()) continue;
    for (const meta::Type type : package.types) {
      const meta::Class asClass(type);
      if (const meta::StructuredType structured(type); structured && !(asClass && asClass->isAbstract()))
        types.push_back(structured);
    }
  }
  addDatatypes(types);
  return types;
}

std::vector<Column> columnsOf(TableSort sort) {
  using enum ColumnType;
  switch (sort) {
    case TableSort::elements:
      return {{"_id", element},       {"_class", text}, {"_container", element}, {"_property", text},
              {"_position", integer}, {"_id1", text},   {"_id2", text}};
    case TableSort::refs:
      return {{"_id", element}, {"_property", text}, {"_position", integer}, {"_target", element},
              {"_class", text}, {"_id1", text},      {"_id2", text},         {"_qualifier", text}};
    case TableSort::rows:
      return {{"_id", element}, {"_container", element}, {"_property", text}, {"_position", integer}};
    default:
      return {{"_id", element}, {"_position", integer}};
  }
}

}  // namespace

std::string Names::take(const std::vector<std::string>& candidates) {
  std::string name;
  for (const std::string& candidate : candidates) {
    name = candidate;
    if (taken_.insert(lower(name)).second) return name;
  }
  for (std::size_t number = 2;; ++number) {
    std::string numbered = name + "_" + std::to_string(number);
    if (taken_.insert(lower(numbered)).second) return numbered;
  }
}

Layout::Layout(bool isOfSeveral, TableMaker& maker) : isOfSeveral_(isOfSeveral), maker_(maker) {
  addTable({names_.take({"elements"}), TableSort::elements, columnsOf(TableSort::elements)});
  addTable({names_.take({"refs"}), TableSort::refs, columnsOf(TableSort::refs)});
}

std::size_t Layout::addTable(Table table) {
  if (isOfSeveral_ && table.sort != TableSort::values)
    table.columns.push_back({"_document", ColumnType::text});
  tables_.push_back(std::move(table));
  return tables_.size() - 1;
}

Plans Layout::planFor(const Model& model) {
  const std::vector<meta::StructuredType> types = typesOf(model);
  std::map<std::string, std::size_t> sharing;
  for (const meta::StructuredType type : types) ++sharing[lower(type->name())];
  for (const meta::StructuredType type : types) tableOf(type, sharing[lower(type->name())] > 1);
  Plans plans;
  for (const meta::StructuredType type : types) {
    if (type->getIndex() >= plans.size()) plans.resize(type->getIndex() + std::size_t{1});
    plans[type->getIndex()] = planFor(type);
  }
  for (; made_ < tables_.size(); ++made_) maker_.addTable(made_, tables_[made_]);
  return plans;
}

std::size_t Layout::tableOf(meta::StructuredType type, bool isNameShared) {
  const auto [place, isNew] = types_.try_emplace(type->qualifiedName());
  Known& known = place->second;
  if (!isNew) return known.table;
  std::vector<std::string> candidates{asFileName(packagePrefix(type) + type->name())};
  if (!isNameShared) candidates.insert(candidates.begin(), asFileName(type->name()));
  known.table = addTable({names_.take(candidates), TableSort::rows, columnsOf(TableSort::rows)});
  for (const Column& column : tables_[known.table].columns) known.names.take({column.name});
  return known.table;
}

std::size_t Layout::tableOf(Property property) {
  const meta::StructuredType owner = property->getOwner();
  const ColumnType type = columnTypeOf(property);
  const auto [place, isNew] =
      collections_.try_emplace({owner->qualifiedName() + '.' + property->name(), type}, 0);
  if (!isNew) return place->second;
  const std::string name = owner->name() + "_" + property->name();
  Table table{names_.take({asFileName(name), asFileName(packagePrefix(owner) + name)}), TableSort::values,
              columnsOf(TableSort::values)};
  table.columns.push_back({"_value", type});
  return place->second = addTable(std::move(table));
}

std::unique_ptr<TypePlan> Layout::planFor(meta::StructuredType type) {
  Known& known = types_.at(type->qualifiedName());
  auto plan = std::make_unique<TypePlan>();
  plan->table = known.table;
  for (const Property property : type->getAllProperties()) plan->slots.push_back(planFor(known, property));
  return plan;
}

SlotPlan Layout::planFor(Known& known, Property property) {
  const Form form = formOf(property);
  switch (form) {
    case Form::column:
    case Form::reference:
      return {form, columnOf(known, property)};
    case Form::values:
      return {form, tableOf(property)};
    default:
      return {form, 0};
  }
}

std::size_t Layout::columnOf(Known& known, Property property) {
  Table& table = tables_[known.table];
  const ColumnType type = columnTypeOf(property);
  const auto [place, isNew] = known.columns.try_emplace({property->name(), type}, table.columns.size());
  if (!isNew) return place->second;
  table.columns.push_back({known.names.take({property->name()}), type});
  if (known.table < made_) maker_.addColumn(known.table, table);
  return place->second;
}

}  // namespace kr::zero::tables
