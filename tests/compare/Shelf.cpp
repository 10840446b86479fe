#include "compare/Shelf.h"

#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::test {

const meta::MetaRegistry& shelfRegistry() {
  static const auto registry = [] {
    auto made = std::make_unique<meta::MetaRegistry>();
    meta::MetaModelBuilder types("urn:shelf", "shelf");
    types.enumeration("Cover").literal("cloth", 0).literal("card", 1);
    auto& size = types.datatype("Size");
    size.property("height", "Integer");
    size.property("note", "String");
    auto& author = types.classType("Author");
    author.property("name", "String");
    auto& chapter = types.classType("Chapter");
    chapter.property("text", "String");
    chapter.property("page", "Integer");
    chapter.property("parts", "Chapter").composite().many();
    auto& book = types.classType("Book");
    book.property("name", "String");
    book.property("pages", "Integer");
    book.property("price", "Real");
    book.property("cover", "Cover");
    book.property("size", "Size");
    book.property("sizes", "Size").many();
    book.property("tags", "String").many();
    book.property("isbn", "String");
    book.property("author", "Author");
    book.property("related", "Book").many();
    book.property("chapters", "Chapter").composite().many();
    auto& shelf = types.classType("Shelf");
    shelf.property("name", "String");
    shelf.property("books", "Book").composite().many();
    shelf.property("box", "Book").composite();
    shelf.property("authors", "Author").composite().many();
    types.registerIn(*made);
    return made;
  }();
  return *registry;
}

Model makeShelf() {
  Model model(shelfRegistry());
  Element shelf = model.createRoot("shelf.Shelf");
  shelf.set("name", "left");
  for (const char* const name : {"Ann", "Bob"}) shelf.create("authors").set("name", name);
  for (int i = 0; i < 3; ++i) {
    Element book = shelf.create("books");
    book.set("name", "b" + std::to_string(i));
    book.set("pages", 100 * (i + 1));
    book.setReference("author", shelf.getElement("authors", 0));
    for (int k = 0; k < 2; ++k) {
      Element chapter = book.create("chapters");
      chapter.set("text", "text " + std::to_string(i) + '.' + std::to_string(k));
      chapter.set("page", 10 * k + 1);
    }
  }
  return model;
}

Element shelfOf(Model& model) { return model.roots()[0]; }
Element bookOf(Model& model, std::size_t position) { return shelfOf(model).getElement("books", position); }
Element chapterOf(Model& model, std::size_t book, std::size_t position) {
  return bookOf(model, book).getElement("chapters", position);
}

std::vector<std::string> differences(const Model& before, const Model& after,
                                     const compare::CompareOptions& options) {
  std::vector<std::string> sentences;
  for (const auto& difference : compare::compareModels(before, after, options).differences())
    sentences.push_back(difference.sentence());
  return sentences;
}

std::vector<std::string> conflicts(const compare::MergeResult& result) {
  std::vector<std::string> sentences;
  for (const compare::Conflict& conflict : result.conflicts) sentences.push_back(conflict.sentence());
  return sentences;
}

}  // namespace kr::zero::test
