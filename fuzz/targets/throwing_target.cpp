// Whoever takes what a reader finds throws at some call: the exception comes out as it is, nothing more is
// sent, and the reader then reads as ever.
#include "common/Documents.h"
#include "common/Mutations.h"
#include "kr/zero/io/BinaryAssembler.h"
#include "modeling/sylvan/EventRecorder.h"
#include "support/ThrowingProcessor.h"
#include "sylvan/Tagged.h"

namespace kr::zero::fuzz {

const Layout kLayout{.choices = kThrowingChoices, .documents = Documents::chosen};

namespace {

using modeling::sylvan::EventRecorder;
using test::Outcome;
using test::ThrowingProcessor;

void examineParser(const Format& format, const Bytes& document, std::size_t calls) {
  const auto parser = format.makeParser(test::goldenRegistry());
  const Outcome expected = test::parseBytes(*parser, document);
  settle(*parser, format);
  io::ParseCustomizer& customizer = parser->getParseProcessor()->getCustomizer();
  parser->setParseProcessor(
      std::make_unique<ThrowingProcessor>(customizer, parser->getModelBuilder(), calls));
  try {
    const Outcome outcome = test::parseBytes(*parser, document);
    require(outcome == expected, "by named calls a document ends as by large units",
            (outcome.text + " / " + expected.text).c_str());
  } catch (const ThrowingProcessor::Stop&) {
  }
  const Model partial = parser->getModelBuilder().takeModel();
  require(partial.clone().size() == partial.size(), "what has arrived is a model");
  parser->setParseProcessor(std::make_unique<io::ParseProcessor>(customizer, parser->getModelBuilder()));
  settle(*parser, format);
  require(test::parseBytes(*parser, document) == expected, "a parser that was stopped reads as ever");
}

/// How reading ended: with its own error, or with that of the target.
enum class End { whole, refused, thrown };

End readEvents(io::BinaryAssembler& assembler, const std::string& bytes) {
  try {
    io::ParsingInput::fromString(bytes).visitInput(assembler);
    return End::whole;
  } catch (const test::Thrown&) {
    return End::thrown;
  } catch (const std::exception&) {
    return End::refused;
  }
}

void examineEvents(const Bytes& document, std::size_t calls) {
  const std::string bytes(document.begin(), document.end());
  EventRecorder all;
  io::BinaryAssembler whole(&all);
  const End expected = readEvents(whole, bytes);

  EventRecorder some;
  test::ThrowingAt throwing(some, calls);
  io::BinaryAssembler assembler(&throwing);
  const End end = readEvents(assembler, bytes);
  const bool mustThrow = calls < all.getCount();
  require(mustThrow ? end == End::thrown : end == expected, "what the target throws comes out as it is");
  require(some.getCount() == std::min(calls, all.getCount()), "nothing is sent behind it");
  if (!mustThrow) return;
  readEvents(assembler,
             test::littleHeader + "\x02");  // the byte order of a document holds for the next one's marker
  some.reset();                             // the target has thrown once, and takes all from now on
  require(readEvents(assembler, bytes) == expected && some == all,
          "an assembler that was stopped reads as ever");
}

}  // namespace

void examine(Input input) {
  const ChosenInput chosen(input, kThrowingChoices);
  const Bytes document = chosen.document();
  if (chosen.mode() % 2 == 0)
    examineParser(chosen.format(), document, chosen.number(1));
  else
    examineEvents(document, chosen.number(1));
}

}  // namespace kr::zero::fuzz
