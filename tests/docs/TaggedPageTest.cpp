// Holds docs/formats/tagged.md to what the library does: the example on the page is written and read here.

#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/io/BinaryAssembler.h"
#include "kr/zero/io/BinaryFormatter.h"
#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "modeling/sylvan/EventPrinter.h"
#include "modeling/sylvan/grammar/GrammarException.h"
#include "support/Paths.h"

namespace kr::zero::tagged_page {

namespace {

std::vector<std::string> linesOfPage() {
  std::istringstream page(test::readFile(test::sourceDir() + "/docs/formats/tagged.md"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(page, line);) lines.push_back(line);
  return lines;
}

std::string bytesOf(const std::string& pairs) {
  std::istringstream in(pairs);
  std::string bytes;
  for (std::string pair; in >> pair;) bytes += static_cast<char>(std::stoul(pair, nullptr, 16));
  return bytes;
}

struct DumpLine {
  std::size_t offset;
  std::string bytes;
};

// Lines such as "    0001  20 01                    comment".
std::vector<DumpLine> dumpOnPage() {
  const std::regex form("    ([0-9a-f]{4})  ((?:[0-9a-f]{2} ?)+)( .*)?");
  std::vector<DumpLine> dump;
  for (const std::string& line : linesOfPage()) {
    std::smatch match;
    if (std::regex_match(line, match, form))
      dump.push_back({std::stoul(match[1], nullptr, 16), bytesOf(match[2])});
  }
  return dump;
}

std::string bytesOnPage() {
  std::string bytes;
  for (const DumpLine& line : dumpOnPage()) bytes += line.bytes;
  return bytes;
}

// The indented block that begins with "StartDocument".
std::string eventsOnPage() {
  std::string events;
  for (const std::string& line : linesOfPage()) {
    if (events.empty() && line != "    StartDocument") continue;
    if (!line.starts_with("    ")) break;
    events += line.substr(4) + '\n';
  }
  return events;
}

// The bytes with those from `second` to `end` in front of those from `first` to `second`.
std::string swapped(const std::string& bytes, std::size_t first, std::size_t second, std::size_t end) {
  return bytes.substr(0, first) + bytes.substr(second, end - second) + bytes.substr(first, second - first) +
         bytes.substr(end);
}

// The events of a document, as on the page.
std::string printed(const std::string& document) {
  std::ostringstream events;
  modeling::sylvan::EventPrinter printer(events);
  io::BinaryAssembler(&printer).visitString(document);
  return events.str();
}

class TaggedPage : public testing::Test {
 protected:
  TaggedPage() {
    meta::MetaModelBuilder library("http://example.org/library", "library");
    library.enumeration("Genre").literal("novel", 0).literal("poetry", 1);
    auto& price = library.datatype("Price");
    price.property("amount", "Real").required();
    price.property("currency", "String");
    auto& book = library.classType("Book");
    book.property("title", "String").required();
    book.property("genre", "Genre");
    book.property("pages", "Integer").required();
    book.property("inPrint", "Boolean");
    book.property("ratings", "Integer8").many();
    book.property("price", "Price");
    book.property("sequel", "Book");
    library.registerIn(registry);
  }

  Model makeExample() const {
    Model model(registry);
    Element book = model.createRoot("library.Book");
    book.setIdentity("isbn", "0141");
    book.set("title", "Café");
    book.setTextForm("genre", "poetry");
    book.set("pages", 300);
    book.set("inPrint", true);
    book.add("ratings", 0);
    book.add("ratings", -1);
    Element price = book.create("price");
    price.set("amount", 12.5);
    price.setEmpty("currency");
    book.putUnresolved("sequel", {"library.Book", "isbn", "0142", "other.krt"});
    return model;
  }

  std::unique_ptr<io::BinaryKRSylvanParser> makeParser() const {
    return std::make_unique<io::BinaryKRSylvanParser>(std::make_unique<io::ParseCustomizer>(registry),
                                                      std::make_unique<io::ParsingModelBuilder>(false));
  }

  void expectExample(const std::string& bytes) const {
    const auto parser = makeParser();
    ASSERT_TRUE(parser->parse(io::ParsingInput::fromString(bytes)))
        << testing::PrintToString(parser->getProblems());
    EXPECT_EQ(findDifference(parser->takeModel(), makeExample()), std::nullopt);
  }

  void expectWrongShape(const std::string& bytes) const {
    EXPECT_THROW(static_cast<void>(makeParser()->parse(io::ParsingInput::fromString(bytes))),
                 modeling::sylvan::grammar::GrammarException);
  }

  meta::MetaRegistry registry;
};

TEST_F(TaggedPage, OffsetsOfTheDumpCountItsBytes) {
  std::size_t offset = 0;
  for (const DumpLine& line : dumpOnPage()) {
    EXPECT_EQ(line.offset, offset);
    offset += line.bytes.size();
  }
  EXPECT_EQ(offset, std::size_t{0x133});
}

TEST_F(TaggedPage, DumpIsWhatTheLibraryWrites) {
  std::string bytes;
  io::BinaryKRSylvanSerializer().serialize(makeExample(), io::SerializationOutput::toString(bytes));
  EXPECT_TRUE(bytes == bytesOnPage());
}

TEST_F(TaggedPage, DumpReadsAsTheExample) { expectExample(bytesOnPage()); }

TEST_F(TaggedPage, EntriesOfStructsReadInAnyOrder) {
  expectExample(swapped(bytesOnPage(), 0x6e, 0x7e, 0x8f));    // title and genre
  expectExample(swapped(bytesOnPage(), 0xec, 0x102, 0x116));  // type and identity of the reference
}

TEST_F(TaggedPage, EntriesOfMetadataReadInTheOrderOfThePageOnly) {
  expectWrongShape(swapped(bytesOnPage(), 0x08, 0x15, 0x3f));  // version and packages
  expectWrongShape(swapped(bytesOnPage(), 0x42, 0x58, 0x6c));  // type and identity of the book
}

TEST_F(TaggedPage, DumpReadsAsTheEventsOnThePage) { EXPECT_EQ(printed(bytesOnPage()), eventsOnPage()); }

std::string headerAnd(const std::string& pairs) { return bytesOf("01 20 01 30 02 6b 72 " + pairs); }

// Rows such as "| `u 300` | `21 2c 01` |".
TEST_F(TaggedPage, PrimitivesInTheTableReadAsTheySayAndAreWrittenSo) {
  const std::regex form(R"(\| `([^`]+)` \| `([0-9a-f ]+)` \|)");
  std::size_t rows = 0;
  for (const std::string& line : linesOfPage()) {
    std::smatch match;
    if (!std::regex_match(line, match, form)) continue;
    const std::string document = headerAnd(match[2].str() + " 02");
    EXPECT_EQ(printed(document), "StartDocument\n  " + match[1].str() + "\nEndDocument\n") << line;
    std::string written;
    io::BinaryFormatter formatter(io::SerializationOutput::toString(written));
    io::BinaryAssembler(&formatter).visitString(document);
    EXPECT_TRUE(written == document) << line;
    ++rows;
  }
  EXPECT_EQ(rows, 15u);
}

// Rows such as "| `03` | StartStruct |".
TEST_F(TaggedPage, TagsInTheTableReadAsTheirEvents) {
  const std::regex form(R"(\| `([0-9a-f]{2})` \| ([A-Z][A-Za-z]+)(, .*)? \|)");
  std::size_t rows = 0;
  for (const std::string& line : linesOfPage()) {
    std::smatch match;
    if (!std::regex_match(line, match, form)) continue;
    const std::string tag = match[1].str();
    const std::string item = tag == "01" ? "" : tag == "09" ? "09 16" : tag;  // 01 stands in the header
    std::istringstream events(printed(headerAnd(item)));
    std::string last;
    for (std::string event; events >> event;)
      if (event != "null") last = event;
    EXPECT_EQ(last, match[2].str()) << line;
    ++rows;
  }
  EXPECT_EQ(rows, 10u);
}

// Pairs such as "`20 00` is an unsigned 0" in the table of what readers accept.
TEST_F(TaggedPage, LaxFormsReadAsThePageSays) {
  EXPECT_EQ(printed(headerAnd("23 05 00 00 00")), "StartDocument\n  u 5\n");
  EXPECT_EQ(printed(headerAnd("20 00")), "StartDocument\n  u 0\n");
  EXPECT_EQ(printed(headerAnd("2f ff ff ff ff ff ff ff ff")), "StartDocument\n  s 1\n");
  EXPECT_EQ(printed(headerAnd("14 00 00 00 00 00 00 00 80")), "StartDocument\n  r -0\n");
}

}  // namespace

}  // namespace kr::zero::tagged_page
