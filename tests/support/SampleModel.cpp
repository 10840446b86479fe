#include "support/SampleModel.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>

namespace kr::zero::test {

namespace {

// A standard type and two of its values as text.
struct TypeSample {
  const char* type;
  const char* first;
  const char* second;
};

constexpr std::array<TypeSample, 17> typeSamples = {{
    {"Boolean", "true", "false"},
    {"Integer8", "-128", "127"},
    {"UInteger8", "255", "0"},
    {"Integer16", "-32768", "32767"},
    {"UInteger16", "65535", "0"},
    {"Integer", "-2147483648", "2147483647"},
    {"UnlimitedNatural", "4294967295", "0"},
    {"Integer64", "-9223372036854775808", "9223372036854775807"},
    {"UInteger64", "18446744073709551615", "0"},
    {"Real", "0.1", "-2.5"},
    {"String", "na\xC3\xAFve \xF0\x9F\x93\x96", ""},
    {"StdString", "plain", "two\nlines"},
    {"UUID", "00112233-4455-6677-8899-aabbccddeeff", "ffffffff-ffff-ffff-ffff-ffffffffffff"},
    {"DateTime", "2010-02-01T05:12:32.125+01:00", "2010-02-01"},
    {"JsonValue", "{\"a\":[1,2,null]}", "null"},
    {"StringToStringMap", "{\"key\":\"value\"}", "{}"},
    {"ZoArray", "[1,2,3]", "[]"},
}};

std::string named(const char* prefix, const TypeSample& sample) { return std::string(prefix) + sample.type; }

void addItemProperties(meta::TypeBuilder& item) {
  for (const TypeSample& sample : typeSamples) {
    item.property(named("one", sample), sample.type);
    item.property(named("must", sample), sample.type).required();
    item.property(named("many", sample), sample.type).many().nonUnique();
  }
  for (const char* type : {"Colour", "Isbn"}) {
    item.property(std::string("one") + type, type);
    item.property(std::string("must") + type, type).required();
    item.property(std::string("many") + type, type).many().nonUnique();
  }
  item.property("place", "Point");
  item.property("stops", "Point").many();
  item.property("area", "Area");
  item.property("child", "Item").composite();
  item.property("children", "Named").many().composite();
  item.property("friend", "Named");
  item.property("friends", "Named").many();
  item.property("partner", "Item").opposite("partnerOf");
  item.property("partnerOf", "Item").opposite("partner");
  item.property("anything", "Thing").id(16382);
  item.property("total", "Integer").derived();
  item.property("shared", "Integer").isStatic();
  item.property("scratch", "String").isTransient();
}

// --- the first root: everything is set -------------------------------------------------------------

void fillFull(Element full) {
  full.set("name", "full");
  full.add("leftMarks", 7);
  full.set("rightMark", -7);
  for (const TypeSample& sample : typeSamples) {
    full.setTextForm(named("one", sample), sample.first);
    full.setTextForm(named("must", sample), sample.second);
    full.addTextForm(named("many", sample), sample.first);
    full.addTextForm(named("many", sample), sample.second);
    full.addTextForm(named("many", sample), sample.first);
  }
  full.setTextForm("oneColour", "blue");
  full.setTextForm("mustColour", "red");
  full.addTextForm("manyColour", "green");
  full.addTextForm("manyColour", "blue");
  full.set("oneIsbn", "0-306-40615-2");
  full.set("mustIsbn", "");
  full.add("manyIsbn", "a");
  full.add("manyIsbn", "b");
}

void expectFull(ConstElement full) {
  EXPECT_EQ(full.getType()->qualifiedName(), "sample.Item");
  EXPECT_EQ(full.getIdentity(), (Identity{"shelf", "full"}));
  EXPECT_EQ(full.getText("name"), "full");
  EXPECT_EQ(full.getInteger("leftMarks"), 7);
  EXPECT_EQ(full.getInteger("rightMark"), -7);
  for (const TypeSample& sample : typeSamples) {
    SCOPED_TRACE(sample.type);
    EXPECT_EQ(full.getTextForm(named("one", sample)), sample.first);
    EXPECT_EQ(full.getTextForm(named("must", sample)), sample.second);
    ASSERT_EQ(full.size(named("many", sample)), 3u);
    EXPECT_EQ(full.getTextForm(named("many", sample), 0), sample.first);
    EXPECT_EQ(full.getTextForm(named("many", sample), 1), sample.second);
    EXPECT_EQ(full.getTextForm(named("many", sample), 2), sample.first);
  }
  EXPECT_EQ(full.getInteger("oneColour"), -3);
  EXPECT_EQ(full.getTextForm("oneColour"), "blue");
  EXPECT_EQ(full.getTextForm("mustColour"), "red");
  ASSERT_EQ(full.size("manyColour"), 2u);
  EXPECT_EQ(full.getTextForm("manyColour", 0), "green");
  EXPECT_EQ(full.getTextForm("manyColour", 1), "blue");
  EXPECT_EQ(full.getText("oneIsbn"), "0-306-40615-2");
  EXPECT_EQ(full.getState("mustIsbn"), PropertyState::value);
  EXPECT_EQ(full.getText("mustIsbn"), "");
  ASSERT_EQ(full.size("manyIsbn"), 2u);
  EXPECT_EQ(full.getText("manyIsbn", 1), "b");
}

// --- datatypes -------------------------------------------------------------------------------------

void fillPoint(Element point, double x, double y) {
  point.set("x", x);
  point.set("y", y);
}

void fillDatatypes(Element full) {
  Element place = full.create("place");
  fillPoint(place, 1.5, -0.0);
  place.set("label", "here");
  fillPoint(full.create("stops"), std::numeric_limits<double>::infinity(), 5e-324);
  full.create("stops");  // nothing in it
  Element area = full.create("area");
  fillPoint(area.create("corner"), 3, 4);
  fillPoint(area.create("points"), 5, 6);
  area.create("points").setEmpty("label");
  area.add("weights", 1u);
  area.add("weights", 65535u);
  area.setTextForm("colour", "green");
}

void expectDatatypes(ConstElement full) {
  const ConstElement place = full.getElement("place");
  ASSERT_TRUE(place);
  EXPECT_EQ(place.getReal("x"), 1.5);
  EXPECT_EQ(place.getReal("y"), 0.0);
  EXPECT_TRUE(std::signbit(place.getReal("y")));
  EXPECT_EQ(place.getText("label"), "here");
  ASSERT_EQ(full.size("stops"), 2u);
  EXPECT_EQ(full.getElement("stops", 0).getReal("x"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(full.getElement("stops", 0).getReal("y"), 5e-324);
  EXPECT_FALSE(full.getElement("stops", 1).isSet("x"));
  const ConstElement area = full.getElement("area");
  ASSERT_TRUE(area);
  EXPECT_EQ(area.getElement("corner").getReal("y"), 4);
  ASSERT_EQ(area.size("points"), 2u);
  EXPECT_EQ(area.getElement("points", 0).getReal("x"), 5);
  EXPECT_EQ(area.getElement("points", 1).getState("label"), PropertyState::empty);
  EXPECT_EQ(area.getElement("points", 1).getState("x"), PropertyState::unset);
  ASSERT_EQ(area.size("weights"), 2u);
  EXPECT_EQ(area.getUnsigned("weights", 1), 65535u);
  EXPECT_EQ(area.getTextForm("colour"), "green");
}

// --- the second root: whatever can be explicitly empty is -------------------------------------------

void fillEmpty(Element empty) {
  for (const TypeSample& sample : typeSamples) {
    empty.setEmpty(named("one", sample));
    empty.setEmpty(named("many", sample));
  }
  for (const char* property :
       {"oneColour", "manyColour", "oneIsbn", "manyIsbn", "friends", "leftMarks", "rightMark"})
    empty.setEmpty(property);
}

void expectEmpty(ConstElement empty) {
  EXPECT_FALSE(empty.getIdentity());
  for (const TypeSample& sample : typeSamples) {
    SCOPED_TRACE(sample.type);
    EXPECT_EQ(empty.getState(named("one", sample)), PropertyState::empty);
    EXPECT_EQ(empty.getState(named("must", sample)), PropertyState::unset);
    EXPECT_EQ(empty.getState(named("many", sample)), PropertyState::empty);
  }
  for (const char* property :
       {"oneColour", "manyColour", "oneIsbn", "manyIsbn", "friends", "leftMarks", "rightMark"})
    EXPECT_EQ(empty.getState(property), PropertyState::empty) << property;
  for (const char* property : {"name", "mustColour", "place", "stops", "child", "children", "friend"})
    EXPECT_EQ(empty.getState(property), PropertyState::unset) << property;
}

// --- children and references ------------------------------------------------------------------------

UnresolvedReference elsewhere() { return {"sample.Item", "shelf", "gone", std::nullopt}; }
UnresolvedReference otherDocument() { return {"sample.Item", "shelf", "full", "other.krb"}; }

void fillGraph(Element full, Element empty, Element note) {
  Element child = full.create("child");
  child.set("name", "child");
  Element grandchild = child.create("children", "sample.Item");
  grandchild.setIdentity("shelf", "grandchild");
  full.create("children", "sample.Item").set("name", "second");
  full.create("children", "sample.detail.Note").set("text", "inside");

  full.set("friend", grandchild);
  grandchild.set("friend", empty);
  child.set("friend", child);
  full.add("friends", empty);
  full.putUnresolved("friends", elsewhere());
  full.add("friends", note);
  full.putUnresolved("friends", otherDocument());
  full.set("partner", empty);  // and back
  full.set("anything", note);
  note.set("text", "about");
  note.set("about", full);
  grandchild.putUnresolved("partner", otherDocument());
}

void expectGraph(ConstElement full, ConstElement empty, ConstElement note) {
  const ConstElement child = full.getElement("child");
  ASSERT_TRUE(child);
  EXPECT_EQ(child.getText("name"), "child");
  EXPECT_FALSE(child.getIdentity());
  ASSERT_EQ(full.size("children"), 2u);
  EXPECT_EQ(full.getElement("children", 0).getText("name"), "second");
  EXPECT_EQ(full.getElement("children", 1).getType()->qualifiedName(), "sample.detail.Note");
  EXPECT_EQ(full.getElement("children", 1).getText("text"), "inside");
  const ConstElement grandchild = child.getElement("children", 0);
  ASSERT_TRUE(grandchild);
  EXPECT_EQ(grandchild.getIdentity(), (Identity{"shelf", "grandchild"}));

  EXPECT_EQ(full.getReference("friend"), grandchild);
  EXPECT_EQ(grandchild.getReference("friend"), empty);
  EXPECT_EQ(child.getReference("friend"), child);
  ASSERT_EQ(full.size("friends"), 4u);
  EXPECT_EQ(full.getReference("friends", 0), empty);
  EXPECT_FALSE(full.getReference("friends", 1));
  EXPECT_EQ(full.getUnresolved("friends", 1), elsewhere());
  EXPECT_EQ(full.getReference("friends", 2), note);
  EXPECT_EQ(full.getUnresolved("friends", 3), otherDocument());
  EXPECT_EQ(full.getReference("partner"), empty);
  EXPECT_EQ(empty.getReference("partnerOf"), full);
  EXPECT_EQ(full.getReference("anything"), note);
  EXPECT_EQ(note.getText("text"), "about");
  EXPECT_EQ(note.getReference("about"), full);
  EXPECT_EQ(grandchild.getUnresolved("partner"), otherDocument());
}

}  // namespace

meta::PackageDefinition sampleDefinition() {
  meta::MetaModelBuilder sample("http://example.org/sample", "sample");
  sample.enumeration("Colour").literal("red", 0).literal("green", 1, "Green!").literal("blue", -3);
  sample.primitive("Isbn");
  meta::TypeBuilder& point = sample.datatype("Point");
  point.property("x", "Real").required();
  point.property("y", "Real").required();
  point.property("label", "String");
  meta::TypeBuilder& area = sample.datatype("Area");
  area.property("corner", "Point");
  area.property("points", "Point").many();
  area.property("weights", "UInteger16").many();
  area.property("colour", "Colour");

  meta::MetaModelBuilder& detail = sample.package("http://example.org/sample/detail", "detail");
  meta::TypeBuilder& note = detail.classType("Note").supertype("sample.Named");
  note.property("text", "String");
  note.property("about", "sample.Item");

  sample.classType("Named").abstractType().property("name", "String").required();
  sample.classType("Left").abstractType().supertype("Named").property("leftMarks", "Integer8").many();
  sample.classType("Right").abstractType().supertype("Named").property("rightMark", "Integer64");
  addItemProperties(sample.classType("Item").supertype("Left").supertype("Right"));

  meta::PackageDefinition definition = sample.definition();
  meta::TypeDefinition thing;
  thing.name = "Thing";
  thing.isAbstract = true;
  thing.isUniversal = true;
  definition.types.push_back(thing);
  return definition;
}

const meta::MetaRegistry& sampleRegistry() {
  static const meta::MetaRegistry& registry = []() -> meta::MetaRegistry& {
    static meta::MetaRegistry made;
    made.add(sampleDefinition());
    return made;
  }();
  return registry;
}

Model makeSample(const meta::MetaRegistry& registry) {
  Model model(registry);
  Element full = model.createRoot("sample.Item");
  full.setIdentity("shelf", "full");
  Element empty = model.createRoot("sample.Item");
  Element note = model.createRoot("sample.detail.Note");
  model.createRoot("sample.Item");  // nothing in it, nobody refers to it
  fillFull(full);
  fillDatatypes(full);
  fillEmpty(empty);
  fillGraph(full, empty, note);
  return model;
}

void expectSample(const Model& model) {
  const std::vector<ConstElement> roots = model.getRoots();
  ASSERT_EQ(roots.size(), 4u);
  EXPECT_EQ(model.size(), 8u);
  expectFull(roots[0]);
  expectDatatypes(roots[0]);
  expectEmpty(roots[1]);
  expectGraph(roots[0], roots[1], roots[2]);
  EXPECT_EQ(roots[3].getType()->qualifiedName(), "sample.Item");
  EXPECT_FALSE(roots[3].isSet("name"));
}

}  // namespace kr::zero::test
