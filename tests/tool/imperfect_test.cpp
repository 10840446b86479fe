// Options for imperfect and scattered input: --keep-going, --meta-path, --map-uri and --follow.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "Tool.h"
#include "kr/zero/archive/Packing.h"
#include "support/Paths.h"

namespace kr::zero::test::imperfect {

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kUri = "http://www.example.org/library";
constexpr const char* kOtherUri = "http://www.example.org/2019/library";

std::string with(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, text.npos) << from;
  return at == text.npos ? text : text.replace(at, from.size(), to);
}

/// A folder with files in it.
std::string folderOf(const std::vector<std::pair<std::string, std::string>>& files) {
  const std::string folder = freshFolder();
  for (const auto& [name, text] : files) writeFile(folder + "/" + name, text);
  return folder;
}

std::string metaFolder() { return folderOf({{"lib.ecore", readFile(libraryEcore())}}); }

std::string library(const std::string& attributes, const std::string& children = {}) {
  return "<library:Library xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
         "xmlns:library=\"http://www.example.org/library\" " +
         attributes + ">\n" + children + "</library:Library>\n";
}

std::string pathOf(const std::string& name, const std::string& text) {
  return folderOf({{name, text}}) + "/" + name;
}

std::size_t linesOf(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// --- --keep-going

TEST(KeepGoing, SaysEachProblemAsCompilersDoAndEndsWithCodeThree) {
  const std::string path = pathOf("a.xmi", library("name='A' x='1'", "<books title='T' y='2'/>\n"));
  const Ended ended = kr0({"info", path, "-m", libraryEcore(), "--keep-going"});
  EXPECT_EQ(ended.code, 3);
  EXPECT_EQ(ended.err, path + ":1: class library.Library has no feature \"x\"; it is left out\n" + path +
                           ":2: class library.Book has no feature \"y\"; it is left out\n");
  EXPECT_THAT(ended.out, HasSubstr("elements: 2\n"));
  EXPECT_EQ(kr0({"info", path, "-m", libraryEcore()}).code, 1);
  EXPECT_EQ(kr0({"info", libraryXmi(), "-m", libraryEcore(), "--keep-going"}).code, 0);
}

TEST(KeepGoing, ADocumentIsConvertedAsFarAsItCouldBeRead) {
  const std::string path = pathOf("a.xmi", library("name='A' x='1'"));
  const std::string out = freshFolder() + "/a.krb";
  EXPECT_EQ(kr0({"convert", path, out, "-m", libraryEcore(), "--keep-going"}).code, 3);
  EXPECT_EQ(kr0({"cat", out, "-m", libraryEcore()}).out, "library.Library #1\n  name = \"A\"\n");
}

TEST(KeepGoing, SaysAThousandProblemsAndHowManyMoreThereAre) {
  std::string books;
  for (int i = 0; i < 1234; ++i) books += "<books y='1'/>\n";
  const std::string path = pathOf("a.xmi", library("", books));
  const Ended ended = kr0({"info", path, "-m", libraryEcore(), "--keep-going"});
  EXPECT_EQ(ended.code, 3);
  EXPECT_EQ(linesOf(ended.err), 1001u);
  EXPECT_THAT(ended.err, EndsWith("\n234 problems more, which are not told one by one\n"));
}

TEST(KeepGoing, SeveralDocumentsEndWithTheWorstCode) {
  const std::string bad = pathOf("a.xmi", library("x='1'"));
  const std::vector<std::string> call = {"info", bad, libraryXmi(), "-m", libraryEcore(), "--keep-going"};
  EXPECT_EQ(kr0(call).code, 3);
  std::vector<std::string> worse = call;
  worse.insert(worse.begin() + 1, "missing.xmi");
  EXPECT_EQ(kr0(worse).code, 1);
}

TEST(KeepGoing, ControlCharactersOfADocumentReachNoTerminal) {
  const Ended ended = kr0(
      {"info", pathOf("a.xmi", library("name='A' next='&#10;&#x9B;'", "<books title='T'>&#x9B;31m</books>")),
       "-m", libraryEcore(), "--keep-going"});
  EXPECT_EQ(ended.code, 3);
  EXPECT_EQ(ended.err.find('\x9B'), ended.err.npos);
  EXPECT_EQ(linesOf(ended.err), 2u);
}

TEST(KeepGoing, AMetaModelGoesWithoutWhatNeedsMissingFiles) {
  const std::string ecore =
      with(readFile(libraryEcore()), "eType=\"#//Genre\"", "eType=\"lost.ecore#//Genre\"");
  const std::string path = pathOf("lib.ecore", ecore);
  EXPECT_EQ(kr0({"schema", "show", path}).code, 1);
  const Ended ended = kr0({"schema", "show", path, "--keep-going"});
  EXPECT_EQ(ended.code, 3);
  EXPECT_THAT(ended.err, HasSubstr("feature library.Book.genre is left out\n"));
  EXPECT_THAT(ended.out, HasSubstr("  class Book\n"));
  // A document by it lacks that feature too, which is a problem of its own.
  const Ended info = kr0({"info", libraryXmi(), "-m", path, "--keep-going"});
  EXPECT_EQ(info.code, 3);
  EXPECT_THAT(info.err, HasSubstr("class library.Book has no feature \"genre\"; it is left out\n"));
  EXPECT_THAT(info.out, HasSubstr("elements: 37\n"));
}

// --- --meta-path

TEST(MetaPath, FindsMetaModelsByTheUrisOfPackages) {
  const std::string krt = freshFolder() + "/a.krt", json = freshFolder() + "/a.json";
  kr0({"convert", libraryXmi(), krt, "-m", libraryEcore()});
  kr0({"convert", libraryXmi(), json, "-m", libraryEcore()});
  for (const std::string& path : {libraryXmi(), libraryKrb(), krt, json}) {
    const Ended ended = kr0({"info", path, "--meta-path", freshFolder(), "--meta-path", metaFolder()});
    EXPECT_EQ(ended.code, 0) << ended.err;
    EXPECT_THAT(ended.out, HasSubstr("elements: 37\n"));
    EXPECT_EQ(kr0({"convert", path, freshFolder() + "/b.xmi", "--meta-path", metaFolder()}).code, 0) << path;
  }
}

TEST(MetaPath, IsAlsoInTheEnvironment) {
  const Ended ended = bash("KR0_META_PATH=/nowhere::$1 \"$KR0\" info \"$2\"", {metaFolder(), libraryKrb()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, HasSubstr("elements: 37\n"));
}

TEST(MetaPath, HoldsPackedFilesToo) {
  const std::string packed = archive::pack(readFile(libraryEcore()), archive::Packing::gzip, 6);
  const std::string folder =
      folderOf({{"library.ecore.gz", packed}, {"notes.ecore", "hello"}, {"b.txt", ""}});
  EXPECT_EQ(kr0({"check", libraryXmi(), "--meta-path", folder}).code, 0);
}

TEST(MetaPath, TwoFilesForOneUriAreNamed) {
  const std::string ecore = readFile(libraryEcore());
  const std::string folder = folderOf({{"a.ecore", ecore}, {"b.ecore", ecore}});
  const Ended ended = kr0({"cat", libraryKrb(), "--meta-path", folder});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.err, "kr0: " + folder + "/a.ecore: it is for \"" + kUri + "\", and so is " + folder +
                           "/b.ecore: give the one that is meant with -m\n");
  EXPECT_EQ(kr0({"check", libraryKrb(), "--meta-path", folder, "-m", folder + "/a.ecore"}).code, 0);
}

TEST(MetaPath, WhatItDoesNotHaveIsNamed) {
  const Ended ended = kr0({"cat", libraryKrb(), "--meta-path", freshFolder()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_THAT(ended.err, HasSubstr(std::string("none of its packages is in the folders of --meta-path or "
                                               "KR0_META_PATH: \"") +
                                   kUri + "\""));
  EXPECT_THAT(kr0({"info", libraryKrb(), "--meta-path", "/no/such"}).err,
              HasSubstr("/no/such: cannot be read, No such file or directory"));
}

TEST(MetaPath, FindsTheImportsOfMetaModels) {
  const auto package = [](const std::string& name, const std::string& supertype) {
    return "<ecore:EPackage xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
           "xmlns:ecore=\"http://www.eclipse.org/emf/2002/Ecore\" name=\"" +
           name + "\" nsURI=\"urn:" + name + "\"><eClassifiers xsi:type=\"ecore:EClass\" name=\"C\"" +
           (supertype.empty() ? "" : " eSuperTypes=\"" + supertype + "#//C\"") + "/></ecore:EPackage>";
  };
  const std::string folder = folderOf({{"b.ecore", package("b", "platform:/plugin/x/c.ecore")},
                                       {"c.ecore", package("c", "")},
                                       {"d.ecore", package("d", "")}});
  const std::string a = pathOf("a.ecore", package("a", "urn:b"));
  const Ended ended = kr0({"schema", "show", a, "--meta-path", folder});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, HasSubstr("package c urn:c\n"));
  EXPECT_EQ(ended.out.find("urn:d"), ended.out.npos);
  const std::string document = pathOf("a.xmi", "<a:C xmlns:a='urn:a'/>");
  EXPECT_THAT(kr0({"info", document, "-m", a, "--meta-path", folder}).out, HasSubstr("elements: 1\n"));
}

TEST(BuiltIn, AMetaModelIsADocumentThatNeedsNone) {
  const Ended ended = kr0({"info", libraryEcore()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, HasSubstr("ecore.EClass\n"));
  const std::string krb = freshFolder() + "/e.krb";
  EXPECT_EQ(kr0({"convert", libraryEcore(), krb}).code, 0);
  EXPECT_THAT(kr0({"info", krb}).out, HasSubstr("ecore.EClass\n"));
  EXPECT_EQ(kr0({"convert", krb, freshFolder() + "/back.ecore", "--to", "xmi"}).code, 0);
}

// --- --map-uri

TEST(MapUri, SaysWhichPackageADocumentMeans) {
  const std::string ecore = pathOf("old.ecore", with(readFile(libraryEcore()), kUri, kOtherUri));
  const std::string xmi = pathOf("old.xmi", with(readFile(libraryXmi()), kUri, kOtherUri));
  const std::string krb = freshFolder() + "/old.krb", krt = freshFolder() + "/old.krt";
  EXPECT_EQ(kr0({"convert", xmi, krb, "-m", ecore}).code, 0);
  EXPECT_EQ(kr0({"convert", xmi, krt, "-m", ecore}).code, 0);
  const std::string pair = std::string(kOtherUri) + "=" + kUri;
  const std::string expected = kr0({"cat", libraryXmi(), "-m", libraryEcore()}).out;
  for (const std::string& path : {xmi, krb, krt}) {
    EXPECT_EQ(kr0({"cat", path, "-m", libraryEcore(), "--events"}).code, path == krt ? 0 : 1) << path;
    const Ended ended = kr0({"cat", path, "-m", libraryEcore(), "--map-uri", pair});
    EXPECT_EQ(ended.out, expected) << ended.err;
    EXPECT_EQ(kr0({"cat", path, "--meta-path", metaFolder(), "-m", libraryEcore(), "--map-uri", pair}).code,
              0);
  }
}

TEST(MapUri, IsAPair) {
  for (const char* pair : {"a", "=b", "a="}) {
    const Ended ended = kr0({"info", libraryXmi(), "--map-uri", pair});
    EXPECT_EQ(ended.code, 2) << pair;
    EXPECT_THAT(ended.err, HasSubstr("write OLD=NEW"));
  }
}

// --- --follow

TEST(Follow, ReadsTheDocumentsOfAFolderIntoOneModel) {
  const std::string folder =
      folderOf({{"a.xmi", library("name='A'", "<authors name='X'/><books href='b.xmi#/'/>")},
                {"b.xmi",
                 "<library:Book xmlns:library='http://www.example.org/library' title='T'>"
                 "<authors href='a.xmi#//@authors.0'/></library:Book>"}});
  const Ended ended = kr0({"cat", folder + "/a.xmi", "-m", libraryEcore(), "--follow"});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, EndsWith("  books[0]: library.Book #3\n    title = \"T\"\n    authors -> #2\n"));
  const Ended without = kr0({"cat", folder + "/a.xmi", "-m", libraryEcore()});
  EXPECT_EQ(without.code, 1);
  EXPECT_THAT(without.err, HasSubstr("other documents are read only with --follow"));
  const Ended input = bash("\"$KR0\" cat - -m \"$1\" --follow < \"$2\"", {libraryEcore(), folder + "/a.xmi"});
  EXPECT_EQ(input.code, 2);
  EXPECT_THAT(input.err, HasSubstr("--follow takes a file"));
}

TEST(Follow, PackedDocumentsCountWithinTheLimit) {
  const std::string b = "<library:Book xmlns:library='http://www.example.org/library' title='" +
                        std::string(100000, 'T') + "'/>";
  const std::string folder = folderOf({{"a.xmi", library("name='A'", "<books href='b.xmi#/'/>")},
                                       {"b.xmi", archive::pack(b, archive::Packing::gzip, 6)}});
  const std::vector<std::string> call = {"info", folder + "/a.xmi", "-m", libraryEcore(), "--follow"};
  EXPECT_THAT(kr0(call).out, HasSubstr("elements: 2\n"));
  std::vector<std::string> limited = call;
  limited.insert(limited.end(), {"--limit", "50000"});
  EXPECT_EQ(kr0(limited).code, 1);
  EXPECT_THAT(kr0(limited).err, HasSubstr("--limit allows more"));
}

}  // namespace

}  // namespace kr::zero::test::imperfect
