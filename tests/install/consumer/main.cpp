// Saves a model, loads it again and prints what came back; names headers in every way that a user may.
#include <kr0/kr0.h>

#include <iostream>

#include "kr/zero/Model.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/ecore/Ecore.h"
#include "modeling/sylvan/EventPrinter.h"

int main() {
  kr::zero::meta::MetaRegistry& registry = kr::zero::meta::MetaRegistry::instance();
  kr::zero::meta::MetaModelBuilder types("urn:consumer", "consumer");
  types.classType("Note").property("text", "String");
  types.registerIn(registry);
  kr::zero::Model model;
  model.createRoot("consumer.Note").set("text", "it came back");
  kr::zero::io::saveModel(model, "note.krb");
  const kr::zero::Model again = kr::zero::io::loadModel("note.krb");
  const std::string xmi = kr::zero::ecore::writeXmi(again, *kr::zero::ecore::loadMetaModels({}, registry));
  if (xmi.find("it came back") == std::string::npos) return 1;
  kr::zero::archive::saveArchive(again, "note.krz");
  const kr::zero::archive::LoadedArchive archived = kr::zero::archive::loadArchive("note.krz");
  if (archived.model.getRoots().at(0).getText("text") != "it came back") return 1;
  std::cout << again.getRoots().at(0).getText("text") << '\n';
}
