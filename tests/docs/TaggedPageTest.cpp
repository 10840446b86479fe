// Holds docs/formats/tagged.md to what the library does: the example on the page is written and read here.

#include <gtest/gtest.h>

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
#include "support/Paths.h"

namespace kr::zero {

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

TEST_F(TaggedPage, DumpReadsAsTheExample) {
  io::BinaryKRSylvanParser parser(std::make_unique<io::ParseCustomizer>(registry),
                                  std::make_unique<io::ParsingModelBuilder>(false));
  const std::string bytes = bytesOnPage();
  ASSERT_TRUE(parser.parse(io::ParsingInput::fromString(bytes)))
      << testing::PrintToString(parser.getProblems());
  EXPECT_EQ(findDifference(parser.takeModel(), makeExample()), std::nullopt);
}

TEST_F(TaggedPage, DumpReadsAsTheEventsOnThePage) {
  std::ostringstream events;
  modeling::sylvan::EventPrinter printer(events);
  io::BinaryAssembler(&printer).visitString(bytesOnPage());
  EXPECT_EQ(events.str(), eventsOnPage());
}

// Rows such as "| `u 300` | `21 2c 01` |".
TEST_F(TaggedPage, PrimitivesInTheTableReadAsTheySay) {
  const std::regex form(R"(\| `([^`]+)` \| `([0-9a-f ]+)` \|)");
  std::size_t rows = 0;
  for (const std::string& line : linesOfPage()) {
    std::smatch match;
    if (!std::regex_match(line, match, form)) continue;
    std::ostringstream events;
    modeling::sylvan::EventPrinter printer(events);
    io::BinaryAssembler(&printer).visitString(bytesOf("01 20 01 30 02 6b 72 " + match[2].str() + " 02"));
    EXPECT_EQ(events.str(), "StartDocument\n  " + match[1].str() + "\nEndDocument\n") << line;
    ++rows;
  }
  EXPECT_EQ(rows, 14u);
}

}  // namespace

}  // namespace kr::zero
