// Which format a file is written in and read as, where nobody says so. The header registers both formats.
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include "direct/DirectModel.h"
#include "support/Paths.h"

namespace kr::zero::io {

namespace {

Model makeModel() {
  Model model(test::directRegistry());
  model.createRoot("p.N").set("name", "a");
  return model;
}

std::string save(const std::string& name, const ustring& format = {}) {
  const std::string path = test::temporaryPath(name);
  saveModel(makeModel(), toUstring(path), format);
  return path;
}

const std::string kDirectHead("\x01\x02kr");
const std::string kTaggedHead("\x01\x20\x01\x30\x02kr");

}  // namespace

TEST(ModelFiles, TheSuffixChoosesTheFormat) {
  EXPECT_TRUE(test::readFile(save("a.krb")).starts_with(kDirectHead));
  EXPECT_TRUE(test::readFile(save("a.krt")).starts_with(kTaggedHead));
  EXPECT_TRUE(test::readFile(save("a.model")).starts_with(kDirectHead));
}

TEST(ModelFiles, AFormatThatIsNamedGoesBeforeTheSuffix) {
  EXPECT_TRUE(
      test::readFile(save("b.krb", IOFormatProvider::FORMAT_BINARY_KRSYLVAN)).starts_with(kTaggedHead));
  EXPECT_TRUE(test::readFile(save("b.krt", IOFormatProvider::FORMAT_BINARY)).starts_with(kDirectHead));
}

TEST(ModelFiles, TheContentTellsTheFormat) {
  for (const std::string& path : {save("c.krb"), save("c.krt"), save("c.model"),
                                  save("d.krb", IOFormatProvider::FORMAT_BINARY_KRSYLVAN)}) {
    const Model model = loadModel(toUstring(path), test::directRegistry());
    ASSERT_EQ(model.size(), 1u) << path;
    EXPECT_EQ(model.getRoots().front().getText("name"), "a") << path;
  }
}

TEST(ModelFiles, AFormatThatIsNamedIsNotGuessed) {
  const ustring path = toUstring(save("e.krt"));
  try {
    loadModel(path, test::directRegistry(), IOFormatProvider::FORMAT_BINARY);
    FAIL() << "read";
  } catch (const zero::Error& error) {
    EXPECT_EQ(error.getCode(), ErrorCode::foreign);
    EXPECT_EQ(
        error.getDetails().problem,
        "this does not begin like a document in the format krb (it looks like krt): invalid endian flag");
    EXPECT_THROW(std::rethrow_if_nested(error), Error<kr0::io::CorruptInput>);
  }
}

TEST(ModelFiles, WhatLooksLikeNoFormatIsReadAsTheDirectOne) {
  const std::string path = test::temporaryPath("f.txt");
  for (const char* content : {"hello", "\x01\x02k"}) {
    test::writeFile(path, content);
    try {
      loadModel(path, test::directRegistry());
      FAIL() << "read";
    } catch (const zero::Error& error) {
      EXPECT_THROW(std::rethrow_if_nested(error), Error<kr0::io::CorruptInput>) << content;
    }
  }
}

TEST(Formats, AreFoundBySuffixAndContent) {
  EXPECT_EQ(IOFormatProvider::findBySuffix("a/b.krb"), IOFormatProvider::FORMAT_BINARY);
  EXPECT_EQ(IOFormatProvider::findBySuffix("a/b.krt"), IOFormatProvider::FORMAT_BINARY_KRSYLVAN);
  EXPECT_EQ(IOFormatProvider::findBySuffix("krb"), ustring());
  EXPECT_EQ(IOFormatProvider::findByContent(kDirectHead + "x"), IOFormatProvider::FORMAT_BINARY);
  EXPECT_EQ(IOFormatProvider::findByContent(kTaggedHead), IOFormatProvider::FORMAT_BINARY_KRSYLVAN);
  EXPECT_EQ(IOFormatProvider::findByContent(kTaggedHead.substr(0, 6)), ustring());
}

}  // namespace kr::zero::io
