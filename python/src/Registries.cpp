// Registries, and the packages that Python programs put into them.
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "Failures.h"
#include "TypeObjects.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::python {

namespace {

using meta::MetaModelBuilder;
using meta::PropertyBuilder;
using meta::TypeBuilder;

using SharedRegistry = std::shared_ptr<RegistryState>;

SharedRegistry fromPackages(const py::args& packages) {
  auto registry = std::make_unique<meta::MetaRegistry>();
  std::vector<meta::PackageDefinition> definitions;
  for (const py::handle package : packages) {
    if (!py::isinstance<MetaModelBuilder>(package))
      raise(PyExc_TypeError, "a PackageBuilder is wanted; Registry.from_ecore takes files");
    definitions.push_back(package.cast<const MetaModelBuilder&>().definition());
  }
  if (!definitions.empty()) registry->add(definitions);
  return std::make_shared<RegistryState>(std::move(registry), nullptr);
}

SharedRegistry fromEcore(const py::args& given) {
  std::vector<std::filesystem::path> paths;
  for (const py::handle path : given) paths.push_back(path.cast<std::filesystem::path>());
  if (paths.empty()) raise(PyExc_TypeError, "Registry.from_ecore takes at least one path");
  const py::gil_scoped_release release;
  auto registry = std::make_unique<meta::MetaRegistry>();
  auto mapping = ecore::loadMetaModels(paths, *registry);
  return std::make_shared<RegistryState>(std::move(registry), std::move(mapping));
}

py::tuple typesOf(const SharedRegistry& state) {
  py::list all;
  for (const meta::PackageInfo& package : state->registry().getPackages())
    for (const meta::Type type : package.types) all.append(toType(state, type));
  return py::tuple(all);
}

py::dict packagesOf(const SharedRegistry& state) {
  py::dict all;
  for (const meta::PackageInfo& package : state->registry().getPackages())
    all[toStr(package.uri)] = toStr(package.qualifiedName);
  return all;
}

struct Bounds {
  std::optional<std::uint32_t> lower;
  std::optional<std::int32_t> upper;
};

struct Options {
  bool required, many, composite, ordered, unique, derived, isStatic, transient;
};

void apply(PropertyBuilder& property, const Options& options, const Bounds& bounds) {
  if (options.required) property.required();
  if (options.many) property.many();
  if (bounds.lower || bounds.upper)
    property.bounds(bounds.lower.value_or(options.required ? 1 : 0),
                    bounds.upper.value_or(options.many ? -1 : 1));
  if (options.composite) property.composite();
  if (!options.ordered) property.unordered();
  if (!options.unique) property.nonUnique();
  if (options.derived) property.derived();
  if (options.isStatic) property.isStatic();
  if (options.transient) property.isTransient();
}

// Names in their order, names with numbers, or one of Python's enumerations.
void addLiterals(TypeBuilder& type, const py::object& literals) {
  if (py::hasattr(literals, "__members__")) {
    for (const auto& [name, member] : py::dict(literals.attr("__members__")))
      type.literal(name.cast<std::string>(), member.attr("value").cast<std::int32_t>());
  } else if (py::isinstance<py::dict>(literals)) {
    for (const auto& [name, number] : literals.cast<py::dict>())
      type.literal(name.cast<std::string>(), number.cast<std::int32_t>());
  } else {
    std::int32_t number = 0;
    for (const py::handle name : literals) type.literal(name.cast<std::string>(), number++);
  }
}

void bindTypeBuilder(py::module_& module) {
  py::class_<TypeBuilder>(module, "TypeBuilder", "A class or datatype that is being made.")
      .def(
          "property",
          [](TypeBuilder& self, const std::string& name, const std::string& type,
             std::optional<std::uint32_t> lower, std::optional<std::int32_t> upper, bool required, bool many,
             bool composite, bool ordered, bool unique, bool derived, bool isStatic, bool transient,
             const std::optional<std::string>& opposite, const std::optional<std::string>& standard,
             std::optional<std::uint32_t> id) -> TypeBuilder& {
            PropertyBuilder& property = self.property(name, type);
            apply(property, {required, many, composite, ordered, unique, derived, isStatic, transient},
                  {lower, upper});
            if (opposite) property.opposite(*opposite);
            if (standard) property.defaultText(*standard);
            if (id) property.id(*id);
            return self;
          },
          py::return_value_policy::reference_internal, py::arg("name"), py::arg("type"), py::kw_only(),
          py::arg("lower") = py::none(), py::arg("upper") = py::none(), py::arg("required") = false,
          py::arg("many") = false, py::arg("composite") = false, py::arg("ordered") = true,
          py::arg("unique") = true, py::arg("derived") = false, py::arg("static") = false,
          py::arg("transient") = false, py::arg("opposite") = py::none(), py::arg("default") = py::none(),
          py::arg("id") = py::none(),
          "Adds a property, and gives the type again.\n\n"
          "`type` is a standard type (\"String\", \"Integer\", \"Real\", \"Boolean\", \"DateTime\", \"UUID\" "
          "...), or a name of "
          "this package or, qualified, of another one.\nIt holds up to one value; `required`, `many` or "
          "`lower` and "
          "`upper` (-1: no bound) say otherwise. `composite` makes elements\nstand in it, `opposite` names "
          "the other end "
          "of a relation, `default` is a text, `id` pins the number that documents carry.");
}

void bindPackageBuilder(py::module_& module) {
  const auto inside = py::return_value_policy::reference_internal;
  py::class_<MetaModelBuilder>(module, "PackageBuilder", R"(A package of a meta model that is being made.

>>> package = kr0.PackageBuilder("http://example.org/library", "library")
>>> package.enumeration("Genre", ["novel", "poetry"])
>>> book = package.class_("Book").property("title", "String", required=True).property("genre", "Genre")
>>> library = package.class_("Library").property("books", "Book", many=True, composite=True)
>>> registry = kr0.Registry(package)
>>> registry["library.Book"].properties[0].name
'title'
)")
      .def(py::init<std::string, std::string>(), py::arg("uri"), py::arg("name"))
      .def(
          "primitive", [](MetaModelBuilder& self, const std::string& name) { self.primitive(name); },
          py::arg("name"), "Adds a type whose values are texts.")
      .def(
          "enumeration",
          [](MetaModelBuilder& self, const std::string& name, const py::object& literals) {
            addLiterals(self.enumeration(name), literals);
          },
          py::arg("name"), py::arg("literals"),
          "Adds an enumeration: of names, which are counted from 0, of names with numbers (a dict), or an "
          "enum.Enum.")
      .def("datatype", &MetaModelBuilder::datatype, inside, py::arg("name"),
           "Adds a type of values made of parts.")
      .def(
          "class_",
          [](MetaModelBuilder& self, const std::string& name, const py::args& supertypes,
             bool isAbstract) -> TypeBuilder& {
            TypeBuilder& type = self.classType(name);
            for (const py::handle supertype : supertypes) type.supertype(supertype.cast<std::string>());
            if (isAbstract) type.abstractType();
            return type;
          },
          inside, py::arg("name"), py::arg("abstract") = false,
          "Adds a class that inherits from the classes of these names.")
      .def("package", &MetaModelBuilder::package, inside, py::arg("uri"), py::arg("name"),
           "Adds a package inside this one.");
}

}  // namespace

void bindBuilders(py::module_& module) {
  bindTypeBuilder(module);
  bindPackageBuilder(module);
}

void bindRegistry(py::module_& module) {
  py::class_<RegistryState, SharedRegistry>(module, "Registry", R"(The meta models that models live by.

A registry never changes, so that it can be shared by all models and threads.
``registry["library.Book"]`` is a type by its qualified name.
)")
      .def(py::init(&fromPackages), "From packages that are made in Python.")
      .def_static("from_ecore", &fromEcore, "From .ecore files, which may refer to each other.")
      .def_property_readonly("packages", &packagesOf, "Qualified names by URI: a dict.")
      .def_property_readonly("types", &typesOf, "All types but the standard ones: a tuple.")
      .def("__getitem__",
           [](const SharedRegistry& self, const py::str& name) { return toType(self, typeOf(*self, name)); })
      .def("__contains__",
           [](const SharedRegistry& self, const py::object& name) {
             return PyUnicode_Check(name.ptr()) &&
                    static_cast<bool>(self->registry().findType(textOf(name.ptr())));
           })
      .def(
          "fingerprint",
          [](const SharedRegistry& self, const std::string& uri) {
            return archive::fingerprintOf(self->registry(), uri);
          },
          py::arg("package_uri"), "32 digits that tell whether two packages write and mean the same.")
      .def(
          "to_ecore",
          [](const SharedRegistry& self, const std::string& uri) {
            return toStr(ecore::writeEcore(self->mapping(), uri));
          },
          py::arg("package_uri"), "A package as an .ecore document.");
}

}  // namespace kr::zero::python
