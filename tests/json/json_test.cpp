// What a JSON document of a model looks like, and what readers refuse.
#include "kr/zero/json/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <limits>
#include <sstream>

#include "support/SmallStack.h"

namespace kr::zero::json {
namespace {

using meta::MetaModelBuilder;
using meta::MetaRegistry;
using testing::ElementsAre;
using testing::HasSubstr;

const MetaRegistry& registry() {
  static const MetaRegistry& instance = [] {
    auto& made = *new MetaRegistry;
    MetaModelBuilder package("urn:shop", "shop");
    package.enumeration("Size").literal("small", 1).literal("large", 2);
    package.datatype("Price").property("cents", "Integer64");
    auto& item = package.classType("Item");
    item.property("name", "String");
    item.property("count", "Integer");
    item.property("weight", "Real");
    item.property("big", "UInteger64");
    item.property("isNew", "Boolean");
    item.property("size", "Size");
    item.property("price", "Price");
    item.property("tags", "String").many();
    item.property("parts", "Item").many().composite();
    item.property("a/b~c", "Item").composite();
    item.property("$like", "Item").many();
    package.registerIn(made);
    return std::ref(made);
  }();
  return instance;
}

std::string head(const std::string& roots) {
  return "{\"kr0\":1,\"packages\":[\"urn:shop\"],\"roots\":[" + roots + "]}";
}

Model read(const std::string& roots) {
  return readJson(head(roots), {.registry = &registry(), .name = "shop.json"});
}

std::string refusalOf(const std::string& json, io::LoadOptions options = {}) {
  options.registry = &registry();
  options.name = "shop.json";
  try {
    readJson(json, options);
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing was refused";
}

std::string refusalOfRoots(const std::string& roots) { return refusalOf(head(roots)); }

TEST(WriteJson, ShowsEverySortOfValue) {
  Model model(registry());
  Element item = model.createRoot("shop.Item");
  item.setIdentity("id", "1");
  item.set("name", "say \"hi\"\n\x01\\");
  item.set("count", -3);
  item.set("weight", 2.5);
  item.set("big", std::numeric_limits<std::uint64_t>::max());
  item.set("isNew", true);
  item.setTextForm("size", "large");
  item.create("price").set("cents", 199);
  item.setEmpty("tags");
  Element part = item.create("parts");
  part.set("name", "part");
  Element odd = part.create("a/b~c");
  odd.putReference("$like", part);
  odd.putReference("$like", odd);
  odd.putUnresolved("$like", {"shop.Item", "x", "y", "there.krb"});
  EXPECT_EQ(
      writeJson(model),
      "{\"kr0\":1,\"packages\":[\"urn:shop\"],\"roots\":[\n"
      R"({"$type":"shop.Item","$id":["id","1"],"name":"say \"hi\"\n\u0001\\","count":-3,"weight":2.5,)"
      R"("big":"18446744073709551615","isNew":true,"size":"large","price":{"$type":"shop.Price","cents":199},)"
      "\"tags\":null,\"parts\":[\n"
      "{\"$type\":\"shop.Item\",\"name\":\"part\",\"a/b~c\":\n"
      R"({"$type":"shop.Item","$$like":[{"$ref":"#/roots/0/parts/0"},{"$ref":"#/roots/0/parts/0/a~1b~0c"},)"
      R"({"$ref":["x","y"],"$type":"shop.Item","$document":"there.krb"}]}}]})"
      "\n]}\n");
}

TEST(WriteJson, GivesTheSameBytesToAStream) {
  Model model(registry());
  model.createRoot("shop.Item").set("name", std::string(200000, 'x'));
  std::ostringstream stream;
  writeJson(model, stream);
  EXPECT_TRUE(stream.str() == writeJson(model));
}

TEST(WriteJson, WritesRealsThatReadBackToTheBit) {
  for (const double value :
       {-0.0, 0.1, 1e300, 5e-324, 9007199254740993.0, 1e19, std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN(),
        std::bit_cast<double>(0xFFF8000000000123u)}) {
    Model model(registry());
    model.createRoot("shop.Item").set("weight", value);
    const Model again = readJson(writeJson(model), {.registry = &registry()});
    EXPECT_EQ(std::bit_cast<std::uint64_t>(again.roots()[0].getReal("weight")),
              std::bit_cast<std::uint64_t>(value));
  }
}

TEST(WriteJson, SaysNothingOfChildrenThatAreGone) {
  Model model(registry());
  Element item = model.createRoot("shop.Item");
  model.remove(item.create("parts"));
  const std::string json = writeJson(model);
  EXPECT_THAT(json, HasSubstr("{\"$type\":\"shop.Item\"}"));
  EXPECT_EQ(findDifference(readJson(json, {.registry = &registry()}), model), std::nullopt);
}

TEST(WriteJson, RefusesAReferenceToWhatIsNotWritten) {
  MetaRegistry own;
  MetaModelBuilder package("urn:t", "t");
  auto& node = package.classType("Node");
  node.property("shadow", "Node").composite().isTransient();
  node.property("to", "Node");
  package.registerIn(own);
  Model model(own);
  Element root = model.createRoot("t.Node");
  root.set("to", root.create("shadow"));
  try {
    writeJson(model);
    FAIL() << "nothing was refused";
  } catch (const Error& error) {
    EXPECT_STREQ(error.what(), "/node.to: refers to /node/shadow, which is not written");
  }
}

TEST(WriteJson, TellsPlacesOfTargetsInSeveralContainers) {
  Model model(registry());
  Element item = model.createRoot("shop.Item");
  Element left = item.create("parts");
  Element right = item.create("parts");
  for (const Element target :
       {left.create("parts"), right.create("parts"), left.create("parts"), right, item})
    item.putReference("$like", target);
  EXPECT_THAT(writeJson(model), HasSubstr(R"("$$like":[{"$ref":"#/roots/0/parts/0/parts/0"},)"
                                          R"({"$ref":"#/roots/0/parts/1/parts/0"},)"
                                          R"({"$ref":"#/roots/0/parts/0/parts/1"},)"
                                          R"({"$ref":"#/roots/0/parts/1"},{"$ref":"#/roots/0"}])"));
}

TEST(WriteJson, EscapesAtEveryPlaceOfATextOfAnyLength) {
  for (std::size_t length = 1; length < 40; ++length)
    for (std::size_t at = 0; at < length; ++at)
      for (const char c : {'\0', '\x1F', '"', '\\', '\x7F'}) {
        std::string text(length, 'x');
        text[at] = c;
        Model model(registry());
        model.createRoot("shop.Item").set("name", text);
        const Model again = readJson(writeJson(model), {.registry = &registry()});
        ASSERT_EQ(again.roots()[0].getText("name"), text);
      }
}

TEST(WriteJson, EndsWhereProgressSaysSo) {
  Model model(registry());
  Element root = model.createRoot("shop.Item");
  for (int i = 0; i < 10000; ++i) root.create("parts");
  EXPECT_THROW(writeJson(model, [](std::uint64_t) { return false; }), Error);
}

TEST(ReadJson, TakesKeysInAnyOrderAndTypesThatPropertiesTell) {
  const Model model =
      read(R"({"$id":["a","b"],"$type":"shop.Item","parts":[{"name":"p"}],"price":{"cents":5},"name":"n"})");
  const ConstElement item = model.roots()[0];
  EXPECT_EQ(item.getIdentity()->second, "b");
  EXPECT_EQ(item.getElement("parts").getText("name"), "p");
  EXPECT_EQ(item.getElement("price").getInteger("cents"), 5);
}

TEST(ReadJson, TakesNumbersAsNumbersAndAsTexts) {
  const Model model = read(R"({"$type":"shop.Item","count":"7","big":12,"weight":3,"size":"small"})");
  const ConstElement item = model.roots()[0];
  EXPECT_EQ(item.getInteger("count"), 7);
  EXPECT_EQ(item.getUnsigned("big"), 12u);
  EXPECT_EQ(item.getReal("weight"), 3.0);
  EXPECT_EQ(item.getInteger("size"), 1);
}

TEST(ReadJson, TakesNullForNoChildren) {
  EXPECT_EQ(read(R"({"$type":"shop.Item","parts":null})").roots()[0].getState("parts"), PropertyState::unset);
}

TEST(ReadJson, TakesAnEmptyArrayForNothing) {
  EXPECT_EQ(read(R"({"$type":"shop.Item","tags":[]})").roots()[0].getState("tags"), PropertyState::empty);
}

TEST(ReadJson, RefusesWhatDoesNotFit) {
  EXPECT_EQ(refusalOfRoots(R"({"$type":"shop.Thing"})"),
            "shop.json: there is no type \"shop.Thing\" with properties");
  EXPECT_EQ(refusalOfRoots(R"({"name":"x"})"), "shop.json: an element begins with \"$type\"");
  EXPECT_EQ(refusalOfRoots(R"({"$type":"shop.Item","weigth":1})"),
            "shop.json, /item: type shop.Item has no property \"weigth\"");
  EXPECT_EQ(refusalOfRoots(R"({"$type":"shop.Item","name":"x","$type":"shop.Item"})"),
            "shop.json, /item: \"$type\" comes before all properties");
  EXPECT_EQ(refusalOfRoots(R"({"$type":"shop.Item","$kind":1})"),
            "shop.json, /item: \"$kind\" means nothing here");
  EXPECT_EQ(refusalOfRoots(R"({"$type":"shop.Item","tags":[null]})"),
            "shop.json, /item.tags: a collection has no place for null");
  EXPECT_EQ(refusalOfRoots(R"({"$type":"shop.Item","name":["x"]})"),
            "shop.json, /item.name: an array is no value of property \"name\"");
  EXPECT_EQ(refusalOfRoots(R"({"$type":"shop.Item","name":{}})"),
            "shop.json, /item.name: an object is no value of type String");
  EXPECT_EQ(refusalOfRoots(R"({"$type":"shop.Item","$id":["a"]})"),
            "shop.json, /item: an identity has two parts, not 1");
  EXPECT_EQ(refusalOfRoots(R"({"$type":"shop.Item","$$like":[{}]})"),
            "shop.json, /item.$like: a reference has a \"$ref\"");
  EXPECT_EQ(refusalOfRoots(R"({"$type":"shop.Item","$$like":[{"$ref":"#/roots/1"}]})"),
            "shop.json, /item.$like: the reference \"#/roots/1\" leads to no element");
  EXPECT_EQ(refusalOfRoots("7"), "shop.json: a number has no place here");
  EXPECT_THAT(refusalOfRoots(R"({"$type":"shop.Item","count":1.5})"), HasSubstr("shop.json, /item.count: "));
  EXPECT_THAT(refusalOfRoots(R"({"$type":"shop.Item","count":3000000000})"), HasSubstr("/item.count: "));
  EXPECT_THAT(refusalOfRoots(R"({"$type":"shop.Item","size":"huge"})"),
              HasSubstr("\"huge\" is not a shop.Size"));
}

TEST(ReadJson, RefusesWhatIsNoDocument) {
  EXPECT_EQ(refusalOf("[]"), "shop.json: it is an array");
  EXPECT_EQ(refusalOf("\"kr0\""), "shop.json: it is a text");
  EXPECT_EQ(refusalOf("3"), "shop.json: it is a number");
  EXPECT_EQ(refusalOf("{}"), "shop.json: it has no \"kr0\", the version of the format");
  EXPECT_EQ(refusalOf(R"({"kr0":2})"), "shop.json: it has the version 2, and only 1 is known here");
  EXPECT_EQ(refusalOf(R"({"kr0":1,"packages":["urn:mall"]})"),
            "shop.json: the package \"urn:mall\" is not known; give its meta model");
  EXPECT_EQ(refusalOf(R"({"kr0":1,"models":[]})"), "shop.json: \"models\" means nothing here");
  EXPECT_THAT(refusalOf(R"({"kr0":1,)"), HasSubstr("shop.json, byte 10: it is not well-formed JSON: "));
  EXPECT_THAT(refusalOf(""), HasSubstr("it is not well-formed JSON"));
  EXPECT_THAT(refusalOf("{\"kr0\":1,\"roots\":[{\"\xFF\":1}]}"), HasSubstr("it is not well-formed JSON"));
}

TEST(ReadJson, LeavesOutWhatIsNotKnownWhereThatIsAllowed) {
  std::vector<std::string> skipped;
  io::LoadOptions options{.registry = &registry(),
                          .skipped = [&](const std::string& what) { skipped.push_back(what); }};
  const Model model = readJson(
      head(R"({"$type":"shop.Item","old":{"a":[1,{"b":null}],"c":"d"},"older":[],"oldest":1,"name":"n"})"),
      options);
  EXPECT_EQ(model.roots()[0].getText("name"), "n");
  EXPECT_THAT(skipped, ElementsAre("/item: type shop.Item has no property \"old\"",
                                   "/item: type shop.Item has no property \"older\"",
                                   "/item: type shop.Item has no property \"oldest\""));
}

TEST(ReadJson, HoldsLimits) {
  const std::string json = head(R"({"$type":"shop.Item","parts":[{"parts":[{}]}]})");
  EXPECT_THAT(refusalOf(json, {.limits = {.bytes = 20}}), HasSubstr("more than 20 bytes"));
  EXPECT_THAT(refusalOf(json, {.limits = {.elements = 2}}), HasSubstr("more than 2 elements"));
  EXPECT_THAT(refusalOf(json, {.limits = {.depth = 2}}), HasSubstr("elements lie deeper than 2"));
  std::istringstream stream(json);
  io::LoadOptions options{.registry = &registry(), .limits = {.bytes = 20}};
  EXPECT_THROW(readJson(stream, options), Error);
}

TEST(ReadJson, TakesADeepDocumentOnASmallStack) {
  constexpr int kDepth = 100000;
  std::string roots;
  for (int i = 0; i < kDepth; ++i) roots += R"({"$type":"shop.Item","parts":[)";
  for (int i = 0; i < kDepth; ++i) roots += "]}";
  test::onSmallStack([&] {
    const Model model = read(roots);
    EXPECT_EQ(model.size(), std::size_t{kDepth});
    EXPECT_EQ(readJson(writeJson(model), {.registry = &registry()}).size(), std::size_t{kDepth});
  });
}

TEST(ReadJson, EndsWellWhateverByteIsAnother) {
  Model model(registry());
  Element item = model.createRoot("shop.Item");
  item.set("name", "n");
  item.create("parts").putReference("$like", item);
  const std::string json = writeJson(model);
  std::size_t read = 0;
  std::size_t refused = 0;
  for (std::size_t i = 0; i < json.size(); ++i)
    for (int byte = 0; byte < 256; ++byte) {
      std::string mutant = json;
      mutant[i] = static_cast<char>(byte);
      try {
        readJson(mutant, {.registry = &registry()});
        ++read;
      } catch (const Error&) {
        ++refused;
      }
    }
  EXPECT_GT(read, 0u);
  EXPECT_GT(refused, read);
}

TEST(JsonOfSharedPackageNames, MeansTheTypesOfThePackagesThatItLists) {
  MetaRegistry own;
  for (const std::string name : {"first", "second"}) {
    MetaModelBuilder package("urn:" + name, "p");
    package.classType("C").property(name, "String");
    package.registerIn(own);
  }
  const auto classOf = [&](const ustring& uri) {
    return meta::Class(own.findType(u"p.C", std::vector<ustring>{uri}));
  };
  Model model(own);
  model.createRoot(classOf(u"urn:second")).set("second", "value");
  EXPECT_EQ(readJson(writeJson(model), {.registry = &own}).roots()[0].getText("second"), "value");
  model.createRoot(classOf(u"urn:first"));
  try {
    writeJson(model);
    FAIL() << "nothing was refused";
  } catch (const Error& error) {
    EXPECT_STREQ(error.what(),
                 "the packages \"urn:second\" and \"urn:first\" are both named p; a document tells types by "
                 "name and cannot hold both");
  }
}

TEST(LooksLikeJson, TellsItByTheFirstCharacters) {
  EXPECT_TRUE(looksLikeJson(" {\n \"kr0\": 1"));
  EXPECT_FALSE(looksLikeJson("<?xml"));
  EXPECT_FALSE(looksLikeJson("{"));
  EXPECT_FALSE(looksLikeJson(""));
}

/// Takes everything and keeps nothing.
struct Nowhere : std::streambuf {
  std::streamsize xsputn(const char*, std::streamsize size) override { return size; }
  int overflow(int c) override { return c; }
};

TEST(Json, PathsThatWouldBeMostOfTheDocumentAreRefused) {
  Model model(registry());
  const Element root = model.createRoot("shop.Item");
  Element deep = root;
  for (int i = 0; i < 20000; ++i) deep = deep.create("parts");
  Nowhere nowhere;
  std::ostream stream(&nowhere);
  Element holder = root;
  for (int i = 0; i < 400; ++i) holder.putReference("$like", deep);
  writeJson(model, stream);
  for (int i = 0; i < 200; ++i) holder.putReference("$like", deep);
  try {
    writeJson(model, stream);
    ADD_FAILURE() << "nothing was refused";
  } catch (const Error& error) {
    EXPECT_THAT(error.what(),
                HasSubstr("/item.$like: references lead to elements so deep that the paths to them"));
    EXPECT_EQ(error.getCode(), ErrorCode::inexpressible);
  }
}

}  // namespace
}  // namespace kr::zero::json
