// Archives as documents that the tool reads and writes.
#include "tool/Archives.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using Json = nlohmann::json;

std::string outOf(const std::vector<std::string>& arguments, const std::string& input = {}) {
  const Ended ended = kr0(arguments, input);
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.err, "");
  return ended.out;
}

void expectRefused(const Ended& ended, const testing::Matcher<const std::string&>& sentence) {
  EXPECT_EQ(ended.code, 1);
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_TRUE(ended.err.starts_with("kr0: ")) << ended.err;
  EXPECT_THAT(ended.err, sentence);
}

std::string fileWith(const std::string& name, const std::string& bytes) {
  const std::string path = freshFolder() + "/" + name;
  writeFile(path, bytes);
  return path;
}

std::string asXmi(const std::string& path, const std::vector<std::string>& more = {}) {
  std::vector<std::string> arguments = {"convert", path, "-", "--to", "xmi"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return outOf(arguments);
}

Json jsonOf(const Ended& ended) { return Json::parse(ended.out); }

}  // namespace

// --- Converting

TEST(Archives, BringTheirMetaModel) { EXPECT_EQ(asXmi(libraryKrz()), readFile(libraryXmi())); }

TEST(Archives, AreReadByAMetaModelThatIsGivenToo) {
  EXPECT_EQ(asXmi(libraryKrz(), {"-m", libraryEcore()}), readFile(libraryXmi()));
}

TEST(Archives, AMetaModelOfAnotherPackageIsRefused) {
  expectRefused(kr0({"cat", libraryKrz(), "-m", chainEcore()}), HasSubstr("library.krz"));
}

TEST(Archives, BecomeDocumentsAndArchivesAgain) {
  const std::string folder = freshFolder();
  outOf({"convert", libraryKrz(), folder + "/a.krb"});
  outOf({"convert", libraryKrz(), folder + "/a.krz"});
  EXPECT_EQ(readFile(folder + "/a.krb"), readFile(libraryKrb()));
  EXPECT_EQ(readFile(folder + "/a.krz"), libraryArchive());
}

TEST(Archives, GoThroughStandardInputAndOutput) {
  EXPECT_EQ(outOf({"convert", "-", "-", "--to", "krz", "-m", libraryEcore()}, readFile(libraryXmi())),
            libraryArchive());
  EXPECT_EQ(outOf({"convert", libraryKrz(), "/dev/stdout", "--to", "krz"}), libraryArchive());
  EXPECT_EQ(outOf({"convert", "-", "-", "--to", "xmi"}, libraryArchive()), readFile(libraryXmi()));
}

TEST(Archives, AreToldByContentWhateverTheirName) {
  for (const char* name : {"library", "library.xmi", "library.krb"})
    EXPECT_EQ(asXmi(fileWith(name, libraryArchive())), readFile(libraryXmi()));
}

TEST(Archives, HoldATaggedDocumentWhereThatIsAskedFor) {
  const std::string folder = freshFolder();
  outOf({"convert", libraryXmi(), folder + "/tagged.krz", "-m", libraryEcore(), "--tagged"});
  outOf({"convert", libraryXmi(), folder + "/library.krt", "-m", libraryEcore()});
  outOf({"unpack", folder + "/tagged.krz", "-d", folder + "/parts"});
  EXPECT_EQ(readFile(folder + "/parts/tagged.krt"), readFile(folder + "/library.krt"));
  EXPECT_EQ(asXmi(folder + "/tagged.krz"), readFile(libraryXmi()));
}

TEST(Archives, ALevelIsHowMuchTheyAreCompressed) {
  const std::string folder = freshFolder();
  for (const std::string level : {"1", "19"}) {
    const std::string path = folder + "/" + level + ".krz";
    outOf({"convert", libraryXmi(), path, "-m", libraryEcore(), "--level", level});
    EXPECT_EQ(asXmi(path), readFile(libraryXmi()));
  }
  EXPECT_LT(std::filesystem::file_size(folder + "/19.krz"), std::filesystem::file_size(folder + "/1.krz"));
}

TEST(Archives, CarryRealModelsWithMetaModelsOfSeveralFiles) {
  if (!haveModels()) GTEST_SKIP() << "no folder " << modelsDir();
  const std::string folder = freshFolder(), models = modelsDir();
  for (const auto& [model, metaModel] :
       std::map<std::string, std::string>{{"railway/railway-repair-1.xmi", "railway/railway.ecore"},
                                          {"archimate/Archisurance.archimate", "archimate/archimate.ecore"},
                                          {"modisco/test001_java.xmi", "modisco/java.ecore"},
                                          {"ecore/extlibrary.ecore", "ecore/Ecore.ecore"}}) {
    const std::string metaModelPath = models + "/" + metaModel;
    outOf({"convert", models + "/" + model, folder + "/a.krz", "--from", "xmi", "-m", metaModelPath});
    outOf({"convert", models + "/" + model, folder + "/a.krb", "--from", "xmi", "-m", metaModelPath});
    EXPECT_EQ(asXmi(folder + "/a.krz"), asXmi(folder + "/a.krb", {"-m", metaModelPath})) << model;
  }
}

// --- Looking

TEST(Archives, ArePrintedAsTheDocumentInside) {
  for (const std::vector<std::string>& how :
       std::vector<std::vector<std::string>>{{}, {"--json"}, {"--events"}}) {
    std::vector<std::string> ofArchive = {"cat", libraryKrz()}, ofDocument = {"cat", libraryKrb()};
    ofArchive.insert(ofArchive.end(), how.begin(), how.end());
    ofDocument.insert(ofDocument.end(), how.begin(), how.end());
    ofDocument.insert(ofDocument.end(), {"-m", libraryEcore()});
    const std::string shown = outOf(ofArchive);
    EXPECT_EQ(shown, outOf(ofDocument));
    ofArchive.insert(ofArchive.end(), {"-m", libraryEcore()});
    EXPECT_EQ(shown, outOf(ofArchive));
  }
}

TEST(Archives, TellWhatIsInThem) {
  const std::string archive = libraryArchive();
  const std::string shown = outOf({"info", libraryKrz()});
  EXPECT_THAT(shown, testing::StartsWith("format: krz\nversion: 1\nbytes: " + std::to_string(archive.size()) +
                                         "\ndocument: krb, 3265 bytes\nmeta model: 1 file, "));
  EXPECT_THAT(shown, HasSubstr("\n  library.ecore, "));
  EXPECT_THAT(shown, HasSubstr("\npackages: 1\n  http://www.example.org/library, fingerprint "));
  EXPECT_THAT(shown, HasSubstr("\nparts: 3\n  manifest: whole, " + std::to_string(manifestOf(archive).size) +
                               " bytes\n  meta model: whole, " + std::to_string(metaModelOf(archive).size) +
                               " bytes\n  document: whole, " + std::to_string(documentOf(archive).size) +
                               " bytes\nelements: 37\n       9  library.Book\n"));
}

TEST(Archives, TellTheSameAsJson) {
  const std::string archive = libraryArchive();
  const Json info = jsonOf(kr0({"info", libraryKrz(), "--json"}));
  EXPECT_EQ(info.at("format"), "krz");
  EXPECT_EQ(info.at("bytes"), archive.size());
  EXPECT_EQ(info.at("document"), Json({{"format", "krb"}, {"bytes", 3265}}));
  EXPECT_EQ(info.at("metaModel").at("files").at(0).at("name"), "library.ecore");
  EXPECT_EQ(info.at("packages").at(0).at("uri"), "http://www.example.org/library");
  EXPECT_EQ(info.at("packages").at(0).at("fingerprint").get<std::string>().size(), 32u);
  EXPECT_EQ(info.at("parts").at(2),
            Json({{"name", "document"}, {"whole", true}, {"bytes", documentOf(archive).size}}));
  EXPECT_EQ(info.at("elements").at("total"), 37);
  EXPECT_EQ(info.at("elements").at("classes").at("library.Book"), 9);
}

TEST(Archives, OtherDocumentsTellThemselvesAsJsonToo) {
  const Json bare = jsonOf(kr0({"info", libraryKrb(), "--json"}));
  EXPECT_EQ(bare, Json({{"file", libraryKrb()},
                        {"format", "krb"},
                        {"version", "1"},
                        {"bytes", 3265},
                        {"packages", {{{"uri", "http://www.example.org/library"}}}}}));
  const Json counted = jsonOf(kr0({"info", libraryXmi(), "-m", libraryEcore(), "--json"}));
  EXPECT_EQ(counted.at("elements").at("total"), 37);
}

// --- Damage

TEST(DamagedArchives, ADocumentThatIsDamagedIsNamed) {
  const std::string path = fileWith("a.krz", damaged(libraryArchive(), documentOf(libraryArchive())));
  expectRefused(kr0({"convert", path, "-", "--to", "xmi"}),
                HasSubstr("a.krz: the document of the archive is damaged"));
  const Ended ended = kr0({"info", path});
  expectRefused(ended, HasSubstr("a.krz: the document of the archive is damaged"));
  EXPECT_THAT(ended.out, AllOf(HasSubstr("manifest: whole"), HasSubstr("meta model: whole"),
                               HasSubstr("document: damaged"), Not(HasSubstr("elements"))));
}

TEST(DamagedArchives, ADamagedMetaModelLeavesTheDocumentToOneThatIsGiven) {
  const std::string path = fileWith("a.krz", damaged(libraryArchive(), metaModelOf(libraryArchive())));
  expectRefused(kr0({"convert", path, "-", "--to", "xmi"}),
                HasSubstr("a.krz: the meta model of the archive is damaged"));
  EXPECT_EQ(asXmi(path, {"-m", libraryEcore()}), readFile(libraryXmi()));
  const Ended ended = kr0({"info", path, "-m", libraryEcore(), "--json"});
  expectRefused(ended, HasSubstr("the meta model of the archive is damaged"));
  EXPECT_EQ(jsonOf(ended).at("parts").at(1).at("whole"), false);
  EXPECT_EQ(jsonOf(ended).at("parts").at(2).at("whole"), true);
  EXPECT_EQ(jsonOf(ended).at("elements").at("total"), 37);
}

TEST(DamagedArchives, ADamagedManifestLeavesTheSizeOfTheDocument) {
  const std::string path = fileWith("a.krz", damaged(libraryArchive(), manifestOf(libraryArchive())));
  const Ended ended = kr0({"info", path});
  expectRefused(ended, HasSubstr("a.krz: the manifest of the archive is damaged"));
  EXPECT_THAT(ended.out, AllOf(HasSubstr("document: krb, 3265 bytes"), HasSubstr("manifest: damaged"),
                               HasSubstr("document: whole")));
}

TEST(DamagedArchives, EveryCutIsOneSentence) {
  const std::string whole = libraryArchive();
  for (std::size_t size = 1; size < whole.size(); size += 101) {
    const Ended ended = kr0({"convert", "-", "-", "--from", "krz", "--to", "xmi"}, whole.substr(0, size));
    expectRefused(ended, HasSubstr("standard input"));
    EXPECT_EQ(ended.out, "") << size;
  }
}

// --- Limits

TEST(Archives, UnpackToNoMoreThanTheLimit) {
  for (const std::vector<std::string>& call :
       std::vector<std::vector<std::string>>{{"convert", libraryKrz(), "-", "--to", "xmi", "--limit", "1K"},
                                             {"cat", libraryKrz(), "--limit", "1K"},
                                             {"info", libraryKrz(), "--limit", "1K"},
                                             {"unpack", libraryKrz(), "-d", freshFolder(), "--limit", "1K"}})
    expectRefused(kr0(call),
                  HasSubstr("library.krz: it unpacks to more than 1024 bytes; --limit allows more\n"));
  EXPECT_EQ(outOf({"cat", libraryKrz(), "--limit", "1M"}), outOf({"cat", libraryKrz()}));
}

TEST(Archives, ALimitSaysNothingOfWholeness) {
  const Ended ended = kr0({"info", libraryKrz(), "--limit", "4K"});
  expectRefused(ended, HasSubstr("--limit allows more"));
  EXPECT_EQ(ended.out, "");
}

TEST(Archives, MoreThanFourGigabytesTakeALimitOfTheCaller) {
  const std::string path = fileWith("a.krz", withManifest(libraryArchive(), [](Json& manifest) {
                                      manifest["document"]["bytes"] = (std::uint64_t{4} << 30) + 1;
                                    }));
  expectRefused(kr0({"cat", path}), HasSubstr("unpacks to more than 4294967296 bytes; --limit allows more"));
}

// --- Unpacking

TEST(Unpack, GivesDocumentMetaModelAndManifest) {
  const std::string folder = freshFolder() + "/new/parts";
  outOf({"unpack", libraryKrz(), "-d", folder});
  EXPECT_THAT(filesIn(folder),
              testing::UnorderedElementsAre("library.krb", "library.ecore", "manifest.json"));
  EXPECT_EQ(readFile(folder + "/library.krb"), readFile(libraryKrb()));
  EXPECT_EQ(Json::parse(readFile(folder + "/manifest.json")).at("document").at("bytes"), 3265);
  EXPECT_EQ(asXmi(folder + "/library.krb", {"-m", folder + "/library.ecore"}), readFile(libraryXmi()));
}

TEST(Unpack, TheDocumentIsNamedLikeTheArchiveDotsAndAll) {
  const std::string folder = freshFolder();
  for (const auto& [name, document] : std::map<std::string, std::string>{
           {"a.b.c.krz", "a.b.c.krb"}, {"noext", "noext.krb"}, {"x.krz.gz", "x.krb"}}) {
    const std::string parts = freshFolder();
    const std::string path = freshFolder() + "/" + name;
    outOf({"convert", libraryKrz(), path, "--to", "krz"});
    outOf({"unpack", path, "-d", parts});
    EXPECT_TRUE(std::filesystem::exists(parts + "/" + document)) << document;
  }
  const std::string parts = freshFolder();
  outOf({"unpack", "-", "-d", parts}, libraryArchive());
  EXPECT_EQ(readFile(parts + "/document.krb"), readFile(libraryKrb()));
}

TEST(Unpack, PutsFilesInPlaceOfOldOnes) {
  const std::string folder = freshFolder();
  writeFile(folder + "/library.krb", "old");
  outOf({"unpack", libraryKrz(), "-d", folder});
  EXPECT_EQ(readFile(folder + "/library.krb"), readFile(libraryKrb()));
}

TEST(Unpack, WhatIsWholeComesOutOfADamagedArchive) {
  const std::string archive = libraryArchive();
  const auto unpackDamaged = [&](PartPlace part, const std::string& name) {
    const std::string folder = freshFolder();
    expectRefused(kr0({"unpack", fileWith("library.krz", damaged(archive, part)), "-d", folder}),
                  HasSubstr("the " + name + " of the archive is damaged"));
    return filesIn(folder);
  };
  EXPECT_THAT(unpackDamaged(documentOf(archive), "document"),
              testing::UnorderedElementsAre("library.ecore", "manifest.json"));
  EXPECT_THAT(unpackDamaged(metaModelOf(archive), "meta model"),
              testing::UnorderedElementsAre("library.krb", "manifest.json"));
  EXPECT_THAT(unpackDamaged(manifestOf(archive), "manifest"), testing::Contains("library.krb"));
}

TEST(Unpack, NamesAreNotTrusted) {
  for (const std::string name :
       {"../evil.ecore", "/tmp/evil.ecore", "a/../../evil.ecore", "..", "", ".", "a//b", "a/", "/", "./a",
        "manifest.json", "library.krb", "library.krb/a.ecore", "a\nb", "a\x1b[2J", "manifest.json/a"}) {
    const std::string forged = withManifest(
        libraryArchive(), [&](Json& manifest) { manifest["metaModel"]["files"][0]["name"] = name; });
    const std::string around = freshFolder(), folder = around + "/parts";
    const Ended ended = kr0({"unpack", fileWith("library.krz", forged), "-d", folder});
    expectRefused(ended, HasSubstr("library.krz: the file "));
    EXPECT_THAT(ended.err, Not(HasSubstr("\x1b")));
    EXPECT_EQ(filesIn(around), std::vector<std::string>{"parts"});
    EXPECT_THAT(filesIn(folder), testing::UnorderedElementsAre("library.krb", "manifest.json")) << name;
  }
}

TEST(Unpack, NamesMayHaveFoldersAndDots) {
  const std::string forged = withManifest(libraryArchive(), [&](Json& manifest) {
    manifest["metaModel"]["files"][0]["name"] = "a/b..c/..library.ecore";
  });
  const std::string folder = freshFolder();
  outOf({"unpack", fileWith("library.krz", forged), "-d", folder});
  EXPECT_THAT(readFile(folder + "/a/b..c/..library.ecore"), HasSubstr("<ecore:EPackage"));
}

TEST(Unpack, TwoFilesOfOneNameAreRefused) {
  const std::string forged = withManifest(libraryArchive(), [&](Json& manifest) {
    Json& files = manifest["metaModel"]["files"];
    files.push_back({{"name", files[0]["name"]}, {"bytes", 10}});
    files[0]["bytes"] = files[0]["bytes"].get<int>() - 10;
  });
  const std::string folder = freshFolder();
  expectRefused(kr0({"unpack", fileWith("library.krz", forged), "-d", folder}), HasSubstr("is there twice"));
  EXPECT_THAT(filesIn(folder), Not(testing::Contains("library.ecore")));
}

TEST(Unpack, LinksInTheFolderAreNotFollowed) {
  const std::string outside = freshFolder(), folder = freshFolder();
  writeFile(outside + "/mine", "mine");
  std::filesystem::create_symlink(outside + "/mine", folder + "/library.ecore");
  expectRefused(kr0({"unpack", libraryKrz(), "-d", folder}), HasSubstr("through the link"));
  EXPECT_EQ(readFile(outside + "/mine"), "mine");
  EXPECT_EQ(readFile(folder + "/library.krb"), readFile(libraryKrb()));

  const std::string forged = withManifest(
      libraryArchive(), [&](Json& manifest) { manifest["metaModel"]["files"][0]["name"] = "sub/x.ecore"; });
  std::filesystem::create_directory_symlink(outside, folder + "/sub");
  expectRefused(kr0({"unpack", fileWith("library.krz", forged), "-d", folder}),
                HasSubstr("through the link"));
  EXPECT_EQ(filesIn(outside), std::vector<std::string>{"mine"});
}

TEST(Unpack, WhatIsNoArchiveIsRefused) {
  const std::string folder = freshFolder() + "/parts";
  expectRefused(kr0({"unpack", libraryKrb(), "-d", folder}), HasSubstr("does not begin like an archive"));
  EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST(Unpack, AFolderThatCannotBeMadeIsNamed) {
  expectRefused(kr0({"unpack", libraryKrz(), "-d", libraryKrb() + "/parts"}), HasSubstr("library.krb/parts"));
}

}  // namespace kr::zero::test
