// Archives: what goes in comes out, with its meta model, and what is damaged is named.
#include "kr/zero/archive/Archive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include "support/Paths.h"

namespace kr::zero::archive {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

std::string libraryFile(const char* name) {
  return std::string(KR0_SOURCE_DIR) + "/examples/library/" + name;
}

/// The example's meta model and model.
struct Library {
  meta::MetaRegistry registry;
  std::shared_ptr<const ecore::Mapping> mapping =
      ecore::loadMetaModels({libraryFile("library.ecore")}, registry);
  Model model = ecore::readXmiFile(libraryFile("library.xmi"), *mapping);
};

const Library& library() {
  static const Library& instance = *new Library;
  return instance;
}

std::string save(const std::string& name, bool tagged = false) {
  const std::string path = test::temporaryPath(name);
  saveArchive(library().model, path, {.mapping = library().mapping.get(), .tagged = tagged});
  return path;
}

/// Code and sentence of the Error that something throws.
template <class Action>
std::string refusalOf(Action action) {
  try {
    action();
  } catch (const Error& error) {
    return std::string(nameOf(error.getCode())) + ": " + error.what();
  }
  return "nothing was refused";
}

/// What reading all parts of a changed archive says; "" where all of it is as it was.
std::string refusalOf(const std::string& bytes) {
  static const std::string path = test::temporaryPath("changed.krz");
  test::writeFile(path, bytes);
  try {
    const LoadedArchive loaded = loadArchive(path);
    return findDifference(loaded.model, library().model).value_or("");
  } catch (const Error& error) {
    return error.what();
  }
}

}  // namespace

TEST(Archive, BringsModelAndMetaModelBack) {
  for (const bool tagged : {false, true}) {
    const LoadedArchive loaded = loadArchive(save("whole.krz", tagged));
    EXPECT_EQ(findDifference(loaded.model, library().model), std::nullopt);
    EXPECT_TRUE(loaded.registry->hasPackage("http://www.example.org/library"));
    EXPECT_EQ(ecore::writeXmi(loaded.model, *loaded.mapping),
              ecore::writeXmi(library().model, *library().mapping));
  }
}

TEST(Archive, IsReadByAMetaModelThatIsThereAlready) {
  const Model model = loadArchive(save("known.krz"), library().registry);
  EXPECT_EQ(&model.getRegistry(), &library().registry);
  EXPECT_EQ(findDifference(model, library().model), std::nullopt);
}

TEST(Archive, AMetaModelOfAnotherVersionIsRefusedByName) {
  std::string text = test::readFile(libraryFile("library.ecore"));
  const std::string pages = "name=\"pages\"";
  text.replace(text.find(pages), pages.size(), "name=\"sheets\"");
  meta::MetaRegistry other;
  ecore::loadEcoreFiles({{"library.ecore", text}}, other);
  const std::string path = save("other.krz");
  EXPECT_EQ(refusalOf([&] { loadArchive(path, other); }),
            "doesNotFit: " + path +
                ": the package \"http://www.example.org/library\" is another version than the one "
                "that the archive was written with; read it by its own meta model");
}

TEST(Archive, SameModelGivesSameBytes) {
  EXPECT_EQ(test::readFile(save("one.krz")), test::readFile(save("two.krz")));
}

TEST(Archive, TheManifestIsJsonWithSortedKeysAndNoBlanks) {
  ArchiveReader reader(save("manifest.krz"));
  const std::string& text = reader.getManifestText();
  EXPECT_THAT(text, StartsWith("{\"document\":{\"bytes\":"));
  EXPECT_THAT(text, HasSubstr("\"format\":\"krb\",\"xxh3\":\""));
  EXPECT_THAT(text, HasSubstr("},\"kr0\":1,\"metaModel\":{\"bytes\":"));
  EXPECT_THAT(text, HasSubstr("\"files\":[{\"bytes\":"));
  EXPECT_THAT(text, HasSubstr(",\"name\":\"library.ecore\"}]"));
  EXPECT_EQ(text.find_first_of(" \n"), text.npos);
  ASSERT_EQ(reader.getManifest().packages.size(), 1u);
  EXPECT_EQ(reader.getManifest().packages[0].fingerprint,
            fingerprintOf(library().registry, "http://www.example.org/library"));
}

TEST(Archive, PartsAreReadOneByOne) {
  ArchiveReader reader(save("parts.krz"));
  std::vector<std::uint8_t> document;
  io::writeModel(library().model, document);
  EXPECT_EQ(reader.readDocument(), document);
  const auto files = reader.readMetaModel();
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(files[0].name, "library.ecore");
  EXPECT_EQ(files[0].text, ecore::writeEcore(*library().mapping, "http://www.example.org/library", true));
}

TEST(Archive, EveryCutIsRefused) {
  const std::string whole = test::readFile(save("cut.krz"));
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_THAT(refusalOf(whole.substr(0, size)), HasSubstr("changed.krz")) << size;
}

TEST(Archive, EveryBitThatIsFlippedIsNoticed) {
  const std::string whole = test::readFile(save("flip.krz"));
  std::vector<std::size_t> unnoticed;
  for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
    std::string damaged = whole;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
    if (refusalOf(damaged).empty()) unnoticed.push_back(bit);
  }
  for (const std::size_t bit : unnoticed) std::cout << "byte " << bit / 8 << " bit " << bit % 8 << '\n';
  EXPECT_LE(unnoticed.size(), 8u);
}

}  // namespace kr::zero::archive
