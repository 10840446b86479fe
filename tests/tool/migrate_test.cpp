// What `kr0 migrate` makes of documents of changed meta models.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using testing::HasSubstr;

/// A package "shelf" with one class of these attributes, written "name type".
std::string ecoreOf(const std::vector<std::pair<std::string, std::string>>& attributes,
                    const std::string& className = "Book") {
  std::string text = R"(<?xml version="1.0" encoding="UTF-8"?>
<ecore:EPackage xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xmlns:ecore="http://www.eclipse.org/emf/2002/Ecore" name="shelf" nsURI="urn:shelf" nsPrefix="shelf">
  <eClassifiers xsi:type="ecore:EClass" name=")" +
                     className + "\">\n";
  for (const auto& [name, type] : attributes)
    text += "    <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"" + name +
            "\" eType=\"ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//" + type + "\"/>\n";
  return text + "  </eClassifiers>\n</ecore:EPackage>\n";
}

/// A folder with two versions of a meta model and a document of the first.
class Migrate : public testing::Test {
 protected:
  const std::string folder = freshFolder();
  const std::string before = folder + "/before.ecore", now = folder + "/now.ecore";
  const std::string map = folder + "/map.json", report = folder + "/report.txt";
  const std::string xmi = folder + "/book.xmi", krb = folder + "/new.krb", back = folder + "/back.xmi";

  Migrate() {
    writeFile(before, ecoreOf({{"title", "EString"}, {"pages", "EInt"}, {"weight", "EDouble"}}));
    writeFile(now, ecoreOf({{"isbn", "EString"}, {"title", "EString"}, {"sheets", "ELong"}}));
    writeFile(map, R"({"kr0": 1, "rename": {"shelf.Book.pages": "sheets"}, "drop": ["shelf.Book.weight"]})");
    writeFile(xmi,
              "<shelf:Book xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
              "xmlns:shelf=\"urn:shelf\" title=\"Moby Dick\" pages=\"635\" weight=\"0.5\"/>");
  }

  Ended migrate(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "migrate");
    return kr0(arguments);
  }
  /// The document in the new version, as XMI.
  std::string migrated(const std::string& document) const {
    const Ended ended = kr0({"convert", document, back, "-m", now});
    EXPECT_EQ(ended.code, 0) << ended.err;
    return readFile(back);
  }
};

}  // namespace

TEST_F(Migrate, CarriesADocumentOverByItsMap) {
  const Ended ended = migrate({xmi, krb, "--from", before, "--to", now, "--map", map});
  EXPECT_EQ(ended.code, 0);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "kr0: asked for: shelf.Book.weight: 1 value left out, as the map says (/book)\n");
  EXPECT_THAT(migrated(krb), HasSubstr("title=\"Moby Dick\" sheets=\"635\"/>"));
}

TEST_F(Migrate, RefusesWhatWouldLoseSomethingAndWritesNothing) {
  const Ended ended = migrate({xmi, krb, "--from", before, "--to", now});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.err,
            "kr0: loss: shelf.Book.pages: 1 value left out, shelf.Book has no property \"pages\" (/book)\n"
            "kr0: loss: shelf.Book.weight: 1 value left out, shelf.Book has no property \"weight\" (/book)\n"
            "kr0: " +
                xmi +
                ": carrying it over would lose something in 2 ways: say with --map what becomes of it, or "
                "allow it with --allow-loss\n");
  EXPECT_FALSE(std::filesystem::exists(krb));
}

TEST_F(Migrate, LosesWhatIsAllowedAndSaysIt) {
  const Ended ended = migrate({xmi, krb, "--from", before, "--to", now, "--allow-loss"});
  EXPECT_EQ(ended.code, 0);
  EXPECT_THAT(ended.err, HasSubstr("kr0: loss: shelf.Book.pages: 1 value left out"));
  EXPECT_THAT(migrated(krb), HasSubstr("title=\"Moby Dick\"/>"));
}

TEST_F(Migrate, WritesTheReportAsText) {
  const Ended ended = migrate({xmi, krb, "--from", before, "--to", now, "--map", map, "--report", report});
  EXPECT_EQ(ended.err, "");
  EXPECT_EQ(readFile(report),
            "carried over: 1 of 1 element\n"
            "shelf.Book: kept: 1 element\n"
            "  title: kept: 1 value\n"
            "  pages: converted to shelf.Book.sheets, Integer to Integer64: 1 value\n"
            "  weight: left out, as the map says: 0 of 1 value\n"
            "asked for: shelf.Book.weight: 1 value left out, as the map says (/book)\n");
}

TEST_F(Migrate, WritesTheReportAsJsonForThatName) {
  const std::string json = folder + "/report.json";
  migrate({xmi, krb, "--from", before, "--to", now, "--report", json});
  const auto said = nlohmann::json::parse(readFile(json));
  EXPECT_EQ(said["elements"], 1);
  EXPECT_EQ(said["losses"].size(), 2u);
  EXPECT_EQ(said["losses"][0]["subject"], "shelf.Book.pages");
  EXPECT_EQ(said["types"][0]["properties"][0]["fate"], "kept");
}

TEST_F(Migrate, GoesBetweenAllFormats) {
  const std::string first = folder + "/first", second = folder + "/second";
  for (const char* from : {".krb", ".krt", ".xmi"}) {
    ASSERT_EQ(kr0({"convert", xmi, first + from, "-m", before}).code, 0);
    for (const char* to : {".krb", ".krt", ".xmi"}) {
      ASSERT_EQ(migrate({first + from, second + to, "--from", before, "--to", now, "--map", map}).code, 0);
      EXPECT_THAT(migrated(second + to), HasSubstr("title=\"Moby Dick\" sheets=\"635\"/>")) << from << to;
    }
  }
}

TEST_F(Migrate, AnArchiveBringsItsOldMetaModel) {
  const std::string old = folder + "/old.krz", fresh = folder + "/new.krz";
  ASSERT_EQ(migrate({xmi, old, "--from", before, "--to", before}).code, 0);
  const Ended ended = migrate({old, fresh, "--to", now, "--map", map});
  EXPECT_EQ(ended.code, 0) << ended.err;
  ASSERT_EQ(migrate({fresh, krb, "--to", now}).code, 0);
  EXPECT_THAT(migrated(krb), HasSubstr("title=\"Moby Dick\" sheets=\"635\"/>"));
}

TEST_F(Migrate, ADraftMapIsProposedWithReasons) {
  const std::string drafted = folder + "/drafted.json";
  writeFile(now, ecoreOf({{"title", "EString"}, {"sheets", "EInt"}, {"weights", "EDouble"}}));
  const Ended ended = migrate({"--draft-map", "--from", before, "--to", now, "-o", drafted});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.out,
            "shelf.Book.pages -> sheets: same number 2 and same type Integer\n"
            "shelf.Book.weight -> weights: same number 3 and same type Real\n");
  EXPECT_EQ(migrate({xmi, krb, "--from", before, "--to", now, "--map", drafted}).err, "");
  EXPECT_THAT(migrated(krb), HasSubstr("title=\"Moby Dick\" sheets=\"635\" weights=\"0.5\"/>"));
}

TEST_F(Migrate, ADraftWithoutAFileGoesToStandardOutput) {
  writeFile(now, ecoreOf({{"title", "EString"}, {"sheets", "EInt"}}));
  const Ended ended = migrate({"--draft-map", "--from", before, "--to", now});
  EXPECT_EQ(ended.out, "{\n  \"kr0\": 1,\n  \"rename\": {\n    \"shelf.Book.pages\": \"sheets\"\n  }\n}\n");
  EXPECT_EQ(ended.err,
            "shelf.Book.pages -> sheets: same number 2 and same type Integer\n"
            "shelf.Book.weight: nothing like it found\n");
}

TEST_F(Migrate, AMapThatIsNoneIsRefusedInOneLine) {
  writeFile(map, R"({"kr0": 1, "rename": {"shelf.Bock": "shelf.Book"}})");
  const Ended ended = migrate({xmi, krb, "--from", before, "--to", now, "--map", map});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.err, "kr0: " + xmi +
                           ": the rule rename \"shelf.Bock\": there is no such name in the old meta model\n");
  writeFile(map, "{");
  EXPECT_EQ(migrate({xmi, krb, "--from", before, "--to", now, "--map", map}).err,
            "kr0: " + map + ", byte 1: this is no JSON\n");
}

TEST_F(Migrate, CallsThatSayTooLittleAreWrongCalls) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--to", now},
                                             {xmi, "--to", now},
                                             {xmi, krb, "--to", now},
                                             {xmi, krb, "--from", before},
                                             {xmi, "-", "--from", before, "--to", now},
                                             {"--draft-map", "--to", now},
                                             {xmi, krb, "--from", before, "--to", now, "-o", map},
                                             {xmi, krb, "--draft-map", "--from", before, "--to", now}}) {
    const Ended ended = migrate(arguments);
    EXPECT_EQ(ended.code, 2) << ended.err;
    EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  }
}

}  // namespace kr::zero::test
