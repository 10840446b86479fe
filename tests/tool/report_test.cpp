// kr0 report: the data of the page, and the page.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "kr/zero/archive/Packing.h"
#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test::reports {

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

Ended report(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "report");
  return kr0(arguments);
}

json dataOf(const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {"--json"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  const Ended ended = report(all);
  EXPECT_EQ(ended.code, 0) << ended.err;
  return json::parse(ended.out);
}

json library(const std::string& path) { return dataOf({path, "-m", libraryEcore()}); }

/// Whether the tool has the page of reports in it.
bool hasPage() {
  static const bool has = report({libraryXmi(), "-m", libraryEcore()}).code == 0;
  return has;
}

// --- The model out of its columns, as `kr0 cat --json` prints it

class Rebuilt {
 public:
  Rebuilt(const json& data, std::size_t document)
      : data_(data), document_(data.at("documents").at(document)), size_(column("class").size()) {
    std::size_t value = 0;
    children_.resize(size_);
    for (std::size_t i = 0; i < size_; ++i) {
      firstValues_.push_back(value);
      value += column("values").at(i).get<std::size_t>();
      const int parent = column("parent").at(i).get<int>();
      (parent < 0 ? roots_ : children_.at(static_cast<std::size_t>(parent))).push_back(i);
    }
    EXPECT_EQ(value, document_.at("values").at("property").size());
    EXPECT_EQ(value, document_.at("values").at("value").size());
  }

  json model() const {
    json elements = json::array();
    for (const std::size_t root : roots_) elements.push_back(element(root));
    return {{"elements", elements}};
  }

 private:
  const json& column(const char* name) const { return document_.at("elements").at(name); }
  const json& propertyAt(const json& number) const {
    return data_.at("properties").at(number.get<std::size_t>());
  }

  std::string className(std::size_t number) const {
    const json& type = data_.at("classes").at(number);
    return data_.at("packages").at(type.at("package").get<std::size_t>()).at("name").get<std::string>() +
           "." + type.at("name").get<std::string>();
  }

  json element(std::size_t number) const {
    json properties = json::object();
    const std::size_t first = firstValues_.at(number);
    for (std::size_t i = first; i < first + column("values").at(number).get<std::size_t>(); ++i) {
      const json& property = propertyAt(document_.at("values").at("property").at(i));
      properties[property.at("name").get<std::string>()] =
          values(property, document_.at("values").at("value").at(i));
    }
    for (const std::size_t child : children_.at(number)) {
      const json& via = propertyAt(column("via").at(child));
      const int at = column("at").at(child).get<int>();
      json& place = properties[via.at("name").get<std::string>()];
      EXPECT_EQ(at, via.at("upper") == 1 ? -1 : static_cast<int>(place.size()));
      if (at < 0)
        place = element(child);
      else
        place.push_back(element(child));
    }
    return {
        {"class", className(column("class").at(number))}, {"number", number + 1}, {"properties", properties}};
  }

  json values(const json& property, const json& value) const {
    if (!value.is_array()) return single(property, value.get<int>());
    EXPECT_NE(property.at("upper"), 1) << property;
    json list = json::array();
    for (const json& each : value) list.push_back(single(property, each.get<int>()));
    return list;
  }

  json single(const json& property, int value) const {
    if (property.at("kind") == "reference" && value >= 0) return {{"ref", value + 1}};
    const std::size_t text =
        static_cast<std::size_t>(property.at("kind") == "reference" ? -1 - value : value);
    return document_.at("texts").at(text);
  }

  const json& data_;
  const json& document_;
  std::size_t size_;
  std::vector<std::size_t> roots_, firstValues_;
  std::vector<std::vector<std::size_t>> children_;
};

/// With the text of each number and Boolean in its place: that is what a report has.
json withTexts(json value) {
  if (value.is_object() && value.contains("properties")) {
    for (json& property : value.at("properties")) property = withTexts(property);
    return value;
  }
  if (value.is_array() || (value.is_object() && value.contains("elements"))) {
    for (json& each : value) each = withTexts(each);
    return value;
  }
  return value.is_number() || value.is_boolean() ? json(value.dump()) : value;
}

json printed(const std::string& path, const std::string& metaModel) {
  const Ended ended = kr0({"cat", "--json", path, "-m", metaModel});
  EXPECT_EQ(ended.code, 0) << ended.err;
  return withTexts(json::parse(ended.out));
}

std::string converted(const std::string& name, const std::string& from = libraryXmi()) {
  std::string path = temporaryPath(name);
  EXPECT_EQ(kr0({"convert", from, path, "-m", libraryEcore()}).code, 0);
  return path;
}

const json& named(const json& list, const std::string& name) {
  for (const json& each : list)
    if (each.at("name") == name) return each;
  ADD_FAILURE() << "no " << name;
  return list;
}

// --- The page

std::string unpackedElement(const std::string& page, const std::string& id) {
  const std::string begin = "<script type=\"application/octet-stream\" id=\"" + id + "\">";
  const std::size_t from = page.find(begin);
  if (from == page.npos) return "none";
  const std::size_t text = from + begin.size();
  std::string bytes;
  std::uint32_t group = 0;
  int bits = 0;
  for (const char c : page.substr(text, page.find('<', text) - text)) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t digit = kDigits.find(c);
    if (digit == kDigits.npos) break;
    group = group << 6 | static_cast<std::uint32_t>(digit);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes += static_cast<char>(group >> bits & 0xFF);
  }
  const auto unpacked = archive::unpack(bytes, archive::Packing::gzip);
  return {unpacked.begin(), unpacked.end()};
}

std::size_t countOf(const std::string& part, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

constexpr const char* kHostile = "</script><script>alert(1)</script><!--\u202e & \"' \\";

std::string hostileXmi(const std::string& name) {
  std::string text = readFile(libraryXmi());
  const std::string title = "Poems";
  text.replace(text.find(title), title.size(),
               "&lt;/script>&lt;script>alert(1)&lt;/script>&lt;!--&#x202e; &amp; &quot;' \\");
  std::string path = freshFolder() + "/" + name;
  writeFile(path, text);
  return path;
}

#define SKIP_WITHOUT_PAGE() \
  if (!hasPage()) GTEST_SKIP() << "the tool was built without the page of reports"

}  // namespace

TEST(ReportData, OfEveryFormatIsTheModel) {
  const json expected = printed(libraryXmi(), libraryEcore());
  for (const char* const name : {"l.krb", "l.krt", "l.krz", "l.json", "l.xmi", "l.krb.gz"}) {
    const json data = library(converted(name));
    EXPECT_EQ(Rebuilt(data, 0).model(), expected) << name;
    EXPECT_EQ(data.at("documents").at(0).at("name"), name);
  }
}

TEST(ReportData, OfARealModelIsTheModel) {
  if (!haveModels()) GTEST_SKIP() << "no folder " << modelsDir();
  const std::string model = modelsDir() + "/neoemf/sampleStandard.xmi",
                    meta = modelsDir() + "/neoemf/Java.ecore";
  const json data = dataOf({model, "-m", meta});
  EXPECT_EQ(Rebuilt(data, 0).model(), printed(model, meta));
  EXPECT_GT(data.at("documents").at(0).at("elements").at("class").size(), 600u);
}

TEST(ReportData, TellsClassesAndProperties) {
  const json data = library(libraryXmi());
  EXPECT_EQ(data.at("report"), 1);
  EXPECT_THAT(data.at("producer").get<std::string>(), testing::StartsWith("kr0 "));
  std::vector<std::string> classes;
  for (const json& type : data.at("classes")) classes.push_back(type.at("name"));
  EXPECT_EQ(classes, (std::vector<std::string>{"Named", "Library", "Address", "Author", "Book", "AudioBook",
                                               "Chapter", "Member", "Loan"}));
  EXPECT_EQ(named(data.at("classes"), "Named").at("abstract"), true);
  EXPECT_EQ(named(data.at("classes"), "Named").at("used"), false);
  EXPECT_EQ(named(data.at("classes"), "Book").at("used"), true);
  EXPECT_EQ(named(data.at("classes"), "AudioBook").at("supertypes"), json({4}));
  const json& minutes =
      data.at("properties")
          .at(named(data.at("classes"), "AudioBook").at("properties").at(0).get<std::size_t>());
  EXPECT_EQ(minutes, json::parse(R"({"name": "minutes", "class": 5, "kind": "attribute", "type": "Integer16",
      "target": -1, "enumeration": -1, "lower": 0, "upper": 1, "ordered": true, "unique": true,
      "opposite": -1, "isId": false})"));
  const json& sequel = named(data.at("properties"), "sequel");
  EXPECT_EQ(sequel.at("kind"), "reference");
  EXPECT_EQ(sequel.at("target"), 4);
  EXPECT_EQ(data.at("properties").at(sequel.at("opposite").get<std::size_t>()).at("name"), "prequel");
  EXPECT_EQ(named(data.at("properties"), "chapters").at("kind"), "containment");
  EXPECT_EQ(named(data.at("properties"), "genre").at("enumeration"), 0);
  EXPECT_EQ(data.at("enumerations").at(0).at("literals").at(4),
            json::parse(R"({"name": "forChildren", "value": 10})"));
  EXPECT_EQ(data.at("packages").at(0).at("uri"), "http://www.example.org/library");
  EXPECT_EQ(data.at("packages").at(0).at("fingerprint").get<std::string>().size(), 32u);
}

TEST(ReportData, BytesOfClassesAddUpToTheDocument) {
  for (const char* const name : {"l.krb", "l.krt"}) {
    const json document = library(converted(name)).at("documents").at(0);
    std::size_t sum = document.at("overhead");
    for (const json& usage : document.at("usage")) {
      sum += usage.at("bytes").get<std::size_t>();
      std::size_t ofClass = usage.at("own");
      for (const json& property : usage.at("properties")) ofClass += property.at("bytes").get<std::size_t>();
      EXPECT_EQ(usage.at("bytes"), ofClass);
    }
    EXPECT_EQ(document.at("bytes"), sum) << name;
  }
}

TEST(ReportData, SizesAreThoseOfTheFormats) {
  const json sizes = library(libraryXmi()).at("documents").at(0).at("sizes");
  for (const char* const format : {"xmi", "krb", "krt", "krz"}) {
    const std::size_t bytes = readFile(converted(std::string("size.") + format)).size();
    EXPECT_THAT(sizes, testing::Contains(json({{"format", format}, {"bytes", bytes}})));
  }
}

TEST(ReportData, NotesCoverTheBytesAndBeginEachElement) {
  for (const char* const name : {"l.krb", "l.krt", "l.krz", "l.xmi"}) {
    const std::string path = converted(name);
    const json data = library(path);
    const json& document = data.at("documents").at(0);
    const json& shown = document.at("shown");
    const std::string kinds = shown.at("kinds");
    EXPECT_EQ(shown.at("format"), name == std::string("l.krt") ? "krt" : "krb");
    EXPECT_EQ(shown.at("own"), name != std::string("l.xmi"));
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'b'), 37) << name;
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'e'), 37) << name;
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'd'), 0) << name;
    ASSERT_EQ(kinds.size(), shown.at("bytes").size());
    ASSERT_EQ(kinds.size(), shown.at("property").size());
    std::size_t sum = 0;
    for (const json& bytes : shown.at("bytes")) sum += bytes.get<std::size_t>();
    const std::string format = shown.at("format");
    EXPECT_EQ(sum, readFile(converted("same." + format)).size());
    // The first value in the bytes is the first of the first element.
    const std::size_t first = kinds.find('v', kinds.find('b'));
    EXPECT_EQ(shown.at("property").at(first), document.at("values").at("property").at(0)) << name;
  }
}

TEST(ReportData, WhatLeadsNowhereIsAText) {
  std::string text = readFile(libraryXmi());
  const std::string reference = " spokenBy=\"//@authors.2\"";
  ASSERT_NE(text.find(reference), text.npos);
  text.replace(text.find(reference), reference.size(), " spokenBy=\"other.xmi#//@authors.0\"");
  const std::string path = temporaryPath("outside.xmi");
  writeFile(path, text);
  const json data = library(path);
  const json& document = data.at("documents").at(0);
  const json& property = named(data.at("properties"), "spokenBy");
  for (std::size_t i = 0; i < document.at("values").at("property").size(); ++i) {
    if (data.at("properties").at(document.at("values").at("property").at(i).get<std::size_t>()) != property)
      continue;
    const int value = document.at("values").at("value").at(i);
    ASSERT_LT(value, 0);
    EXPECT_THAT(document.at("texts").at(static_cast<std::size_t>(-1 - value)).get<std::string>(),
                HasSubstr("other.xmi"));
    return;
  }
  ADD_FAILURE() << "spokenBy has no value";
}

TEST(ReportData, ProblemsNameTheirElement) {
  std::string text = readFile(libraryXmi());
  const std::string title = "books title=\"Poems\"";
  text.replace(text.find(title), title.size(), "books");
  const std::string path = temporaryPath("untitled.xmi");
  writeFile(path, text);
  const json document = library(path).at("documents").at(0);
  EXPECT_EQ(document.at("problemCount"), 1);
  EXPECT_EQ(document.at("problems"), json::parse(R"([{"kind": "rule", "text": "is required and not set",
      "place": "/library/books[2].title", "element": 18, "wrong": true}])"));
  EXPECT_EQ(library(libraryXmi()).at("documents").at(0).at("problems"), json::array());
}

TEST(ReportData, BytesInAnotherOrderThanTheModelAreLeftOut) {
  const std::string xmi = temporaryPath("two.xmi"), krb = temporaryPath("two.krb");
  writeFile(xmi,
            "<library:Library xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
            "xmlns:library=\"http://www.example.org/library\" name=\"L\" openOnSunday=\"true\">"
            "<address street=\"S\"/><authors name=\"A\"/></library:Library>");
  EXPECT_EQ(kr0({"convert", xmi, krb, "-m", libraryEcore()}).code, 0);
  const json shown = library(krb).at("documents").at(0).at("shown");
  const std::string kinds = shown.at("kinds");
  ASSERT_EQ(kinds, "hhhhbvvbvebvee");
  const auto offsetOf = [&](std::size_t note) {
    std::size_t offset = 0;
    for (std::size_t i = 0; i < note; ++i) offset += shown.at("bytes").at(i).get<std::size_t>();
    return offset;
  };
  std::string bytes = readFile(krb);
  const std::size_t address = offsetOf(7), author = offsetOf(10), end = offsetOf(13);
  bytes = bytes.substr(0, address) + bytes.substr(author, end - author) +
          bytes.substr(address, author - address) + bytes.substr(end);
  writeFile(krb, bytes);
  EXPECT_EQ(kr0({"diff", krb, xmi, "-m", libraryEcore()}).out, "");
  const json document = library(krb).at("documents").at(0);
  EXPECT_EQ(document.at("shown"), nullptr);
  EXPECT_THAT(document.at("facts").back().at(1).get<std::string>(), HasSubstr("another order"));
  EXPECT_EQ(document.at("problems").at(0).at("kind"), "bytes");
}

TEST(ReportData, HostileTextsComeAsTheyAre) {
  const json data = library(hostileXmi("hostile.xmi"));
  EXPECT_THAT(data.at("documents").at(0).at("texts"), testing::Contains(json(kHostile)));
}

TEST(ReportData, WithoutBytesThereAreNone) {
  const json document = dataOf({libraryXmi(), "-m", libraryEcore(), "--no-bytes"}).at("documents").at(0);
  EXPECT_EQ(document.at("shown"), nullptr);
  EXPECT_THAT(document.at("facts"), testing::Contains(json({"bytes", "left out of this report"})));
}

TEST(ReportData, TwoDocumentsHaveDifferences) {
  std::string text = readFile(libraryXmi());
  const std::string number = "number=\"14\"", chapter = "<chapters title=\"Loomings\" firstPage=\"1\"/>";
  text.replace(text.find(number), number.size(), "number=\"16\"");
  text.replace(text.find(chapter), chapter.size(), "");
  const std::string path = temporaryPath("after.xmi");
  writeFile(path, text);
  const json data = dataOf({libraryXmi(), path, "-m", libraryEcore()});
  ASSERT_EQ(data.at("documents").size(), 2u);
  const json& differences = data.at("differences");
  EXPECT_EQ(differences.at("counts"), json::parse(R"({"added": 0, "removed": 1, "moved": 0, "reordered": 0,
      "identity": 0, "changed": 1})"));
  EXPECT_EQ(differences.at("total"), 2);
  ASSERT_EQ(differences.at("edits").size(), 2u);
  json changed = differences.at("edits").at(0);
  EXPECT_EQ(data.at("properties").at(changed.at("property").get<std::size_t>()).at("name"), "number");
  changed.erase("property");
  EXPECT_EQ(changed, json::parse(R"({"kind": "changed", "before": 1, "after": 1, "elements": 1,
      "pathBefore": "/library/address", "pathAfter": "/library/address", "valueBefore": "14", "valueAfter": "16",
      "sentence": "changed /library/address.number: 14 -> 16"})"));
  EXPECT_EQ(differences.at("edits").at(1).at("kind"), "removed");
  EXPECT_EQ(differences.at("edits").at(1).at("before"), 15);
  EXPECT_EQ(differences.at("edits").at(1).at("after"), -1);
  EXPECT_EQ(library(libraryXmi()).at("differences"), nullptr);
}

TEST(ReportData, AnEmptyFileIsADocumentWithoutElements) {
  const std::string empty = temporaryPath("empty.krb");
  writeFile(empty, "");
  const json data = dataOf({empty, libraryXmi(), "-m", libraryEcore()});
  EXPECT_EQ(data.at("documents").at(0).at("elements").at("class"), json::array());
  EXPECT_EQ(data.at("differences").at("counts").at("added"), 1);
}

TEST(ReportVerb, DamagedDocumentsAreRefusedInALineAndNothingIsWritten) {
  const std::string path = temporaryPath("cut.krb"), output = freshFolder() + "/cut.html";
  writeFile(path, readFile(libraryKrb()).substr(0, 2000));
  const Ended ended = report({path, "-m", libraryEcore(), "-o", output, "--json"});
  EXPECT_EQ(ended.code, 1);
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_THAT(ended.err, HasSubstr("cut short"));
  EXPECT_EQ(ended.out, "");
  EXPECT_NE(kr0({"info", output}).code, 0);
}

TEST(ReportVerb, ThreeDocumentsAreTooMany) {
  const Ended ended = report({libraryXmi(), libraryXmi(), libraryXmi(), "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 2);
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
}

TEST(ReportVerb, WithoutThePageItSaysHowToGetIt) {
  if (hasPage()) GTEST_SKIP() << "the tool has the page";
  const Ended ended = report({libraryXmi(), "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 2);
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_THAT(ended.err, testing::AllOf(HasSubstr("Node.js"), HasSubstr("--json")));
}

TEST(ReportPage, HoldsTheDataAndTheBytes) {
  SKIP_WITHOUT_PAGE();
  const Ended ended = report({libraryKrb(), "-m", libraryEcore()});
  EXPECT_EQ(json::parse(unpackedElement(ended.out, "kr0-data")), library(libraryKrb()));
  EXPECT_EQ(unpackedElement(ended.out, "kr0-bytes-0"), readFile(libraryKrb()));
  EXPECT_EQ(unpackedElement(ended.out, "kr0-bytes-1"), "none");
  EXPECT_THAT(ended.out, Not(HasSubstr("<!--kr0:")));
}

TEST(ReportPage, OfTwoDocumentsHoldsTheBytesOfBoth) {
  SKIP_WITHOUT_PAGE();
  const std::string tagged = converted("l.krt"), archive = converted("l.krz");
  const Ended ended = report({tagged, archive, "-m", libraryEcore()});
  EXPECT_EQ(unpackedElement(ended.out, "kr0-bytes-0"), readFile(tagged));
  EXPECT_EQ(unpackedElement(ended.out, "kr0-bytes-1"), readFile(libraryKrb()));
  EXPECT_THAT(ended.out, HasSubstr("<title>l.krt and l.krz</title>"));
  EXPECT_EQ(unpackedElement(report({tagged, "-m", libraryEcore(), "--no-bytes"}).out, "kr0-bytes-0"), "none");
}

TEST(ReportPage, IsWrittenToAFile) {
  SKIP_WITHOUT_PAGE();
  const std::string folder = freshFolder();
  const Ended ended = report({libraryXmi(), "-m", libraryEcore(), "-o", folder + "/page.html"});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(filesIn(folder), std::vector<std::string>{"page.html"});
  EXPECT_EQ(readFile(folder + "/page.html"), report({libraryXmi(), "-m", libraryEcore()}).out);
}

TEST(ReportPage, NothingOfADocumentIsMarkup) {
  SKIP_WITHOUT_PAGE();
  const std::string plain = report({libraryXmi(), "-m", libraryEcore()}).out;
  const std::string path = hostileXmi("<script>&\"'\u202e<!--kr0:data-->.xmi");
  const Ended ended = report({path, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  for (const char* const part : {"<script", "</script", "<title", "<!--", "\u202e", "<td>"})
    EXPECT_EQ(countOf(part, ended.out), countOf(part, plain)) << part;
  EXPECT_THAT(ended.out,
              HasSubstr("<title>&lt;script&gt;&amp;&quot;&#39;\\u202e&lt;!--kr0:data--&gt;.xmi</title>"));
}

TEST(ReportPage, HasTablesForReadersWithoutScripts) {
  SKIP_WITHOUT_PAGE();
  std::string text = readFile(libraryXmi());
  const std::string title = "books title=\"Poems\"";
  text.replace(text.find(title), title.size(), "books");
  const std::string path = temporaryPath("untitled.xmi");
  writeFile(path, text);
  const std::string page = report({libraryXmi(), path, "-m", libraryEcore()}).out;
  for (const char* const row :
       {"<tr><td>library.Book</td><td>9</td><td>1134</td></tr>",
        "<tr><td>bytes as krb</td><td>3265</td></tr>", "<p>No problems were found.</p>",
        "<tr><td>rule</td><td>is required and not set</td><td>/library/books[2].title</td></tr>",
        "<tr><td>changed</td><td>1</td></tr>"})
    EXPECT_THAT(page, HasSubstr(row));
}

}  // namespace kr::zero::test::reports
