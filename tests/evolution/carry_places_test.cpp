// Where elements, datatype values and references end up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "evolution/CarryTesting.h"

namespace kr::zero::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Shelves of books, of which some are atlases, with links between them.
void defineShelves(meta::MetaModelBuilder& package) {
  package.datatype("Size").property("width", "Integer");
  auto& book = package.classType("Book");
  book.property("title", "String");
  book.property("size", "Size");
  book.property("next", "Book").opposite("before");
  book.property("before", "Book").opposite("next");
  package.classType("Atlas").supertype("Book").property("maps", "Integer");
  auto& shelf = package.classType("Shelf");
  shelf.property("books", "Book").many().composite();
  shelf.property("best", "Book").many();
}

Model makeShelves(const meta::MetaRegistry& registry) {
  Model model(registry);
  Element shelf = model.createRoot("shelf.Shelf");
  Element first = shelf.create("books"), atlas = shelf.create("books", "shelf.Atlas");
  first.set("title", "Moby Dick");
  first.setIdentity("isbn", "1");
  first.setReference("next", atlas);
  first.create("size").set("width", 12);
  atlas.set("maps", 40);
  shelf.addReference("best", atlas);
  shelf.putUnresolved("best", {"shelf.Book", "isbn", "9", "elsewhere.krb"});
  shelf.addReference("best", first);
  model.createRoot("shelf.Shelf").setEmpty("best");
  return model;
}

}  // namespace

TEST(CarryPlaces, TheSameMetaModelGivesTheSameModel) {
  const Versions versions(defineShelves, defineShelves);
  const Model model = makeShelves(versions.before);
  const CarryOverResult result = versions.carry(model);
  EXPECT_EQ(findDifference(model, result.model), std::nullopt);
  EXPECT_EQ(&result.model.getRegistry(), &versions.now);
  EXPECT_THAT(result.report.losses, IsEmpty());
  EXPECT_THAT(result.report.notices, IsEmpty());
  EXPECT_EQ(result.report.carried, 4u);
}

TEST(CarryPlaces, OtherOrderAndNumbersOfPropertiesChangeNothing) {
  const Versions versions(defineShelves, [](auto& package) {
    auto& shelf = package.classType("Shelf");
    shelf.property("best", "Book").many().id(7);
    shelf.property("books", "Book").many().composite().id(3);
    auto& book = package.classType("Book");
    book.property("added", "String");
    book.property("before", "Book").opposite("next");
    book.property("size", "Size").id(99);
    book.property("next", "Book").opposite("before");
    book.property("title", "String");
    package.classType("Atlas").supertype("Book").property("maps", "Integer");
    package.datatype("Size").property("width", "Integer");
  });
  const Model model = makeShelves(versions.before);
  EXPECT_EQ(findDifference(model, versions.carry(model).model), std::nullopt);
}

TEST(CarryPlaces, APropertyOfASupertypeIsFoundUnderItsName) {
  const Versions versions(defineShelves, [](auto& package) {
    package.classType("Item").abstractType().property("title", "String");
    package.datatype("Size").property("width", "Integer");
    auto& book = package.classType("Book").supertype("Item");
    book.property("size", "Size");
    book.property("next", "Book").opposite("before");
    book.property("before", "Book").opposite("next");
    package.classType("Atlas").supertype("Book").property("maps", "Integer");
    auto& shelf = package.classType("Shelf");
    shelf.property("books", "Item").many().composite();
    shelf.property("best", "Item").many();
  });
  const Model model = makeShelves(versions.before);
  EXPECT_EQ(findDifference(model, versions.carry(model).model), std::nullopt);
}

TEST(CarryPlaces, ElementsOfAClassThatIsGoneAreLeftOutWithAllAboutThem) {
  const Versions versions(defineShelves, [](auto& package) {
    package.datatype("Size").property("width", "Integer");
    auto& book = package.classType("Book");
    book.property("title", "String");
    book.property("size", "Size");
    book.property("next", "Book").opposite("before");
    book.property("before", "Book").opposite("next");
    auto& shelf = package.classType("Shelf");
    shelf.property("books", "Book").many().composite();
    shelf.property("best", "Book").many();
  });
  const Model model = makeShelves(versions.before);
  EXPECT_THAT(lossesOf(versions, model),
              ElementsAre("shelf.Book.next: 1 reference left out with the element (/shelf[0]/books[0])",
                          "shelf.Atlas: 1 element left out, there is no shelf.Atlas (/shelf[0]/books[1])",
                          "shelf.Shelf.best: 1 reference left out with the element (/shelf[0])"));
  const CarryOverResult result = versions.carry(model, allowing());
  const ConstElement shelf = rootsOf(result)[0];
  ASSERT_EQ(shelf.size("books"), 1u);
  ASSERT_EQ(shelf.size("best"), 2u);
  EXPECT_EQ(shelf.getUnresolved("best", 0)->id2, "9");
  EXPECT_EQ(shelf.getReference("best", 1), shelf.getElement("books", 0));
}

TEST(CarryPlaces, AnAbstractClassHasNoElementsAnyMore) {
  const Versions versions([](auto& package) { package.classType("Book"); },
                          [](auto& package) { package.classType("Book").abstractType(); });
  Model model(versions.before);
  model.createRoot("shelf.Book");
  EXPECT_THAT(lossesOf(versions, model),
              ElementsAre("shelf.Book: 1 element left out, shelf.Book is abstract (/book)"));
}

TEST(CarryPlaces, WhatIsContainedInWhatIsLeftOutHasALineOfItsOwn) {
  const Versions versions(
      [](auto& package) {
        package.classType("Box").property("inside", "Thing").composite();
        package.classType("Thing");
      },
      [](auto& package) {
        package.classType("Box");
        package.classType("Thing");
      });
  Model model(versions.before);
  model.createRoot("shelf.Box").create("inside");
  EXPECT_THAT(lossesOf(versions, model),
              ElementsAre("shelf.Box.inside: 1 element left out, shelf.Box has no property \"inside\" (/box)",
                          "shelf.Thing: 1 element left out with what contains them (/box/inside)"));
  EXPECT_EQ(versions.carry(model, allowing()).model.size(), 1u);
}

TEST(CarryPlaces, AnElementThatDoesNotFitItsPropertyAnyMoreIsLeftOut) {
  const Versions versions(defineShelves, [](auto& package) {
    package.datatype("Size").property("width", "Integer");
    auto& book = package.classType("Book");
    book.property("title", "String");
    book.property("size", "Size");
    book.property("next", "Book").opposite("before");
    book.property("before", "Book").opposite("next");
    package.classType("Atlas").property("maps", "Integer");
    auto& shelf = package.classType("Shelf");
    shelf.property("books", "Book").many().composite();
    shelf.property("best", "Book").many();
  });
  const Model model = makeShelves(versions.before);
  EXPECT_THAT(
      lossesOf(versions, model),
      testing::Contains("shelf.Shelf.books: 1 element left out, shelf.Atlas is no shelf.Book (/shelf[0])"));
  EXPECT_EQ(versions.carry(model, allowing()).model.size(), 3u);
}

TEST(CarryPlaces, ChildrenThatAreReferredToNowBecomeRootsWhereThatIsAllowed) {
  const auto define = [](bool composite) {
    return [=](meta::MetaModelBuilder& package) {
      package.classType("Book").property("title", "String");
      auto& books = package.classType("Shelf").property("books", "Book").many();
      if (composite) books.composite();
    };
  };
  const Versions versions(define(true), define(false));
  Model model(versions.before);
  Element shelf = model.createRoot("shelf.Shelf");
  for (const char* title : {"a", "b"}) shelf.create("books").set("title", title);
  model.createRoot("shelf.Shelf");
  EXPECT_THAT(lossesOf(versions, model),
              ElementsAre("shelf.Shelf.books: 2 elements turned into references and became roots, "
                          "shelf.Shelf.books contains nothing (/shelf[0])"));
  const CarryOverResult result = versions.carry(model, allowing());
  const auto roots = rootsOf(result);
  ASSERT_EQ(roots.size(), 4u);
  EXPECT_EQ(roots[2].getText("title"), "a");
  EXPECT_EQ(roots[0].getReference("books", 0), roots[2]);
  EXPECT_EQ(roots[0].getReference("books", 1), roots[3]);
}

TEST(CarryPlaces, OfChildrenForWhichOneReferenceIsThereTheFirstBecomesARoot) {
  const Versions versions(
      [](auto& package) {
        package.classType("Book").property("title", "String");
        package.classType("Shelf").property("books", "Book").many().composite();
      },
      [](auto& package) {
        package.classType("Book").property("title", "String");
        package.classType("Shelf").property("books", "Book");
      });
  Model model(versions.before);
  Element shelf = model.createRoot("shelf.Shelf");
  for (const char* title : {"a", "b"}) shelf.create("books").set("title", title);
  const CarryOverResult result = versions.carry(model, allowing());
  ASSERT_EQ(rootsOf(result).size(), 2u);
  EXPECT_EQ(rootsOf(result)[0].getReference("books").getText("title"), "a");
  EXPECT_THAT(sentencesOf(result.report.losses),
              testing::Contains("shelf.Book: 1 element left out with what contains them (/shelf/books[1])"));
}

TEST(CarryPlaces, WhatIsReferredToBecomesAChildWhereItHasNoOtherPlace) {
  const Versions versions(
      [](auto& package) {
        package.classType("Book").property("title", "String");
        package.classType("Store").property("books", "Book").many().composite();
        package.classType("Shelf").property("shown", "Book").many();
      },
      [](auto& package) {
        package.classType("Book").property("title", "String");
        package.classType("Shelf").property("shown", "Book").many().composite();
      });
  Model model(versions.before);
  Element store = model.createRoot("shelf.Store"), one = model.createRoot("shelf.Shelf"),
          two = model.createRoot("shelf.Shelf"), free = model.createRoot("shelf.Book");
  Element a = store.create("books"), b = store.create("books");
  a.set("title", "a");
  b.set("title", "b");
  one.addReference("shown", b);
  one.addReference("shown", free);
  two.addReference("shown", b);
  two.addReference("shown", a);
  const CarryOverResult result = versions.carry(model, allowing({.drop = {"shelf.Store"}}));
  const auto roots = rootsOf(result);
  ASSERT_EQ(roots.size(), 3u);  // the store is gone; the free book stays where it is
  ASSERT_EQ(roots[0].size("shown"), 1u);
  EXPECT_EQ(roots[0].getElement("shown", 0).getText("title"), "b");
  ASSERT_EQ(roots[1].size("shown"), 1u);
  EXPECT_EQ(roots[1].getElement("shown", 0).getText("title"), "a");
  EXPECT_THAT(
      sentencesOf(result.report.losses),
      ElementsAre("shelf.Store: 1 element left out, as the map says (/store[0])",
                  "shelf.Shelf.shown: 2 references left out, shelf.Shelf.shown contains elements, and "
                  "these have their places elsewhere (/shelf[1], /shelf[2])",
                  "shelf.Shelf.shown: 2 references turned into containment, in shelf.Shelf.shown "
                  "(/shelf[1], /shelf[2])"));
}

TEST(CarryPlaces, AnUnresolvedReferenceFollowsTheNameOfItsType) {
  const Versions versions(
      [](auto& package) { package.classType("Book").property("next", "Book").many(); },
      [](auto& package) { package.classType("Volume").property("next", "Volume").many(); });
  Model model(versions.before);
  Element book = model.createRoot("shelf.Book");
  book.putUnresolved("next", {"shelf.Book", "isbn", "1", std::nullopt});
  book.putUnresolved("next", {"elsewhere.Thing", "isbn", "2", "there.krb"});
  const CarryOverResult result = versions.carry(model, withMap({.rename = {{"shelf.Book", "shelf.Volume"}}}));
  const ConstElement volume = rootsOf(result)[0];
  EXPECT_EQ(volume.getUnresolved("next", 0),
            (UnresolvedReference{"shelf.Volume", "isbn", "1", std::nullopt}));
  EXPECT_EQ(volume.getUnresolved("next", 1),
            (UnresolvedReference{"elsewhere.Thing", "isbn", "2", "there.krb"}));
}

TEST(CarryPlaces, BothSidesOfAnOppositeStayAsTheyStand) {
  const Versions versions(defineShelves, defineShelves);
  Model model(versions.before);
  Element a = model.createRoot("shelf.Book"), b = model.createRoot("shelf.Book");
  a.putReference("next", b);  // one side only
  const CarryOverResult result = versions.carry(model);
  EXPECT_EQ(findDifference(model, result.model), std::nullopt);
  EXPECT_FALSE(rootsOf(result)[1].isSet("before"));
}

TEST(CarryPlaces, ADatatypeThatIsGoneIsLeftOutOnce) {
  const Versions versions(defineShelves, [](auto& package) {
    auto& book = package.classType("Book");
    book.property("title", "String");
    book.property("next", "Book").opposite("before");
    book.property("before", "Book").opposite("next");
    package.classType("Atlas").supertype("Book").property("maps", "Integer");
    auto& shelf = package.classType("Shelf");
    shelf.property("books", "Book").many().composite();
    shelf.property("best", "Book").many();
  });
  const Model model = makeShelves(versions.before);
  EXPECT_THAT(lossesOf(versions, model),
              ElementsAre("shelf.Book.size: 1 value left out, shelf.Book has no property \"size\" "
                          "(/shelf[0]/books[0])"));
}

TEST(CarryPlaces, AHundredThousandLevelsAreNoDeeperThanOne) {
  const auto define = [](meta::MetaModelBuilder& package) {
    auto& node = package.classType("Node");
    node.property("child", "Node").composite();
    node.property("name", "String");
  };
  const auto without = [](meta::MetaModelBuilder& package) { package.classType("Node"); };
  const Versions versions(define, define), losing(define, without);
  for (const Versions* const v : {&versions, &losing}) {
    Model model(v->before);
    Element node = model.createRoot("shelf.Node");
    for (int i = 0; i < 100'000; ++i) (node = node.create("child")).set("name", "n");
    const CarryOverResult result = v->carry(model, allowing());
    EXPECT_EQ(result.model.size(), v == &versions ? 100'001u : 1u);
    EXPECT_EQ(result.report.elements, 100'001u);
  }
}

TEST(CarryPlaces, ManyClassesThatInheritManyPropertiesCostWhatIsUsed) {
  const auto define = [](meta::MetaModelBuilder& package) {
    auto& base = package.classType("Base").abstractType();
    for (int i = 0; i < 10'000; ++i) base.property("p" + std::to_string(i), "Integer");
    for (int i = 0; i < 3'000; ++i) package.classType("C" + std::to_string(i)).supertype("Base");
  };
  // A step for each property of each class would take gigabytes.
  const Versions versions(define, [](auto& package) {
    package.classType("C0").property("p7", "Integer");
    package.classType("C1");
  });
  Model model(versions.before);
  for (int i = 0; i < 3'000; ++i) model.createRoot("shelf.C" + std::to_string(i)).set("p7", i);
  const CarryOverResult result = versions.carry(model, allowing());
  EXPECT_EQ(result.model.size(), 2u);
  EXPECT_EQ(rootsOf(result)[0].get<int>("p7"), 0);
  EXPECT_EQ(result.report.losses.size(), 2'998u + 1u);
}

TEST(CarryPlaces, ARemovedElementIsNotCarried) {
  const Versions versions(defineShelves, defineShelves);
  Model model = makeShelves(versions.before);
  model.remove(model.roots()[0].getElement("books", 0));
  const CarryOverResult result = versions.carry(model);
  EXPECT_EQ(result.model.size(), 3u);
  EXPECT_EQ(findDifference(model, result.model), std::nullopt);
}

TEST(CarryPlaces, WhoIsToldOfProgressCanEndIt) {
  const auto define = [](meta::MetaModelBuilder& package) { package.classType("Node"); };
  const Versions versions(define, define);
  Model model(versions.before);
  for (int i = 0; i < 10'000; ++i) model.createRoot("shelf.Node");
  std::uint64_t told = 0;
  CarryOverOptions options;
  options.progress = [&](std::uint64_t elements) { return told = elements, true; };
  static_cast<void>(versions.carry(model, options));
  EXPECT_EQ(told, 8192u);
  options.progress = [](std::uint64_t) { return false; };
  EXPECT_EQ(refusalOf([&] { static_cast<void>(versions.carry(model, options)); }),
            "cancelled: carrying over was cancelled");
}

}  // namespace kr::zero::test
