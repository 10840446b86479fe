// The lock file: what is in it, what it keeps, and what it notices.
#include "kr/zero/evolution/Lock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "SchemaPairs.h"

namespace kr::zero::test {
namespace {

using evolution::Lock;
using evolution::LockFinding;
using meta::MetaModelBuilder;
using meta::MetaRegistry;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Define = std::function<void(MetaModelBuilder&)>;

/// A registry with the package "books".
class Books {
 public:
  explicit Books(const Define& define) {
    MetaModelBuilder builder("urn:books", "books");
    define(builder);
    builder.registerIn(registry_);
  }
  operator const MetaRegistry&() const { return registry_; }

 private:
  MetaRegistry registry_;
};

Define book(std::vector<std::pair<std::string, std::uint32_t>> texts) {
  return [texts](MetaModelBuilder& builder) {
    auto& type = builder.classType("Book");
    for (const auto& [name, number] : texts) type.property(name, "String").id(number);
  };
}

Lock lockOf(const MetaRegistry& registry) {
  Lock lock;
  lock.update(registry);
  return lock;
}

/// "error: ..." and "notice: ...".
std::vector<std::string> findingsOf(const Lock& lock, const MetaRegistry& registry) {
  std::vector<std::string> texts;
  for (const LockFinding& finding : lock.check(registry))
    texts.push_back((finding.isError ? "error: " : "notice: ") + finding.sentence);
  return texts;
}

std::vector<std::string> findings(const Define& before, const Define& after) {
  return findingsOf(lockOf(Books(before)), Books(after));
}

std::string refusalOf(const std::string& text) {
  try {
    Lock::parse(text, "books.lock");
  } catch (const Error& error) {
    EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
    return error.what();
  }
  return "";
}

/// A lock whose package "books" has one type with these entries.
std::string lockText(const std::string& entries) {
  return R"({"kr0-lock": 1, "packages": {"urn:books": {"name": "books", "types": {"Book": {)" + entries +
         "}}}}}";
}

}  // namespace

TEST(Lock, HasALineForEachNumberAndLiteral) {
  const Books registry([](MetaModelBuilder& builder) {
    builder.enumeration("Color").literal("red", 0).literal("blue", -1);
    builder.classType("Named").abstractType().property("name", "String").id(1).required();
    auto& book = builder.classType("Book").supertype("Named");
    book.property("pages", "Integer").id(10);
    book.property("colors", "Color").id(2).many();
  });
  EXPECT_EQ(lockOf(registry).write(), R"({
 "kr0-lock": 1,
 "packages": {
  "urn:books": {
   "name": "books",
   "types": {
    "Book": {
     "kind": "class",
     "numbers": {
      "2": {"bounds": "0..*", "kind": "enumeration", "name": "colors", "type": "books.Color"},
      "10": {"bounds": "0..1", "kind": "number", "name": "pages", "type": "Integer"}
     },
     "supertypes": ["books.Named"]
    },
    "Color": {
     "kind": "enumeration",
     "literals": {
      "-1": {"name": "blue"},
      "0": {"name": "red"}
     }
    },
    "Named": {
     "kind": "class",
     "numbers": {
      "1": {"bounds": "1..1", "kind": "text", "name": "name", "type": "String"}
     }
    }
   }
  }
 }
}
)");
}

TEST(Lock, SaysOfTwoPropertiesThatChangedPlacesWhatOldDocumentsShow) {
  EXPECT_THAT(
      findings(book({{"firstName", 1}, {"lastName", 2}}), book({{"lastName", 1}, {"firstName", 2}})),
      ElementsAre("error: books.Book 1 was firstName and is lastName now: old .krb documents show firstName "
                  "as lastName",
                  "error: books.Book 2 was lastName and is firstName now: old .krb documents show lastName "
                  "as firstName"));
}

TEST(Lock, SaysOfARenumberedLiteralWhatOldDocumentsShow) {
  const auto colors = [](std::int32_t red, std::int32_t blue) {
    return [=](MetaModelBuilder& builder) {
      builder.enumeration("Color").literal("red", red).literal("blue", blue);
    };
  };
  EXPECT_THAT(
      findings(colors(0, 1), colors(1, 0)),
      ElementsAre("error: books.Color 0 was red and is blue now: old .krb documents show red as blue",
                  "error: books.Color 1 was blue and is red now: old .krb documents show blue as red"));
  EXPECT_THAT(
      findings(colors(0, 1), colors(0, 5)),
      ElementsAre("error: books.Color 1 was blue, which has the number 5 now: old .krb documents with blue "
                  "are refused",
                  "notice: books.Color 5 (blue) is new"));
}

TEST(Lock, NoticesAPropertyThatIsGoneAndOneThatIsNew) {
  EXPECT_THAT(findings(book({{"title", 1}, {"isbn", 2}}), book({{"title", 1}, {"pages", 3}})),
              ElementsAre("notice: books.Book 2 (isbn) is gone: old documents with isbn are refused",
                          "notice: books.Book 3 (pages) is new"));
}

TEST(Lock, NoticesTypesAndPackagesThatAreGoneAndNew) {
  const auto only = [](const char* name) {
    return [=](MetaModelBuilder& builder) { builder.classType(name); };
  };
  EXPECT_THAT(findings(only("Book"), only("Atlas")),
              ElementsAre("notice: books.Book is gone: old documents with it are refused",
                          "notice: books.Atlas is new"));
  MetaRegistry other;
  MetaModelBuilder("urn:music", "music").registerIn(other);
  EXPECT_THAT(findingsOf(lockOf(Books(only("Book"))), other),
              ElementsAre("notice: the package books is locked and not among the meta models",
                          "notice: the package music is new"));
}

TEST(Lock, NoticesANumberThatIsUsedAgainLongAfterItsPropertyWent) {
  Lock lock = lockOf(Books(book({{"title", 1}, {"isbn", 2}})));
  lock.update(Books(book({{"title", 1}})));
  lock.update(Books(book({{"title", 1}, {"pages", 3}})));
  EXPECT_THAT(lock.write(),
              HasSubstr(R"("2": {"bounds": "0..1", "kind": "text", "name": "isbn", "retired": true, )"));
  EXPECT_THAT(findingsOf(lock, Books(book({{"title", 1}, {"pages", 3}}))), IsEmpty());
  EXPECT_THAT(
      findingsOf(lock, Books(book({{"title", 1}, {"pages", 3}, {"price", 2}}))),
      ElementsAre("error: books.Book 2 was isbn and is price now: old .krb documents show isbn as price"));
}

TEST(Lock, NoticesALiteralNumberThatIsUsedAgainLongAfterwards) {
  const auto colors = [](std::vector<std::string> names) {
    return [=](MetaModelBuilder& builder) {
      auto& type = builder.enumeration("Color");
      for (std::size_t i = 0; i < names.size(); ++i)
        if (!names[i].empty()) type.literal(names[i], static_cast<std::int32_t>(i));
    };
  };
  Lock lock = lockOf(Books(colors({"red", "blue"})));
  lock.update(Books(colors({"red"})));
  EXPECT_THAT(findingsOf(lock, Books(colors({"red"}))), IsEmpty());
  EXPECT_THAT(
      findingsOf(lock, Books(colors({"red", "green"}))),
      ElementsAre("error: books.Color 1 was blue and is green now: old .krb documents show blue as green"));
}

TEST(Lock, KnowsANumberThatCameBackWithItsProperty) {
  Lock lock = lockOf(Books(book({{"title", 1}, {"isbn", 2}})));
  const std::string before = lock.write();
  lock.update(Books(book({{"title", 1}})));
  EXPECT_NE(lock.write(), before);
  EXPECT_THAT(findingsOf(lock, Books(book({{"title", 1}, {"isbn", 2}}))), IsEmpty());
  lock.update(Books(book({{"title", 1}, {"isbn", 2}})));
  EXPECT_EQ(lock.write(), before);
}

TEST(Lock, NoticesThatASubclassTookANumberOfAFormerSupertype) {
  const auto named = [](bool inherits, const char* own, std::uint32_t number) {
    return [=](MetaModelBuilder& builder) {
      builder.classType("Named").property("name", "String").id(1);
      auto& book = builder.classType("Book");
      if (inherits) book.supertype("Named");
      book.property(own, "String").id(number);
    };
  };
  EXPECT_THAT(
      findings(named(true, "isbn", 2), named(false, "isbn", 1)),
      ElementsAre(
          "error: books.Book 1 was name and is isbn now: old .krb documents show name as isbn",
          "error: books.Book 2 was isbn, which has the number 1 now: old .krb documents with isbn are "
          "refused",
          "notice: books.Book 1 (isbn) is new"));
}

TEST(Lock, RemembersWhatAClassHadFromASupertypeThatItLost) {
  const auto named = [](bool inherits, std::uint32_t number) {
    return [=](MetaModelBuilder& builder) {
      auto& type = builder.classType("Named");
      type.property("name", "String").id(1);
      type.property("label", "String").id(2);
      auto& book = builder.classType("Book");
      if (inherits) book.supertype("Named");
      book.property("isbn", "String").id(number);
    };
  };
  Lock lock = lockOf(Books(named(true, 3)));
  lock.update(Books(named(false, 3)));
  EXPECT_THAT(findingsOf(lock, Books(named(false, 3))), IsEmpty());
  EXPECT_THAT(
      findingsOf(lock, Books(named(false, 2))),
      Contains("error: books.Book 2 was label and is isbn now: old .krb documents show label as isbn"));
  lock.update(Books(named(false, 2)));
  EXPECT_THAT(findingsOf(lock, Books(named(false, 2))), IsEmpty());
}

TEST(Lock, KnowsAPropertyThatMovedToASupertypeWithItsNumber) {
  const auto named = [](bool above) {
    return [=](MetaModelBuilder& builder) {
      auto& item = builder.classType("Item").abstractType();
      auto& book = builder.classType("Book").supertype("Item");
      (above ? item : book).property("title", "String").id(1);
    };
  };
  EXPECT_THAT(findings(named(false), named(true)), ElementsAre("notice: books.Item 1 (title) is new"));
}

TEST(Lock, NamesAChangeOfAnInheritedNumberOnce) {
  const auto names = [](const char* name) {
    return [=](MetaModelBuilder& builder) {
      builder.classType("Named").abstractType().property(name, "String").id(1);
      for (const char* type : {"Author", "Book", "Chapter"}) builder.classType(type).supertype("Named");
    };
  };
  EXPECT_THAT(
      findings(names("name"), names("label")),
      ElementsAre("error: books.Named 1 was name and is label now: old .krb documents show name as label"));
}

TEST(Lock, TellsValuesThatAreShownWrongFromValuesThatAreRefused) {
  const auto pages = [](const char* type, std::uint32_t lower) {
    return [=](MetaModelBuilder& builder) {
      builder.classType("Book").property("pages", type).id(1).bounds(lower, 1);
    };
  };
  EXPECT_THAT(
      findings(pages("Integer64", 1), pages("Real", 1)),
      ElementsAre("error: books.Book 1 (pages) was Integer64 1..1 and is Real 1..1 now: old .krb documents "
                  "show other values"));
  EXPECT_THAT(
      findings(pages("Integer", 1), pages("Integer64", 1)),
      ElementsAre(
          "error: books.Book 1 (pages) was Integer 1..1 and is Integer64 1..1 now: old .krb documents "
          "with pages are refused, or show nonsense"));
  EXPECT_THAT(
      findings(pages("Integer", 1), pages("Integer", 0)),
      ElementsAre("error: books.Book 1 (pages) was Integer 1..1 and is Integer 0..1 now: old .krb documents "
                  "with pages are refused, or show nonsense"));
}

TEST(Lock, TakesInWhatIsAcceptedAndIsContentAfterwards) {
  Lock lock = lockOf(Books(book({{"firstName", 1}, {"lastName", 2}})));
  const Books swapped(book({{"lastName", 1}, {"firstName", 2}}));
  lock.update(swapped);
  EXPECT_THAT(findingsOf(lock, swapped), IsEmpty());
  EXPECT_THAT(findingsOf(lock, Books(book({{"firstName", 1}, {"lastName", 2}}))).size(), 2u);
}

TEST(Lock, LeavesPackagesAloneThatAreNotGiven) {
  MetaRegistry other;
  MetaModelBuilder music("urn:music", "music");
  music.classType("Song").property("title", "String").id(1);
  music.registerIn(other);
  Lock lock = lockOf(Books(book({{"title", 1}})));
  lock.update(other);
  EXPECT_THAT(lock.write(), Not(HasSubstr("retired")));
  EXPECT_THAT(lock.write(), HasSubstr("urn:books"));
}

// --- Lock and comparison over all kinds of change ---------------------------------------------------

namespace {

class LockPairs : public testing::TestWithParam<SchemaPair> {
 protected:
  LockPairs() {
    GetParam().before(before_);
    GetParam().after(after_);
  }
  MetaRegistry before_;
  MetaRegistry after_;
};

}  // namespace

TEST_P(LockPairs, ReadsAsItWasWritten) {
  const std::string text = lockOf(before_).write();
  EXPECT_EQ(Lock::parse(text, "books.lock").write(), text);
  EXPECT_THAT(findingsOf(Lock::parse(text, "books.lock"), before_), IsEmpty());
}

TEST_P(LockPairs, HasAnErrorForEverythingThatIsSilentlyWrong) {
  const auto found = lockOf(before_).check(after_);
  const bool hasError =
      std::any_of(found.begin(), found.end(), [](const LockFinding& finding) { return finding.isError; });
  const auto changes = evolution::compareSchemas(before_, after_);
  const auto worst = [&](evolution::Effect effect) {
    return std::any_of(changes.begin(), changes.end(),
                       [&](const auto& change) { return change.effects.krb >= effect; });
  };
  if (worst(evolution::Effect::wrong)) {
    EXPECT_TRUE(hasError);
  }
  if (hasError) {
    EXPECT_TRUE(worst(evolution::Effect::refused));
  }
}

TEST_P(LockPairs, IsContentWithWhatItWasUpdatedTo) {
  Lock lock = lockOf(before_);
  lock.update(after_);
  for (const LockFinding& finding : lock.check(after_)) EXPECT_FALSE(finding.isError) << finding.sentence;
}

INSTANTIATE_TEST_SUITE_P(Schema, LockPairs, testing::ValuesIn(schemaPairs()),
                         [](const auto& instance) { return instance.param.name; });

// --- Files of others --------------------------------------------------------------------------------

TEST(LockFile, IsRefusedWithOneSentenceThatNamesTheFault) {
  const std::string property = R"("bounds": "0..1", "kind": "text", "name": "title", "type": "String")";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "it is not JSON from byte 1 on"},
      {"{\"kr0-lock\": 1,}", "it is not JSON from byte"},
      {"[]", "the file is no object"},
      {"{}", "it has no key \"kr0-lock\""},
      {R"({"kr0-lock": 2})", "its version is not 1"},
      {R"({"kr0-lock": "1"})", "its version is not 1"},
      {R"({"kr0-lock": 1, "more": 1})", "the file has the unknown key \"more\""},
      {R"({"kr0-lock": 1, "kr0-lock": 1})", "the key \"kr0-lock\" is there twice"},
      {R"({"kr0-lock": 1, "packages": []})", "the file: \"packages\" is no object"},
      {R"({"kr0-lock": 1, "packages": {"urn:books": 7}})", "the package \"urn:books\" is no object"},
      {R"({"kr0-lock": 1, "packages": {"urn:books": {}}})", "the package \"urn:books\" has no text \"name\""},
      {R"({"kr0-lock": 1e999})", "it holds a number that is too large"},
      {lockText(""), "books.Book has no text \"kind\""},
      {lockText(R"("kind": "table")"), "books.Book: \"table\" is no kind"},
      {lockText(R"("kind": "class", "retired": 1)"), "books.Book: \"retired\" is neither true nor false"},
      {lockText(R"("kind": "class", "supertypes": {})"), "books.Book: \"supertypes\" is no list"},
      {lockText(R"("kind": "class", "supertypes": [1])"), "books.Book: a supertype is no text"},
      {lockText(R"("kind": "class", "numbers": {"0": {)" + property + "}}"),
       "\"0\" is not a number from 1 to 16382"},
      {lockText(R"("kind": "class", "numbers": {"16383": {)" + property + "}}"),
       "is not a number from 1 to 16382"},
      {lockText(R"("kind": "class", "numbers": {"01": {)" + property + "}}"), "\"01\" is no number"},
      {lockText(R"("kind": "class", "numbers": {"one": {)" + property + "}}"), "\"one\" is no number"},
      {lockText(R"("kind": "class", "numbers": {"1": {)" + property + R"(}, "1": {)" + property + "}}"),
       "the key \"1\" is there twice"},
      {lockText(R"("kind": "class", "numbers": {"1": {"name": ""}})"), "books.Book 1 has no text \"name\""},
      {lockText(
           R"("kind": "class", "numbers": {"1": {"bounds": "many", "kind": "text", "name": "a", "type": "b"}})"),
       "books.Book 1: \"many\" is no bounds"},
      {lockText(R"("kind": "enumeration", "literals": {"2147483648": {"name": "red"}})"), "is no number"},
      {lockText(R"("kind": "enumeration", "literals": {"1": "red"})"), "books.Book 1 is no object"},
  };
  for (const auto& [text, fault] : cases) {
    EXPECT_THAT(refusalOf(text), testing::StartsWith("books.lock: is no lock file, ")) << text;
    EXPECT_THAT(refusalOf(text), HasSubstr(fault)) << text;
  }
}

TEST(LockFile, MayNestAsDeepAsItLikesAndIsRefused) {
  EXPECT_THAT(refusalOf(std::string(1000000, '[')), HasSubstr("its values are nested too deep"));
  std::string objects = R"({"a":)";
  for (int i = 0; i < 17; ++i) objects += objects;
  EXPECT_THAT(refusalOf(objects), HasSubstr("its values are nested too deep"));
}

TEST(LockFile, IsRefusedBeyondSixteenMebibytesBeforeItIsLookedAt) {
  EXPECT_EQ(refusalOf(std::string(16 * 1024 * 1024 + 1, ' ')), "books.lock: a lock file of more than 16 MiB");
  EXPECT_THAT(refusalOf(std::string(16 * 1024 * 1024, ' ')), HasSubstr("it is not JSON"));
}

TEST(LockFile, TakesTimeInProportionToItsSize) {
  std::string types;
  for (int i = 0; i < 100000; ++i)
    types += (i == 0 ? "" : ",") + std::string("\"T") + std::to_string(i) + R"(": {"kind": "class"})";
  const std::string text =
      R"({"kr0-lock": 1, "packages": {"urn:books": {"name": "books", "types": {)" + types + "}}}}";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(refusalOf(text), "");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));  // half a second, or hours
}

TEST(LockFile, IsRefusedWhereverItIsCut) {
  const std::string text = lockOf(Books(book({{"title", 1}, {"isbn", 2}}))).write();
  for (std::size_t size = 0; size + 1 < text.size(); ++size)
    EXPECT_NE(refusalOf(text.substr(0, size)), "") << size;
  EXPECT_EQ(refusalOf(text), "");
}

TEST(LockFile, IsReadOrRefusedWithEveryByteChanged) {
  const std::string text = lockOf(Books(book({{"title", 1}, {"isbn", 2}}))).write();
  const Books registry(book({{"title", 1}, {"isbn", 2}}));
  std::size_t refused = 0;
  for (std::size_t i = 0; i < text.size(); ++i)
    for (const char byte : {'\0', '"', '{', '9', '\xff'}) {
      std::string changed = text;
      changed[i] = byte;
      if (refusalOf(changed) != "")
        ++refused;
      else
        static_cast<void>(Lock::parse(changed, "").check(registry));
    }
  EXPECT_GT(refused, text.size());
}

TEST(LockFile, MayInheritInACircleAndIsCheckedAllTheSame) {
  const std::string text =
      R"({"kr0-lock": 1, "packages": {"urn:books": {"name": "books", "types": {)"
      R"("Book": {"kind": "class", "supertypes": ["books.Item", "books.Book"], "numbers":)"
      R"( {"1": {"bounds": "0..1", "kind": "text", "name": "isbn", "type": "String"}}},)"
      R"("Item": {"kind": "class", "supertypes": ["books.Book", "books.Gone"]}}}}})";
  EXPECT_THAT(
      findingsOf(Lock::parse(text, ""), Books(book({{"title", 1}}))),
      ElementsAre("error: books.Book 1 was isbn and is title now: old .krb documents show isbn as title",
                  "notice: books.Item is gone: old documents with it are refused"));
}

TEST(LockFile, WhoseClassesInheritTooMuchTogetherIsRefused) {
  std::string types;
  for (int i = 0; i < 3000; ++i) {
    const std::string name = "C" + std::to_string(i);
    const std::string above = i == 0 ? "" : R"("books.C)" + std::to_string(i - 1) + '"';
    types += (i == 0 ? "" : ",") + std::string("\"") + name + R"(": {"kind": "class", "supertypes": [)" +
             above + R"(], "numbers": {")" + std::to_string(i + 1) +
             R"(": {"bounds": "0..1", "kind": "text", "name": "p", "type": "String"}}})";
  }
  const Lock lock = Lock::parse(
      R"({"kr0-lock": 1, "packages": {"urn:books": {"name": "books", "types": {)" + types + "}}}}", "");
  const Books registry([](MetaModelBuilder& builder) {
    for (int i = 0; i < 3000; ++i) builder.classType("C" + std::to_string(i));
  });
  try {
    static_cast<void>(lock.check(registry));
    FAIL() << "was checked";
  } catch (const Error& error) {
    EXPECT_EQ(error.getCode(), ErrorCode::overLimit);
    EXPECT_THAT(error.what(), HasSubstr("inherit too many numbers together"));
  }
}

}  // namespace kr::zero::test
