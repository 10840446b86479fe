// Holds docs/formats/direct.md to what the library does: the example on the page is written and read here.

#include <gtest/gtest.h>

#include <cstdint>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "support/Paths.h"

namespace kr::zero {

namespace {

using Bytes = std::vector<std::uint8_t>;

std::vector<std::string> linesOfPage() {
  std::istringstream page(test::readFile(test::sourceDir() + "/docs/formats/direct.md"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(page, line);) lines.push_back(line);
  return lines;
}

struct DumpLine {
  std::size_t offset;
  Bytes bytes;
};

// Lines such as "    0001  02 6b 72      comment".
std::vector<DumpLine> dumpOnPage() {
  const std::regex form("    ([0-9a-f]{4})  ((?:[0-9a-f]{2} ?)+)( .*)?");
  std::vector<DumpLine> dump;
  for (const std::string& line : linesOfPage()) {
    std::smatch match;
    if (!std::regex_match(line, match, form)) continue;
    DumpLine& entry = dump.emplace_back(DumpLine{std::stoul(match[1], nullptr, 16), {}});
    std::istringstream pairs(match[2]);
    for (std::string pair; pairs >> pair;)
      entry.bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
  }
  return dump;
}

Bytes bytesOnPage() {
  Bytes bytes;
  for (const DumpLine& line : dumpOnPage()) bytes.insert(bytes.end(), line.bytes.begin(), line.bytes.end());
  return bytes;
}

class DirectPage : public testing::Test {
 protected:
  DirectPage() {
    meta::MetaModelBuilder library("http://example.org/library", "library");
    library.enumeration("Genre").literal("novel", 0).literal("poetry", 1);
    auto& price = library.datatype("Price");
    price.property("amount", "Real").required();
    price.property("currency", "String");
    auto& shelf = library.classType("Library");
    shelf.property("name", "String");
    shelf.property("books", "Book").many().composite();
    auto& book = library.classType("Book");
    book.property("title", "String").required();
    book.property("genre", "Genre");
    book.property("pages", "Integer").required();
    book.property("inPrint", "Boolean");
    book.property("ratings", "Integer8").many();
    book.property("keywords", "String").many();
    book.property("price", "Price");
    book.property("sequel", "Book");
    book.property("related", "Book").many();
    book.property("note", "String").id(300);
    library.registerIn(registry);
  }

  Model makeExample() const {
    Model model(registry);
    Element library = model.createRoot("library.Library");
    library.setEmpty("name");
    Element first = library.create("books");
    Element second = library.create("books");
    fillFirst(first, second);
    fillSecond(second, first);
    return model;
  }

  Bytes writeExample() const {
    Bytes bytes;
    io::BinarySerializer().serialize(makeExample(), io::SerializationOutput::toByteSequence(bytes));
    return bytes;
  }

  meta::MetaRegistry registry;

 private:
  static void fillFirst(Element book, Element sequel) {
    book.setIdentity("isbn", "0141");
    book.set("title", "Café");
    book.setTextForm("genre", "poetry");
    book.set("pages", 300);
    book.set("inPrint", true);
    book.add("ratings", 5);
    book.add("ratings", -1);
    book.add("keywords", "a");
    book.add("keywords", "sea");
    Element price = book.create("price");
    price.set("amount", 12.5);
    price.set("currency", "EUR");
    book.set("sequel", sequel);
    book.set("note", "x");
  }

  static void fillSecond(Element book, Element first) {
    book.set("title", "B");
    book.setEmpty("genre");
    book.set("pages", -1);
    book.set("inPrint", false);
    book.setEmpty("keywords");
    book.add("related", first);
    book.putUnresolved("related", {"library.Book", "isbn", "0142", "other.krb"});
  }
};

TEST_F(DirectPage, OffsetsOfTheDumpCountItsBytes) {
  std::size_t offset = 0;
  for (const DumpLine& line : dumpOnPage()) {
    EXPECT_EQ(line.offset, offset);
    offset += line.bytes.size();
  }
  EXPECT_EQ(offset, 258u);
}

TEST_F(DirectPage, DumpIsWhatTheLibraryWrites) { EXPECT_EQ(writeExample(), bytesOnPage()); }

TEST_F(DirectPage, DumpReadsAsTheExample) {
  io::BinaryParser parser(std::make_unique<io::ParseCustomizer>(registry),
                          std::make_unique<io::ParsingModelBuilder>(false));
  ASSERT_TRUE(parser.parseByteSequence(bytesOnPage())) << testing::PrintToString(parser.getProblems());
  EXPECT_EQ(findDifference(parser.takeModel(), makeExample()), std::nullopt);
}

// Rows of the table of the example's meta model, such as "| class `Book` | 1 | `title` | ...".
TEST_F(DirectPage, PropertyNumbersAreThoseOfTheRegistry) {
  const std::regex form(R"(\| (?:\w+ `(\w+)` )?\| (\d+) \| `(\w+)` \|.*)");
  std::string type;
  std::size_t rows = 0;
  for (const std::string& line : linesOfPage()) {
    std::smatch match;
    if (!std::regex_match(line, match, form)) continue;
    if (match[1].matched) type = "library." + match[1].str();
    const meta::StructuredType owner(registry.findType(std::string_view(type)));
    ASSERT_TRUE(owner) << line;
    const meta::Property property = owner->findProperty(std::string_view(match[3].str()));
    ASSERT_TRUE(property) << line;
    EXPECT_EQ(std::to_string(property->getIdentifier()), match[2].str()) << line;
    ++rows;
  }
  EXPECT_EQ(rows, 14u);
}

}  // namespace

}  // namespace kr::zero
