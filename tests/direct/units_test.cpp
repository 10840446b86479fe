// What the reader hands to a processor with larger units: which values go into a run, many with one call, and
// which take the single operations, in which order and in which memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "direct/DirectModel.h"
#include "direct/ParseDriver.h"
#include "direct/UnitRecorder.h"
#include "kr/zero/io/Errors.h"

namespace kr::zero::io {

namespace {

using test::Bytes;
using test::DirectBytes;
using test::document;
using test::inN;
using testing::ElementsAre;
using UnitCalls = std::vector<std::string>;

/// One parse with larger units.
struct UnitWalk {
  explicit UnitWalk(const Bytes& document, const meta::MetaRegistry& registry = test::directRegistry())
      : bytes(document), customizer(registry) {}

  bool run() {
    BinaryParseContext context(processor, bytes, span);
    try {
      const bool accepted = context.parseBinary();
      offset = context.getOffset();
      return accepted;
    } catch (...) {
      offset = context.getOffset();
      throw;
    }
  }
  /// What happened between the opening of the first element and its end.
  UnitCalls inside() const { return {processor.calls.begin() + 2, processor.calls.end() - 2}; }

  Bytes bytes;
  ParseCustomizer customizer;
  ParsingModelBuilder builder{false};
  test::UnitRecorder processor{customizer, builder};
  log::Span span{"test"};
  std::size_t offset = 0;
};

/// What is handed over of an element p.N.
UnitCalls unitsOf(const DirectBytes& afterRoot) {
  UnitWalk walk(DirectBytes(afterRoot).end());
  EXPECT_TRUE(walk.run());
  EXPECT_EQ(walk.processor.calls.back(), "deferred");
  return walk.inside();
}

/// What had been handed over of an element when reading failed.
UnitCalls unitsBeforeFailure(const Bytes& bytes) {
  UnitWalk walk(bytes);
  EXPECT_ANY_THROW(walk.run());
  return {walk.processor.calls.begin() + 2, walk.processor.calls.end()};
}

}  // namespace

TEST(Units, ValuesInAscendingOrderComeWithOneCall) {
  EXPECT_THAT(
      unitsOf(inN()
                  .key(1)
                  .text("a")
                  .key(2)
                  .absent()
                  .key(4)
                  .byte(1)
                  .key(5)
                  .present()
                  .byte(2)
                  .key(7)
                  .fixed(std::int16_t{-2})
                  .key(8)
                  .present()
                  .fixed(std::int32_t{-7})
                  .key(10)
                  .present()
                  .fixed(std::int32_t{1})
                  .key(11)
                  .fixed(std::int32_t{-1})),
      ElementsAre("cells name 'a', nick empty, sure 1, maybe 0, size -2, weight -7, kind 1, mustKind -1"));
}

TEST(Units, AValueOfAPropertyThatIsPassedOrSetComesByItself) {
  const DirectBytes set = inN().key(300).absent();
  const auto after = [&](const DirectBytes& more) {
    UnitCalls calls = unitsOf(DirectBytes(set).raw(more.bytes()));
    EXPECT_EQ(calls.at(0), "cells far empty");
    return UnitCalls(calls.begin() + 1, calls.end());
  };
  EXPECT_THAT(after(DirectBytes().key(1).text("a")), ElementsAre("text name 'a'"));
  EXPECT_THAT(after(DirectBytes().key(2).absent()), ElementsAre("empty nick"));
  EXPECT_THAT(after(DirectBytes().key(4).byte(1)), ElementsAre("number sure 1"));
  EXPECT_THAT(after(DirectBytes().key(7).fixed(std::int16_t{-2})), ElementsAre("number size -2"));
  EXPECT_THAT(after(DirectBytes().key(11).fixed(std::int32_t{1})), ElementsAre("number mustKind 1"));
  EXPECT_THAT(after(DirectBytes().key(3).number(1).text("a")), ElementsAre("announce tags", "text tags 'a'"));
  EXPECT_THAT(after(DirectBytes().key(9).number(1).fixed(std::int16_t{3})),
              ElementsAre("announce counts", "numbers counts 3"));
  EXPECT_THAT(after(DirectBytes().key(12).number(1).fixed(std::int32_t{1})),
              ElementsAre("announce kinds", "number kinds 1"));
  EXPECT_THAT(after(DirectBytes().key(3).number(0)), ElementsAre("announce tags"));
}

TEST(Units, ASecondValueOfAPropertyComesByItself) {
  EXPECT_THAT(unitsOf(inN().key(1).text("a").key(1).text("b")),
              ElementsAre("cells name 'a'", "text name 'b'"));
  EXPECT_THAT(unitsOf(inN().key(19).reference("p.N", "#", "1").key(19).reference("p.N", "#", "2")),
              ElementsAre("type p.N", "waiting cells ref 1#1", "reference ref 1 #2"));
}

TEST(Units, WhatCameByItselfIsPassedToo) {
  const std::string tooLong(1025, 'x');
  EXPECT_THAT(
      unitsOf(inN().key(300).present().text(tooLong).key(1).text("a").key(8).absent().key(16382).absent()),
      ElementsAre("text far '" + tooLong + "'", "text name 'a'", "empty weight", "cells farthest empty"));
}

TEST(Units, AChildIsPassedAsAValueIs) {
  EXPECT_THAT(
      unitsOf(inN().key(1).text("a").child(17, "p.N").key(7).fixed(std::int16_t{5}).end().key(2).absent()),
      ElementsAre("cells name 'a'", "kid p.N", "cells size 5", "pop", "empty nick"));
  EXPECT_THAT(unitsOf(inN().child(17, "p.N").end().key(300).absent()),
              ElementsAre("kid p.N", "pop", "cells far empty"));
}

TEST(Units, WhatIsPassedOfAnElementIsKnownAgainWhenThoseBelowItEnd) {
  meta::MetaModelBuilder builder("urn:c", "c");
  meta::TypeBuilder& type = builder.classType("C");
  type.property("first", "C").composite().id(1);
  type.property("size", "Integer8").required().id(2);
  type.property("last", "C").composite().id(3);
  meta::MetaRegistry registry;
  builder.registerIn(registry);
  const auto begun = [] { return DirectBytes().header({"urn:c"}).root("c.C"); };
  UnitWalk down(begun().child(3, "c.C").child(1, "c.C").end().end().key(2).byte(5).end(), registry);
  EXPECT_TRUE(down.run());
  EXPECT_THAT(down.inside(), ElementsAre("last c.C", "first c.C", "pop", "pop", "number size 5"));
  UnitWalk up(begun().child(1, "c.C").child(3, "c.C").end().end().key(2).byte(5).end(), registry);
  EXPECT_TRUE(up.run());
  EXPECT_THAT(up.inside(), ElementsAre("first c.C", "last c.C", "pop", "pop", "cells size 5"));
}

TEST(Units, AChildBeginsWithItsFirstProperty) {
  EXPECT_THAT(unitsOf(inN().child(17, "p.N").key(1).text("a").end()),
              ElementsAre("kid p.N", "cells name 'a'", "pop"));
}

TEST(Units, ARunHoldsThirtyTwoValues) {
  meta::MetaModelBuilder builder("urn:w", "w");
  meta::TypeBuilder& wide = builder.classType("Wide");
  for (unsigned i = 1; i <= 70; ++i) wide.property("p" + std::to_string(i), "Integer8").required().id(i);
  meta::MetaRegistry registry;
  builder.registerIn(registry);
  DirectBytes bytes = DirectBytes().header({"urn:w"}).root("w.Wide");
  const auto cells = [](unsigned first, unsigned last) {
    std::string call = "cells";
    for (unsigned i = first; i <= last; ++i)
      call += (i == first ? " p" : ", p") + std::to_string(i) + " " + std::to_string(i);
    return call;
  };
  for (unsigned i = 1; i <= 70; ++i) bytes.key(i).byte(i);
  UnitWalk walk(bytes.end(), registry);
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.inside(), ElementsAre(cells(1, 32), cells(33, 64), cells(65, 70)));
}

TEST(Units, CollectionsOfUpToSevenItemsLieInTheRun) {
  EXPECT_THAT(
      unitsOf(inN()
                  .key(3)
                  .number(2)
                  .text("a")
                  .text("")
                  .key(6)
                  .number(3)
                  .raw({1, 2, 7})
                  .key(9)
                  .number(7)
                  .raw({1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 0xFF, 0xFF})
                  .key(12)
                  .number(1)
                  .fixed(std::int32_t{1})),
      ElementsAre(
          "cells tags ('a' '') of 2, flags (1 0 0) of 3, counts (1 2 3 4 5 6 -1) of 7, kinds (1) of 1"));
}

TEST(Units, ACollectionOfNoneIsExplicitlyEmpty) {
  EXPECT_THAT(unitsOf(inN().key(3).number(0).key(9).number(0).key(20).number(0)),
              ElementsAre("cells tags empty, counts empty, refs empty"));
}

TEST(Units, ItemsOfLargerCollectionsComeByThemselves) {
  DirectBytes tags = inN().key(3).number(8);
  for (int i = 0; i < 8; ++i) tags.text("x");
  UnitCalls expected(9, "text tags 'x'");
  expected[0] = "cells tags empty";
  EXPECT_EQ(unitsOf(tags), expected);
  DirectBytes kinds = inN().key(12).number(8);
  for (int i = 0; i < 8; ++i) kinds.fixed(std::int32_t{1});
  expected.assign(9, "number kinds 1");
  expected[0] = "cells kinds empty";
  EXPECT_EQ(unitsOf(kinds), expected);
}

TEST(Units, ALargeCollectionBehindASmallOneIsNotPutIntoIt) {
  DirectBytes bytes = inN().key(3).number(1).text("a").key(12).number(8);
  for (int i = 0; i < 8; ++i) bytes.fixed(std::int32_t{1});
  UnitCalls expected(9, "number kinds 1");
  expected[0] = "cells tags ('a') of 1, kinds empty";
  EXPECT_EQ(unitsOf(bytes), expected);
}

TEST(Units, ACollectionBehindASmallOneOfTheSamePropertyIsNotPutIntoIt) {
  EXPECT_THAT(unitsOf(inN().key(3).number(1).text("a").key(3).number(1).text("b")),
              ElementsAre("cells tags ('a') of 1", "announce tags", "text tags 'b'"));
}

TEST(Units, NumbersOfLargeCollectionsComeThirtyTwoAtATime) {
  DirectBytes bytes = inN().key(9).number(70);
  for (std::int16_t i = 1; i <= 70; ++i) bytes.fixed(i);
  const auto numbers = [](int first, int last) {
    std::string call = "numbers counts";
    for (int i = first; i <= last; ++i) call += " " + std::to_string(i);
    return call;
  };
  EXPECT_THAT(unitsOf(bytes),
              ElementsAre("cells counts empty", numbers(1, 32), numbers(33, 64), numbers(65, 70)));
}

TEST(Units, NumbersBeforeACutAreHandedOver) {
  const DirectBytes begun = inN().key(9).number(8).raw({1, 0, 2, 0, 3, 0});
  EXPECT_THAT(unitsBeforeFailure(DirectBytes(begun).raw({4, 0})),
              ElementsAre("cells counts empty", "numbers counts 1 2 3"));
  EXPECT_THAT(unitsBeforeFailure(DirectBytes(begun).raw({4, 0, 5})),
              ElementsAre("cells counts empty", "numbers counts 1 2 3 4"));
}

TEST(Units, ValuesBeforeAFailureAreHandedOver) {
  EXPECT_THAT(unitsBeforeFailure(inN().key(1).text("a").key(7).byte(1)), ElementsAre("cells name 'a'"));
  EXPECT_THAT(unitsBeforeFailure(inN().key(3).number(2).text("a").text("\xFF")),
              ElementsAre("cells tags ('a') of 2"));
}

TEST(Units, ValuesOfAnElementThatStaysOpenAreHandedOver) {
  UnitWalk walk(inN().key(1).text("a"));
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.processor.calls, ElementsAre("find p.N", "root p.N", "cells name 'a'", "deferred"));
  EXPECT_EQ(walk.offset, walk.bytes.size());
}

TEST(Units, ALiteralThatThereIsNotComesByItself) {
  EXPECT_THAT(unitsOf(inN().key(11).fixed(std::int32_t{77})), ElementsAre("number mustKind 77"));
  EXPECT_THAT(
      unitsOf(inN().key(12).number(3).fixed(std::int32_t{1}).fixed(std::int32_t{77}).fixed(std::int32_t{0})),
      ElementsAre("cells kinds (1) of 3", "number kinds 77", "number kinds 0"));
}

TEST(Units, TextsOfUpTo1024BytesLieInTheRun) {
  for (const std::size_t size : {0u, 1u, 15u, 16u, 17u, 31u, 32u, 33u, 34u, 127u, 128u, 1023u, 1024u}) {
    std::string text(size, 'x');
    if (size != 0) text.back() = 'y';
    EXPECT_THAT(unitsOf(inN().key(1).text(text)), ElementsAre("cells name '" + text + "'"));
  }
  const std::string longer(1025, 'x');
  EXPECT_THAT(unitsOf(inN().key(1).text(longer)), ElementsAre("text name '" + longer + "'"));
}

TEST(Units, TextsThatAreNotAsciiLieInTheRunToo) {
  const std::string behind(40, 'x');
  EXPECT_THAT(unitsOf(inN().key(1).text("\xC3\xA4\xE2\x82\xAC").key(2).present().text(behind)),
              ElementsAre("cells name '\xC3\xA4\xE2\x82\xAC', nick '" + behind + "'"));
}

TEST(Units, OnlyPlainTextsLieInTheRun) {
  UnitWalk walk(document()
                    .root("p.All")
                    .key(11)
                    .text("a")
                    .key(13)
                    .text("b")
                    .key(14)
                    .text("2010-02-01T05:12:32Z")
                    .key(15)
                    .text("c")
                    .end());
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.inside(),
              ElementsAre("cells a11 'a'", "text a13 'b'", "cells a14 '2010-02-01T05:12:32Z', a15 'c'"));
}

TEST(Units, ATextThatIsNoTimeComesByItself) {
  UnitWalk walk(document().root("p.All").key(14).text("soon").end());
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.inside(), ElementsAre("text a14 'soon'"));
}

TEST(Units, ATextThatIsIllFormedAnywhereIsNotPutIntoTheRun) {
  const Bytes behind(40, 0);
  for (std::size_t size = 1; size <= 40; ++size) {
    for (std::size_t at = 0; at < size; ++at) {
      std::string text(size, 'x');
      text[at] = '\x80';
      UnitWalk walk(inN().key(1).text(text).raw(behind));
      EXPECT_THROW(walk.run(), Error<kr0::io::CorruptInput>);
      EXPECT_THAT(walk.processor.calls, ElementsAre("find p.N", "root p.N")) << at << " of " << size;
    }
  }
}

TEST(Units, AFailureOfTheProcessorStandsWhereReadingHadCome) {
  DirectBytes bytes = inN().key(9).number(70);
  const std::size_t before = bytes.bytes().size();
  std::string numbers = "numbers counts";
  for (std::int16_t i = 1; i <= 70; ++i) {
    bytes.fixed(i);
    if (i <= 32) numbers += " " + std::to_string(i);
  }
  UnitWalk walk(bytes.end());
  walk.processor.failsAt = numbers;
  EXPECT_THROW(walk.run(), std::runtime_error);
  EXPECT_EQ(walk.offset, before + 64);
}

TEST(Units, AQualifiedReferenceBehindANumberedOneHasItsOwnIdentity) {
  EXPECT_THAT(unitsOf(inN().key(20).number(2).reference("p.N", "#", "8").reference("p.N", "q", "a", "b")),
              ElementsAre("type p.N", "keep 1 [a|b] in q", "waiting cells refs (1#8 kept) of 2"));
}

TEST(Units, NamesAndIdentitiesMustBeWellFormed) {
  const std::string bad = "\xC3";
  for (const DirectBytes& bytes :
       {document().root(bad), document().root("p.N", bad, "b"), document().root("p.N", "a", bad),
        inN().key(19).reference(bad, "#", "1"), inN().key(19).reference("p.N", bad, "a", "b"),
        inN().key(19).reference("p.N", bad, "b"), inN().key(19).reference("p.N", "a", bad)}) {
    UnitWalk walk(DirectBytes(bytes).end());
    EXPECT_THROW(walk.run(), Error<kr0::io::CorruptInput>);
    EXPECT_EQ(*walk.span->findContext("error-message"), "Text is not well-formed UTF-8");
  }
}

TEST(Units, ATypeNameThatIsIllFormedFailsBehindIt) {
  const DirectBytes bytes = document().number(0).number(0).text("\xC3");
  UnitWalk walk(DirectBytes(bytes).byte(2).end());
  EXPECT_THROW(walk.run(), Error<kr0::io::CorruptInput>);
  EXPECT_EQ(walk.offset, bytes.bytes().size());
}

TEST(Units, AnEmptyValueThatIsRefusedFailsBehindItsMark) {
  const DirectBytes bytes = inN().key(8).absent().key(2).absent();
  UnitWalk walk(DirectBytes(bytes).end());
  walk.processor.failsAt = "empty nick";
  EXPECT_THROW(walk.run(), std::runtime_error);
  EXPECT_EQ(walk.offset, bytes.bytes().size());
}

TEST(Units, MemoryIsAskedForWhereThereIsTooLittle) {
  const auto callsWith = [](std::size_t freeBytes, const Bytes& bytes) {
    UnitWalk walk(bytes);
    walk.processor.freeBytes = freeBytes;
    EXPECT_TRUE(walk.run());
    return walk.inside();
  };
  const Bytes texts = inN().key(1).text("abcdefgh").key(2).present().text("ijklmnop").end();
  EXPECT_THAT(callsWith(32, texts), ElementsAre("cells name 'abcdefgh', nick 'ijklmnop'"));
  EXPECT_THAT(callsWith(24, texts), ElementsAre("memory 12", "cells name 'abcdefgh', nick 'ijklmnop'"));
  const Bytes list = inN().key(6).number(7).raw(Bytes(7, 1)).end();
  EXPECT_THAT(callsWith(64, list), ElementsAre("cells flags (1 1 1 1 1 1 1) of 7"));
  EXPECT_THAT(callsWith(56, list), ElementsAre("memory 64", "cells flags (1 1 1 1 1 1 1) of 7"));
}

TEST(Units, ATextIsFollowedByTheNextOneInMemory) {
  // Blocks of 32 bytes are copied, and what is behind a text is overwritten by the next one.
  DirectBytes bytes = inN();
  bytes.key(3).number(7);
  std::string expected = "cells tags (";
  for (const char c : {'a', 'b', 'c', 'd', 'e', 'f', 'g'}) {
    const std::string text(static_cast<std::size_t>(c - 'a') * 5 + 1, c);
    bytes.text(text);
    expected += (c == 'a' ? "'" : " '") + text + "'";
  }
  EXPECT_THAT(unitsOf(bytes), ElementsAre(expected + ") of 7"));
}

TEST(Units, AnIdentityOfTheDocumentsOwnIsANumber) {
  for (const char* number : {"1", "12", "999999999"}) {
    UnitWalk walk(document().root("p.N", "#", number).end());
    EXPECT_TRUE(walk.run());
    EXPECT_EQ(walk.processor.calls.at(1), std::string("root p.N #") + number);
  }
}

TEST(Units, AnyOtherIdentityIsTwoTexts) {
  const std::string fiftyThree(53, '5');  // as many as the character 5 is among characters
  const std::pair<std::string, std::string> identities[] = {
      {"a", "5"},  {"#", "05"},           {"#", "5a"}, {"#", "1234567890"}, {"#", ""},
      {"##", "5"}, {"#\x01", fiftyThree}, {"", "5"},   {"#", fiftyThree},
  };
  for (const auto& [id1, id2] : identities) {
    UnitWalk walk(document().root("p.N", id1, id2).end());
    EXPECT_TRUE(walk.run());
    EXPECT_EQ(walk.processor.calls.at(1), "root p.N [" + id1 + "|" + id2 + "]");
    EXPECT_EQ(walk.offset, walk.bytes.size());
  }
}

TEST(Units, AnIdentityMayEndWithTheDocument) {
  UnitWalk walk(inN().key(19).reference("p.N", "#", "5"));
  EXPECT_TRUE(walk.run());
  EXPECT_EQ(walk.processor.calls.at(3), "waiting cells ref 1#5");
}

TEST(Units, AnIdentityThatIsCutIsNoNumber) {
  for (const DirectBytes& identity : {DirectBytes().text("#").number(2).byte('5'),
                                      DirectBytes().text("#").number(1), DirectBytes().text("#")}) {
    UnitWalk walk(document().number(0).number(0).text("p.N").byte(1).raw(identity.bytes()));
    EXPECT_THROW(walk.run(), Error<kr0::io::CorruptInput>);
    EXPECT_THAT(walk.processor.calls, testing::IsEmpty());
  }
}

TEST(Units, ReferencesByNumberLieInTheRunAndOthersAreKept) {
  EXPECT_THAT(unitsOf(inN()
                          .key(19)
                          .reference("p.N", "#", "7")
                          .key(20)
                          .number(3)
                          .reference("p.N", "#", "8")
                          .reference("p.N", "a", "b")
                          .reference("p.N", "q", "#", "9")),
              ElementsAre("type p.N", "keep 1 [a|b]", "keep 1 [#|9] in q",
                          "waiting cells ref 1#7, refs (1#8 kept kept) of 3"));
}

TEST(Units, OnlyARunWithReferencesIsSaidToWait) {
  EXPECT_THAT(unitsOf(inN().key(19).reference("p.N", "#", "1").child(18, "p.N").key(1).text("a").end()),
              ElementsAre("type p.N", "waiting cells ref 1#1", "kids p.N", "cells name 'a'", "pop"));
}

TEST(Units, ReferencesOfLargerCollectionsComeByThemselves) {
  DirectBytes bytes = inN().key(20).number(8);
  for (int i = 0; i < 8; ++i) bytes.reference("p.N", "#", "3");
  UnitCalls expected(10, "reference refs 1 #3");
  expected[0] = "cells refs empty";
  expected[1] = "type p.N";
  EXPECT_EQ(unitsOf(bytes), expected);
}

TEST(Units, ATypeOfReferencesIsNumberedOnceWhereItHasElements) {
  EXPECT_THAT(unitsOf(inN()
                          .key(20)
                          .number(4)
                          .reference("p.N", "#", "1")
                          .reference("x.A", "#", "2")
                          .reference("x.A", "#", "3")
                          .reference("p.N", "#", "4")),
              ElementsAre("type p.N", "type x.A", "type x.A", "waiting cells refs (1#1 2#2 3#3 1#4) of 4"));
}

TEST(Units, ItemsAreThoseOfTheirPropertyWhateverItsPlace) {
  meta::MetaModelBuilder builder("urn:c", "c");
  builder.enumeration("Kind").literal("a", 0).literal("b", 1);
  meta::TypeBuilder& type = builder.classType("C");
  for (const std::uint32_t place : {1u, 2u}) {
    type.property("refs" + std::to_string(place), "C").many().id(place);
    type.property("kinds" + std::to_string(place), "Kind").many().id(place + 2);
    if (place == 1) type.property("between", "String").id(5);
  }
  meta::MetaRegistry registry;
  builder.registerIn(registry);
  const auto reference = [](std::uint64_t key) {
    return DirectBytes().key(key).number(1).reference("c.C", "#", "1");
  };
  const auto literal = [](std::uint64_t key) {
    return DirectBytes().key(key).number(1).fixed(std::int32_t{1});
  };
  UnitWalk walk(DirectBytes()
                    .header({"urn:c"})
                    .root("c.C")
                    .raw(reference(1).bytes())
                    .raw(literal(3).bytes())
                    .raw(reference(2).bytes())
                    .raw(literal(4).bytes())
                    .end(),
                registry);
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(
      walk.inside(),
      ElementsAre("type c.C",
                  "waiting cells refs1 (1#1) of 1, kinds1 (1) of 1, refs2 (1#1) of 1, kinds2 (1) of 1"));
}

TEST(Units, AnEmptyTypeNameIsNotTheOneBefore) {
  EXPECT_THAT(unitsOf(inN().key(20).number(2).reference("p.N", "#", "1").reference("", "#", "2")),
              ElementsAre("type p.N", "type ", "waiting cells refs (1#1 2#2) of 2"));
}

// The type that was found last at a place is compared with first, by words where names have up to sixteen
// bytes.
TEST(Units, TypesAreToldApartByEveryCharacterOfTheirNames) {
  constexpr std::size_t kMost = 26;
  meta::MetaModelBuilder p("urn:p", "p");
  meta::MetaModelBuilder q("urn:q", "q");
  std::vector<std::string> names;
  for (std::size_t size = 1; size <= kMost; ++size) {
    const std::string plain(size, 'a');
    p.classType(plain);
    q.classType(plain);
    names.push_back("q." + plain);
    for (std::size_t at = 0; at < size; ++at) {
      std::string other = plain;
      other[at] = 'b';
      p.classType(other);
      names.push_back("p." + other);
    }
  }
  meta::MetaRegistry registry;
  p.registerIn(registry);
  q.registerIn(registry);
  for (const std::string& other : names) {
    if (other.size() == kMost + 2) continue;  // there is none that is longer
    const std::string plain = "p." + std::string(other.size() - 2, 'a');
    DirectBytes bytes = DirectBytes().header({"urn:p", "urn:q"});
    for (const std::string& name : {plain, other, plain, plain + "a", plain}) bytes.root(name).end();
    UnitWalk walk(bytes, registry);
    EXPECT_TRUE(walk.run());
    EXPECT_THAT(walk.processor.calls,
                ElementsAre("find " + plain, "root " + plain, "pop", "find " + other, "root " + other, "pop",
                            "root " + plain, "pop", "find " + plain + "a", "root " + plain + "a", "pop",
                            "root " + plain, "pop", "deferred"));
  }
}

TEST(Units, ATypeIsLookedUpOnce) {
  UnitWalk walk(document().root("p.N").end().root("p.N").end());
  EXPECT_TRUE(walk.run());
  EXPECT_THAT(walk.processor.calls,
              ElementsAre("find p.N", "root p.N", "pop", "root p.N", "pop", "deferred"));
}

TEST(Units, WhatTheProcessorTakesATypeForHasTheProperties) {
  class Renaming final : public ParseCustomizer {
   public:
    using ParseCustomizer::ParseCustomizer;
    meta::Type getMetaClass(const ustring&) override { return getRegistry().findType("p.Sub"); }
  };
  Renaming customizer(test::directRegistry());
  ParsingModelBuilder builder(false);
  test::UnitRecorder processor(customizer, builder);
  const log::Span span("test");
  const Bytes ofSub = inN().key(30).text("a").end();
  EXPECT_THROW(BinaryParseContext(processor, ofSub, span).parseBinary(), std::out_of_range);
}

}  // namespace kr::zero::io
