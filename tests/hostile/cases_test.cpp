// Mistakes that readers of other formats have made, one test each.
#include <gtest/gtest.h>

#include <boost/optional.hpp>
#include <limits>

#include "hostile/DamageCheck.h"
#include "support/AllocationMeter.h"
#include "support/GoldenDocuments.h"
#include "support/Paths.h"
#include "support/ThrowingProcessor.h"

namespace kr::zero::test::cases {

namespace {

constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

DirectBytes document() { return DirectBytes().header({"urn:g"}); }
DirectBytes inElement() { return document().root("g.N"); }

// Numbers that no document can mean: all ones, sign bits, 32-bit borders, what wraps around when a
// position or a width is added.
const std::vector<std::uint64_t>& absurdNumbers() {
  static const std::vector<std::uint64_t> numbers = {
      largest,     largest - 1, largest - 7, largest - 8, largest - 63, largest >> 1, (largest >> 1) + 1,
      1ull << 62,  1ull << 61,  1ull << 60,  1ull << 40,  96ull << 30,  0xFFFFFFFFu,  0x100000000u,
      0x7FFFFFFFu, 0x80000000u, 1ull << 24};
  return numbers;
}

// Reads what must be refused as corrupt, without asking for more memory than a small document may.
void expectCorrupt(const Bytes& bytes) {
  SCOPED_TRACE(toHex(bytes));
  const auto parser = makeParser(goldenRegistry());
  const AllocationMeter meter;
  EXPECT_EQ(parseBytes(*parser, bytes).ending, Ending::corruptInput);
  EXPECT_LE(meter.getLargestRequest(), memoryFloor + requestPerByte * bytes.size());
  EXPECT_LE(meter.getPeakBytes(), memoryFloor + memoryPerByte * bytes.size());
}

Outcome outcomeFor(const Bytes& bytes) { return parseBytes(*makeParser(goldenRegistry()), bytes); }

Model readModel(const Bytes& bytes) {
  const auto parser = makeParser(goldenRegistry());
  EXPECT_EQ(parseBytes(*parser, bytes), (Outcome{Ending::success, {}}));
  return parser->takeModel();
}

}  // namespace

TEST(Case, ALengthBombInAnyTextIsRefusedBeforeItsBytesAreAskedFor) {
  for (const std::uint64_t length : absurdNumbers()) {
    expectCorrupt(DirectBytes().number(1).number(length));                       // byte-order mark
    expectCorrupt(DirectBytes().number(1).text("kr").number(1).number(length));  // package
    expectCorrupt(document().number(0).number(0).number(length));                // type name
    expectCorrupt(document().number(0).number(0).text("g.N").byte(1).number(length));
    expectCorrupt(document().number(0).number(0).text("g.N").byte(1).text("a").number(length));
    expectCorrupt(inElement().key(1).number(length));                      // value
    expectCorrupt(inElement().key(3).number(2).text("a").number(length));  // value in a collection
    expectCorrupt(inElement().key(13).present().number(length));           // user-defined primitive
    expectCorrupt(inElement().key(14).present().number(length));           // date
    expectCorrupt(inElement().key(20).number(0).number(length));           // target type
    expectCorrupt(inElement().key(20).number(0).text("g.N").byte(2).number(length));
    expectCorrupt(inElement().key(20).number(0).text("g.N").byte(1).text("a").number(length));
  }
}

TEST(Case, ACountBombIsRefusedWithoutALoop) {
  for (const std::uint64_t count : absurdNumbers()) {
    expectCorrupt(DirectBytes().number(1).text("kr").number(count).text("urn:g"));
    expectCorrupt(inElement().key(3).number(count).text("a"));
    expectCorrupt(inElement().key(23).number(count).byte(1));
    expectCorrupt(inElement().key(21).number(count).reference("g.N", "a", "b"));
    expectCorrupt(inElement().key(17).key(2).number(count).byte(1));
  }
}

TEST(Case, ACountOfNumbersThatAreNotThereIsRefused) {
  for (const std::uint64_t count : absurdNumbers()) {
    for (const unsigned key : {8u, 10u, 12u}) {
      const Bytes bytes = inElement().key(key).number(count).fixed(std::uint64_t{0});
      const auto parser = makeParser(goldenRegistry());
      const AllocationMeter meter;
      const Ending ending = parseBytes(*parser, bytes).ending;
      EXPECT_TRUE(ending == Ending::corruptInput || ending == Ending::numberCutShort) << ending;
      EXPECT_LE(meter.getPeakBytes(), memoryFloor + memoryPerByte * bytes.size());
    }
  }
}

TEST(Case, CountsThatEachFitDoNotMultiply) {
  // Every count is no more than the bytes that follow, but all together they are.
  DirectBytes bytes = inElement();
  for (int i = 0; i < 1000; ++i) bytes.key(17).key(2).number(900);
  const auto parser = makeParser(goldenRegistry());
  const AllocationMeter meter;
  const Outcome outcome = parseBytes(*parser, bytes);
  EXPECT_NE(outcome.ending, Ending::success);
  EXPECT_TRUE(isDocumentedForBytes(outcome.ending)) << outcome;
  EXPECT_LE(meter.getPeakBytes(), memoryFloor + memoryPerByte * bytes.bytes().size());
}

TEST(Case, NoItemOfACollectionIsFree) {
  // The smallest item of each kind costs bytes, so that a count cannot make more items than it has bytes.
  for (const unsigned key : {3u, 8u, 10u, 12u, 21u, 23u}) {
    SCOPED_TRACE(key);
    EXPECT_NE(outcomeFor(inElement().key(key).number(1)).ending, Ending::success);
    EXPECT_NE(outcomeFor(inElement().key(key).number(100000)).ending, Ending::success);
  }
}

TEST(Case, ALengthThatWrapsThePositionAroundIsRefused) {
  // position + length would be a place before the position, or the position itself.
  for (std::uint64_t back = 0; back < 64; ++back) {
    expectCorrupt(inElement().key(1).number(largest - back).text("xxxxxxxxxxxxxxxx"));
    expectCorrupt(inElement().key(1).number((largest >> 1) - back).text("xxxxxxxxxxxxxxxx"));
  }
}

TEST(Case, AFixedWidthNumberIsNeverReadPastTheEnd) {
  const struct {
    std::uint64_t key;
    bool optional;
    std::size_t width;
  } numbers[] = {{6, false, 1}, {7, true, 2}, {22, false, 4}, {11, true, 4}, {9, true, 8}};
  for (const auto& number : numbers) {
    for (std::size_t given = 0; given < number.width; ++given) {
      SCOPED_TRACE("key " + std::to_string(number.key) + ", " + std::to_string(given) + " bytes");
      DirectBytes bytes = inElement().key(number.key);
      if (number.optional) bytes.present();
      // A vector of exactly this size, so that AddressSanitizer sees a byte too many.
      Bytes exact = bytes.raw(Bytes(given, 0));
      exact.shrink_to_fit();
      EXPECT_EQ(outcomeFor(exact).ending, Ending::numberCutShort);
    }
  }
}

TEST(Case, ABooleanIsNeverReadPastTheEnd) {
  expectCorrupt(inElement().key(4));
  expectCorrupt(inElement().key(5));
  expectCorrupt(inElement().key(5).present());
  expectCorrupt(inElement().key(23).number(1));
}

TEST(Case, ANumberLongerThan64BitsShiftsWithinItsWidth) {
  // Any number of groups that add nothing is a longer form of the same number.
  for (const std::size_t groups : {1u, 8u, 9u, 10u, 11u, 63u, 64u, 65u, 128u, 1000u}) {
    DirectBytes version;
    version.byte(0x81).raw(Bytes(groups, 0x80)).byte(0).text("kr").number(0);
    EXPECT_EQ(outcomeFor(version), (Outcome{Ending::success, {}})) << groups;
  }
  // All ones, far longer than a number can be: some number, and not undefined behaviour.
  for (const std::size_t groups : {9u, 10u, 11u, 64u, 1000u}) {
    expectCorrupt(DirectBytes().raw(Bytes(groups, 0xFF)).byte(0x7F).text("kr").number(0));
    expectCorrupt(inElement().key(1).raw(Bytes(groups, 0xFF)).byte(0x7F));
  }
}

TEST(Case, ANumberWithoutAnEndIsRefusedInOnePass) {
  expectCorrupt(Bytes(1000, 0x80));
  expectCorrupt(Bytes(100000, 0xFF));
  expectCorrupt(inElement().key(1).raw(Bytes(1000, 0x80)));
  expectCorrupt(document().raw(Bytes(1000, 0x80)));
}

TEST(Case, MalformedUtf8IsRefusedWhereverATextStands) {
  const std::string malformed[] = {
      "\x80",              // continues nothing
      "\xC3",              // cut short
      "\xC3(",             // not continued
      "\xC0\x80",          // overlong
      "\xE0\x80\x80",      // overlong
      "\xF0\x80\x80\x80",  // overlong
      "\xF4\x90\x80\x80",  // beyond Unicode
      "\xF8\x88\x80\x80\x80",
      "\xFE",
      "\xFF",
      "a\xE2\x82",
      "ok\xF0\x9F\x93",
  };
  for (const std::string& text : malformed) {
    expectCorrupt(DirectBytes().header({text}));
    expectCorrupt(document().root(text));
    expectCorrupt(document().root("g.N", text, "b").end());
    expectCorrupt(document().root("g.N", "a", text).end());
    expectCorrupt(inElement().key(1).text(text).end());
    expectCorrupt(inElement().key(3).number(1).text(text).end());
    expectCorrupt(inElement().key(13).present().text(text).end());
    expectCorrupt(inElement().key(14).present().text(text).end());
    expectCorrupt(inElement().key(15).present().text(text).end());
    expectCorrupt(inElement().key(20).reference(text, "a", "b").end());
    expectCorrupt(inElement().key(20).reference("g.N", text, "b").end());
    expectCorrupt(inElement().key(20).reference("g.N", "a", text).end());
    expectCorrupt(inElement().key(20).reference("g.N", text, "a", "b").end());
  }
}

TEST(Case, ALoneSurrogateInUtf8FormIsRefused) {
  for (const char* text : {"\xED\xA0\x80", "\xED\xBF\xBF", "\xED\xA0\xBD\xED\xB3\x96"})
    expectCorrupt(inElement().key(1).text(text).end());
}

TEST(Case, ASecondElementInASingleCompositionIsRefusedAndTheFirstStays) {
  const auto parser = makeParser(goldenRegistry());
  const Bytes bytes = inElement()
                          .child(18, "g.N")
                          .key(1)
                          .text("first")
                          .end()
                          .child(18, "g.N")
                          .key(1)
                          .text("second")
                          .end()
                          .end();
  EXPECT_EQ(parseBytes(*parser, bytes).ending, Ending::refused);
  const Model model = parser->getModelBuilder().takeModel();
  EXPECT_EQ(model.size(), 2u);
  EXPECT_EQ(model.getRoots().at(0).getElement("kid").getText("name"), "first");
}

TEST(Case, ASecondValueOfASingleDatatypeIsRefused) {
  EXPECT_EQ(outcomeFor(inElement().key(16).end().key(16).end().end()).ending, Ending::refused);
}

TEST(Case, ASecondValueOfASinglePropertyIsRefused) {
  EXPECT_EQ(outcomeFor(inElement().key(1).text("a").key(1).text("b").end()).ending, Ending::valueError);
  EXPECT_EQ(outcomeFor(inElement().key(4).byte(1).key(4).byte(1).end()).ending, Ending::valueError);
  EXPECT_EQ(outcomeFor(inElement().key(2).absent().key(2).absent().end()).ending, Ending::valueError);
  EXPECT_EQ(outcomeFor(inElement().key(2).absent().key(2).present().text("a").end()).ending,
            Ending::valueError);
  EXPECT_EQ(
      outcomeFor(inElement().key(20).reference("g.N", "a", "b").key(20).reference("g.N", "a", "b").end())
          .ending,
      Ending::valueError);
}

TEST(Case, ACollectionInTwoPiecesIsOneCollection) {
  const Model model = readModel(inElement()
                                    .key(3)
                                    .number(1)
                                    .text("a")
                                    .key(1)
                                    .text("x")
                                    .key(3)
                                    .number(0)
                                    .key(3)
                                    .number(1)
                                    .text("b")
                                    .end());
  const ConstElement element = model.getRoots().at(0);
  ASSERT_EQ(element.size("tags"), 2u);
  EXPECT_EQ(element.getText("tags", 0), "a");
  EXPECT_EQ(element.getText("tags", 1), "b");
}

TEST(Case, AReferenceToAnElementOfTheWrongClassIsRefused) {
  // The class that the target has does not fit the property.
  EXPECT_EQ(
      outcomeFor(document().root("g.N").key(20).reference("g.O", "a", "b").end().root("g.O", "a", "b").end())
          .ending,
      Ending::refused);
  // The reference says another class than the target has.
  EXPECT_EQ(outcomeFor(document().root("g.N", "a", "b").key(20).reference("g.Sub", "a", "b").end()).ending,
            Ending::refused);
}

TEST(Case, AnElementOfTheWrongClassIsRefused) {
  EXPECT_EQ(outcomeFor(inElement().child(18, "g.O").end().end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(inElement().child(18, "g.A").end().end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(inElement().child(18, "g.Span").end().end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(inElement().child(18, "g.Kind").end().end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(inElement().child(18, "String").end().end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(inElement().child(18, "").end().end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(document().root("g.A").end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(document().root("g.Span").end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(document().root("g.Missing").end()).ending, Ending::refused);
}

TEST(Case, AnElementWithoutAPropertyThatHoldsItIsRefused) {
  EXPECT_EQ(outcomeFor(inElement().root("g.N").end().end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(inElement().key(16).root("g.N").end().end()).ending, Ending::refused);
}

TEST(Case, TwoElementsOfOneIdentityAreRefused) {
  EXPECT_EQ(outcomeFor(document().root("g.N", "a", "b").end().root("g.O", "a", "b").end()).ending,
            Ending::refused);
  EXPECT_EQ(outcomeFor(document().root("g.N", "#", "1").end().root("g.N", "#", "1").end()).ending,
            Ending::refused);
  EXPECT_EQ(outcomeFor(document().root("g.N", "a", "b").child(18, "g.N", "a", "b").end().end()).ending,
            Ending::refused);
  // The same number in two forms is two identities.
  EXPECT_EQ(outcomeFor(document().root("g.N", "#", "1").end().root("g.N", "#", "01").end()).ending,
            Ending::success);
}

TEST(Case, AnIdentityWithOneEmptyPartIsRefused) {
  EXPECT_EQ(outcomeFor(document().root("g.N", "a", "").end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(document().root("g.N", "", "b").end()).ending, Ending::refused);
  EXPECT_EQ(outcomeFor(document().root("g.N", "", "").end()).ending, Ending::success);
}

TEST(Case, PartsOfIdentitiesDoNotRunTogether) {
  const Model model = readModel(document()
                                    .root("g.N", "ab", "c")
                                    .key(20)
                                    .reference("g.N", "a", "bc")
                                    .end()
                                    .root("g.N", "a", "bc")
                                    .end());
  EXPECT_EQ(model.getRoots().at(0).getReference("ref"), model.getRoots().at(1));
}

TEST(Case, BytesAfterTheLastElementAreNotIgnored) {
  const Bytes& whole = goldenDocument("several roots");
  const auto after = [&](std::initializer_list<unsigned> more) {
    return outcomeFor(DirectBytes().raw(whole).raw(more)).ending;
  };
  EXPECT_EQ(after({0xFF, 0x7F}), Ending::corruptInput);  // closes nothing
  EXPECT_EQ(after({0x00}), Ending::corruptInput);        // opens and is cut short
  EXPECT_EQ(after({0x80}), Ending::corruptInput);        // half a number
  EXPECT_EQ(after({0x01}), Ending::unknownProperty);     // a property of nothing
  EXPECT_EQ(after({0x0A}), Ending::unknownProperty);     // a line feed that a text tool added
}

TEST(Case, APropertyOfNothingIsUnknown) {
  EXPECT_EQ(outcomeFor(document().key(1).text("a")).ending, Ending::unknownProperty);
  EXPECT_EQ(outcomeFor(document().root("g.N").end().key(1).text("a")).ending, Ending::unknownProperty);
}

TEST(Case, AHugePropertyNumberIsUnknownAndMakesNoTable) {
  for (const std::uint64_t key : absurdNumbers()) {
    const auto parser = makeParser(goldenRegistry());
    const Bytes bytes = inElement().key(key).end();
    const AllocationMeter meter;
    EXPECT_EQ(parseBytes(*parser, bytes).ending, Ending::unknownProperty);
    EXPECT_LE(meter.getPeakBytes(), memoryFloor);
  }
}

TEST(Case, APropertyOfTheClassBelowIsUnknownAbove) {
  EXPECT_EQ(outcomeFor(document().root("g.Sub").key(30).absent().end()).ending, Ending::success);
  EXPECT_EQ(outcomeFor(document().root("g.N").key(30).absent().end()).ending, Ending::unknownProperty);
}

TEST(Case, AnEnumerationNumberWithoutALiteralIsRefused) {
  for (const std::int32_t number :
       {2, -2, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_EQ(outcomeFor(inElement().key(22).fixed(number).end()).ending, Ending::valueError);
    EXPECT_EQ(outcomeFor(inElement().key(11).present().fixed(number).end()).ending, Ending::valueError);
    EXPECT_EQ(outcomeFor(inElement().key(12).number(1).fixed(number).end()).ending, Ending::valueError);
  }
}

TEST(Case, ATextThatIsNoDateOrUuidIsRefused) {
  for (const char* text : {"", "x", "2010-02-30", "2010-13-01", "2010-02-01T25:00", "2010-02-01T05:12:32."})
    EXPECT_EQ(outcomeFor(inElement().key(14).present().text(text).end()).ending, Ending::valueError) << text;
  for (const char* text :
       {"", "x", "00112233-4455-6677-8899-aabbccddeef", "00112233-4455-6677-8899-aabbccddeefg"})
    EXPECT_EQ(outcomeFor(inElement().key(15).present().text(text).end()).ending, Ending::valueError) << text;
}

TEST(Case, UnknownPackagesAreRefusedByName) {
  const Outcome outcome = outcomeFor(DirectBytes().header({"urn:g", "urn:unknown"}));
  EXPECT_EQ(outcome.ending, Ending::refused);
  EXPECT_NE(outcome.text.find("urn:unknown"), std::string::npos) << outcome;
}

TEST(Case, ATextMayHoldAnyCharacter) {
  const std::string odd("nul\0bom\xEF\xBB\xBFlast\xF4\x8F\xBF\xBF", 18);
  const Bytes bytes = inElement().key(1).text(odd).end();
  const Model model = readModel(bytes);
  EXPECT_EQ(model.getRoots().at(0).getText("name"), odd);
  EXPECT_EQ(writeDirect(model), bytes);
}

TEST(Case, TheNumbersThatAreSkippedMayBeAnything) {
  const Bytes bytes = document()
                          .number(0)
                          .number(largest)
                          .text("g.N")
                          .byte(2)
                          .key(20)
                          .number(12345)
                          .text("g.N")
                          .byte(1)
                          .text("a")
                          .text("b")
                          .end();
  EXPECT_EQ(readModel(bytes).getRoots().at(0).getUnresolved("ref"),
            (UnresolvedReference{"g.N", "a", "b", std::nullopt}));
}

TEST(Case, ReferencesAreResolvedBackwardForwardAndToTheElementItself) {
  const Model model = readModel(goldenDocument("references"));
  const ConstElement first = model.getRoots().at(0);
  EXPECT_EQ(first.getReference("ref"), first);
  EXPECT_EQ(first.getReference("refs", 0), model.getRoots().at(1));
  EXPECT_EQ(first.getReference("refs", 1), first.getElement("kids", 0));
}

TEST(Case, ADirectoryInPlaceOfAFileIsAnErrorOfTheFile) {
  const auto parser = makeParser(goldenRegistry());
  const Outcome outcome = outcomeOf(*parser, [&] { return parser->parseFile(u"/"); });
  EXPECT_TRUE(outcome.ending == Ending::streamFailed || outcome.ending == Ending::fileNotFound) << outcome;
}

TEST(Case, AFileThatIsNotThereIsNamed) {
  const auto parser = makeParser(goldenRegistry());
  const std::string path = temporaryPath("missing.krb");
  const Outcome outcome = outcomeOf(*parser, [&] { return parser->parseFile(toUstring(path)); });
  EXPECT_EQ(outcome.ending, Ending::fileNotFound);
  EXPECT_NE(outcome.text.find(path), std::string::npos) << outcome;
}

TEST(Case, AnEventTargetMayThrowAtAnyCall) {
  for (const GoldenDocument& golden : goldenDocuments()) {
    SCOPED_TRACE(golden.name);
    const auto parser = makeParser(goldenRegistry());
    std::size_t calls = 0;
    for (bool stopped = true; stopped; ++calls) {
      ASSERT_LT(calls, 1000u);
      io::ParseCustomizer& customizer = parser->getParseProcessor()->getCustomizer();
      parser->setParseProcessor(
          std::make_unique<ThrowingProcessor>(customizer, parser->getModelBuilder(), calls));
      stopped = false;
      try {
        EXPECT_TRUE(parser->parseByteSequence(golden.bytes));
      } catch (const ThrowingProcessor::Stop&) {
        stopped = true;
      }
      // Whatever has arrived is a model, and the parser reads on.
      const Model partial = parser->getModelBuilder().takeModel();
      EXPECT_EQ(partial.clone().size(), partial.size());
      parser->setParseProcessor(std::make_unique<io::ParseProcessor>(customizer, parser->getModelBuilder()));
      ASSERT_EQ(parseBytes(*parser, golden.bytes), (Outcome{Ending::success, {}}));
    }
    EXPECT_GT(calls, 3u);  // version, references, completion at least
    EXPECT_EQ(toHex(writeDirect(parser->takeModel())), toHex(golden.bytes));
  }
}

}  // namespace kr::zero::test::cases
