// The walk over a document: what reaches the parse processor, in which order, and what is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "direct/DirectModel.h"
#include "direct/ParseDriver.h"
#include "kr/zero/io/Errors.h"
#include "support/RecordingParseProcessor.h"

namespace kr::zero::io {

namespace {

using test::Bytes;
using test::Calls;
using test::DirectBytes;
using test::directRegistry;
using test::document;
using test::inN;
using test::Recorder;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

// One parse with a recorder.
struct Walk {
  explicit Walk(const Bytes& document) : bytes(document), recorder(directRegistry()) {}

  bool run() { return BinaryParseContext(recorder.processor, bytes, span).parseBinary(); }
  std::string detail() const {
    const std::string* found = span->findContext("error-message");
    return found != nullptr ? *found : "none";
  }

  Bytes bytes;
  Recorder recorder;
  log::Span span{"test"};
};

// What happens between the opening of an element p.N and the end of its document.
Calls callsIn(const DirectBytes& afterRoot) {
  Walk walk(afterRoot);
  EXPECT_TRUE(walk.run());
  Calls events = walk.recorder.events();
  EXPECT_EQ(Calls(events.begin(), events.begin() + 3), (Calls{"version 1", "packages urn:p", "push p.N"}));
  EXPECT_EQ(events.back(), "process deferred");
  return {events.begin() + 3, events.end() - 1};
}

// The detail of the CorruptInput that a document raises.
std::string corruptionOf(const Bytes& bytes) {
  Walk walk(bytes);
  try {
    walk.run();
  } catch (const Error<kr0::io::CorruptInput>&) {
    EXPECT_EQ(walk.span->getError(), "kr0:io:CorruptInput");
    return walk.detail();
  }
  return "nothing was raised";
}

std::string outOfRangeOf(const Bytes& bytes) {
  try {
    Walk(bytes).run();
  } catch (const std::out_of_range& e) {
    return e.what();
  }
  return "nothing was raised";
}

constexpr const char* kUnknownKey = "invalid unordered_map<K, T> key";

}  // namespace

TEST(DriverHeader, TheSmallestDocumentIsFiveBytes) {
  Walk walk({0x01, 0x02, 0x6B, 0x72, 0x00});
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.calls, ElementsAre("version 1", "packages", "process deferred"));
}

TEST(DriverHeader, VersionsOtherThanOneAreRefused) {
  for (const std::uint64_t version : {std::uint64_t{0}, std::uint64_t{2}, std::uint64_t{128},
                                      std::uint64_t{257}, std::uint64_t{1} << 32 | 1, ~std::uint64_t{0}}) {
    Walk walk(DirectBytes().number(version).text("kr").number(0));
    EXPECT_THROW(walk.run(), Error<kr0::io::CorruptInput>) << version;
    EXPECT_EQ(walk.detail(), "Invalid version number");
    EXPECT_THAT(walk.recorder.calls, IsEmpty());
  }
}

TEST(DriverHeader, ALongerFormOfOneIsVersionOne) {
  Walk walk(DirectBytes().raw({0x81, 0x80, 0x00}).text("kr").number(0));
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.calls, Contains("version 1"));
}

TEST(DriverHeader, FlagsOtherThanTheLittleEndianOneAreRefused) {
  for (const char* flag : {"KR", "", "k", "krk", "Kr", "rk"}) {
    Walk walk(DirectBytes().number(1).text(flag).number(0));
    EXPECT_THROW(walk.run(), Error<kr0::io::CorruptInput>) << flag;
    EXPECT_EQ(walk.detail(), "Invalid endian flag");
    EXPECT_THAT(walk.recorder.calls, ElementsAre("version 1"));
  }
}

TEST(DriverHeader, PackagesAreHandedOverInTheirOrder) {
  Walk walk(DirectBytes().header({"urn:b", "urn:a", "", "urn:b"}));
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.calls, Contains("packages urn:b urn:a  urn:b"));
}

TEST(DriverHeader, RefusedPackagesEndTheParseAtOnce) {
  Walk walk(document().byte(0x80));  // what follows would be corrupt
  walk.recorder.customizer.acceptsPackages = false;
  EXPECT_FALSE(walk.run());
  EXPECT_THAT(walk.recorder.calls, ElementsAre("version 1", "packages urn:p"));
}

TEST(DriverHeader, ACutHeaderIsCorrupt) {
  EXPECT_EQ(corruptionOf({}), "Number cut short");
  EXPECT_EQ(corruptionOf({0x81}), "Number cut short");
  EXPECT_EQ(corruptionOf({0x01}), "Number cut short");
  EXPECT_EQ(corruptionOf({0x01, 0x02, 0x6B}), "Text cut short");
  EXPECT_EQ(corruptionOf({0x01, 0x02, 0x6B, 0x72}), "Number cut short");
  EXPECT_EQ(corruptionOf({0x01, 0x02, 0x6B, 0x72, 0x01}), "Count larger than the bytes that remain");
  EXPECT_EQ(corruptionOf({0x01, 0x02, 0x6B, 0x72, 0x01, 0x02, 0x61}), "Text cut short");
}

TEST(DriverElements, ARootIsOpenedAndClosedByTheNameOfItsType) {
  Walk walk(inN().end());
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.events(),
              ElementsAre("version 1", "packages urn:p", "push p.N", "pop p.N", "process deferred"));
}

TEST(DriverElements, AnIdentityIsTwoTextsBehindAOne) {
  Walk walk(document().root("p.N", "a", "b").end());
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.calls, Contains("push p.N [a|b]"));
}

TEST(DriverElements, AnyOtherByteMeansNoIdentity) {
  for (unsigned flag = 0; flag < 256; ++flag) {
    if (flag == 1) continue;
    Walk walk(document().number(0).number(0).text("p.N").byte(flag).end());
    EXPECT_TRUE(walk.run());
    EXPECT_THAT(walk.recorder.calls, Contains("push p.N")) << flag;
  }
}

TEST(DriverElements, AnIdentityDoesNotStayForTheNextElement) {
  Walk walk(document().root("p.N", "a", "b").end().root("p.N").end());
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.events(), ElementsAre("version 1", "packages urn:p", "push p.N [a|b]", "pop p.N",
                                                  "push p.N", "pop p.N", "process deferred"));
}

TEST(DriverElements, ADatatypeAfterAnIdentityHasNone) {
  EXPECT_THAT(callsIn(inN().child(17, "p.N", "a", "b").key(15).end().end().end()),
              ElementsAre("push p.N [a|b]", "push p.Pair", "pop pair", "pop kid", "pop p.N"));
}

TEST(DriverElements, TheNumberBeforeAHeaderSaysNothing) {
  Walk walk(document().number(0).number(~std::uint64_t{0}).text("p.N").byte(2).end());
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.calls, Contains("push p.N"));
}

TEST(DriverElements, AChildHasAHeaderAndClosesByTheNameOfItsProperty) {
  EXPECT_THAT(callsIn(inN().child(18, "p.Sub").key(30).text("x").end().child(18, "p.N").end().end()),
              ElementsAre("push p.Sub", "text more = x", "pop kids", "push p.N", "pop kids", "pop p.N"));
}

TEST(DriverElements, ADatatypeHasNoHeaderAndTheTypeOfItsProperty) {
  EXPECT_THAT(callsIn(inN().key(15).key(2).key(3).absent().end().end().key(16).end().end()),
              ElementsAre("push p.Pair", "push p.Inner", "empty note", "pop inner", "pop pair", "push p.Pair",
                          "pop pairs", "pop p.N"));
}

TEST(DriverElements, AStartInsideAnElementOpensARootThere) {
  EXPECT_THAT(callsIn(inN().root("p.N").end().end()), ElementsAre("push p.N", "pop p.N", "pop p.N"));
}

TEST(DriverElements, ARefusedPushEndsTheParse) {
  Walk walk(inN().child(17, "p.N").end().end());
  walk.recorder.processor.pushesLeft = 1;
  EXPECT_FALSE(walk.run());
  EXPECT_EQ(walk.recorder.calls.back(), "push p.N");
}

TEST(DriverElements, ARefusedRootOrDatatypeEndsTheParseToo) {
  Walk root(inN().end());
  root.recorder.processor.pushesLeft = 0;
  EXPECT_FALSE(root.run());
  Walk datatype(inN().key(15).end().end());
  datatype.recorder.processor.pushesLeft = 1;
  EXPECT_FALSE(datatype.run());
  EXPECT_EQ(datatype.recorder.calls.back(), "push p.Pair");
}

TEST(DriverElements, ARefusedTypeIsNotLookedUp) {
  Walk walk(inN().end());
  walk.recorder.processor.pushesLeft = 0;
  EXPECT_FALSE(walk.run());
  EXPECT_THAT(walk.recorder.calls, testing::Not(Contains("ask meta class p.N")));
}

TEST(DriverElements, ATypeIsDescribedOncePerParse) {
  Walk walk(inN().child(18, "p.N").end().child(18, "p.Sub").end().child(18, "p.N").end().key(15).end().end());
  EXPECT_TRUE(walk.run());
  Calls questions;
  for (const std::string& call : walk.recorder.calls)
    if (call.rfind("ask meta class", 0) == 0) questions.push_back(call);
  EXPECT_THAT(questions, ElementsAre("ask meta class p.N", "ask meta class p.Sub", "ask meta class p.Pair"));
}

TEST(DriverElements, AnEndWithNothingOpenIsCorrupt) {
  EXPECT_EQ(corruptionOf(document().end()), "End mark without an open element");
  EXPECT_EQ(corruptionOf(inN().end().end()), "End mark without an open element");
}

TEST(DriverElements, ElementsThatStayOpenAreNotClosedForThem) {
  EXPECT_THAT(callsIn(inN().child(17, "p.N")), ElementsAre("push p.N"));
}

TEST(DriverElements, ACutHeaderIsCorrupt) {
  EXPECT_EQ(corruptionOf(document().number(0)), "Number cut short");
  EXPECT_EQ(corruptionOf(document().number(0).number(0)), "Number cut short");
  EXPECT_EQ(corruptionOf(document().number(0).number(0).number(3).byte('p')), "Text cut short");
  EXPECT_EQ(corruptionOf(document().number(0).number(0).text("p.N")), "Byte cut short");
  EXPECT_EQ(corruptionOf(document().number(0).number(0).text("p.N").byte(1)), "Number cut short");
  EXPECT_EQ(corruptionOf(document().number(0).number(0).text("p.N").byte(1).text("a")), "Number cut short");
}

TEST(DriverNames, APropertyThatTheTypeDoesNotHaveIsOutOfRange) {
  EXPECT_EQ(outOfRangeOf(inN().key(299).end()), kUnknownKey);
  EXPECT_EQ(outOfRangeOf(inN().key(30).end()), kUnknownKey);  // of a class below
  EXPECT_EQ(outOfRangeOf(inN().key(16384).end()), kUnknownKey);
  EXPECT_EQ(outOfRangeOf(inN().key(~std::uint64_t{0}).end()), kUnknownKey);
  EXPECT_EQ(outOfRangeOf(inN().key((std::uint64_t{1} << 32) + 1).end()), kUnknownKey);
}

TEST(DriverNames, APropertyWithNothingOpenIsOutOfRange) {
  EXPECT_EQ(outOfRangeOf(document().key(1)), kUnknownKey);
  EXPECT_EQ(outOfRangeOf(inN().end().key(1)), kUnknownKey);
}

TEST(DriverNames, ThePropertiesOfTheInnermostElementCount) {
  EXPECT_EQ(outOfRangeOf(inN().key(15).key(4).byte(1).end().end()), kUnknownKey);
  EXPECT_THAT(callsIn(inN().key(15).key(1).fixed(5).end().key(1).text("a").end()),
              ElementsAre("push p.Pair", "value x = Integer 5", "pop pair", "text name = a", "pop p.N"));
}

TEST(DriverNames, InheritedPropertiesBelongToAClass) {
  EXPECT_THAT(callsIn(inN().child(17, "p.Sub").key(30).text("m").key(1).text("n").end().end()),
              ElementsAre("push p.Sub", "text more = m", "text name = n", "pop kid", "pop p.N"));
}

TEST(DriverNames, APropertyWithALargeNumberIsFound) {
  EXPECT_THAT(callsIn(inN().key(16382).present().text("a").key(300).present().text("b").end()),
              ElementsAre("text farthest = a", "text far = b", "pop p.N"));
}

TEST(DriverNames, ATypeThatTheCustomizerDoesNotKnowHasNoProperties) {
  Walk walk(inN().key(1).text("a").end());
  walk.recorder.customizer.renamedTypes[u"p.N"] = u"p.None";
  EXPECT_THROW(walk.run(), std::out_of_range);
}

TEST(DriverNames, ATypeThatIsNotStructuredHasNoProperties) {
  Walk walk(inN().key(1).text("a").end());
  walk.recorder.customizer.renamedTypes[u"p.N"] = u"p.Kind";
  EXPECT_THROW(walk.run(), std::out_of_range);
}

TEST(DriverNames, TheCustomizerDecidesWhatATypeNameMeans) {
  Walk walk(inN().key(30).text("a").end());
  walk.recorder.customizer.renamedTypes[u"p.N"] = u"p.Sub";
  walk.recorder.processor.categories[u"more"] = PropertyCategory();  // whatever; the key is known
  EXPECT_THROW(walk.run(), std::exception);
  EXPECT_THAT(walk.recorder.calls, Contains("ask category more"));
}

TEST(DriverNames, ATypeThatMeansAnotherKeepsItsName) {
  Walk walk(document().root("p.N").end().root("p.N").end());
  walk.recorder.customizer.renamedTypes[u"p.N"] = u"p.Sub";
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.events(), ElementsAre("version 1", "packages urn:p", "push p.N", "pop p.N",
                                                  "push p.N", "pop p.N", "process deferred"));
}

TEST(DriverNames, NamesAreTheMetaModelsOwnStrings) {
  Walk walk(inN().key(1).text("a").child(18, "p.N").end().key(15).end().end());
  EXPECT_TRUE(walk.run());
  const meta::StructuredType type(directRegistry().findType("p.N"));
  const auto& processor = walk.recorder.processor;
  EXPECT_EQ(processor.propertyNames.at(0), &type->findProperty(std::string_view("name"))->getName());
  ASSERT_THAT(processor.typeNames, SizeIs(3));  // the first element comes before its type is known
  EXPECT_EQ(processor.typeNames[1], &type->getQualifiedName());
  EXPECT_EQ(processor.typeNames[2], &directRegistry().findType("p.Pair")->getQualifiedName());
}

TEST(DriverValues, TextsAreHandedOverAsTexts) {
  EXPECT_THAT(
      callsIn(inN().key(1).text("a\xC3\xA4").key(13).present().text("c").key(14).present().text("7").end()),
      ElementsAre("text name = a\xC3\xA4", "text code = c", "text ownInteger = 7", "pop p.N"));
}

TEST(DriverValues, EveryStandardTypeIsReadInItsForm) {
  Walk walk(document()
                .root("p.All")
                .key(1)
                .byte(1)
                .key(2)
                .fixed(std::int8_t{-1})
                .key(3)
                .fixed(std::uint8_t{255})
                .key(4)
                .fixed(std::int16_t{-2})
                .key(5)
                .fixed(std::uint16_t{65534})
                .key(6)
                .fixed(std::int32_t{-3})
                .key(7)
                .fixed(std::uint32_t{4294967293u})
                .key(8)
                .fixed(std::int64_t{-4})
                .key(9)
                .fixed(std::uint64_t{5})
                .key(10)
                .fixed(0.5)
                .key(11)
                .text("t")
                .key(12)
                .text("u")
                .key(13)
                .text("v")
                .key(14)
                .text("w")
                .key(15)
                .text("x")
                .key(16)
                .text("y")
                .key(17)
                .text("z")
                .key(18)
                .text("c")
                .key(19)
                .fixed(std::int32_t{-1})
                .end());
  EXPECT_TRUE(walk.run());
  const Calls events = walk.recorder.events();
  EXPECT_THAT(Calls(events.begin() + 3, events.end() - 2),
              ElementsAre("value a1 = Boolean true", "value a2 = Integer8 -1", "value a3 = UInteger8 255",
                          "value a4 = Integer16 -2", "value a5 = UInteger16 65534", "value a6 = Integer -3",
                          "value a7 = UnlimitedNatural 4294967293", "value a8 = Integer64 -4",
                          "value a9 = UInteger64 5", "value a10 = Real 0.500000", "text a11 = t",
                          "text a12 = u", "text a13 = v", "text a14 = w", "text a15 = x", "text a16 = y",
                          "text a17 = z", "text a18 = c", "value a19 = p.Kind -1 (8 bytes)"));
}

TEST(DriverValues, OnlyOneIsTrue) {
  for (unsigned byte = 0; byte < 256; ++byte)
    EXPECT_THAT(
        callsIn(inN().key(4).byte(byte).end()),
        ElementsAre(byte == 1 ? "value sure = Boolean true" : "value sure = Boolean false", "pop p.N"))
        << byte;
}

TEST(DriverValues, AnOptionalValueMarkedEmptyHasNoBytes) {
  EXPECT_THAT(callsIn(inN().key(2).absent().key(5).absent().key(8).absent().key(10).absent().end()),
              ElementsAre("empty nick", "empty maybe", "empty weight", "empty kind", "pop p.N"));
}

TEST(DriverValues, AnyOtherMarkMeansThatAValueFollows) {
  for (unsigned mark = 0; mark < 256; ++mark) {
    if (mark == 0xEE) continue;
    EXPECT_THAT(callsIn(inN().key(8).byte(mark).fixed(7).end()),
                ElementsAre("value weight = Integer 7", "pop p.N"))
        << mark;
  }
}

TEST(DriverValues, ARequiredValueHasNoMark) {
  EXPECT_THAT(callsIn(inN().key(7).raw({0xEE, 0xEE}).end()),
              ElementsAre("value size = Integer16 -4370", "pop p.N"));
}

TEST(DriverValues, ACollectionIsACountAndItsValuesWithoutMarks) {
  EXPECT_THAT(callsIn(inN()
                          .key(3)
                          .number(2)
                          .text("a")
                          .text("")
                          .key(6)
                          .number(2)
                          .byte(1)
                          .byte(2)
                          .key(9)
                          .number(1)
                          .fixed(std::int16_t{-1})
                          .key(12)
                          .number(1)
                          .fixed(std::int32_t{1})
                          .end()),
              ElementsAre("text tags = a", "text tags = ", "value flags = Boolean true",
                          "value flags = Boolean false", "value counts = Integer16 -1",
                          "value kinds = p.Kind 1 (8 bytes)", "pop p.N"));
}

TEST(DriverValues, ACollectionOfNoneIsAnnouncedAndNothingElse) {
  Walk walk(inN().key(3).number(0).key(9).number(0).end());
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.calls,
              ElementsAre("version 1", "packages urn:p", "push p.N", "ask meta class p.N",
                          "ask category tags", "ask type tags", "ask optional tags", "ask category counts",
                          "ask type counts", "ask optional counts", "pop p.N", "process deferred"));
}

TEST(DriverValues, TheProcessorSaysWhatTypeAPropertyHasEachTime) {
  struct Changing : test::RecordingParseProcessor {
    using RecordingParseProcessor::RecordingParseProcessor;
    meta::Type getPropertyType(const ustring&) override {
      return directRegistry().findType(++asked == 1 ? "String" : "Integer");
    }
    int asked = 0;
  };
  Walk walk(inN().key(8).present().text("a").key(8).present().fixed(1).end());
  Calls calls;
  Changing processor(walk.recorder.customizer, walk.recorder.builder, calls);
  EXPECT_TRUE(BinaryParseContext(processor, walk.bytes, walk.span).parseBinary());
  EXPECT_THAT(calls, Contains("text weight = a"));
  EXPECT_THAT(calls, Contains("value weight = Integer 1"));
}

TEST(DriverValues, ATypeThatIsNoPrimitiveIsReadAsText) {
  Walk walk(inN().key(8).present().text("a").end());
  walk.recorder.processor.types[u"weight"] = directRegistry().findType("p.Pair");
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.calls, Contains("text weight = a"));
}

TEST(DriverValues, APropertyThatIsOnlyVerbatimHasNoBytes) {
  for (const std::uint32_t category : {0x010u, 0x1000u, 0x1010u, 0u, 0x20u}) {
    Walk walk(inN().key(8).key(1).text("a").end());
    walk.recorder.processor.categories[u"weight"] = PropertyCategory(category);
    EXPECT_TRUE(walk.run());
    EXPECT_THAT(walk.recorder.events(), ElementsAre("version 1", "packages urn:p", "push p.N",
                                                    "text name = a", "pop p.N", "process deferred"))
        << category;
  }
}

TEST(DriverValues, TheFirstCategoryThatFitsCounts) {
  Walk walk(inN().key(8).present().fixed(3).end());
  walk.recorder.processor.categories[u"weight"] = PropertyCategory(0x001 | 0x002 | 0x004 | 0x008 | 0x010);
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.recorder.calls, Contains("value weight = Integer 3"));

  Walk datatype(inN().key(15).end().end());
  datatype.recorder.processor.categories[u"pair"] = PropertyCategory(0x200 | 0x800 | 0x400);
  EXPECT_TRUE(datatype.run());
  EXPECT_THAT(datatype.recorder.calls, Contains("push p.Pair"));

  Walk composition(inN().child(17, "p.N").end().end());
  composition.recorder.processor.categories[u"kid"] = PropertyCategory(0x008 | 0x004);
  EXPECT_TRUE(composition.run());
  EXPECT_THAT(composition.recorder.calls, Contains("pop kid"));
}

TEST(DriverValues, AFixedWidthValueNeedsAByteAfterIt) {
  const auto failureOf = [](const Bytes& bytes) -> std::string {
    try {
      Walk(bytes).run();
    } catch (const std::runtime_error& e) {
      return e.what();
    }
    return "nothing was raised";
  };
  const char* const cut = "Invalid input of decodePrimitiveFromBinaryInLittleEndian";
  EXPECT_EQ(failureOf(inN().key(7).byte(1)), cut);
  EXPECT_EQ(failureOf(inN().key(7).byte(1).byte(2)), cut);
  EXPECT_EQ(failureOf(inN().key(7).byte(1).byte(2).end()), "nothing was raised");
}

TEST(DriverValues, ACutValueIsCorrupt) {
  EXPECT_EQ(corruptionOf(inN().key(4)), "Byte cut short");
  EXPECT_EQ(corruptionOf(inN().key(2)), "Byte cut short");
  EXPECT_EQ(corruptionOf(inN().key(1)), "Number cut short");
  EXPECT_EQ(corruptionOf(inN().key(1).number(4).byte('a')), "Text cut short");
  EXPECT_EQ(corruptionOf(inN().key(3)), "Number cut short");
  EXPECT_EQ(corruptionOf(inN().byte(0xFF)), "Number cut short");
}

TEST(DriverValues, ACountLargerThanWhatRemainsIsRefusedBeforeItsFirstItem) {
  for (const std::uint64_t key : {3u, 6u, 9u, 12u, 20u}) {
    for (const std::uint64_t count : {std::uint64_t{2}, std::uint64_t{1} << 40, ~std::uint64_t{0}}) {
      Walk walk(inN().key(key).number(count).byte(1));
      EXPECT_THROW(walk.run(), Error<kr0::io::CorruptInput>);
      EXPECT_EQ(walk.detail(), "Count larger than the bytes that remain");
      EXPECT_THAT(walk.recorder.processor.values, IsEmpty());
    }
  }
}

TEST(DriverValues, MalformedTextIsCorruptWhereverItStands) {
  const std::string bad = "\xC3";
  const char* const detail = "Text is not well-formed UTF-8";
  EXPECT_EQ(corruptionOf(DirectBytes().number(1).text("kr").number(1).text(bad)), detail);
  EXPECT_EQ(corruptionOf(document().root(bad)), detail);
  EXPECT_EQ(corruptionOf(document().root("p.N", bad, "b")), detail);
  EXPECT_EQ(corruptionOf(document().root("p.N", "a", bad)), detail);
  EXPECT_EQ(corruptionOf(inN().key(1).text(bad)), detail);
  EXPECT_EQ(corruptionOf(inN().key(19).reference(bad, "a", "b")), detail);
  EXPECT_EQ(corruptionOf(inN().key(19).reference("p.N", bad, "a", "b")), detail);
  EXPECT_EQ(corruptionOf(inN().key(19).reference("p.N", bad, "b")), detail);
  EXPECT_EQ(corruptionOf(inN().key(19).reference("p.N", "a", bad)), detail);
}

TEST(DriverReferences, AReferenceNamesTypeAndIdentity) {
  EXPECT_THAT(callsIn(inN().key(19).reference("p.Sub", "a", "b").end()),
              ElementsAre("reference ref -> p.Sub [a|b]", "pop p.N"));
}

TEST(DriverReferences, ATwoBringsAQualifier) {
  EXPECT_THAT(callsIn(inN().key(19).reference("p.N", "other.krb", "a", "b").end()),
              ElementsAre("reference ref -> p.N [a|b] in other.krb", "pop p.N"));
}

TEST(DriverReferences, AnEmptyQualifierIsAQualifier) {
  EXPECT_THAT(callsIn(inN().key(19).reference("p.N", "", "a", "b").end()),
              ElementsAre("reference ref -> p.N [a|b] in ", "pop p.N"));
}

TEST(DriverReferences, AnyOtherByteMeansNoQualifier) {
  for (unsigned flag = 0; flag < 256; ++flag) {
    if (flag == 2) continue;
    EXPECT_THAT(callsIn(inN().key(19).number(0).text("p.N").byte(flag).text("a").text("b").end()),
                ElementsAre("reference ref -> p.N [a|b]", "pop p.N"))
        << flag;
  }
}

TEST(DriverReferences, AQualifierDoesNotStayForTheNextReference) {
  EXPECT_THAT(
      callsIn(inN().key(20).number(2).reference("p.N", "q", "a", "b").reference("p.N", "c", "d").end()),
      ElementsAre("reference refs -> p.N [a|b] in q", "reference refs -> p.N [c|d]", "pop p.N"));
}

TEST(DriverReferences, ASingleOneHasNoCountAndNoMark) {
  // What would be a mark or a count is the number before the reference, which says nothing.
  EXPECT_THAT(callsIn(inN().key(19).number(0xEE).text("p.N").byte(1).text("a").text("b").end()),
              ElementsAre("reference ref -> p.N [a|b]", "pop p.N"));
}

TEST(DriverReferences, ACollectionOfNoneIsAnnouncedAndNothingElse) {
  EXPECT_THAT(callsIn(inN().key(20).number(0).end()), ElementsAre("pop p.N"));
}

TEST(DriverReferences, TargetTypesNeedNotBeKnown) {
  EXPECT_THAT(callsIn(inN()
                          .key(20)
                          .number(6)
                          .reference("x.A", "a", "1")
                          .reference("x.A", "a", "2")
                          .reference("", "a", "3")
                          .reference("x.B", "a", "4")
                          .reference("p.N", "a", "5")
                          .reference("p.Sub", "a", "6")
                          .child(18, "p.Sub")
                          .end()
                          .key(19)
                          .reference("p.Sub", "a", "7")
                          .end()),
              ElementsAre("reference refs -> x.A [a|1]", "reference refs -> x.A [a|2]",
                          "reference refs ->  [a|3]", "reference refs -> x.B [a|4]",
                          "reference refs -> p.N [a|5]", "reference refs -> p.Sub [a|6]", "push p.Sub",
                          "pop kids", "reference ref -> p.Sub [a|7]", "pop p.N"));
}

TEST(DriverReferences, AnEmptyTargetTypeMayComeFirst) {
  EXPECT_THAT(callsIn(inN().key(19).reference("", "a", "b").end()),
              ElementsAre("reference ref ->  [a|b]", "pop p.N"));
}

TEST(DriverEnd, ReferencesAreProcessedOnceAtTheEnd) {
  Walk walk(inN().key(19).reference("p.N", "a", "b").end().root("p.N", "a", "b").end());
  EXPECT_TRUE(walk.run());
  EXPECT_EQ(walk.recorder.calls.back(), "process deferred");
  EXPECT_EQ(std::count(walk.recorder.calls.begin(), walk.recorder.calls.end(), "process deferred"), 1);
}

TEST(DriverEnd, NothingIsProcessedAfterAFailure) {
  Walk walk(inN().key(19).reference("p.N", "a", "b").byte(0x80));
  EXPECT_THROW(walk.run(), Error<kr0::io::CorruptInput>);
  EXPECT_THAT(walk.recorder.calls, Each(testing::Ne("process deferred")));
}

TEST(DriverEnd, TheOffsetIsWhereReadingStopped) {
  Walk walk(inN().key(1).number(4).byte('a'));
  BinaryParseContext context(walk.recorder.processor, walk.bytes, walk.span);
  EXPECT_THROW(context.parseBinary(), Error<kr0::io::CorruptInput>);
  EXPECT_EQ(context.getOffset(), walk.bytes.size() - 2);  // where the text begins
}

}  // namespace kr::zero::io
