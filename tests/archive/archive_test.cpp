// Archives: what goes in comes out, with its meta model, and what is damaged is named.
#include "kr/zero/archive/Archive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include "archive/ArchiveTesting.h"
#include "support/Paths.h"
#include "support/Random.h"

namespace kr::zero::archive {

namespace {

using test::refusalOf;
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

/// A few elements of a meta model that was made in code.
std::string saveSmall(const std::string& name) {
  meta::MetaRegistry registry;
  meta::MetaModelBuilder package("urn:small", "small");
  package.classType("Node").property("name", "String");
  package.registerIn(registry);
  Model model(registry);
  for (const char* text : {"first", "second"}) model.createRoot("small.Node").set("name", text);
  const std::string path = test::temporaryPath(name);
  saveArchive(model, path);
  return path;
}

struct Parts {
  std::string metaModel;
  std::vector<std::uint8_t> document;
};

Parts readParts(const std::string& path) {
  ArchiveReader reader(path);
  Parts parts;
  for (const ecore::EcoreFile& file : reader.readMetaModel()) parts.metaModel += file.name + file.text;
  parts.document = reader.readDocument();
  return parts;
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

TEST(Archive, APackageThatWasMadeInCodeIsBroughtAlong) {
  const LoadedArchive loaded = loadArchive(saveSmall("code.krz"));
  EXPECT_EQ(loaded.model.getRoots().front().getText("name"), "first");
  EXPECT_EQ(loaded.registry->findPackageName("urn:small"), "small");
}

TEST(Archive, ADamagedManifestLeavesTheDocument) {
  const std::string path = saveSmall("manifest.krz");
  const Parts good = readParts(path);
  std::string bytes = test::readFile(path);
  bytes[bytes.find("urn:small")] = 'v';
  test::writeFile(path, bytes);
  ArchiveReader reader(path);
  EXPECT_EQ(refusalOf([&] { reader.getManifest(); }),
            "damaged: " + path + ": the manifest of the archive is damaged: its checksum is another");
  EXPECT_EQ(reader.readDocument(), good.document);
}

TEST(Archive, MoreThanTheLimitIsRefused) {
  const std::string path = saveSmall("limit.krz");
  const Parts good = readParts(path);
  const std::uint64_t enough = std::max<std::uint64_t>(good.document.size(), good.metaModel.size());
  EXPECT_EQ(ArchiveReader(path, {enough}).readDocument(), good.document);
  EXPECT_THAT(refusalOf([&] { ArchiveReader(path, {good.document.size() - 1}).readDocument(); }),
              "overLimit: " + path + ": the document of the archive unpacks to more than " +
                  std::to_string(good.document.size() - 1) +
                  " bytes, which is the limit; ArchiveLimits::bytes sets it");
}

TEST(Archive, WhatIsNoArchiveIsForeign) {
  const std::string path = test::temporaryPath("foreign.krz");
  test::writeFile(path, "hello, world");
  EXPECT_EQ(refusalOf([&] { ArchiveReader reader(path); }),
            "foreign: " + path + ", byte 0: this does not begin like an archive");
  EXPECT_EQ(refusalOf([] { ArchiveReader reader("/no/such.krz"); }),
            "unreadable: /no/such.krz: cannot be read, No such file or directory");
}

// --- Meta models that the library has built in

TEST(Archive, PackagesThatAreBuiltInAreNamedAndNotBrought) {
  const std::string text = R"(<?xml version="1.0" encoding="UTF-8"?>
<ecore:EPackage xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:ecore="http://www.eclipse.org/emf/2002/Ecore"
    name="leaf" nsURI="urn:leaf" nsPrefix="leaf">
  <eClassifiers xsi:type="ecore:EClass" name="Leaf">
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="big"
        eType="ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EBigInteger"/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="duration"
        eType="ecore:EDataType http://www.eclipse.org/emf/2003/XMLType#//Duration"/>
  </eClassifiers>
</ecore:EPackage>
)";
  meta::MetaRegistry registry;
  const auto mapping = ecore::loadEcoreFiles({{"leaf.ecore", text}}, registry);
  Model model(registry);
  Element leaf = model.createRoot("leaf.Leaf");
  leaf.setTextForm("big", "123456789012345678901234567890");
  leaf.setTextForm("duration", "P1D");
  const std::string path = test::temporaryPath("built-in.krz");
  saveArchive(model, path, {.mapping = mapping.get()});
  ArchiveReader reader(path);
  std::vector<std::string> uris;
  for (const ArchivedPackage& package : reader.getManifest().packages) {
    uris.push_back(package.uri);
    EXPECT_EQ(package.fingerprint, fingerprintOf(registry, package.uri));
  }
  EXPECT_THAT(uris, testing::ElementsAre("http://www.eclipse.org/emf/2002/Ecore",
                                         "http://www.eclipse.org/emf/2003/XMLType", "urn:leaf"));
  ASSERT_EQ(reader.readMetaModel().size(), 1u);
  EXPECT_EQ(reader.readMetaModel()[0].name, "leaf.ecore");
  EXPECT_EQ(findDifference(reader.readModel().model, model), std::nullopt);
}

TEST(Archive, AModelThatUsesNothingBringsNoMetaModel) {
  meta::MetaRegistry registry;
  const std::string path = test::temporaryPath("empty.krz");
  saveArchive(Model(registry), path);
  ArchiveReader reader(path);
  EXPECT_TRUE(reader.readMetaModel().empty());
  EXPECT_EQ(reader.getManifest().metaBytes, 0u);
  EXPECT_EQ(loadArchive(path).model.size(), 0u);
}

TEST(Archive, WhatIsInOneFileWithAPackageNeedsItsNeighboursToo) {
  meta::MetaModelBuilder outer("urn:outer", "outer");
  outer.classType("Outer").property("mood", "moods.Mood");
  outer.package("urn:inner", "inner").classType("Inner");
  meta::MetaModelBuilder moods("urn:moods", "moods");
  moods.enumeration("Mood").literal("good", 0);
  meta::MetaRegistry registry;
  registry.add({outer.definition(), moods.definition()});
  Model model(registry);
  model.createRoot("outer.inner.Inner");  // the outer package is not used, and is in the same file
  const std::string path = test::temporaryPath("inner.krz");
  saveArchive(model, path);
  EXPECT_EQ(findDifference(loadArchive(path).model, model), std::nullopt);
}

// --- What is built in

constexpr const char* kEcoreUri = "http://www.eclipse.org/emf/2002/Ecore";

/// A model of Ecore: a package with a class.
Model makeMetaModel(const meta::MetaRegistry& registry) {
  Model model(registry);
  Element package = model.createRoot("ecore.EPackage");
  package.set("name", "zoo");
  package.create("eClassifiers", "ecore.EClass").set("name", "Animal");
  return model;
}

TEST(Archive, AModelOfEcoreNamesEcoreAndDoesNotBringIt) {
  meta::MetaRegistry registry;
  registry.add(ecore::builtInVersionsOf(kEcoreUri).back());
  const Model model = makeMetaModel(registry);
  const std::string path = test::temporaryPath("zoo.krz");
  saveArchive(model, path);
  ArchiveReader reader(path);
  EXPECT_TRUE(reader.readMetaModel().empty());
  ASSERT_EQ(reader.getManifest().packages.size(), 1u);
  EXPECT_EQ(reader.getManifest().packages[0].uri, kEcoreUri);
  EXPECT_EQ(findDifference(reader.readModel().model, model), std::nullopt);
}

TEST(Archive, EcoreOfTheRealMetaModelsIsTheOneThatIsBuiltIn) {
  const std::string file = std::string(KR0_MODELS_DIR) + "/ecore/Ecore.ecore";
  if (!std::filesystem::exists(file)) GTEST_SKIP() << file << " is not on this machine";
  meta::MetaRegistry fromFile;
  const auto mapping = ecore::loadMetaModels({file}, fromFile);
  meta::MetaRegistry builtIn;
  builtIn.add(ecore::builtInVersionsOf(kEcoreUri).back());
  EXPECT_EQ(fingerprintOf(fromFile, kEcoreUri), fingerprintOf(builtIn, kEcoreUri));

  const Model model = ecore::readXmiFile(file, *mapping);
  const std::string path = test::temporaryPath("ecore.krz");
  saveArchive(model, path, {.mapping = mapping.get()});
  EXPECT_TRUE(ArchiveReader(path).readMetaModel().empty());
  const LoadedArchive loaded = loadArchive(path);
  EXPECT_EQ(findDifference(loaded.model, model), std::nullopt);
  EXPECT_EQ(ecore::writeXmi(loaded.model, *loaded.mapping), ecore::writeXmi(model, *mapping));
}

TEST(Archive, AnotherPackageOfTheUriOfEcoreIsBrought) {
  meta::PackageDefinition another = ecore::builtInVersionsOf(kEcoreUri).back();
  another.types.front().properties.front().name = "ID";
  meta::MetaRegistry registry;
  registry.add(another);
  const Model model = makeMetaModel(registry);
  const std::string path = test::temporaryPath("another.krz");
  saveArchive(model, path);
  EXPECT_EQ(ArchiveReader(path).readMetaModel().size(), 1u);
  EXPECT_EQ(findDifference(loadArchive(path).model, model), std::nullopt);
}

// --- The model by itself, levels, failures

TEST(Archive, AReaderGivesTheModelByItself) {
  ArchiveReader reader(save("reader.krz"));
  EXPECT_EQ(findDifference(reader.readModel().model, library().model), std::nullopt);
}

TEST(Archive, EveryLevelGivesTheModelBack) {
  const std::string path = test::temporaryPath("level.krz");
  for (int level = kFastestLevel; level <= kSmallestLevel; ++level) {
    saveArchive(library().model, path, {.mapping = library().mapping.get(), .level = level});
    EXPECT_EQ(findDifference(loadArchive(path).model, library().model), std::nullopt) << level;
  }
}

// Documents up to a megabyte of compressed bytes are decompressed in one step, larger ones piece by piece.
TEST(Archive, DocumentsOfEverySizeComeBack) {
  const std::string path = test::temporaryPath("large.krz");
  test::Random random(7);
  for (const std::size_t texts : {1u, 3000u, 60000u}) {
    Model model(library().registry);
    Element root = model.createRoot("library.Library");
    for (std::size_t i = 0; i < texts; ++i) {
      std::string text;  // of nothing that repeats
      for (int part = 0; part < 3; ++part) text += std::to_string(random.next());
      root.create("authors").set("name", text);
    }
    saveArchive(model, path, {.mapping = library().mapping.get(), .level = 1});
    EXPECT_EQ(std::filesystem::file_size(path) > std::size_t{1} << 20, texts == 60000) << texts;
    EXPECT_EQ(findDifference(loadArchive(path).model, model), std::nullopt) << texts;
  }
}

TEST(Archive, ALevelOutOfRangeIsMisuse) {
  const std::string path = test::temporaryPath("misuse.krz");
  for (const int level : {0, 20, -1})
    EXPECT_EQ(refusalOf([&] { saveArchive(library().model, path, {.level = level}); }),
              "misuse: " + path + ": the level " + std::to_string(level) + " is not between 1 and 19");
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(Archive, AMappingOfAnotherRegistryIsMisuse) {
  const std::string path = test::temporaryPath("misuse.krz");
  const Library other;
  EXPECT_EQ(refusalOf([&] { saveArchive(library().model, path, {.mapping = other.mapping.get()}); }),
            "misuse: " + path + ": the mapping belongs to another registry than the model");
}

TEST(Archive, ASaveThatIsCancelledLeavesTheOldFile) {
  const std::string path = saveSmall("old.krz");
  const std::string before = test::readFile(path);
  Model large(test::goldenArchiveRegistry());
  for (int i = 0; i < 10000; ++i) large.createRoot("golden.Node");
  for (const bool tagged : {false, true})
    EXPECT_THAT(refusalOf([&] {
                  saveArchive(large, path,
                              {.tagged = tagged, .progress = [](std::uint64_t) { return false; }});
                }),
                StartsWith("cancelled: " + path));
  EXPECT_TRUE(test::readFile(path) == before);
}

TEST(Archive, AFolderAndAPipeAreUnreadable) {
  EXPECT_EQ(refusalOf([] { ArchiveReader reader("/tmp"); }),
            "unreadable: /tmp: cannot be read, it is no regular file");
  EXPECT_EQ(refusalOf([] { ArchiveReader reader("/dev/null"); }),
            "unreadable: /dev/null: cannot be read, it is no regular file");
}

// --- Models that others made

TEST(Archive, RealModelsComeBack) {
  if (!test::haveModels()) GTEST_SKIP() << "no folder of models at " << test::modelsDir();
  const std::pair<const char*, const char*> models[] = {
      {"modisco/Bug_318638.kdm", "modisco/kdm.ecore"},
      {"pivot/Pivot.ecore", "ecore/Ecore.ecore"},
      {"social/initial-1.xmi", "social/social_network.ecore"},
      {"archimate/Archisurance.archimate", "archimate/archimate.ecore"},
  };
  for (const auto& [file, metaModel] : models) {
    meta::MetaRegistry registry;
    const auto mapping = ecore::loadMetaModels({test::modelsDir() + "/" + metaModel}, registry);
    const Model model = ecore::readXmiFile(test::modelsDir() + "/" + file, *mapping);
    const std::string path = test::temporaryPath("real.krz");
    saveArchive(model, path, {.mapping = mapping.get()});
    const LoadedArchive loaded = loadArchive(path);
    EXPECT_EQ(findDifference(loaded.model, model), std::nullopt) << file;
    EXPECT_EQ(ecore::writeXmi(loaded.model, *loaded.mapping), ecore::writeXmi(model, *mapping)) << file;
  }
}

}  // namespace kr::zero::archive
