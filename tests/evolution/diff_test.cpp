// What compareSchemas says, word for word, and which subjects it names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "SchemaPairs.h"
#include "kr/zero/ecore/Ecore.h"
#include "support/Paths.h"

namespace kr::zero::test {
namespace {

using evolution::ChangeKind;
using evolution::compareSchemas;
using evolution::Effect;
using evolution::Effects;
using evolution::SchemaChange;
using meta::MetaModelBuilder;
using meta::MetaRegistry;
using testing::ElementsAre;
using testing::IsEmpty;

std::string asText(const SchemaChange& change) { return change.subject + ": " + change.sentence; }

std::vector<std::string> textsOf(const std::vector<SchemaChange>& changes) {
  std::vector<std::string> texts;
  for (const SchemaChange& change : changes) texts.push_back(asText(change));
  return texts;
}

std::vector<SchemaChange> changesOf(const std::function<void(MetaModelBuilder&)>& before,
                                    const std::function<void(MetaModelBuilder&)>& after) {
  MetaRegistry registries[2];
  MetaModelBuilder builders[2] = {{"urn:books", "books"}, {"urn:books", "books"}};
  before(builders[0]);
  after(builders[1]);
  for (int i = 0; i < 2; ++i) builders[i].registerIn(registries[i]);
  return compareSchemas(registries[0], registries[1]);
}

std::vector<SchemaChange> changesOf(const SchemaPair& pair) {
  MetaRegistry before;
  MetaRegistry after;
  pair.before(before);
  pair.after(after);
  return compareSchemas(before, after, {pair.renames});
}

const SchemaChange* find(const std::vector<SchemaChange>& changes, ChangeKind kind,
                         const std::string& subject) {
  const auto found = std::find_if(changes.begin(), changes.end(), [&](const SchemaChange& change) {
    return change.kind == kind && change.subject == subject;
  });
  return found == changes.end() ? nullptr : &*found;
}

}  // namespace

TEST(SchemaDiff, SaysWhatOldDocumentsShowOfPropertiesThatChangedPlaces) {
  EXPECT_THAT(
      textsOf(changesOf(schemaPair("numbersSwapped"))),
      ElementsAre("books.Book.firstName: its number was 1 and is 2 now, and number 1 is lastName: old .krb "
                  "documents show firstName as lastName",
                  "books.Book.lastName: its number was 2 and is 1 now, and number 2 is firstName: old .krb "
                  "documents show lastName as firstName"));
}

TEST(SchemaDiff, SaysWhatOldDocumentsShowOfRenumberedLiterals) {
  EXPECT_THAT(
      textsOf(changesOf(schemaPair("literalsRenumbered"))),
      ElementsAre("books.Color.red: number 0 was red and is blue now: old .krb documents show red as blue",
                  "books.Color.blue: number 1 was blue and is red now: old .krb documents show blue as red"));
}

TEST(SchemaDiff, SaysThatDocumentsWithARemovedPropertyAreRefused) {
  EXPECT_THAT(
      textsOf(changesOf(schemaPair("propertyRemoved"))),
      ElementsAre("books.Book.lastName: the property is gone: old documents that use it are refused"));
}

TEST(SchemaDiff, SaysWhatANumberThatIsUsedAgainShows) {
  EXPECT_THAT(
      textsOf(changesOf(schemaPair("propertyRenamedWithoutAWord"))),
      ElementsAre("books.Book.title: number 1 was title and is name now: old .krb documents show title as "
                  "name; old .krt, .xmi and .krz documents that use it are refused",
                  "books.Book.name: the property is new: old documents read as before"));
}

TEST(SchemaDiff, SaysWhichDocumentsATighterBoundRefuses) {
  EXPECT_THAT(
      textsOf(changesOf(schemaPair("optionalMadeRequired"))),
      ElementsAre("books.Book.value: its bounds were 0..1 and are 1..1 now: old .krb documents that use it "
                  "are refused, or show nonsense where their bytes happen to fit; old .krt, .xmi and .krz "
                  "documents in which it is explicitly empty are refused, and others may lack it"));
}

TEST(SchemaDiff, SaysThatATextInXmiFallsApart) {
  EXPECT_THAT(
      textsOf(changesOf(schemaPair("textMadeMany"))),
      ElementsAre("books.Book.value: its bounds were 1..1 and are 0..* now: old .xmi documents show each "
                  "word of a text as a value of its own; old .krb documents that use it are refused, or show "
                  "nonsense where their bytes happen to fit; old .krt documents that use it are refused"));
}

TEST(SchemaDiff, SaysThatXmiLeavesTheClassOfAChildToTheMetaModel) {
  EXPECT_THAT(
      textsOf(changesOf(schemaPair("childClassWidened"))),
      ElementsAre("books.Book.pages: its type was books.Note and is books.Page now: old .xmi documents show "
                  "children whose class they leave to the meta model as books.Page"));
}

TEST(SchemaDiff, TellsWhatItWasAndWhatItIs) {
  const auto changes = changesOf(schemaPair("numberWidened"));
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].before, "Integer16 1..1, number 1");
  EXPECT_EQ(changes[0].after, "Integer 1..1, number 1");
}

TEST(SchemaDiff, NamesAnInheritedPropertyOnceAndByItsOwner) {
  const auto names = [](std::uint32_t number) {
    return [=](MetaModelBuilder& builder) {
      builder.classType("Named").abstractType().property("name", "String").id(number);
      for (const char* type : {"Author", "Book", "Chapter"}) builder.classType(type).supertype("Named");
    };
  };
  const auto changes = changesOf(names(1), names(2));
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].subject, "books.Named.name");
  EXPECT_EQ(changes[0].kind, ChangeKind::propertyRenumbered);
}

TEST(SchemaDiff, NamesThePropertyOfAClassThatNoLongerInheritsIt) {
  const auto named = [](bool inherits) {
    return [=](MetaModelBuilder& builder) {
      builder.classType("Named").property("name", "String").id(1);
      auto& book = builder.classType("Book");
      if (inherits) book.supertype("Named");
    };
  };
  const auto changes = changesOf(named(true), named(false));
  EXPECT_NE(find(changes, ChangeKind::supertypesChanged, "books.Book"), nullptr);
  const SchemaChange* const gone = find(changes, ChangeKind::propertyRemoved, "books.Book.name");
  ASSERT_NE(gone, nullptr);
  EXPECT_EQ(gone->effects.krb, Effect::refused);
  EXPECT_EQ(find(changes, ChangeKind::propertyRemoved, "books.Named.name"), nullptr);
}

TEST(SchemaDiff, AnAbstractClassWithoutElementsHasNothingToLose) {
  const auto draft = [](bool has) {
    return [=](MetaModelBuilder& builder) {
      auto& type = builder.classType("Draft").abstractType();
      if (has) type.property("text", "String").id(1);
    };
  };
  for (const auto& changes : {changesOf(draft(true), draft(false)), changesOf(draft(false), draft(true))}) {
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].subject, "books.Draft.text");
    EXPECT_EQ(changes[0].effects, Effects{});
  }
}

TEST(SchemaDiff, ALostSupertypeBreaksOnlyWhereSomethingHoldsItsElements) {
  const auto items = [](bool inherits, bool isHeld) {
    return [=](MetaModelBuilder& builder) {
      builder.classType("Item");
      auto& book = builder.classType("Book");
      if (inherits) book.supertype("Item");
      if (isHeld) builder.classType("Shelf").property("items", "Item").id(1).many().composite();
    };
  };
  for (const bool isHeld : {false, true}) {
    const auto changes = changesOf(items(true, isHeld), items(false, isHeld));
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].effects.krb, isHeld ? Effect::refused : Effect::nothing);
  }
}

TEST(SchemaDiff, OneOfTwoWaysToASupertypeMayGo) {
  const auto diamond = [](bool both) {
    return [=](MetaModelBuilder& builder) {
      builder.classType("Item");
      builder.classType("Paper").supertype("Item");
      builder.classType("Bound").supertype("Item");
      auto& book = builder.classType("Book").supertype("Paper");
      if (both) book.supertype("Bound");
      builder.classType("Shelf").property("items", "Item").id(1).many().composite();
    };
  };
  const auto changes = changesOf(diamond(true), diamond(false));
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].kind, ChangeKind::supertypesChanged);
  EXPECT_EQ(changes[0].effects, Effects{});
}

TEST(SchemaDiff, TypesOfTwoPackagesWithOneNameAreComparedByTheirUris) {
  const auto define = [](MetaRegistry& registry, std::uint32_t second) {
    MetaModelBuilder one("urn:one", "books");
    one.classType("Book").property("title", "String").id(1);
    MetaModelBuilder two("urn:two", "books");
    two.classType("Book").property("title", "String").id(second);
    one.registerIn(registry);
    two.registerIn(registry);
  };
  MetaRegistry before;
  MetaRegistry after;
  define(before, 2);
  define(after, 2);
  EXPECT_THAT(compareSchemas(before, after), IsEmpty());
  MetaRegistry changed;
  define(changed, 3);
  EXPECT_EQ(compareSchemas(before, changed).size(), 1u);
}

TEST(SchemaDiff, EveryRegistryIsAsItIs) {
  for (const SchemaPair& pair : schemaPairs()) {
    MetaRegistry before;
    MetaRegistry same;
    pair.before(before);
    pair.before(same);
    EXPECT_THAT(textsOf(compareSchemas(before, same)), IsEmpty()) << pair.name;
  }
}

TEST(SchemaDiff, EveryKindEffectAndFormatHasANameOfItsOwn) {
  std::set<std::string_view> names;
  for (int i = 0; i <= static_cast<int>(ChangeKind::literalTextChanged); ++i)
    EXPECT_TRUE(names.insert(nameOf(static_cast<ChangeKind>(i))).second) << i;
  EXPECT_EQ(nameOf(ChangeKind::numberReused), "numberReused");
  EXPECT_EQ(nameOf(ChangeKind::literalTextChanged), "literalTextChanged");
  EXPECT_EQ(nameOf(Effect::wrong), "wrong");
  EXPECT_EQ(nameOf(evolution::DocumentFormat::krz), "krz");
}

TEST(SchemaDiff, EachKindOfChangeHasAPair) {
  std::set<ChangeKind> kinds;
  for (const SchemaPair& pair : schemaPairs())
    for (const SchemaChange& change : changesOf(pair)) kinds.insert(change.kind);
  for (int i = 0; i <= static_cast<int>(ChangeKind::literalTextChanged); ++i)
    EXPECT_TRUE(kinds.contains(static_cast<ChangeKind>(i))) << nameOf(static_cast<ChangeKind>(i));
}

TEST(SchemaDiff, TakesTimeInProportionToTheMetaModels) {
  constexpr int kClasses = 20000;
  const auto define = [](MetaRegistry& registry, const std::string& type) {
    MetaModelBuilder builder("urn:wide", "wide");
    auto& base = builder.classType("Base");
    for (int i = 0; i < 200; ++i) base.property("p" + std::to_string(i), type);
    for (int i = 0; i < kClasses; ++i) builder.classType("C" + std::to_string(i)).supertype("Base");
    builder.registerIn(registry);
  };
  MetaRegistry before;
  MetaRegistry after;
  define(before, "Integer64");
  define(after, "Real");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(compareSchemas(before, after).size(), 200u);
  EXPECT_LT(std::chrono::steady_clock::now() - start,
            std::chrono::seconds(20));  // a tenth of a second, mostly
}

// --- Meta models of others, in two versions ---------------------------------------------------------

namespace {

std::vector<SchemaChange> changesOfFiles(const std::string& before, const std::string& after) {
  MetaRegistry registries[2];
  const auto first = ecore::loadMetaModels({modelsDir() + "/" + before}, registries[0]);
  const auto second = ecore::loadMetaModels({modelsDir() + "/" + after}, registries[1]);
  return compareSchemas(registries[0], registries[1]);
}

}  // namespace

TEST(SchemaDiffOfRealMetaModels, FindsWhatIsDifferentInTheRailwayOfAnotherContest) {
  if (!haveModels()) GTEST_SKIP() << modelsDir() << " is not on this machine";
  const auto changes = changesOfFiles("railway/railway.ecore", "railway/railway-ttc.ecore");
  EXPECT_EQ(changes.size(), 44u);
  const SchemaChange* const uri = find(changes, ChangeKind::packageUriChanged,
                                       "http://www.semanticweb.org/ontologies/2015/trainbenchmark");
  ASSERT_NE(uri, nullptr);
  EXPECT_EQ(uri->after, "http://www.semanticweb.org/ontologies/2015/ttc/trainbenchmark");
  const SchemaChange* const failure = find(changes, ChangeKind::literalRenumbered, "railway.Signal.FAILURE");
  ASSERT_NE(failure, nullptr);
  EXPECT_EQ(failure->sentence,
            "number 0 was FAILURE and is STOP now: old .krb documents show FAILURE as STOP");
  const SchemaChange* const diverging =
      find(changes, ChangeKind::literalRemoved, "railway.Position.DIVERGING");
  ASSERT_NE(diverging, nullptr);
  EXPECT_EQ(diverging->effects, (Effects{Effect::wrong, Effect::refused, Effect::refused, Effect::refused}));
  EXPECT_NE(find(changes, ChangeKind::typeRemoved, "railway.Region"), nullptr);
  const SchemaChange* const sensors = find(changes, ChangeKind::propertyAdded, "railway.Route.definedBy");
  ASSERT_NE(sensors, nullptr);
  EXPECT_EQ(sensors->effects.xmi, Effect::incomplete);
  const SchemaChange* const length =
      find(changes, ChangeKind::propertyBoundsChanged, "railway.Segment.length");
  ASSERT_NE(length, nullptr);
  EXPECT_EQ(length->before, "Integer 0..1, number 4");
  EXPECT_EQ(length->after, "Integer 1..1, number 1");
}

TEST(SchemaDiffOfRealMetaModels, FindsNoDifferenceInTwoFilesOfTheSameJava) {
  if (!haveModels()) GTEST_SKIP() << modelsDir() << " is not on this machine";
  EXPECT_THAT(textsOf(changesOfFiles("neoemf/Java.ecore", "modisco/java.ecore")), IsEmpty());
}

}  // namespace kr::zero::test
