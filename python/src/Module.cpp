// The module kr0._core: what of the package kr0 is compiled.
#include "Binding.h"
#include "ElementObject.h"
#include "Failures.h"
#include "IteratorObject.h"
#include "ListObject.h"
#include "Models.h"
#include "TypeObjects.h"

PYBIND11_MODULE(_core, module) {
  using namespace kr::zero::python;
  module.doc() = "The compiled part of kr0.";
  module.attr("version") = KR0_VERSION;
  bindErrors(module);
  bindTypes(module);
  bindBuilders(module);
  bindRegistry(module);
  addElementType(module);
  addListType(module);
  addIteratorType();
  ModelClass model(module, "Model", R"(Elements of the classes of a meta model, with references among them.

>>> model = kr0.Model(registry)
>>> library = model.create("library.Library")
>>> book = library.create("books", title="Moby Dick", pages=635)
>>> [book.title for book in model.elements("library.Book")]
['Moby Dick']
>>> book in library.books, book.container == library
(True, True)

Threads may read a model side by side; while one thread saves it, others cannot change it.
)");
  bindModel(model);
  bindColumns(model);
  bindStudies(model);
  bindDocuments(module, model);
}
