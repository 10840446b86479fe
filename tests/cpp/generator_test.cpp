// What the generator writes: names, comments, tables.
#include <array>
#include <cstdio>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "Identifiers.h"
#include "SourceText.h"
#include "cpp/CppTesting.h"
#include "everything/EverythingModel.h"
#include "kr/zero/cpp/GenerateCpp.h"
#include "kr/zero/ecore/Documentation.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/meta/EmbeddedMetaModel.h"

namespace kr::zero::cpp {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::string comment(std::string_view text) {
  std::string out;
  appendComment(out, 0, text);
  return out;
}

std::string hostileHeader() {
  meta::MetaRegistry registry;
  const auto mapping = ecore::loadMetaModels({KR0_SOURCE_DIR "/tests/cpp/hostile.ecore"}, registry);
  for (const File& file : generate(registry, ecore::readDocumentation(*mapping)))
    if (file.name == "std.kr0.h") return file.text;
  throw std::runtime_error("there is no header of the package std");
}

/// Names of the macros that the headers of C, C++ and POSIX define.
std::vector<std::string> macrosOfHeaders() {
  constexpr const char* kCommand =
      "printf '#include <%s>\\n' algorithm cassert cctype cerrno cfenv cfloat chrono cinttypes climits "
      "clocale cmath complex "
      "csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib cstring ctime cwchar filesystem iostream "
      "memory mutex regex "
      "string thread vector fcntl.h sys/stat.h sys/types.h unistd.h | c++ -std=gnu++20 -x c++ -dM -E - | sed "
      "-E 's/^#define "
      "([A-Za-z0-9_]+).*/\\1/' | grep -v '^_'";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(kCommand, "r"), ::pclose);
  std::vector<std::string> names;
  std::array<char, 256> line{};
  while (pipe && std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
    names.emplace_back(line.data());
    names.back().pop_back();
  }
  return names;
}

}  // namespace

TEST(Identifiers, AreMadeOfAnyText) {
  EXPECT_EQ(cleaned("plainName"), "plainName");
  EXPECT_EQ(cleaned("two words"), "two_words");
  EXPECT_EQ(cleaned("__a--b__"), "a_b");
  EXPECT_EQ(cleaned("1st"), "n1st");
  EXPECT_EQ(cleaned("stra\xC3\x9F"
                    "e"),
            "strau00DFe");
  EXPECT_EQ(cleaned("\xF0\x9F\x98\x80"), "u1F600");
  EXPECT_EQ(cleaned("*/"), "unnamed");
  EXPECT_EQ(memberNameOf("title"), "Title");
  EXPECT_EQ(memberNameOf("Title"), "Title");
}

TEST(Identifiers, ThatAreKeywordsOrMacrosGetAnUnderscore) {
  for (const char* word :
       {"class", "co_yield", "xor_eq", "major", "errno", "NULL", "assert", "unix", "linux", "EOF", "INT_MAX"})
    EXPECT_EQ(identifierOf(word), std::string(word) + "_");
  for (const char* word : {"Book", "klass", "PRIVATE", "SIGNAL", "ERROR", "MAX_SIZE"})
    EXPECT_EQ(identifierOf(word), word);
}

TEST(Identifiers, NoMacroOfTheSystemsHeadersIsLeft) {
  const std::vector<std::string> macros = macrosOfHeaders();
  ASSERT_GT(macros.size(), 500u) << "the compiler was not asked";
  EXPECT_THAT(macros, testing::Contains("errno"));
  for (const std::string& macro : macros) EXPECT_TRUE(isReserved(macro)) << macro;
}

TEST(Identifiers, AreUniqueInTheirScope) {
  UniqueNames scope;
  EXPECT_EQ(scope.take("a"), "a");
  EXPECT_EQ(scope.take("a"), "a_2");
  EXPECT_EQ(scope.take("a_2"), "a_2_2");
  EXPECT_EQ(scope.take("class_"), "class_");
  EXPECT_EQ(scope.take("class_"), "class_2");
}

TEST(Comments, NeitherEndNorGoOnInTheNextLine) {
  EXPECT_EQ(comment("one\ntwo"), "/// one\n/// two\n");
  EXPECT_EQ(comment("one\\\ntwo\\"), "/// one\\.\n/// two\\.\n");
  EXPECT_EQ(comment("one?\?/\ntwo"), "/// one?\?/.\n/// two\n");
  EXPECT_EQ(comment("a\rb\vc\fd\x01"
                    "e"),
            "/// a b c d e\n");
  EXPECT_EQ(comment("*/"), "/// */\n");
  EXPECT_EQ(comment("\n\n a \n\n\n b \n"), "/// a\n///\n/// b\n");
  EXPECT_EQ(comment(" \n "), "");
}

TEST(Comments, HideNothing) {
  EXPECT_EQ(comment("a\xE2\x80\xAE"
                    "b\xE2\x81\xA6"
                    "c\xC2\x85"
                    "d"),
            "/// a b c d\n");
  EXPECT_EQ(comment("caf\xC3\xA9 \xE2\x82\xAC"), "/// caf\xC3\xA9 \xE2\x82\xAC\n");
}

TEST(Comments, LongLinesAreBroken) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "word ";
  std::istringstream lines(comment(text));
  std::size_t words = 0;
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(line.size(), 110u);
    words += (line.size() - 3) / 5;
  }
  EXPECT_EQ(words, 100u);
}

TEST(Views, HoldAnyTextAndItsLength) {
  EXPECT_EQ(asView("plain"), "{\"plain\", 5}");
  EXPECT_EQ(asView("\"\\?\n\xC3\xA9"), "{\"\\042\\134\\077\\012\\303\\251\", 6}");
  EXPECT_EQ(asView(std::string_view("a\0"
                                    "1",
                                    3)),
            "{\"a\\0001\", 3}");
}

TEST(Documentation, IsTakenOver) {
  const std::string header = hostileHeader();
  EXPECT_THAT(header,
              HasSubstr("/// Of the package: */ int x; /* ?\?/.\n/// #error not a comment\nnamespace"));
  EXPECT_THAT(header, HasSubstr("  /// Of a literal \\.\n"));
  EXPECT_THAT(header, HasSubstr("  /// Of a feature\n"));
  EXPECT_THAT(header,
              HasSubstr("/// turns around here */\n/// int y;\ntemplate <class Handle>\nclass Basicclass_"));
  EXPECT_THAT(header, Not(HasSubstr("\xE2\x80\xAE")));
}

TEST(Generating, IsTheSameForTheSameMetaModel) {
  std::vector<std::string> made;
  for (int i = 0; i < 2; ++i) {
    meta::MetaRegistry registry;
    test::registerEverything(registry);
    std::string all;
    for (const File& file : generate(registry)) all += file.name + '\n' + file.text;
    made.push_back(all);
  }
  EXPECT_EQ(made[0], made[1]);
}

TEST(Generating, NamesFilesByPackages) {
  meta::MetaRegistry registry;
  meta::MetaModelBuilder first("http://a", "same"), second("http://b", "SAME"), dotted("http://c", "a.b");
  first.package("http://a/c", "c").classType("X");
  registry.add({first.definition(), second.definition(), dotted.definition()});
  std::vector<std::string> names;
  for (const File& file : generate(registry)) names.push_back(file.name);
  EXPECT_THAT(names,
              ElementsAre("same.kr0.h", "same.c.kr0.h", "same_2.kr0.h", "a_b.kr0.h", "meta_models.kr0.cpp"));
}

TEST(Generating, RefusesWhatIsNoNamespace) {
  const meta::MetaRegistry registry;
  EXPECT_THROW(generate(registry, {}, "std"), std::invalid_argument);
  EXPECT_TRUE(isNamespace("a::b_c::d1"));
  for (const char* wrong : {"", "::a", "a::", "a:b", "a b", "int", "a::class", "kr::x", "a__b", "errno"})
    EXPECT_FALSE(isNamespace(wrong)) << wrong;
}

TEST(Definitions, OfARegistryMakeTheSameRegistry) {
  meta::MetaRegistry registry, again;
  test::registerEverything(registry);
  again.add(meta::definitionsOf(registry));
  std::string first, second;
  for (const File& file : generate(registry)) first += file.text;
  for (const File& file : generate(again)) second += file.text;
  EXPECT_EQ(first, second);
}

}  // namespace kr::zero::cpp
