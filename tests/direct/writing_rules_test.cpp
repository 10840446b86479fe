// What the writer of the direct format makes of each event, rule by rule. Events are sent straight to the
// serializer's processor, as the framework's walk does.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "framework/io/LibraryModel.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/io/Errors.h"
#include "support/Paths.h"

namespace kr::zero::io::writing {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
Bytes text(const std::string& utf8) {
  Bytes bytes{static_cast<unsigned char>(utf8.size())};
  bytes.insert(bytes.end(), utf8.begin(), utf8.end());
  return bytes;
}

const Bytes header{0x01, 0x02, 'k', 'r'};
const Bytes endMark{0xFF, 0x7F};
const Bytes startOfNode = Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02};

std::unique_ptr<meta::MetaRegistry> makeRegistry() {
  meta::MetaModelBuilder package("urn:t", "t");
  package.enumeration("Color").literal("red", -1).literal("green", 7);
  package.primitive("Integer");  // shares its name with a standard type and is none
  package.datatype("Pair").property("a", "Integer8").id(1);
  auto& node = package.classType("Node");
  node.property("name", "String").id(1).required();
  node.property("title", "String").id(2);
  node.property("flag", "Boolean").id(3);
  node.property("sure", "Boolean").id(4).required();
  node.property("small", "Integer8").id(5).required();
  node.property("long", "Integer64").id(6);
  node.property("count", "Integer").id(7).required();
  node.property("real", "Real").id(8).required();
  node.property("texts", "String").id(9).many();
  node.property("numbers", "Integer16").id(10).many();
  node.property("color", "Color").id(11).required();
  node.property("pair", "Pair").id(12);
  node.property("to", "Node").id(13);
  node.property("all", "Node").id(14).many();
  node.property("child", "Node").id(15).composite();
  node.property("far", "String").id(300).required();
  node.property("own", "t.Integer").id(16).required();
  node.property("unsignedNatural", "UnlimitedNatural").id(17).required();
  auto registry = std::make_unique<meta::MetaRegistry>();
  package.registerIn(*registry);
  return registry;
}

class Writing : public ::testing::Test {
 protected:
  EventProcessor& events() { return serializer.getEventProcessor(); }
  void start() {
    events().setMetaRegistry(*registry);
    events().startDocument();
    events().startRegisteredPackages();
    events().endRegisteredPackages();
  }
  Bytes bytes() {
    Bytes out;
    events().postprocess(SerializationOutput::toByteSequence(out));
    return out;
  }
  /// The bytes that events inside a t.Node add.
  template <class Send>
  Bytes bytesOf(Send&& send) {
    start();
    events().startObject(u"", u"t.Node", u"", u"");
    send(events());
    events().endObject();
    const Bytes all = bytes();
    const Bytes before = header + Bytes{0x00} + startOfNode;
    EXPECT_EQ(Bytes(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(before.size())), before);
    EXPECT_EQ(Bytes(all.end() - 2, all.end()), endMark);
    return Bytes(all.begin() + static_cast<std::ptrdiff_t>(before.size()), all.end() - 2);
  }
  meta::Type type(const char* name) const { return registry->findType(std::string_view(name)); }
  Value value(const char* typeName, auto number) const {
    return Value(ValueMeta(type(typeName), ValueFlags::single), number);
  }

  std::unique_ptr<meta::MetaRegistry> registry = makeRegistry();
  BinarySerializer serializer;
};

TEST_F(Writing, AnEmptyModelIsTheHeaderAndThePackages) {
  events().startDocument();
  EXPECT_EQ(bytes(), header);
  events().startRegisteredPackages();
  for (const char16_t* uri : {u"b", u"a", u"b"}) events().addRegisteredPackage(uri);
  events().endRegisteredPackages();
  EXPECT_EQ(bytes(), (header + Bytes{0x02, 0x01, 'b', 0x01, 'a'}));  // once each, in order of arrival
}

TEST_F(Writing, KeysAreShortestNumbers) {
  EXPECT_EQ(bytesOf([](EventProcessor& e) { e.textValue(u"far", u"x"); }), (Bytes{0xAC, 0x02, 0x01, 'x'}));
}

TEST_F(Writing, AnObjectWithoutPropertyStartsWithTokenZero) {
  start();
  events().startObject(u"", u"t.Node", u"", u"");
  events().endObject();
  EXPECT_EQ(bytes(), header + Bytes{0x00} + startOfNode + endMark);
}

TEST_F(Writing, AnIdentityIsWrittenOnlyWhenBothPartsHoldText) {
  start();
  events().startObject(u"", u"t.Node", u"a", u"b");
  events().endObject();
  events().startObject(u"", u"t.Node", u"a", u"");
  events().endObject();
  const Bytes withIdentity =
      Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x01} + text("a") + text("b") + endMark;
  EXPECT_EQ(bytes(), header + Bytes{0x00} + withIdentity + startOfNode + endMark);
}

TEST_F(Writing, ANestedObjectStartsWithItsKey) {
  EXPECT_EQ(bytesOf([](EventProcessor& e) {
              e.startObject(u"child", u"t.Node", u"", u"");
              e.endObject();
            }),
            (Bytes{0x0F, 0x00} + text("t.Node") + Bytes{0x02} + endMark));
}

TEST_F(Writing, AnOptionalTextHasTheMarkOfPresence) {
  EXPECT_EQ(bytesOf([](EventProcessor& e) {
              e.textValue(u"name", u"n");
              e.textValue(u"title", u"t");
              e.absentValue(u"title");
            }),
            (Bytes{0x01, 0x01, 'n', 0x02, 0xDD, 0x01, 't', 0x02, 0xEE}));
}

TEST_F(Writing, AFixedWidthPropertyHasNoTextForm) {
  EXPECT_EQ(bytesOf([](EventProcessor& e) { e.textValue(u"count", u"12"); }), (Bytes{0x07}));
}

TEST_F(Writing, ATypeThatOnlySharesANameIsAText) {
  EXPECT_EQ(bytesOf([](EventProcessor& e) { e.textValue(u"own", u"12"); }), (Bytes{0x10, 0x02, '1', '2'}));
}

TEST_F(Writing, BooleansAreOneAndTwo) {
  EXPECT_EQ(bytesOf([this](EventProcessor& e) {
              e.primitiveValue(u"sure", value("Boolean", true));
              e.primitiveValue(u"sure", value("Boolean", false));
            }),
            (Bytes{0x04, 0x01, 0x04, 0x02}));
}

TEST_F(Writing, AnAbsentBooleanWithoutMarkIsFalse) {
  EXPECT_EQ(bytesOf([this](EventProcessor& e) {
              e.primitiveValue(u"sure", Value(ValueMeta(type("Boolean"), ValueFlags::single)));
            }),
            (Bytes{0x04, 0x02}));
}

TEST_F(Writing, AnOptionalBooleanHasAMarkEitherWay) {
  EXPECT_EQ(bytesOf([this](EventProcessor& e) { e.primitiveValue(u"flag", value("Boolean", false)); }),
            (Bytes{0x03, 0xDD, 0x02}));
  EXPECT_EQ(bytesOf([this](EventProcessor& e) {
              e.primitiveValue(u"flag", Value(ValueMeta(type("Boolean"), ValueFlags::single)));
            }),
            (Bytes{0x03, 0xEE}));
}

TEST_F(Writing, ElementModeMarksPresenceAndAbsence) {
  EXPECT_EQ(
      bytesOf([this](EventProcessor& e) { e.primitiveValue(u"long", value("Integer64", std::int64_t{1})); }),
      (Bytes{0x06, 0xDD, 1, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(bytesOf([this](EventProcessor& e) {
              e.primitiveValue(u"long",
                               Value(ValueMeta(type("Integer64"), ValueFlags::empty), std::int64_t{1}));
            }),
            (Bytes{0x06, 0xEE}));
}

TEST_F(Writing, NumbersAreLittleEndianInTheirWidth) {
  EXPECT_EQ(bytesOf([this](EventProcessor& e) {
              e.primitiveValue(u"small", value("Integer8", std::int8_t{-2}));
              e.primitiveValue(u"count", value("Integer", std::int32_t{0x01020304}));
              e.primitiveValue(u"unsignedNatural", value("UnlimitedNatural", std::uint32_t{0xFFFFFFFF}));
              e.primitiveValue(u"real", value("Real", 1.0));
            }),
            (Bytes{0x05, 0xFE, 0x07, 4, 3, 2, 1, 0x11, 0xFF, 0xFF, 0xFF,
                   0xFF, 0x08, 0,    0, 0, 0, 0, 0,    0xF0, 0x3F}));
}

TEST_F(Writing, AnEnumerationIsWrittenAsItsLowFourBytes) {
  EXPECT_EQ(
      bytesOf([this](EventProcessor& e) { e.primitiveValue(u"color", value("t.Color", std::int64_t{-1})); }),
      (Bytes{0x0B, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST_F(Writing, AValueOfAnotherTypeIsRefusedWithItsName) {
  start();
  events().startObject(u"", u"t.Node", u"", u"");
  try {
    events().primitiveValue(u"count", value("Real", 1.0));
    FAIL();
  } catch (const Error<kr0::messages::CannotCastIncompatibleTypes>& e) {
    EXPECT_EQ(e.GetMsgID().getCatalog(), "kr0:messages");
    ASSERT_EQ(e.GetMsgID().getArguments().size(), 1u);
    EXPECT_EQ(std::get<2>(e.GetMsgID().getArguments()[0]), u"Real");
  }
}

TEST_F(Writing, AnOptionalPropertyTakesNoEnumerationValueForANumber) {
  start();
  events().startObject(u"", u"t.Node", u"", u"");
  EXPECT_THROW(events().primitiveValue(u"long", value("t.Color", std::int64_t{7})),
               Error<kr0::messages::CannotCastIncompatibleTypes>);
}

TEST_F(Writing, TextElementsAreCounted) {
  EXPECT_EQ(bytesOf([](EventProcessor& e) {
              e.startStructuredProperty(u"texts");
              for (const char16_t* each : {u"a", u"b", u"c"}) e.textElement(u"texts", each);
              e.endStructuredProperty();
            }),
            (Bytes{0x09, 0x03, 1, 'a', 1, 'b', 1, 'c'}));
}

TEST_F(Writing, PrimitiveElementsAreNotCounted) {
  EXPECT_EQ(bytesOf([this](EventProcessor& e) {
              e.startStructuredElement(u"numbers");
              for (std::int16_t each = 1; each <= 3; ++each)
                e.primitiveElement(u"numbers", value("Integer16", each));
              e.endStructuredElement();
            }),
            (Bytes{0x0A, 0x00, 1, 0, 2, 0, 3, 0}));
}

TEST_F(Writing, AnEmptyTextBeforeEachPrimitiveElementCountsItAndWritesNothing) {
  EXPECT_EQ(bytesOf([this](EventProcessor& e) {
              e.startStructuredElement(u"numbers");
              e.textElement(u"numbers", u"");
              e.primitiveElement(u"numbers", value("Integer16", std::int16_t{5}));
              e.endStructuredElement();
            }),
            (Bytes{0x0A, 0x01, 5, 0}));
}

TEST_F(Writing, ACollectionWithoutANameIsACountWithoutANumber) {
  EXPECT_EQ(bytesOf([](EventProcessor& e) {
              e.startStructuredProperty(u"");
              e.endStructuredProperty();
            }),
            Bytes{0x00});
}

TEST_F(Writing, CountsOfAnyLengthStandBeforeTheirItems) {
  const std::pair<int, Bytes> counts[] = {
      {0, {0x00}}, {127, {0x7F}}, {128, {0x80, 0x01}}, {16383, {0xFF, 0x7F}}, {16384, {0x80, 0x80, 0x01}}};
  for (const auto& [count, number] : counts) {
    Bytes expected = Bytes{0x09} + number;
    for (int i = 0; i < count; ++i)
      expected.insert(expected.end(), {1, static_cast<unsigned char>('a' + i % 26)});
    EXPECT_EQ(bytesOf([items = count](EventProcessor& e) {
                e.startStructuredProperty(u"texts");
                for (int i = 0; i < items; ++i)
                  e.textElement(u"texts", ustring(1, static_cast<char16_t>(u'a' + i % 26)));
                e.endStructuredProperty();
              }),
              expected)
        << count;
  }
}

TEST_F(Writing, ABlockWithinABlockHasItsOwnCount) {
  Bytes inner{0x80, 0x01};
  for (int i = 0; i < 128; ++i) inner = inner + Bytes{1, 'x'};
  EXPECT_EQ(bytesOf([](EventProcessor& e) {
              e.startStructuredProperty(u"texts");
              e.textElement(u"texts", u"a");
              e.startStructuredProperty(u"texts");
              for (int i = 0; i < 128; ++i) e.textElement(u"texts", u"x");
              e.endStructuredProperty();
              e.textElement(u"texts", u"b");
              e.endStructuredProperty();
            }),
            (Bytes{0x09, 0x02, 1, 'a', 0x09} + inner + Bytes{1, 'b'}));
}

TEST_F(Writing, ABlockThatWasNotStartedCannotEnd) {
  start();
  EXPECT_THROW(events().endStructuredProperty(), std::logic_error);
}

TEST_F(Writing, TypeNamesOfAnyLengthAreWritten) {
  for (std::size_t size = 1; size <= 40; ++size) {
    meta::MetaModelBuilder package("urn:names", "t");
    package.classType(std::string(size, 'T'));
    registry = std::make_unique<meta::MetaRegistry>();
    package.registerIn(*registry);
    const meta::Type type = registry->findType(std::string_view("t." + std::string(size, 'T')));
    start();
    for (int twice = 0; twice < 2; ++twice) {  // the second time it is known
      events().startObject(u"", type->getQualifiedName(), u"", u"");
      events().endObject();
    }
    const Bytes object = Bytes{0x00, 0x00} + text(type->qualifiedName()) + Bytes{0x02} + endMark;
    EXPECT_EQ(bytes(), header + Bytes{0x00} + object + object) << size;
  }
}

TEST_F(Writing, AnEmptyContainerIsKeyAndEnd) {
  EXPECT_EQ(bytesOf([](EventProcessor& e) { e.emptyContainer(u"pair", u"t.Pair"); }), Bytes{0x0C} + endMark);
}

TEST_F(Writing, AContainerWithoutPropertyHasAHeader) {
  start();
  events().startContainer(u"", u"t.Node");
  events().endContainer();
  EXPECT_EQ(bytes(), header + Bytes{0x00} + startOfNode + endMark);
}

TEST_F(Writing, ReferencesSayWhetherTheyHaveAQualifier) {
  EXPECT_EQ(
      bytesOf([](EventProcessor& e) {
        e.referenceValue(u"to", u"T", u"a", u"b");
        e.referenceValueLong(u"to", u"T", u"q", u"a", u"b");
      }),
      (Bytes{0x0D, 0x00, 1, 'T', 0x01, 1, 'a', 1, 'b', 0x0D, 0x00, 1, 'T', 0x02, 1, 'q', 1, 'a', 1, 'b'}));
}

TEST_F(Writing, ReferenceElementsAreCounted) {
  EXPECT_EQ(
      bytesOf([](EventProcessor& e) {
        e.startStructuredEntry(u"all");
        e.referenceElement(u"", u"T", u"a", u"b");
        e.referenceElementLong(u"", u"T", u"q", u"a", u"b");
        e.endStructuredEntry();
      }),
      (Bytes{0x0E, 0x02, 0x00, 1, 'T', 0x01, 1, 'a', 1, 'b', 0x00, 1, 'T', 0x02, 1, 'q', 1, 'a', 1, 'b'}));
}

TEST_F(Writing, ASecondDocumentStartsAfresh) {
  start();
  events().startObject(u"", u"t.Node", u"", u"");
  events().startStructuredProperty(u"texts");
  events().textElement(u"texts", u"left over");
  start();
  EXPECT_EQ(bytes(), header + Bytes{0x00});
}

TEST_F(Writing, WhatADocumentLeftOpenCannotEndInTheNext) {
  start();
  events().startObject(u"", u"t.Node", u"", u"");
  events().startStructuredProperty(u"texts");
  start();
  EXPECT_THROW(events().endStructuredProperty(), std::logic_error);
}

TEST_F(Writing, PackagesOfADocumentThatWasNotEndedAreNotThoseOfTheNext) {
  events().startDocument();
  events().addRegisteredPackage(u"left over");
  events().startDocument();
  events().endRegisteredPackages();
  EXPECT_EQ(bytes(), header + Bytes{0x00});
  events().startDocument();
  events().addRegisteredPackage(u"a");
  events().startDocument();
  events().addRegisteredPackage(u"a");
  events().endRegisteredPackages();
  EXPECT_EQ(bytes(), (header + Bytes{0x01, 0x01, 'a'}));
}

TEST_F(Writing, EachListOfPackagesHoldsThoseSinceTheLast) {
  events().startDocument();
  for (int twice = 0; twice < 2; ++twice) {
    events().addRegisteredPackage(u"a");
    events().endRegisteredPackages();
  }
  EXPECT_EQ(bytes(), (header + Bytes{0x01, 0x01, 'a', 0x01, 0x01, 'a'}));
}

TEST_F(Writing, ACollectionThatIsOpenCountsNothingYet) {
  start();
  events().startObject(u"", u"t.Node", u"", u"");
  events().startStructuredProperty(u"texts");
  events().textElement(u"texts", u"x");
  EXPECT_EQ(bytes(), (header + Bytes{0x00} + startOfNode + Bytes{0x09, 0x00, 0x01, 'x'}));
}

TEST_F(Writing, PropertiesBehindAnInnerObjectAreThoseOfTheOuterOne) {
  EXPECT_EQ(bytesOf([this](EventProcessor& e) {
              e.startContainer(u"pair", u"t.Pair");
              e.primitiveValue(u"a", value("Integer8", std::int8_t{5}));
              e.endContainer();
              e.textValue(u"name", u"n");
            }),
            (Bytes{0x0C, 0x01, 0xDD, 0x05} + endMark + Bytes{0x01, 0x01, 'n'}));
}

TEST_F(Writing, AnObjectThatWasNotStartedCannotEnd) {
  start();
  EXPECT_THROW(events().endObject(), std::logic_error);
}

TEST_F(Writing, ALoneSurrogateCannotBeSerialized) {
  start();
  events().startObject(u"", u"t.Node", u"", u"");
  EXPECT_THROW(events().textValue(u"name", ustring(1, char16_t{0xD800})), Error<kr0::io::CannotSerialize>);
}

TEST_F(Writing, TheAssociationOptionMovesBothBits) {
  const auto mask = [this] {
    start();
    return events().startObject(u"", u"t.Node", u"", u"")[0];
  };
  EXPECT_EQ(mask(), 0x7FFFFFFFu);
  for (int twice = 0; twice < 2; ++twice) {
    serializer.setShouldSerializeAssociations(false);
    EXPECT_EQ(mask(), 0x7FFFFBFBu);
  }
  for (int twice = 0; twice < 2; ++twice) {
    serializer.setShouldSerializeAssociations(true);
    EXPECT_EQ(mask(), 0x7FFFFFFFu);
  }
}

TEST_F(Writing, WithoutAssociationsNoReferenceIsWritten) {
  Model model(*registry);
  Element node = model.createRoot("t.Node");
  node.putReference("to", node);
  node.putReference("all", node);
  node.set("count", 1);
  serializer.setShouldSerializeAssociations(false);
  Bytes out;
  serializer.serialize(model, SerializationOutput::toByteSequence(out));
  BinaryParser parser(std::make_unique<ParseCustomizer>(*registry),
                      std::make_unique<ParsingModelBuilder>(false));
  ASSERT_TRUE(parser.parseByteSequence(out));
  const Element again = parser.getModelBuilder().getModel().getRoots().front();
  EXPECT_FALSE(again.isSet("to"));
  EXPECT_FALSE(again.isSet("all"));
  EXPECT_EQ(again.getInteger("count"), 1);
}

TEST_F(Writing, TheTraverserLiftsFixedWidthPropertiesAndNoOthers) {
  const auto category = [this](const char16_t* name) {
    const meta::StructuredType node(type("t.Node"));
    return serializer.getTraverser().getPropertyCategory(node->findProperty(name)).getMask();
  };
  EXPECT_EQ(category(u"small"), 16u);
  EXPECT_EQ(category(u"numbers"), 4096u);
  EXPECT_EQ(category(u"color"), 16u);
  EXPECT_EQ(category(u"flag"), 16u);
  EXPECT_EQ(category(u"name"), 1u);
  EXPECT_EQ(category(u"texts"), 0x100u);
  EXPECT_EQ(category(u"own"), 1u);
  EXPECT_EQ(category(u"all"), 0x400u);
  EXPECT_EQ(category(u"child"), 8u);
}

TEST_F(Writing, ADerivedNumberKeepsItsBaseCategory) {
  meta::MetaModelBuilder package("urn:d", "d");
  package.classType("C").property("n", "Integer").derived();
  meta::MetaRegistry other;
  package.registerIn(other);
  const meta::StructuredType c(other.findType("d.C"));
  EXPECT_EQ(serializer.getTraverser().getPropertyCategory(c->findProperty(u"n")).getMask(), 0u);
}

TEST_F(Writing, AByteVectorIsReplaced) {
  start();
  Bytes out{1, 2, 3};
  events().postprocess(SerializationOutput::toByteSequence(out));
  EXPECT_EQ(out, header + Bytes{0x00});
}

TEST_F(Writing, AStreamReceivesTheBytes) {
  start();
  std::ostringstream stream;
  events().postprocess(SerializationOutput::toStream(stream));
  EXPECT_EQ(stream.str(), std::string("\x01\x02kr\0", 5));
}

TEST_F(Writing, AFailedStreamReceivesNothing) {
  start();
  std::ostringstream stream;
  stream.setstate(std::ios::failbit);
  EXPECT_THROW(events().postprocess(SerializationOutput::toStream(stream)), Error<kr0::io::CannotSerialize>);
  EXPECT_EQ(stream.str(), "");
}

TEST_F(Writing, AFileIsCreatedOrTheSerializationFails) {
  start();
  const std::string path = test::temporaryPath("out.krb");
  test::writeFile(path, "something longer than the document");
  events().postprocess(SerializationOutput::toFile(toUstring(path)));
  EXPECT_EQ(test::readFile(path), std::string("\x01\x02kr\0", 5));
  EXPECT_THROW(events().postprocess(SerializationOutput::toFile(toUstring(path + "/no/such"))),
               Error<kr0::io::CannotSerialize>);
}

TEST_F(Writing, StringsAndIntermediateFormsAreRefused) {
  start();
  std::string narrow = "kept";
  ustring wide;
  EXPECT_THROW(events().postprocess(SerializationOutput::toString(narrow)),
               Error<kr0::io::StringNotSupported>);
  EXPECT_THROW(events().postprocess(SerializationOutput::toUString(wide)),
               Error<kr0::io::UstringNotSupported>);
  EXPECT_THROW(events().postprocess(SerializationOutput::toIntermediateFormat(&wide)),
               Error<kr0::io::IntermediateFormatNotSupported>);
  EXPECT_EQ(narrow, "kept");
}

TEST_F(Writing, TheSerializerTellsItsName) {
  EXPECT_STREQ(serializer.getFullyQualifiedVornTypeName(), "kr.zero.io.BinarySerializer");
}

}  // namespace
}  // namespace kr::zero::io::writing
