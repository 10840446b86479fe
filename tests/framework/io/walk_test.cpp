// What the walk sends to an event processor, as text: one event per line.
#include <gtest/gtest.h>

#include "framework/io/LibraryModel.h"
#include "kr/zero/io/Serializer.h"

namespace kr::zero::io {
namespace {

/// Writes every event down.
class Recorder final : public EventProcessor {
 public:
  std::string text;
  CategoryMasks masks{0x7FFFFFFF};

  void postprocess(const SerializationOutput&) override { line("postprocess"); }
  void startDocument() override { line("startDocument"); }
  void endDocument() override { line("endDocument"); }
  void startRegisteredPackages() override { line("startRegisteredPackages"); }
  void addRegisteredPackage(const ustring& uri) override { line("addRegisteredPackage", uri); }
  void endRegisteredPackages() override { line("endRegisteredPackages"); }
  CategoryMasks startObject(const ustring& p, const ustring& t, const ustring& a, const ustring& b) override {
    line("startObject", p, t, a, b);
    return masks;
  }
  void endObject() override { line("endObject"); }
  void textValue(const ustring& p, const ustring& t) override { line("textValue", p, t); }
  void absentValue(const ustring& p) override { line("absentValue", p); }
  void startStructuredProperty(const ustring& p) override { line("startStructuredProperty", p); }
  void textElement(const ustring& p, const ustring& t) override { line("textElement", p, t); }
  void endStructuredProperty() override { line("endStructuredProperty"); }
  void primitiveValue(const ustring& p, const Value& v) override { value("primitiveValue", p, v); }
  void startStructuredElement(const ustring& p) override { line("startStructuredElement", p); }
  void primitiveElement(const ustring& p, const Value& v) override { value("primitiveElement", p, v); }
  void endStructuredElement() override { line("endStructuredElement"); }
  void emptyContainer(const ustring& p, const ustring& t) override { line("emptyContainer", p, t); }
  void startContainer(const ustring& p, const ustring& t) override { line("startContainer", p, t); }
  void endContainer() override { line("endContainer"); }
  void referenceValue(const ustring& p, const ustring& t, const ustring& a, const ustring& b) override {
    line("referenceValue", p, t, a, b);
  }
  void referenceValueLong(const ustring& p, const ustring& t, const ustring& q, const ustring& a,
                          const ustring& b) override {
    line("referenceValueLong", p, t, q, a, b);
  }
  void startStructuredEntry(const ustring& p) override { line("startStructuredEntry", p); }
  void referenceElement(const ustring& p, const ustring& t, const ustring& a, const ustring& b) override {
    line("referenceElement", p, t, a, b);
  }
  void referenceElementLong(const ustring& p, const ustring& t, const ustring& q, const ustring& a,
                            const ustring& b) override {
    line("referenceElementLong", p, t, q, a, b);
  }
  void endStructuredEntry() override { line("endStructuredEntry"); }

 private:
  template <class... Texts>
  void line(const char* event, const Texts&... texts) {
    text += event;
    ((text += " '" + toUtf8(texts) + "'"), ...);
    text += "\n";
  }
  void value(const char* event, const ustring& p, const Value& v) {
    text += std::string(event) + " '" + toUtf8(p) + "' " + v.getMeta().getType()->qualifiedName() + " " +
            std::to_string(v.getWidth()) + " bytes " + std::to_string(v.get<std::int64_t>()) + "\n";
  }
};

/// Sends primitives of fixed width as values, as a binary format does.
class ValueTraverser final : public ModelTraverser {
 public:
  PropertyCategory getPropertyCategory(meta::Property property) const override {
    const std::string& type = property->getType()->qualifiedName();
    if (property->isStored() && (type == "Integer16" || type == "Integer" || type == "library.Genre"))
      return property->isMany() ? PropertyCategory::VerbatimCollection() : PropertyCategory::Verbatim();
    return ModelTraverser::getPropertyCategory(property);
  }
};

class RecordingSerializer final : public Serializer {
 public:
  explicit RecordingSerializer(std::unique_ptr<SerializeCustomizer> customizer)
      : Serializer(std::make_unique<ValueTraverser>(), std::move(customizer), std::make_unique<Recorder>()) {}
  const char* getFullyQualifiedVornTypeName() const override { return "test.RecordingSerializer"; }
  Recorder& recorder() { return static_cast<Recorder&>(getEventProcessor()); }
};

class WalkTest : public ::testing::Test, protected test::LibraryFixture {
 protected:
  /// All events of the document, or only those between the first startObject and the last endObject.
  std::string events(bool all = false) {
    std::string bytes;
    serializer->recorder().text.clear();
    serializer->serialize(model, SerializationOutput::toString(bytes));
    const std::string& text = serializer->recorder().text;
    if (all) return text;
    const std::size_t begin = text.find("endRegisteredPackages\n") + 22;
    return text.substr(begin, text.find("endDocument\n") - begin);
  }
  /// The events of a lone book that a function fills.
  template <class Fill>
  std::string eventsOfBook(Fill&& fill) {
    fill(model.createRoot("library.Book"));
    const std::string text = events();
    const std::string head = "startObject '' 'library.Book' '' ''\n";
    EXPECT_EQ(text.substr(0, head.size()), head);
    EXPECT_EQ(text.substr(text.size() - 10), "endObject\n");
    return text.substr(head.size(), text.size() - head.size() - 10);
  }

  std::unique_ptr<RecordingSerializer> serializer =
      std::make_unique<RecordingSerializer>(std::make_unique<SerializeCustomizer>());
};

TEST_F(WalkTest, AnEmptyModelIsHeaderPackagesAndEnd) {
  EXPECT_EQ(events(true),
            "startDocument\nstartRegisteredPackages\nendRegisteredPackages\nendDocument\npostprocess\n");
}

TEST_F(WalkTest, PackagesFollowTheHeader) {
  model.createRoot("library.Library");
  EXPECT_EQ(events(true),
            "startDocument\nstartRegisteredPackages\naddRegisteredPackage 'urn:test:library'\n"
            "endRegisteredPackages\nstartObject '' 'library.Library' '' ''\nendObject\nendDocument\n"
            "postprocess\n");
}

TEST_F(WalkTest, AnUnsetPropertyIsNoEvent) {
  EXPECT_EQ(eventsOfBook([](Element) {}), "");
}

TEST_F(WalkTest, ATextThatHasAValueIsTextValue) {
  EXPECT_EQ(eventsOfBook([](Element book) {
              book.set("name",
                       "M\xC3\xB6"
                       "by");
            }),
            "textValue 'name' 'M\xC3\xB6"
            "by'\n");
}

TEST_F(WalkTest, TextsOfEveryLengthArriveWhole) {
  Element book = model.createRoot("library.Book");
  std::string text;
  for (int size = 0; size <= 100; ++size) {
    book.set("name", text);
    EXPECT_NE(events().find("textValue 'name' '" + text + "'\n"), std::string::npos) << size;
    text.push_back(static_cast<char>('0' + size % 64));
  }
}

TEST_F(WalkTest, AnyOtherLetterArrivesWhereverItStands) {
  Element book = model.createRoot("library.Book");
  for (const std::string letter : {"\u00E9", "\u2116", "\U0001F4D6"}) {
    for (std::size_t size = 0; size <= 60; ++size) {
      for (std::size_t at = 0; at <= size; ++at) {
        std::string text(size, 'x');
        text.insert(at, letter);
        book.set("name", text);
        EXPECT_NE(events().find("textValue 'name' '" + text + "'\n"), std::string::npos) << text;
      }
    }
  }
}

TEST_F(WalkTest, AnExplicitlyEmptyValueIsAbsentValueInBothCategories) {
  EXPECT_EQ(eventsOfBook([](Element book) {
              book.setEmpty("isbn");
              book.setEmpty("pages");
            }),
            "absentValue 'isbn'\nabsentValue 'pages'\n");
}

TEST_F(WalkTest, AFixedWidthValueIsPrimitiveValue) {
  EXPECT_EQ(eventsOfBook([](Element book) { book.set("pages", -2); }),
            "primitiveValue 'pages' Integer16 2 bytes 65534\n");
}

TEST_F(WalkTest, AnOptionalEnumerationIsHandedOverAsAnInteger) {
  EXPECT_EQ(eventsOfBook([](Element book) { book.set("genre", 5); }),
            "primitiveValue 'genre' Integer 4 bytes 5\n");
}

TEST_F(WalkTest, TextsOfACollectionAreFramed) {
  EXPECT_EQ(eventsOfBook([](Element book) {
              book.add("tags", "a");
              book.add("tags", "");
            }),
            "startStructuredProperty 'tags'\ntextElement 'tags' 'a'\ntextElement 'tags' ''\n"
            "endStructuredProperty\n");
}

TEST_F(WalkTest, ASetCollectionMayHoldNothing) {
  EXPECT_EQ(eventsOfBook([](Element book) {
              book.setEmpty("tags");
              book.setEmpty("years");
              book.setEmpty("authors");
            }),
            "startStructuredProperty 'tags'\nendStructuredProperty\n"
            "startStructuredElement 'years'\nendStructuredElement\n"
            "startStructuredEntry 'authors'\nendStructuredEntry\n");
}

TEST_F(WalkTest, TypedValuesOfACollectionComeAsPairs) {
  EXPECT_EQ(eventsOfBook([](Element book) {
              book.add("genres", 5);
              book.add("years", 7);
            }),
            "startStructuredElement 'genres'\ntextElement 'genres' ''\n"
            "primitiveElement 'genres' library.Genre 8 bytes 5\nendStructuredElement\n"
            "startStructuredElement 'years'\ntextElement 'years' ''\n"
            "primitiveElement 'years' Integer 4 bytes 7\nendStructuredElement\n");
}

TEST_F(WalkTest, DatatypeValuesAreContainers) {
  EXPECT_EQ(
      eventsOfBook([](Element book) {
        book.create("chapters").set("first", 1);
        book.create("chapters");
        book.create("preface").set("last", 2);
      }),
      "startContainer 'chapters' 'library.Span'\nprimitiveValue 'first' Integer 4 bytes 1\nendContainer\n"
      "emptyContainer 'chapters' 'library.Span'\n"
      "startContainer 'preface' 'library.Span'\nprimitiveValue 'last' Integer 4 bytes 2\nendContainer\n");
}

TEST_F(WalkTest, ChildrenAreObjectsInTheirProperty) {
  EXPECT_EQ(eventsOfBook([](Element book) { book.create("volumes").set("name", "I"); }),
            "startObject 'volumes' 'library.Book' '' ''\ntextValue 'name' 'I'\nendObject\n");
}

TEST_F(WalkTest, DerivedAndTransientPropertiesAreNotVisited) {
  EXPECT_EQ(eventsOfBook([](Element book) { book.set("note", "x"); }), "");
}

TEST_F(WalkTest, ATargetWithoutIdentityGetsItsNumberInDocumentOrder) {
  Element library = model.createRoot("library.Library");
  Element first = library.create("books");
  Element second = library.create("books");
  first.setReference("sequel", second);
  EXPECT_EQ(events(),
            "startObject '' 'library.Library' '' ''\nstartObject 'books' 'library.Book' '' ''\n"
            "referenceValue 'sequel' 'library.Book' '#' '3'\nendObject\n"
            "startObject 'books' 'library.Book' '#' '3'\nendObject\nendObject\n");
}

TEST_F(WalkTest, NumbersFollowTheDocumentAndNotTheOrderOfMaking) {
  Element library = model.createRoot("library.Library");
  Element author = library.create("authors");
  Element book = library.create("books");  // stands before the authors
  author.putReference("books", book);
  EXPECT_NE(events().find("startObject 'books' 'library.Book' '#' '2'"), std::string::npos);
}

TEST_F(WalkTest, NumbersAreDecimalWithoutLeadingZerosAtEveryLength) {
  Element library = model.createRoot("library.Library");
  Element before = library.create("books");
  std::string expected = "startObject '' 'library.Library' '' ''\nstartObject 'books' 'library.Book' '' ''\n";
  for (int number = 3; number < 100013; ++number) {
    Element book = library.create("books");
    before.setReference("sequel", book);
    const std::string identity = "'library.Book' '#' '" + std::to_string(number) + "'\n";
    expected += "referenceValue 'sequel' " + identity + "endObject\nstartObject 'books' " + identity;
    before = book;
  }
  EXPECT_TRUE(events() == expected + "endObject\nendObject\n");  // too long to be printed
}

TEST_F(WalkTest, DatatypeValuesAreNotCounted) {
  Element library = model.createRoot("library.Library");
  Element first = library.create("books");
  first.create("chapters").set("first", 1);
  Element second = library.create("books");
  first.setReference("sequel", second);
  EXPECT_NE(events().find("startObject 'books' 'library.Book' '#' '3'"), std::string::npos);
}

// Every way in which a reference goes: what it led to then has no number any more.
TEST_F(WalkTest, AnElementThatIsNoLongerReferredToHasNoNumber) {
  using Change = void (*)(Element author, Element book, Element other);
  const Change changes[] = {
      [](Element, Element book, Element) { book.unset("sequel"); },
      [](Element, Element book, Element) { book.unset("authors"); },
      [](Element, Element book, Element) { book.setEmpty("authors"); },
      [](Element, Element book, Element) { book.removeAt("authors", 0); },
      [](Element author, Element book, Element other) {
        book.unset("authors");
        author.unset("books");
        book.setReference("sequel", other);
        book.setReference("sequel", book);
      },
      [](Element, Element book, Element) {
        book.putUnresolved("sequel", {"library.Book", "a", "b", "q"});
      },
      [](Element author, Element, Element) { author.getModel().remove(author); },
  };
  for (const Change& change : changes) {
    Model changed(*registry);
    Element library = changed.createRoot("library.Library");
    Element book = library.create("books");
    Element other = library.create("books");
    Element author = library.create("authors");
    book.addReference("authors", author);
    book.setReference("sequel", other);
    change(author, book, other);
    model = changed.clone();  // made anew, with what is left
    const std::string expected = events();
    model = std::move(changed);
    EXPECT_EQ(events(), expected);
  }
}

TEST_F(WalkTest, AnUnresolvedNumberMustNotBecomeAnotherElements) {
  Element library = model.createRoot("library.Library");
  Element first = library.create("books");
  Element second = library.create("books");
  first.putUnresolved("sequel", {"library.Book", "#", "3", std::nullopt});
  EXPECT_NE(events().find("referenceValue 'sequel' 'library.Book' '#' '3'"), std::string::npos);
  second.setReference("sequel", second);  // gives it the number 3
  EXPECT_EQ(test::errorOf<SerializeError>([&] { events(); }),
            "/library/books[0].sequel: the unresolved reference to #3 would lead to /library/books[1], "
            "which is written with that number");
  first.putUnresolved("sequel", {"library.Book", "#", "3", "other"});
  EXPECT_NE(events().find("referenceValueLong"), std::string::npos);
}

TEST_F(WalkTest, AnIdentityOfItsOwnIsUsedInReferences) {
  Element book = model.createRoot("library.Book");
  book.setIdentity("urn:x", "7");
  book.setReference("sequel", book);
  EXPECT_EQ(events(),
            "startObject '' 'library.Book' 'urn:x' '7'\nreferenceValue 'sequel' 'library.Book' 'urn:x' '7'\n"
            "endObject\n");
}

TEST_F(WalkTest, TheCustomizersPrefixReachesElementsAndReferences) {
  serializer = std::make_unique<RecordingSerializer>(std::make_unique<SerializeCustomizer>(u"p/"));
  Element book = model.createRoot("library.Book");
  book.setIdentity("urn:x", "7");
  book.setReference("sequel", book);
  EXPECT_NE(events().find("startObject '' 'library.Book' 'p/urn:x' '7'\n"
                          "referenceValue 'sequel' 'library.Book' 'p/urn:x' '7'"),
            std::string::npos);
}

TEST_F(WalkTest, APrefixMayBeGivenInEitherEncoding) {
  EXPECT_EQ(SerializeCustomizer("p\u00e4/").getIdentityPrefix(), u"p\u00e4/");
  EXPECT_EQ(SerializeCustomizer(u"p\u00e4/").getIdentityPrefix(), u"p\u00e4/");
  EXPECT_EQ(SerializeCustomizer().getIdentityPrefix(), u"");
}

TEST_F(WalkTest, ReferencesOfACollectionAreFramedAndQualifiedOnesAreLong) {
  EXPECT_EQ(eventsOfBook([](Element book) {
              book.putUnresolved("authors", {"library.Author", "a", "b", std::nullopt});
              book.putUnresolved("authors", {"library.Author", "a", "b", "q"});
              book.putUnresolved("sequel", {"library.Book", "a", "b", "q"});
            }),
            "startStructuredEntry 'authors'\nreferenceElement 'authors' 'library.Author' 'a' 'b'\n"
            "referenceElementLong 'authors' 'library.Author' 'q' 'a' 'b'\nendStructuredEntry\n"
            "referenceValueLong 'sequel' 'library.Book' 'q' 'a' 'b'\n");
}

TEST_F(WalkTest, ThereIsOnePassPerMaskInOrder) {
  serializer->recorder().masks = {0x010, 0x001};
  EXPECT_EQ(eventsOfBook([](Element book) {
              book.set("name", "n");
              book.set("pages", 1);
              book.create("volumes");
            }),
            "primitiveValue 'pages' Integer16 2 bytes 1\ntextValue 'name' 'n'\n");
}

TEST_F(WalkTest, TwoElementsOfOneIdentityAreRefused) {
  model.createRoot("library.Book").setIdentity("a", "b");
  model.createRoot("library.Book").setIdentity("a", "b");
  EXPECT_EQ(test::errorOf<SerializeError>([&] { events(); }), "/book[0] and /book[1] have the same identity");
}

TEST_F(WalkTest, AWalkThatFailedCanBeRepeated) {
  Element twin = model.createRoot("library.Book");
  twin.setIdentity("a", "b");
  model.createRoot("library.Book").setIdentity("a", "b");
  EXPECT_THROW(events(), SerializeError);
  twin.clearIdentity();
  EXPECT_EQ(
      events(),
      "startObject '' 'library.Book' '' ''\nendObject\nstartObject '' 'library.Book' 'a' 'b'\nendObject\n");
}

}  // namespace
}  // namespace kr::zero::io
