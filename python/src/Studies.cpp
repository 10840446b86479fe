// What is asked of whole models: rules, differences, digests, figures, and models carried over.
#include <optional>
#include <string>
#include <utility>

#include "ElementObject.h"
#include "Failures.h"
#include "Models.h"
#include "Names.h"
#include "kr/zero/Validate.h"
#include "kr/zero/compare/Merge.h"
#include "kr/zero/compare/ModelDiff.h"
#include "kr/zero/evolution/CarryOver.h"
#include "kr/zero/study/Digest.h"
#include "kr/zero/study/Statistics.h"

namespace kr::zero::python {

namespace {

const char* ruleName(Rule rule) {
  constexpr const char* kNames[] = {"required", "bounds", "literal",  "resolved",
                                    "unique",   "type",   "opposite", "identity"};
  return kNames[static_cast<std::size_t>(rule)];
}

py::list validateModel(ModelState& state, std::optional<std::size_t> limit) {
  const std::vector<Violation> found = [&] {
    const Reading reading(state);
    return validate(state.read(), limit.value_or(kAllViolations));
  }();
  const py::object type = ourName("Violation");
  py::list all;
  for (const Violation& violation : found)
    all.append(type(toStr(violation.path), toStrOrNone(violation.property), ruleName(violation.rule),
                    toStr(violation.text)));
  return all;
}

py::object differenceOf(const py::object& self, const py::object& other,
                        const compare::Difference& difference) {
  const auto text = [](const std::string& value) { return toStrOrNone(value); };
  const bool hasValues = difference.kind == compare::DifferenceKind::changed ||
                         difference.kind == compare::DifferenceKind::identity;
  const auto value = [&](const std::string& shown) { return hasValues ? toStr(shown) : py::none(); };
  const py::object property = difference.property ? toStr(difference.property->name()) : py::none();
  return ourName("Difference")(toStr(compare::nameOf(difference.kind)), toElement(self, difference.before),
                               toElement(other, difference.after), property, text(difference.pathBefore),
                               text(difference.pathAfter), value(difference.valueBefore),
                               value(difference.valueAfter), toStr(difference.sentence()));
}

py::list diff(const py::object& self, const py::object& other) {
  const Model& before = stateOf(self).read();
  const Model& after = stateOf(other).read();
  const compare::ModelDiff found = compare::compareModels(before, after);
  py::list all;
  for (const compare::Difference& difference : found.differences())
    all.append(differenceOf(self, other, difference));
  return all;
}

py::object difference(const ModelState& self, const ModelState& other) {
  const std::optional<std::string> found = findDifference(self.read(), other.read());
  return found ? toStr(*found) : py::none();
}

py::object merge(ModelState& base, ModelState& ours, ModelState& theirs) {
  compare::MergeResult merged = compare::mergeModels(base.read(), ours.read(), theirs.read());
  py::list conflicts;
  for (const compare::Conflict& conflict : merged.conflicts) conflicts.append(toStr(conflict.sentence()));
  return py::make_tuple(toModel(base.registry(), std::move(merged.model)), conflicts);
}

py::tuple migrate(ModelState& state, const std::shared_ptr<RegistryState>& registry,
                  const std::optional<std::string>& map, bool allowLoss) {
  evolution::CarryOverResult result = [&] {
    const Reading reading(state);
    evolution::CarryOverOptions options;
    if (map) options.map = evolution::parseChangeMap(*map, "the map");
    options.allowLoss = allowLoss;
    return evolution::carryOver(state.read(), registry->registry(), options);
  }();
  const py::object report =
      py::module_::import("json").attr("loads")(toStr(evolution::toJson(result.report)));
  return py::make_tuple(toModel(registry, std::move(result.model)), report);
}

std::string digest(ModelState& state) {
  const Reading reading(state);
  return study::digestOf(state.read()).toText();
}

py::object typeStatistics(const study::TypeStatistics& type) {
  py::dict properties;
  for (const study::PropertyStatistics& property : type.properties)
    properties[toStr(property.property->name())] = py::make_tuple(property.set, property.values);
  return ourName("TypeStatistics")(type.instances, properties);
}

py::object statistics(ModelState& state) {
  const study::Statistics figures = [&] {
    const Reading reading(state);
    return study::gatherStatistics(state.read(), 0);
  }();
  py::dict types;
  for (const study::TypeStatistics& type : figures.types)
    types[toStr(type.type->qualifiedName())] = typeStatistics(type);
  return ourName("Statistics")(figures.elements, figures.roots, types, py::cast(figures.depths),
                               figures.references.resolved, figures.references.unresolved,
                               figures.references.outside, figures.texts.count, figures.texts.bytes,
                               figures.texts.different);
}

}  // namespace

void bindStudies(ModelClass& model) {
  model
      .def("validate", &validateModel, py::arg("limit") = py::none(),
           "What the meta model forbids and the model holds all the same: a list of Violation, of no more "
           "than `limit`.")
      .def(
          "diff", &diff, py::arg("other"),
          R"(What differs between this model and a later version of it, element by element: a list of Difference.

>>> other = model.copy()
>>> other.find("/library/books[0]").pages = 636
>>> [d.sentence for d in model.diff(other)]
['changed /library/books[0].pages: 635 -> 636']
)")
      .def("difference", &difference, py::arg("other"),
           "The first difference of two models as a sentence, or None where both say the same.")
      .def("merge", &merge, py::arg("ours"), py::arg("theirs"),
           "Two versions of this model made one: the merged model, and a list of the conflicts, a sentence "
           "each.")
      .def("migrate", &migrate, py::arg("registry"), py::arg("map") = py::none(),
           py::arg("allow_loss") = false,
           R"(The model that says the same by another version of its meta model, and a report: a dict.

`map` is the text of a change map, for what was renamed. Where something would be lost that no rule of it asks for,
kr0.Error tells what, unless `allow_loss`.)")
      .def("digest", &digest, "64 digits that are the same for all documents that say the same.")
      .def("statistics", &statistics, "What the model holds, in figures.");
}

}  // namespace kr::zero::python
