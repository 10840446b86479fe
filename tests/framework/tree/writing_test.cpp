// The tree events that a model is written as.
#include <gtest/gtest.h>

#include "framework/tree/TreeEventTesting.h"
#include "modeling/sylvan/EventRecorder.h"

namespace kr::zero::io {
namespace {

/// Lets enumerations and some numbers travel as values.
class LiftingTraverser final : public ModelTraverser {
 public:
  PropertyCategory getPropertyCategory(meta::Property property) const override {
    const std::string& type = property->getType()->qualifiedName();
    if (property->isStored() && (type == "library.Genre" || type == "Integer16"))
      return property->isMany() ? PropertyCategory::VerbatimCollection() : PropertyCategory::Verbatim();
    return ModelTraverser::getPropertyCategory(property);
  }
};

class TreeEventWriting : public ::testing::Test, protected test::LibraryFixture {
 protected:
  /// The events between the metadata of a lone book and its end, without indentation, in one line.
  std::string eventsOf(std::unique_ptr<ModelTraverser> traverser = std::make_unique<ModelTraverser>()) {
    std::ostringstream printed;
    modeling::sylvan::EventPrinter printer(printed);
    std::string unused;
    test::EventSerializer(printer, std::move(traverser))
        .serialize(model, SerializationOutput::toString(unused));
    std::string text = squeeze(printed.str());
    const std::string head =
        "StartSequence StartMetadata StartNamedEntry \"type\" \"library.Book\" "
        "EndNamedEntry EndMetadata StartStruct ";
    const std::string tail = "EndStruct EndSequence EndDocument ";
    const std::size_t begin = text.find(head);
    EXPECT_NE(begin, text.npos) << text;
    EXPECT_TRUE(text.ends_with(tail)) << text;
    if (begin == text.npos || !text.ends_with(tail)) return text;
    return text.substr(begin + head.size(), text.size() - begin - head.size() - tail.size());
  }
  static std::string squeeze(const std::string& lines) {
    std::istringstream in(lines);
    std::string text;
    for (std::string line; std::getline(in, line);) text += line.substr(line.find_first_not_of(' ')) + " ";
    return text;
  }
  Element book() { return model.createRoot("library.Book"); }
  static std::string entry(const std::string& name, const std::string& content) {
    return "StartNamedEntry \"" + name + "\" " + content + " EndNamedEntry ";
  }
};

TEST_F(TreeEventWriting, AnEmptyModelIsMetadataAndAnEmptySequence) {
  EXPECT_EQ(test::eventText(model),
            "StartDocument \"KR0\"\n"
            "  StartMetadata\n"
            "    StartNamedEntry \"version\"\n"
            "      u 1\n"
            "    EndNamedEntry\n"
            "    StartNamedEntry \"packages\"\n"
            "      StartSequence\n"
            "      EndSequence\n"
            "    EndNamedEntry\n"
            "  EndMetadata\n"
            "  StartSequence\n"
            "  EndSequence\n"
            "EndDocument\n");
}

TEST_F(TreeEventWriting, PackagesInUseStandInTheMetadata) {
  book();
  EXPECT_NE(squeeze(test::eventText(model))
                .find("\"packages\" StartSequence \"urn:test:library\" EndSequence EndNamedEntry"),
            std::string::npos);
}

TEST_F(TreeEventWriting, AnUnsetPropertyHasNoEntry) {
  book();
  EXPECT_EQ(eventsOf(), "");
}

TEST_F(TreeEventWriting, IdentityIsASequenceOfTwoTexts) {
  book().setIdentity("a", "b");
  EXPECT_NE(squeeze(test::eventText(model))
                .find("\"library.Book\" EndNamedEntry StartNamedEntry \"id\" StartSequence \"a\" \"b\" "
                      "EndSequence EndNamedEntry EndMetadata"),
            std::string::npos);
}

TEST_F(TreeEventWriting, ATextIsText) {
  book().set("name", "Emma");
  EXPECT_EQ(eventsOf(), entry("name", "\"Emma\""));
}

TEST_F(TreeEventWriting, AUserDefinedPrimitiveIsText) {
  book().setText("isbn", "978");
  EXPECT_EQ(eventsOf(), entry("isbn", "\"978\""));
}

TEST_F(TreeEventWriting, ABooleanIsABoolean) {
  book().set("lent", true);
  EXPECT_EQ(eventsOf(), entry("lent", "true"));
}

TEST_F(TreeEventWriting, ASignedTypeIsASignedInteger) {
  book().set("pages", 300);
  EXPECT_EQ(eventsOf(), entry("pages", "s 300"));
}

TEST_F(TreeEventWriting, AnUnsignedTypeIsAnUnsignedInteger) {
  book().setUnsigned("copies", 18446744073709551615u);
  EXPECT_EQ(eventsOf(), entry("copies", "u 18446744073709551615"));
}

TEST_F(TreeEventWriting, EachIntegerTypeHasItsKindOfInteger) {
  meta::MetaModelBuilder package("urn:test:numbers", "numbers");
  auto& holder = package.classType("Holder");
  std::string expected;
  for (const char* type : {"Integer8", "UInteger8", "Integer16", "UInteger16", "Integer", "UnlimitedNatural",
                           "Integer64", "UInteger64"}) {
    holder.property(type, type);
    expected += entry(type, type[0] == 'U' ? "u 1" : "s 1");
  }
  meta::MetaRegistry numbers;
  package.registerIn(numbers);
  Model ones(numbers);
  Element one = ones.createRoot("numbers.Holder");
  for (const meta::Property property : one.getType()->getAllProperties()) one.setTextForm(property, "1");
  EXPECT_NE(squeeze(test::eventText(ones)).find("StartStruct " + expected + "EndStruct"), std::string::npos)
      << squeeze(test::eventText(ones));
}

TEST_F(TreeEventWriting, ARealIsARealToItsLastBit) {
  book().set("weight", 0.1);
  EXPECT_EQ(eventsOf(), entry("weight", "r 0.1"));
}

TEST_F(TreeEventWriting, AnEnumerationIsItsLiteralsName) {
  Element element = book();
  element.setInteger("genre", 5);
  element.addInteger("genres", 0);
  element.addInteger("genres", 5);
  const std::string expected =
      entry("genre", "\"poetry\"") + entry("genres", "StartSequence \"novel\" \"poetry\" EndSequence");
  EXPECT_EQ(eventsOf(), expected);
}

TEST_F(TreeEventWriting, ValuesThatAHostsTraverserLiftsAreTheSameEvents) {
  Element element = book();
  element.setInteger("genre", 5);
  element.addInteger("genres", 0);
  element.set("pages", 7);
  EXPECT_EQ(eventsOf(std::make_unique<LiftingTraverser>()), eventsOf());
}

TEST_F(TreeEventWriting, TheTraverserOfASerializerFindsNumbersAmongTheValuesOnly) {
  modeling::sylvan::EventRecorder events;
  test::EventSerializer serializer(events);
  const meta::StructuredType type = book().getType();
  const auto namesOf = [&](PropertyCategory mask) {
    std::string names;
    for (const meta::Property property : serializer.getTraverser().getProperties(type, mask))
      names += property->name() + " ";
    return names;
  };
  EXPECT_EQ(namesOf(PropertyCategory::VerbatimAny()), "pages copies weight lent years ");
  EXPECT_EQ(namesOf(PropertyCategory::VerbatimCollection()), "years ");
  EXPECT_EQ(namesOf(PropertyCategory::Primitive()), "name isbn genre key printed ");
  EXPECT_EQ(namesOf(PropertyCategory::AssociationAny()), "authors bestOf sequel ");
  EXPECT_TRUE(serializer.getTraverser().isPropertyTransient(type->findProperty(std::string_view("note"))));
  EXPECT_FALSE(serializer.getTraverser().isPropertyTransient(type->findProperty(std::string_view("name"))));
}

TEST_F(TreeEventWriting, UuidAndDateTimeAreTexts) {
  Element element = book();
  element.setTextForm("key", "00112233-4455-6677-8899-AABBCCDDEEFF");
  element.setText("printed", "2024-02-29T12:00:00Z");
  EXPECT_EQ(eventsOf(), entry("key", "\"00112233-4455-6677-8899-aabbccddeeff\"") +
                            entry("printed", "\"2024-02-29T12:00:00Z\""));
}

TEST_F(TreeEventWriting, ExplicitlyEmptyIsNull) {
  Element element = book();
  element.setEmpty("pages");
  element.setEmpty("isbn");
  EXPECT_EQ(eventsOf(), entry("isbn", "null") + entry("pages", "null"));
}

TEST_F(TreeEventWriting, ACollectionOfTextsIsASequence) {
  Element element = book();
  element.add("tags", "a");
  element.add("tags", "");
  EXPECT_EQ(eventsOf(), entry("tags", "StartSequence \"a\" \"\" EndSequence"));
}

TEST_F(TreeEventWriting, ACollectionOfNumbersIsASequence) {
  Element element = book();
  element.add("years", -1);
  element.add("years", 2);
  EXPECT_EQ(eventsOf(), entry("years", "StartSequence s -1 s 2 EndSequence"));
}

TEST_F(TreeEventWriting, ASetCollectionThatHoldsNothingIsAnEmptySequence) {
  Element element = book();
  element.setEmpty("tags");
  element.setEmpty("years");
  element.setEmpty("authors");
  const std::string nothing = "StartSequence EndSequence";
  EXPECT_EQ(eventsOf(), entry("tags", nothing) + entry("years", nothing) + entry("authors", nothing));
}

TEST_F(TreeEventWriting, ADatatypeValueIsAStruct) {
  book().create("preface").set("first", 1);
  EXPECT_EQ(eventsOf(), entry("preface", "StartStruct " + entry("first", "s 1") + "EndStruct"));
}

TEST_F(TreeEventWriting, ADatatypeValueWithoutValuesIsAnEmptyStruct) {
  book().create("preface");
  EXPECT_EQ(eventsOf(), entry("preface", "StartStruct EndStruct"));
}

TEST_F(TreeEventWriting, DatatypeValuesOfACollectionShareOneSequence) {
  Element element = book();
  element.create("chapters").set("first", 1);
  element.create("chapters");
  element.create("chapters").set("first", 2);
  element.create("preface");
  EXPECT_EQ(eventsOf(), entry("chapters", "StartSequence StartStruct " + entry("first", "s 1") +
                                              "EndStruct StartStruct EndStruct StartStruct " +
                                              entry("first", "s 2") + "EndStruct EndSequence") +
                            entry("preface", "StartStruct EndStruct"));
}

TEST_F(TreeEventWriting, ChildrenOfACollectionShareOneSequence) {
  Element element = book();
  element.create("volumes").create("volumes").set("pages", 1);
  element.create("volumes");
  const std::string head = "StartMetadata " + entry("type", "\"library.Book\"") + "EndMetadata StartStruct ";
  EXPECT_EQ(eventsOf(),
            entry("volumes", "StartSequence " + head +
                                 entry("volumes", "StartSequence " + head + entry("pages", "s 1") +
                                                      "EndStruct EndSequence") +
                                 "EndStruct " + head + "EndStruct EndSequence"));
}

TEST_F(TreeEventWriting, ASingleChildIsAnObject) {
  model.createRoot("library.Library").create("treasure");
  EXPECT_NE(squeeze(test::eventText(model))
                .find(entry("treasure", "StartMetadata " + entry("type", "\"library.Book\"") +
                                            "EndMetadata StartStruct EndStruct") +
                      "EndStruct"),
            std::string::npos);
}

TEST_F(TreeEventWriting, AReferenceIsAStructOfTypeAndIdentity) {
  Element element = book();
  element.putReference("sequel", element);
  const std::string id = entry("id", "StartSequence \"#\" \"1\" EndSequence");
  const std::string text = squeeze(test::eventText(model));
  EXPECT_NE(text.find("\"library.Book\" EndNamedEntry " + id + "EndMetadata"), text.npos) << text;
  EXPECT_NE(text.find(entry("sequel", "StartStruct " + entry("type", "\"library.Book\"") + id + "EndStruct")),
            text.npos)
      << text;
}

TEST_F(TreeEventWriting, AReferenceIntoAnotherDocumentHasAQualifier) {
  book().putUnresolved("authors", {"library.Author", "a", "b", "other.krb"});
  EXPECT_EQ(eventsOf(), entry("authors", "StartSequence StartStruct " + entry("type", "\"library.Author\"") +
                                             entry("id", "StartSequence \"a\" \"b\" EndSequence") +
                                             entry("qualifier", "\"other.krb\"") + "EndStruct EndSequence"));
}

TEST_F(TreeEventWriting, TransientAndDerivedPropertiesAreNotWritten) {
  book().set("note", "to self");
  EXPECT_EQ(eventsOf(), "");
}

TEST_F(TreeEventWriting, AModelThatCannotBeWrittenIsRefused) {
  book().setIdentity("a", "b");
  book().setIdentity("a", "b");
  EXPECT_EQ(test::errorOf<SerializeError>([&] { test::eventText(model); }),
            "/book[0] and /book[1] have the same identity");
}

/// Writes to a target that throws while it is armed, and then once more with the same serializer.
template <class Target>
void expectSecondTryIsWhole(const Model& model, Target& target) {
  test::EventSerializer serializer(target);
  std::string unused;
  const auto write = [&] { serializer.serialize(model, SerializationOutput::toString(unused)); };
  EXPECT_THROW(write(), std::runtime_error);
  target.armed = false;
  target.reset();
  write();
  modeling::sylvan::EventRecorder expected;
  sendEvents(model, expected);
  EXPECT_TRUE(target == expected);
}

TEST_F(TreeEventWriting, AFailureAmongNumbersLeavesNothingBehind) {
  struct Target : modeling::sylvan::EventRecorder {
    bool armed = true;
    void writePrimitive(const test::Primitive& value) override {
      if (armed && std::holds_alternative<std::int64_t>(value)) throw std::runtime_error("enough");
      EventRecorder::writePrimitive(value);
    }
  };
  Element element = book();
  element.add("tags", "a");
  element.add("years", 1);
  Target target;
  expectSecondTryIsWhole(model, target);
}

TEST_F(TreeEventWriting, ASerializerWorksAgainAfterATargetThatThrew) {
  struct Target : modeling::sylvan::EventRecorder {
    bool armed = true;
    void endStruct() override {
      if (armed) throw std::runtime_error("enough");
      EventRecorder::endStruct();
    }
  };
  book().create("chapters").set("first", 1);
  Target target;
  expectSecondTryIsWhole(model, target);
}

}  // namespace
}  // namespace kr::zero::io
