// JSON and tables by the tool: convert to them, and query.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test::tables {

namespace {

using testing::HasSubstr;

/// The example model as an archive, made once.
const std::string& libraryKrz() {
  static const std::string path = [] {
    const std::string made = freshFolder() + "/library.krz";
    const Ended ended = kr0({"convert", libraryXmi(), made, "-m", libraryEcore()});
    EXPECT_EQ(ended.code, 0) << ended.err;
    return made;
  }();
  return path;
}

void expectDone(const std::vector<std::string>& arguments) {
  const Ended ended = kr0(arguments);
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.err, "");
}

std::string answerTo(const std::string& sql, const std::string& form = "--csv") {
  const Ended ended = kr0({"query", libraryKrz(), sql, form});
  EXPECT_EQ(ended.code, 0) << ended.err;
  return ended.out;
}

}  // namespace

TEST(ConvertJson, ThereAndBackGivesTheSameBytes) {
  const std::string folder = freshFolder();
  for (const char* name : {"/a.json", "/a.json.gz"}) {
    expectDone({"convert", libraryKrb(), folder + name, "-m", libraryEcore()});
    expectDone({"convert", folder + name, folder + "/back.krb", "-m", libraryEcore()});
    EXPECT_TRUE(readFile(folder + "/back.krb") == readFile(libraryKrb())) << name;
  }
  EXPECT_TRUE(readFile(folder + "/a.json")
                  .starts_with("{\"kr0\":1,\"packages\":[\"http://www.example.org/library\"]"));
}

TEST(ConvertJson, IsToldByContentAndTakesAMetaModel) {
  const std::string folder = freshFolder();
  expectDone({"convert", libraryKrz(), folder + "/a.json"});
  std::filesystem::rename(folder + "/a.json", folder + "/document");
  EXPECT_THAT(kr0({"info", folder + "/document", "-m", libraryEcore()}).out,
              testing::AllOf(testing::StartsWith("format: json\n"), HasSubstr("elements: 37\n")));
  EXPECT_EQ(kr0({"cat", folder + "/document", "-m", libraryEcore()}).out, kr0({"cat", libraryKrz()}).out);
  const Ended ended = kr0({"cat", folder + "/document"});
  EXPECT_EQ(ended.code, 2);
  EXPECT_THAT(ended.err, HasSubstr("takes the meta model"));
}

TEST(ConvertJson, SaysWhereADocumentIsDamaged) {
  const std::string path = freshFolder() + "/a.json";
  writeFile(path, R"({"kr0":1,"roots":[{"$type":"library.Library","name":)");
  Ended ended = kr0({"cat", path, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_THAT(ended.err,
              testing::StartsWith("kr0: " + path + ", byte 53, /library.name: it is not well-formed JSON: "));
  writeFile(path, R"({"kr0":1,"roots":[{"$type":"library.Library","naem":"x"}]})");
  ended = kr0({"cat", path, "-m", libraryEcore()});
  EXPECT_EQ(ended.err, "kr0: " + path + ", /library: type library.Library has no property \"naem\"\n");
}

#if KR0_HAS_TABLES

TEST(ConvertTables, WritesADatabaseAndFolders) {
  const std::string folder = freshFolder();
  expectDone({"convert", libraryKrz(), folder + "/l.sqlite"});
  EXPECT_TRUE(readFile(folder + "/l.sqlite").starts_with("SQLite format 3"));
  for (int again = 0; again < 2; ++again) expectDone({"convert", libraryKrz(), folder + "/l.csv"});
  EXPECT_TRUE(readFile(folder + "/l.csv/Author.csv")
                  .starts_with("_id,_container,_property,_position,name,born\r\n"
                               "3,1,authors,0,Mary Shelley,1797-08-30\r\n"));
  expectDone({"convert", libraryKrz(), folder + "/l.ndjson"});
  EXPECT_TRUE(readFile(folder + "/l.ndjson/Author.ndjson")
                  .starts_with("{\"_id\":3,\"_container\":1,\"_property\":\"authors\",\"_position\":0,"
                               "\"name\":\"Mary Shelley\",\"born\":\"1797-08-30\"}\n"));
  EXPECT_THAT(filesIn(folder), testing::UnorderedElementsAre("l.sqlite", "l.csv", "l.ndjson"));
}

TEST(ConvertTables, WritesADatabaseToAnOpenFileThatItsDescriptorNames) {
  const std::string file = freshFolder() + "/l.sqlite";
  const Ended ended = bash("$KR0 convert $1 /dev/fd/5 --to sqlite 5> $2", {libraryKrz(), file});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_TRUE(readFile(file).starts_with("SQLite format 3"));
}

TEST(ConvertTables, TakesSeveralDocumentsIntoAFolder) {
  const std::string folder = freshFolder();
  expectDone({"convert", libraryKrz(), "-o", folder, "--to", "csv"});
  EXPECT_TRUE(std::filesystem::exists(folder + "/library.csv/Book.csv"));
}

TEST(ConvertTables, RefusesWhatTablesAreNot) {
  const std::string folder = freshFolder();
  const auto sentence = [](const std::vector<std::string>& arguments) { return kr0(arguments).err; };
  EXPECT_EQ(sentence({"convert", libraryKrz(), folder + "/l.csv.gz"}),
            "kr0: " + folder + "/l.csv.gz: tables are not packed\n");
  EXPECT_EQ(sentence({"convert", libraryKrz(), "-", "--to", "sqlite"}),
            "kr0: tables go to files: standard output is none; kr0 query --csv prints one table\n");
  for (const char* name : {"l.sqlite", "l.csv", "l.ndjson"}) {
    const Ended ended = kr0({"cat", folder + "/" + name});
    EXPECT_EQ(ended.code, 1);
    EXPECT_EQ(ended.err,
              "kr0: " + folder + "/" + name + ": tables are only written: they do not tell all of a model\n");
  }
  std::filesystem::create_directory(folder + "/mine.csv");
  writeFile(folder + "/mine.csv/diary.txt", "dear");
  EXPECT_EQ(sentence({"convert", libraryKrz(), folder + "/mine.csv"}),
            "kr0: " + folder +
                "/mine.csv: holds diary.txt, which is no such table: the folder is not overwritten\n");
}

TEST(Query, PrintsATableCsvOrJson) {
  const std::string sql = "SELECT title, pages FROM Book WHERE pages > 600 ORDER BY pages";
  EXPECT_EQ(kr0({"query", libraryKrz(), sql}).out,
            "title                     pages\n"
            "------------------------  -----\n"
            "Moby-Dick; or, The Whale    635\n"
            "Ἱστορίαι                    648\n");
  EXPECT_EQ(answerTo(sql), "title,pages\r\n\"Moby-Dick; or, The Whale\",635\r\nἹστορίαι,648\r\n");
  EXPECT_EQ(answerTo(sql, "--json"),
            "[\n{\"title\":\"Moby-Dick; or, The "
            "Whale\",\"pages\":635},\n{\"title\":\"Ἱστορίαι\",\"pages\":648}\n]\n");
}

TEST(Query, PrintsAnAnswerWithoutRows) {
  const std::string sql = "SELECT title FROM Book WHERE pages > 6000";
  EXPECT_EQ(kr0({"query", libraryKrz(), sql}).out, "title\n-----\n");
  EXPECT_EQ(answerTo(sql), "title\r\n");
  EXPECT_EQ(answerTo(sql, "--json"), "[]\n");
}

TEST(Query, KeepsTextsInOneLineOfATableAndWholeInCsv) {
  EXPECT_EQ(kr0({"query", libraryKrz(),
                 "SELECT 'a' || char(10) || 'b' || char(27) AS t, NULL AS n, 0.5 AS r, 'x' AS t"})
                .out,
            "t     n  r    t\n----  -  ---  -\na b      0.5  x\n");
  EXPECT_EQ(answerTo("SELECT char(27) AS t"), "t\r\n\x1B\r\n");
  EXPECT_EQ(answerTo("SELECT 1 AS t, 2 AS t", "--json"), "[\n{\"t\":1,\"t_2\":2}\n]\n");
}

TEST(Query, WidensNothingForRowsThatComeLate) {
  const std::string answer =
      kr0({"query", libraryKrz(),
           "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000) "
           "SELECT i, CASE i WHEN 2000 THEN 'a wide one' ELSE 'x' END AS text FROM n"})
          .out;
  EXPECT_TRUE(answer.starts_with("i     text\n----  ----\n   1  x\n")) << answer.substr(0, 60);
  EXPECT_TRUE(answer.ends_with("\n1999  x\n2000  a wide one\n")) << answer.substr(answer.size() - 60);
}

TEST(Query, TellsDocumentsApart) {
  const std::string folder = freshFolder();
  expectDone({"convert", libraryKrz(), folder + "/b.krz"});
  const Ended ended = kr0({"query", libraryKrz(), folder + "/b.krz",
                           "SELECT count(DISTINCT _document), count(*), max(_id) FROM Book", "--csv"});
  EXPECT_EQ(ended.out, "count(DISTINCT _document),count(*),max(_id)\r\n2,18,64\r\n") << ended.err;
}

TEST(Query, IsRefusedInOneSentence) {
  const auto refusal = [](const std::vector<std::string>& more) {
    std::vector<std::string> arguments{"query"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Ended ended = kr0(arguments);
    EXPECT_EQ(ended.code, 2);
    EXPECT_EQ(ended.out, "");
    return ended.err;
  };
  EXPECT_EQ(refusal({libraryKrz(), "SELECT x FROM Book"}),
            "kr0: the query cannot be answered: no such column: x (--schema in place of the query shows the "
            "tables)\n");
  EXPECT_EQ(
      refusal({libraryKrz(), "DELETE FROM Book"}),
      "kr0: the query cannot be answered: it is more than a SELECT, and these tables are only read (--schema "
      "in place of the query shows the tables)\n");
  EXPECT_EQ(refusal({libraryKrz()}),
            "kr0: query takes documents and behind them a query: kr0 query books.krz 'SELECT * FROM Book'\n");
  EXPECT_EQ(refusal({libraryKrz(), "SELECT 1", "--csv", "--json"}),
            "kr0: --csv and --json are two ways of printing\n");
  const Ended missing = kr0({"query", "/nowhere.krz", "SELECT 1"});
  EXPECT_EQ(missing.code, 1);
  EXPECT_THAT(missing.err, testing::StartsWith("kr0: /nowhere.krz: cannot be read"));
}

TEST(Query, ShowsTheTables) {
  const Ended ended = kr0({"query", libraryKrz(), "--schema"});
  EXPECT_THAT(ended.out,
              HasSubstr("\nCREATE TABLE \"Author\" (\"_id\" INTEGER PRIMARY KEY REFERENCES \"elements\", "));
  EXPECT_EQ(ended.err, "");
}

#endif

}  // namespace kr::zero::test::tables
