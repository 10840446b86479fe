// A document from a stream that gives its bytes in pieces reads as from memory, and a stream that fails is
// never taken for a short document.
#include <istream>

#include "common/Documents.h"
#include "common/Mutations.h"
#include "support/PieceBuf.h"

namespace kr::zero::fuzz {

const Layout kLayout{.choices = kPiecesChoices, .documents = Documents::chosen};

namespace {

using test::Ending;
using test::FailingInputBuf;
using test::Outcome;

struct Read {
  Outcome outcome;
  Model model;
};

Read read(io::Parser& parser, const Format& format, const io::ParsingInput& from) {
  settle(parser, format);
  Outcome outcome = test::outcomeOf(parser, [&] { return parser.parse(from); });
  return {std::move(outcome), parser.getModelBuilder().takeModel()};
}

void requireSame(const Read& found, const Read& expected) {
  require(found.outcome == expected.outcome, "a stream ends like the same bytes in memory",
          (found.outcome.text + " / " + expected.outcome.text).c_str());
  const auto difference = findDifference(found.model, expected.model);
  require(!difference, "a stream gives the same model", difference.value_or("").c_str());
}

}  // namespace

void examine(Input input) {
  const ChosenInput chosen(input, kPiecesChoices);
  const Bytes document = chosen.document();
  static const std::unique_ptr<io::Parser> parsers[] = {kDirect.makeParser(test::goldenRegistry()),
                                                        kTagged.makeParser(test::goldenRegistry())};
  io::Parser& parser = *parsers[chosen.choice(0) % 2];
  const Read expected = read(parser, chosen.format(), io::ParsingInput::fromByteSequence(document));

  test::PieceBuf pieces(document, 1 + chosen.choice(1) % 64);
  std::istream stream(&pieces);
  requireSame(read(parser, chosen.format(), io::ParsingInput::fromStream(stream)), expected);

  const auto mode = static_cast<FailingInputBuf::Mode>(chosen.mode() % 4);
  FailingInputBuf failing(document, chosen.number(2) % (document.size() + 1), mode);
  std::istream failingStream(&failing);
  failing.attach(failingStream);
  const Read found = read(parser, chosen.format(), io::ParsingInput::fromStream(failingStream));
  if (mode == FailingInputBuf::Mode::throws || mode == FailingInputBuf::Mode::saysBad)
    require(found.outcome.ending == Ending::streamFailed, "a stream that fails is no short document",
            found.outcome.text.c_str());
  else
    requireSame(found, expected);
}

}  // namespace kr::zero::fuzz
