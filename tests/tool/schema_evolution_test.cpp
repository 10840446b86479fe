// `kr0 schema diff`, `pin`, `lock` and `check`: what a change of a meta model does to documents, told in
// time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::string text(const std::string& name, int number = 0) {
  const std::string start = "    <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"" + name +
                            "\" eType=\"ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString\"";
  if (number == 0) return start + "/>\n";
  return start + "><eAnnotations source=\"urn:kr0:binary\"><details key=\"id\" value=\"" +
         std::to_string(number) + "\"/></eAnnotations></eStructuralFeatures>\n";
}

std::string literal(const std::string& name, int number) {
  return "    <eLiterals name=\"" + name + "\" value=\"" + std::to_string(number) + "\"/>\n";
}

/// A file with the package "books": the class "Book" with these features and a color, and the enumeration
/// "Color".
std::string booksEcore(const std::string& features,
                       const std::string& literals = literal("red", 0) + literal("blue", 1)) {
  const std::string path = freshFolder() + "/books.ecore";
  writeFile(
      path,
      R"(<?xml version="1.0" encoding="UTF-8"?>
<ecore:EPackage xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xmlns:ecore="http://www.eclipse.org/emf/2002/Ecore" name="books" nsURI="urn:books" nsPrefix="books">
  <eClassifiers xsi:type="ecore:EEnum" name="Color">
)" + literals +
          R"(  </eClassifiers>
  <eClassifiers xsi:type="ecore:EClass" name="Book">
)" + features +
          R"(    <eStructuralFeatures xsi:type="ecore:EAttribute" name="color" eType="#//Color"><eAnnotations
      source="urn:kr0:binary"><details key="id" value="9"/></eAnnotations></eStructuralFeatures>
  </eClassifiers>
</ecore:EPackage>
)");
  return path;
}

std::string locked(const std::string& ecore) {
  const std::string path = freshFolder() + "/books.lock";
  const Ended ended = kr0({"schema", "lock", ecore, "-o", path});
  EXPECT_EQ(ended.code, 0) << ended.err;
  return path;
}

Ended diff(const std::string& before, const std::string& after,
           const std::vector<std::string>& options = {}) {
  std::vector<std::string> call{"schema", "diff", before};
  call.insert(call.end(), options.begin(), options.end());
  call.insert(call.end(), {"--", after});
  return kr0(call);
}

Ended check(const std::string& ecore, const std::string& lock) {
  return kr0({"schema", "check", ecore, "--lock", lock});
}

/// A .krb document of one book, written with the old meta model and printed with the new one.
std::string shownAfterwards(const std::string& before, const std::string& after,
                            const std::string& attributes) {
  const std::string folder = freshFolder();
  writeFile(folder + "/book.xmi", R"(<?xml version="1.0" encoding="UTF-8"?>
<books:Book xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:books="urn:books" )" +
                                      attributes + "/>\n");
  const Ended written = kr0({"convert", folder + "/book.xmi", folder + "/book.krb", "-m", before});
  EXPECT_EQ(written.code, 0) << written.err;
  const Ended shown = kr0({"cat", folder + "/book.krb", "-m", after});
  return shown.code == 0 ? shown.out : "refused: " + shown.err;
}

const std::string kNames = text("firstName", 1) + text("lastName", 2);

}  // namespace

// --- Three ways to lose what is in documents ----------------------------------------------------------

TEST(SchemaEvolution, TwoPropertiesThatChangedPlacesAreNamedBeforeDocumentsShowThem) {
  const std::string before = booksEcore(text("firstName") + text("lastName"));
  const std::string after = booksEcore(text("lastName") + text("firstName"));
  EXPECT_THAT(shownAfterwards(before, after, "firstName=\"Herman\" lastName=\"Melville\""),
              HasSubstr("lastName = \"Herman\""));
  const Ended checked = check(after, locked(before));
  EXPECT_EQ(checked.code, 1);
  EXPECT_EQ(
      checked.out,
      "error: books.Book 1 was firstName and is lastName now: old .krb documents show firstName as lastName\n"
      "error: books.Book 2 was lastName and is firstName now: old .krb documents show lastName as "
      "firstName\n");
  EXPECT_EQ(checked.err, "");
  const Ended compared = diff(before, after);
  EXPECT_EQ(compared.code, 1);
  EXPECT_THAT(compared.out,
              HasSubstr("wrong       books.Book.firstName: its number was 1 and is 2 now, and number 1 is "
                        "lastName: old .krb documents show firstName as lastName\n"));
  EXPECT_THAT(compared.out, EndsWith("2 changes, 2 break old documents\n"));
}

TEST(SchemaEvolution, ARenumberedLiteralIsNamedBeforeDocumentsShowIt) {
  const std::string before = booksEcore(kNames);
  const std::string after = booksEcore(kNames, literal("red", 1) + literal("blue", 0));
  EXPECT_THAT(shownAfterwards(before, after, "color=\"blue\""), HasSubstr("color = red"));
  const Ended checked = check(after, locked(before));
  EXPECT_EQ(checked.code, 1);
  EXPECT_THAT(
      checked.out,
      HasSubstr("error: books.Color 1 was blue and is red now: old .krb documents show blue as red\n"));
  const Ended compared = diff(before, after);
  EXPECT_EQ(compared.code, 1);
  EXPECT_THAT(compared.out,
              HasSubstr("wrong       books.Color.blue: number 1 was blue and is red now: old .krb "
                        "documents show blue as red\n"));
}

TEST(SchemaEvolution, ARemovedPropertyIsNamedBeforeDocumentsAreRefused) {
  const std::string before = booksEcore(kNames);
  const std::string after = booksEcore(text("firstName", 1));
  EXPECT_THAT(shownAfterwards(before, after, "firstName=\"Herman\" lastName=\"Melville\""),
              HasSubstr("has no property with the number 2"));
  const Ended checked = check(after, locked(before));
  EXPECT_EQ(checked.code, 0);
  EXPECT_EQ(checked.out,
            "notice: books.Book 2 (lastName) is gone: old documents with lastName are refused\n");
  const Ended compared = diff(before, after);
  EXPECT_EQ(compared.code, 1);
  EXPECT_THAT(compared.out,
              HasSubstr("refused     books.Book.lastName: the property is gone: old documents that use "
                        "it are refused\n"));
}

// --- diff ---------------------------------------------------------------------------------------------

TEST(SchemaDiffVerb, EndsWithZeroWhereNothingBreaks) {
  const std::string before = booksEcore(kNames);
  const Ended same = diff(before, before);
  EXPECT_EQ(same.code, 0) << same.err;
  EXPECT_EQ(same.out, "no change that documents could tell\n");
  const Ended added = diff(before, booksEcore(kNames + text("isbn", 3)));
  EXPECT_EQ(added.code, 0);
  EXPECT_EQ(added.out,
            "nothing     books.Book.isbn: the property is new: old documents read as before\n"
            "1 change, none break old documents\n");
}

TEST(SchemaDiffVerb, JsonTellsEachChangeWithItsEffects) {
  const Ended ended =
      diff(booksEcore(kNames), booksEcore(text("firstName", 1) + text("surname", 2)), {"--json"});
  EXPECT_EQ(ended.code, 1);
  const json result = json::parse(ended.out);
  EXPECT_EQ(result.at("breaks"), true);
  ASSERT_EQ(result.at("changes").size(), 2u);
  EXPECT_EQ(result.at("changes")[0],
            json({{"kind", "numberReused"},
                  {"subject", "books.Book.lastName"},
                  {"before", "String 0..1, number 2"},
                  {"after", "String 0..1, number 2"},
                  {"effects", {{"krb", "wrong"}, {"krt", "refused"}, {"xmi", "refused"}, {"krz", "refused"}}},
                  {"sentence",
                   "number 2 was lastName and is surname now: old .krb documents show lastName as "
                   "surname; old .krt, .xmi and .krz documents that use it are refused"}}));
}

TEST(SchemaDiffVerb, ARenameThatIsSaidBreaksNoDirectDocument) {
  const std::string before = booksEcore(kNames);
  const std::string after = booksEcore(text("firstName", 1) + text("surname", 2));
  const std::vector<std::string> renamed{"--format", "krb", "--rename", "books.Book.lastName=surname"};
  EXPECT_EQ(diff(before, after, {"--format", "krb"}).code, 1);
  const Ended ended = diff(before, after, renamed);
  EXPECT_EQ(ended.code, 0);
  EXPECT_THAT(ended.out,
              StartsWith("nothing     books.Book.lastName: it is called surname now: old .krt, .xmi and .krz "
                         "documents that use it are refused\n"));
}

TEST(SchemaDiffVerb, AWrongCallIsTold) {
  const std::string ecore = booksEcore(kNames);
  const Ended alone = kr0({"schema", "diff", ecore});
  EXPECT_EQ(alone.code, 2);
  EXPECT_EQ(alone.err,
            "kr0: which files are the new ones? Give them behind --: kr0 schema diff OLD... -- NEW...\n");
  const Ended rename = diff(ecore, ecore, {"--rename", "title"});
  EXPECT_EQ(rename.code, 2);
  EXPECT_EQ(rename.err, "kr0: --rename: \"title\" is not of the form OLD=NEW\n");
  EXPECT_EQ(diff(ecore, ecore, {"--format", "pdf"}).code, 2);
  EXPECT_EQ(diff(ecore, ecore + ".not").code, 1);
}

// --- lock and check -----------------------------------------------------------------------------------

TEST(SchemaLockVerb, LocksTwiceToTheSameBytes) {
  const std::string ecore = booksEcore(kNames);
  const std::string lock = locked(ecore);
  const std::string once = readFile(lock);
  EXPECT_THAT(
      once,
      HasSubstr("      \"2\": {\"bounds\": \"0..1\", \"kind\": \"text\", \"name\": \"lastName\", \"type\": "
                "\"String\"},\n"));
  EXPECT_EQ(kr0({"schema", "lock", ecore, "-o", lock}).code, 0);
  EXPECT_EQ(readFile(lock), once);
  const Ended checked = check(ecore, lock);
  EXPECT_EQ(checked.code, 0);
  EXPECT_EQ(checked.out + checked.err, "");
}

TEST(SchemaLockVerb, KeepsRetiredNumbersSoThatCheckNoticesTheirReuse) {
  const std::string lock = locked(booksEcore(kNames));
  EXPECT_EQ(kr0({"schema", "lock", booksEcore(text("firstName", 1)), "-o", lock}).code, 0);
  EXPECT_THAT(readFile(lock), HasSubstr("\"name\": \"lastName\", \"retired\": true"));
  const Ended reused = check(booksEcore(text("firstName", 1) + text("isbn", 2)), lock);
  EXPECT_EQ(reused.code, 1);
  EXPECT_EQ(reused.out,
            "error: books.Book 2 was lastName and is isbn now: old .krb documents show lastName as isbn\n");
}

TEST(SchemaLockVerb, LeavesTheFileAloneWhereANumberChangedItsMeaningUnlessThatIsAccepted) {
  const std::string lock = locked(booksEcore(kNames));
  const std::string before = readFile(lock);
  const std::string renamed = booksEcore(text("firstName", 1) + text("surname", 2));
  const Ended refused = kr0({"schema", "lock", renamed, "-o", lock});
  EXPECT_EQ(refused.code, 1);
  EXPECT_THAT(refused.out, StartsWith("error: books.Book 2 was lastName and is surname now"));
  EXPECT_EQ(
      refused.err,
      "kr0: " + lock + ": is left as it was, because numbers changed their meaning; --accept writes it\n");
  EXPECT_EQ(readFile(lock), before);
  EXPECT_EQ(kr0({"schema", "lock", renamed, "-o", lock, "--accept"}).code, 0);
  EXPECT_EQ(check(renamed, lock).code, 0);
}

TEST(SchemaLockVerb, ABadLockFileIsRefusedAndLeftAlone) {
  const std::string ecore = booksEcore(kNames);
  const std::string lock = freshFolder() + "/bad.lock";
  writeFile(lock, "{\"kr0-lock\": 1,\n}");
  for (const Ended& ended : {check(ecore, lock), kr0({"schema", "lock", ecore, "-o", lock, "--accept"})}) {
    EXPECT_EQ(ended.code, 1);
    EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
    EXPECT_THAT(ended.err, StartsWith("kr0: " + lock + ": is no lock file, it is not JSON from byte "));
  }
  EXPECT_EQ(readFile(lock), "{\"kr0-lock\": 1,\n}");
  EXPECT_EQ(check(ecore, lock + ".not").code, 1);
}

// --- pin ----------------------------------------------------------------------------------------------

TEST(SchemaPinVerb, PinsInPlaceAndThenChangesNothing) {
  const std::string ecore = booksEcore(text("title") + text("isbn"));
  const Ended shownBefore = kr0({"schema", "show", ecore});
  EXPECT_EQ(kr0({"schema", "pin", ecore}).code, 0);
  const std::string pinned = readFile(ecore);
  EXPECT_THAT(pinned, HasSubstr("<details key=\"lastId\" value=\"9\"/>"));
  EXPECT_EQ(kr0({"schema", "show", ecore}).out, shownBefore.out);
  struct stat before {};
  struct stat after {};
  ASSERT_EQ(stat(ecore.c_str(), &before), 0);
  EXPECT_EQ(kr0({"schema", "pin", ecore}).code, 0);
  ASSERT_EQ(stat(ecore.c_str(), &after), 0);
  EXPECT_EQ(readFile(ecore), pinned);
  EXPECT_EQ(before.st_ino, after.st_ino) << "a file that is pinned is not written again";
}

TEST(SchemaPinVerb, PinsIntoAFolderAndLeavesTheFileAlone) {
  const std::string ecore = booksEcore(text("title"));
  const std::string before = readFile(ecore);
  const std::string folder = freshFolder() + "/pinned";
  const Ended ended = kr0({"schema", "pin", ecore, "-o", folder});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(readFile(ecore), before);
  EXPECT_THAT(readFile(folder + "/books.ecore"), HasSubstr("<details key=\"id\" value=\"1\"/>"));
  EXPECT_EQ(filesIn(folder), std::vector<std::string>{"books.ecore"});
}

TEST(SchemaPinVerb, TwoFilesOfOneNameDoNotReplaceEachOther) {
  const std::string other = freshFolder() + "/books.ecore";
  std::string text = readFile(booksEcore(""));
  for (std::size_t at; (at = text.find("urn:books")) != std::string::npos;) text.replace(at, 9, "urn:other");
  writeFile(other, text);
  const Ended ended = kr0({"schema", "pin", booksEcore(""), other, "-o", freshFolder()});
  EXPECT_EQ(ended.code, 2);
  EXPECT_THAT(ended.err, StartsWith("kr0: two of the files would become "));
}

TEST(SchemaPinVerb, AFeatureThatCannotBePinnedLeavesAllFilesAlone) {
  const std::string last =
      "    <eAnnotations source=\"urn:kr0:binary\"><details key=\"lastId\" "
      "value=\"16382\"/></eAnnotations>\n";
  const std::string full = booksEcore(last + text("title"));
  const std::string before = readFile(full);
  const Ended ended = kr0({"schema", "pin", full});
  EXPECT_EQ(ended.code, 1);
  EXPECT_THAT(ended.err, HasSubstr("no number is left for property \"title\""));
  EXPECT_EQ(readFile(full), before);
}

TEST(SchemaHelp, ShowsAnExampleOfEachVerb) {
  for (const char* verb : {"diff", "lock", "check", "pin"}) {
    const Ended ended = kr0({"schema", verb, "--help"});
    EXPECT_EQ(ended.code, 0);
    EXPECT_THAT(ended.out, HasSubstr("Example:\n  kr0 schema " + std::string(verb) + ' '));
  }
}

}  // namespace kr::zero::test
