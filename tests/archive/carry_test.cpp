// Archives read by another version of their meta model.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include "kr/zero/archive/Archive.h"
#include "support/Paths.h"

namespace kr::zero::archive {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A shelf's books, whose pages are of that type.
void define(meta::MetaRegistry& registry, const char* typeOfPages, const char* uri = "urn:shelf") {
  meta::MetaModelBuilder package(uri, "shelf");
  auto& book = package.classType("Book");
  book.property("title", "String");
  book.property("pages", typeOfPages);
  package.registerIn(registry);
}

std::string saveBook(int pages) {
  meta::MetaRegistry registry;
  define(registry, "Integer");
  Model model(registry);
  Element book = model.createRoot("shelf.Book");
  book.set("title", "Moby Dick");
  book.set("pages", pages);
  const std::string path = test::temporaryPath("carried.krz");
  saveArchive(model, path);
  return path;
}

}  // namespace

TEST(ArchiveCarry, LosesNothingAndSaysWhatChanged) {
  meta::MetaRegistry registry;
  define(registry, "Integer64");
  evolution::CarryOverReport report;
  const Model model = loadArchive(saveBook(635), registry, {}, &report);
  EXPECT_EQ(&model.getRegistry(), &registry);
  EXPECT_EQ(model.roots()[0].get<std::int64_t>("pages"), 635);
  EXPECT_THAT(report.losses, IsEmpty());
  ASSERT_EQ(report.types.size(), 1u);
  EXPECT_EQ(report.types[0].properties[1].detail, "Integer to Integer64");
}

TEST(ArchiveCarry, AnotherUriOfThePackageIsNoHindrance) {
  meta::MetaRegistry registry;
  define(registry, "Integer", "urn:shelf:2026");
  EXPECT_EQ(loadArchive(saveBook(635), registry).roots()[0].get<int>("pages"), 635);
}

TEST(ArchiveCarry, WhereItWouldLoseSomethingTheCommandIsSaid) {
  meta::MetaRegistry registry;
  define(registry, "Integer8");
  const std::string path = saveBook(635);
  try {
    static_cast<void>(loadArchive(path, registry));
    FAIL() << "nothing was refused";
  } catch (const Error& error) {
    EXPECT_EQ(error.getCode(), ErrorCode::doesNotFit);
    EXPECT_EQ(error.what(), path + ": it was written by another version of its meta model: `kr0 migrate \"" +
                                path +
                                "\" NEW.krz --to META.ecore --allow-loss` carries over all but this: "
                                "shelf.Book.pages: 1 value left out, they are no Integer8 (/book)");
    EXPECT_THAT(error.getDetails().problems,
                ElementsAre("shelf.Book.pages: 1 value left out, they are no Integer8 (/book)"));
  }
}

TEST(ArchiveCarry, TheSameMetaModelNeedsNoReport) {
  meta::MetaRegistry registry;
  define(registry, "Integer");
  evolution::CarryOverReport report;
  static_cast<void>(loadArchive(saveBook(635), registry, {}, &report));
  EXPECT_THAT(report.types, IsEmpty());
}

}  // namespace kr::zero::archive
