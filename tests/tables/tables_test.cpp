// Which tables models become, and what queries to them answer.
#include "kr/zero/tables/Tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>

#include "kr/zero/tables/Database.h"
#include "support/Environment.h"
#include "support/Paths.h"
#include "support/RandomModel.h"
#include "support/Refusal.h"

namespace kr::zero::tables {
namespace {

namespace fs = std::filesystem;
using meta::MetaModelBuilder;
using meta::MetaRegistry;
using testing::ElementsAre;
using testing::HasSubstr;
using Lines = std::vector<std::string>;

const MetaRegistry& registry() {
  static const MetaRegistry& instance = [] {
    auto& made = *new MetaRegistry;
    MetaModelBuilder package("urn:shop", "shop");
    package.enumeration("Size").literal("small", 1).literal("large", 2);
    package.datatype("Price").property("cents", "Integer64");
    auto& named = package.classType("Named").abstractType();
    named.property("name", "String");
    named.property("tags", "String").many();
    auto& item = package.classType("Item").supertype("Named");
    item.property("count", "Integer");
    item.property("weight", "Real");
    item.property("big", "UInteger64");
    item.property("isNew", "Boolean");
    item.property("size", "Size");
    item.property("since", "DateTime");
    item.property("key", "UUID");
    item.property("price", "Price");
    item.property("parts", "Item").many().composite();
    item.property("like", "Item");
    item.property("uses", "Item").many();
    package.classType("Shop").supertype("Named").property("items", "Item").many().composite();
    package.registerIn(made);
    return std::ref(made);
  }();
  return instance;
}

/// Rows as lines of CSV, the names of the columns first.
class AsCsv final : public RowTaker {
 public:
  void columns(std::span<const std::string> names) override {
    for (const std::string& name : names) lines.push_back((lines.empty() ? "" : lines.back() + ",") + name);
    lines = {lines.back()};
  }
  void row(std::span<const Field> fields) override {
    std::string line;
    for (const Field& field : fields) {
      if (&field != fields.data()) line += ',';
      appendCsv(line, field);
    }
    lines.push_back(line);
  }
  Lines lines;
};

Lines ask(const Database& database, const std::string& sql) {
  AsCsv answer;
  database.query(sql, answer);
  return answer.lines;
}

Lines ask(const Model& model, const std::string& sql) {
  Database database;
  database.add(model);
  return ask(database, sql);
}

/// A shop with an item that has everything, and one that has nothing.
Model makeShop() {
  Model model(registry());
  Element shop = model.createRoot("shop.Shop");
  shop.set("name", "Corner");
  shop.add("tags", "old");
  shop.add("tags", "cosy");
  Element item = shop.create("items");
  item.setIdentity("sku", "17");
  item.set("name", "Lamp, \"bright\"");
  item.set("count", -3);
  item.set("weight", 2.5);
  item.set("big", std::numeric_limits<std::uint64_t>::max());
  item.set("isNew", true);
  item.setTextForm("size", "large");
  item.set("since", "2001-02-03T04:05:06Z");
  item.setTextForm("key", "00112233-4455-6677-8899-aabbccddeeff");
  item.create("price").set("cents", 199);
  Element part = item.create("parts");
  item.set("like", part);
  item.putReference("uses", part);
  item.putUnresolved("uses", {"shop.Item", "x", "y", "there.krb"});
  item.putReference("uses", item);
  return model;
}

TEST(TablesOfAModel, AreOneForEachConcreteClassCollectionAndAllReferences) {
  Database database;
  database.add(makeShop());
  EXPECT_EQ(
      database.schema(),
      R"(CREATE TABLE "elements" ("_id" INTEGER PRIMARY KEY, "_class" TEXT, "_container" INTEGER REFERENCES "elements", "_property" TEXT, "_position" INTEGER, "_id1" TEXT, "_id2" TEXT);
CREATE TABLE "refs" ("_id" INTEGER REFERENCES "elements", "_property" TEXT, "_position" INTEGER, "_target" INTEGER REFERENCES "elements", "_class" TEXT, "_id1" TEXT, "_id2" TEXT, "_qualifier" TEXT);
CREATE TABLE "Price" ("_id" INTEGER PRIMARY KEY REFERENCES "elements", "_container" INTEGER REFERENCES "elements", "_property" TEXT, "_position" INTEGER, "cents" INTEGER);
CREATE TABLE "Item" ("_id" INTEGER PRIMARY KEY REFERENCES "elements", "_container" INTEGER REFERENCES "elements", "_property" TEXT, "_position" INTEGER, "name" TEXT, "count" INTEGER, "weight" REAL, "big", "isNew" INTEGER, "size" TEXT, "since" TEXT, "key" TEXT, "like" INTEGER REFERENCES "elements");
CREATE TABLE "Shop" ("_id" INTEGER PRIMARY KEY REFERENCES "elements", "_container" INTEGER REFERENCES "elements", "_property" TEXT, "_position" INTEGER, "name" TEXT);
CREATE TABLE "Named_tags" ("_id" INTEGER REFERENCES "elements", "_position" INTEGER, "_value" TEXT, PRIMARY KEY ("_id", "_position")) WITHOUT ROWID;
)");
}

TEST(TablesOfAModel, HoldEveryElementWithItsPlaceAndIdentity) {
  EXPECT_THAT(
      ask(makeShop(), "SELECT * FROM elements ORDER BY _id"),
      ElementsAre("_id,_class,_container,_property,_position,_id1,_id2", "1,shop.Shop,,,0,,",
                  "2,shop.Item,1,items,0,sku,17", "3,shop.Item,2,parts,0,,", "4,shop.Price,2,price,0,,"));
}

TEST(TablesOfAModel, HoldSingleValuesAsColumnsOfTheirType) {
  EXPECT_THAT(
      ask(makeShop(), "SELECT * FROM Item"),
      ElementsAre("_id,_container,_property,_position,name,count,weight,big,isNew,size,since,key,like",
                  "2,1,items,0,\"Lamp, \"\"bright\"\"\",-3,2.5,18446744073709551615,1,large,"
                  "2001-02-03T04:05:06Z,00112233-4455-6677-8899-aabbccddeeff,3",
                  "3,2,parts,0,,,,,,,,,"));
  EXPECT_THAT(ask(makeShop(),
                  "SELECT typeof(count), typeof(weight), typeof(big), typeof(isNew), typeof(name) "
                  "FROM Item WHERE _id = 2"),
              ElementsAre(testing::_, "integer,real,text,integer,text"));
}

TEST(TablesOfAModel, HoldCollectionsAndValuesOfDatatypesAsRows) {
  EXPECT_THAT(ask(makeShop(), "SELECT * FROM Named_tags"),
              ElementsAre("_id,_position,_value", "1,0,old", "1,1,cosy"));
  EXPECT_THAT(ask(makeShop(), "SELECT * FROM Price"),
              ElementsAre("_id,_container,_property,_position,cents", "4,2,price,0,199"));
}

TEST(TablesOfAModel, HoldEveryReferenceResolvedOrNot) {
  EXPECT_THAT(
      ask(makeShop(), "SELECT * FROM refs ORDER BY _property, _position"),
      ElementsAre("_id,_property,_position,_target,_class,_id1,_id2,_qualifier", "2,like,0,3,shop.Item,,,",
                  "2,uses,0,3,shop.Item,,,", "2,uses,1,,shop.Item,x,y,there.krb", "2,uses,2,2,shop.Item,,,"));
}

TEST(TablesOfAModel, KeepTextsThatHoldAnyCharacter) {
  Model model(registry());
  const std::string text("a\0b'\"\n\xC3\xA4", 8);
  model.createRoot("shop.Shop").set("name", text);
  model.createRoot("shop.Shop").set("name", "");
  Database database;
  database.add(model);
  EXPECT_THAT(ask(database, "SELECT length(CAST(name AS BLOB)), hex(name), name IS NULL FROM Shop"),
              ElementsAre(testing::_, "8,61006227220AC3A4,0", "0,\"\",0"));
}

TEST(TablesOfAModel, HoldNumbersThatSqlHasNot) {
  Model model(registry());
  for (const double weight :
       {std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity()}) {
    Element item = model.createRoot("shop.Item");
    item.set("weight", weight);
    item.set("big", std::uint64_t{1} << 63);
  }
  EXPECT_THAT(ask(model, "SELECT weight, typeof(weight), big, typeof(big) FROM Item"),
              ElementsAre(testing::_, "NaN,text,9223372036854775808,text",
                          "-Infinity,real,9223372036854775808,text"));
}

/// Names of the tables that a query sees, in order.
Lines tableNames(const Database& database) {
  Lines names = ask(database, "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name");
  names.erase(names.begin());
  return names;
}

TEST(NamesOfTables, HaveThePackageInFrontWhereTwoClassesShareOne) {
  MetaRegistry own;
  for (const std::string name : {"one", "two"}) {
    MetaModelBuilder package("urn:" + name, name);
    package.classType("Thing").property("tags", "String").many();
    package.classType("Only_" + name);
    package.registerIn(own);
  }
  Model model(own);
  model.createRoot("one.Thing").add("tags", "a");
  model.createRoot("two.Thing").add("tags", "b");
  Database database;
  database.add(model);
  EXPECT_THAT(tableNames(database), ElementsAre("Only_one", "Only_two", "Thing_tags", "elements", "one_Thing",
                                                "refs", "two_Thing", "two_Thing_tags"));
  EXPECT_THAT(ask(database, "SELECT _value FROM Thing_tags UNION ALL SELECT _value FROM two_Thing_tags"),
              ElementsAre("_value", "a", "b"));
}

TEST(NamesOfTables, AreToldApartWhereOnlyCaseDoes) {
  MetaRegistry own;
  MetaModelBuilder package("urn:one", "one");
  auto& order = package.classType("Order");
  for (const char* name : {"_id", "Group", "group", "GROUP_2"}) order.property(name, "String");
  package.classType("order").property("a/b", "String").many();
  package.classType("Refs");
  package.classType("sqlite_x");
  package.registerIn(own);
  Model model(own);
  Element element = model.createRoot("one.Order");
  for (const char* name : {"_id", "Group", "group", "GROUP_2"}) element.set(name, name);
  model.createRoot("one.order").add("a/b", "c");
  Database database;
  database.add(model);
  EXPECT_THAT(tableNames(database), ElementsAre("_sqlite_x", "elements", "one_Order", "one_Refs",
                                                "one_order_2", "order_a_b", "refs"));
  EXPECT_THAT(ask(database, "SELECT * FROM one_Order"),
              ElementsAre("_id,_container,_property,_position,_id_2,Group,group_2,GROUP_2_2",
                          "1,,,0,_id,Group,group,GROUP_2"));
}

// --- Queries

TEST(Queries, JoinAndCount) {
  EXPECT_THAT(ask(makeShop(), "SELECT a.name, b._id AS liked FROM Item a JOIN Item b ON a.\"like\" = b._id"),
              ElementsAre("name,liked", "\"Lamp, \"\"bright\"\"\",3"));
  EXPECT_THAT(ask(makeShop(), "SELECT count(*) FROM refs WHERE _target IS NULL"),
              ElementsAre("count(*)", "1"));
  EXPECT_THAT(ask(Model(registry()), "SELECT count(*) FROM elements"), ElementsAre("count(*)", "0"));
}

TEST(Queries, AreRefusedInTheWordsOfSqlite) {
  Database database;
  database.add(makeShop());
  const auto refusal = [&](const std::string& sql) { return test::refusalOf([&] { ask(database, sql); }); };
  EXPECT_EQ(refusal("SELECT nme FROM Item"), "misuse: the query cannot be answered: no such column: nme");
  EXPECT_EQ(refusal("SELECT * FROM Itm"), "misuse: the query cannot be answered: no such table: Itm");
  EXPECT_EQ(refusal("SELEC 1"), "misuse: the query cannot be answered: near \"SELEC\": syntax error");
  EXPECT_EQ(refusal(" -- nothing"), "misuse: the query cannot be answered: there is no statement in it");
  EXPECT_EQ(refusal("SELECT 1; SELECT 2"),
            "misuse: the query cannot be answered: it is more than one statement");
  EXPECT_EQ(refusal("SELECT json('[')"), "misuse: the query cannot be answered: malformed JSON");
  EXPECT_THAT(ask(database, "SELECT 1 AS one; -- and that is all ;"), ElementsAre("one", "1"));
}

TEST(Queries, OnlyRead) {
  Database database;
  database.add(makeShop());
  for (const char* sql : {"DELETE FROM Item", "DROP TABLE Item", "CREATE TABLE x (y)", "ATTACH 'x.db' AS x",
                          "PRAGMA user_version = 3", "VACUUM INTO 'x.db'", "BEGIN",
                          "INSERT INTO Item (_id) VALUES (99) RETURNING _id"})
    EXPECT_EQ(
        test::refusalOf([&] { ask(database, sql); }),
        "misuse: the query cannot be answered: it is more than a SELECT, and these tables are only read")
        << sql;
  EXPECT_THAT(ask(database, "SELECT count(*) FROM Item"), ElementsAre("count(*)", "2"));
}

TEST(SeveralDocuments, AreToldApartAndShareTables) {
  Database database(Database::Documents::several);
  database.add(makeShop(), "a.krb");
  database.add(makeShop(), "b.krb");
  EXPECT_THAT(ask(database, "SELECT _document, count(*), min(_id) FROM Item GROUP BY 1"),
              ElementsAre("_document,count(*),min(_id)", "a.krb,2,2", "b.krb,2,6"));
  EXPECT_THAT(ask(database, "SELECT _document, _target FROM refs WHERE _property = 'like'"),
              ElementsAre("_document,_target", "a.krb,3", "b.krb,7"));
}

TEST(SeveralDocuments, MayHaveOtherVersionsOfTheMetaModel) {
  Database database(Database::Documents::several);
  for (const std::string type : {"String", "Integer"}) {
    MetaRegistry own;
    MetaModelBuilder package("urn:v", "v");
    auto& item = package.classType("Item");
    item.property("name", type);
    item.property("only" + type, type);
    package.classType("Of" + type);
    package.registerIn(own);
    Model model(own);
    model.createRoot("v.Item").setTextForm("name", "7");
    database.add(model, type);
  }
  EXPECT_THAT(
      ask(database, "SELECT _document, name, typeof(name), name_2, typeof(name_2), onlyInteger FROM Item"),
      ElementsAre(testing::_, "String,7,text,,null,", "Integer,,null,7,integer,"));
  EXPECT_THAT(ask(database, "SELECT (SELECT count(*) FROM OfString), (SELECT count(*) FROM OfInteger)"),
              ElementsAre(testing::_, "0,0"));
}

// --- Files

std::string folderFor(const std::string& name) {
  const std::string path = test::temporaryPath(name);
  fs::remove_all(path);
  return path;
}

std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

/// What a query to a database file answers, row by row.
Lines askFile(const std::string& path, const std::string& sql) {
  sqlite3* opened = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database(opened, sqlite3_close);
  Lines lines;
  const auto note = [](void* to, int count, char** values, char**) {
    std::string line;
    for (int i = 0; i < count; ++i)
      line += (i == 0 ? "" : ",") + std::string(values[i] == nullptr ? "" : values[i]);
    static_cast<Lines*>(to)->push_back(line);
    return 0;
  };
  EXPECT_EQ(sqlite3_exec(database.get(), sql.c_str(), note, &lines, nullptr), SQLITE_OK)
      << sqlite3_errmsg(database.get());
  return lines;
}

TEST(SqliteFiles, HoldTheTablesWithIndicesAndSoundForeignKeys) {
  const std::string path = test::temporaryPath("shop.sqlite");
  writeSqlite(makeShop(), path);
  EXPECT_THAT(askFile(path, "SELECT name, count FROM Item WHERE _id = 2"),
              ElementsAre("Lamp, \"bright\",-3"));
  EXPECT_THAT(askFile(path, "PRAGMA foreign_key_check"), ElementsAre());
  EXPECT_THAT(askFile(path, "PRAGMA integrity_check"), ElementsAre("ok"));
  EXPECT_THAT(
      askFile(path, "SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL ORDER BY 1"),
      ElementsAre("Item._container", "Item.like", "Price._container", "Shop._container",
                  "elements._container", "refs._id", "refs._target"));
}

TEST(SqliteFiles, AreReplacedAsAWholeOrNotAtAll) {
  const std::string folder = folderFor("sqlite");
  fs::create_directory(folder);
  const std::string path = folder + "/shop.sqlite";
  test::writeFile(path, "something else");
  const io::Progress never = [](std::uint64_t) { return false; };
  Model large(registry());
  for (int i = 0; i < 5000; ++i) large.createRoot("shop.Item");
  EXPECT_EQ(test::refusalOf([&] { writeSqlite(large, path, never); }),
            "cancelled: " + path + ": writing was cancelled");
  EXPECT_EQ(test::readFile(path), "something else");
  writeSqlite(large, path);
  EXPECT_THAT(askFile(path, "SELECT count(*) FROM Item"), ElementsAre("5000"));
  EXPECT_THAT(namesIn(folder), ElementsAre("shop.sqlite"));
}

TEST(SqliteFiles, GoOnlyWhereAFileCanBe) {
  EXPECT_EQ(test::refusalOf([] { writeSqlite(makeShop(), "/nowhere/at/all.sqlite"); }),
            "unwritable: /nowhere/at/all.sqlite: cannot be written, No such file or directory");
  const std::string folder = folderFor("taken.sqlite");
  fs::create_directory(folder);
  EXPECT_EQ(test::refusalOf([&] { writeSqlite(makeShop(), folder); }),
            "unwritable: " + folder + ": cannot be written, Is a directory");
}

TEST(CsvFolders, HoldAFileForEachTable) {
  const std::string folder = folderFor("shop.csv");
  writeTextTables(makeShop(), folder, TextTables::csv);
  EXPECT_THAT(namesIn(folder),
              ElementsAre("Item.csv", "Named_tags.csv", "Price.csv", "Shop.csv", "elements.csv", "refs.csv"));
  EXPECT_EQ(
      test::readFile(folder + "/Item.csv"),
      "_id,_container,_property,_position,name,count,weight,big,isNew,size,since,key,like\r\n"
      "2,1,items,0,\"Lamp, \"\"bright\"\"\",-3,2.5,18446744073709551615,true,large,2001-02-03T04:05:06Z,"
      "00112233-4455-6677-8899-aabbccddeeff,3\r\n"
      "3,2,parts,0,,,,,,,,,\r\n");
}

TEST(NdjsonFolders, HoldAnObjectForEachRow) {
  const std::string folder = folderFor("shop.ndjson");
  writeTextTables(makeShop(), folder, TextTables::ndjson);
  EXPECT_EQ(
      test::readFile(folder + "/Item.ndjson"),
      R"({"_id":2,"_container":1,"_property":"items","_position":0,"name":"Lamp, \"bright\"","count":-3,"weight":2.5,"big":"18446744073709551615","isNew":true,"size":"large","since":"2001-02-03T04:05:06Z","key":"00112233-4455-6677-8899-aabbccddeeff","like":3})"
      "\n"
      R"({"_id":3,"_container":2,"_property":"parts","_position":0})"
      "\n");
  EXPECT_EQ(test::readFile(folder + "/Named_tags.ndjson"),
            "{\"_id\":1,\"_position\":0,\"_value\":\"old\"}\n"
            "{\"_id\":1,\"_position\":1,\"_value\":\"cosy\"}\n");
}

TEST(FoldersOfTables, AreReplacedWhereTheyHoldNothingElse) {
  const std::string folder = folderFor("again.csv");
  fs::create_directory(folder);
  writeTextTables(makeShop(), folder, TextTables::csv);
  test::writeFile(folder + "/Old.csv", "x\r\n");
  writeTextTables(makeShop(), folder, TextTables::csv);
  EXPECT_THAT(namesIn(folder), testing::Not(testing::Contains("Old.csv")));
  EXPECT_EQ(test::refusalOf([&] { writeTextTables(makeShop(), folder, TextTables::ndjson); }).substr(0, 12),
            "unwritable: ");
  EXPECT_EQ(namesIn(folder).size(), 6u);
}

TEST(FoldersOfTables, AreLeftAloneWhereTheyHoldOtherThings) {
  const std::string folder = folderFor("mine.csv");
  fs::create_directory(folder);
  test::writeFile(folder + "/sales.csv", "mine\n");
  const auto refusal = [&] {
    return test::refusalOf([&] { writeTextTables(makeShop(), folder, TextTables::csv); });
  };
  EXPECT_EQ(refusal(), "unwritable: " + folder + ": holds other files, but no tables: it is not overwritten");
  test::writeFile(folder + "/thesis.doc", "mine\n");
  fs::remove(folder + "/sales.csv");
  EXPECT_EQ(refusal(), "unwritable: " + folder +
                           ": holds thesis.doc, which is no such table: the folder is not overwritten");
  EXPECT_THAT(namesIn(folder), ElementsAre("thesis.doc"));
  const std::string file = test::temporaryPath("file.csv");
  test::writeFile(file, "mine\n");
  EXPECT_EQ(test::refusalOf([&] { writeTextTables(makeShop(), file, TextTables::csv); }),
            "unwritable: " + file + ": is no folder, and tables are written into one");
}

TEST(Fields, AreSpeltInCsvAndJson) {
  const auto csv = [](const Field& field) {
    std::string out;
    appendCsv(out, field);
    return out;
  };
  const auto json = [](const Field& field) {
    std::string out;
    appendJson(out, field);
    return out;
  };
  EXPECT_EQ(csv({}), "");
  EXPECT_EQ(json({}), "null");
  EXPECT_EQ(csv(std::string_view()), "\"\"");
  EXPECT_EQ(csv(std::string_view("a\nb")), "\"a\nb\"");
  EXPECT_EQ(json(std::string_view("\"\x01\t")), R"("\"\u0001\t")");
  EXPECT_EQ(json(std::int64_t{-1} << 53), "\"-9007199254740992\"");
  EXPECT_EQ(json(std::int64_t{1} - (std::int64_t{1} << 53)), "-9007199254740991");
  EXPECT_EQ(json(0.1), "0.1");
  EXPECT_EQ(json(std::numeric_limits<double>::infinity()), "\"Infinity\"");
  EXPECT_EQ(csv(std::nan("")), "NaN");
}

// --- Any model

TEST(RandomModels, BecomeTablesThatHoldAllOfThem) {
  test::Random random(test::seedFor("tables"));
  for (int i = 0; i < 100 && !testing::Test::HasFailure(); ++i) {
    const auto own = test::makeRandomRegistry(random);
    const Model model = test::makeRandomModel(*own, random);
    const std::string path = test::temporaryPath("random.sqlite");
    writeSqlite(model, path);
    EXPECT_THAT(askFile(path, "PRAGMA foreign_key_check"), ElementsAre());
    std::size_t elements = 0;
    std::size_t references = 0;
    for (const ConstElement element : model.elements()) {
      ++elements;
      for (const meta::Property property : element.getType()->getAllProperties())
        if (property.get()->getKind() == meta::PropertyKind::association && property->isWritten())
          references += element.size(property);
    }
    if (model.size() == 0) continue;
    EXPECT_THAT(askFile(path, "SELECT count(*) FROM refs"), ElementsAre(std::to_string(references)));
    const Lines counted = askFile(path, "SELECT count(*) FROM elements");
    EXPECT_GE(std::stoul(counted.at(0)), elements) << "values of datatypes are rows, too";
  }
}

}  // namespace
}  // namespace kr::zero::tables
