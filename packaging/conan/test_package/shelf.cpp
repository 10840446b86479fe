// Writes a model, reads it back, and says whether it came back.
#include <kr0/kr0.h>

#include <iostream>

int main() {
  kr::zero::meta::MetaModelBuilder types("http://www.example.org/shelf", "shelf");
  types.classType("Book").property("title", "String").required();
  types.registerIn(kr::zero::meta::MetaRegistry::instance());
  kr::zero::Model model;
  model.createRoot("shelf.Book").set("title", "Moby Dick");
  kr::zero::io::saveModel(model, "shelf.krb");
  const kr::zero::Model again = kr::zero::io::loadModel("shelf.krb");
  for (auto element : again.elements()) std::cout << element.getText("title") << '\n';
  return again.elements().begin()->getText("title") == "Moby Dick" ? 0 : 1;
}
