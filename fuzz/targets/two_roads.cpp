// Two roads lead from bytes to models and back: large units, which our own processors offer, and the named
// calls, which everybody else's get. Both end alike: the same endings, places, models and bytes.
#include "common/Documents.h"
#include "common/Mutations.h"
#include "support/NamedRoad.h"

namespace kr::zero::fuzz {

const Layout kLayout{.choices = 1, .documents = Documents::chosen};

namespace {

struct Read {
  test::Outcome outcome;
  std::string failure;
  Model model;
};

Read read(io::Parser& parser, const Bytes& document) {
  test::Outcome outcome = test::parseBytes(parser, document);
  return {std::move(outcome), parser.describeFailure(), parser.getModelBuilder().takeModel()};
}

template <class NamedSerializer>
void examineWriting(const Format& format, const Model& model) {
  std::string expected;
  try {
    format.write(*format.makeSerializer(), model, expected);
  } catch (const io::SerializeError&) {
    return;  // a dangling number that is another element's in what would be written
  }
  NamedSerializer named;
  std::string written;
  format.write(named, model, written);
  require(written == expected, "by named calls a model is written to the same bytes");
}

}  // namespace

void examine(Input input) {
  const ChosenInput chosen(input, kLayout.choices);
  const Format& format = chosen.format();
  const Bytes document = chosen.document();
  const auto parser = format.makeParser(test::goldenRegistry());
  const auto other = format.makeParser(test::goldenRegistry());
  test::putProcessor<test::InheritingProcessor>(*other);
  const Read quick = read(*parser, document);
  const Read named = read(*other, document);
  require(named.outcome == quick.outcome, "by named calls a document ends alike",
          (named.outcome.text + " / " + quick.outcome.text).c_str());
  require(named.failure == quick.failure, "by named calls a failure is told alike",
          (named.failure + " / " + quick.failure).c_str());
  const auto difference = findDifference(named.model, quick.model);
  require(!difference, "by named calls a document gives the same model", difference.value_or("").c_str());
  if (quick.outcome.ending != test::Ending::success) return;
  if (&format == &kDirect)
    examineWriting<test::NamedDirectSerializer>(format, quick.model);
  else
    examineWriting<test::NamedTaggedSerializer>(format, quick.model);
}

}  // namespace kr::zero::fuzz
