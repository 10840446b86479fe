#include <gtest/gtest.h>

#include <functional>

#include "framework/io/LibraryModel.h"

namespace kr::zero {
namespace {

using test::errorOf;

constexpr const char* kRemoved = "the element of type library.Book was removed from its model";
constexpr const char* kRemovedPart = "the element of type library.Span was removed from its model";

class RemovedElement : public ::testing::Test, protected test::LibraryFixture {
 protected:
  Element library = model.createRoot("library.Library");
  Element kept = library.create("books");
  Element gone = library.create("books");
  Element below = gone.create("volumes");
  Element part = below.create("chapters");
};

TEST_F(RemovedElement, SaysThatItIsAndAllBelowItDoToo) {
  EXPECT_FALSE(gone.isRemoved());
  model.remove(gone);
  EXPECT_TRUE(gone.isRemoved());
  EXPECT_TRUE(below.isRemoved());
  EXPECT_TRUE(part.isRemoved());
  EXPECT_FALSE(kept.isRemoved());
  EXPECT_FALSE(library.isRemoved());
}

TEST_F(RemovedElement, ThrowsFromEveryReader) {
  model.remove(gone);
  const std::function<void(ConstElement)> readers[] = {
      [](ConstElement e) { (void)e.getType(); },
      [](ConstElement e) { (void)e.getClass(); },
      [](ConstElement e) { (void)e.getContainer(); },
      [](ConstElement e) { (void)e.getContainingProperty(); },
      [](ConstElement e) { (void)e.getPath(); },
      [](ConstElement e) { (void)e.getIndex(); },
      [](ConstElement e) { (void)e.getIdentity(); },
      [](ConstElement e) { (void)e.getState("name"); },
      [](ConstElement e) { (void)e.isSet("name"); },
      [](ConstElement e) { (void)e.size("tags"); },
      [](ConstElement e) { (void)e.getBoolean("lent"); },
      [](ConstElement e) { (void)e.getInteger("pages"); },
      [](ConstElement e) { (void)e.getUnsigned("copies"); },
      [](ConstElement e) { (void)e.getReal("weight"); },
      [](ConstElement e) { (void)e.getText("name"); },
      [](ConstElement e) { (void)e.getUuid("key"); },
      [](ConstElement e) { (void)e.getDateTime("printed"); },
      [](ConstElement e) { (void)e.getTextForm("pages"); },
      [](ConstElement e) { (void)e.get<int>("pages"); },
      [](ConstElement e) { (void)e.get<std::optional<int>>("pages"); },
      [](ConstElement e) { (void)e.get<ConstElement>("sequel"); },
      [](ConstElement e) { (void)e.getElement("preface"); },
      [](ConstElement e) { (void)e.getReference("sequel"); },
      [](ConstElement e) { (void)e.getUnresolved("sequel"); },
      [](ConstElement e) { (void)e.getChildren(); },
      [](ConstElement e) { (void)e.values<int>("years"); },
      [](ConstElement e) { (void)e.children("volumes"); },
      [](ConstElement e) { (void)e.children(); },
      [](ConstElement e) { (void)e.references("authors"); },
      [](ConstElement e) { (void)e.descendants(); },
  };
  for (const auto& read : readers) {
    EXPECT_EQ(errorOf<ModelError>([&] { read(gone); }), kRemoved);
    EXPECT_EQ(errorOf<ModelError>([&] { read(below); }), kRemoved);
  }
}

TEST_F(RemovedElement, ThrowsFromEveryChange) {
  model.remove(gone);
  const std::function<void(Element)> changes[] = {
      [](Element e) { e.setIdentity("a", "b"); },
      [](Element e) { e.clearIdentity(); },
      [](Element e) { e.unset("name"); },
      [](Element e) { e.setEmpty("tags"); },
      [](Element e) { e.removeAt("tags", 0); },
      [](Element e) { e.set("name", "x"); },
      [](Element e) { e.set("pages", 1); },
      [](Element e) { e.set("pages", std::optional<int>()); },
      [](Element e) { e.set("weight", 1.0); },
      [](Element e) { e.set("lent", true); },
      [](Element e) { e.set("key", Uuid{}); },
      [](Element e) { e.set("printed", DateTime{}); },
      [](Element e) { e.setTextForm("pages", "1"); },
      [](Element e) { e.add("tags", "x"); },
      [](Element e) { e.add("years", 1); },
      [](Element e) { e.create("volumes"); },
      [](Element e) { e.create("volumes", "library.Book"); },
      [](Element e) {
        e.putUnresolved("sequel", {"library.Book", "a", "b", {}});
      },
      [this](Element e) { e.setReference("sequel", kept); },
      [this](Element e) { e.addReference("authors", kept); },
      [this](Element e) { e.putReference("sequel", kept); },
      [this](Element e) { e.adopt("volumes", kept); },
  };
  for (const auto& change : changes) {
    EXPECT_EQ(errorOf<ModelError>([&] { change(gone); }), kRemoved);
    EXPECT_EQ(errorOf<ModelError>([&] { change(below); }), kRemoved);
  }
  EXPECT_EQ(errorOf<ModelError>([&] { part.set("first", 1); }), kRemovedPart);
  EXPECT_EQ(model.size(), 2u);
}

TEST_F(RemovedElement, IsNotTakenByOthers) {
  model.remove(gone);
  EXPECT_EQ(errorOf<ModelError>([&] { kept.set("sequel", gone); }), kRemoved);
  EXPECT_EQ(errorOf<ModelError>([&] { kept.putReference("sequel", below); }), kRemoved);
  EXPECT_EQ(errorOf<ModelError>([&] { kept.adopt("volumes", below); }), kRemoved);
  EXPECT_EQ(errorOf<ModelError>([&] { model.adoptRoot(gone); }), kRemoved);
  EXPECT_EQ(errorOf<ModelError>([&] { model.remove(gone); }), kRemoved);
  EXPECT_EQ(errorOf<ModelError>([&] { model.copy(below); }), kRemoved);
  EXPECT_EQ(errorOf<ModelError>([&] { (void)model.getReferrers(gone); }), kRemoved);
  EXPECT_EQ(kept.getState("sequel"), PropertyState::unset);
  EXPECT_EQ(library.size("books"), 1u);
}

TEST_F(RemovedElement, CanStillBeComparedAndAskedForItsModel) {
  const Element same = gone;
  model.remove(gone);
  EXPECT_TRUE(gone);
  EXPECT_EQ(gone, same);
  EXPECT_NE(gone, kept);
  EXPECT_EQ(&gone.getModel(), &model);
}

TEST_F(RemovedElement, IsOneThatWasUnsetOrTakenOutOfItsCollection) {
  library.removeAt("books", 1);
  EXPECT_TRUE(gone.isRemoved());
  Element treasure = library.create("treasure");
  library.unset("treasure");
  EXPECT_TRUE(treasure.isRemoved());
  Element preface = kept.create("preface");
  kept.unset("preface");
  EXPECT_TRUE(preface.isRemoved());
}

TEST_F(RemovedElement, IsNotOneThatWasMoved) {
  model.adoptRoot(below);
  model.remove(gone);
  EXPECT_FALSE(below.isRemoved());
  EXPECT_FALSE(part.isRemoved());
  below.set("name", "n");
  EXPECT_EQ(below.getPath(), "/book[1]");
}

}  // namespace
}  // namespace kr::zero
