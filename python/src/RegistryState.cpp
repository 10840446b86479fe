#include "RegistryState.h"

#include "Names.h"

namespace kr::zero::python {

namespace {

// The entry of a table by index, which grows as far as it is asked.
template <class T>
std::unique_ptr<T>& at(std::vector<std::unique_ptr<T>>& table, std::size_t index) {
  if (index >= table.size()) table.resize(index + 1);
  return table[index];
}

// Python keeps some names for itself: "mro", and those between underscores.
std::string memberName(const std::string& literal) {
  const bool isKept =
      literal.empty() || literal == "mro" || (literal.front() == '_' && literal.back() == '_');
  return isKept ? literal + "_literal" : literal;
}

}  // namespace

const ecore::Mapping& RegistryState::mapping() {
  if (!mapping_) mapping_ = ecore::describeRegistry(*registry_);
  return *mapping_;
}

const RegistryState::Enumeration& RegistryState::find(meta::Enum type) {
  std::unique_ptr<Enumeration>& found = at(enumerations_, type->getIndex());
  if (found) return *found;
  py::list members;
  for (const meta::EnumLiteral& literal : type->getLiterals())
    members.append(py::make_tuple(toStr(memberName(literal.name)), literal.number));
  auto made = std::make_unique<Enumeration>();
  made->type = importedName("enum", "Enum")(toStr(type->name()), members, py::arg("module") = "kr0");
  for (const meta::EnumLiteral& literal : type->getLiterals())
    made->members.push_back(made->type(literal.number));
  found = std::move(made);
  return *found;
}

py::handle RegistryState::enumeration(meta::Enum type) { return find(type).type; }

PyObject* RegistryState::member(meta::Enum type, std::int64_t number) {
  const meta::EnumLiteral* const literal = type->findByNumber(number);
  if (literal == nullptr) return PyLong_FromLongLong(number);
  const auto position = static_cast<std::size_t>(literal - type->getLiterals().data());
  return py::object(find(type).members[position]).release().ptr();
}

AttributeTable& RegistryState::attributes(meta::StructuredType type) {
  std::unique_ptr<AttributeTable>& found = at(attributes_, type->getIndex());
  if (!found) found = std::make_unique<AttributeTable>(type);
  return *found;
}

}  // namespace kr::zero::python
