// What `kr0 info` tells of a document.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using testing::HasSubstr;
using testing::Not;

std::string info(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "info");
  const Ended ended = kr0(arguments);
  EXPECT_EQ(ended.code, 0) << ended.err;
  return ended.out;
}

}  // namespace

TEST(Info, ABinaryDocumentTellsItsHeaderWithoutAMetaModel) {
  const std::string bytes = std::to_string(std::filesystem::file_size(libraryKrb()));
  EXPECT_EQ(info({libraryKrb()}), "format: krb\nversion: 1\nbytes: " + bytes +
                                      "\npackages: 1\n  http://www.example.org/library\n"
                                      "elements: give the meta model with -m to count them\n");
}

TEST(Info, AMetaModelLetsElementsBeCountedByClassMostFirst) {
  EXPECT_THAT(info({libraryKrb(), "-m", libraryEcore()}), HasSubstr("elements: 37\n"
                                                                    "       9  library.Book\n"
                                                                    "       8  library.Author\n"
                                                                    "       8  library.Chapter\n"
                                                                    "       5  library.Loan\n"
                                                                    "       4  library.Member\n"
                                                                    "       1  library.Address\n"
                                                                    "       1  library.AudioBook\n"
                                                                    "       1  library.Library\n"));
}

TEST(Info, AnXmiDocumentTellsItsVersionWithoutAMetaModel) {
  const std::string text = info({libraryXmi()});
  EXPECT_THAT(text, HasSubstr("format: xmi\nversion: 2.0\n"));
  EXPECT_THAT(text, Not(HasSubstr("packages")));
}

TEST(Info, AnXmiDocumentWithAMetaModelTellsTheSameContentAsTheBinaryOne) {
  const auto fromPackages = [](const std::string& text) { return text.substr(text.find("packages")); };
  EXPECT_EQ(fromPackages(info({libraryXmi(), "-m", libraryEcore()})),
            fromPackages(info({libraryKrb(), "-m", libraryEcore()})));
}

}  // namespace kr::zero::test
