// Values on their way from a document into the model: whole, checked, and where they belong.
#include <gtest/gtest.h>

#include <boost/optional.hpp>

#include "framework/io/LibraryModel.h"
#include "kr/zero/DateTime.h"
#include "kr/zero/io/ParseProcessor.h"

namespace kr::zero::io {
namespace {

using test::errorOf;

class ParseValues : public ::testing::Test {
 protected:
  ParseValues() {
    processor.reset();
    processor.push(u"library.Book", u"#", u"1");
  }

  void add(const ustring& name, const ustring& text) {
    processor.getPropertyCategory(name);
    processor.setValue(name, text);
  }
  void refer(const ustring& name, const ustring& type, const ustring& number) {
    processor.getPropertyCategory(name);
    processor.addDeferredReference(type, name, u"#", number, boost::none);
  }
  bool takesDate(const std::string& text) {
    processor.reset();
    processor.push(u"library.Book", {}, {});
    try {
      add(u"printed", toUstring(text));
    } catch (const ValueError&) {
      return false;
    }
    return book().getText("printed") == text;
  }
  Element book() { return builder.getModel().getRoots().front(); }

  std::unique_ptr<meta::MetaRegistry> registry = test::makeLibraryRegistry();
  ParseCustomizer customizer{*registry};
  ParsingModelBuilder builder{false};
  ParseProcessor processor{customizer, builder};
};

TEST_F(ParseValues, TextsOfAnyLengthArriveWhole) {
  std::vector<std::string> expected;
  for (const ustring letter : {u"a", u"é", u"€", u"😀"}) {
    ustring text;
    for (std::size_t length = 0; length < 300; ++length) {
      add(u"tags", text + letter);
      expected.push_back(toUtf8(text + letter));
      text += length % 7 == 6 ? letter : ustring(u"b");
    }
  }
  ASSERT_EQ(book().size("tags"), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(book().getText("tags", i), expected[i]);
}

TEST_F(ParseValues, ALoneSurrogateIsRefusedInTextsOfAnyLength) {
  for (std::size_t length = 0; length < 300; ++length) {
    ustring text(length, u'a');
    text.insert(length / 2, 1, u'\xDC00');
    EXPECT_EQ(errorOf<ValueError>([&] { add(u"tags", text); }), "/book: a text is not well-formed UTF-16");
  }
  EXPECT_EQ(book().size("tags"), 0u);
}

TEST_F(ParseValues, ADateIsTakenExactlyWhereItIsOne) {
  const std::string date = "2024-02-28T23:59:59Z";
  for (std::size_t at = 0; at < date.size(); ++at) {
    for (char other = 1; other < 127; ++other) {
      std::string changed = date;
      changed[at] = other;
      EXPECT_EQ(takesDate(changed), DateTime::parse(changed).has_value()) << changed;
    }
  }
  for (const std::size_t field : {5u, 8u, 11u, 14u, 17u}) {
    for (int number = 0; number < 100; ++number) {
      std::string changed = date;
      changed[field] = static_cast<char>('0' + number / 10);
      changed[field + 1] = static_cast<char>('0' + number % 10);
      EXPECT_EQ(takesDate(changed), DateTime::parse(changed).has_value()) << changed;
    }
  }
  EXPECT_TRUE(takesDate(date));
  EXPECT_FALSE(takesDate("2023-02-29T00:00:00Z"));
  EXPECT_FALSE(takesDate("2024-00-28T00:00:00Z"));
}

TEST_F(ParseValues, ReferencesAreResolvedWhateverIsSetAfterThem) {
  refer(u"authors", u"library.Author", u"2");
  refer(u"sequel", u"library.Book", u"1");
  refer(u"authors", u"library.Author", u"7");
  add(u"name", u"Emma");
  refer(u"authors", u"library.Author", u"2");
  processor.pop(u"library.Book");
  processor.push(u"library.Author", u"#", u"2");
  processor.pop(u"library.Author");
  processor.processDeferred();
  const Element author = builder.getModel().getRoots().back();
  EXPECT_EQ(book().getReference("sequel"), book());
  EXPECT_EQ(book().getText("name"), "Emma");
  ASSERT_EQ(book().size("authors"), 3u);
  EXPECT_EQ(book().getReference("authors", 0), author);
  EXPECT_EQ(book().getUnresolved("authors", 1).value().id2, "7");
  EXPECT_EQ(book().getReference("authors", 2), author);
}

}  // namespace
}  // namespace kr::zero::io
