// Saves a model, loads it again and prints what came back.
#include <iostream>

#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/meta/MetaModelBuilder.h"

int main() {
  kr::zero::io::registerBinaryFormats();
  kr::zero::meta::MetaModelBuilder types("urn:consumer", "consumer");
  types.classType("Note").property("text", "String");
  types.registerIn(kr::zero::meta::MetaRegistry::instance());
  kr::zero::Model model;
  model.createRoot("consumer.Note").set("text", "it came back");
  kr::zero::io::saveModel(model, "note.krb");
  std::cout << kr::zero::io::loadModel("note.krb").getRoots().at(0).getText("text") << '\n';
}
