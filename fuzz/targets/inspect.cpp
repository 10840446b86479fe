// Any bytes for those who look at damaged documents: notes cover each byte once, and what is saved is a model
// that can be written; a document that is whole is saved as it is read.
#include "kr/zero/inspect/Inspect.h"

#include <string_view>

#include "common/Documents.h"
#include "common/Mutations.h"
#include "common/Refusals.h"
#include "kr/zero/inspect/Overview.h"
#include "kr/zero/inspect/Salvage.h"

namespace kr::zero::fuzz {

const Layout kLayout{.choices = 1, .documents = Documents::chosen};

namespace {

void examineNotes(std::string_view bytes, const inspect::InspectOptions& options) {
  std::uint64_t at = 0;
  inspect::inspect(bytes, options, [&](const inspect::Note& note) {
    require(note.offset == at, "notes follow each other");
    require(!note.text.empty(), "every note says something");
    at += note.bytes;
  });
  require(at == bytes.size(), "notes cover all bytes");
}

void examineSalvage(std::string_view bytes, const Format& format, const test::Outcome& outcome,
                    const Model& model) {
  const auto saved =
      inspect::salvage(bytes, {.registry = &test::goldenRegistry(), .tagged = &format == &kTagged});
  if (outcome.ending == test::Ending::success) {
    const auto difference = findDifference(saved.model, model);
    require(!difference, "a whole document is saved as it is read", difference.value_or("").c_str());
    require(saved.losses.empty(), "a whole document lacks nothing");
  } else {
    require(!saved.losses.empty(), "something is lost of a document that is not whole", outcome.text.c_str());
  }
  for (const inspect::Loss& loss : saved.losses) require(!loss.text.empty(), "every loss is said");
  const auto parser = format.makeParser(test::goldenRegistry());
  try {
    const auto again = test::parseBytes(*parser, format.write(saved.model));
    require(again.ending == test::Ending::success, "what was saved can be written and read",
            again.text.c_str());
  } catch (const io::SerializeError&) {
    require(outcome.ending == test::Ending::success, "what was saved of a damaged document can be written");
  }
}

}  // namespace

void examine(Input input) {
  const ChosenInput chosen(input, kLayout.choices);
  const Format& format = chosen.format();
  const Bytes document = chosen.document();
  const std::string_view bytes(reinterpret_cast<const char*>(document.data()), document.size());
  inspect::InspectOptions options{.registry = &test::goldenRegistry(), .tagged = &format == &kTagged};
  examineNotes(bytes, options);
  inspect::overviewOf(bytes, options);
  options.registry = nullptr;
  examineNotes(bytes, options);
  inspect::overviewOf(bytes, options);

  const auto parser = format.makeParser(test::goldenRegistry());
  const auto outcome = test::parseBytes(*parser, document);
  const Model model = parser->getModelBuilder().takeModel();
  examineSalvage(bytes, format, outcome, model);
}

}  // namespace kr::zero::fuzz
