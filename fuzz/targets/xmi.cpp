// Any bytes for the reader of XMI documents, strict and lenient, with a fixed meta model. What it reads can
// be written, and is then read as the same.
#include <optional>
#include <string>

#include "common/MemoryUse.h"
#include "common/Refusals.h"
#include "ecore/EcoreTesting.h"
#include "kr/zero/ecore/Imperfect.h"

namespace kr::zero::fuzz {

namespace {

const MemoryBound kBound = promisedFor("XMI");

const ecore::Mapping& mapping() { return *test::nodeModels().mapping; }

std::optional<Model> readMeasured(const std::string& document) {
  mapping();  // made once, and not measured
  std::optional<Model> model;
  const MemoryUse use;
  succeeds([&] { model = ecore::readXmi(document, "document.xmi", mapping()); });
  use.requireBounded(document.size(), kBound);
  return model;
}

void examineRoundTrip(const Model& model) {
  std::string written;
  requireSuccess("what was read can be written", [&] { written = ecore::writeXmi(model, mapping()); });
  requireSuccess("what was written can be read", [&] {
    const Model again = ecore::readXmi(written, "written.xmi", mapping());
    const auto difference = findDifference(model, again);
    require(!difference, "what was written is the model", difference.value_or("").c_str());
    require(ecore::writeXmi(again, mapping()) == written, "writing again gives the same text");
  });
}

// Whatever can be read is read, and every other document is this one, too.
void examineLenient(const std::string& document) {
  std::size_t problems = 0;
  ecore::XmiReadOptions options;
  options.onProblem = [&](const ecore::Problem& problem) {
    require(!problem.sentence.empty(), "every problem says something");
    ++problems;
  };
  options.source = [&](const std::string& path) {
    if (path.size() > 8) throw Error(ErrorCode::unreadable, "there is no such document");
    return document;
  };
  succeeds([&] {
    const Model model = ecore::readXmi(document, "document.xmi", mapping(), options);
    require(model.clone().size() == model.size(), "what was read is a model");
  });
}

}  // namespace

void examine(Input input) {
  const std::string document(input.begin(), input.end());
  const auto model = readMeasured(document);
  if (model) examineRoundTrip(*model);
  examineLenient(document);
  succeeds([&] { ecore::declaredNamespaces(document, "document.xmi"); });
}

}  // namespace kr::zero::fuzz
