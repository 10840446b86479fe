// Models that are made by generated code, as documents.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cpp/CppTesting.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr0/kr0.h"
#include "library.kr0.h"

namespace kr::zero::test {

namespace {

namespace lib = models::library;

constexpr const char* kEcore = KR0_SOURCE_DIR "/examples/library/library.ecore";

std::string fileFor(const char* name) { return testing::TempDir() + "kr0_typed_" + name; }

std::string bytesOf(const Model& model, const char* name, const ustring& format) {
  const std::string path = fileFor(name);
  io::saveModel(model, toUstring(path), format);
  std::ifstream in(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  std::filesystem::remove(path);
  return bytes;
}

Model makeByType(const meta::MetaRegistry& registry) {
  Model model(registry);
  const auto library = createRoot<lib::Library>(model);
  library.setName("Riverside");
  library.setOpenOnSunday(true);
  library.createAddress().setNumber(14);
  const auto author = library.getAuthors().create();
  author.setName("Mary Shelley");
  const auto book = library.getBooks().create();
  book.setTitle("Frankenstein");
  book.setGenre(lib::Genre::science);
  book.getAlsoOf().add(lib::Genre::novel);
  book.getRatings().add(5);
  book.getAuthors().add(author);
  const auto audio = library.getBooks().create<lib::AudioBook>();
  audio.setTitle("The Last Man");
  audio.setMinutes(600);
  audio.setSpokenBy(author);
  return model;
}

Model makeByName(const meta::MetaRegistry& registry) {
  Model model(registry);
  Element library = model.createRoot("library.Library");
  library.set("name", "Riverside");
  library.set("openOnSunday", true);
  library.create("address").set("number", 14);
  Element author = library.create("authors");
  author.set("name", "Mary Shelley");
  Element book = library.create("books");
  book.set("title", "Frankenstein");
  book.setTextForm("genre", "science");
  book.addTextForm("alsoOf", "novel");
  book.add("ratings", 5);
  book.add("authors", author);
  Element audio = library.create("books", "library.AudioBook");
  audio.set("title", "The Last Man");
  audio.set("minutes", 600);
  audio.set("spokenBy", author);
  return model;
}

}  // namespace

TEST(Documents, OfAModelThatIsMadeByTypeHaveTheBytesOfOneThatIsMadeByName) {
  const Model byType = makeByType(generatedRegistry());
  const Model byName = makeByName(generatedRegistry());
  EXPECT_EQ(findDifference(byType, byName), std::nullopt);
  for (const ustring& format : {ustring(u""), ustring(io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN)})
    EXPECT_EQ(bytesOf(byType, "a.krb", format), bytesOf(byName, "b.krb", format));
}

TEST(Documents, AreTheSameByTheGeneratedMetaModelAndByTheFileItCameFrom) {
  meta::MetaRegistry fromFile;
  ecore::loadMetaModels({kEcore}, fromFile);
  EXPECT_EQ(bytesOf(makeByType(generatedRegistry()), "a.krb", {}),
            bytesOf(makeByName(fromFile), "b.krb", {}));
}

TEST(Documents, ThatWereSavedAreReadBackByType) {
  const Model model = makeByType(generatedRegistry());
  const std::string path = fileFor("back.krb");
  io::saveModel(model, toUstring(path));
  const Model back = io::loadModel(toUstring(path), generatedRegistry());
  std::filesystem::remove(path);
  const auto library = as<lib::ConstLibrary>(back.getRoots().front());
  EXPECT_EQ(library.getName(), "Riverside");
  EXPECT_EQ(library.getAddress().getNumber(), 14);
  ASSERT_EQ(library.getBooks().size(), 2u);
  EXPECT_EQ(library.getBooks()[0].getGenre(), lib::Genre::science);
  EXPECT_THAT(library.getBooks()[0].getRatings(), testing::ElementsAre(5));
  const auto audio = as<lib::ConstAudioBook>(library.getBooks()[1]);
  EXPECT_EQ(audio.getMinutes(), 600);
  EXPECT_EQ(audio.getSpokenBy().getName(), "Mary Shelley");
  EXPECT_EQ(audio.getSpokenBy().getBooks()[0], library.getBooks()[0]);
}

TEST(Registering, FitsARegistryThatHasTheFileAlready) {
  meta::MetaRegistry registry;
  ecore::loadMetaModels({kEcore}, registry);
  lib::registerIn(registry);
  EXPECT_EQ(registry.getPackages().size(), 1u);
  Model model(registry);
  createRoot<lib::Library>(model).setName("found");
  EXPECT_EQ(model.getRoots().front().getText("name"), "found");
}

}  // namespace kr::zero::test
