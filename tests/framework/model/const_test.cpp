#include <gtest/gtest.h>

#include <concepts>
#include <type_traits>

#include "framework/io/LibraryModel.h"

namespace kr::zero {
namespace {

using test::errorOf;

template <class Handle>
concept CanSet = requires(Handle handle) {
  handle.set("name", "x");
};
template <class Handle>
concept CanCreate = requires(Handle handle) {
  handle.create("books");
};
template <class M>
concept CanCreateRoot = requires(M model) {
  model.createRoot("library.Book");
};

class ConstModel : public ::testing::Test, protected test::LibraryFixture {
 protected:
  Element library = model.createRoot("library.Library");
  Element book = library.create("books");
  const Model& fixed = model;
};

TEST_F(ConstModel, GivesHandlesThatCannotChangeAnything) {
  static_assert(CanSet<Element> && CanCreate<Element>);
  static_assert(!CanSet<ConstElement> && !CanCreate<ConstElement>);
  static_assert(CanCreateRoot<Model&> && !CanCreateRoot<const Model&>);
  static_assert(std::same_as<decltype(fixed.getRoots()), std::vector<ConstElement>>);
  static_assert(std::same_as<decltype(fixed.findByIdentity("", "")), ConstElement>);
  static_assert(std::same_as<decltype(fixed.getReferrers(book)), std::vector<ConstElement>>);
  static_assert(std::same_as<decltype(*fixed.elements().begin()), ConstElement>);
  static_assert(std::same_as<decltype(*fixed.roots().begin()), ConstElement>);
  book.setIdentity("a", "1");
  EXPECT_EQ(fixed.getRoots().front().getElement("books", 0), book);
  EXPECT_EQ(fixed.findByIdentity("a", "1"), book);
}

TEST_F(ConstModel, NoWayLeadsFromAConstElementToOneThatCanBeChanged) {
  static_assert(std::convertible_to<Element, ConstElement>);
  static_assert(!std::is_constructible_v<Element, ConstElement>);
  static_assert(!std::is_assignable_v<Element&, ConstElement>);
  const ConstElement element = book;
  static_assert(std::same_as<decltype(element.getContainer()), ConstElement>);
  static_assert(std::same_as<decltype(element.getElement("volumes")), ConstElement>);
  static_assert(std::same_as<decltype(element.getReference("sequel")), ConstElement>);
  static_assert(std::same_as<decltype(element.getChildren()), std::vector<ConstElement>>);
  static_assert(std::same_as<decltype(element.getModel()), const Model&>);
  EXPECT_EQ(element.getContainer(), library);
}

TEST_F(ConstModel, AModelThatCanBeChangedLeadsToElementsThatCan) {
  static_assert(std::same_as<decltype(model.getRoots()), std::vector<Element>>);
  static_assert(std::same_as<decltype(book.getContainer()), Element>);
  static_assert(std::same_as<decltype(book.getReference("sequel")), Element>);
  static_assert(std::same_as<decltype(book.getModel()), Model&>);
  model.getRoots().front().getChildren().front().set("name", "n");
  EXPECT_EQ(fixed.getRoots().front().getElement("books", 0).getText("name"), "n");
}

TEST_F(ConstModel, HandlesAreTwoPointers) {
  static_assert(sizeof(ConstElement) == 2 * sizeof(void*) && sizeof(Element) == sizeof(ConstElement));
  static_assert(std::is_trivially_copyable_v<Element>);
  EXPECT_EQ(ConstElement(book), book);
  EXPECT_NE(ConstElement(book), library);
}

TEST_F(ConstModel, ReferrersInAConstModelAreFound) {
  Element other = library.create("books");
  other.set("sequel", book);
  EXPECT_EQ(fixed.getReferrers(book), (std::vector<ConstElement>{other}));
}

TEST_F(ConstModel, AConstElementCanBeCopiedIntoAnotherModel) {
  book.set("name", "n");
  Model other(*registry);
  const ConstElement copied = other.copy(ConstElement(book));
  EXPECT_EQ(copied.getText("name"), "n");
  EXPECT_EQ(&copied.getModel(), &other);
}

TEST_F(ConstModel, AnEmptyHandleSaysSo) {
  const ConstElement nothing;
  EXPECT_FALSE(nothing);
  EXPECT_FALSE(nothing.isRemoved());
  EXPECT_EQ(nothing, Element());
  const std::string sentence = "an empty element handle denotes no element";
  EXPECT_EQ(errorOf<ModelError>([&] { (void)nothing.getType(); }), sentence);
  EXPECT_EQ(errorOf<ModelError>([&] { (void)nothing.getText("name"); }), sentence);
  EXPECT_EQ(errorOf<ModelError>([&] { (void)nothing.getModel(); }), sentence);
  EXPECT_EQ(errorOf<ModelError>([&] { Element().set("name", "x"); }), sentence);
  EXPECT_EQ(errorOf<ModelError>([&] { Element().create("books", "library.Book"); }), sentence);
}

}  // namespace
}  // namespace kr::zero
