// A random meta model and a random model of it, both chosen by the input, go through both formats and come
// back equal.
#include "common/ModelReader.h"
#include "support/RandomModel.h"

namespace kr::zero::fuzz {

namespace {

/// Writes a model, reads it, and writes it again to the same bytes.
Model goThrough(const Format& format, const Model& model) {
  const Bytes bytes = format.write(model);
  const auto parser = format.makeParser(model.getRegistry());
  const test::Outcome outcome = test::parseBytes(*parser, bytes);
  require(outcome.ending == test::Ending::success, "what was written can be read", outcome.text.c_str());
  Model again = parser->takeModel();
  require(format.write(again) == bytes, "writing again gives the same bytes");
  return again;
}

void requireEqual(const Model& a, const Model& b) {
  const auto difference = findDifference(a, b);
  require(!difference, "what was written is the model", difference.value_or("").c_str());
}

}  // namespace

void examine(Input input) {
  test::Random random(input);
  const auto registry = test::makeRandomRegistry(random);
  const Model model = test::makeRandomModel(*registry, random);
  const Model direct = goThrough(kDirect, model);
  requireEqual(direct, model);
  // The signs of zeros are lost the first time.
  const Model tagged = goThrough(kTagged, model);
  requireEqual(goThrough(kTagged, tagged), tagged);
  requireEqual(goThrough(kDirect, tagged), tagged);
}

}  // namespace kr::zero::fuzz
