// Any bytes for the reader of JSON documents, with a fixed meta model. What it reads can be written, and is
// then read as the same.
#include "kr/zero/json/Json.h"

#include <optional>
#include <string>

#include "common/MemoryUse.h"
#include "common/Refusals.h"
#include "support/GoldenDocuments.h"

namespace kr::zero::fuzz {

namespace {

const MemoryBound kBound = promisedFor("JSON");

Model read(const std::string& text) { return json::readJson(text, {.registry = &test::goldenRegistry()}); }

std::optional<Model> readMeasured(const std::string& text) {
  std::optional<Model> model;
  const MemoryUse use;
  succeeds([&] { model = read(text); });
  use.requireBounded(text.size(), kBound);
  return model;
}

}  // namespace

void examine(Input input) {
  const std::string text(input.begin(), input.end());
  const auto model = readMeasured(text);
  if (!model) return;
  std::string written;
  // A dangling number of the document may be an element's in the one that would be written.
  if (!succeeds([&] { written = json::writeJson(*model); })) return;
  requireSuccess("what was written can be read", [&] {
    const Model again = read(written);
    const auto difference = findDifference(*model, again);
    require(!difference, "what was written is the model", difference.value_or("").c_str());
    require(json::writeJson(again) == written, "writing again gives the same text");
  });
}

}  // namespace kr::zero::fuzz
