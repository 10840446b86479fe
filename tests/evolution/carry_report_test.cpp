// The report on a model that was carried over.
#include <gtest/gtest.h>

#include "evolution/CarryTesting.h"

namespace kr::zero::test {

namespace {

const Versions& versions() {
  static const Versions& instance = *new Versions(
      [](auto& package) {
        auto& book = package.classType("Book");
        book.property("title", "String");
        book.property("pages", "Integer");
        book.property("weight", "Real");
        book.property("notes", "String").many();
        package.classType("Pamphlet").property("title", "String");
        package.classType("Unused").property("nothing", "String");
      },
      [](auto& package) {
        auto& book = package.classType("Book");
        book.property("title", "String");
        book.property("sheets", "Integer64");
        book.property("notes", "String");
        package.classType("Unused").property("nothing", "String").many();
      });
  return instance;
}

Model makeBooks() {
  Model model(versions().before);
  Element book = model.createRoot("shelf.Book");
  book.set("title", "a");
  book.set("pages", 1);
  book.set("weight", 0.5);
  book.add("notes", "x");
  book.add("notes", "y");
  model.createRoot("shelf.Pamphlet").set("title", "p");
  return model;
}

ChangeMap renamed() { return {.rename = {{"shelf.Book.pages", "sheets"}}, .drop = {"shelf.Pamphlet"}}; }

}  // namespace

TEST(CarryReport, HasALineForEveryClassAndPropertyAndEveryLoss) {
  const CarryOverResult result = versions().carry(makeBooks(), allowing(renamed()));
  EXPECT_EQ(toText(result.report),
            "carried over: 1 of 2 elements\n"
            "shelf.Book: kept: 1 element\n"
            "  title: kept: 1 value\n"
            "  pages: converted to shelf.Book.sheets, Integer to Integer64: 1 value\n"
            "  weight: left out, shelf.Book has no property \"weight\": 0 of 1 value\n"
            "  notes: converted to shelf.Book.notes, many values to one: 1 of 2 values\n"
            "shelf.Pamphlet: left out, as the map says: 0 of 1 element\n"
            "  title: left out, with what has it: 0 of 1 value\n"
            "shelf.Unused: kept\n"
            "  nothing: converted to shelf.Unused.nothing, one value to many\n"
            "loss: shelf.Book.weight: 1 value left out, shelf.Book has no property \"weight\" (/book[0])\n"
            "loss: shelf.Book.notes: 1 value left out, shelf.Book.notes has room for one (/book[0])\n"
            "asked for: shelf.Pamphlet: 1 element left out, as the map says (/pamphlet[1])\n");
}

TEST(CarryReport, SaysTheSameAsJson) {
  const Versions small([](auto& package) { package.classType("Book").property("pages", "Integer"); },
                       [](auto& package) { package.classType("Book"); });
  Model model(small.before);
  model.createRoot("shelf.Book").set("pages", 5);
  EXPECT_EQ(toJson(small.carry(model, allowing()).report), R"({
 "kr0": 1,
 "elements": 1,
 "carried": 1,
 "types": [
  {
   "from": "shelf.Book",
   "to": "shelf.Book",
   "fate": "kept",
   "detail": "",
   "elements": 1,
   "carried": 1,
   "properties": [
    {
     "from": "pages",
     "to": "",
     "fate": "left out",
     "detail": "shelf.Book has no property \"pages\"",
     "values": 1,
     "carried": 0
    }
   ]
  }
 ],
 "losses": [
  {
   "subject": "shelf.Book.pages",
   "count": 1,
   "unit": "value",
   "what": "left out, shelf.Book has no property \"pages\"",
   "asked": false,
   "paths": [
    "/book"
   ]
  }
 ],
 "notices": []
}
)");
}

TEST(CarryReport, IsToBeHadFromTheRefusalToo) {
  try {
    static_cast<void>(versions().carry(makeBooks(), withMap(renamed())));
    FAIL() << "nothing was refused";
  } catch (const evolution::CarryOverRefused& refused) {
    EXPECT_EQ(refused.getCode(), ErrorCode::doesNotFit);
    EXPECT_EQ(toText(refused.getReport()), toText(versions().carry(makeBooks(), allowing(renamed())).report));
    EXPECT_STREQ(
        refused.what(),
        "shelf.Book.weight: 1 value left out, shelf.Book has no property \"weight\" (/book[0]) (and 1 more)");
    EXPECT_EQ(refused.getDetails().problems.size(), 2u);
  }
}

TEST(CarryReport, AClassThatInheritsAPropertyToAnotherPlaceMakesARowOfItsOwn) {
  const Versions split(
      [](auto& package) {
        package.classType("Item").property("code", "Integer");
        package.classType("Book").supertype("Item");
      },
      [](auto& package) {
        package.classType("Item");
        package.classType("Book").supertype("Item").property("code", "Integer");
      });
  Model model(split.before);
  model.createRoot("shelf.Item").set("code", 1);
  model.createRoot("shelf.Book").set("code", 2);
  EXPECT_EQ(toText(split.carry(model, allowing()).report),
            "carried over: 2 of 2 elements\n"
            "shelf.Item: kept: 1 element\n"
            "  code: left out, shelf.Item has no property \"code\": 0 of 1 value\n"
            "  code: kept: 1 value\n"
            "shelf.Book: kept: 1 element\n"
            "loss: shelf.Item.code: 1 value left out, shelf.Item has no property \"code\" (/item[0])\n");
}

TEST(CarryReport, CountsEveryValueOfWhatIsLeftOut) {
  const Versions nested(
      [](auto& package) {
        auto& box = package.classType("Box");
        box.property("inside", "Box").many().composite();
        box.property("tags", "String").many();
      },
      [](auto& package) { package.classType("Other"); });
  Model model(nested.before);
  Element box = model.createRoot("shelf.Box");
  box.create("inside").add("tags", "a");
  box.create("inside").setEmpty("tags");
  const auto report = nested.carry(model, allowing()).report;
  ASSERT_EQ(report.types.size(), 1u);
  EXPECT_EQ(report.types[0].elements, 3u);
  EXPECT_EQ(report.types[0].carried, 0u);
  EXPECT_EQ(report.types[0].properties[0].values, 2u);
  EXPECT_EQ(report.types[0].properties[1].values, 2u);
  EXPECT_EQ(report.types[0].properties[1].carried, 0u);
}

}  // namespace kr::zero::test
