// Models out of tree events, and what is refused.
#include <gtest/gtest.h>

#include <bit>
#include <ctime>
#include <limits>
#include <utility>

#include "framework/tree/TreeEventTesting.h"
#include "modeling/sylvan/EventRecorder.h"
#include "support/CollidingTexts.h"

namespace kr::zero::io {
namespace {

using test::EventScript;
using test::Primitive;

Primitive number(std::int64_t value) { return Primitive(value); }
Primitive natural(std::uint64_t value) { return Primitive(value); }
Primitive text(const char* value) { return Primitive(std::string(value)); }

class TreeEventReading : public ::testing::Test, protected test::LibraryFixture {
 protected:
  test::EventParser parser{*registry};

  /// Reads a document of one book whose content a function sends.
  bool readBook(const std::function<void(EventScript&)>& send) {
    return parser.parseEvents([&](test::TreeTarget& target) {
      EventScript script(target);
      script.header().object("library.Book");
      send(script);
      script.endObject().footer();
    });
  }
  /// The one book of a document that is accepted.
  Element bookOf(const std::function<void(EventScript&)>& send) {
    EXPECT_TRUE(readBook(send)) << (parser.getProblems().empty() ? "" : parser.getProblems().front());
    model = parser.takeModel();
    return model.getRoots().at(0);
  }
  /// Why a book is refused by exception.
  std::string errorOfBook(const std::function<void(EventScript&)>& send) {
    return test::errorOf<ValueError>([&] { readBook(send); });
  }
  std::string errorOfEvents(const std::function<void(EventScript&)>& send) {
    return test::errorOf<ValueError>([&] {
      parser.parseEvents([&](test::TreeTarget& target) {
        EventScript script(target);
        send(script);
      });
    });
  }
};

TEST_F(TreeEventReading, WhatIsWrittenIsReadBack) {
  Element library = model.createRoot("library.Library");
  Element book = library.create("books");
  book.set("name", "Emma");
  book.setEmpty("isbn");
  book.setInteger("genre", 5);
  book.addInteger("genres", 0);
  book.set("pages", -3);
  book.setUnsigned("copies", std::numeric_limits<std::uint64_t>::max());
  book.set("weight", -0.0);
  book.set("lent", false);
  book.setTextForm("key", "00112233-4455-6677-8899-aabbccddeeff");
  book.setText("printed", "2024-02-29T12:00:00.50+01:00");
  book.add("tags", "x");
  book.setEmpty("years");
  book.create("chapters").set("first", 1);
  book.create("chapters");
  book.create("preface").setEmpty("last");
  Element author = library.create("authors");
  author.setIdentity("people", "jane");
  book.addReference("authors", author);
  book.putReference("sequel", book);
  book.putUnresolved("bestOf", {"library.Author", "x", "y", "other"});
  book.create("volumes").create("volumes");
  library.create("treasure");
  modeling::sylvan::EventRecorder events;
  sendEvents(model, events);
  ASSERT_TRUE(parser.parseEvents([&](test::TreeTarget& target) { events.replay(target); }));
  const Model again = parser.takeModel();
  EXPECT_EQ(test::eventText(again), test::eventText(model));
  modeling::sylvan::EventRecorder second;
  sendEvents(again, second);
  EXPECT_TRUE(second == events);
}

/// Seconds of processor time that a function takes.
double secondsOf(const std::function<void()>& work) {
  const auto before = std::clock();
  work();
  return static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
}

TEST_F(TreeEventReading, TypeNamesThatAKnownHashWouldPutInOnePlaceAreReadLikeAnyOthers) {
  const std::vector<std::string> colliding = test::makeCollidingTexts(8000);
  if (colliding.empty()) GTEST_SKIP() << "no texts are known that collide in this standard library";
  std::vector<std::string> ordinary;
  for (std::size_t i = 0; i < colliding.size(); ++i)
    ordinary.push_back("ordinary" + std::to_string(10000000 + i));
  const auto readReferences = [this](const std::vector<std::string>& types) {
    return secondsOf([&] {
      ASSERT_TRUE(readBook([&](EventScript& s) {
        s.entry("authors").to.startSequence();
        for (const std::string& type : types) {
          s.to.startStruct();
          s.set("type", Primitive(type)).entry("id");
          s.to.startSequence();
          s.text("x").text("y");
          s.to.endSequence();
          s.end().to.endStruct();
        }
        s.to.endSequence();
        s.end();
      }));
    });
  };
  readReferences(ordinary);  // what only the first one costs
  EXPECT_LT(readReferences(colliding), 4 * readReferences(ordinary) + 0.02);
}

TEST_F(TreeEventReading, AnIntegerPropertyTakesEitherKindOfInteger) {
  EXPECT_EQ(bookOf([](EventScript& s) { s.set("pages", natural(7)); }).getInteger("pages"), 7);
  EXPECT_EQ(bookOf([](EventScript& s) { s.set("copies", number(7)); }).getUnsigned("copies"), 7u);
}

TEST_F(TreeEventReading, ThePropertiesMayComeInAnyOrder) {
  const Element book = bookOf([](EventScript& s) { s.set("pages", number(1)).set("name", text("n")); });
  EXPECT_EQ(book.getInteger("pages"), 1);
  EXPECT_EQ(book.getText("name"), "n");
}

TEST_F(TreeEventReading, ASetCollectionThatHoldsNothingIsEmptyNotUnset) {
  const Element book = bookOf([](EventScript& s) {
    s.entry("tags").to.startSequence();
    s.to.endSequence();
    s.end();
  });
  EXPECT_EQ(book.getState("tags"), PropertyState::empty);
  EXPECT_EQ(book.getState("years"), PropertyState::unset);
}

TEST_F(TreeEventReading, OneParserReadsOneDocumentAfterAnother) {
  EXPECT_NE(errorOfBook([](EventScript& s) { s.entry("name").entry("name"); }), "");
  EXPECT_EQ(bookOf([](EventScript& s) { s.set("name", text("b")); }).getText("name"), "b");
  EXPECT_EQ(model.size(), 1u);
}

TEST_F(TreeEventReading, BothEndsOfARangeFit) {
  EXPECT_EQ(bookOf([](EventScript& s) { s.set("pages", number(-32768)); }).getInteger("pages"), -32768);
  EXPECT_EQ(bookOf([](EventScript& s) { s.set("pages", natural(32767)); }).getInteger("pages"), 32767);
}

/// The integer types with their ends.
struct Range {
  const char* type;
  std::int64_t low;
  std::uint64_t high;
};
constexpr Range ranges[] = {
    {"Integer8", -128, 127},
    {"UInteger8", 0, 255},
    {"Integer16", -32768, 32767},
    {"UInteger16", 0, 65535},
    {"Integer", -2147483648LL, 2147483647},
    {"UnlimitedNatural", 0, 4294967295},
    {"Integer64", std::numeric_limits<std::int64_t>::min(), 9223372036854775807u},
    {"UInteger64", 0, 18446744073709551615u},
};

class IntegerReading : public ::testing::TestWithParam<Range> {
 protected:
  IntegerReading() {
    meta::MetaModelBuilder package("urn:test:library", "numbers");
    auto& holder = package.classType("Holder");
    holder.property("one", GetParam().type);
    holder.property("many", GetParam().type).many();
    package.registerIn(registry);
  }

  void read(const char* property, const Primitive& value) {
    EXPECT_TRUE(parser.parseEvents([&](test::TreeTarget& target) {
      EventScript script(target);
      script.header().object("numbers.Holder").entry(property);
      const bool inList = property == std::string("many");
      if (inList) target.startSequence();
      script.value(value);
      if (inList) target.endSequence();
      script.end().endObject().footer();
    }));
  }
  void expectTaken(const Primitive& value, const std::string& digits) {
    for (const char* property : {"one", "many"}) {
      read(property, value);
      EXPECT_EQ(parser.takeModel().getRoots().at(0).getTextForm(property), digits) << property;
    }
  }
  void expectRefused(const Primitive& value, const std::string& digits) {
    const Range& range = GetParam();
    for (const char* property : {"one", "many"})
      EXPECT_EQ(test::errorOf<ValueError>([&] { read(property, value); }),
                std::string("/holder.") + property + ": the number " + digits +
                    " is out of the range of its type " + range.type + ", " + std::to_string(range.low) +
                    " to " + std::to_string(range.high));
  }

  meta::MetaRegistry registry;
  test::EventParser parser{registry};
};

constexpr std::uint64_t mostSigned = std::numeric_limits<std::int64_t>::max();

TEST_P(IntegerReading, TakesBothEndsOfItsRangeInEitherKind) {
  const Range& range = GetParam();
  expectTaken(number(range.low), std::to_string(range.low));
  expectTaken(natural(range.high), std::to_string(range.high));
  if (range.high <= mostSigned)
    expectTaken(number(static_cast<std::int64_t>(range.high)), std::to_string(range.high));
  else
    expectTaken(number(static_cast<std::int64_t>(mostSigned)), std::to_string(mostSigned));
  expectTaken(number(0), "0");
  expectTaken(natural(0), "0");
}

TEST_P(IntegerReading, RefusesWhatLiesNextToItsRangeInEitherKind) {
  const Range& range = GetParam();
  if (range.low > std::numeric_limits<std::int64_t>::min())
    expectRefused(number(range.low - 1), std::to_string(range.low - 1));
  if (range.high < mostSigned)
    expectRefused(number(static_cast<std::int64_t>(range.high) + 1), std::to_string(range.high + 1));
  if (range.high < std::numeric_limits<std::uint64_t>::max())
    expectRefused(natural(range.high + 1), std::to_string(range.high + 1));
}

TEST_P(IntegerReading, RefusesTheFarthestNumbersThatItCannotHold) {
  const Range& range = GetParam();
  constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
  constexpr std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();
  if (range.low > lowest) expectRefused(number(lowest), std::to_string(lowest));
  if (range.high < highest) expectRefused(natural(highest), std::to_string(highest));
}

INSTANTIATE_TEST_SUITE_P(Types, IntegerReading, ::testing::ValuesIn(ranges),
                         [](const auto& tested) { return std::string(tested.param.type); });

TEST_F(TreeEventReading, ARealComesBackToItsLastBit) {
  for (const double value :
       {0.1, -0.0, 5e-324, 1.7976931348623157e308, std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity()})
    EXPECT_EQ(std::bit_cast<std::uint64_t>(
                  bookOf([&](EventScript& s) { s.set("weight", value); }).getReal("weight")),
              std::bit_cast<std::uint64_t>(value));
}

TEST_F(TreeEventReading, ADateAndAUuidTravelAsTexts) {
  const Element book = bookOf([](EventScript& s) {
    s.set("printed", text("2024-02-29T23:59:59.000-00:30"))
        .set("key", text("00112233-4455-6677-8899-AABBCCDDEEFF"));
  });
  EXPECT_EQ(book.getTextForm("printed"), "2024-02-29T23:59:59.000-00:30");
  EXPECT_EQ(book.getTextForm("key"), "00112233-4455-6677-8899-aabbccddeeff");
}

// --- Values that do not fit

TEST_F(TreeEventReading, ANumberAboveTheRangeIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.set("pages", natural(32768)); }),
            "/book.pages: the number 32768 is out of the range of its type Integer16, -32768 to 32767");
}

TEST_F(TreeEventReading, ANumberBelowTheRangeIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.set("pages", number(-32769)); }),
            "/book.pages: the number -32769 is out of the range of its type Integer16, -32768 to 32767");
}

TEST_F(TreeEventReading, ANegativeNumberDoesNotFitAnUnsignedType) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.set("copies", number(-1)); }),
            "/book.copies: the number -1 is out of the range of its type UInteger64, 0 to "
            "18446744073709551615");
}

TEST_F(TreeEventReading, AnUnsignedNumberBeyondSignedTypesIsRefused) {
  EXPECT_NE(errorOfBook([](EventScript& s) { s.set("pages", natural(1ull << 63)); }), "");
}

TEST_F(TreeEventReading, AWrongKindOfValueIsRefused) {
  const auto of = [&](const char* property, Primitive value) {
    return errorOfBook([&](EventScript& s) { s.set(property, value); });
  };
  EXPECT_EQ(of("pages", text("7")), "/book.pages: expected a value of type Integer16, found a text");
  EXPECT_EQ(of("lent", number(1)), "/book.lent: expected a value of type Boolean, found the number 1");
  EXPECT_EQ(of("weight", number(1)), "/book.weight: expected a value of type Real, found the number 1");
  EXPECT_EQ(of("weight", true), "/book.weight: expected a value of type Real, found a boolean");
  EXPECT_EQ(of("lent", 1.5), "/book.lent: expected a value of type Boolean, found a real");
  EXPECT_EQ(of("name", number(1)), "/book.name: expected a value of type String, found the number 1");
  EXPECT_EQ(of("genre", number(5)),
            "/book.genre: expected a value of type library.Genre, found the number 5");
  EXPECT_EQ(of("sequel", text("x")), "/book.sequel: expected a reference, found a text");
  EXPECT_EQ(of("preface", text("x")), "/book.preface: expected a struct, found a text");
  EXPECT_EQ(of("tags", text("x")), "/book.tags: expected a sequence, found a text");
  EXPECT_EQ(of("volumes", text("x")), "/book.volumes: expected a sequence, found a text");
}

TEST_F(TreeEventReading, ATextThatIsNoValueOfItsTypeIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.set("genre", text("opera")); }),
            "/book.genre: \"opera\" is not a library.Genre");
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.set("key", text("1")); }), "/book.key: \"1\" is not a UUID");
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.set("printed", text("2023-02-29")); }),
            "/book.printed: \"2023-02-29\" is not a DateTime");
}

TEST_F(TreeEventReading, AValueInACollectionIsCheckedLikeASingleOne) {
  const auto of = [&](const char* property, Primitive value) {
    return errorOfBook([&](EventScript& s) {
      s.entry(property).to.startSequence();
      s.value(value);
    });
  };
  EXPECT_EQ(of("genres", text("opera")), "/book.genres: \"opera\" is not a library.Genre");
  EXPECT_EQ(of("years", 1.5), "/book.years: expected a value of type Integer, found a real");
  EXPECT_EQ(of("tags", true), "/book.tags: expected a value of type String, found a boolean");
  EXPECT_EQ(of("volumes", text("x")), "/book.volumes: expected an object, found a text");
  EXPECT_EQ(of("chapters", text("x")), "/book.chapters: expected a struct, found a text");
  EXPECT_EQ(of("authors", text("x")), "/book.authors: expected a reference, found a text");
  EXPECT_EQ(of("authors", Primitive(nullptr)), "/book.authors: expected a reference, found null");
}

TEST_F(TreeEventReading, NullFitsOptionalPrimitivesOnly) {
  const Primitive null(nullptr);
  EXPECT_EQ(bookOf([&](EventScript& s) { s.set("pages", null); }).getState("pages"), PropertyState::empty);
  for (const char* property : {"name", "tags", "sequel", "preface", "volumes"})
    EXPECT_EQ(errorOfBook([&](EventScript& s) { s.set(property, null); }),
              "/book." + std::string(property) + ": cannot be explicitly empty");
}

TEST_F(TreeEventReading, NullInACollectionIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) {
              s.entry("tags").to.startSequence();
              s.value(Primitive(nullptr));
            }),
            "/book.tags: expected a value of type String, found null");
  EXPECT_EQ(errorOfBook([](EventScript& s) {
              s.entry("years").to.startSequence();
              s.value(Primitive(nullptr));
            }),
            "/book.years: expected a value of type Integer, found null");
}

TEST_F(TreeEventReading, ASequenceForASinglePropertyIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.entry("name").to.startSequence(); }),
            "/book.name: expected a value of type String, found a sequence");
}

TEST_F(TreeEventReading, AStructForAPrimitiveIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.entry("name").to.startStruct(); }),
            "/book.name: expected a value of type String, found a struct");
}

TEST_F(TreeEventReading, AnObjectForADatatypeOrReferenceIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.entry("preface").to.startMetadata(); }),
            "/book.preface: expected a struct, found an object");
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.entry("sequel").to.startMetadata(); }),
            "/book.sequel: expected a reference, found an object");
}

TEST_F(TreeEventReading, AStructForAChildIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) {
              s.entry("volumes").to.startSequence();
              s.to.startStruct();
            }),
            "/book.volumes: expected an object, found a struct");
}

TEST_F(TreeEventReading, ASecondValueOfASinglePropertyIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.entry("name").text("a").text("b"); }),
            "/book: expected the end of the entry, found a text");
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.set("name", text("a")).set("name", text("b")); }),
            "/book.name: holds one value and is given a second");
}

TEST_F(TreeEventReading, AnEntryWithoutValueIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.entry("name").end(); }),
            "/book.name: expected a value of type String, found the end of the entry");
}

TEST_F(TreeEventReading, AnUnknownPropertyIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.set("colour", text("red")); }),
            "/book: type library.Book has no property \"colour\"");
}

TEST_F(TreeEventReading, APropertyWithoutStoredValueIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.set("age", number(1)); }),
            "/book.age: the property has no stored value");
}

TEST_F(TreeEventReading, AnEntryNameThatIsNoTextIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.to.startNamedEntry(number(1)); }),
            "/book: the name of an entry is the number 1, not a text");
}

TEST_F(TreeEventReading, AMalformedTextIsACorruptDocument) {
  EXPECT_EQ(test::errorOf<std::runtime_error>(
                [&] { readBook([](EventScript& s) { s.set("name", text("\xFF")); }); }),
            "a text is not well-formed UTF-8");
}

// --- Objects and references

TEST_F(TreeEventReading, AnObjectWithoutTypeIsRefused) {
  EXPECT_EQ(errorOfEvents([](EventScript& s) {
              s.header().to.startMetadata();
              s.to.endMetadata();
            }),
            "/: the metadata of an object has no entry \"type\"");
}

TEST_F(TreeEventReading, AnUnknownEntryOfMetadataIsRefused) {
  EXPECT_EQ(errorOfEvents([](EventScript& s) {
              s.header().to.startMetadata();
              s.entry("colour");
            }),
            "/: the metadata of an object has an unknown entry \"colour\"");
  EXPECT_EQ(errorOfEvents([](EventScript& s) {
              s.header().to.startMetadata();
              s.entry("qualifier");
            }),
            "/: the metadata of an object has an unknown entry \"qualifier\"");
  EXPECT_EQ(errorOfEvents([](EventScript& s) {
              s.to.startDocument(Primitive(nullptr));
              s.to.startMetadata();
              s.entry("colour");
            }),
            "/: the metadata of the document has an unknown entry \"colour\"");
}

TEST_F(TreeEventReading, AnUnknownEntryOfAReferenceIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) {
              s.entry("sequel").to.startStruct();
              s.entry("colour");
            }),
            "/book.sequel: a reference has an unknown entry \"colour\"");
}

TEST_F(TreeEventReading, AReferenceWithoutTypeOrIdentityIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) {
              s.entry("sequel").to.startStruct();
              s.to.endStruct();
            }),
            "/book.sequel: a reference has no entry \"type\"");
  EXPECT_EQ(errorOfBook([](EventScript& s) {
              s.entry("sequel").to.startStruct();
              s.set("type", text("library.Book")).to.endStruct();
            }),
            "/book.sequel: a reference has no entry \"id\"");
}

TEST_F(TreeEventReading, AnEntryThatIsThereTwiceIsRefused) {
  EXPECT_EQ(errorOfEvents([](EventScript& s) {
              s.header().to.startMetadata();
              s.set("type", text("library.Book")).entry("type");
            }),
            "/: the metadata of an object has two entries \"type\"");
}

TEST_F(TreeEventReading, AnIdentityHasTwoTexts) {
  const auto withTexts = [&](int count) {
    return errorOfEvents([&](EventScript& s) {
      s.header().to.startMetadata();
      s.entry("id").to.startSequence();
      for (int i = 0; i < count; ++i) s.text("x");
      s.to.endSequence();
      s.end();
    });
  };
  EXPECT_EQ(withTexts(1), "/: an identity does not have two texts");
  EXPECT_EQ(withTexts(0), "/: an identity does not have two texts");
  EXPECT_EQ(withTexts(3), "/: an identity has more than two texts");
}

TEST_F(TreeEventReading, AnElementThatTheProcessorRefusesMakesTheParseFalseWithAReason) {
  EXPECT_FALSE(parser.parseEvents([](test::TreeTarget& target) {
    EventScript(target).header().object("library.Car").endObject().footer();
  }));
  EXPECT_EQ(parser.getProblems(),
            std::vector<std::string>{"/: there is no type \"library.Car\" with properties"});
}

TEST_F(TreeEventReading, AnAbstractClassIsRefusedWithAReason) {
  EXPECT_FALSE(parser.parseEvents([](test::TreeTarget& target) {
    EventScript(target).header().object("library.Named").endObject().footer();
  }));
  EXPECT_EQ(parser.getProblems(),
            std::vector<std::string>{"/: class library.Named is abstract and has no elements"});
}

TEST_F(TreeEventReading, APackageThatNobodyKnowsIsRefusedWithTheCustomizersReason) {
  EXPECT_FALSE(parser.parseEvents([](test::TreeTarget& target) {
    EventScript s(target);
    target.startDocument(Primitive(nullptr));
    target.startMetadata();
    s.set("version", natural(1)).entry("packages");
    target.startSequence();
    s.text("urn:nobody");
    target.endSequence();
    s.end();
    target.endMetadata();
    target.startSequence();
    s.footer();
  }));
  ASSERT_EQ(parser.getProblems().size(), 1u);
  EXPECT_NE(parser.getProblems()[0].find("urn:nobody"), std::string::npos);
}

TEST_F(TreeEventReading, TheRestOfARefusedDocumentIsPassedOverWhateverItIs) {
  EXPECT_FALSE(parser.parseEvents([](test::TreeTarget& target) {
    EventScript(target).header().object("library.Car");
    target.startNamedEntry(number(1));
    target.writePrimitive(nullptr);
    target.startSequence();
    target.startMetadata();
    target.endStruct();
    target.endMetadata();
    target.endSequence();
    target.endNamedEntry();
    target.endDocument();
  }));
  EXPECT_EQ(parser.getProblems().size(), 1u);
  EXPECT_EQ(bookOf([](EventScript& s) { s.set("name", text("b")); }).getText("name"), "b");
}

TEST_F(TreeEventReading, AChildThatDoesNotFitIsRefusedWithAReason) {
  EXPECT_FALSE(readBook([](EventScript& s) {
    s.entry("volumes").to.startSequence();
    s.object("library.Author").endObject();
    s.to.endSequence();
    s.end();
  }));
  EXPECT_EQ(
      parser.getProblems(),
      std::vector<std::string>{"/book.volumes: an element of type library.Author does not fit a property "
                               "of type library.Book"});
}

TEST_F(TreeEventReading, AnIdentityThatTwoElementsHaveIsRefusedWithAReason) {
  const auto withId = [](EventScript& s) {
    s.to.startMetadata();
    s.set("type", text("library.Book")).entry("id").to.startSequence();
    s.text("a").text("b").to.endSequence();
    s.end().to.endMetadata();
    s.to.startStruct();
    s.to.endStruct();
  };
  EXPECT_FALSE(parser.parseEvents([&](test::TreeTarget& target) {
    EventScript s(target);
    s.header();
    withId(s);
    withId(s);
    s.footer();
  }));
  EXPECT_EQ(parser.getProblems(), std::vector<std::string>{"/book[1]: has the same identity as /book[0]"});
}

TEST_F(TreeEventReading, AnIdentityWithAnEmptyPartIsRefusedWithAReason) {
  EXPECT_FALSE(parser.parseEvents([](test::TreeTarget& target) {
    EventScript s(target);
    s.header().to.startMetadata();
    s.set("type", text("library.Book")).entry("id").to.startSequence();
    s.text("a").text("").to.endSequence();
    s.end().to.endMetadata();
    s.to.startStruct();
    s.endObject().footer();
  }));
  EXPECT_EQ(parser.getProblems(), std::vector<std::string>{"/book: one part of the identity is empty"});
}

/// The sequel of a book: a reference of that type, and the qualifier if there is one.
void writeSequel(EventScript& s, const char* type, const char* qualifier = nullptr) {
  s.entry("sequel").to.startStruct();
  s.set("type", text(type)).entry("id").to.startSequence();
  s.text("x").text("y").to.endSequence();
  s.end();
  if (qualifier != nullptr) s.set("qualifier", text(qualifier));
  s.to.endStruct();
  s.end();
}

TEST_F(TreeEventReading, AReferenceWhoseTargetIsNotHereStaysWithAllItsTexts) {
  for (const char* qualifier : {"other", "", static_cast<const char*>(nullptr)}) {
    const Element book = bookOf([&](EventScript& s) { writeSequel(s, "library.Book", qualifier); });
    const auto kept = book.getUnresolved("sequel");
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->targetType, "library.Book");
    EXPECT_EQ(kept->id1, "x");
    EXPECT_EQ(kept->id2, "y");
    EXPECT_EQ(kept->qualifier.has_value(), qualifier != nullptr);
    if (qualifier != nullptr) {
      EXPECT_EQ(*kept->qualifier, qualifier);
    }
  }
}

TEST_F(TreeEventReading, AReferenceToAnElementOfAnotherClassIsRefusedWithAReason) {
  EXPECT_FALSE(parser.parseEvents([](test::TreeTarget& target) {
    EventScript s(target);
    s.header().object("library.Book");
    writeSequel(s, "library.Author");
    s.endObject().to.startMetadata();
    s.set("type", text("library.Author")).entry("id").to.startSequence();
    s.text("x").text("y").to.endSequence();
    s.end().to.endMetadata();
    s.to.startStruct();
    s.endObject().footer();
  }));
  EXPECT_EQ(
      parser.getProblems(),
      std::vector<std::string>{"/book[0].sequel: an element of class library.Author does not fit a property "
                               "of type library.Book"});
}

TEST_F(TreeEventReading, AStructForASingleChildIsRefused) {
  EXPECT_EQ(errorOfEvents([](EventScript& s) {
              s.header().object("library.Library").entry("treasure").to.startStruct();
            }),
            "/library.treasure: expected an object, found a struct");
}

TEST_F(TreeEventReading, AnObjectInACollectionOfOthersIsRefused) {
  for (const auto& [property, wanted] :
       {std::pair("tags", "a value of type String"), std::pair("chapters", "a struct"),
        std::pair("authors", "a reference")})
    EXPECT_EQ(errorOfBook([&, name = property](EventScript& s) {
                s.entry(name).to.startSequence();
                s.to.startMetadata();
              }),
              std::string("/book.") + property + ": expected " + wanted + ", found an object");
}

TEST_F(TreeEventReading, ChildrenAndStructsOfACollectionNeedItsSequence) {
  for (const char* property : {"volumes", "chapters", "authors"}) {
    EXPECT_EQ(errorOfBook([&](EventScript& s) { s.entry(property).to.startStruct(); }),
              std::string("/book.") + property + ": expected a sequence, found a struct");
    EXPECT_EQ(errorOfBook([&](EventScript& s) { s.entry(property).to.startMetadata(); }),
              std::string("/book.") + property + ": expected a sequence, found an object");
  }
}

TEST_F(TreeEventReading, AHostThatRefusesPackagesWithoutAWordIsSpokenFor) {
  class Silent final : public ParseCustomizer {
   public:
    using ParseCustomizer::ParseCustomizer;
    bool setPackageUris(const std::vector<ustring>&) override { return false; }
  };
  test::EventParser silent(std::make_unique<Silent>(*registry));
  EXPECT_FALSE(silent.parseEvents([](test::TreeTarget& target) { EventScript(target).header().footer(); }));
  EXPECT_EQ(silent.getProblems(), std::vector<std::string>{"the packages of the document were refused"});
}

TEST_F(TreeEventReading, AProcessorThatRefusesWithoutAWordIsSpokenFor) {
  // Refuses what has more than so many elements around it.
  class Silent final : public ParseProcessor {
   public:
    Silent(io::KRSylvanParser& of, std::size_t depth)
        : ParseProcessor(of.getParseProcessor()->getCustomizer(), of.getModelBuilder()), depth_(depth) {}
    bool push(const ustring& typeName, const ustring& id1, const ustring& id2) override {
      return getDepth() < depth_ && ParseProcessor::push(typeName, id1, id2);
    }

   private:
    std::size_t depth_;
  };
  const auto problemsAt = [&](std::size_t depth) {
    test::EventParser silent(*registry);
    silent.setParseProcessor(std::make_unique<Silent>(silent, depth));
    EXPECT_FALSE(silent.parseEvents([](test::TreeTarget& target) {
      EventScript s(target);
      s.header().object("library.Book").entry("preface").to.startStruct();
      target.endStruct();
      s.end().endObject().footer();
    }));
    return silent.getProblems();
  };
  EXPECT_EQ(problemsAt(0), std::vector<std::string>{"an element was refused"});
  EXPECT_EQ(problemsAt(1), std::vector<std::string>{"a datatype value was refused"});
}

// --- The document as a whole

TEST_F(TreeEventReading, AnotherVersionIsRefused) {
  EXPECT_EQ(errorOfEvents([](EventScript& s) {
              s.to.startDocument(Primitive(nullptr));
              s.to.startMetadata();
              s.set("version", natural(2));
            }),
            "/: expected the number 1, found the number 2");
}

TEST_F(TreeEventReading, VersionAndPackagesMustBeThere) {
  EXPECT_EQ(errorOfEvents([](EventScript& s) {
              s.to.startDocument(Primitive(nullptr));
              s.to.startMetadata();
              s.to.endMetadata();
            }),
            "/: the metadata of the document has no entry \"version\"");
  EXPECT_EQ(errorOfEvents([](EventScript& s) {
              s.to.startDocument(Primitive(nullptr));
              s.to.startMetadata();
              s.set("version", number(1)).to.endMetadata();
            }),
            "/: the metadata of the document has no entry \"packages\"");
}

TEST_F(TreeEventReading, AnEntryOfTheDocumentThatIsThereTwiceIsRefused) {
  const auto twice = [&](const char* name) {
    return errorOfEvents([&](EventScript& s) {
      s.to.startDocument(Primitive(nullptr));
      s.to.startMetadata();
      s.set("version", natural(1)).entry("packages").to.startSequence();
      s.to.endSequence();
      s.end().entry(name);
    });
  };
  EXPECT_EQ(twice("version"), "/: the metadata of the document has two entries \"version\"");
  EXPECT_EQ(twice("packages"), "/: the metadata of the document has two entries \"packages\"");
}

TEST_F(TreeEventReading, TheProcessorHearsOfTheVersionInEitherKindOfInteger) {
  for (const Primitive& version : {natural(1), number(1)}) {
    parser.parseEvents([&](test::TreeTarget& target) {
      EventScript s(target);
      target.startDocument(Primitive(nullptr));
      target.startMetadata();
      s.set("version", version).entry("packages").to.startSequence();
      target.endSequence();
      s.end();
      target.endMetadata();
      target.startSequence();
      s.footer();
    });
    EXPECT_EQ(parser.getParseProcessor()->getVersion(), u"1");
  }
}

TEST_F(TreeEventReading, TheDocumentsEndInsideAnElementIsRefused) {
  EXPECT_EQ(errorOfBook([](EventScript& s) { s.to.endDocument(); }),
            "/book: expected a property, found the end of the document");
}

TEST_F(TreeEventReading, ADocumentThatDoesNotEndIsRefusedAfterItsEvents) {
  EXPECT_EQ(test::errorOf<std::runtime_error>([&] {
              parser.parseEvents([](test::TreeTarget& target) {
                EventScript(target).header().object("library.Book").endObject();
              });
            }),
            "the document ends without its end mark");
  EXPECT_EQ(parser.getModelBuilder().getModel().size(), 1u);
}

TEST_F(TreeEventReading, EveryEventIsRefusedWhereItDoesNotBelong) {
  using Event = modeling::sylvan::SylvanEventCode;
  const auto send = [](test::TreeTarget& to, Event event) {
    switch (event) {
      case Event::startDocument:
        return;  // begins anew
      case Event::endDocument:
        return to.endDocument();
      case Event::startStruct:
        return to.startStruct();
      case Event::endStruct:
        return to.endStruct();
      case Event::startNamedEntry:
        return to.startNamedEntry(Primitive(std::string("x")));
      case Event::endNamedEntry:
        return to.endNamedEntry();
      case Event::startSequence:
        return to.startSequence();
      case Event::endSequence:
        return to.endSequence();
      case Event::startMetadata:
        return to.startMetadata();
      case Event::endMetadata:
        return to.endMetadata();
      case Event::writePrimitive:
        return to.writePrimitive(Primitive(true));
    }
  };
  // At the start of a document only metadata fits; after the end nothing does.
  for (int code = 1; code <= 10; ++code) {
    const auto event = static_cast<Event>(code);
    const std::string atStart = errorOfEvents([&](EventScript& s) {
      s.to.startDocument(Primitive(nullptr));
      send(s.to, event);
      throw ValueError("accepted");
    });
    EXPECT_EQ(atStart == "accepted", event == Event::startMetadata) << atStart;
    const std::string atEnd = errorOfEvents([&](EventScript& s) {
      s.header().footer();
      send(s.to, event);
      throw ValueError("accepted");
    });
    EXPECT_TRUE(atEnd.starts_with("/: expected no event outside of a document, found ")) << atEnd;
  }
}

}  // namespace
}  // namespace kr::zero::io
