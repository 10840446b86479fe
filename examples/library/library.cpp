// A meta model written in C++ with what Ecore cannot express: all seventeen standard types, and a data
// type made of parts. Builds a small model, saves it, loads it and compares the two.

#include <iostream>
#include <string>

#include "kr/zero/Model.h"
#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace {

void defineTypes(kr::zero::meta::MetaRegistry& registry) {
  kr::zero::meta::MetaModelBuilder archive("http://www.example.org/archive", "archive");
  auto& size = archive.datatype("Size");
  size.property("width", "Real").required();
  size.property("height", "Real").required();

  auto& item = archive.classType("Item");
  item.property("title", "String").required();
  item.property("signature", "StdString");
  item.property("key", "UUID");
  item.property("scanned", "DateTime");
  item.property("size", "Size");
  item.property("restored", "Boolean");
  item.property("shelfOffset", "Integer8");
  item.property("copies", "UInteger8");
  item.property("year", "Integer16");
  item.property("sheets", "UInteger16");
  item.property("pixels", "Integer");
  item.property("readersAllowed", "UnlimitedNatural");
  item.property("balance", "Integer64");
  item.property("checksum", "UInteger64");
  item.property("notes", "JsonValue");
  item.property("labels", "StringToStringMap");
  item.property("table", "ZoArray");
  item.property("parts", "Item").many().composite();
  archive.registerIn(registry);
}

void fill(kr::zero::Model& model) {
  auto map = model.createRoot("archive.Item");
  map.set("title", "Map of the river, 1786");
  map.set("signature", "M-17/4");
  map.setTextForm("key", "6f1c1f4e-0b57-4c43-9a35-2a5d3e7c9d10");
  map.set("scanned", "2021-03-09T14:05:00+01:00");
  auto size = map.create("size");
  size.set("width", 61.5);
  size.set("height", 48.0);
  map.set("restored", true);
  map.set("shelfOffset", -3);
  map.set("copies", 2U);
  map.set("year", 1786);
  map.set("sheets", 4U);
  map.set("pixels", 96'000'000);
  map.set("readersAllowed", 1U);
  map.set("balance", -1'250'000'000'000);
  map.set("checksum", 0xfeed'beef'cafe'f00dU);
  map.set("notes", R"({"ink": "iron gall"})");
  map.set("labels", "hung=no");
  map.set("table", "1 2 3");
  map.create("parts").set("title", "Legend");
  map.create("parts").set("title", "Scale bar");
}

}  // namespace

int main(int count, char** arguments) {
  const std::string path = count > 1 ? arguments[1] : "archive.krb";
  kr::zero::io::registerBinaryFormats();
  defineTypes(kr::zero::meta::MetaRegistry::instance());
  kr::zero::Model model;
  fill(model);
  kr::zero::io::saveModel(model, path);
  const kr::zero::Model again = kr::zero::io::loadModel(path);
  if (const auto difference = kr::zero::findDifference(model, again)) {
    std::cerr << *difference << '\n';
    return 1;
  }
  std::cout << again.size() << " elements came back as they were\n";
}
