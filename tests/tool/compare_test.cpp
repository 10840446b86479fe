// kr0 diff, merge and git-setup, and git with them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using nlohmann::json;
using testing::HasSubstr;

/// The example with one text in place of another.
std::string edited(const std::string& from, const std::string& to, const std::string& name = "edited.xmi") {
  std::string text = readFile(libraryXmi());
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  text.replace(at, from.size(), to);
  std::string path = temporaryPath(name);
  writeFile(path, text);
  return path;
}

std::string otherNumber() { return edited("number=\"14\"", "number=\"16\""); }

Ended diff(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"diff", "-m", libraryEcore(), "--"});
  return kr0(arguments);
}

/// Runs a script in a new repository in which `library.krz` is committed, as the first lines of git scripts.
Ended inRepository(const std::string& script, const std::string& setUp = "\"$KR0\" git-setup --apply") {
  const std::string start = R"(
    set -euo pipefail
    mkdir -p "$1/bin" "$1/home" "$1/work"
    ln -s "$KR0" "$1/bin/kr0"
    export HOME="$1/home" PATH="$1/bin:$PATH" GIT_CONFIG_NOSYSTEM=1 GIT_PAGER=cat
    cd "$1/work"
    git init -q -b main . && git config user.name n && git config user.email e@example.org
    edit() { "$KR0" convert library.krz edit.xmi && sed -i "$1" edit.xmi && "$KR0" convert edit.xmi library.krz -m "$2"; rm edit.xmi; }
    commit() { git add -A && git commit -q -m "$1"; }
    "$KR0" convert "$3" library.krz -m "$2"
  )";
  return bash(start + setUp + "\ncommit one\n" + script, {freshFolder(), libraryEcore(), libraryXmi()});
}

}  // namespace

TEST(DiffVerb, EqualDocumentsEndWith0AndPrintNothing) {
  const Ended ended = diff({libraryXmi(), libraryKrb()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.out, "");
}

TEST(DiffVerb, DifferencesEndWith1AndStandOnALineEach) {
  const Ended ended = diff({libraryXmi(), otherNumber()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.out, "changed /library/address.number: 14 -> 16\n");
  EXPECT_EQ(ended.err, "");
}

TEST(DiffVerb, TroubleEndsWith2) {
  for (const Ended& ended : {diff({libraryXmi(), "/nowhere.krb"}), kr0({"diff", libraryXmi(), libraryKrb()}),
                             diff({libraryXmi()}), diff({libraryXmi(), libraryXmi(), "--json", "--stat"})}) {
    EXPECT_EQ(ended.code, 2);
    EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  }
}

TEST(DiffVerb, JsonSaysTheSameToPrograms) {
  const Ended ended = kr0({"diff", libraryXmi(), otherNumber(), "--json", "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(json::parse(ended.out), json::parse(R"({"equal": false, "differences": [{"kind": "changed",
      "class": "library.Address", "before": "/library/address", "after": "/library/address",
      "property": "number", "from": "14", "to": "16"}]})"));
  const Ended equal = kr0({"diff", libraryXmi(), libraryXmi(), "--json", "-m", libraryEcore()});
  EXPECT_EQ(json::parse(equal.out), json::parse(R"({"equal": true, "differences": []})"));
}

TEST(DiffVerb, StatCountsByClass) {
  const Ended ended = kr0({"diff", libraryXmi(), otherNumber(), "--stat", "-m", libraryEcore()});
  EXPECT_EQ(ended.out, "differences: 1 changed\n  library.Address: 1 changed\n");
}

TEST(DiffVerb, ColorsAreThereWhereTheyAreAskedFor) {
  const Ended ended = kr0({"--color", "always", "diff", libraryXmi(), otherNumber(), "-m", libraryEcore()});
  EXPECT_EQ(ended.out, "\x1b[33mchanged /library/address.number: 14 -> 16\x1b[m\n");
}

TEST(DiffVerb, AnArchiveBringsTheMetaModelForBoth) {
  const std::string archive = temporaryPath("library.krz");
  EXPECT_EQ(kr0({"convert", otherNumber(), archive, "-m", libraryEcore()}).code, 0);
  EXPECT_EQ(kr0({"diff", libraryXmi(), archive}).out, "changed /library/address.number: 14 -> 16\n");
}

TEST(DiffVerb, IdsOfTheMetaModelTellElementsApart) {
  const auto model = [](const char* first, const char* second) {
    return std::string(
               "<?xml version=\"1.0\"?>\n<xmi:XMI xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
               "xmlns:t=\"urn:t\">\n<t:E code=\"") +
           first + "\" text=\"same\"/>\n<t:E code=\"" + second + "\" text=\"same\"/>\n</xmi:XMI>\n";
  };
  const std::string meta = temporaryPath("t.ecore");
  writeFile(meta, R"(<?xml version="1.0"?>
<ecore:EPackage xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xmlns:ecore="http://www.eclipse.org/emf/2002/Ecore" name="t" nsURI="urn:t" nsPrefix="t">
  <eClassifiers xsi:type="ecore:EClass" name="E">
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="code" iD="true" eType="ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString"/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="text" eType="ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString"/>
  </eClassifiers>
</ecore:EPackage>)");
  const std::string a = temporaryPath("a.xmi"), b = temporaryPath("b.xmi");
  writeFile(a, model("1", "2"));
  writeFile(b, model("2", "1"));
  EXPECT_EQ(kr0({"diff", a, b, "-m", meta}).out, "reordered /e[0] -> /e[1]\n");
}

TEST(DiffVerb, RealModelsThatDifferInIdsAloneDifferInNothingElse) {
  if (!haveModels()) GTEST_SKIP() << "no folder " << modelsDir();
  const std::string folder = modelsDir() + "/neoemf/";
  const Ended ended = kr0({"diff", folder + "sampleStandard.xmi", folder + "sampleWithId.xmi", "-m",
                           folder + "Java.ecore", "--stat"});
  EXPECT_EQ(ended.code, 1) << ended.err;
  EXPECT_TRUE(ended.out.starts_with("differences: 659 identity\n")) << ended.out;
}

TEST(MergeVerb, WhatBothSidesChangedIsInTheResult) {
  const std::string ours = otherNumber(),
                    theirs = edited("street=\"Weaver's Quay\"", "street=\"Quay\"", "theirs.xmi");
  const std::string merged = temporaryPath("merged.krb");
  const Ended ended = kr0({"merge", libraryXmi(), ours, theirs, "-o", merged, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(diff({libraryXmi(), merged}).out,
            "changed /library/address.street: \"Weaver's Quay\" -> \"Quay\"\n"
            "changed /library/address.number: 14 -> 16\n");
}

TEST(MergeVerb, ConflictsArePrintedAndOursIsWritten) {
  const std::string ours = otherNumber(), theirs = edited("number=\"14\"", "number=\"18\"", "theirs.xmi");
  const std::string merged = temporaryPath("merged.krb");
  const Ended ended = kr0({"merge", libraryXmi(), ours, theirs, "-o", merged, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.out, "conflict: value /library/address.number: base 14, ours 16, theirs 18\n");
  EXPECT_EQ(diff({merged, ours}).code, 0);
  const Ended asJson =
      kr0({"merge", libraryXmi(), ours, theirs, "-o", merged, "--json", "-m", libraryEcore()});
  EXPECT_EQ(json::parse(asJson.out),
            json::parse(R"({"conflicts": [{"kind": "value", "path": "/library/address", "property": "number",
                            "base": "14", "ours": "16", "theirs": "18"}]})"));
}

TEST(MergeVerb, TroubleEndsWith2AndWritesNothing) {
  const std::string merged = temporaryPath("never.krb");
  const Ended ended =
      kr0({"merge", libraryXmi(), "/nowhere", libraryXmi(), "-o", merged, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 2);
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_EQ(kr0({"info", merged}).code, 1);
}

TEST(MergeVerb, AnOutputWithoutExtensionIsOfTheFormatOfOurs) {
  const std::string packed = temporaryPath("library.krt.gz"), merged = temporaryPath("merged");
  EXPECT_EQ(kr0({"convert", libraryXmi(), packed, "-m", libraryEcore()}).code, 0);
  EXPECT_EQ(kr0({"merge", libraryXmi(), packed, libraryXmi(), "-o", merged, "-m", libraryEcore()}).code, 0);
  const Ended info = kr0({"info", merged, "-m", libraryEcore()});
  EXPECT_THAT(info.out, HasSubstr("format: krt"));
  EXPECT_EQ(readFile(merged).substr(0, 2), "\x1f\x8b");
}

TEST(MergeVerb, ABaseThatIsEmptyHoldsNoElements) {
  const std::string empty = temporaryPath("empty"), merged = temporaryPath("merged.krb");
  writeFile(empty, "");
  const Ended ended = kr0({"merge", empty, libraryXmi(), libraryXmi(), "-o", merged, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 0) << ended.out << ended.err;
  EXPECT_EQ(diff({libraryXmi(), merged}).code, 0);
}

TEST(GitSetup, PrintsWhatAShellCanRun) {
  EXPECT_EQ(kr0({"git-setup", "*.krz", "my models/*"}).out,
            "echo '*.krz diff=kr0 merge=kr0' >> .gitattributes\n"
            "echo '\"my models/*\" diff=kr0 merge=kr0' >> .gitattributes\n"
            "git config diff.kr0.command 'kr0 diff --git --'\n"
            "git config diff.kr0.textconv 'kr0 cat --stable --'\n"
            "git config merge.kr0.name 'elements of models, by kr0'\n"
            "git config merge.kr0.driver 'kr0 merge %O %A %B -o %A'\n");
}

TEST(GitSetup, OutsideOfARepositoryNothingIsSet) {
  const Ended ended =
      bash("cd \"$1\" && GIT_CEILING_DIRECTORIES=/ \"$KR0\" git-setup --apply", {freshFolder()});
  EXPECT_EQ(ended.code, 2);
  EXPECT_EQ(ended.err, "kr0: this folder is in no work tree of git\n");
}

TEST(GitSetup, SettingItTwiceAddsNothing) {
  const Ended ended = inRepository("kr0 git-setup --apply; git status --short; cat .gitattributes");
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.out, "*.krb diff=kr0 merge=kr0\n*.krt diff=kr0 merge=kr0\n*.krz diff=kr0 merge=kr0\n");
}

TEST(GitSetup, GitTellsDifferencesOfElements) {
  const Ended ended = inRepository("edit 's/number=\"14\"/number=\"16\"/' \"$2\"; git diff");
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.out, "kr0 diff library.krz\nchanged /library/address.number: 14 -> 16\n");
}

TEST(GitSetup, GitShowsTextsOfOldVersions) {
  const Ended ended =
      inRepository("edit 's/number=\"14\"/number=\"16\"/' \"$2\"; commit two; git log -p -1 --format=%s");
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, HasSubstr("-    number = 14\n+    number = 16\n"));
}

TEST(GitSetup, GitMergesElements) {
  const Ended ended = inRepository(R"(
    git checkout -q -b other && edit 's/number="14"/number="16"/' "$2" && commit two
    git checkout -q main && edit "s/Weaver's Quay/Quay/" "$2" && commit three
    git merge -q other -m merged && kr0 cat library.krz | sed -n 7,8p
  )");
  EXPECT_EQ(ended.code, 0) << ended.err << ended.out;
  EXPECT_THAT(ended.out, testing::EndsWith("    street = \"Quay\"\n    number = 16\n"));
}

TEST(GitSetup, GitReportsConflictsAndLeavesADocument) {
  const Ended ended = inRepository(R"(
    git checkout -q -b other && edit 's/number="14"/number="16"/' "$2" && commit two
    git checkout -q main && edit 's/number="14"/number="18"/' "$2" && commit three
    git merge other -m merged || echo "ended with $?"
    git status --short
    kr0 cat library.krz | sed -n 8p
  )");
  EXPECT_EQ(ended.code, 0) << ended.err << ended.out;
  EXPECT_THAT(ended.out, HasSubstr("conflict: value /library/address.number: base 14, ours 18, theirs 16\n"));
  EXPECT_THAT(ended.out, HasSubstr("ended with 1\nUU library.krz\n    number = 18\n"));
}

TEST(GitSetup, DocumentsWithoutMetaModelTakeTheOneThatWasGiven) {
  const Ended ended = inRepository(R"(
    cp "$2" library.ecore && mkdir sub && kr0 convert library.krz sub/library.krb
    (cd sub && kr0 git-setup --apply -m ../library.ecore) && commit two
    kr0 convert sub/library.krb edit.xmi -m library.ecore && sed -i 's/number="14"/number="16"/' edit.xmi
    kr0 convert edit.xmi sub/library.krb -m library.ecore
    cd sub && git diff && git config diff.kr0.command
  )");
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.out,
            "kr0 diff sub/library.krb\nchanged /library/address.number: 14 -> 16\n"
            "kr0 diff --git -m library.ecore --\n");
}

}  // namespace kr::zero::test
