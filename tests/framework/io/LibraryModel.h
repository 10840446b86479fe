/// @file
/// A small meta model that has every kind of property, for the tests of the framework.
#pragma once

#include <memory>

#include "kr/zero/Model.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::test {

/// A fresh registry that knows the package "library".
inline std::unique_ptr<meta::MetaRegistry> makeLibraryRegistry() {
  meta::MetaModelBuilder library("urn:test:library", "library");
  library.primitive("Isbn");
  library.enumeration("Genre").literal("novel", 0, "Novel").literal("poetry", 5).literal("verse", 5);
  auto& span = library.datatype("Span");
  span.property("first", "Integer").required();
  span.property("last", "Integer");
  auto& named = library.classType("Named").abstractType();
  named.property("name", "String").required();
  auto& author = library.classType("Author").supertype("Named");
  author.property("books", "Book").many().opposite("authors");
  author.property("bestBook", "Book").opposite("bestOf");
  auto& book = library.classType("Book").supertype("Named");
  book.property("isbn", "Isbn");
  book.property("genre", "Genre").defaultText("poetry");
  book.property("genres", "Genre").many();
  book.property("pages", "Integer16").defaultText("100");
  book.property("copies", "UInteger64");
  book.property("weight", "Real");
  book.property("lent", "Boolean");
  book.property("key", "UUID");
  book.property("printed", "DateTime");
  book.property("tags", "String").many();
  book.property("years", "Integer").many();
  book.property("chapters", "Span").many();
  book.property("preface", "Span");
  book.property("authors", "Author").many().opposite("books");
  book.property("bestOf", "Author").opposite("bestBook");
  book.property("sequel", "Book");
  book.property("volumes", "Book").many().composite();
  book.property("age", "Integer").derived();
  book.property("note", "String").isTransient();
  auto& shelf = library.classType("Library").supertype("Named");
  shelf.property("books", "Book").many().composite();
  shelf.property("authors", "Author").many().composite();
  shelf.property("treasure", "Book").composite();
  auto registry = std::make_unique<meta::MetaRegistry>();
  library.registerIn(*registry);
  return registry;
}

/// A registry and an empty model of it.
struct LibraryFixture {
  std::unique_ptr<meta::MetaRegistry> registry = makeLibraryRegistry();
  Model model{*registry};
};

/// The text of the ModelError (or other std exception of type E) that a call throws; "" for none.
template <class E, class Call>
std::string errorOf(Call&& call) {
  try {
    call();
  } catch (const E& e) {
    return e.what();
  }
  return "";
}

}  // namespace kr::zero::test
